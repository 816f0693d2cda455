// Decks the program cannot read stop with one clear message naming the
// place, a non-zero status and no end line; numbered checks of the input,
// the model and the solution stop through the error stop, whose end line
// carries the numbers. Mangled decks never crash, hang or read out of
// bounds: each run ends with a numbered stop, a normal end or the reader's
// own stop, never a signal or a sanitizer report (mutations from a fixed
// seed, and the fuzzer's findings).
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <sstream>
#include <vector>

#include "e2e/kinds.hpp"
#include "e2e/links.hpp"
#include "shellgen.hpp"
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

// Shell 7 on nodes 1, 2, 3 (node 3 at p3), with a rubber element 9 on
// nodes 1-4 where asked.
std::string shell_deck(const std::array<double, 3>& p3, const std::array<int, 3>& n, double thick, bool rubber) {
  return cntnd(4) + cntel(0, 1, 0, rubber ? 1 : 0) + cntrl(1, 0, 10, 1e-6, -1) + cntr2(1, 1) + cntr3_cpu() +
         kukan(1.0, 1) + node(1, 0, 0, 0) + node(2, 1, 0, 0) + node(3, p3[0], p3[1], p3[2]) + node(4, 0, 0, 1) +
         shell(7, n[0], n[1], n[2], thick) + propt_shell(7, 0.3, 1000.0) +
         (rubber ? card("RUBB %10d%10d%10d%10d%10d", 9, 1, 2, 3, 4) +
                       card("PROPT00004%10d%10.5f%10.3E%10.3E%10.3E", 9, 0.5, 0.1, 0.0, 100.0)
                 : "") +
         ngld(0) + nplnk(0) + "END\n";
}

// A bar of tetrahedra pulled by 200 on SOLVER (with preconditioner PRE), held or not.
std::string bar_deck(int solver, int geom, int iterlim, bool held, int pre = 1) {
  const Box b(4, 1, 1, 4.0, 1.0, 1.0);
  int nheld = 0;
  const std::string h = held ? hold_free_section(b, nheld) : "";
  return cntnd(b.nnode()) + cntel(b.ntet()) + cntrl(geom, 0, iterlim, 1e-7, solver, 1e-10, pre) + cntr2(1, 1) +
         cntr3_cpu() + kukan(1.0, 2) + b.mesh_cards(0.0, 1000.0) + ngld(1) + (held ? nplnk(nheld) : "") +
         end_traction(b, b.LX, 200.0) + h + "END\n";
}

// A bar of zero length, and a gap whose triple is no face of a solid.
std::string links_deck(bool gap) {
  LinkDeck bar;
  bar.xyz = {{0, 0, 0}, {1, 1, 1}, {1, 1, 1}};
  bar.bars = {{1, 2, 1}, {2, 3, 1}};
  bar.tables = {{{0.0, 0.0}, {1.0, 1.0}}};
  bar.holds = {{1, "111000"}};
  if (!gap) return bar.str();
  std::vector<int> driven;
  LinkDeck d = driven_blocks(1.5, 1000.0, {{0, 0}, {1, 0.01}}, driven);
  // Corners of A's far face with one of its near face.
  d.gaps = {{block_node(0, 1, 0, 0), block_node(0, 1, 1, 0), block_node(0, 0, 1, 1), block_node(1, 0, 0, 0),
             block_node(1, 0, 1, 0), block_node(1, 0, 1, 1)}};
  return d.str();
}

struct Bad {
  std::string deck;  // "-": no deck at all
  std::string msg;   // in the log (and on standard error for the file layer's stop)
  const char* end;   // numbered stop's end line; nullptr: the file layer's stop
  bool setup = true;  // stopped before the first step: the end line is all the output
};

std::vector<std::string> lines_of(const std::string& deck) {
  std::vector<std::string> lines;
  std::istringstream in(deck);
  for (std::string l; std::getline(in, l);) lines.push_back(l);
  return lines;
}

// A material and geometrically nonlinear solid job, static and dynamic, and a
// deck of every other kind, so that every card kind is mangled.
std::vector<std::vector<std::string>> base_decks() {
  const Box b(2, 1, 1, 2.0, 1.0, 1.0);
  int nheld = 0;
  const std::string held = hold_plane(b, 0.0, "111000", nheld);
  const std::string deck = cntnd(b.nnode()) + cntel(b.ntet()) + cntrl(1, 1, 10, 1e-4) +
                           cntr2(3, 1, 2, 0) + cntr3_cpu() + kukan(1.0, 2) +
                           b.mesh_cards(0.3, 1000.0) + ngld(1) + nplnk(nheld) +
                           end_traction(b, b.LX, 5.0) + held + "END\n";
  // The same job dynamic, its elements starting with the velocity of a "VEL" row.
  std::string dyn = deck;
  dyn[dyn.find("CNTRL") + 8] = '1';
  dyn.insert(dyn.find("END\n"), card("VEL       %15.6f%15.6f%15.6f", 1.0, 0.0, 0.0));
  std::vector<std::vector<std::string>> v = {lines_of(deck), lines_of(dyn)};
  for (const auto& k : kind_decks()) v.push_back(lines_of(k.deck));
  // Trusses on the nonlinear route, under load and arc-length control, and
  // gaps between solids.
  LinkDeck bars = two_bar(1.0, 0.1, 1000.0, 0.3);
  bars.load = {{0.0, 0.0}, {1.0, 1.0}};
  std::vector<int> driven;
  LinkDeck gaps = driven_blocks(1.5, 1000.0, {{0, 0}, {1, 0.01}, {2, -0.01}}, driven);
  gaps.gaps = block_gaps();
  gaps.kk9 = 3;
  v.push_back(lines_of(bars.str()));
  bars.riks = 1;  // and past the limit point under arc-length control
  bars.arc = 0.2;
  bars.nstep = 20;
  v.push_back(lines_of(bars.str()));
  v.push_back(lines_of(gaps.str()));
  return v;
}

std::string mangle(std::vector<std::string> l, std::mt19937& rng) {
  auto pick = [&](std::size_t n) { return static_cast<std::size_t>(rng() % n); };
  static const std::string CHARS = "0123456789 .-+EeDxZ9";
  const int edits = 1 + static_cast<int>(rng() % 3);
  for (int e = 0; e < edits && !l.empty(); ++e) {
    const std::size_t i = pick(l.size());
    switch (rng() % 5) {
      case 0:  // one character changed
        if (!l[i].empty()) l[i][pick(l[i].size())] = CHARS[pick(CHARS.size())];
        break;
      case 1: l.erase(l.begin() + static_cast<long>(i)); break;
      case 2: l.insert(l.begin() + static_cast<long>(i), l[i]); break;
      case 3: l[i].resize(pick(l[i].size() + 1)); break;
      default:  // a large or negative number in a field
        if (l[i].size() > 15) l[i].replace(6, 10, rng() % 2 ? "  99999999" : "    -77777");
        break;
    }
  }
  std::string s;
  for (const auto& x : l) s += x + "\n";
  return s;
}

// The run ended with a numbered stop, a normal end or the reader's own stop,
// within its time, with no signal and no sanitizer report.
void expect_clean_end(const std::string& deck, const std::string& which) {
  write_file("EXEC.INP", deck);
  const auto r = run_ossa(60);
  const bool numbered = r.status == 0 && r.out.find("##$$ExSv end ") != std::string::npos;
  const bool reader = r.status == 2 && r.out.find("##$$ExSv end") == std::string::npos &&
                      r.err.find("ossa: EXEC.INP") != std::string::npos;
  EXPECT_TRUE(numbered || reader) << which << ", status " << r.status << "\n"
                                  << r.err.substr(0, 2000) << "\n--- deck ---\n" << deck;
  EXPECT_EQ(r.err.find("Sanitizer"), std::string::npos) << which;
  EXPECT_EQ(r.err.find("runtime error"), std::string::npos) << which;
}

}  // namespace

TEST(BadInput, StopsNamingThePlace) {
  const Bad cases[] = {
      {"-", "EXEC.INP", nullptr},
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
      {one_tet({1, 2, 3, 4}),
       "\n SOLID ELEMENT 7: VOLUME -1.6667E-01, CORNERS IN THE WRONG ORDER OR IN ONE PLANE.\n\n"
       " ELEMENT VOLUME IS TOO SMALL.\n *** ERROR NO. ***\n  -3  0\n",
       "-3 0"},
      {one_tet({1, 3, 2, 5}), "CORNERS IN THE WRONG ORDER OR IN ONE PLANE.\n\n ELEMENT VOLUME IS TOO SMALL.", "-3 0"},
      {shell_deck({2, 0, 0}, {1, 2, 3}, 0.1, false), "SHELL ELEMENT 7 HAS NO AREA: ITS NODES LIE ON ONE LINE.", "-2 0"},
      {shell_deck({0, 1, 0}, {1, 2, 2}, 0.1, false), "SHELL ELEMENT 7 NAMES ONE NODE TWICE.", "-2 0"},
      {shell_deck({0, 1, 0}, {1, 2, 3}, -0.1, false), "SHELL ELEMENT 7 HAS A THICKNESS THAT IS NOT ABOVE ZERO.",
       "-2 0"},
      {shell_deck({0, 1, 0}, {1, 2, 3}, 0.1, true),
       "RUBBER ELEMENT 9 SHARES NODE 1 WITH SHELL ELEMENT 7, WHICH CANNOT CARRY ITS PRESSURE.", "-2 0"},
      {links_deck(false), "\n TRUSS ELEMENT 2 HAS ZERO LENGTH.\n *** ERROR NO. ***\n  -3  0\n", "-3 0"},
      {links_deck(true),
       "\n GAP ELEMENTS 1 TO 3: NODES 2 4 7 ARE NO FACE OF A SOLID ELEMENT.\n\n STOP IN SUB. ELEM_INIT!\n", "-1 0"},
      // A bar held nowhere stops in any solver, the multigrid CG too; a large
      // stretch allowed one pass stops as not converged.
      {bar_deck(0, 0, 10, false), "\n NOT CONVERGED BY CG METHOD.\n *** ERROR NO. ***\n  -8  0", "-8 0", false},
      {bar_deck(0, 0, 10, false, 3), "\n NOT CONVERGED BY CG METHOD.\n *** ERROR NO. ***\n  -8  0", "-8 0", false},
      {bar_deck(-1, 0, 10, false), "\n CONSTRAINT CONDITION MIGHT BE WRONG.\n *** ERROR NO. ***\n  -4", "-4 0", false},
      {bar_deck(-2, 0, 10, false), "\n CONSTRAINT CONDITION MIGHT BE WRONG.\n *** ERROR NO. ***\n  -4", "-4 0", false},
      {bar_deck(0, 1, 1, true), "\n RESIDUAL FORCE DID NOT CONVERGE!\n *** ERROR NO. ***\n  -9  0", "-9 0", false},
  };
  for (const Bad& c : cases) {
    ScratchDir dir;
    if (c.deck != "-") write_file("EXEC.INP", c.deck);
    const auto r = run_ossa();
    const std::string log = read_file("EXEC.LOG");
    SCOPED_TRACE(c.msg);
    if (c.end) {
      EXPECT_EQ(r.status, 0);  // numbered stops end like a normal run
      const std::string tail = c.setup ? r.out : r.out.substr(r.out.find("##$$ExSv end"));
      EXPECT_EQ(tail, std::string("##$$ExSv end ") + c.end + "\n");
    } else {
      EXPECT_NE(r.status, 0);
      EXPECT_NE(r.err.find(c.msg), std::string::npos) << r.err;
      EXPECT_EQ(r.out.find("##$$ExSv end"), std::string::npos) << r.out;
    }
    EXPECT_TRUE(c.deck == "-" || log.find(c.msg) != std::string::npos) << log;
  }
}


TEST(MangledDecks, EndCleanly) {
  ScratchDir dir;
  const auto decks = base_decks();
  std::mt19937 rng(20261121);
  for (int k = 0; k < 110; ++k) {
    const auto& base = decks[static_cast<std::size_t>(k) % decks.size()];
    expect_clean_end(mangle(base, rng), "case " + std::to_string(k));
  }
}

// Every deck on which the fuzzer once found a crash or a hang.
TEST(MangledDecks, FuzzFindingsEndCleanly) {
  const std::filesystem::path dir = std::filesystem::path(OSSA_SOURCE_DIR) / "tests/decks/fuzz";
  ScratchDir scratch;
  int n = 0;
  for (const auto& f : std::filesystem::directory_iterator(dir)) {
    if (f.path().extension() != ".inp") continue;
    const auto t0 = std::chrono::steady_clock::now();
    expect_clean_end(read_file(f.path().string()), f.path().filename().string());
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count(), 10.0)
        << f.path().filename();
    ++n;
  }
  EXPECT_GT(n, 0);
}
