// Decks that must stop: the three checks of the analysis kind, and numbers
// that name nothing, each stopped with input error -2 and a message naming
// the line and the number, never by reaching outside an array.
#include <gtest/gtest.h>

#include <chrono>
#include <utility>

#include "deckrun.hpp"

using namespace ossa;
using test::Card;
using test::expect_message;
using test::read_bad_deck;

namespace {

// one_tet() with card `k` (0-based) replaced.
std::vector<std::string> one_tet_with(std::size_t k, const std::string& card,
                                      const std::vector<std::string>& extra = {}) {
  auto d = test::one_tet(extra);
  d[k] = card;
  return d;
}

constexpr std::size_t SOLID_CARD = 9;   // line 10
constexpr std::size_t PROPT_CARD = 10;  // line 11

}  // namespace

TEST(DeckBadInput, AnalysisKindChecksInTheirOrder) {
  test::ScratchDir dir;
  // Rubber in a small-displacement analysis with CG: the first check speaks.
  const std::string rubb = test::tet("RUBB", 1, 1, 2, 3, 4), solid = test::tet("SOLID", 1, 1, 2, 3, 4);
  const std::string gap = Card("GAP").i(6, 15, 1).i(36, 45, 2);
  auto s = read_bad_deck({test::cntel(0, 0, 0, 1, 0), Card("CNTRL").i(56, 63, 0), rubb, "END"});
  EXPECT_TRUE(s.log.starts_with("\n RUBBERLIKE MATERIAL IS AVAILABLE ONLY IN \n"
                                 " GEOMETRICAL NONLINEAR ANALYSIS.\n *** ERROR NO. ***\n  -2  0\n"))
      << s.log;
  s = read_bad_deck({test::cntel(1, 0, 1, 0, 0), Card("CNTRL").i(7, 7, 1).i(56, 63, -1), solid, gap, "END"});
  expect_message(s, "GAP ELEMEMT IS AVAILABLE ONLY IN INFINITESIMAL ANALYSIS.");
  s = read_bad_deck({test::cntel(0, 0, 0, 1, 0), Card("CNTRL").i(7, 7, 1).i(56, 63, 3), rubb, "END"});
  expect_message(s, "CG METHOD IS NOT AVAILABLE FOR RUBBERLIKE MATERIAL.");
  // Nothing of the echo was written.
  EXPECT_EQ(s.log.find("INPUT DATA"), std::string::npos);
}

TEST(DeckBadInput, ElementNamesAnUndefinedNode) {
  test::ScratchDir dir;
  expect_message(read_bad_deck(one_tet_with(SOLID_CARD, test::tet("SOLID", 1, 10, 20, 35, 40))),
                 "EXEC.INP, LINE 10: NODE 35 IS NOT DEFINED BY A \"NODE\" CARD.");
  // Beyond the largest node number, and negative.
  expect_message(read_bad_deck(one_tet_with(SOLID_CARD, test::tet("SOLID", 1, 10, 2000000000, 30, 40))),
                 "EXEC.INP, LINE 10: NODE 2000000000 IS NOT DEFINED BY A \"NODE\" CARD.");
  expect_message(read_bad_deck(one_tet_with(SOLID_CARD, test::tet("SOLID", 1, -10, 20, 30, 40))),
                 "EXEC.INP, LINE 10: NODE -10 IS NOT DEFINED BY A \"NODE\" CARD.");
  // Load and link cards are translated the same way.
  expect_message(read_bad_deck(test::one_tet({"REMARK",
                                              Card("NPLNK").i(11, 17, 1), Card("PLNK").i(6, 15, 11)})),
                 "EXEC.INP, LINE 14: NODE 11 IS NOT DEFINED BY A \"NODE\" CARD.");
}

TEST(DeckBadInput, NodeAndElementNumbersMustBePositive) {
  test::ScratchDir dir;
  expect_message(read_bad_deck(one_tet_with(6, test::node(0, "1.0", "0.0", "0.0"))),
                 "EXEC.INP, LINE 7: NODE NUMBER 0 IS NOT POSITIVE.");
  expect_message(read_bad_deck(one_tet_with(SOLID_CARD, test::tet("SOLID", -4, 10, 20, 30, 40))),
                 "EXEC.INP, LINE 10: ELEMENT NUMBER -4 IS NOT POSITIVE.");
}

TEST(DeckBadInput, PropertyRowNamesNoElement) {
  test::ScratchDir dir;
  const char* msg = "EXEC.INP, LINE 11: \"PROPT\" NAMES SOLID ELEMENT 2, WHICH DOES NOT EXIST.";
  expect_message(read_bad_deck(one_tet_with(PROPT_CARD, test::propt(0, 0, 1, 0, 2, 2, {"0.3", "1.0"}))), msg);
  // Element 1 is a solid, not a shell.
  expect_message(read_bad_deck(one_tet_with(PROPT_CARD, test::propt(0, 0, 1, 0, 1, 1, {"0.3", "1.0"}))),
                 "EXEC.INP, LINE 11: \"PROPT\" NAMES SHELL ELEMENT 1, WHICH DOES NOT EXIST.");
  expect_message(read_bad_deck(one_tet_with(PROPT_CARD, test::propt(0, 0, 1, 0, 2, -7, {"0.3"}))),
                 "EXEC.INP, LINE 11: \"PROPT\" NAMES SOLID ELEMENT -7, WHICH DOES NOT EXIST.");
  expect_message(
      read_bad_deck(one_tet_with(PROPT_CARD, test::propt(0, 0, 1, 0, 2, 2000000000, {"0.3"}))),
      "EXEC.INP, LINE 11: \"PROPT\" NAMES SOLID ELEMENT 2000000000, WHICH DOES NOT EXIST.");
  // A code that is no element kind, and the gap code: gaps take no row.
  expect_message(read_bad_deck(one_tet_with(PROPT_CARD, test::propt(0, 0, 1, 0, 7, 1, {"0.3"}))),
                 "EXEC.INP, LINE 11: \"PROPT\" NAMES UNKNOWN ELEMENT 1, WHICH DOES NOT EXIST.");
  expect_message(read_bad_deck(one_tet_with(PROPT_CARD, test::propt(0, 0, 1, 0, 0, 1, {"0.3"}))),
                 "EXEC.INP, LINE 11: \"PROPT\" NAMES UNKNOWN ELEMENT 1, WHICH DOES NOT EXIST.");
}

TEST(DeckBadInput, SecondRowOrNoRow) {
  test::ScratchDir dir;
  auto two = test::one_tet({test::tet("SOLID", 2, 40, 30, 20, 10),
                            test::propt(0, 0, 1, 0, 2, 1, {"0.3", "1.0"})});
  two[1] = test::cntel(2, 0, 0, 0, 0);
  expect_message(read_bad_deck(two),
                 "EXEC.INP, LINE 13: SECOND \"PROPT\" ROW FOR SOLID ELEMENT 1 (FIRST ON LINE 11).");
  two.erase(two.end() - 2);  // the second row goes: element 2 has none
  expect_message(read_bad_deck(two), "EXEC.INP, LINE 12: SOLID ELEMENT 2 HAS NO \"PROPT\" ROW.");
  // A truss without its row.
  expect_message(
      read_bad_deck({test::cntnd(2), test::cntel(0, 0, 0, 0, 1), test::cntrl_static(), test::cpu(),
                     test::node(1, "0", "0", "0"), test::node(2, "1", "0", "0"),
                     test::truss(5, 1, 2), "END"}),
      "EXEC.INP, LINE 7: TRUSS ELEMENT 5 HAS NO \"PROPT\" ROW.");
}

TEST(DeckBadInput, TrussNamesNoTableOrABadOne) {
  test::ScratchDir dir;
  // The table's rows (strain, force), and the table the row names.
  auto d = [](long table, const std::vector<std::pair<const char*, const char*>>& rows) {
    std::vector<std::string> v = {test::cntnd(2), test::cntel(0, 0, 0, 0, 1), test::cntrl_static(),
                                  test::cpu(), test::node(1, "0", "0", "0"),
                                  test::node(2, "1", "0", "0"), test::truss(5, 1, 2),
                                  test::propt_truss(table, 5), Card("TRSTB").i(11, 15, static_cast<long>(rows.size()))};
    for (const auto& [x, y] : rows) v.push_back(Card("").f(1, 15, x).f(16, 30, y));
    v.push_back("END");
    return v;
  };
  const std::vector<std::pair<const char*, const char*>> one = {{"0.1", "1"}}, two = {{"0.0", "0"}, {"0.1", "1"}};
  const struct { long table; std::vector<std::pair<const char*, const char*>> rows; const char* msg; } cases[] = {
      {2, two, "EXEC.INP, LINE 8, COLUMNS 6-9, CARD \"PROPT\": \"TRSTB\" TABLE 2 IS OUTSIDE 1..1."},
      {0, two, "EXEC.INP, LINE 8, COLUMNS 6-9, CARD \"PROPT\": \"TRSTB\" TABLE 0 IS OUTSIDE 1..1."},
      {-3, two, "EXEC.INP, LINE 8, COLUMNS 6-9, CARD \"PROPT\": \"TRSTB\" TABLE -3 IS OUTSIDE 1..1."},
      {1, one, "EXEC.INP, LINE 8: TRUSS ELEMENT 5: \"TRSTB\" TABLE 1 HAS FEWER THAN TWO POINTS."},
      {1, {}, "EXEC.INP, LINE 8: TRUSS ELEMENT 5: \"TRSTB\" TABLE 1 HAS FEWER THAN TWO POINTS."},
      {1, {{"0.0", "0"}, {"0.1", "1"}, {"0.1", "2"}},
       "EXEC.INP, LINE 8: TRUSS ELEMENT 5: \"TRSTB\" TABLE 1: STRAIN OF POINT 3 DOES NOT INCREASE."},
      {1, {{"0.2", "0"}, {"0.1", "1"}},
       "EXEC.INP, LINE 8: TRUSS ELEMENT 5: \"TRSTB\" TABLE 1: STRAIN OF POINT 2 DOES NOT INCREASE."},
  };
  for (const auto& c : cases) expect_message(read_bad_deck(d(c.table, c.rows)), c.msg);
}

// Numbers used as positions or indexes as they stand, and load groups that
// reach past their cards: the card stops at once, named with its columns.
TEST(DeckBadInput, NumbersUsedAsIndexesStayInRange) {
  test::ScratchDir dir;
  const std::string ngld = Card("NGLD").i(6, 10, 1), nload = Card("NLOAD").i(16, 25, 1);
  const std::string tbl = Card("TBLLD").f(6, 20, "1.0"), force = Card("FORCE").i(6, 15, 10);
  auto cbody = [](long i, long j) {
    return std::vector<std::string>{Card("NBODY").i(6, 10, 2), Card("BODY"), Card("BODY"),
                                    Card("CBODY").i(6, 10, i).i(11, 15, j).f(16, 25, "0.2")};
  };
  const auto tet = [](const std::vector<std::string>& extra) { return test::one_tet(extra); };
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {tet({ngld, nload, "PRESS     6 162       179       180          0.001"}),
       "14, COLUMNS 6-15, CARD \"PRESS\": NODE POSITION 6162 IS OUTSIDE 1..4."},
      {tet({ngld, nload, "PRESS       122       140    999999999       0.001"}),
       "14, COLUMNS 6-15, CARD \"PRESS\": NODE POSITION 122 IS OUTSIDE 1..4."},
      {tet({ngld, nload, "PRESS          -999999 27        28          0.001"}),
       "14, COLUMNS 6-15, CARD \"PRESS\": NODE POSITION 0 IS OUTSIDE 1..4."},
      {tet({ngld, nload, "PRESS 999999996       144       127          0.001"}),
       "14, COLUMNS 6-15, CARD \"PRESS\": NODE POSITION 999999996 IS OUTSIDE 1..4."},
      {tet({ngld, nload, Card("DIRFC").i(6, 15, 4).i(16, 25, 1).i(26, 35, 5)}),
       "14, COLUMNS 26-35, CARD \"DIRFC\": NODE POSITION 5 IS OUTSIDE 1..4."},
      {tet(cbody(1, 3)), "15, COLUMNS 11-15, CARD \"CBODY\": BODY 3 IS OUTSIDE 1..2."},
      {tet(cbody(0, 1)), "15, COLUMNS 6-10, CARD \"CBODY\": BODY 0 IS OUTSIDE 1..2."},
      {tet({ngld, Card("NLOAD").i(11, 15, 1).i(16, 25, 3), tbl, force}),
       "13, COLUMNS 16-25, CARD \"NLOAD\": GROUP 1 TAKES \"FORCE\" CARDS 1 TO 3, BUT THE DECK HAS 1."},
      {tet({Card("NGLD").i(6, 10, 2), Card("NLOAD").i(11, 15, 2).i(16, 25, 1), tbl, force, nload, tbl}),
       "13, COLUMNS 11-15, CARD \"NLOAD\": GROUP 1 STATES 2 TABLE POINTS, BUT 1 \"TBLLD\" CARDS FOLLOW."},
      {tet({ngld, Card("NLOAD").i(11, 15, 5).i(16, 25, 1), tbl, force}),
       "13, COLUMNS 11-15, CARD \"NLOAD\": A TABLE OF 5 POINTS, BUT THE DECK HAS 1 \"TBLLD\" CARDS."},
      {one_tet_with(PROPT_CARD, test::propt(0, 1, 1, 0, 2, 1, {"0.3"})),
       "11, COLUMNS 7-7, CARD \"PROPT\": \"VEL\" ROW 1 IS OUTSIDE 0..0."},
      {one_tet_with(PROPT_CARD, test::propt(0, 0, 1, 3, 2, 1, {"0.3"})),
       "11, COLUMNS 9-9, CARD \"PROPT\": YIELD CRITERION 3 IS OUTSIDE 0..2."},
      {tet({Card("KUKAN").f(6, 20, "2.0").i(21, 30, 2147483647)}),
       "12, COLUMNS 21-30, CARD \"KUKAN\": COUNT 2147483647 BRINGS THE TOTAL TO 2147483648, ABOVE 2147483646."},
      {{Card("CNTEL").i(6, 15, 1).i(26, 35, 1111111111), "END"},
       "1, COLUMNS 26-35, CARD \"CNTEL\": COUNT 1111111111 BRINGS THE TOTAL TO 3333333334, ABOVE 2147483646."},
  };
  for (const auto& [deck, msg] : cases) {
    const auto t0 = std::chrono::steady_clock::now();
    expect_message(read_bad_deck(deck), std::string("EXEC.INP, LINE ") + msg);
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count(), 1.0) << msg;
  }
}

// Node and element numbers near the top of their range cost nothing: the
// maps are as large as the cards, not as the largest number.
TEST(DeckBadInput, LargeNumbersAreCheap) {
  test::ScratchDir dir;
  const auto t0 = std::chrono::steady_clock::now();
  expect_message(read_bad_deck(one_tet_with(SOLID_CARD, "SOLID 999999999        10        20        30        40")),
                 "EXEC.INP, LINE 11: \"PROPT\" NAMES SOLID ELEMENT 1, WHICH DOES NOT EXIST.");
  auto d = one_tet_with(SOLID_CARD, test::tet("SOLID", 999999999, 10, 20, 30, 2000000000));
  d[8] = test::node(2000000000, "0.0", "0.0", "1.0");
  d[PROPT_CARD] = test::propt(0, 0, 1, 0, 2, 999999999, {"0.3", "15000.0"});
  model::Model m;
  test::read_deck(m, d);
  EXPECT_EQ(m.ELEM(1).NOD(4), 4);
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count(), 1.0);
}

TEST(DeckBadInput, GroupCardBeforeTheFirstLoadGroup) {
  test::ScratchDir dir;
  expect_message(
      read_bad_deck(test::one_tet({Card("NGLD").i(6, 10, 1), Card("FORCE").i(6, 15, 10),
                                   Card("NLOAD").i(16, 25, 1)})),
      "EXEC.INP, LINE 13: \"FORCE\" CARD BEFORE THE FIRST \"NLOAD\" CARD.");
  expect_message(read_bad_deck(test::one_tet({Card("TBLLD").f(6, 20, "1.0")})),
                 "EXEC.INP, LINE 12: \"TBLLD\" CARD BEFORE THE FIRST \"NLOAD\" CARD.");
  // A data card with no group at all in the deck.
  expect_message(read_bad_deck(test::one_tet({Card("PRESS").i(6, 15, 1)})),
                 "EXEC.INP, LINE 12: \"PRESS\" CARD BEFORE THE FIRST \"NLOAD\" CARD.");
  // More table rows than any "NLOAD" announced.
  expect_message(
      read_bad_deck(test::one_tet({Card("NGLD").i(6, 10, 1), Card("NLOAD").i(11, 15, 1),
                                   Card("TBLLD"), Card("TBLLD")})),
      "EXEC.INP, LINE 15: MORE \"TBLLD\" CARDS IN GROUP 1 THAN THE LARGEST \"NLOAD\" TABLE (1).");
}

TEST(DeckBadInput, FewerCardsThanCounted) {
  test::ScratchDir dir;
  auto d = test::one_tet();
  d[0] = test::cntnd(5);
  expect_message(read_bad_deck(d), "ONLY 4 \"NODE\" CARDS FOR THE 5 THAT \"CNTND\" STATES.");
  d[0] = test::cntnd(4);
  d[1] = test::cntel(1, 0, 0, 0, 1);
  expect_message(read_bad_deck(d), "ONLY 0 \"TRUSS\" CARDS FOR THE 1 THAT \"CNTEL\" STATES.");
  // Said before the records of a count far above the cards are allocated.
  d[1] = test::cntel(999999999, 0, 0, 0, 0);
  expect_message(read_bad_deck(d), "ONLY 1 \"SOLID\" CARDS FOR THE 999999999 THAT \"CNTEL\" STATES.");
  d[1] = test::cntel(1, 0, 0, 0, 0);
  d.insert(d.end() - 1, Card("NPLNK").i(11, 17, 2));
  d.insert(d.end() - 1, Card("PLNK").i(6, 15, 10));
  expect_message(read_bad_deck(d), "ONLY 1 \"PLNK\" CARDS FOR THE 2 THAT \"NPLNK\" STATES.");
  d.insert(d.end() - 1, {Card("PLNK").i(6, 15, 20), Card("NBODY").i(6, 10, 10111), Card("BODY")});
  expect_message(read_bad_deck(d), "ONLY 1 \"BODY\" CARDS FOR THE 10111 THAT \"NBODY\" STATES.");
  d.insert(d.end() - 1, Card("NGLD").i(6, 10, 3));
  expect_message(read_bad_deck(d), "ONLY 0 \"NLOAD\" CARDS FOR THE 3 THAT \"NGLD\" STATES.");
}

TEST(DeckBadInput, TableRowsCutShortStopTheReader) {
  test::ScratchDir dir;
  // The rows of a "TRSTB" card are read whatever they hold: here the "END".
  const auto d = test::join({Card("TRSTB").i(11, 15, 2), Card("").f(1, 15, "0.1"), "END"});
  EXPECT_EXIT(
      {
        model::Model m;
        test::write_file("EXEC.INP", d);
        model::MODELRESET(m);
        base::open_text_in(m.unit(m.UNIT(1)), "EXEC.INP");
        base::open_text_out(m.unit(m.UNIT(2)), "EXEC.LOG");
        deck::DECKIN(m);
      },
      ::testing::ExitedWithCode(2), "EXEC.INP, LINE 3, COLUMNS 1-15: FIELD \"END\" IS NOT A NUMBER");
}

// Riks steps with nothing to scale or no arc to go along, and pressure, which
// the arc-length steps would drop from the load: numbered input stops.
TEST(DeckBadInput, RiksStepsNeedAnArcAndNodalForces) {
  test::ScratchDir dir;
  const std::string group = Card("NLOAD").i(11, 15, 1).i(16, 25, 1), tbl = Card("TBLLD").f(6, 20, "1.0");
  const std::string force = Card("FORCE").i(6, 15, 40).f(16, 30, "1.0");
  const std::string press = Card("PRESS").i(6, 15, 1).i(16, 25, 2).i(26, 35, 3).f(36, 50, "1.0");
  // Arc length, first Riks step, and the load groups' data cards.
  auto riks = [&](const char* arc, long first, const std::vector<std::string>& loads) {
    std::vector<std::string> extra = {Card("CNTR2").f(6, 15, arc).i(16, 20, first),
                                      Card("NGLD").i(6, 10, static_cast<long>(loads.size()))};
    for (const auto& l : loads) extra.insert(extra.end(), {group, tbl, l});
    return test::one_tet(extra);
  };
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {riks("0.0", 1, {force}), "ARC LENGTH OF RIKS CONTROL IS NOT POSITIVE."},
      {riks("-0.1", 1, {force}), "ARC LENGTH OF RIKS CONTROL IS NOT POSITIVE."},
      {riks("0.1", -2, {force}), "FIRST RIKS STEP -2 IS NO STEP."},
      {riks("0.1", 1, {Card("FORCE").i(6, 15, 40)}), "RIKS CONTROL HAS NO \"FORCE\" LOAD TO SCALE."},
      {riks("0.1", 1, {press}), "RIKS CONTROL HAS NO \"FORCE\" LOAD TO SCALE."},
      {riks("0.1", 1, {force, press}),
       "RIKS ARC-LENGTH CONTROL WITH PRESSURE OR DIRECTED FORCES IS NOT AVAILABLE IN THIS VERSION."},
  };
  for (const auto& [deck, msg] : cases) expect_message(read_bad_deck(deck), msg);
  // A dynamic job takes no Riks steps, and says so.
  {
    model::Model d;
    test::open_log(d);
    d.KK(kk::DYNAMIC) = 1;
    d.KK(kk::RIKS) = 1;
    deck::RIKSCHK(d);
    base::close_unit(d.unit(d.UNIT(2)));
    EXPECT_EQ(test::read_file("EXEC.LOG"), "\n RIKS CONTROL IS NOT USED IN DYNAMIC ANALYSIS.\n");
  }
  // A first Riks step past the last one leaves the job under load control.
  model::Model m;
  test::read_deck(m, riks("0.0", 2, {press}));
  EXPECT_EQ(m.KK(kk::RIKS), 2);
}
