// The base layer: fixed-column fields read with blanks ignored, edit
// descriptors against values worked out by hand, and the direct-access,
// sequential and text files as the job reads and writes them.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "base/fields.hpp"
#include "base/files.hpp"
#include "base/fmt.hpp"
#include "testutil.hpp"

using namespace ossa::base;
using namespace ossa::test;

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

TEST(Fmt, NotANumberAndInfinity) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(fPE(nan, 10, 4), "       NaN");
  EXPECT_EQ(fF(nan, 9, 1), "      NaN");
  EXPECT_EQ(fF(inf, 9, 1), " Infinity");
  EXPECT_EQ(fPE(-inf, 10, 4), " -Infinity");
  EXPECT_EQ(fF(nan, 2, 1), "**");
}

TEST(DirectFile, LastRecordPreallocatesAndRecordsReadBack) {
  ScratchDir dir;
  Unit u;
  ASSERT_TRUE(open_direct(u, "EXEC.SOL", 336));
  ASSERT_TRUE(dwrite(u, 11, nullptr, 0));
  flush_unit(u);
  EXPECT_EQ(file_size("EXEC.SOL"), 11 * 336);
  double a[42], b[42];
  for (int i = 0; i < 42; ++i) a[i] = i * 0.5;
  ASSERT_TRUE(dwrite(u, 3, a, sizeof a));
  ASSERT_TRUE(dread(u, 3, b, sizeof b));
  for (int i = 0; i < 42; ++i) EXPECT_EQ(b[i], a[i]);
  ASSERT_TRUE(dread(u, 2, b, sizeof b));  // never written: zeros
  EXPECT_EQ(b[0], 0.0);
  ASSERT_TRUE(dread(u, 20, b, sizeof b));  // past the end: zeros
  EXPECT_EQ(b[41], 0.0);
  double two[84], back[126];
  for (int i = 0; i < 84; ++i) two[i] = -i;
  ASSERT_TRUE(dwrite_recs(u, 10, 2, two));  // records 10 and 11 in one go
  ASSERT_TRUE(dread_recs(u, 10, 3, back));  // and 12, past the end: zeros
  for (int i = 0; i < 84; ++i) EXPECT_EQ(back[i], -i);
  EXPECT_EQ(back[125], 0.0);
  ASSERT_TRUE(dwrite(u, 11, nullptr, 0));
  EXPECT_FALSE(dwrite(u, 0, a, 8));         // records count from 1
  EXPECT_FALSE(dwrite(u, 1, a, 400));       // longer than the record
  close_unit(u);
  // A restart opens the kept file as it stands, even after preallocating again;
  // a new job starts afresh.
  ASSERT_TRUE(open_direct(u, "EXEC.SOL", 336, true));
  ASSERT_TRUE(dwrite(u, 11, nullptr, 0));
  ASSERT_TRUE(dread(u, 3, b, sizeof b));
  for (int i = 0; i < 42; ++i) EXPECT_EQ(b[i], a[i]);
  close_unit(u);
  EXPECT_EQ(file_size("EXEC.SOL"), 11 * 336);
  ASSERT_TRUE(open_direct(u, "EXEC.SOL", 336));
  EXPECT_EQ(file_size("EXEC.SOL"), 0);
  close_unit(u, true);
  EXPECT_FALSE(exists("EXEC.SOL"));
}

TEST(SeqFile, RecordsCarryTheirLength) {
  ScratchDir dir;
  Unit u;
  ASSERT_TRUE(open_seq_out(u, "EXEC.RST"));
  const std::int32_t kk[3] = {1, 2, 3};
  const double rr[2] = {1.5, -2.5};
  ASSERT_TRUE(swrite(u, kk, sizeof kk));
  ASSERT_TRUE(swrite(u, rr, sizeof rr));
  ASSERT_TRUE(swrite(u, nullptr, 0));
  close_unit(u);
  EXPECT_EQ(file_size("EXEC.RST"), (12 + 8) + (16 + 8) + 8);
  // The layout is the common one: length, data, length.
  const std::string raw = read_file("EXEC.RST");
  std::int32_t head = 0;
  std::memcpy(&head, raw.data(), 4);
  EXPECT_EQ(head, 12);

  ASSERT_TRUE(open_seq_in(u, "EXEC.RST"));
  std::int32_t k2[3] = {};
  double r2[1] = {};
  EXPECT_EQ(sread(u, k2, sizeof k2), 12);
  EXPECT_EQ(k2[2], 3);
  EXPECT_EQ(sread(u, r2, sizeof r2), 16);  // a longer record is cut to the buffer
  EXPECT_EQ(r2[0], 1.5);
  EXPECT_EQ(sread(u, r2, sizeof r2), 0);
  EXPECT_EQ(sread(u, r2, sizeof r2), -1);  // end of file
  close_unit(u, true);
}

TEST(TextFile, LinesAreCountedAndCarriageReturnsDropped) {
  ScratchDir dir;
  write_file("EXEC.INP", "ONE\r\n\nTHREE " + std::string(700, 'x') + "\nLAST");
  Unit u;
  ASSERT_TRUE(open_text_in(u, "EXEC.INP"));
  std::string l;
  ASSERT_TRUE(get_line(u, l)); EXPECT_EQ(l, "ONE");
  ASSERT_TRUE(get_line(u, l)); EXPECT_EQ(l, "");
  ASSERT_TRUE(get_line(u, l)); EXPECT_EQ(l.size(), 706u);  // longer than the read chunk
  ASSERT_TRUE(get_line(u, l)); EXPECT_EQ(l, "LAST");       // no final newline
  EXPECT_EQ(u.line, 4);
  EXPECT_FALSE(get_line(u, l));
  rewind_unit(u);
  ASSERT_TRUE(get_line(u, l)); EXPECT_EQ(u.line, 1);
  close_unit(u);
}

// The swap of the old snapshot for the new one and the end test are
// exercised by every restart job (tests/e2e/test_restart.cpp).
TEST(SnapshotHelpers, CheckSeesEveryBit) {
  // Any one flipped bit, and a tail of zeros, change the check.
  unsigned char b[21] = {};
  for (int i = 0; i < 21; ++i) b[i] = static_cast<unsigned char>(7 * i + 1);
  const std::uint64_t c = CHECK64(CHECKSEED, b, sizeof b);
  for (int bit = 0; bit < 8 * 21; ++bit) {
    b[bit / 8] ^= static_cast<unsigned char>(1u << (bit % 8));
    EXPECT_NE(CHECK64(CHECKSEED, b, sizeof b), c) << bit;
    b[bit / 8] ^= static_cast<unsigned char>(1u << (bit % 8));
  }
  const unsigned char z[2] = {};
  EXPECT_NE(CHECK64(CHECKSEED, z, 1), CHECK64(CHECKSEED, z, 2));
}
