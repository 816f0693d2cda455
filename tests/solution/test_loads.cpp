// Load tables and the external force and enforced increments of a step.
#include <gtest/gtest.h>

#include "model/model.hpp"
#include "solution/loads.hpp"

using namespace ossa;

TEST(TableFunction, HoldsBelowAndExtrapolatesAbove) {
  const double t[3] = {1.0, 2.0, 4.0}, v[3] = {10.0, 20.0, 0.0};
  EXPECT_DOUBLE_EQ(solution::TBLVAL(0.0, t, v, 3), 10.0);   // no extrapolation below
  EXPECT_DOUBLE_EQ(solution::TBLVAL(1.0, t, v, 3), 10.0);
  EXPECT_DOUBLE_EQ(solution::TBLVAL(1.5, t, v, 3), 15.0);
  EXPECT_DOUBLE_EQ(solution::TBLVAL(3.0, t, v, 3), 10.0);
  EXPECT_DOUBLE_EQ(solution::TBLVAL(5.0, t, v, 3), -10.0);  // last segment continues
  const double t1[1] = {1.0}, v1[1] = {3.0};
  EXPECT_DOUBLE_EQ(solution::TBLVAL(0.5, t1, v1, 1), 3.0);
  EXPECT_DOUBLE_EQ(solution::TBLVAL(7.0, t1, v1, 1), 3.0);
}

namespace {

// Three nodes in the xy plane and room for load groups of every kind.
void small_model(model::Model& m, int nload) {
  model::MODELRESET(m);
  m.KK(11) = 3;
  m.KK(44) = nload;
  m.MAXLDT = 2;
  ASSERT_TRUE(m.XYZ.allocate(3, 3));
  m.XYZ(1, 2) = 1.0;
  m.XYZ(2, 3) = 1.0;
  ASSERT_TRUE(m.LOADSET.allocate(4, nload));
  ASSERT_TRUE(m.TBL.allocate(2, 2, nload));
  model::MODELALLOC(m);
  for (int i = 1; i <= 3; ++i)
    for (int j = 1; j <= 3; ++j) m.X(j, i) = m.XYZ(j, i);
}

void ramp(model::Model& m, int g, int kind, int first, int last) {
  m.LOADSET(1, g) = 2;
  m.LOADSET(2, g) = kind;
  m.LOADSET(3, g) = first;
  m.LOADSET(4, g) = last;
  m.TBL(1, 1, g) = 0.0;
  m.TBL(2, 1, g) = 1.0;
  m.TBL(1, 2, g) = 0.0;
  m.TBL(2, 2, g) = 1.0;
}

}  // namespace

TEST(LoadIncrement, ForcesAddUpAndScaleWithTheirTable) {
  model::Model m;
  small_model(m, 1);
  m.KK(43) = 2;
  ASSERT_TRUE(m.FRCNOD.allocate(2));
  ASSERT_TRUE(m.FRCVAL.allocate(6, 2));
  m.FRCNOD(1) = 2;
  m.FRCNOD(2) = 2;  // the same node twice adds up
  m.FRCVAL(1, 1) = 10.0;
  m.FRCVAL(1, 2) = 5.0;
  m.FRCVAL(6, 2) = 2.0;
  ramp(m, 1, 1, 1, 2);
  solution::LOADINC(m, 0.0, 0.5);
  EXPECT_DOUBLE_EQ(m.F(1, 2), 7.5);  // loads are totals at TIME
  EXPECT_DOUBLE_EQ(m.F(6, 2), 1.0);
  EXPECT_DOUBLE_EQ(m.F(1, 1), 0.0);
  m.KK(44) = 0;  // no groups: everything cleared
  solution::LOADINC(m, 0.0, 0.5);
  EXPECT_DOUBLE_EQ(m.F(1, 2), 0.0);
}

TEST(LoadIncrement, PressureGivesAThirdOfTheAreaVectorPerCorner) {
  model::Model m;
  small_model(m, 1);
  m.KK(47) = 1;
  ASSERT_TRUE(m.PRSNOD.allocate(3, 1));
  ASSERT_TRUE(m.PRSVAL.allocate(1));
  m.PRSNOD(1, 1) = 1;
  m.PRSNOD(2, 1) = 2;
  m.PRSNOD(3, 1) = 3;
  m.PRSVAL(1) = 6.0;
  ramp(m, 1, 3, 1, 1);
  solution::LOADINC(m, 0.0, 1.0);
  double fz = 0.0;
  for (int i = 1; i <= 3; ++i) {
    EXPECT_DOUBLE_EQ(m.F(3, i), -1.0);  // pushes against the counter-clockwise normal
    EXPECT_DOUBLE_EQ(m.F(1, i), 0.0);
    fz += m.F(3, i);
  }
  EXPECT_DOUBLE_EQ(fz, -6.0 * 0.5);  // pressure times area
}

TEST(LoadIncrement, DirectedForceFollowsTheCurrentLine) {
  model::Model m;
  small_model(m, 1);
  m.KK(48) = 1;
  ASSERT_TRUE(m.DFCNOD.allocate(3, 1));
  ASSERT_TRUE(m.DFCVAL.allocate(1));
  m.DFCNOD(1, 1) = 3;
  m.DFCNOD(2, 1) = 1;
  m.DFCNOD(3, 1) = 2;
  m.DFCVAL(1) = 4.0;
  ramp(m, 1, 2, 1, 1);
  m.X(1, 2) = 0.0;  // node 2 has moved onto the y axis
  m.X(2, 2) = 2.0;
  solution::LOADINC(m, 0.0, 1.0);
  EXPECT_DOUBLE_EQ(m.F(1, 3), 0.0);
  EXPECT_DOUBLE_EQ(m.F(2, 3), 4.0);
}

TEST(LoadIncrement, EnforcedIncrementsOnlyWhereHeld) {
  model::Model m;
  small_model(m, 1);
  m.KK(42) = 1;
  ASSERT_TRUE(m.DSPNOD.allocate(1));
  ASSERT_TRUE(m.DSPVAL.allocate(6, 1));
  m.DSPNOD(1) = 2;
  m.DSPVAL(1, 1) = 0.2;
  m.DSPVAL(2, 1) = 0.4;
  m.DOFTAB(1, 2) = -1;  // only x is held to an enforced value
  ramp(m, 1, 4, 1, 1);
  solution::LOADINC(m, 0.25, 0.75);
  EXPECT_DOUBLE_EQ(m.DUE(1, 2), 0.1);  // increments, not totals
  EXPECT_DOUBLE_EQ(m.DUE(2, 2), 0.0);
}
