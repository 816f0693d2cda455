// The storing pass card by card: element order and node order, gap cards,
// the time table, "CNTRL" defaults and codes, load groups, repeated node
// numbers, and a deck whose cards stand in an unusual order.
#include <gtest/gtest.h>

#include <algorithm>

#include "deckrun.hpp"

using namespace ossa;
using test::Card;

namespace {

std::vector<std::string> four_nodes_and(const std::vector<std::string>& cards) {
  std::vector<std::string> d = {test::node(7, "0.0", "0.0", "0.0"), test::node(5, "1.0", "0.0", "0.0"),
                                test::node(3, "0.0", "1.0", "0.0"), test::node(1, "0.0", "0.0", "1.0")};
  d.insert(d.end(), cards.begin(), cards.end());
  return d;
}

std::vector<std::string> with_head(std::vector<std::string> head, const std::vector<std::string>& body) {
  head.insert(head.end(), body.begin(), body.end());
  head.push_back("END");
  return head;
}

}  // namespace

TEST(DeckCards, TetrahedraStoreCardNodesOneThreeTwoFour) {
  test::ScratchDir dir;
  model::Model m;
  // Geometrically nonlinear with ORK, so that rubber is allowed.
  const auto d = with_head(
      {test::cntnd(4), test::cntel(2, 1, 0, 2, 0), Card("CNTRL").i(7, 7, 1).i(56, 63, -1), test::cpu()},
      four_nodes_and({test::tet("RUBB", 40, 7, 5, 3, 1), test::tet("SOLID", 9, 1, 3, 5, 7),
                      test::shell(9, 7, 5, 3, "1.0"), test::tet("SOLID", 2, 5, 7, 1, 3),
                      test::tet("RUBB", 41, 3, 1, 7, 5),
                      test::propt(0, 0, 0, 0, 4, 40, {"0.1", "0.2"}),
                      test::propt(0, 0, 0, 0, 2, 9, {"0.3", "1000.0"}),
                      test::propt(0, 0, 0, 0, 1, 9, {"0.3", "1000.0"}),
                      test::propt(0, 0, 0, 0, 2, 2, {"0.3", "1000.0"}),
                      test::propt(0, 0, 0, 0, 4, 41, {"0.1", "0.2"})}));
  test::read_deck(m, d);
  // Positions of the node numbers 7, 5, 3, 1 are 1, 2, 3, 4.
  struct Want { int id, idx, type, ndf, nen, n1, n2, n3, n4; };
  const Want want[5] = {{40, 1, 4, 4, 4, 1, 3, 2, 4}, {9, 1, 2, 3, 4, 4, 2, 3, 1},
                        {9, 1, 1, 6, 3, 1, 2, 3, 0},  {2, 2, 2, 3, 4, 2, 4, 1, 3},
                        {41, 2, 4, 4, 4, 3, 1, 4, 2}};
  for (int j = 1; j <= 5; ++j) {
    const auto& e = m.ELEM(j);
    const Want& w = want[j - 1];
    EXPECT_EQ(e.ID, w.id) << j;
    EXPECT_EQ(e.IDX, w.idx) << j;
    EXPECT_EQ(e.TYPE, w.type) << j;
    EXPECT_EQ(e.NDF, w.ndf) << j;
    EXPECT_EQ(e.NEN, w.nen) << j;
    EXPECT_EQ(e.NOD(1), w.n1) << j;
    EXPECT_EQ(e.NOD(2), w.n2) << j;
    EXPECT_EQ(e.NOD(3), w.n3) << j;
    EXPECT_EQ(e.NOD(4), w.n4) << j;
    EXPECT_EQ(e.NOD(5), 0) << j;  // the rubber's interior node comes later
  }
  // Same element number 9 for a solid and a shell: each kind has its own row.
  EXPECT_EQ(m.SOLREC(1).GROUP, 1);
  EXPECT_EQ(m.SHLREC(1).E, 1000.0);
  EXPECT_EQ(m.RUBREC(2).C2, 0.2);
}

TEST(DeckCards, GapCardsMakeThreeNumberedRecords) {
  test::ScratchDir dir;
  model::Model m;
  const auto d = with_head(
      {test::cntnd(4), test::cntel(1, 0, 2, 0, 0), test::cntrl_static(), test::cpu()},
      four_nodes_and({test::gap(7, 5, 3, 1, 3, 5), test::tet("SOLID", 1, 7, 5, 3, 1),
                      test::gap(1, 1, 1, 7, 7, 7),
                      test::propt(0, 0, 0, 0, 2, 1, {"0.3", "1000.0"})}));
  const auto log = test::read_deck(m, d);
  EXPECT_EQ(m.NGAP(), 6);
  EXPECT_EQ(m.NELEM(), 7);
  // Gap numbers run 1..6 past the largest element number 1, apart from the solid's 1.
  const int pairs[6][2] = {{1, 4}, {2, 3}, {3, 2}, {4, 1}, {4, 1}, {4, 1}};
  int g = 0;
  for (int j = 1; j <= 7; ++j) {
    const auto& e = m.ELEM(j);
    if (j == 4) {
      EXPECT_EQ(e.TYPE, 2);
      continue;
    }
    ++g;
    EXPECT_EQ(e.ID, g);
    EXPECT_EQ(e.IDX, g);
    EXPECT_EQ(e.TYPE, 3);
    EXPECT_EQ(e.NDF, 3);
    EXPECT_EQ(e.NEN, 2);
    EXPECT_EQ(e.NOD(1), pairs[g - 1][0]) << g;
    EXPECT_EQ(e.NOD(2), pairs[g - 1][1]) << g;
  }
  EXPECT_NE(std::find(log.begin(), log.end(), "     NUMBER OF GAP ELEMENTS    : 6"), log.end());
}

TEST(DeckCards, KukanRunningSumsAndBlankGroups) {
  test::ScratchDir dir;
  model::Model m;
  test::read_deck(
      m, {Card("KUKAN").f(6, 20, "0.3").i(21, 30, 3).f(31, 45, "1.0").i(46, 55, 7),
          // A count of 0 leaves its time unused.
          Card("KUKAN").f(6, 20, "5.0").i(21, 30, 0).f(31, 45, "2.0").i(46, 55, 2),
          // Blank columns 31-45 end the card, whatever stands further right.
          Card("KUKAN").f(6, 20, "3.0").i(21, 30, 1).i(46, 55, 4).f(56, 70, "9.0").i(71, 80, 5),
          "END"});
  ASSERT_EQ(m.NSTEP(), 13);
  const double want[14] = {0.0,
                           0.09999999999999999,
                           0.19999999999999998,
                           0.3,
                           0.39999999999999997,
                           0.49999999999999994,
                           0.6,
                           0.7,
                           0.7999999999999999,
                           0.8999999999999999,
                           0.9999999999999999,  // by running sum, not the stated 1.0
                           1.5,
                           2.0,
                           3.0};
  for (int k = 0; k <= 13; ++k) EXPECT_EQ(m.T(k), want[k]) << k;
}

TEST(DeckCards, CntrlDefaultsAndCodes) {
  test::ScratchDir dir;
  model::Model m;
  struct Case {
    std::string card;
    int kk6, kk21, kk27, kk31;
    double rr1, rr2, rr3;
  };
  const Case cases[] = {
      {Card("CNTRL"), 10, 1, 400, 1, 0.001, 0.001, 1.0e-6},
      {Card("CNTRL").f(16, 25, "0.0").i(81, 81, 0).f(82, 90, "250.7"), 10, 1, 250, 1, 0.001, 0.001,
       1.0e-6},
      {Card("CNTRL").i(11, 13, 3).f(26, 35, "0.5").i(56, 63, -2).i(81, 81, 1).f(82, 90, "1.0E3"), 3,
       3, 1000, 1, 0.001, 0.5, 1.0e-6},
      {Card("CNTRL").f(16, 25, "2").i(56, 63, 7).f(64, 73, "3E-9").i(81, 81, 2).f(82, 90, "99"), 10,
       1, 99, 0, 2.0, 0.001, 3.0e-9},
      {Card("CNTRL").i(56, 63, -5).i(81, 81, 9), 10, 0, 400, 1, 0.001, 0.001, 1.0e-6},
  };
  for (const Case& c : cases) {
    const auto log = test::read_deck(m, {c.card, test::cpu(), "END"});
    EXPECT_EQ(m.KK(6), c.kk6) << c.card;
    EXPECT_EQ(m.KK(21), c.kk21) << c.card;
    EXPECT_EQ(m.KK(27), c.kk27) << c.card;
    EXPECT_EQ(m.KK(31), c.kk31) << c.card;
    EXPECT_EQ(m.RR(1), c.rr1) << c.card;
    EXPECT_EQ(m.RR(2), c.rr2) << c.card;
    EXPECT_EQ(m.RR(3), c.rr3) << c.card;
    std::string pre = c.kk31 == 0 ? "DIAGONAL" : "INCOMPLETE CHOLESKY DECOMPOSITION";
    pre.resize(33, ' ');
    EXPECT_NE(std::find(log.begin(), log.end(), "     CG PRE-CONDITIONING    : " + pre), log.end());
  }
}

TEST(DeckCards, LoadGroupsRunOnAcrossKinds) {
  test::ScratchDir dir;
  model::Model m;
  const auto d = with_head(
      {test::cntnd(4), Card("NGLD").i(6, 10, 2)},
      four_nodes_and({Card("NLOAD").i(11, 15, 1).i(16, 25, 2), Card("TBLLD").f(21, 35, "2.0"),
                      Card("FORCE").i(6, 15, 3), Card("DISP").i(6, 15, 1).f(16, 30, "0.5"),
                      Card("FORCE").i(6, 15, 5), Card("NLOAD").i(11, 15, 3).i(16, 25, 1),
                      Card("TBLLD").f(6, 20, "0.0"), Card("TBLLD").f(6, 20, "1.0").f(21, 35, "1.0"),
                      Card("TBLLD").f(6, 20, "2.0").f(21, 35, "-1.0"), Card("FORCE").i(6, 15, 7)}));
  test::read_deck(m, d);
  const int want[2][4] = {{1, 1, 1, 2}, {3, 1, 3, 3}};
  for (int g = 1; g <= 2; ++g)
    for (int k = 1; k <= 4; ++k) EXPECT_EQ(m.LOADSET(k, g), want[g - 1][k - 1]) << g << "," << k;
  EXPECT_EQ(m.FRCNOD(1), 3);
  EXPECT_EQ(m.FRCNOD(2), 2);
  EXPECT_EQ(m.FRCNOD(3), 1);
  EXPECT_EQ(m.DSPNOD(1), 4);  // a card of another kind counts for its own array alone
  EXPECT_EQ(m.TBL(1, 2, 1), 2.0);
  EXPECT_EQ(m.TBL(3, 1, 2), 2.0);
  EXPECT_EQ(m.TBL(3, 2, 2), -1.0);
}

TEST(DeckCards, RepeatedNodeNumberTakesTheLaterCard) {
  test::ScratchDir dir;
  model::Model m;
  auto d = test::one_tet();
  d[0] = test::cntnd(5);
  d.insert(d.end() - 1, test::node(20, "9.0", "9.0", "9.0"));
  test::read_deck(m, d);
  EXPECT_EQ(m.NODEID(2), 20);
  EXPECT_EQ(m.NODEID(5), 20);
  EXPECT_EQ(m.ELEM(1).NOD(3), 5);  // card node 2, stored third
}

namespace {

// A model with every translated kind, in the customary order.
std::vector<std::string> customary() {
  return {
      test::cntnd(5), test::cntel(1, 1, 0, 0, 1),
      Card("CNTRL").f(6, 9, "0010").i(56, 63, -1), Card("CNTR2").i(21, 23, 5), test::cpu(),
      Card("PRPLT").i(16, 20, 2), Card("KUKAN").f(6, 20, "1.0").i(21, 30, 2),
      test::node(11, "0.0", "0.0", "0.0"), test::node(12, "1.0", "0.0", "0.0"),
      test::node(13, "0.0", "1.0", "0.0"), test::node(14, "0.0", "0.0", "1.0"),
      test::node(15, "1.0", "1.0", "1.0"),
      test::tet("SOLID", 5, 11, 12, 13, 14), test::shell(6, 12, 13, 15, "0.5"),
      test::truss(7, 14, 15),
      test::propt(1, 0, 1, 0, 2, 5, {"0.3", "12000.0", "1.9E-6", "50.0", "100.0", "0.1"}),
      test::propt(2, 0, 1, 0, 1, 6, {"0.35", "8000.0", "1.9E-6", "40.0", "80.0", "0.1"}),
      test::propt_truss(2, 7),
      Card("TRSTB").i(11, 15, 1), Card("").f(1, 15, "0.5").f(16, 30, "1.5"),
      Card("TRSTB").i(11, 15, 2), Card("").f(1, 15, "0.1").f(16, 30, "2.0"),
      Card("").f(1, 15, "0.2").f(16, 30, "3.0"),
      Card("NGLD").i(6, 10, 2), Card("NPLNK").i(11, 17, 1),
      Card("NLOAD").i(11, 15, 1).i(16, 25, 1), Card("TBLLD").f(21, 35, "1.0"),
      Card("FORCE").i(6, 15, 15).f(16, 30, "10.0"),
      Card("NLOAD").i(11, 15, 1).i(16, 25, 1), Card("TBLLD").f(21, 35, "1.0"),
      Card("DISP").i(6, 15, 11).f(46, 60, "0.01"),
      Card("PLNK").i(6, 15, 12).f(16, 21, "111111"),
      "END"};
}

// The same cards in an order a user might well write: counts and control
// cards last, elements before nodes, properties before elements, tables
// between the load groups.
std::vector<std::string> unusual() {
  const auto c = customary();
  auto at = [&](int k) { return c[static_cast<std::size_t>(k)]; };
  return {at(17), at(16), at(15), at(14), at(13), at(12),          // properties, elements
          at(11), at(9), at(7), at(10), at(8),                      // nodes, shuffled
          at(31),                                                   // "PLNK" before its count
          at(25), at(26), at(27),                                   // first load group
          at(18), at(19),                                           // a table between groups
          at(28), at(29), at(30),                                   // second load group
          at(20), at(21), at(22),                                   // the other table, second
          at(6), at(5), at(4), at(3), at(2), at(24), at(23), at(1), at(0),  // control, counts
          "END"};
}

}  // namespace

TEST(DeckCards, UnusualOrderReadsAsTheCustomaryOrder) {
  test::ScratchDir dir;
  model::Model a, b;
  const auto loga = test::read_deck(a, customary());
  const auto d = unusual();
  ASSERT_EQ(d.size(), customary().size());
  const auto logb = test::read_deck(b, d);
  EXPECT_EQ(loga, logb);
  ASSERT_EQ(a.NELEM(), b.NELEM());
  // Elements keep their card order; the nodes' positions follow the node cards.
  EXPECT_EQ(b.ELEM(1).TYPE, 5);
  EXPECT_EQ(b.ELEM(3).TYPE, 2);
  for (int j = 1; j <= 3; ++j) {
    const auto& ea = a.ELEM(4 - j);
    const auto& eb = b.ELEM(j);
    EXPECT_EQ(ea.ID, eb.ID);
    EXPECT_EQ(ea.IDX, eb.IDX);
    for (int k = 1; k <= ea.NEN; ++k) EXPECT_EQ(a.NODEID(ea.NOD(k)), b.NODEID(eb.NOD(k)));
  }
  const auto& sa = a.SOLREC(1);
  const auto& sb = b.SOLREC(1);
  EXPECT_EQ(sa.GROUP, sb.GROUP);
  EXPECT_EQ(sa.E, sb.E);
  EXPECT_EQ(sa.HPRIME, sb.HPRIME);
  EXPECT_EQ(sa.YTYPE, sb.YTYPE);
  EXPECT_EQ(a.SHLREC(1).YIELD(4, 3), b.SHLREC(1).YIELD(4, 3));
  EXPECT_EQ(a.SHLREC(1).THICK, b.SHLREC(1).THICK);
  EXPECT_EQ(a.TRSREC(1).NPT, 2);
  EXPECT_EQ(b.TRSREC(1).NPT, 2);
  EXPECT_EQ(a.TRSREC(1).CURVE(2, 2), b.TRSREC(1).CURVE(2, 2));
  EXPECT_EQ(a.RR(6), b.RR(6));
  for (int g = 1; g <= 2; ++g)
    for (int k = 1; k <= 4; ++k) EXPECT_EQ(a.LOADSET(k, g), b.LOADSET(k, g));
  EXPECT_EQ(a.NODEID(a.FRCNOD(1)), b.NODEID(b.FRCNOD(1)));
  EXPECT_EQ(a.NODEID(a.DSPNOD(1)), b.NODEID(b.DSPNOD(1)));
  EXPECT_EQ(a.NODEID(a.PLKNOD(1)), b.NODEID(b.PLKNOD(1)));
  for (int k = 0; k <= 2; ++k) EXPECT_EQ(a.T(k), b.T(k));
  // Each node number has the same coordinates in both.
  for (int i = 1; i <= 5; ++i) {
    for (int j = 1; j <= 5; ++j) {
      if (b.NODEID(j) != a.NODEID(i)) continue;
      for (int k = 1; k <= 3; ++k) EXPECT_EQ(a.XYZ(k, i), b.XYZ(k, j)) << a.NODEID(i);
    }
  }
}
