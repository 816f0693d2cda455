#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <utility>

#include "base/fmt.hpp"
#include "elements/jobdir.hpp"
#include "elements/family.hpp"
#include "solution/index.hpp"
#include "model/mesh.hpp"

using ossa::model::Model;
using ossa::testing::Elem;
namespace mdl = ossa::model;

namespace {

class EqIndex : public ::testing::Test {
 protected:
  // Solver preparation may write work files: keep them out of the tree.
  static void SetUpTestSuite() { ossa::testing::enter_scratch(); }
};

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
  EXPECT_EQ(m.IA(neq + 1), m.KK(26) + 1);
  EXPECT_EQ(m.JA.size(), m.KK(26));
  EXPECT_EQ(m.AV.size(), m.KK(26));
  for (int i = 1; i <= neq; ++i) {
    EXPECT_EQ(m.JA(m.IA(i)), i);
    for (int k = m.IA(i); k < m.IA(i + 1); ++k) {
      p.insert({i, m.JA(k)});
      if (k > m.IA(i)) {
        EXPECT_TRUE(lower ? m.JA(k) < i : m.JA(k) > i);
      }
      if (k > m.IA(i) + 1) {
        EXPECT_LT(m.JA(k - 1), m.JA(k));
      }
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

TEST_F(EqIndex, PatternIsThatOfTheElementsWhateverTheirOrder) {
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
      b.KK(25) = w;
      run(b);
      ASSERT_EQ(a.NEQ(), b.NEQ());
      ASSERT_EQ(a.KK(26), b.KK(26));
      for (int i = 1; i <= a.NEQ() + 1; ++i) EXPECT_EQ(a.IA(i), b.IA(i));
      for (int k = 1; k <= a.KK(26); ++k) EXPECT_EQ(a.JA(k), b.JA(k));
    }
  }
}

TEST_F(EqIndex, NumbersFollowNodesPositionsAndFamilies) {
  // A solid, a shell sharing node 4, a rubber element, and node 10 alone.
  Model m;
  ossa::testing::build(m, points(10),
                       {{2, {1, 2, 3, 4}}, {1, {4, 5, 6}}, {4, {6, 7, 8, 9}}}, 2);
  ossa::testing::constrain(m, {{1, {1, 1, 1, 0, 0, 0}}, {2, {0, 2, 0, 0, 0, 0}},
                               {5, {0, 0, 0, 0, 0, 1}}});
  run(m);
  const int want[10][7] = {
      {0, 0, 0, 0, 0, 0, 0},        // fixed solid node
      {1, -1, 2, 0, 0, 0, 0},       // enforced y
      {3, 4, 5, 0, 0, 0, 0},        // solid-only: three equations
      {6, 7, 8, 9, 10, 11, 0},      // shell node: six
      {12, 13, 14, 15, 16, 0, 0},   // shell node with its drilling rotation held
      {17, 18, 19, 20, 21, 22, 23}, // shell and rubber
      {24, 25, 26, 0, 0, 0, 27},    // rubber: translations and pressure
      {28, 29, 30, 0, 0, 0, 31},
      {32, 33, 34, 0, 0, 0, 35},
      {36, 37, 38, 0, 0, 0, 0}};    // in no element: still three
  for (int n = 1; n <= 10; ++n)
    for (int k = 1; k <= 7; ++k) EXPECT_EQ(m.IDOF(k, n), want[n - 1][k - 1]) << n << "," << k;
  EXPECT_EQ(m.NEQ(), 38);
  EXPECT_EQ(m.KK(23), 18);
  EXPECT_EQ(m.KK(24), 171);
  // The lone node's rows hold only their diagonals.
  for (int i = 36; i <= 38; ++i) EXPECT_EQ(m.IA(i + 1) - m.IA(i), 1);
  EXPECT_EQ(stored(m, false), expected(m, false));
}

TEST_F(EqIndex, FullyFixedModelHasNoEquations) {
  Model m;
  ossa::testing::build(m, points(4), {{2, {1, 2, 3, 4}}}, 1);
  ossa::testing::constrain(m, {{1, {1, 1, 1, 0, 0, 0}}, {2, {1, 1, 1, 0, 0, 0}},
                               {3, {1, 1, 1, 0, 0, 0}}, {4, {2, 2, 1, 0, 0, 0}}});
  run(m);
  EXPECT_EQ(m.NEQ(), 0);
  EXPECT_EQ(m.KK(26), 0);
  ASSERT_EQ(m.IA.size(), 1);
  EXPECT_EQ(m.IA(1), 1);
  EXPECT_EQ(m.JA.size(), 0);
  EXPECT_EQ(m.IDOF(1, 4), -1);
}

TEST_F(EqIndex, RebuildReplacesThePattern) {
  Model m;
  ossa::testing::build(m, points(6), {{2, {1, 2, 3, 4}}, {2, {3, 4, 5, 6}}}, 1);
  run(m);
  EXPECT_EQ(m.NEQ(), 18);
  // A later run (as after a contact change) starts from DOFTAB again.
  m.DOFTAB(1, 6) = m.DOFTAB(2, 6) = m.DOFTAB(3, 6) = 1;
  ossa::solution::EQINDEX(m, 0);
  EXPECT_EQ(m.NEQ(), 15);
  EXPECT_EQ(m.RHS.extent(1), 15);
  EXPECT_EQ(stored(m, true), expected(m, true));
}

TEST_F(EqIndex, ElementListOrder) {
  ossa::solution::EDOFPAIR l[ossa::solution::MAXLIST];
  const std::int32_t nod[5] = {7, 8, 9, 10, 0};
  ASSERT_EQ(ossa::solution::EDOFLIST(4, 4, nod, l), 16);
  EXPECT_EQ(l[11].node, 10);
  EXPECT_EQ(l[11].pos, 3);
  EXPECT_EQ(l[12].node, 7);
  EXPECT_EQ(l[12].pos, 7);
  EXPECT_EQ(l[15].node, 10);
  ASSERT_EQ(ossa::solution::EDOFLIST(1, 3, nod, l), 18);
  EXPECT_EQ(l[6].node, 8);
  EXPECT_EQ(l[6].pos, 1);
  EXPECT_EQ(ossa::solution::EDOFLIST(5, 2, nod, l), 6);
  EXPECT_EQ(ossa::solution::EDOFLIST(2, 9, nod, l), 15);  // a bad count is held to five nodes
}

TEST(DofInit, FlagsFramesAndReferenceLoad) {
  Model m;
  ossa::testing::build(m, points(4), {{1, {1, 2, 3}}}, 2);
  ossa::testing::constrain(m, {{1, {1, 2, 0, 3, 0, 0}}, {2, {0, 0, 0, 0, 1, 0}}});
  m.KK(1) = 1;
  m.KK(7) = 2;
  m.KK(43) = 2;
  m.FRCNOD.allocate(2);
  m.FRCVAL.allocate(6, 2);
  m.FRCNOD(1) = 3;
  m.FRCNOD(2) = 3;
  for (int k = 1; k <= 6; ++k) {
    m.FRCVAL(k, 1) = k;
    m.FRCVAL(k, 2) = 10.0 * k;
  }
  mdl::MODELALLOC(m);
  m.FRAMEFLG(1) = m.FRAMEFLG(2) = m.FRAMEFLG(3) = 1;
  ossa::solution::DOFINIT(m);
  EXPECT_EQ(m.DOFTAB(1, 1), 1);
  EXPECT_EQ(m.DOFTAB(2, 1), -1);
  EXPECT_EQ(m.DOFTAB(4, 1), 0);  // flag 3 means nothing
  // Node 1: no rotation held, so the frame holds the one about the director.
  EXPECT_EQ(m.DOFTAB(6, 1), 1);
  EXPECT_EQ(m.FRAMEFLG(1), 1);
  // Node 2 already holds a rotation: it loses its frame.
  EXPECT_EQ(m.DOFTAB(6, 2), 0);
  EXPECT_EQ(m.FRAMEFLG(2), 0);
  for (int k = 1; k <= 6; ++k) EXPECT_DOUBLE_EQ(m.RIKS.FREF(k, 3), 11.0 * k);
  EXPECT_EQ(m.RIKS.FREF(1, 1), 0.0);
}

TEST(EqIndexDeathTest, BudgetAndBlockMessages) {
  ossa::testing::enter_scratch();
  {
    Model m;
    ossa::testing::build(m, points(5), {{2, {1, 2, 3, 4}}}, 1);
    ossa::testing::open_log(m);
    ossa::testing::build(m, points(5), {{2, {1, 2, 3, 4}}}, 1);
    m.KK(27) = 0;  // no memory at all
    mdl::MODELALLOC(m);
    ossa::solution::DOFINIT(m);
    // Words held at the test: the model, then RHS and DX of 15 equations.
    const long held = mdl::FREEWORDS(m) + 2 * 15 * 2 * 2;
    const long need = static_cast<long>(2.5 * 50 * 15);
    EXPECT_EXIT(ossa::solution::EQINDEX(m, 7), ::testing::ExitedWithCode(0), "");
    const std::string log = ossa::testing::read_text("EXEC.LOG");
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
    ossa::testing::build(m, points(8), el, 2);
    ossa::testing::open_log(m);
    ossa::testing::build(m, points(8), el, 2);
    m.KK(25) = 2;
    mdl::MODELALLOC(m);
    ossa::solution::DOFINIT(m);
    EXPECT_EXIT(ossa::solution::EQINDEX(m, 7), ::testing::ExitedWithCode(0), "");
    const std::string log = ossa::testing::read_text("EXEC.LOG");
    EXPECT_EQ(log.find("\n MORE MEMORY IS NECESSARY FOR NEXT PROCESS OF MATRIX SOLVER.\n"
                       " *** ERROR NO. ***\n  -5  0\n"),
              0u)
        << log;
  }
}

TEST_F(EqIndex, NodesOutsideTheGridAreLeftOut) {
  Model m;
  ossa::testing::build(m, points(4), {{2, {1, 2, 3, 4}}, {2, {1, 2, 0, 99}}, {5, {-3, 4}}}, 2);
  run(m);
  ossa::elements::ELEM_INIT(m);
  EXPECT_EQ(m.NEQ(), 12);
  EXPECT_EQ(m.KK(26), 12 + 66);  // one full tetrahedron, upper half
}
