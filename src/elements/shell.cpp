// The shell family: three-node triangles, six positions a node, three
// layers of four material points. This build computes their start values
// and status points; stiffness and internal force are not built yet, and
// input refuses shell elements before a job reaches them.
#include <cmath>
#include <cstring>

#include "base/kernels.hpp"
#include "elements/family.hpp"
#include "elements/material.hpp"
#include "elements/princ.hpp"
#include "elements/resrec.hpp"
#include "elements/status.hpp"

namespace ossa::elements {

using base::PACKIDX;
using base::VSUB;
using base::VNORM;
using base::CROSS;
using base::DPLANE;

using model::SHLREC;

bool SHLRECOK(const Model& m, const ELEMREC& e) {
  return e.IDX >= 1 && e.IDX <= m.NSHELL() && NODESOK(m, e, 3);
}

void SHLSTART(Model& m, ELEMREC& e, double* CLASS) {
  SHLREC& r = m.SHLREC(e.IDX);
  r.AVGLEN = AVGLEN(m, e, 3);
  double a[3], b[3], n[3];
  VSUB(m.XYZ.at(1, e.NOD(1)), m.XYZ.at(1, e.NOD(3)), a, 3);
  VSUB(m.XYZ.at(1, e.NOD(2)), m.XYZ.at(1, e.NOD(3)), b, 3);
  CROSS(a, b, n);
  const double len = VNORM(n, 3);
  const double area = 0.5 * len;
  const double E = r.E, nu = r.NU, th = r.THICK;
  r.GS = 1.0 / (2.0 * (1.0 + nu) / E + std::sqrt(3.0) * (1.0 - nu * nu) * area / (E * th * th));
  double D[15];
  DPLANE(E, nu, D);
  D[PACKIDX(4, 4, 5) - 1] = r.GS;
  D[PACKIDX(5, 5, 5) - 1] = r.GS;
  for (int j = 1; j <= 3; ++j)
    for (int i = 1; i <= 4; ++i)
      for (int k = 1; k <= 15; ++k) r.D(k, i, j) = D[k - 1];
  r.DRILL = 1.0e-5 * E * th * th * th;
  for (int a3 = 1; a3 <= 3; ++a3) {
    r.TNODE(a3) = th;
    for (int k = 1; k <= 3; ++k) r.V0(k, a3) = r.V(k, a3) = r.VC(k, a3) = n[k - 1] / len;
  }
  CLASSRULE(m, CLASS, r.GROUP, E, r.RHO, r.AVGLEN);
}

double* SHLBETA(Model& m, const ELEMREC& e, int& GROUP) {
  SHLREC& r = m.SHLREC(e.IDX);
  GROUP = r.GROUP;
  return &r.BETA;
}

bool SHLSTIFF(Model&, const ELEMREC&, double*) { return false; }

void SHLFORCE(Model&, const ELEMREC&, Arr2<double>&, int) {}

namespace {

// One point by its state; true when an ELASTIC point changed state.
bool shlpoint(Model& m, SHLREC& r, int PT, int LY, int IREC) {
  const int st = r.STATE(PT, LY);
  if (st == ELASTIC) {
    SHLST0(m, r, PT, LY, IREC);
    return r.STATE(PT, LY) != ELASTIC;
  }
  if (st == PLASTIC) SHLST2(m, r, PT, LY, IREC);
  return false;
}

}  // namespace

bool SHLSTATUS(Model& m, const ELEMREC& e) {
  bool changed = false;
  SHLREC& r = m.SHLREC(e.IDX);
  for (int ly = 1; ly <= 3; ++ly)
    for (int pt = 1; pt <= 4; ++pt)
      if (shlpoint(m, r, pt, ly, 3 * e.IDX + ly - 3)) changed = true;
  return changed;
}

void SHLVAL(const Model& m, const model::SHLREC& r, std::int32_t id, ShellOut& o) {
  o.ID = id;
  for (int l = 1; l <= 3; ++l) {
    ShellLayerOut& L = o.L[l - 1];
    const double* s = &r.STRESS(1, 4, l);
    const double* e = &r.STRAIN(1, 4, l);
    L.STATE = r.STATE(4, l);
    double p[5], c, sn;
    PRINC2(s, p, c, sn);
    L.V[0] = static_cast<float>(p[0]);
    L.V[1] = static_cast<float>(p[1]);
    L.V[2] = static_cast<float>(DIRANGLE(c, sn));
    const double eh[5] = {e[0], e[1], 0.5 * e[2], 0.5 * e[3], 0.5 * e[4]};
    PRINC2(eh, p, c, sn);
    L.V[3] = static_cast<float>(p[0]);
    L.V[4] = static_cast<float>(p[1]);
    L.V[5] = static_cast<float>(SEDENS(L.STATE, s, e, &r.EPLAST(1, l), &r.D(1, 4, l), 5));
    L.V[6] = static_cast<float>(DIRANGLE(c, sn));
    L.V[7] = static_cast<float>(EQVSTR2(s, r.YTYPE, m.RR(rr::DPALPHA)));
    L.V[8] = static_cast<float>(r.EPEQ(l));
  }
}

void SHLRES(const Model& m, const ELEMREC& e, const Arr2<double>&, void* REC) {
  ShellOut r;
  SHLVAL(m, m.SHLREC(e.IDX), e.ID, r);
  std::memcpy(REC, &r, sizeof r);
}

int SHLSNAP(Model& m, const ELEMREC& e, SNAPITEM* ITEMS) {
  SHLREC& h = m.SHLREC(e.IDX);
  const SNAPITEM items[] = {SNAPARR(h.V),      SNAPARR(h.D),       SNAPARR(h.STRAIN),
                            SNAPARR(h.EPLAST), SNAPARR(h.EPEQ),    SNAPARR(h.STRESS),
                            SNAPARR(h.STRESS0), SNAPARR(h.PDIR),   SNAPARR(h.STATE),
                            SNAPARR(h.YIELD)};
  int n = 0;
  for (const SNAPITEM& it : items) ITEMS[n++] = it;
  return n;
}

}  // namespace ossa::elements
