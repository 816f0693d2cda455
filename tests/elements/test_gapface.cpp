// A gap card's triples are faces of solids in any order of their corners; the
// gap's normal follows the card's order, and its stiffness the solids found.
#include <gtest/gtest.h>

#include <cmath>

#include "model/model.hpp"
#include "mesh.hpp"
#include "elements/family.hpp"

using namespace ossa;

TEST(GapSetup, TriplesMatchSolidFacesInAllSixOrders) {
  // A unit corner tetrahedron (1-4) and one twice as large (5-8); the gap
  // joins face (2,3,4) of the first with face (6,7,8) of the second.
  const std::vector<std::array<double, 3>> xyz = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1},
                                                  {3, 0, 0}, {5, 0, 0}, {3, 2, 0}, {3, 0, 2}};
  static const int PERM[6][3] = {{2, 3, 4}, {3, 4, 2}, {4, 2, 3}, {3, 2, 4}, {2, 4, 3}, {4, 3, 2}};
  for (int p = 0; p < 6; ++p) {
    model::Model m;
    const int* a = PERM[p];
    ossa::testing::build(m, xyz, {{2, {1, 2, 3, 4}}, {2, {5, 6, 7, 8}}, {3, {a[0], 8}}, {3, {a[1], 6}}, {3, {a[2], 7}}});
    m.SOLREC(1).E = 1000.0;
    m.SOLREC(2).E = 3000.0;
    model::MODELALLOC(m);
    ossa::elements::ELEM_INIT(m);
    // KGAP = area (EMAX / LMEAN) / 3, LMEAN the mean of the two solids' mean edges.
    const double l1 = (3.0 + 3.0 * std::sqrt(2.0)) / 6.0, l2 = 2.0 * l1;
    const double area = std::sqrt(3.0) / 2.0;
    const double sign = p < 3 ? 1.0 : -1.0;  // an odd permutation turns the normal
    for (int k = 1; k <= 3; ++k) {
      const auto& g = m.GAPREC(k);
      EXPECT_NEAR(g.KGAP, area * (3000.0 / (0.5 * (l1 + l2))) / 3.0, 1e-9) << p;
      for (int i = 1; i <= 3; ++i) EXPECT_NEAR(g.NVEC(i), sign / std::sqrt(3.0), 1e-15) << p;
      EXPECT_EQ(g.GSTAT, 1);
    }
  }
}
