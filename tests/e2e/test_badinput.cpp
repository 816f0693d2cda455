// Decks the program cannot read stop with one clear message naming the
// place, a non-zero status and no end line; numbered input checks stop
// through the error stop.
#include <gtest/gtest.h>

#include "testutil.hpp"

using ossa::test::read_file;
using ossa::test::run_ossa;
using ossa::test::ScratchDir;
using ossa::test::write_file;

namespace {

// Expects the file layer's stop with `what` in the message on standard
// error and in the log.
void expect_file_stop(const ossa::test::RunResult& r, const std::string& what) {
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.err.find(what), std::string::npos) << r.err;
  EXPECT_EQ(r.out.find("##$$ExSv end"), std::string::npos) << r.out;
  EXPECT_NE(read_file("EXEC.LOG").find(what), std::string::npos);
}

}  // namespace

TEST(BadInput, MissingDeck) {
  ScratchDir dir;
  const auto r = run_ossa();
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.err.find("EXEC.INP"), std::string::npos);
  EXPECT_EQ(r.out.find("##$$ExSv end"), std::string::npos);
}

TEST(BadInput, MissingEndCard) {
  ScratchDir dir;
  write_file("EXEC.INP", "CNTND          2\nREMARK\n");
  expect_file_stop(run_ossa(), "EXEC.INP, LINE 2: END OF FILE BEFORE THE \"END\" CARD");
  write_file("EXEC.INP", "");
  expect_file_stop(run_ossa(), "END OF FILE BEFORE THE \"END\" CARD");
}

TEST(BadInput, LetterInNumericField) {
  ScratchDir dir;
  write_file("EXEC.INP", "CNTND          2\nNODE  1x\nEND\n");
  expect_file_stop(run_ossa(),
                   "EXEC.INP, LINE 2, COLUMNS 6-15, CARD \"NODE\": FIELD \"1x\" IS NOT AN INTEGER");
  write_file("EXEC.INP", "CNTND     2,5\nEND\n");
  expect_file_stop(run_ossa(), "LINE 1, COLUMNS 11-20, CARD \"CNTND\": FIELD \"2,5\"");
  write_file("EXEC.INP", "KUKAN     1.0       ten\nEND\n");
  expect_file_stop(run_ossa(), "LINE 1, COLUMNS 21-30, CARD \"KUKAN\"");
}

TEST(BadInput, MoreCardsThanCounted) {
  ScratchDir dir;
  write_file("EXEC.INP",
             "CNTND              1\n"
             "NODE          1            0.0            0.0            0.0\n"
             "NODE          2            1.0            0.0            0.0\n"
             "END\n");
  expect_file_stop(run_ossa(), "LINE 3, CARD \"NODE\": MORE \"NODE\" CARDS THAN \"CNTND\" ALLOWS (1)");
}

TEST(BadInput, GapInContactAnalysisIsANumberedStop) {
  ScratchDir dir;
  write_file("EXEC.INP",
             "CNTEL         0         0         1\n"
             "NBODY    1\n"
             "END\n");
  const auto r = run_ossa();
  EXPECT_EQ(r.status, 0);  // numbered stops end like a normal run
  EXPECT_NE(r.out.find("##$$ExSv end -2 0\n"), std::string::npos);
  const std::string log = read_file("EXEC.LOG");
  EXPECT_NE(log.find("\n GAP ELEMENT IS NOT AVAILABLE IN CONTACT ANALYSIS.\n *** ERROR NO. ***\n  -2  0\n"),
            std::string::npos)
      << log;
}
