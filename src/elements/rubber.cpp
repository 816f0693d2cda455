// The rubber family: four-node tetrahedra with an interior node, position 7
// of the corners for the pressure. This build computes their start values;
// stiffness, internal force and status are not built yet, and input refuses
// rubber elements before a job reaches them.
#include <cmath>

#include "elements/family.hpp"

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
  if (len < m.RR(11)) m.RR(11) = len;
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

}  // namespace ossa::elements
