// The run computes with denormal results and inputs counted as zero.
#include <gtest/gtest.h>

#include <cfloat>

#include "job/job.hpp"

TEST(FloatingPointControl, DenormalsCountAsZero) {
  volatile double tiny = DBL_MIN / 4.0;  // a denormal
  volatile double one = 1.0;
  ossa::job::FPCONTROL();
  EXPECT_EQ(tiny * one, 0.0);              // denormal input
  volatile double small = DBL_MIN;
  EXPECT_EQ(small * 0.25, 0.0);            // denormal result
  EXPECT_EQ(small * one, DBL_MIN);         // normal numbers are untouched
}
