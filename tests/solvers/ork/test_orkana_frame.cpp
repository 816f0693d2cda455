// ORK in the solver frame: the memory report, the work files, the memory
// stops; and the amalgamation rule on a hand-made tree.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "base/fmt.hpp"
#include "model/model.hpp"
#include "solvers/ork/ork.hpp"
#include "solvers/ork/test_orkana_pat.hpp"

namespace {

using namespace ossa;
using namespace ossa::solvers;

void intemp() {
  char dir[] = "/tmp/ossa_orkXXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  ASSERT_EQ(chdir(dir), 0);
}

void setup(model::Model& m, const orkpat::Pattern& p, int mb) {
  model::MODELRESET(m);
  ASSERT_TRUE(base::open_text_out(m.unit(m.UNIT(2)), "EXEC.LOG"));
  m.KK(22) = p.n;
  m.KK(26) = static_cast<int>(p.ja.size());
  m.KK(27) = mb;
  ASSERT_TRUE(m.IA.allocate(p.n + 1));
  ASSERT_TRUE(m.JA.allocate(static_cast<long>(p.ja.size())));
  std::copy(p.ia.begin(), p.ia.end(), m.IA.data());
  std::copy(p.ja.begin(), p.ja.end(), m.JA.data());
}

std::vector<std::string> loglines() {
  std::ifstream f("EXEC.LOG");
  std::vector<std::string> l;
  for (std::string s; std::getline(f, s);) l.push_back(s);
  return l;
}

bool exists(const char* name) { return access(name, F_OK) == 0; }

std::string memline(double mb) {
  std::string line(" ");
  line += base::fF(mb, 8, 2);
  line += "(MB) MORE MEMORY IS NECESSARY FOR NEXT PROCESS OF MATRIX SOLVER.";
  return line;
}

TEST(OrkFrame, ReportFilesAndRelease) {
  intemp();
  const orkpat::Pattern p = orkpat::tetcube(2);
  model::Model m;
  setup(m, p, 100);
  const long free = 25000000L - model::FREEWORDS(m);
  ORKPREP(m, 0);
  ASSERT_EQ(m.ORK.ERRSTATE, 0);
  EXPECT_EQ(m.ORK.AVAIL, (free - m.ORK.ISIZ) / 2);
  EXPECT_TRUE(exists("EXEC.WK1"));
  EXPECT_TRUE(exists("EXEC.WK2"));
  EXPECT_EQ(m.ORK.W.size(), 2L * p.n);
  EXPECT_EQ(m.ORK.PERM.size(), p.n);
  ORKFREE(m);
  EXPECT_FALSE(exists("EXEC.WK1"));
  EXPECT_FALSE(exists("EXEC.WK2"));
  EXPECT_FALSE(m.ORK.ORKR.allocated());
  ORKPREP(m, 0);  // a second preparation prints nothing
  base::flush_unit(m.unit(m.UNIT(2)));
  const double b = p.n + m.KK(26) + m.ORK.ISIZ + 5.0 * p.n + 2.0 * m.KK(26) + 1;
  const std::vector<std::string> want = {
      "",
      " *****  MULTIFRONTAL SOLVER (ORK) MESSAGE  *****",
      "",
      "   NUMBER OF EQUATIONS -------------------------------" + base::fI(p.n, 8),
      "   ALLOCATED MEMORY ----------------------------------   100.0(MB)",
      "   USED MEMORY FOR DATA TABLE ------------------------" + base::fF((25000000.0 - free) * 4e-6, 8, 1) + "(MB)",
      "   AVAILABLE MEMORY FOR MATRIX SOLVER ----------------" + base::fF(free * 4e-6, 8, 1) + "(MB)",
      "   REQUIRED MEMORY FOR MATRIX SOLVER (INCORE ONLY) ---" + base::fF((b + 2.0 * m.ORK.RSIZIN) * 4e-6, 8, 1) + "(MB)",
      "   REQUIRED MEMORY FOR MATRIX SOLVER (OUTCORE USE) ---" + base::fF((b + 2.0 * m.ORK.RSIZOUT) * 4e-6, 8, 1) + "(MB)"};
  EXPECT_EQ(loglines(), want);
  EXPECT_EQ(want[4].size(), want[5].size());
  ORKFREE(m);
}

TEST(OrkFrameDeath, BudgetTestBeforeAllocation) {
  intemp();
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
  const std::vector<std::string> l = loglines();
  ASSERT_GE(l.size(), 4u);
  EXPECT_EQ(l[0], "");
  EXPECT_EQ(l[1], memline(mb));
  EXPECT_EQ(l[2], " *** ERROR NO. ***");
  EXPECT_EQ(l[3], "  -5  3");
}

// A budget that passes the first test but leaves the scratch too small: the
// shortfall counts eight-byte reals.
TEST(OrkFrameDeath, ScratchTooSmall) {
  intemp();
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
  const std::vector<std::string> l = loglines();
  ASSERT_GE(l.size(), 3u);
  EXPECT_EQ(l[1], memline((2 * (4.0 * p.n + nz + 1 + 101) - free / 2) * 8.0e-6));
  EXPECT_EQ(l[3], "  -5  4");
}

// Bad rows leave no analysis: the status stays in ERRSTATE and the tree is
// empty, which the factorisation refuses.
TEST(OrkFrame, BadPatternLeavesEmptyTree) {
  intemp();
  orkpat::Pattern p = orkpat::tetcube(1);
  p.ja[1] = p.ja[2];  // a repeated column in row 1
  model::Model m;
  setup(m, p, 100);
  ORKANA(m, 1000000, 1, 0);
  EXPECT_EQ(m.ORK.ERRSTATE, ORK_BADJA);
  EXPECT_EQ(m.ORK.ORKI(HNSUP), 0);
  EXPECT_FALSE(m.ORK.ORKR.allocated());
  m.KK(26) += 1;  // IA no longer ends where JA does
  ORKANA(m, 1000000, 1, 0);
  EXPECT_EQ(m.ORK.ERRSTATE, ORK_BADIA);
}

// Nodes by hand: s = 4 with three children; one variable per node.
struct Hand {
  std::vector<std::int32_t> ws = std::vector<std::int32_t>(1000);
  ORKAN a;
  Hand(std::vector<int> p, std::vector<int> b, std::vector<int> par) {
    a.ws.S = ws.data();
    a.ws.LEN = static_cast<long>(ws.size());
    const int n = static_cast<int>(p.size());
    a.NSUP = a.NC = n;
    for (std::int32_t** x : {&a.SPRIN, &a.SP, &a.SB, &a.SPAR, &a.FNEXT, &a.FTAIL}) *x = a.ws.take(n);
    for (int k = 1; k <= n; ++k) {
      a.SPRIN[k] = a.FTAIL[k] = k;
      a.FNEXT[k] = 0;
      a.SP[k] = p[k - 1];
      a.SB[k] = b[k - 1];
      a.SPAR[k] = par[k - 1];
    }
  }
  std::vector<int> chain(int k) const {
    std::vector<int> c;
    for (int v = a.SPRIN[k]; v != 0; v = a.FNEXT[v]) c.push_back(v);
    return c;
  }
};

TEST(OrkAmalg, CheapestFirstWithinLimitAndZeroCostAlways) {
  // Costs against s (front 10): child 1 200, child 2 100, child 3 0.
  Hand h({20, 10, 5, 10}, {0, 0, 10, 0}, {4, 4, 4, 0});
  ASSERT_EQ(ORKAMALG(h.a, 256), ORK_OK);
  // 3 goes first (cost 0, front 15), then 2 (cost 150); 1 would cost 300.
  ASSERT_EQ(h.a.NSUP, 2);
  EXPECT_EQ(h.a.SP[1], 20);
  EXPECT_EQ(h.a.SPAR[1], 2);
  EXPECT_EQ(h.a.SP[2], 25);
  EXPECT_EQ(h.a.SB[2], 0);
  EXPECT_EQ(h.a.SPAR[2], 0);
  EXPECT_EQ(h.a.EXTRA, 150);
  EXPECT_EQ(h.chain(2), (std::vector<int>{2, 3, 4}));
}

TEST(OrkAmalg, LimitStopsAndZeroCostStillTaken) {
  // Child 1 costs 257 alone; child 2 costs 0 and is taken, after which child
  // 1 costs more still.
  Hand h({257, 3, 1}, {0, 1, 0}, {3, 3, 0});
  ASSERT_EQ(ORKAMALG(h.a, 256), ORK_OK);
  ASSERT_EQ(h.a.NSUP, 2);
  EXPECT_EQ(h.a.SP[2], 4);
  EXPECT_EQ(h.a.EXTRA, 0);
  // With the limit 0 only zero-cost children merge; of two, the first met
  // goes, and the grown front makes the other cost 4.
  Hand t({2, 2, 1}, {1, 1, 0}, {3, 3, 0});
  ASSERT_EQ(ORKAMALG(t.a, 0), ORK_OK);
  ASSERT_EQ(t.a.NSUP, 2);
  EXPECT_EQ(t.chain(1), (std::vector<int>{2}));
  EXPECT_EQ(t.chain(2), (std::vector<int>{1, 3}));
  EXPECT_EQ(t.a.SPAR[1], 2);
}

}  // namespace
