// The counting pass: what it counts, what it passes over, and the "KUKAN"
// groups that count only when their time columns are given.
#include <gtest/gtest.h>

#include "deckrun.hpp"

using namespace ossa;
using test::Card;

namespace {

deck::DeckCounts count(const std::vector<std::string>& cards) {
  model::Model m;
  test::open_deck(m, cards);
  deck::DeckCounts n;
  deck::DECKCNT(m, m.unit(m.UNIT(1)), n);
  return n;
}

}  // namespace

TEST(DeckCount, EveryCountOfAFullDeck) {
  test::ScratchDir dir;
  const auto n = count({
      "REMARK: A LINE THAT MATCHES NO KEYWORD",
      "",
      test::cntnd(5),
      test::cntnd(7),  // the last card wins
      test::cntel(3, 2, 2, 1, 4),
      test::node(12, "0", "0", "0"),
      test::node(99, "0", "0", "0"),
      Card("NODES").i(6, 15, 150),  // four characters compared: still a node card
      std::string(Card("NODE").i(6, 15, 5000)).insert(0, 1, ' '),  // not from column 1: a remark
      Card("node").i(6, 15, 7000),                     // lower case: a remark
      test::tet("SOLID", 8, 1, 2, 3, 4),
      test::tet("RUBB", 31, 1, 2, 3, 4),
      test::shell(17, 1, 2, 3, "1.0"),
      test::truss(12, 1, 2),
      test::gap(1, 2, 3, 4, 5, 6),  // gaps are numbered apart: no part of MAXELEM
      Card("TRSTB").i(11, 15, 3),
      "            0.0            0.0",
      "            1.0            2.0",
      "            2.0            3.0",
      Card("TRSTB").i(11, 15, 5),
      "            0.0            0.0",
      "            0.0            0.0",
      "            0.0            0.0",
      "            0.0            0.0",
      "            0.0            0.0",
      Card("KUKAN").f(6, 20, "1.0").i(21, 30, 4).f(31, 45, "2.0").i(46, 55, 6),
      Card("KUKAN").f(6, 20, "3.0").i(21, 30, 2),
      Card("NGLD").i(6, 10, 3),
      Card("NLOAD").i(11, 15, 4),
      Card("NLOAD").i(11, 15, 9),
      Card("NLOAD").i(11, 15, 2),
      "FORCE", "FORCE", "DIRFC", "PRESS", "PRESS", "PRESS", "DISP", "DISP",
      Card("NPLNK").i(11, 17, 2),
      Card("NPLNK").i(11, 17, 3),  // several cards add up
      "PLNK", "PLNK",
      "VEL", "VEL", "VEL", "VELOCITY",
      "SPLNK",
      Card("NBODY").i(6, 10, 2),
      Card("BODY").i(11, 20, 3),
      Card("BODY").i(11, 20, 4),
      "ENDING",  // three characters compared: the deck ends here
      test::cntnd(1000),
  });
  EXPECT_EQ(n.NNODE, 7);
  EXPECT_EQ(n.MAXNOD, 150);
  EXPECT_EQ(n.NSOLID, 3);
  EXPECT_EQ(n.NSHELL, 2);
  EXPECT_EQ(n.NGAP, 6);  // three elements to a gap card
  EXPECT_EQ(n.NRUBB, 1);
  EXPECT_EQ(n.NTRUSS, 4);
  EXPECT_EQ(n.MAXELEM, 31);
  EXPECT_EQ(n.NTRSTB, 2);
  EXPECT_EQ(n.MAXPTS, 5);
  EXPECT_EQ(n.NSTEP, 12);
  EXPECT_EQ(n.NLOAD, 3);
  EXPECT_EQ(n.MAXLDT, 9);
  EXPECT_EQ(n.NFORCE, 2);
  EXPECT_EQ(n.NDIRFC, 1);
  EXPECT_EQ(n.NPRESS, 3);
  EXPECT_EQ(n.NDISP, 2);
  EXPECT_EQ(n.NPLNK, 5);  // from "NPLNK" alone; "PLNK" cards are not counted
  EXPECT_EQ(n.NVEL, 4);
  EXPECT_EQ(n.NSPLNK, 1);
  EXPECT_EQ(n.NBODY, 2);
  EXPECT_EQ(n.NCSURF, 7);
}

TEST(DeckCount, KukanGroupsWithBlankColumns) {
  test::ScratchDir dir;
  // Group 2 blank, group 3 given: only the first segment counts.
  EXPECT_EQ(count({Card("KUKAN").f(6, 20, "1.0").i(21, 30, 3).i(46, 55, 5).f(56, 70, "4.0")
                       .i(71, 80, 7),
                   "END"})
                .NSTEP,
            3);
  // All three groups.
  EXPECT_EQ(count({Card("KUKAN").f(6, 20, "1.0").i(21, 30, 3).f(31, 45, "2.0").i(46, 55, 5)
                       .f(56, 70, "4.0").i(71, 80, 7),
                   "END"})
                .NSTEP,
            15);
  // A count of 0 adds nothing; a negative one is taken as 0.
  EXPECT_EQ(count({Card("KUKAN").f(6, 20, "1.0").f(31, 45, "2.0").i(46, 55, -4)
                       .f(56, 70, "4.0").i(71, 80, 2),
                   "END"})
                .NSTEP,
            2);
}

TEST(DeckCount, EmptyDeckCountsNothing) {
  test::ScratchDir dir;
  const auto n = count({"", "   ", "cntnd          9", "END"});
  EXPECT_EQ(n.NNODE, 0);
  EXPECT_EQ(n.NSTEP, 0);
  EXPECT_EQ(n.MAXNOD, 0);
}
