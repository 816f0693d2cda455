// The CG driver: scaling, preconditioner, the iteration and its log lines.
#include "solvers/cg/cg.hpp"

#include <cmath>
#include <cstdlib>
#include <string>

#include "base/fmt.hpp"
#include "model/stop.hpp"
#include "solvers/cg/cgkern.hpp"

namespace ossa::solvers {

using base::fI;
using base::fPE;

namespace {

// The iteration line of the verbose log: ITC in nine columns, RR2 in 1PE15.7.
std::string itline(int itc, double rr2) { return fI(itc, 9) + "  " + fPE(rr2, 15, 7); }

double dot(const double* a, const double* b, int n) {
  double s = 0.0;
  for (int i = 0; i < n; ++i) s += a[i] * b[i];
  return s;
}

// Tracks the logarithmic progress from the residual at iteration 10 to the
// target and hands each new maximum to the progress seam.
struct Progress {
  double r10 = 0.0, pmax = 0.0;
  void update(int itc, double rr2, double target) {
    if (itc == 10) {
      r10 = rr2;
      pmax = 0.0;
    }
    const double frac = (std::log(rr2) - std::log(r10)) / (std::log(target) - std::log(r10));
    if (frac > pmax) {
      pmax = frac;
      CGPROGRESS(frac);
    }
  }
};

// The bookkeeping of every iteration: the limit, the tenth-iteration line,
// the progress and the convergence test.
struct Watch {
  Model& m;
  base::Unit& log;
  int LOGUNIT, VERB, MAXIT;
  double TARGET;
  Progress prog;
  void limit(int itc) const {
    if (itc > MAXIT) CGSTOP(m, LOGUNIT, "NOT CONVERGED BY CG METHOD.", -8);
  }
  bool converged(int itc, double rr2) {
    if (itc % 10 == 0) {
      if (VERB == 1) base::put(log, itline(itc, rr2));
      prog.update(itc, rr2, TARGET);
    }
    return TARGET > rr2;
  }
};

// The iteration with an incomplete factorisation, on the fused kernels; the
// product on the threads of NB blocks.
int kernloop(Watch& w, const double* AV, const double* LV, const double* F, double* X, double* CGW,
             const int* GRP, int NEQ, const int* IA, const int* JA, int NB, double& RR2) {
  const long n = NEQ;
  double* r = CGW;
  double* p = CGW + n;
  const double* dinv = CGW + 2 * n;
  double* qz = CGW + 4 * n;
  double* wk = CGW + 5 * n;
  for (int i = 0; i < NEQ; ++i) {
    r[i] = F[i];
    p[i] = F[i];
    X[i] = 0.0;
  }
  CGPRESOLVE(dinv, LV, p, wk, NEQ, IA, JA);
  const CGPLAN plan = CGPLANMAKE(NB, NEQ, IA, JA, GRP);
  double RZ = dot(p, r, NEQ), BETA = 0.0;
  for (int ITC = 1;; ++ITC) {
    w.limit(ITC);
    const double PQ = CGPSPMVPAR(qz, p, BETA, ITC == 1 ? 1 : 0, AV, NEQ, IA, JA, GRP, plan, wk);
    const double ALPHA = RZ / PQ;
    RR2 = CGUPDFWD(X, r, p, qz, wk, ALPHA, dinv, LV, NEQ, IA, JA, GRP);
    if (w.converged(ITC, RR2)) return ITC;
    const double RZ0 = RZ;
    RZ = CGBWDDOT(qz, wk, r, dinv, LV, NEQ, IA, JA, GRP);
    BETA = RZ / RZ0;
  }
}

// The iteration with the multigrid cycle as M^-1, the rest on the threads
// of NB blocks. A residual that is no longer finite (a singular K, whose
// coarsest level the engine cannot solve) cannot converge: it stops as the
// limit would, without running on.
int amgloop(Watch& w, AMGPRE& amg, const double* AV, const double* F, double* X, double* CGW,
            const int* GRP, int NEQ, const int* IA, const int* JA, int NB, double& RR2) {
  const long n = NEQ;
  double* r = CGW;
  double* p = CGW + n;
  double* pqv = CGW + 2 * n;
  const double* scl = CGW + 3 * n;
  double* q = CGW + 4 * n;
  double* z = CGW + 5 * n;
  for (int i = 0; i < NEQ; ++i) {
    r[i] = F[i];
    X[i] = 0.0;
  }
  const CGPLAN plan = CGPLANMAKE(NB, NEQ, IA, JA, GRP);
  CGAMGAPPLY(amg, scl, r, z, NEQ);
  for (int i = 0; i < NEQ; ++i) p[i] = z[i];
  double RZ = CGDOTPAR(z, r, NEQ, NB);
  for (int ITC = 1;; ++ITC) {
    w.limit(ITC);
    const double ALPHA = RZ / CGPSPMVPAR(q, p, 0.0, 1, AV, NEQ, IA, JA, GRP, plan, pqv);
    RR2 = CGUPDPAR(X, r, p, q, ALPHA, NEQ, NB);
    if (w.converged(ITC, RR2)) return ITC;
    if (!std::isfinite(RR2)) w.limit(w.MAXIT + 1);
    CGAMGAPPLY(amg, scl, r, z, NEQ);
    const double RZ0 = RZ;
    RZ = CGDOTPAR(z, r, NEQ, NB);
    CGXPBYPAR(p, z, RZ / RZ0, NEQ, NB);
  }
}

}  // namespace

void CGSTOP(Model& m, int LOGUNIT, std::string_view text, int NO1) {
  base::Unit& u = m.unit(LOGUNIT);
  base::put(u, "");
  std::string line(1, ' ');
  line += text;
  base::put(u, line);
  model::ERRSTOP(m, NO1, 0, LOGUNIT);
}

int CGMAXIT(int KK30, int NEQ) {
  if (KK30 != 0) return std::abs(KK30);
  return NEQ / 5 > 50 ? NEQ / 5 : 50;
}

void CGSCALE(int NEQ, double* SCL, double* AV, double* F, const int* IA, const int* JA) {
  for (int i = 0; i < NEQ; ++i) SCL[i] = 1.0 / std::sqrt(AV[IA[i] - 1]);
  for (int i = 0; i < NEQ; ++i) {
    const double si = SCL[i];
    for (int k = IA[i] - 1; k < IA[i + 1] - 1; ++k) AV[k] *= si * SCL[JA[k] - 1];
    F[i] *= si;
  }
}

void CGUNSCALE(double* XOUT, const double* SCL, const double* X, int NEQ) {
  for (int i = 0; i < NEQ; ++i) XOUT[i] = SCL[i] * X[i];
}

int CGSOLVE(Model& m, double* AV, double* LV, double* F, double* X, double* CGW, int* GRP,
            int NEQ, int NZ, const int* IA, const int* JA, int KK30, double TOL, int LOGUNIT, int PRECON,
            int VERB) {
  // ---- check inputs: a pivot of zero or below before anything is scaled
  const int MAXIT = CGMAXIT(KK30, NEQ);
  for (int i = 0; i < NEQ; ++i)
    if (AV[IA[i] - 1] <= 0.0) CGSTOP(m, LOGUNIT, "PIVOT .LE. 0. , PROGRAM STOPPED !", -1);
  const long n = NEQ;
  double* scl = CGW + 3 * n;

  // ---- scaled system and preconditioner; the multigrid engine takes K unscaled
  AMGPRE* amg = PRECON == 2 ? &CGAMGSETUP(m, AV, NEQ, IA, JA) : nullptr;
  CGSCALE(NEQ, scl, AV, F, IA, JA);
  const double B = dot(F, F, NEQ);
  if (B == 0.0) {
    for (int i = 0; i < NEQ; ++i) X[i] = 0.0;
    return 0;
  }
  Watch w{m, m.unit(LOGUNIT), LOGUNIT, VERB, MAXIT, B * TOL * TOL, {}};
  if (VERB == 1) {
    base::put(w.log, "");
    base::put(w.log, " RESIDUAL TOLERANCE =" + fPE(w.TARGET, 15, 7));
    base::put(w.log, "");
    base::put(w.log, " ITERATION         RESIDUAL");
  }
  double RR2 = 0.0;
  int ITC = 0;
  const int NB = CGBLOCKS(m, NEQ);
  CGGROUP(GRP, NEQ, IA, JA);
  if (amg) {
    ITC = amgloop(w, *amg, AV, F, X, CGW, GRP, NEQ, IA, JA, NB, RR2);
    CGAMGCOUNT(*amg, ITC);
  } else {
    if (PRECON != 0) {
      CGICPRE(CGW + 2 * n, AV, LV, NEQ, IA, JA);
    } else {
      CGDIAGPRE(m, CGW + 2 * n, AV, NEQ, IA, JA, LOGUNIT);
      for (int k = 0; k < NZ; ++k) LV[k] = AV[k];
    }
    ITC = kernloop(w, AV, LV, F, X, CGW, GRP, NEQ, IA, JA, NB, RR2);
  }

  // ---- back to the unscaled unknowns
  CGUNSCALE(X, scl, X, NEQ);
  if (VERB == 1) base::put(w.log, itline(ITC, RR2) + " CONVERGED!");
  return ITC;
}

}  // namespace ossa::solvers
