#include "solution/riks.hpp"

#include <cmath>

#include "base/fmt.hpp"
#include "elements/status.hpp"
#include "model/stop.hpp"
#include "solution/assembly.hpp"
#include "solution/reschk.hpp"
#include "solvers/solver.hpp"

namespace ossa::solution {

namespace {

double* DUPREV(Model& m) { return m.RIKS.ARCV[0].data(); }
double* DUACC(Model& m) { return m.RIKS.ARCV[1].data(); }
double* DUI(Model& m) { return m.RIKS.ARCV[2].data(); }

void fail(Model& m) { model::FAIL(m, "RIKS ITERATION LOOP DID NOT CONVERGE.", -9); }

// External force LAMBDA FREF, and the reference load as the second column
// of the right-hand side.
void loads(Model& m) {
  const double lam = m.RIKS.LAMBDA;
  for (long k = 0; k < m.F.size(); ++k) m.F.data()[k] = lam * m.RIKS.FREF.data()[k];
}
void reference_column(Model& m) {
  for (int nd = 1; nd <= m.NNODE(); ++nd)
    for (int k = 1; k <= 7; ++k)
      if (const int e = m.IDOF(k, nd); e > 0) m.RHS(e, 2) = m.RIKS.FREF(k, nd);
}

}  // namespace

double RIKSDOT(const Model& m, const double* a, const double* b, double SC) {
  double s = 0.0;
  for (int nd = 1; nd <= m.NNODE(); ++nd)
    for (int k = 1; k <= 3; ++k)
      if (const int e = m.IDOF(k, nd); e > 0) s += a[e - 1] * b[e - 1];
  return s / (SC * SC);
}

void RIKSINIT(Model& m) {
  model::RIKSDATA& r = m.RIKS;
  double* duprev = DUPREV(m);
  for (int nd = 1; nd <= m.NNODE(); ++nd)
    for (int k = 1; k <= 7; ++k)
      if (const int e = m.IDOF(k, nd); e > 0) duprev[e - 1] = m.U(k, nd) - m.UPREV(k, nd);
  for (int nd = 1; nd <= m.NNODE(); ++nd)
    for (int k = 1; k <= 7; ++k) m.UPREV(k, nd) = m.U(k, nd);
  r.DLAMPREV = r.LAMBDA - r.LAMPREV;
  r.LAMPREV = r.LAMBDA;
  r.ARCV[1].fill(0.0);
  r.DLAMACC = 0.0;
  // The arc moves the load, not the supports: an enforced displacement
  // keeps the value the load-controlled steps gave it rather than taking
  // their last increment again in every Riks step.
  m.DUE.fill(0.0);
}

void RIKSUPD(Model& m, int IT, bool FIRSTRIKS) {
  model::RIKSDATA& r = m.RIKS;
  const long n = m.NEQ();
  const double* UT = m.DX.data() + n;
  const double* UR = m.DX.data();
  const double SC = r.UNORM[0];
  double* dui = DUI(m);
  double DL = 0.0;
  if (IT == 1) {
    double SG = 1.0;
    if (!FIRSTRIKS) SG = RIKSDOT(m, UT, DUPREV(m), SC) + r.DLAMPREV > 0.0 ? 1.0 : -1.0;
    DL = SG * m.RR(rr::ARC) / std::sqrt(1.0 + RIKSDOT(m, UT, UT, SC));
    for (long e = 0; e < n; ++e) dui[e] = DL * UT[e];
  } else {
    const double A = RIKSDOT(m, DUACC(m), UT, SC), B = RIKSDOT(m, DUACC(m), UR, SC);
    DL = -B / (A + r.DLAMACC);
    // The plane meets no solution (A + DLAMACC = 0): no way on.
    if (!std::isfinite(DL)) fail(m);
    for (long e = 0; e < n; ++e) dui[e] = DL * UT[e] + UR[e];
  }
  double* duacc = DUACC(m);
  for (long e = 0; e < n; ++e) {
    duacc[e] += dui[e];
    m.DX.data()[e] = dui[e];
  }
  r.DLAMACC += DL;
  r.LAMBDA += DL;
}

void RIKSSCALE(Model& m) {
  const Arr2<double>& r = m.RIKS.FREF;
  if (!r.allocated() || !m.F.allocated() || r.size() != m.F.size()) return;
  double fr = 0.0, rr = 0.0;
  for (long k = 0; k < r.size(); ++k) fr += m.F.data()[k] * r.data()[k], rr += r.data()[k] * r.data()[k];
  if (rr > 0.0) m.RIKS.LAMBDA = fr / rr;
}

void RIKS(Model& m, IncrState& s) {
  model::RIKSDATA& r = m.RIKS;
  const bool FIRSTRIKS = r.NRIKS == 0;
  const double tend = m.T(m.NSTEP());
  const long n = m.NEQ();
  RIKSINIT(m);
  Arr2<double> nodamp;
  double tsolve = 0.0;
  for (int IT = 1;; ++IT) {
    loads(m);
    double t = m.clock.now();
    FORCEREC(m, nodamp, 0);
    m.TIMES(model::T_RECOVERY) += m.clock.now() - t;
    s.NITER = IT;
    const int FIRST = IT == 1 ? 1 : 0;
    if (RESCHK(m, IT - 1, FIRST, s.STEP, 1, r.LAMBDA * tend, r.FNRM, tsolve) == 1) break;
    if (IT > m.KK(kk::ITERMAX)) fail(m);
    t = m.clock.now();
    STFASM(m, FIRST);
    m.TIMES(model::T_ASSEMBLY) += m.clock.now() - t;
    reference_column(m);
    if (FIRSTRIKS && IT == 1) {
      EQNORMS(m, m.RHS.data() + n, r.FNRM);
      for (double& f : r.FNRM) f *= m.RR(rr::ARC);
    }
    t = m.clock.now();
    solvers::SOLVE2(m, IT);
    tsolve = m.clock.now() - t;
    if (FIRSTRIKS && IT == 1) EQNORMS(m, m.DX.data() + n, r.UNORM);
    RIKSUPD(m, IT, FIRSTRIKS);
    DISPUPD(m, FIRST);
  }
  ++r.NRIKS;
  s.TIME = r.LAMBDA * tend;
  model::LOGLINE(m, "");
  model::LOGLINE(m, "   * RIKS LOAD FACTOR = " + base::fPE(r.LAMBDA, 12, 4));
  if (m.KK(kk::MATNL) == 1)
    elements::ELSTAT(m, 1, 1, m.KK(kk::MITERTYPE), 0, s.FIRSTCHG, s.STOPFLAG);
}

}  // namespace ossa::solution
