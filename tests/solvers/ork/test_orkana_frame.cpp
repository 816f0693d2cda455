// ORK in the solver frame: the two memory stops, before the analysis and
// when its scratch is too small.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/fmt.hpp"
#include "model/model.hpp"
#include "solvers/ork/ork.hpp"
#include "solvers/ork/test_orkana_pat.hpp"
#include "testutil.hpp"

namespace {

using namespace ossa;
using namespace ossa::solvers;

void setup(model::Model& m, const orkpat::Pattern& p, int mb) {
  ossa::test::open_log(m);
  m.KK(22) = p.n;
  m.KK(26) = static_cast<int>(p.ja.size());
  m.KK(27) = mb;
  ASSERT_TRUE(m.IA.allocate(p.n + 1));
  ASSERT_TRUE(m.JA.allocate(static_cast<long>(p.ja.size())));
  std::copy(p.ia.begin(), p.ia.end(), m.IA.data());
  std::copy(p.ja.begin(), p.ja.end(), m.JA.data());
}

std::string memline(double mb) {
  std::string line(" ");
  line += base::fF(mb, 8, 2);
  line += "(MB) MORE MEMORY IS NECESSARY FOR NEXT PROCESS OF MATRIX SOLVER.";
  return line;
}

TEST(OrkFrameDeath, BudgetTestBeforeAllocation) {
  ossa::test::ScratchDir dir;
  const orkpat::Pattern p = orkpat::tetcube(1);
  EXPECT_EXIT(
      {
        model::Model m;
        setup(m, p, 0);
        ORKPREP(m, 3);
      },
      ::testing::ExitedWithCode(0), "");
  const long words = p.n + 1 + static_cast<long>(p.ja.size());
  const double mb = (5.0 * p.n + 2.0 * p.ja.size() + words) * 4.0e-6;
  const std::vector<std::string> l = ossa::test::read_lines("EXEC.LOG");
  ASSERT_GE(l.size(), 4u);
  EXPECT_EQ(l[0], "");
  EXPECT_EQ(l[1], memline(mb));
  EXPECT_EQ(l[2], " *** ERROR NO. ***");
  EXPECT_EQ(l[3], "  -5  3");
}

// A budget that passes the first test but leaves the scratch too small: the
// shortfall counts eight-byte reals.
TEST(OrkFrameDeath, ScratchTooSmall) {
  ossa::test::ScratchDir dir;
  const orkpat::Pattern p = orkpat::tetcube(12);
  const long nz = static_cast<long>(p.ja.size());
  const long words = p.n + 1 + nz;
  int mb = 0;
  long free = 0;
  for (int t = 1; t < 20 && mb == 0; ++t) {
    free = 250000L * t - words;
    if (free >= 5L * p.n + 2 * nz && 2 * (4L * p.n + nz + 1 + 101) > free / 2) mb = t;
  }
  ASSERT_GT(mb, 0);
  EXPECT_EXIT(
      {
        model::Model m;
        setup(m, p, mb);
        ORKPREP(m, 4);
      },
      ::testing::ExitedWithCode(0), "");
  const std::vector<std::string> l = ossa::test::read_lines("EXEC.LOG");
  ASSERT_GE(l.size(), 3u);
  EXPECT_EQ(l[1], memline((2 * (4.0 * p.n + nz + 1 + 101) - free / 2) * 8.0e-6));
  EXPECT_EQ(l[3], "  -5  4");
}

}  // namespace
