// The shell family: three-node triangles, six positions a node, three
// layers of four material points. This build computes their start values
// and status points; stiffness and internal force are not built yet, and
// input refuses shell elements before a job reaches them.
#include <cmath>

#include "elements/family.hpp"
#include "base/kernels.hpp"
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

}  // namespace ossa::elements
