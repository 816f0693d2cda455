// Direct-access, sequential and text files as the job reads and writes them.
#include <gtest/gtest.h>

#include <cstdint>

#include "base/files.hpp"
#include "testutil.hpp"

using namespace ossa::base;

TEST(DirectFile, LastRecordPreallocatesAndRecordsReadBack) {
  ossa::test::ScratchDir dir;
  Unit u;
  ASSERT_TRUE(open_direct(u, "EXEC.SOL", 336));
  ASSERT_TRUE(dwrite(u, 11, nullptr, 0));
  flush_unit(u);
  EXPECT_EQ(ossa::test::file_size("EXEC.SOL"), 11 * 336);
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
  EXPECT_EQ(ossa::test::file_size("EXEC.SOL"), 11 * 336);
  ASSERT_TRUE(open_direct(u, "EXEC.SOL", 336));
  EXPECT_EQ(ossa::test::file_size("EXEC.SOL"), 0);
  close_unit(u, true);
  EXPECT_FALSE(ossa::test::exists("EXEC.SOL"));
}

TEST(SeqFile, RecordsCarryTheirLength) {
  ossa::test::ScratchDir dir;
  Unit u;
  ASSERT_TRUE(open_seq_out(u, "EXEC.RST"));
  const std::int32_t kk[3] = {1, 2, 3};
  const double rr[2] = {1.5, -2.5};
  ASSERT_TRUE(swrite(u, kk, sizeof kk));
  ASSERT_TRUE(swrite(u, rr, sizeof rr));
  ASSERT_TRUE(swrite(u, nullptr, 0));
  close_unit(u);
  EXPECT_EQ(ossa::test::file_size("EXEC.RST"), (12 + 8) + (16 + 8) + 8);
  // The layout is the common one: length, data, length.
  const std::string raw = ossa::test::read_file("EXEC.RST");
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
  ossa::test::ScratchDir dir;
  ossa::test::write_file("EXEC.INP", "ONE\r\n\nTHREE " + std::string(700, 'x') + "\nLAST");
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

TEST(SnapshotHelpers, CheckSeesEveryBitAndReplaceIsWhole) {
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

  ossa::test::ScratchDir dir;
  ossa::test::write_file("EXEC.RST2", "old");
  ossa::test::write_file("EXEC.RST2.TMP", "new");
  ASSERT_TRUE(replace_file("EXEC.RST2.TMP", "EXEC.RST2"));
  EXPECT_EQ(ossa::test::read_file("EXEC.RST2"), "new");
  EXPECT_FALSE(ossa::test::exists("EXEC.RST2.TMP"));
  Unit u;
  ASSERT_TRUE(open_seq_in(u, "EXEC.RST2"));
  char three[3];
  EXPECT_FALSE(at_end(u));
  EXPECT_EQ(std::fread(three, 1, 3, u.fp), 3u);
  EXPECT_TRUE(at_end(u));
  close_unit(u);
}
