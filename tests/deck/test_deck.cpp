// The storing pass on one deck that uses each card in its less obvious ways:
// node numbers out of order, the tetrahedron's node order, the time table's
// blank groups, two load groups of different kinds, link codes, the solver
// selector, and the defaults settled after the last card.
#include <gtest/gtest.h>

#include "deckrun.hpp"

using namespace ossa;
using test::Card;

TEST(Deck, CardsAreStoredAsTheyMean) {
  test::ScratchDir dir;
  model::Model m;
  test::read_deck(
      m, {test::cntnd(4), test::cntel(2, 0, 0, 0, 0), Card("CNTRL").f(6, 9, "0010").i(56, 63, -1), test::cpu(),
          // Group 2 counts only with its time given, group 3 only after group 2.
          Card("KUKAN").f(6, 20, "0.3").i(21, 30, 3).f(31, 45, "1.0").i(46, 55, 2),
          Card("KUKAN").f(6, 20, "3.0").i(21, 30, 1).i(46, 55, 4).f(56, 70, "9.0").i(71, 80, 5),
          test::node(7, "0.0", "0.0", "0.0"), test::node(5, "1.0", "0.0", "0.0"),
          test::node(3, "0.0", "1.0", "0.0"), test::node(1, "0.0", "0.0", "1.0"),
          test::tet("SOLID", 9, 1, 3, 5, 7), test::tet("SOLID", 2, 5, 7, 1, 3),
          // Light with a bone's Poisson's ratio: Drucker-Prager; the other von Mises.
          test::propt(0, 0, 1, 0, 2, 9, {"0.3", "1000.0", "1.8E-6", "0.0", "50.0", "0.1", "0.0", "0.0", "300.0"}),
          test::propt(0, 0, 0, 0, 2, 2, {"0.45", "500.0", "1.8E-6"}),
          Card("NGLD").i(6, 10, 2), Card("NPLNK").i(11, 17, 2),
          Card("NLOAD").i(11, 15, 2).i(16, 25, 2), Card("TBLLD").f(6, 20, "0.0").f(21, 35, "0.0"),
          Card("TBLLD").f(6, 20, "3.0").f(21, 35, "2.0"),
          Card("FORCE").i(6, 15, 5).f(16, 30, "1.5").f(31, 45, "-2.5").f(46, 60, "3.5"),
          Card("FORCE").i(6, 15, 3).f(46, 60, "4.0"),
          Card("NLOAD").i(11, 15, 2).i(16, 25, 1), Card("TBLLD").f(6, 20, "0.0").f(21, 35, "0.0"),
          Card("TBLLD").f(6, 20, "3.0").f(21, 35, "1.0"), Card("DISP").i(6, 15, 1).f(46, 60, "0.01"),
          Card("PLNK").i(6, 15, 7).f(16, 21, "111000"), Card("PLNK").i(6, 15, 1).f(16, 21, "032000"), "END"});
  const double t[] = {0.0, 0.1, 0.2, 0.3, 0.65, 1.0, 3.0};
  ASSERT_EQ(m.NSTEP(), 6);
  for (int k = 0; k <= 6; ++k) EXPECT_NEAR(m.T(k), t[k], 1e-15) << k;
  // Positions: node 7 is 1, 5 is 2, 3 is 3, 1 is 4; card nodes a b c d stored a c b d.
  const int nod[2][4] = {{4, 2, 3, 1}, {2, 4, 1, 3}};
  for (int e = 1; e <= 2; ++e)
    for (int a = 1; a <= 4; ++a) EXPECT_EQ(m.ELEM(e).NOD(a), nod[e - 1][a - 1]) << e;
  const int groups[2][4] = {{2, 1, 1, 2}, {2, 4, 1, 1}};  // points, kind, first and last card
  for (int g = 1; g <= 2; ++g)
    for (int k = 1; k <= 4; ++k) EXPECT_EQ(m.LOADSET(k, g), groups[g - 1][k - 1]) << g;
  EXPECT_EQ(m.FRCNOD(1), 2);
  EXPECT_EQ(m.FRCVAL(2, 1), -2.5);
  EXPECT_EQ(m.FRCVAL(3, 2), 4.0);
  EXPECT_EQ(m.DSPVAL(3, 1), 0.01);
  EXPECT_EQ(m.TBL(2, 2, 1), 2.0);
  const int flags[2][6] = {{1, 1, 1, 0, 0, 0}, {0, 0, 2, 0, 0, 0}};  // codes other than 1 and 2 free
  for (int i = 1; i <= 2; ++i)
    for (int k = 1; k <= 6; ++k) EXPECT_EQ(m.PLKFLG(k, i), flags[i - 1][k - 1]) << i;
  EXPECT_EQ(m.KK(kk::MATNL), 1);   // material nonlinear
  EXPECT_EQ(m.KK(kk::SOLVER), 2);  // ORK
  EXPECT_EQ(m.RR(rr::EMIN), 1.0);  // the minimum modulus: a thousandth of the stiffest bone
  const model::SOLREC &bone = m.SOLREC(1), &other = m.SOLREC(2);
  EXPECT_EQ(bone.YTYPE, 2);
  EXPECT_EQ(other.YTYPE, 1);
  EXPECT_EQ(bone.YIELD, 50.0);
  EXPECT_DOUBLE_EQ(bone.HPRIME, 1000.0 * 100.0 / 900.0);
  EXPECT_DOUBLE_EQ(other.HPRIME, 500.0 * 0.5 / 499.5);  // half the minimum modulus at least
  EXPECT_DOUBLE_EQ(bone.ECRUSH, 300.0e-6);
}
