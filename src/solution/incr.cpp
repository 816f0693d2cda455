#include "solution/incr.hpp"

#include <cmath>

#include "elements/family.hpp"
#include "elements/status.hpp"
#include "model/stop.hpp"
#include "solution/assembly.hpp"
#include "solution/loads.hpp"
#include "solution/reschk.hpp"
#include "solvers/solver.hpp"

namespace ossa::solution {

void DISPUPD(Model& m, int FIRST) {
  const int nn = m.NNODE();
  m.DU.fill(0.0);
  for (int nd = 1; nd <= nn; ++nd)
    for (int k = 1; k <= 7; ++k) {
      const int e = m.IDOF(k, nd);
      if (e > 0) m.DU(k, nd) = m.DX(e, 1);
      else if (e == -1 && FIRST == 1 && k <= 6) m.DU(k, nd) = m.DUE(k, nd);
    }
  if (m.KK(kk::GEONL) == 1 && m.FRAMEFLG.allocated()) {
    // Rotations solved in a node's own frame go back to global axes.
    for (int nd = 1; nd <= nn; ++nd) {
      if (m.FRAMEFLG(nd) == 0) continue;
      double r[3] = {};
      for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) r[i - 1] += m.FRAME(j, i, nd) * m.DU(3 + j, nd);
      for (int i = 1; i <= 3; ++i) m.DU(3 + i, nd) = r[i - 1];
    }
  }
  const int n = nn + m.NAUX();
  for (int nd = 1; nd <= n; ++nd)
    for (int k = 1; k <= 7; ++k) m.U(k, nd) += m.DU(k, nd);
  for (int nd = 1; nd <= nn; ++nd)
    for (int j = 1; j <= 3; ++j) m.X(j, nd) = m.XYZ(j, nd) + m.U(j, nd);
  // Shell directors and node frames turn with the rotation increments.
  if (m.KK(kk::GEONL) == 1 && m.FRAMEFLG.allocated()) elements::SHLVUPD(m);
}

namespace {

// Euclidean norms of the right-hand side over the free translations,
// rotations and seventh directions of the grid points.
void load_norms(const Model& m, double FNRM[3]) {
  double s[3] = {0.0, 0.0, 0.0};
  for (int nd = 1; nd <= m.NNODE(); ++nd)
    for (int k = 1; k <= 7; ++k) {
      const int e = m.IDOF(k, nd);
      if (e <= 0) continue;
      const int g = k <= 3 ? 0 : (k <= 6 ? 1 : 2);
      s[g] += m.RHS(e, 1) * m.RHS(e, 1);
    }
  for (int g = 0; g < 3; ++g) FNRM[g] = std::sqrt(s[g]);
}

// The equilibrium loop: KK(6) solves in KK(6)+1 passes. Returns CONVD.
int equilibrium(Model& m, IncrState& s, int& FIRST) {
  double tsolve = 0.0;
  Arr2<double> nodamp;
  for (int ITER = 1; ITER <= m.KK(kk::ITERMAX) + 1; ++ITER) {
    double t = m.clock.now();
    FORCEREC(m, nodamp, 0);  // a static job keeps no damping force
    m.TIMES(model::T_RECOVERY) += m.clock.now() - t;
    s.NITER = ITER;
    if (RESCHK(m, ITER - 1, FIRST, s.STEP, s.ISUB, s.TIME, s.FNRM, tsolve) == 1) return 1;
    if (ITER > m.KK(kk::ITERMAX)) {
      if (m.KK(kk::CONTACT) == 1) {
        model::LOGMSG(m, "RESIDUAL FORCE DID NOT CONVERGE!");
        return 0;
      }
      model::FAIL(m, "RESIDUAL FORCE DID NOT CONVERGE!", -9);
    }
    t = m.clock.now();
    STFASM(m, FIRST);
    m.TIMES(model::T_ASSEMBLY) += m.clock.now() - t;
    if (FIRST == 1) load_norms(m, s.FNRM);
    t = m.clock.now();
    solvers::SOLVE(m, ITER);
    tsolve = m.clock.now() - t;
    DISPUPD(m, FIRST);
    // Iteration type 1: the status follows every equilibrium pass.
    if (m.KK(kk::MITERTYPE) == 1 && m.KK(kk::MATNL) == 1)
      elements::ELSTAT(m, ITER, m.KK(kk::ITERMAX) + 1, 1, 0, s.FIRSTCHG, s.STOPFLAG);
    FIRST = 0;
  }
  return 0;
}

// The status pass at the ITER2 (types 1 and 2) or ITER4 (types 0 and 3)
// level. Returns 1 when the loop of that level is to be left.
int status_level(Model& m, IncrState& s, int level, int iter) {
  const int type = m.KK(kk::MITERTYPE);
  const bool here = level == 2 ? (type == 1 || type == 2) : (type == 0 || type == 3);
  if (!here || m.KK(kk::MATNL) != 1) return 1;
  const int skip = type == 1 ? 1 : 0;
  const int ok = elements::ELSTAT(m, iter, m.KK(kk::MITERMAX), type, skip, s.FIRSTCHG, s.STOPFLAG);
  return ok == 1 || iter == m.KK(kk::MITERMAX) ? 1 : 0;
}

}  // namespace

void INCR_STATIC(Model& m, IncrState& s) {
  LOADINC(m, s.TPREV, s.TIME);
  if (m.KK(kk::MITERMAX) < 1) return;
  int FIRST = 1;
  for (int ITER4 = 1; ITER4 <= m.KK(kk::MITERMAX); ++ITER4) {
    for (int ITER3 = 1; ITER3 <= m.KK(kk::CONTITER); ++ITER3) {
      for (int ITER2 = 1; ITER2 <= m.KK(kk::MITERMAX); ++ITER2) {
        equilibrium(m, s, FIRST);
        if (status_level(m, s, 2, ITER2) == 1) break;
      }
      const int CNTOK = 1;  // neither contact nor gaps change state yet
      if (CNTOK == 1) break;
    }
    if (status_level(m, s, 4, ITER4) == 1) break;
  }
}

}  // namespace ossa::solution
