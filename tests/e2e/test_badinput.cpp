// Decks the program cannot read stop with one clear message naming the
// place, a non-zero status and no end line; numbered input checks stop
// through the error stop, whose end line carries the numbers.
#include <gtest/gtest.h>

#include "deckgen.hpp"
#include "testutil.hpp"

using namespace ossa::test;

namespace {

// A loaded tetrahedron on corners 1..4 of the unit corner and a fifth node
// in the plane z = 0; `order` are its card nodes.
std::string one_tet(const std::array<int, 4>& order) {
  return cntnd(5) + cntel(1) + cntrl(0, 0, 20, 1e-6) + cntr3_cpu() + kukan(1.0, 1) + node(1, 0, 0, 0) +
         node(2, 1, 0, 0) + node(3, 0, 1, 0) + node(4, 0, 0, 1) + node(5, 0.5, 0.5, 0) + solid(7, order) +
         propt_solid(7, 0.3, 1e4) + "END\n";
}

struct Bad {
  const char* deck;  // nullptr: no deck at all
  std::string msg;   // in the log (and on standard error for the file layer's stop)
  const char* end;   // numbered stop's end line; nullptr: the file layer's stop
};

}  // namespace

TEST(BadInput, StopsNamingThePlace) {
  const std::string inside_out = one_tet({1, 2, 3, 4}), flat = one_tet({1, 3, 2, 5});
  const Bad cases[] = {
      {nullptr, "EXEC.INP", nullptr},
      {"CNTND          2\nREMARK\n", "EXEC.INP, LINE 2: END OF FILE BEFORE THE \"END\" CARD", nullptr},
      {"", "END OF FILE BEFORE THE \"END\" CARD", nullptr},
      {"CNTND          2\nNODE  1x\nEND\n",
       "EXEC.INP, LINE 2, COLUMNS 6-15, CARD \"NODE\": FIELD \"1x\" IS NOT AN INTEGER", nullptr},
      {"CNTND     2,5\nEND\n", "LINE 1, COLUMNS 11-20, CARD \"CNTND\": FIELD \"2,5\"", nullptr},
      {"KUKAN     1.0       ten\nEND\n", "LINE 1, COLUMNS 21-30, CARD \"KUKAN\"", nullptr},
      {"CNTND              1\nNODE          1            0.0            0.0            0.0\n"
       "NODE          2            1.0            0.0            0.0\nEND\n",
       "LINE 3, CARD \"NODE\": MORE \"NODE\" CARDS THAN \"CNTND\" ALLOWS (1)", nullptr},
      {"CNTEL         0         0         1\nNBODY    1\nEND\n",
       "\n GAP ELEMENT IS NOT AVAILABLE IN CONTACT ANALYSIS.\n *** ERROR NO. ***\n  -2  0\n", "-2 0"},
      // Corners in the wrong order, or in one plane, would give a negative
      // or singular stiffness: stopped before the first step.
      {inside_out.c_str(),
       "\n SOLID ELEMENT 7: VOLUME -1.6667E-01, CORNERS IN THE WRONG ORDER OR IN ONE PLANE.\n\n"
       " ELEMENT VOLUME IS TOO SMALL.\n *** ERROR NO. ***\n  -3  0\n",
       "-3 0"},
      {flat.c_str(), "CORNERS IN THE WRONG ORDER OR IN ONE PLANE.\n\n ELEMENT VOLUME IS TOO SMALL.", "-3 0"},
  };
  for (const Bad& c : cases) {
    ScratchDir dir;
    if (c.deck) write_file("EXEC.INP", c.deck);
    const auto r = run_ossa();
    const std::string log = read_file("EXEC.LOG");
    SCOPED_TRACE(c.msg);
    if (c.end) {
      EXPECT_EQ(r.status, 0);  // numbered stops end like a normal run
      EXPECT_NE(r.out.find(std::string("##$$ExSv end ") + c.end + "\n"), std::string::npos) << r.out;
    } else {
      EXPECT_NE(r.status, 0);
      EXPECT_NE(r.err.find(c.msg), std::string::npos) << r.err;
      EXPECT_EQ(r.out.find("##$$ExSv end"), std::string::npos) << r.out;
    }
    if (c.deck) {
      EXPECT_NE(log.find(c.msg), std::string::npos) << log;
    }
  }
}
