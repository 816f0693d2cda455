// The error stop and the elapsed-time report (the progress lines are the
// step walk's, the end line every job's).
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>

#include "model/stop.hpp"
#include "model/model.hpp"
#include "testutil.hpp"

using namespace ossa;

namespace {

// A model with its log open in the working directory and a clock that
// started `ago` seconds before now.
void open_log(model::Model& m, double ago) {
  model::MODELRESET(m);
  ASSERT_TRUE(base::open_text_out(m.unit(m.UNIT(2)), "EXEC.LOG"));
  m.clock.started = true;
  m.clock.t0 = std::chrono::steady_clock::now() -
               std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                   std::chrono::duration<double>(ago));
}

}  // namespace

TEST(ElapsedReport, LayoutSharesAndANegativeRest) {
  test::ScratchDir dir;
  model::Model m;
  open_log(m, 10.0);
  m.TIMES(1) = 2.5;
  m.TIMES(4) = 5.0;
  model::ELAPSED(m, m.UNIT(2));
  m.TIMES(3) = 2.6;  // rounding can make the sum exceed the total
  model::ELAPSED(m, m.UNIT(2));
  EXPECT_EQ(m.TIMES(9), 0.0);
  base::close_unit(m.unit(m.UNIT(2)));
  const auto l = test::read_lines("EXEC.LOG");
  ASSERT_EQ(l.size(), 28u);
  const char* want[] = {"", " ***** ELAPSED TIME *****", "                            (SEC)    (%)",
                        "   INPUT               :      2.5   25.0", "   INDEX               :      0.0    0.0", nullptr,
                        "   MATRIX SOLUTION     :      5.0   50.0", nullptr, nullptr,
                        "   CONTACT             :      0.0    0.0", "   OUTPUT              :      0.0    0.0",
                        "   MISCELLANEOUS       :      2.5   25.0", "   -------------------------------------",
                        "   TOTAL               :     10.0  100.0"};
  for (int k = 0; k < 14; ++k)
    EXPECT_EQ(l[k], want[k] ? want[k] : l[k]) << k;
  EXPECT_EQ(l[14 + 11], "   MISCELLANEOUS       :      0.0    0.0");
}

TEST(ErrorStop, AllocationCheckStopsAtFirstFailure) {
  test::ScratchDir dir;
  model::Model m;
  open_log(m, 0.0);
  const int ok[3] = {0, 0, 0};
  model::ALLOCCHK(m, ok, 3, 0, m.UNIT(2));   // all good: returns
  model::ALLOCCHK(m, nullptr, 0, 0, m.UNIT(2));  // nothing to check
  const int bad[3] = {0, 1, 1};
  OSSA_EXPECT_STOP(model::ALLOCCHK(m, bad, 3, 7, m.UNIT(2)));
  const auto l = test::read_lines("EXEC.LOG");
  ASSERT_GE(l.size(), 3u);
  EXPECT_EQ(l[1], " MEMORY ALLOCATION ERROR");
  EXPECT_EQ(l[3], "  -5  7");
  EXPECT_EQ(test::read_file("stdout.txt"), "##$$ExSv end -5 7\n");
}
