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

}  // namespace

void CGSTOP(Model& m, int LOGUNIT, std::string_view text, int NO1) {
  base::Unit& u = m.unit(LOGUNIT);
  base::put(u, "");
  base::put(u, " " + std::string(text));
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
  double* r = CGW;
  double* p = CGW + n;
  double* dinv = CGW + 2 * n;
  double* scl = CGW + 3 * n;
  double* qz = CGW + 4 * n;
  double* w = CGW + 5 * n;

  // ---- scaled system and preconditioner
  CGSCALE(NEQ, scl, AV, F, IA, JA);
  const double B = dot(F, F, NEQ);
  if (B == 0.0) {
    for (int i = 0; i < NEQ; ++i) X[i] = 0.0;
    return 0;
  }
  const double TARGET = B * TOL * TOL;
  base::Unit& log = m.unit(LOGUNIT);
  if (VERB == 1) {
    base::put(log, "");
    base::put(log, " RESIDUAL TOLERANCE =" + fPE(TARGET, 15, 7));
    base::put(log, "");
    base::put(log, " ITERATION         RESIDUAL");
  }
  if (PRECON != 0) {
    CGICPRE(dinv, AV, LV, NEQ, IA, JA);
  } else {
    CGDIAGPRE(m, dinv, AV, NEQ, IA, JA, LOGUNIT);
    for (int k = 0; k < NZ; ++k) LV[k] = AV[k];
  }

  // ---- iteration from x = 0
  for (int i = 0; i < NEQ; ++i) {
    r[i] = F[i];
    p[i] = F[i];
    X[i] = 0.0;
  }
  CGPRESOLVE(dinv, LV, p, w, NEQ, IA, JA);
  CGGROUP(GRP, NEQ, IA, JA);
  double RZ = dot(p, r, NEQ), BETA = 0.0, RR2 = 0.0;
  Progress prog;
  int ITC = 1;
  for (;; ++ITC) {
    if (ITC > MAXIT) CGSTOP(m, LOGUNIT, "NOT CONVERGED BY CG METHOD.", -8);
    const double PQ = CGPSPMV(qz, p, BETA, ITC == 1 ? 1 : 0, AV, NEQ, IA, JA, GRP);
    const double ALPHA = RZ / PQ;
    RR2 = CGUPDFWD(X, r, p, qz, w, ALPHA, dinv, LV, NEQ, IA, JA, GRP);
    if (ITC % 10 == 0) {
      if (VERB == 1) base::put(log, itline(ITC, RR2));
      prog.update(ITC, RR2, TARGET);
    }
    if (TARGET > RR2) break;
    const double RZ0 = RZ;
    RZ = CGBWDDOT(qz, w, r, dinv, LV, NEQ, IA, JA, GRP);
    BETA = RZ / RZ0;
  }

  // ---- back to the unscaled unknowns
  CGUNSCALE(X, scl, X, NEQ);
  if (VERB == 1) base::put(log, itline(ITC, RR2) + " CONVERGED!");
  return ITC;
}

}  // namespace ossa::solvers
