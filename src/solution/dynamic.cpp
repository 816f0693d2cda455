#include "solution/dynamic.hpp"

#include <algorithm>

#include "elements/family.hpp"
#include "solution/assembly.hpp"
#include "solution/loads.hpp"
#include "solution/reschk.hpp"

namespace ossa::solution {

namespace {

using elements::MASSDATA;
using model::ELEMREC;

int nall(const Model& m) { return m.NNODE() + m.NAUX(); }

bool dead(const Model& m, int nd) {
  return m.DYN.DEADND.allocated() && nd >= 1 && nd <= m.NNODE() && m.DYN.DEADND(nd) == 1;
}

// The element's mass without the nodes that DEADNODES marked (none before
// the first status change). False where the element has none.
bool elmass(const Model& m, const ELEMREC& e, MASSDATA& md) {
  const elements::FAMILY& f = elements::FAMILYOF(e.TYPE);
  if (!f.RECOK(m, e) || !f.MASS(m, e, m.DYN.MASSOPT, md) || md.NEN < 1) return false;
  const int n = md.NEN;
  for (int a = 1; a <= n; ++a) {
    if (!dead(m, e.NOD(a))) continue;
    if (m.DYN.MASSOPT == elements::MASS_LUMPED) {
      md.S[a - 1] = 0.0;
      continue;
    }
    for (int b = 1; b <= n; ++b) md.S[(a - 1) + n * (b - 1)] = md.S[(b - 1) + n * (a - 1)] = 0.0;
  }
  return true;
}

// OUT(1..3, node a) += C sum over b of S(a, b) V(b) for the element's mass
// nodes; V holds three components a node.
void massmul(const Model& m, const ELEMREC& e, const MASSDATA& md, const double (*V)[3],
             Arr2<double>& OUT, double C) {
  const int n = md.NEN;
  for (int a = 1; a <= n; ++a) {
    double* o = OUT.at(1, e.NOD(a));
    for (int b = 1; b <= n; ++b) {
      if (m.DYN.MASSOPT == elements::MASS_LUMPED && b != a) continue;
      const double s = m.DYN.MASSOPT == elements::MASS_LUMPED ? md.S[a - 1] : md.S[(a - 1) + n * (b - 1)];
      for (int i = 0; i < 3; ++i) o[i] += C * s * V[b - 1][i];
    }
  }
}

// The "VEL" row of an element repeated at its mass nodes; false for none.
bool row_vector(const Model& m, const MASSDATA& md, double (*V)[3]) {
  const int row = md.BODYLOAD;
  if (row < 1 || row > m.KK(kk::NVEL)) return false;
  for (int a = 0; a < md.NEN; ++a)
    for (int i = 0; i < 3; ++i) V[a][i] = m.VELTBL(i + 1, row);
  return true;
}

// Arrays of one shape: the whole of `from` into `to`.
void copy(Arr2<double>& to, const Arr2<double>& from) {
  std::copy(from.begin(), from.end(), to.begin());
}

void clear_node(Arr2<double>& a, int nd) {
  for (int k = 1; k <= a.ubound(1); ++k) a(k, nd) = 0.0;
}

// Momentum at n+1/2 of the present displacements, and ALPHA times it.
void momentum(Model& m, const DYNSTEP& d) {
  model::DYNDATA& y = m.DYN;
  y.MVN.fill(0.0);
  y.AMVN.fill(0.0);
  MASSDATA md;
  double v[elements::MAXMASSNODE][3];
  for (int ie = 1; ie <= m.NELEM(); ++ie) {
    const ELEMREC& e = m.ELEM(ie);
    if (!elmass(m, e, md)) continue;
    for (int a = 0; a < md.NEN; ++a)
      for (int i = 0; i < 3; ++i) v[a][i] = (m.U(i + 1, e.NOD(a + 1)) - y.UO(i + 1, e.NOD(a + 1))) / d.DT;
    massmul(m, e, md, v, y.MVN, 1.0);
    massmul(m, e, md, v, y.AMVN, md.ALPHA);
  }
}

// P: the elastic forces WO P(n-1) + WN P(n) + (1 - WO - WN) P(n+1), and the
// damping and inertia forces of the step.
void effective(Model& m, const DYNSTEP& d, double WO, double WN) {
  model::DYNDATA& y = m.DYN;
  const double wn1 = 1.0 - WO - WN;
  for (int nd = 1; nd <= nall(m); ++nd) {
    for (int k = 1; k <= 7; ++k)
      m.P(k, nd) = WO * y.PO(k, nd) + wn1 * y.PN1(k, nd) + WN * y.PN(k, nd) + 0.5 * (y.CVO(k, nd) + y.CVN(k, nd));
    for (int i = 1; i <= 3; ++i)
      m.P(i, nd) += 0.5 * (y.AMVO(i, nd) + y.AMVN(i, nd)) + (y.MVN(i, nd) - y.MVO(i, nd)) / d.DTAV;
  }
}

}  // namespace

void DYNINIT(Model& m, double DT) {
  model::DYNDATA& y = m.DYN;
  for (auto* a : model::DYNLEVELS(y)) a->fill(0.0);
  for (auto* a : {&y.MVN, &y.MVO, &y.AMVN, &y.AMVO}) a->fill(0.0);
  y.DEADND.fill(0);
  m.U.fill(0.0);
  MASSDATA md;
  double v[elements::MAXMASSNODE][3];
  for (int ie = 1; ie <= m.NELEM(); ++ie) {
    const ELEMREC& e = m.ELEM(ie);
    if (!elmass(m, e, md) || !row_vector(m, md, v)) continue;
    massmul(m, e, md, v, y.MVO, 1.0);
    massmul(m, e, md, v, y.AMVO, md.ALPHA);
    for (int a = 1; a <= md.NEN; ++a)
      for (int i = 1; i <= 3; ++i) y.VEL(i, e.NOD(a)) = v[a - 1][i - 1];
  }
  // The loads at T(0) are levels n and n-1. With them the momentum at -DT/2,
  // M v0 - DT/2 (f0 - ALPHA M v0), makes the first increment the trapezoidal
  // start of the method; cleared levels would switch such a load on only
  // over the first step.
  const double t0 = m.T(0);
  LOADINC(m, t0, t0);
  copy(y.FN, m.F);
  copy(y.FO, m.F);
  for (int nd = 1; nd <= nall(m); ++nd)
    for (int i = 1; i <= 3; ++i) y.MVO(i, nd) -= 0.5 * DT * (m.F(i, nd) - y.AMVO(i, nd));
}

void LOADINC_DYN(Model& m, double TPREV, double TIME) {
  LOADINC(m, TPREV, TIME);
  model::DYNDATA& y = m.DYN;
  const double beta = m.RR(rr::THIRD);
  const int n = nall(m);
  for (int nd = 1; nd <= n; ++nd)
    for (int k = 1; k <= 7; ++k) {
      y.FN1(k, nd) = m.F(k, nd);
      m.F(k, nd) = beta * (y.FO(k, nd) + y.FN1(k, nd)) + (1.0 - 2.0 * beta) * y.FN(k, nd);
    }
}

void FORCEREC_DYN(Model& m, int FIRST, const DYNSTEP& d) {
  model::DYNDATA& y = m.DYN;
  FORCEREC(m, y.CUN, 1);
  copy(y.PN1, m.P);
  if (FIRST == 1) copy(y.CUO, y.CUN);
  const int n = nall(m);
  for (int nd = 1; nd <= m.NNODE(); ++nd)
    if (y.DEADND(nd) == 1) clear_node(y.CUN, nd);
  for (int nd = 1; nd <= n; ++nd)
    for (int k = 1; k <= 7; ++k) y.CVN(k, nd) = (y.CUN(k, nd) - y.CUO(k, nd)) / d.DT;
  momentum(m, d);
  // Dead nodes lose their inertia and damping forces. Their elastic forces
  // stay: the tangent keeps the crushed elements' stiffness, and a residual
  // cleared of it could never be reduced by a solve.
  for (int nd = 1; nd <= m.NNODE(); ++nd) {
    if (y.DEADND(nd) != 1) continue;
    for (auto* a : {&y.CVN, &y.CVO, &y.MVN, &y.MVO, &y.AMVN, &y.AMVO}) clear_node(*a, nd);
  }
  const double beta = m.RR(rr::THIRD);
  effective(m, d, beta, 1.0 - 2.0 * beta);
}

void DYNRESULT(Model& m, const DYNSTEP& d) {
  copy(m.F, m.DYN.FN1);
  effective(m, d, 0.0, 0.0);
  REACTIONS(m);
}

void DYNMIX(Model& m, const ELEMREC& e, const DYNSTEP& d, double* Ke, int n) {
  MASSDATA md;
  const bool mass = elmass(m, e, md);
  // A mass over nodes beyond the element's list (the rubber's interior node)
  // is the family's own to mix in, with the factors, before its condensation.
  if (mass && md.NEN > e.NEN) return;
  const elements::FAMILY& f = elements::FAMILYOF(e.TYPE);
  int group = 0;
  const double* b = f.BETA(m, e, group);
  const elements::DYNFAC c = elements::DYNFACTORS(m, mass ? md.ALPHA : 0.0, b ? *b : 0.0, d.DT, d.DTAV);
  for (int k = 0; k < n * (n + 1) / 2; ++k) Ke[k] *= c.CK;
  if (mass) elements::MASSADD(Ke, n, c.CM, md.S, md.NEN, f.NPOS, m.DYN.MASSOPT);
}

void DYNSHIFT(Model& m, const DYNSTEP& d) {
  model::DYNDATA& y = m.DYN;
  const int n = nall(m);
  for (int nd = 1; nd <= n; ++nd)
    for (int k = 1; k <= 7; ++k) {
      const double v = (m.U(k, nd) - y.UO(k, nd)) / d.DT;
      y.ACC(k, nd) = (v - y.VEL(k, nd)) / d.DTAV;
      y.VEL(k, nd) = v;
    }
  copy(y.UO, m.U);
  copy(y.FO, y.FN);
  copy(y.FN, y.FN1);
  copy(y.PO, y.PN);
  copy(y.PN, y.PN1);
  copy(y.CVO, y.CVN);
  copy(y.AMVO, y.AMVN);
  copy(y.MVO, y.MVN);
}

void DEADNODES(Model& m) {
  model::DYNDATA& y = m.DYN;
  y.DEADND.fill(1);
  for (int ie = 1; ie <= m.NELEM(); ++ie) {
    const ELEMREC& e = m.ELEM(ie);
    const elements::FAMILY& f = elements::FAMILYOF(e.TYPE);
    if (!f.RECOK(m, e) || !f.ALIVE(m, e)) continue;
    for (int a = 1; a <= e.NEN; ++a)
      if (e.NOD(a) >= 1 && e.NOD(a) <= m.NNODE()) y.DEADND(e.NOD(a)) = 0;
  }
}

void BODYLOADS(Model& m) {
  MASSDATA md;
  double a[elements::MAXMASSNODE][3];
  for (int ie = 1; ie <= m.NELEM(); ++ie) {
    const ELEMREC& e = m.ELEM(ie);
    if (elmass(m, e, md) && row_vector(m, md, a)) massmul(m, e, md, a, m.F, 1.0);
  }
}

}  // namespace ossa::solution
