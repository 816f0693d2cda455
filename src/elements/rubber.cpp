// The rubber family: four-node tetrahedra with an interior node, position 7
// of the corners for the pressure. This build computes their start values;
// stiffness, internal force and status are not built yet, and input refuses
// rubber elements before a job reaches them.
#include <cmath>
#include <cstring>

#include "elements/family.hpp"
#include "elements/resrec.hpp"

namespace ossa::elements {

using model::RUBREC;

// Its interior node needs a row of XYZ and NODEID.
bool RUBRECOK(const Model& m, const ELEMREC& e) {
  return e.IDX >= 1 && e.IDX <= m.NRUBB() && NODESOK(m, e, 4) &&
         m.NNODE() + e.IDX <= m.XYZ.ubound(2) && m.NNODE() + e.IDX <= m.NODEID.ubound(1);
}

// The interior node sits at the centroid, numbered after the grid points.
void RUBSTART(Model& m, ELEMREC& e, double* CLASS) {
  const int node = m.NNODE() + e.IDX;
  e.NOD(5) = node;
  for (int k = 1; k <= 3; ++k) {
    double s = 0.0;
    for (int a = 1; a <= 4; ++a) s += m.XYZ(k, e.NOD(a));
    m.XYZ(k, node) = 0.25 * s;
  }
  m.NODEID(node) = -e.ID;
  const double len = AVGLEN(m, e, 4);
  if (len < m.RR(rr::MINLEN)) m.RR(rr::MINLEN) = len;
  const RUBREC& r = m.RUBREC(e.IDX);
  const double cand = len * std::sqrt(r.RHO / (6.0 * (r.C1 + r.C2)));
  if (GROUPOK(r.GROUP) && cand < CLASS[r.GROUP]) CLASS[r.GROUP] = cand;
}

double* RUBBETA(Model& m, const ELEMREC& e, int& GROUP) {
  RUBREC& r = m.RUBREC(e.IDX);
  GROUP = r.GROUP;
  return &r.BETA;
}

bool RUBSTIFF(Model&, const ELEMREC&, double*) { return false; }
void RUBFORCE(Model&, const ELEMREC&, Arr2<double>&, int) {}
bool RUBSTATUS(Model&, const ELEMREC&) { return false; }

namespace {

// Rubber energy of the mixed form: the deviatoric Mooney-Rivlin part and the
// pressure term, -p (J - 1) - p^2 / (2 KB).
double rubber_energy(const model::RUBREC& r, const double* E, double p) {
  // C = I + 2E with tensor shears.
  const double c11 = 1 + 2 * E[0], c22 = 1 + 2 * E[1], c33 = 1 + 2 * E[2];
  const double c12 = E[3], c23 = E[4], c31 = E[5];
  const double i1 = c11 + c22 + c33;
  const double i2 = c11 * c22 + c22 * c33 + c33 * c11 - c12 * c12 - c23 * c23 - c31 * c31;
  const double i3 = c11 * (c22 * c33 - c23 * c23) - c12 * (c12 * c33 - c23 * c31) +
                    c31 * (c12 * c23 - c22 * c31);
  const double j = std::sqrt(i3);
  double w = r.C1 * (i1 * std::pow(i3, -1.0 / 3.0) - 3.0) +
             r.C2 * (i2 * std::pow(i3, -2.0 / 3.0) - 3.0) - p * (j - 1.0);
  if (r.KB != 0.0) w -= p * p / (2.0 * r.KB);
  return w;
}

}  // namespace

void RUBVAL(const model::RUBREC& r, const model::ELEMREC& e, const base::Arr2<double>& u,
            RubberOut& o) {
  o.ID = e.ID;
  // The centroid point (point 1) stands for the element.
  const double* s = &r.STRESS(1, 1);
  const double* g = &r.STRAIN(1, 1);
  PRINCVALS(s, g, o.V);
  double p = 0.0;
  for (int a = 1; a <= 4; ++a) {
    const int nd = e.NOD(a);
    if (u.allocated() && nd >= 1 && nd <= u.ubound(2)) p += u(7, nd);
  }
  const double et[6] = {g[0], g[1], g[2], 0.5 * g[3], 0.5 * g[4], 0.5 * g[5]};
  o.V[15] = static_cast<float>(rubber_energy(r, et, 0.25 * p));
}

void RUBRES(const Model& m, const ELEMREC& e, const Arr2<double>& U, void* REC) {
  RubberOut r;
  RUBVAL(m.RUBREC(e.IDX), e, U, r);
  std::memcpy(REC, &r, sizeof r);
}

int RUBSNAP(Model&, const ELEMREC&, SNAPITEM*) { return 0; }

}  // namespace ossa::elements
