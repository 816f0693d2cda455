// Edit-descriptor output against values worked out by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "base/fmt.hpp"

using namespace ossa::base;

TEST(Fmt, IntegerFields) {
  EXPECT_EQ(fI(5, 3), "  5");
  EXPECT_EQ(fI(-5, 3), " -5");
  EXPECT_EQ(fI(0, 3), "  0");
  EXPECT_EQ(fI(1000, 3), "***");
  EXPECT_EQ(fI(-100, 3), "***");
  EXPECT_EQ(fI0(0), "0");
  EXPECT_EQ(fI0(-12), "-12");
  EXPECT_EQ(fI0(1234567), "1234567");
}

TEST(Fmt, FixedPoint) {
  EXPECT_EQ(fF(12.345, 9, 1), "     12.3");
  EXPECT_EQ(fF(0.0, 9, 1), "      0.0");
  EXPECT_EQ(fF(100.0, 5, 1), "100.0");
  EXPECT_EQ(fF(100.0, 4, 1), "****");
  EXPECT_EQ(fF(0.5, 3, 1), "0.5");
  EXPECT_EQ(fF(0.5, 2, 1), ".5");     // the leading zero goes first
  EXPECT_EQ(fF(-0.5, 3, 1), "-.5");
  EXPECT_EQ(fF(-0.04, 5, 1), " -0.0");  // a negative value keeps its sign
  EXPECT_EQ(fF(99.96, 5, 1), "100.0");
  EXPECT_EQ(fF(2.25, 6, 3), " 2.250");
}

TEST(Fmt, ScaledExponent) {
  EXPECT_EQ(fPE(0.0012345, 10, 4), "1.2345E-03");
  EXPECT_EQ(fPE(-0.0012345, 11, 4), "-1.2345E-03");
  EXPECT_EQ(fPE(-0.0012345, 10, 4), "**********");  // no room for the sign
  EXPECT_EQ(fPE(0.0, 10, 4), "0.0000E+00");
  EXPECT_EQ(fPE(1.0, 12, 4), "  1.0000E+00");
  EXPECT_EQ(fPE(9.99995, 10, 4), "1.0000E+01");  // rounds up a decade
  EXPECT_EQ(fPE(9.9996, 10, 3), " 1.000E+01");
  EXPECT_EQ(fPE(210000.0, 12, 4), "  2.1000E+05");
  EXPECT_EQ(fPE(1.5e99, 12, 4), "  1.5000E+99");
  EXPECT_EQ(fPE(1.5e123, 12, 4), "  1.5000+123");  // three-digit exponent drops the E
  EXPECT_EQ(fPE(-2.5e-105, 12, 4), " -2.5000-105");
  EXPECT_EQ(fPE(1.0e-5, 10, 4), "1.0000E-05");
}

TEST(Fmt, PlainExponent) {
  EXPECT_EQ(fE(0.0012345, 12, 4), "  0.1234E-02");
  EXPECT_EQ(fE(0.0012345, 10, 4), "0.1234E-02");
  EXPECT_EQ(fE(0.0012345, 9, 4), ".1234E-02");
  EXPECT_EQ(fE(-1.0, 11, 4), "-0.1000E+01");
  EXPECT_EQ(fE(0.0, 11, 4), " 0.0000E+00");
  EXPECT_EQ(fE(99999.5, 12, 4), "  0.1000E+06");
}

TEST(Fmt, NotANumberAndInfinity) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(fPE(nan, 10, 4), "       NaN");
  EXPECT_EQ(fF(nan, 9, 1), "      NaN");
  EXPECT_EQ(fF(inf, 9, 1), " Infinity");
  EXPECT_EQ(fPE(-inf, 10, 4), " -Infinity");
  EXPECT_EQ(fF(nan, 2, 1), "**");
}

TEST(Fmt, TextFields) {
  EXPECT_EQ(fA("ABC", 5), "  ABC");
  EXPECT_EQ(fA("ABCDEF", 3), "ABC");
  EXPECT_EQ(fX(3), "   ");
}
