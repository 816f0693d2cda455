// A gap card's triples are faces of solids in any order of their corners; the
// gap's normal follows the card's order, and its stiffness the solids found.
// A gap pushes back only while closed, and GAPVAL of 0.0, as after any rigid
// translation, keeps it closed.
#include <gtest/gtest.h>

#include <cmath>

#include "elements/family.hpp"
#include "elements/truss.hpp"
#include "mesh.hpp"
#include "model/model.hpp"
#include "testutil.hpp"

using namespace ossa;

namespace {

// A unit corner tetrahedron (1-4) and one twice as large (5-8); the gap
// joins face (2,3,4) of the first, in the order `a`, with face (6,7,8) of
// the second.
void two_tets(model::Model& m, const int* a) {
  const std::vector<std::array<double, 3>> xyz = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1},
                                                  {3, 0, 0}, {5, 0, 0}, {3, 2, 0}, {3, 0, 2}};
  ossa::testing::build(m, xyz, {{2, {1, 2, 3, 4}}, {2, {5, 6, 7, 8}}, {3, {a[0], 8}}, {3, {a[1], 6}}, {3, {a[2], 7}}});
  m.SOLREC(1).E = 1000.0;
  m.SOLREC(2).E = 3000.0;
  model::MODELALLOC(m);
  ossa::elements::ELEM_INIT(m);
}

// GAPF of all three gaps at m.U; returns GAPCHK's verdict.
int gap_pass(model::Model& m) {
  m.P.fill(0.0);
  m.LINKV.fill(0.0);
  for (int k = 1; k <= 3; ++k) {
    const model::ELEMREC& e = m.ELEM(2 + k);
    elements::GAPF(m.P, m.LINKV, m.GAPREC(k), m.U, e.NOD.data());
  }
  return elements::GAPCHK(m, 1);
}

}  // namespace

TEST(GapSetup, TriplesMatchSolidFacesInAllSixOrders) {
  static const int PERM[6][3] = {{2, 3, 4}, {3, 4, 2}, {4, 2, 3}, {3, 2, 4}, {2, 4, 3}, {4, 3, 2}};
  for (int p = 0; p < 6; ++p) {
    model::Model m;
    two_tets(m, PERM[p]);
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

TEST(Gap, ClosedAtZeroPushesBackOnlyWhileClosed) {
  test::ScratchDir dir;
  model::Model m;
  test::open_log(m);
  static const int ORDER[3] = {2, 3, 4};
  two_tets(m, ORDER);
  m.KK(kk::CONTITER) = 3;
  const double s3 = 1.0 / std::sqrt(3.0);
  // A rigid translation, and a slide along the faces: GAPVAL is exactly 0.0
  // and every gap stays closed.
  for (int nd = 1; nd <= 8; ++nd) m.U(1, nd) = 0.25, m.U(2, nd) = -0.75, m.U(3, nd) = 0.5;
  for (int nd = 5; nd <= 8; ++nd) m.U(1, nd) += 0.125, m.U(2, nd) -= 0.125;
  EXPECT_EQ(gap_pass(m), 1);
  for (int k = 1; k <= 3; ++k) {
    EXPECT_EQ(m.GAPREC(k).GAPVAL, 0.0);
    EXPECT_EQ(m.GAPREC(k).GSTAT, 1);
  }
  // Pressed together by 0.01 along the normal: the force of a closed gap,
  // and its opposite in the link forces.
  m.U.fill(0.0);
  for (int nd = 5; nd <= 8; ++nd)
    for (int i = 1; i <= 3; ++i) m.U(i, nd) = -0.01 * s3;
  EXPECT_EQ(gap_pass(m), 1);
  const double F = m.GAPREC(1).KGAP * -0.01;  // node 8 is the second node of gap 1 alone
  EXPECT_NEAR(m.GAPREC(1).GAPVAL, -0.01, 1e-15);
  EXPECT_NEAR(m.P(1, 8), F * s3, 1e-12);
  EXPECT_NEAR(m.LINKV(1, 8), -F * s3, 1e-12);
  double K[21];
  ASSERT_TRUE(elements::GAPK(m.GAPREC(1), K));
  EXPECT_NEAR(K[0], m.GAPREC(1).KGAP / 3.0, 1e-12);
  // Pulled apart: open, no force and no stiffness, and the check says so.
  for (int nd = 5; nd <= 8; ++nd)
    for (int i = 1; i <= 3; ++i) m.U(i, nd) = 1e-12;
  EXPECT_EQ(gap_pass(m), 0);
  EXPECT_EQ(m.GAPREC(1).GSTAT, 0);
  EXPECT_FALSE(elements::GAPK(m.GAPREC(1), K));
  EXPECT_EQ(gap_pass(m), 1);
  EXPECT_EQ(m.P(1, 8), 0.0);
  base::close_unit(m.unit(m.UNIT(2)));
  const std::string log = test::read_file("EXEC.LOG");
  EXPECT_NE(log.find("\n   * CONTACT ITER. =   1                 \n                 FREE  CONTACT\n"
                     "        FREE        0      0\n     CONTACT        3      0\n"),
            std::string::npos)
      << log;
}
