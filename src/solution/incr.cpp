#include "solution/incr.hpp"

#include <cmath>

#include "contact/contact.hpp"
#include "elements/family.hpp"
#include "elements/status.hpp"
#include "elements/truss.hpp"
#include "model/stop.hpp"
#include "solution/assembly.hpp"
#include "solution/dynamic.hpp"
#include "solution/index.hpp"
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
  // Dependent translations follow their masters, which are all independent.
  if (m.KK(kk::CONTACT) == 1)
    for (int nd = 1; nd <= nn; ++nd)
      for (int k = 1; k <= 3; ++k)
        if (m.IDOF(k, nd) == -2) m.DU(k, nd) = contact::LINKSUM(m, m.DU, k, nd);
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
  // Interior nodes follow their elements' grid points by condensation.
  for (int ie = 1; ie <= m.NELEM(); ++ie) {
    const model::ELEMREC& e = m.ELEM(ie);
    elements::FAMILYOF(e.TYPE).AUXUPD(m, e);
  }
  const int n = nn + m.NAUX();
  for (int nd = 1; nd <= n; ++nd)
    for (int k = 1; k <= 7; ++k) m.U(k, nd) += m.DU(k, nd);
  for (int nd = 1; nd <= nn; ++nd)
    for (int j = 1; j <= 3; ++j) m.X(j, nd) = m.XYZ(j, nd) + m.U(j, nd);
  // Shell directors and node frames turn with the rotation increments.
  if (m.KK(kk::GEONL) == 1 && m.FRAMEFLG.allocated()) elements::SHLVUPD(m);
}

void EQNORMS(const Model& m, const double* v, double N[3]) {
  double s[3] = {0.0, 0.0, 0.0};
  for (int nd = 1; nd <= m.NNODE(); ++nd)
    for (int k = 1; k <= 7; ++k) {
      const int e = m.IDOF(k, nd);
      if (e <= 0) continue;
      const int g = k <= 3 ? 0 : (k <= 6 ? 1 : 2);
      s[g] += v[e - 1] * v[e - 1];
    }
  for (int g = 0; g < 3; ++g) N[g] = std::sqrt(s[g]);
}

namespace {

// Slaves onto their masters and the links of the present geometry; with
// friction and REF, the reference of slip.
void contact_prep(Model& m, bool REF) {
  contact::CONTPREP(m);
  contact::CONTCOEF(m);
  contact::CONTLINK(m);
  if (REF && m.KK(kk::FRICTION) == 1) contact::FRICPREP(m, 0, false);
}

// The opening of an equilibrium loop under fixed contact states: internal
// forces at the present state, slaves placed, links, slip reference.
void contact_open(Model& m) {
  Arr2<double> nodamp;
  const double t = m.clock.now();
  FORCEREC(m, nodamp, 0);
  contact::CONTMARK(m);
  m.TIMES(model::T_RECOVERY) += m.clock.now() - t;
  contact_prep(m, true);
}

// The equilibrium loop: KK(6) solves in KK(6)+1 passes. Returns CONVD.
// DYN is the step of a dynamic increment, null in a static one.
int equilibrium(Model& m, IncrState& s, int& FIRST, const DYNSTEP* dyn) {
  double tsolve = 0.0;
  Arr2<double> nodamp;
  for (int ITER = 1; ITER <= m.KK(kk::ITERMAX) + 1; ++ITER) {
    double t = m.clock.now();
    const bool contact = m.KK(kk::CONTACT) == 1;
    // The first pass of a contact iteration takes the forces of the opening
    // and adds what moving the slaves onto their masters does.
    if (contact && ITER == 1) CONTFORCE2(m, m.P, m.P, m.CONT.DUC);
    else if (dyn) FORCEREC_DYN(m, FIRST, *dyn);
    else FORCEREC(m, nodamp, 0);  // a static job keeps no damping force
    // Friction reads the normal forces of the recovered internal force
    // itself, not a tangent estimate of it: the same value where the
    // estimate is exact, and the exact one where it is not.
    if (contact && m.KK(kk::FRICTION) == 1) contact::FRICFORCE(m, m.P);
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
    STFASM(m, FIRST, dyn);
    m.TIMES(model::T_ASSEMBLY) += m.clock.now() - t;
    if (FIRST == 1) EQNORMS(m, m.RHS.data(), s.FNRM);
    t = m.clock.now();
    solvers::SOLVE(m, ITER);
    tsolve = m.clock.now() - t;
    DISPUPD(m, FIRST);
    if (contact) contact_prep(m, ITER == 1);
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

// The contact-or-gap level: 1 when its states have settled. Contact or,
// without it, the gaps decide; with neither, the level is passed once.
int gap_status(Model& m, int ITER3) {
  const bool contact = m.KK(kk::CONTACT) == 1;
  if (!contact && m.NGAP() < 1) return 1;
  const double t = m.clock.now();
  const int CNTOK = contact ? contact::CONTACT(m, ITER3) : elements::GAPCHK(m, ITER3);
  m.TIMES(model::T_CONTACT) += m.clock.now() - t;
  return CNTOK;
}

// Contact states decide which translations are dependent: each contact
// iteration numbers the equations and prepares the solver anew.
void contact_index(Model& m) {
  if (m.KK(kk::CONTACT) != 1) return;
  EQINDEX(m, 0);
  solvers::SOLVERPREP(m, 0);
}

// The four loops of an increment; DYN as for equilibrium. A dynamic
// increment shifts its levels after the contact loop, so that a repeated
// ITER4 pass starts from shifted levels.
void loops(Model& m, IncrState& s, const DYNSTEP* dyn) {
  int FIRST = 1;
  for (int ITER4 = 1; ITER4 <= m.KK(kk::MITERMAX); ++ITER4) {
    for (int ITER3 = 1; ITER3 <= m.KK(kk::CONTITER); ++ITER3) {
      contact_index(m);
      for (int ITER2 = 1; ITER2 <= m.KK(kk::MITERMAX); ++ITER2) {
        if (m.KK(kk::CONTACT) == 1) contact_open(m);
        equilibrium(m, s, FIRST, dyn);
        if (status_level(m, s, 2, ITER2) == 1) break;
      }
      if (gap_status(m, ITER3) == 1) break;
    }
    if (dyn) {
      DYNRESULT(m, *dyn);
      DYNSHIFT(m, *dyn);
    }
    const int leave = status_level(m, s, 4, ITER4);
    if (dyn && s.FIRSTCHG > 0) DEADNODES(m);
    if (leave == 1) break;
  }
}

}  // namespace

void INCR_STATIC(Model& m, IncrState& s) {
  LOADINC(m, s.TPREV, s.TIME);
  BODYLOADS(m);
  if (m.KK(kk::MITERMAX) < 1) return;
  loops(m, s, nullptr);
}

void INCR_DYNAMIC(Model& m, IncrState& s) {
  LOADINC_DYN(m, s.TPREV, s.TIME);
  if (m.KK(kk::MITERMAX) < 1) return;
  DYNSTEP d;
  d.DT = s.DT;
  d.DTAV = 0.5 * (s.DT + s.DTPREV);
  m.DYN.DT = d.DT;
  m.DYN.DTAV = d.DTAV;
  loops(m, s, &d);
}

}  // namespace ossa::solution
