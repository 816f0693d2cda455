// Small models built in memory for the model-preparation tests: nodes,
// elements with their records, and the control entries the routines read.
#pragma once
#include <array>
#include <vector>

#include "model/model.hpp"

namespace ossa::testing {

struct Elem {
  int TYPE;
  std::vector<int> NOD;
};

// Element row defaults by type: NDF and the record family.
inline int ndf_of(int type) { return type == 1 ? 6 : (type == 4 ? 4 : 3); }

// Fills KK, the deck arrays and the element records; the solution arrays
// come from MODELALLOC. Solver KK(21), static job, budget 400 MB.
inline void build(model::Model& m, const std::vector<std::array<double, 3>>& xyz,
                  const std::vector<Elem>& elems, int solver = 2) {
  model::MODELRESET(m);
  int count[6] = {};
  for (const auto& e : elems) ++count[e.TYPE];
  const int nn = static_cast<int>(xyz.size());
  m.KK(kk::NNODE) = nn;
  m.KK(kk::NELEM) = static_cast<int>(elems.size());
  for (int t = 1; t <= 5; ++t) m.KK(kk::NSHELL - 1 + t) = count[t];  // NSHELL, NSOLID, NGAP, NRUBB, NTRUSS
  m.KK(kk::SOLVER) = solver;
  m.KK(kk::BLOCKW) = 45;
  m.KK(kk::MEMMB) = 400;
  m.KK(kk::DEVICE) = -1;
  m.KK(kk::ONE) = 1;
  m.XYZ.allocate(3, nn + count[4]);
  m.NODEID.allocate(nn + count[4]);
  for (int i = 1; i <= nn; ++i) {
    m.NODEID(i) = 100 + i;
    for (int k = 1; k <= 3; ++k) m.XYZ(k, i) = xyz[i - 1][k - 1];
  }
  m.ELEM.allocate(m.KK(kk::NELEM));
  m.SHLREC.allocate(count[1]);
  m.SOLREC.allocate(count[2]);
  m.GAPREC.allocate(count[3]);
  m.RUBREC.allocate(count[4]);
  m.TRSREC.allocate(count[5]);
  int idx[6] = {};
  for (int i = 1; i <= m.NELEM(); ++i) {
    const Elem& e = elems[i - 1];
    model::ELEMREC& r = m.ELEM(i);
    r.ID = 1000 + i;
    r.TYPE = e.TYPE;
    r.IDX = ++idx[e.TYPE];
    r.NDF = ndf_of(e.TYPE);
    r.NEN = static_cast<int>(e.NOD.size());
    for (int a = 1; a <= r.NEN; ++a) r.NOD(a) = e.NOD[a - 1];
  }
}

// Constraint rows: PLKNOD and PLKFLG (six flags each).
inline void constrain(model::Model& m, const std::vector<std::pair<int, std::array<int, 6>>>& rows) {
  m.KK(kk::NPLNK) = static_cast<int>(rows.size());
  m.PLKNOD.allocate(m.KK(kk::NPLNK));
  m.PLKFLG.allocate(6, m.KK(kk::NPLNK));
  for (int i = 1; i <= m.KK(kk::NPLNK); ++i) {
    m.PLKNOD(i) = rows[i - 1].first;
    for (int k = 1; k <= 6; ++k) m.PLKFLG(k, i) = rows[i - 1].second[k - 1];
  }
}

}  // namespace ossa::testing
