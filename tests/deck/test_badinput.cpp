// Decks that must stop: the checks of the analysis kind, numbers that name
// nothing, counts the cards do not meet, and Riks steps with nothing to
// scale; each stopped with input error -2 and a message naming the line and
// the number, at once, never by reaching outside an array.
#include <gtest/gtest.h>

#include <chrono>
#include <utility>

#include "deckrun.hpp"

using namespace ossa;
using namespace ossa::test;

namespace {

using Deck = std::vector<std::string>;
using Rows = std::vector<std::pair<const char*, const char*>>;

// one_tet() with card `k` (0-based) replaced: line k + 1.
Deck one_tet_with(std::size_t k, const std::string& card, const Deck& extra = {}) {
  auto d = one_tet(extra);
  d[k] = card;
  return d;
}
constexpr std::size_t NODE2 = 6, SOLID_CARD = 9, PROPT_CARD = 10;

Deck with_counts(Deck d, const std::string& cntnd_card, const std::string& cntel_card) {
  d[0] = cntnd_card, d[1] = cntel_card;
  return d;
}

// A truss on two nodes, its row naming "TRSTB" table `table` of `rows`.
Deck truss_deck(long table, const Rows& rows) {
  Deck v = {cntnd(2), cntel(0, 0, 0, 0, 1), cntrl_static(), cpu(), node(1, "0", "0", "0"), node(2, "1", "0", "0"),
            truss(5, 1, 2)};
  if (table == 0 && rows.empty()) return v.push_back("END"), v;
  v.push_back(propt_truss(table, 5));
  v.push_back(Card("TRSTB").i(11, 15, static_cast<long>(rows.size())));
  for (const auto& [x, y] : rows) v.push_back(Card("").f(1, 15, x).f(16, 30, y));
  v.push_back("END");
  return v;
}

// Arc length, first Riks step, and the load groups' data cards.
Deck riks(const char* arc, long first, const Deck& loads) {
  Deck extra = {Card("CNTR2").f(6, 15, arc).i(16, 20, first), Card("NGLD").i(6, 10, static_cast<long>(loads.size()))};
  const std::string group = Card("NLOAD").i(11, 15, 1).i(16, 25, 1), tbl = Card("TBLLD").f(6, 20, "1.0");
  for (const auto& l : loads) extra.insert(extra.end(), {group, tbl, l});
  return one_tet(extra);
}

}  // namespace

TEST(DeckBadInput, AnalysisKindChecksInTheirOrder) {
  ScratchDir dir;
  // Rubber in a small-displacement analysis with CG: the first check speaks.
  const std::string rubb = tet("RUBB", 1, 1, 2, 3, 4), solid = tet("SOLID", 1, 1, 2, 3, 4);
  auto s = read_bad_deck({cntel(0, 0, 0, 1, 0), Card("CNTRL").i(56, 63, 0), rubb, "END"});
  EXPECT_TRUE(s.log.starts_with("\n RUBBERLIKE MATERIAL IS AVAILABLE ONLY IN \n"
                                " GEOMETRICAL NONLINEAR ANALYSIS.\n *** ERROR NO. ***\n  -2  0\n"))
      << s.log;
  s = read_bad_deck({cntel(1, 0, 1, 0, 0), Card("CNTRL").i(7, 7, 1).i(56, 63, -1), solid,
                     Card("GAP").i(6, 15, 1).i(36, 45, 2), "END"});
  expect_message(s, "GAP ELEMEMT IS AVAILABLE ONLY IN INFINITESIMAL ANALYSIS.");
  s = read_bad_deck({cntel(0, 0, 0, 1, 0), Card("CNTRL").i(7, 7, 1).i(56, 63, 3), rubb, "END"});
  expect_message(s, "CG METHOD IS NOT AVAILABLE FOR RUBBERLIKE MATERIAL.");
  EXPECT_EQ(s.log.find("INPUT DATA"), std::string::npos);  // nothing of the echo was written
}

TEST(DeckBadInput, EveryBadNumberStopsAtOnceNamingItsLine) {
  ScratchDir dir;
  const std::string ngld = Card("NGLD").i(6, 10, 1), nload = Card("NLOAD").i(16, 25, 1);
  const std::string tbl = Card("TBLLD").f(6, 20, "1.0"), force = Card("FORCE").i(6, 15, 10);
  const std::string plnk10 = Card("PLNK").i(6, 15, 10);
  auto cbody = [](long i, long j) {
    return Deck{Card("NBODY").i(6, 10, 2), Card("BODY"), Card("BODY"),
                Card("CBODY").i(6, 10, i).i(11, 15, j).f(16, 25, "0.2")};
  };
  auto row = [](int code, long elem) { return one_tet_with(PROPT_CARD, propt(0, 0, 1, 0, code, elem, {"0.3"})); };
  auto second = one_tet({tet("SOLID", 2, 40, 30, 20, 10), propt(0, 0, 1, 0, 2, 1, {"0.3", "1.0"})});
  second[1] = cntel(2, 0, 0, 0, 0);
  auto norow = second;
  norow.erase(norow.end() - 2);
  const Rows two = {{"0.0", "0"}, {"0.1", "1"}};
  const std::pair<Deck, const char*> cases[] = {
      // Numbers that name no node, element, row, table or body.
      {one_tet_with(SOLID_CARD, tet("SOLID", 1, 10, 20, 35, 40)), "10: NODE 35 IS NOT DEFINED BY A \"NODE\" CARD."},
      {one_tet_with(SOLID_CARD, tet("SOLID", 1, 10, 2000000000, 30, 40)),
       "10: NODE 2000000000 IS NOT DEFINED BY A \"NODE\" CARD."},
      {one_tet_with(SOLID_CARD, tet("SOLID", 1, -10, 20, 30, 40)), "10: NODE -10 IS NOT DEFINED BY A \"NODE\" CARD."},
      {one_tet({"REMARK", Card("NPLNK").i(11, 17, 1), Card("PLNK").i(6, 15, 11)}),
       "14: NODE 11 IS NOT DEFINED BY A \"NODE\" CARD."},
      {one_tet_with(NODE2, node(0, "1.0", "0.0", "0.0")), "7: NODE NUMBER 0 IS NOT POSITIVE."},
      {one_tet_with(SOLID_CARD, tet("SOLID", -4, 10, 20, 30, 40)), "10: ELEMENT NUMBER -4 IS NOT POSITIVE."},
      {row(2, 2), "11: \"PROPT\" NAMES SOLID ELEMENT 2, WHICH DOES NOT EXIST."},
      {row(1, 1), "11: \"PROPT\" NAMES SHELL ELEMENT 1, WHICH DOES NOT EXIST."},  // a solid, not a shell
      {row(2, -7), "11: \"PROPT\" NAMES SOLID ELEMENT -7, WHICH DOES NOT EXIST."},
      {row(2, 2000000000), "11: \"PROPT\" NAMES SOLID ELEMENT 2000000000, WHICH DOES NOT EXIST."},
      {row(7, 1), "11: \"PROPT\" NAMES UNKNOWN ELEMENT 1, WHICH DOES NOT EXIST."},
      {row(0, 1), "11: \"PROPT\" NAMES UNKNOWN ELEMENT 1, WHICH DOES NOT EXIST."},  // gaps take no row
      {second, "13: SECOND \"PROPT\" ROW FOR SOLID ELEMENT 1 (FIRST ON LINE 11)."},
      {norow, "12: SOLID ELEMENT 2 HAS NO \"PROPT\" ROW."},
      {truss_deck(0, {}), "7: TRUSS ELEMENT 5 HAS NO \"PROPT\" ROW."},
      {truss_deck(2, two), "8, COLUMNS 6-9, CARD \"PROPT\": \"TRSTB\" TABLE 2 IS OUTSIDE 1..1."},
      {truss_deck(0, two), "8, COLUMNS 6-9, CARD \"PROPT\": \"TRSTB\" TABLE 0 IS OUTSIDE 1..1."},
      {truss_deck(-3, two), "8, COLUMNS 6-9, CARD \"PROPT\": \"TRSTB\" TABLE -3 IS OUTSIDE 1..1."},
      {truss_deck(1, {{"0.1", "1"}}), "8: TRUSS ELEMENT 5: \"TRSTB\" TABLE 1 HAS FEWER THAN TWO POINTS."},
      {truss_deck(1, {{"0.0", "0"}, {"0.1", "1"}, {"0.1", "2"}}),
       "8: TRUSS ELEMENT 5: \"TRSTB\" TABLE 1: STRAIN OF POINT 3 DOES NOT INCREASE."},
      {truss_deck(1, {{"0.2", "0"}, {"0.1", "1"}}),
       "8: TRUSS ELEMENT 5: \"TRSTB\" TABLE 1: STRAIN OF POINT 2 DOES NOT INCREASE."},
      // Numbers used as positions or indexes as they stand, and load groups
      // that reach past their cards.
      {one_tet({ngld, nload, "PRESS     6 162       179       180          0.001"}),
       "14, COLUMNS 6-15, CARD \"PRESS\": NODE POSITION 6162 IS OUTSIDE 1..4."},
      {one_tet({ngld, nload, "PRESS       122       140    999999999       0.001"}),
       "14, COLUMNS 6-15, CARD \"PRESS\": NODE POSITION 122 IS OUTSIDE 1..4."},
      {one_tet({ngld, nload, "PRESS          -999999 27        28          0.001"}),
       "14, COLUMNS 6-15, CARD \"PRESS\": NODE POSITION 0 IS OUTSIDE 1..4."},
      {one_tet({ngld, nload, "PRESS 999999996       144       127          0.001"}),
       "14, COLUMNS 6-15, CARD \"PRESS\": NODE POSITION 999999996 IS OUTSIDE 1..4."},
      {one_tet({ngld, nload, Card("DIRFC").i(6, 15, 4).i(16, 25, 1).i(26, 35, 5)}),
       "14, COLUMNS 26-35, CARD \"DIRFC\": NODE POSITION 5 IS OUTSIDE 1..4."},
      {one_tet(cbody(1, 3)), "15, COLUMNS 11-15, CARD \"CBODY\": BODY 3 IS OUTSIDE 1..2."},
      {one_tet(cbody(0, 1)), "15, COLUMNS 6-10, CARD \"CBODY\": BODY 0 IS OUTSIDE 1..2."},
      {one_tet({ngld, Card("NLOAD").i(11, 15, 1).i(16, 25, 3), tbl, force}),
       "13, COLUMNS 16-25, CARD \"NLOAD\": GROUP 1 TAKES \"FORCE\" CARDS 1 TO 3, BUT THE DECK HAS 1."},
      {one_tet({Card("NGLD").i(6, 10, 2), Card("NLOAD").i(11, 15, 2).i(16, 25, 1), tbl, force, nload, tbl}),
       "13, COLUMNS 11-15, CARD \"NLOAD\": GROUP 1 STATES 2 TABLE POINTS, BUT 1 \"TBLLD\" CARDS FOLLOW."},
      {one_tet({ngld, Card("NLOAD").i(11, 15, 5).i(16, 25, 1), tbl, force}),
       "13, COLUMNS 11-15, CARD \"NLOAD\": A TABLE OF 5 POINTS, BUT THE DECK HAS 1 \"TBLLD\" CARDS."},
      {one_tet_with(PROPT_CARD, propt(0, 1, 1, 0, 2, 1, {"0.3"})),
       "11, COLUMNS 7-7, CARD \"PROPT\": \"VEL\" ROW 1 IS OUTSIDE 0..0."},
      {one_tet_with(PROPT_CARD, propt(0, 0, 1, 3, 2, 1, {"0.3"})),
       "11, COLUMNS 9-9, CARD \"PROPT\": YIELD CRITERION 3 IS OUTSIDE 0..2."},
      {one_tet({Card("KUKAN").f(6, 20, "2.0").i(21, 30, 2147483647)}),
       "12, COLUMNS 21-30, CARD \"KUKAN\": COUNT 2147483647 BRINGS THE TOTAL TO 2147483648, ABOVE 2147483646."},
      {{Card("CNTEL").i(6, 15, 1).i(26, 35, 1111111111), "END"},
       "1, COLUMNS 26-35, CARD \"CNTEL\": COUNT 1111111111 BRINGS THE TOTAL TO 3333333334, ABOVE 2147483646."},
      // Group data before the first group.
      {one_tet({Card("NGLD").i(6, 10, 1), force, nload}), "13: \"FORCE\" CARD BEFORE THE FIRST \"NLOAD\" CARD."},
      {one_tet({tbl}), "12: \"TBLLD\" CARD BEFORE THE FIRST \"NLOAD\" CARD."},
      {one_tet({Card("PRESS").i(6, 15, 1)}), "12: \"PRESS\" CARD BEFORE THE FIRST \"NLOAD\" CARD."},
      {one_tet({ngld, Card("NLOAD").i(11, 15, 1), Card("TBLLD"), Card("TBLLD")}),
       "15: MORE \"TBLLD\" CARDS IN GROUP 1 THAN THE LARGEST \"NLOAD\" TABLE (1)."},
  };
  for (const auto& [deck, msg] : cases) {
    const auto t0 = std::chrono::steady_clock::now();
    expect_message(read_bad_deck(deck), std::string("EXEC.INP, LINE ") + msg);
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count(), 1.0) << msg;
  }
  // Fewer cards than counted, said before the records of a count far above
  // the cards are allocated.
  const std::string plnk2 = Card("NPLNK").i(11, 17, 2);
  const std::pair<Deck, const char*> short_cases[] = {
      {with_counts(one_tet(), cntnd(5), cntel(1, 0, 0, 0, 0)),
       "ONLY 4 \"NODE\" CARDS FOR THE 5 THAT \"CNTND\" STATES."},
      {with_counts(one_tet(), cntnd(4), cntel(1, 0, 0, 0, 1)),
       "ONLY 0 \"TRUSS\" CARDS FOR THE 1 THAT \"CNTEL\" STATES."},
      {with_counts(one_tet(), cntnd(4), cntel(999999999, 0, 0, 0, 0)),
       "ONLY 1 \"SOLID\" CARDS FOR THE 999999999 THAT \"CNTEL\" STATES."},
      {one_tet({plnk2, plnk10}), "ONLY 1 \"PLNK\" CARDS FOR THE 2 THAT \"NPLNK\" STATES."},
      {one_tet({plnk2, plnk10, Card("PLNK").i(6, 15, 20), Card("NBODY").i(6, 10, 10111), Card("BODY")}),
       "ONLY 1 \"BODY\" CARDS FOR THE 10111 THAT \"NBODY\" STATES."},
      {one_tet({Card("NGLD").i(6, 10, 3)}), "ONLY 0 \"NLOAD\" CARDS FOR THE 3 THAT \"NGLD\" STATES."},
  };
  for (const auto& [deck, msg] : short_cases) expect_message(read_bad_deck(deck), msg);
}

// Node and element numbers near the top of their range cost nothing: the
// maps are as large as the cards, not as the largest number.
TEST(DeckBadInput, LargeNumbersAreCheap) {
  ScratchDir dir;
  const auto t0 = std::chrono::steady_clock::now();
  expect_message(read_bad_deck(one_tet_with(SOLID_CARD, "SOLID 999999999        10        20        30        40")),
                 "EXEC.INP, LINE 11: \"PROPT\" NAMES SOLID ELEMENT 1, WHICH DOES NOT EXIST.");
  auto d = one_tet_with(SOLID_CARD, tet("SOLID", 999999999, 10, 20, 30, 2000000000));
  d[8] = node(2000000000, "0.0", "0.0", "1.0");
  d[PROPT_CARD] = propt(0, 0, 1, 0, 2, 999999999, {"0.3", "15000.0"});
  model::Model m;
  read_deck(m, d);
  EXPECT_EQ(m.ELEM(1).NOD(4), 4);
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count(), 1.0);
}

TEST(DeckBadInput, TableRowsCutShortStopTheReader) {
  ScratchDir dir;
  // The rows of a "TRSTB" card are read whatever they hold: here the "END".
  EXPECT_EXIT(
      {
        model::Model m;
        open_deck(m, {Card("TRSTB").i(11, 15, 2), Card("").f(1, 15, "0.1"), "END"});
        deck::DECKIN(m);
      },
      ::testing::ExitedWithCode(2), "EXEC.INP, LINE 3, COLUMNS 1-15: FIELD \"END\" IS NOT A NUMBER");
}

// Riks steps with nothing to scale or no arc to go along, and pressure, which
// the arc-length steps would drop from the load: numbered input stops.
TEST(DeckBadInput, RiksStepsNeedAnArcAndNodalForces) {
  ScratchDir dir;
  const std::string force = Card("FORCE").i(6, 15, 40).f(16, 30, "1.0");
  const std::string press = Card("PRESS").i(6, 15, 1).i(16, 25, 2).i(26, 35, 3).f(36, 50, "1.0");
  const std::pair<Deck, const char*> cases[] = {
      {riks("0.0", 1, {force}), "ARC LENGTH OF RIKS CONTROL IS NOT POSITIVE."},
      {riks("-0.1", 1, {force}), "ARC LENGTH OF RIKS CONTROL IS NOT POSITIVE."},
      {riks("0.1", -2, {force}), "FIRST RIKS STEP -2 IS NO STEP."},
      {riks("0.1", 1, {Card("FORCE").i(6, 15, 40)}), "RIKS CONTROL HAS NO \"FORCE\" LOAD TO SCALE."},
      {riks("0.1", 1, {press}), "RIKS CONTROL HAS NO \"FORCE\" LOAD TO SCALE."},
      {riks("0.1", 1, {force, press}),
       "RIKS ARC-LENGTH CONTROL WITH PRESSURE OR DIRECTED FORCES IS NOT AVAILABLE IN THIS VERSION."},
  };
  for (const auto& [deck, msg] : cases) expect_message(read_bad_deck(deck), msg);
  model::Model d;  // a dynamic job takes no Riks steps, and says so
  open_log(d);
  d.KK(kk::DYNAMIC) = 1;
  d.KK(kk::RIKS) = 1;
  deck::RIKSCHK(d);
  base::close_unit(d.unit(d.UNIT(2)));
  EXPECT_EQ(read_file("EXEC.LOG"), "\n RIKS CONTROL IS NOT USED IN DYNAMIC ANALYSIS.\n");
  model::Model m;  // a first Riks step past the last one leaves the job under load control
  read_deck(m, riks("0.0", 2, {press}));
  EXPECT_EQ(m.KK(kk::RIKS), 2);
}
