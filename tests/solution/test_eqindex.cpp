// The equation index: the stored pattern is exactly that of the element
// couplings, in either half, whatever the element order and the block width
// of the builder; its two memory stops.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <utility>

#include "base/fmt.hpp"
#include "solution/index.hpp"
#include "solution/loads.hpp"
#include "mesh.hpp"
#include "testutil.hpp"

using ossa::model::Model;
using ossa::testing::Elem;
namespace mdl = ossa::model;

namespace {

using Pattern = std::set<std::pair<int, int>>;

// The pattern the elements ask for, from the equation table alone: every
// pair of equations that meet in an element, in the half of the solver.
Pattern expected(const Model& m, bool lower) {
  Pattern p;
  for (int i = 1; i <= m.NEQ(); ++i) p.insert({i, i});
  for (int ie = 1; ie <= m.NELEM(); ++ie) {
    const auto& e = m.ELEM(ie);
    std::vector<int> q;
    const int per = e.TYPE == 1 ? 6 : 3;
    for (int a = 1; a <= e.NEN; ++a)
      for (int k = 1; k <= per; ++k) q.push_back(m.IDOF(k, e.NOD(a)));
    if (e.TYPE == 4)
      for (int a = 1; a <= 4; ++a) q.push_back(m.IDOF(7, e.NOD(a)));
    for (int a : q)
      for (int b : q)
        if (a > 0 && b > 0 && a != b && (lower ? b < a : b > a)) p.insert({a, b});
  }
  return p;
}

// IA/JA as a pattern, checking the row layout on the way: diagonal first,
// then strictly ascending columns of the right half.
Pattern stored(const Model& m, bool lower) {
  Pattern p;
  const int neq = m.NEQ();
  EXPECT_EQ(m.IA.size(), neq + 1);
  EXPECT_EQ(m.IA(1), 1);
  EXPECT_EQ(m.IA(neq + 1), m.KK(ossa::kk::NZ) + 1);
  EXPECT_EQ(m.JA.size(), m.KK(ossa::kk::NZ));
  EXPECT_EQ(m.AV.size(), m.KK(ossa::kk::NZ));
  for (int i = 1; i <= neq; ++i) {
    EXPECT_EQ(m.JA(m.IA(i)), i);
    for (int k = m.IA(i); k < m.IA(i + 1); ++k) {
      p.insert({i, m.JA(k)});
      EXPECT_TRUE(k == m.IA(i) || (lower ? m.JA(k) < i : m.JA(k) > i)) << i;
      EXPECT_TRUE(k <= m.IA(i) + 1 || m.JA(k - 1) < m.JA(k)) << i;
    }
  }
  return p;
}

std::vector<Elem> random_mesh(std::mt19937& g, int nn, int ne) {
  std::vector<Elem> el;
  std::uniform_int_distribution<int> type(0, 3);
  for (int i = 0; i < ne; ++i) {
    static const int T[4] = {1, 2, 4, 5};
    const int t = T[type(g)];
    const int nen = t == 1 ? 3 : (t == 5 ? 2 : 4);
    std::vector<int> nodes(nn);
    for (int k = 0; k < nn; ++k) nodes[k] = k + 1;
    std::shuffle(nodes.begin(), nodes.end(), g);
    nodes.resize(nen);
    el.push_back({t, nodes});
  }
  return el;
}

std::vector<std::array<double, 3>> points(int n) {
  std::vector<std::array<double, 3>> x(n);
  for (int i = 0; i < n; ++i) x[i] = {1.0 * i, 0.5 * (i % 3), 0.25 * (i % 5)};
  return x;
}

void run(Model& m) {
  mdl::MODELALLOC(m);
  ossa::solution::DOFINIT(m);
  ossa::solution::EQINDEX(m, 0);
}

}  // namespace

TEST(EqIndex, PatternIsThatOfTheElementsWhateverTheirOrderAndBlockWidth) {
  ossa::test::ScratchDir dir;  // the solver preparation may write work files
  std::mt19937 g(7);
  const std::vector<std::pair<int, std::array<int, 6>>> plnk = {{1, {1, 1, 1, 0, 0, 0}},
                                                                {3, {0, 2, 0, 1, 0, 0}}};
  for (int trial = 0; trial < 8; ++trial) {
    const int nn = 12 + trial * 3;
    const auto el = random_mesh(g, nn, 10 + 6 * trial);
    for (int solver : {1, 2}) {
      Model a, b;
      ossa::testing::build(a, points(nn), el, solver);
      ossa::testing::constrain(a, plnk);
      run(a);
      EXPECT_EQ(stored(a, solver == 1), expected(a, solver == 1)) << trial << " " << solver;
      EXPECT_EQ(a.RHS.extent(1), a.NEQ());
      EXPECT_EQ(a.DX.extent(2), 2);
      // Again in another element order, with blocks as short as the budget
      // allows, so that rows run over several chained blocks.
      int w = 2;
      for (;; ++w) {
        long blocks = 0;
        for (int i = 1; i <= a.NEQ(); ++i)
          blocks += std::max(1, (a.IA(i + 1) - a.IA(i) - 1 + w - 1) / w);
        if (blocks <= 1.9 * a.NEQ()) break;
      }
      auto shuffled = el;
      std::shuffle(shuffled.begin(), shuffled.end(), g);
      ossa::testing::build(b, points(nn), shuffled, solver);
      ossa::testing::constrain(b, plnk);
      b.KK(ossa::kk::BLOCKW) = w;
      run(b);
      ASSERT_EQ(a.NEQ(), b.NEQ());
      ASSERT_EQ(a.KK(ossa::kk::NZ), b.KK(ossa::kk::NZ));
      for (int i = 1; i <= a.NEQ() + 1; ++i) EXPECT_EQ(a.IA(i), b.IA(i));
      for (int k = 1; k <= a.KK(ossa::kk::NZ); ++k) EXPECT_EQ(a.JA(k), b.JA(k));
    }
  }
}

TEST(EqIndexDeathTest, BudgetAndBlockMessages) {
  ossa::test::ScratchDir dir;
  {
    Model m;
    ossa::test::open_log(m);
    ossa::testing::build(m, points(5), {{2, {1, 2, 3, 4}}}, 1);
    m.KK(ossa::kk::MEMMB) = 0;  // no memory at all
    mdl::MODELALLOC(m);
    ossa::solution::DOFINIT(m);
    // Words held at the test: the model, then RHS and DX of 15 equations.
    const long held = mdl::FREEWORDS(m) + 2 * 15 * 2 * 2;
    const long need = static_cast<long>(2.5 * 50 * 15);
    EXPECT_EXIT(ossa::solution::EQINDEX(m, 7), ::testing::ExitedWithCode(0), "");
    const std::string log = ossa::test::read_file("EXEC.LOG");
    const std::string line = std::string(" ") + ossa::base::fF((need + held) * 4.0e-6, 8, 2) +
                             "(MB) MORE MEMORY IS NECESSARY FOR NEXT PROCESS OF MATRIX SOLVER.";
    EXPECT_NE(log.find("\n" + line + "\n *** ERROR NO. ***\n  -5  7\n"), std::string::npos) << log;
  }
  {
    // Blocks of two columns and a dense cluster: the spare blocks run out.
    std::vector<Elem> el;
    for (int a = 1; a <= 8; ++a)
      for (int b = a + 1; b <= 8; ++b)
        for (int c = b + 1; c <= 8; ++c)
          for (int d = c + 1; d <= 8; ++d) el.push_back({2, {a, b, c, d}});
    Model m;
    ossa::test::open_log(m);
    ossa::testing::build(m, points(8), el, 2);
    m.KK(ossa::kk::BLOCKW) = 2;
    mdl::MODELALLOC(m);
    ossa::solution::DOFINIT(m);
    EXPECT_EXIT(ossa::solution::EQINDEX(m, 7), ::testing::ExitedWithCode(0), "");
    const std::string log = ossa::test::read_file("EXEC.LOG");
    EXPECT_EQ(log.find("\n MORE MEMORY IS NECESSARY FOR NEXT PROCESS OF MATRIX SOLVER.\n"
                       " *** ERROR NO. ***\n  -5  0\n"),
              0u)
        << log;
  }
}

TEST(TableFunction, HoldsBelowAndExtrapolatesAbove) {
  const double t[3] = {1.0, 2.0, 4.0}, v[3] = {10.0, 20.0, 0.0};
  EXPECT_DOUBLE_EQ(ossa::solution::TBLVAL(0.0, t, v, 3), 10.0);   // no extrapolation below
  EXPECT_DOUBLE_EQ(ossa::solution::TBLVAL(1.0, t, v, 3), 10.0);
  EXPECT_DOUBLE_EQ(ossa::solution::TBLVAL(1.5, t, v, 3), 15.0);
  EXPECT_DOUBLE_EQ(ossa::solution::TBLVAL(3.0, t, v, 3), 10.0);
  EXPECT_DOUBLE_EQ(ossa::solution::TBLVAL(5.0, t, v, 3), -10.0);  // last segment continues
  const double t1[1] = {1.0}, v1[1] = {3.0};
  EXPECT_DOUBLE_EQ(ossa::solution::TBLVAL(0.5, t1, v1, 1), 3.0);
  EXPECT_DOUBLE_EQ(ossa::solution::TBLVAL(7.0, t1, v1, 1), 3.0);
}
