// Fixed-column numeric fields, read with blanks ignored.
#include <gtest/gtest.h>

#include "base/fields.hpp"

using namespace ossa::base;

TEST(Fields, ColumnsAndPadding) {
  const std::string img = "NODE      12   1.5";
  EXPECT_EQ(field(img, 1, 4), "NODE");
  EXPECT_EQ(field(img, 6, 15), "     12   ");
  EXPECT_EQ(field(img, 16, 30), "1.5");  // past the end reads as blanks
  EXPECT_EQ(field(img, 40, 50), "");
  EXPECT_TRUE(is_blank(field(img, 40, 50)));
}

TEST(Fields, Integers) {
  long v = -1;
  EXPECT_TRUE(read_int("   12", v)); EXPECT_EQ(v, 12);
  EXPECT_TRUE(read_int("12   ", v)); EXPECT_EQ(v, 12);  // left-adjusted
  EXPECT_TRUE(read_int(" 1 2 ", v)); EXPECT_EQ(v, 12);  // blanks count as nothing
  EXPECT_TRUE(read_int("     ", v)); EXPECT_EQ(v, 0);
  EXPECT_TRUE(read_int("", v)); EXPECT_EQ(v, 0);
  EXPECT_TRUE(read_int("  -3", v)); EXPECT_EQ(v, -3);
  EXPECT_TRUE(read_int("+ 4", v)); EXPECT_EQ(v, 4);
  v = 7;
  EXPECT_FALSE(read_int("1.0", v));
  EXPECT_FALSE(read_int("12a", v));
  EXPECT_FALSE(read_int("-", v));
  EXPECT_FALSE(read_int("99999999999", v));
  EXPECT_EQ(v, 7);  // a refused field leaves the value alone
}

TEST(Fields, Reals) {
  double v = -1;
  EXPECT_TRUE(read_real("1.5", v)); EXPECT_DOUBLE_EQ(v, 1.5);
  EXPECT_TRUE(read_real("  15", v)); EXPECT_DOUBLE_EQ(v, 15.0);  // no implied decimals
  EXPECT_TRUE(read_real("1.5E3", v)); EXPECT_DOUBLE_EQ(v, 1500.0);
  EXPECT_TRUE(read_real("1.5e+03", v)); EXPECT_DOUBLE_EQ(v, 1500.0);
  EXPECT_TRUE(read_real("1.5D-2", v)); EXPECT_DOUBLE_EQ(v, 0.015);
  EXPECT_TRUE(read_real("1.5+3", v)); EXPECT_DOUBLE_EQ(v, 1500.0);  // bare sign exponent
  EXPECT_TRUE(read_real("1.5-3", v)); EXPECT_DOUBLE_EQ(v, 0.0015);
  EXPECT_TRUE(read_real(" 2 . 5 ", v)); EXPECT_DOUBLE_EQ(v, 2.5);
  EXPECT_TRUE(read_real("-.5E1", v)); EXPECT_DOUBLE_EQ(v, -5.0);
  EXPECT_TRUE(read_real("3.", v)); EXPECT_DOUBLE_EQ(v, 3.0);
  EXPECT_TRUE(read_real("          ", v)); EXPECT_DOUBLE_EQ(v, 0.0);
  v = 9;
  EXPECT_FALSE(read_real("abc", v));
  EXPECT_FALSE(read_real("1.2.3", v));
  EXPECT_FALSE(read_real("1.5E", v));
  EXPECT_FALSE(read_real("E5", v));
  EXPECT_FALSE(read_real("1,5", v));
  EXPECT_FALSE(read_real("0x10", v));
  EXPECT_DOUBLE_EQ(v, 9.0);
}
