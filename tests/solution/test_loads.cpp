// The load table: held below its first point, extrapolated beyond its last.
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
