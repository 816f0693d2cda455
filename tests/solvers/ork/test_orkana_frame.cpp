// ORK in the solver frame: the two memory stops, before the analysis and
// when its scratch is too small.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/model.hpp"
#include "solvers/ork/ork.hpp"
#include "solvers/ork/test_orkana_pat.hpp"
#include "testutil.hpp"

namespace {

using namespace ossa;
using namespace ossa::solvers;

void setup(model::Model& m, const orkpat::Pattern& p, int mb) {
  ossa::test::open_log(m);
  m.KK(kk::NEQ) = p.n;
  m.KK(kk::NZ) = static_cast<int>(p.ja.size());
  m.KK(kk::MEMMB) = mb;
  ASSERT_TRUE(m.IA.allocate(p.n + 1));
  ASSERT_TRUE(m.JA.allocate(static_cast<long>(p.ja.size())));
  std::copy(p.ia.begin(), p.ia.end(), m.IA.data());
  std::copy(p.ja.begin(), p.ja.end(), m.JA.data());
}

// The stop's lines: the megabytes missing (more than none), the message and the numbers.
void expect_memstop(int no2) {
  const std::string log = ossa::test::read_file("EXEC.LOG");
  const std::size_t at = log.find("(MB) MORE MEMORY IS NECESSARY FOR NEXT PROCESS OF MATRIX SOLVER.\n *** ERROR NO. ***\n  -5  " +
                                  std::to_string(no2) + "\n");
  ASSERT_NE(at, std::string::npos) << log;
  EXPECT_GT(std::stod(log.substr(log.rfind('\n', at) + 1)), 0.0);
}

TEST(OrkFrameDeath, MemoryShortBeforeTheAnalysisAndForItsScratch) {
  ossa::test::ScratchDir dir;
  // No memory at all; then the least that passes the first test but leaves
  // the scratch of the analysis too small.
  const orkpat::Pattern p = orkpat::tetcube(12);
  const long nz = static_cast<long>(p.ja.size()), words = p.n + 1 + nz;
  int mb = 0;
  for (int t = 1; t < 20 && mb == 0; ++t) {
    const long free = 250000L * t - words;
    if (free >= 5L * p.n + 2 * nz && 2 * (4L * p.n + nz + 1 + 101) > free / 2) mb = t;
  }
  ASSERT_GT(mb, 0);
  for (int budget : {0, mb}) {
    EXPECT_EXIT(
        {
          model::Model m;
          setup(m, p, budget);
          ORKPREP(m, 3);
        },
        ::testing::ExitedWithCode(0), "");
    expect_memstop(3);
  }
}

}  // namespace
