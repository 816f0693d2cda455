// A job continued from its last output: run A straight through, run B1 over
// the first part of the history writing EXEC.RST2, then B2, the restart deck
// whose load table goes on from where B1 stopped, from EXEC.RST1. B2 ends in
// A's state to the last bit. A snapshot that is not this job's, or not whole,
// is refused naming its record.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "deckgen.hpp"
#include "e2e/links.hpp"
#include "shellgen.hpp"
#include "testutil.hpp"

using namespace ossa;
using test::BarPiece;
using test::Box;

namespace {

const Box BAR(4, 1, 1, 4.0, 1.0, 1.0);

// Runs the deck to its end; returns the snapshot it wrote.
std::string run(const std::string& deck) {
  test::run_deck(deck);
  return test::read_file("EXEC.RST2");
}

// The last result frame without its step and time, which count from the
// run's own start.
std::string last_frames_body() {
  std::string out;
  const post::Frame f = test::result_frame(test::result_frames());
  auto add = [&](const auto& v) { out.append(reinterpret_cast<const char*>(v.data()), v.size() * sizeof(v[0])); };
  for (const auto* s : {&f.DISP, &f.FORCE, &f.REACT, &f.LINKF}) add(*s);
  add(f.SOLID), add(f.SHELL), add(f.RUBBER), add(f.TRUSS);
  return out;
}

std::int32_t int32_at(const std::string& s, std::size_t at) {
  std::int32_t v = -1;
  if (at + 4 <= s.size()) std::memcpy(&v, s.data() + at, 4);
  return v;
}

// Head-marker offset and length of each record of a sequential file.
std::vector<std::pair<std::size_t, std::size_t>> records(const std::string& s) {
  std::vector<std::pair<std::size_t, std::size_t>> v;
  for (std::size_t at = 0; at + 4 <= s.size(); at += v.back().second + 8)
    v.emplace_back(at, static_cast<std::size_t>(int32_at(s, at)));
  return v;
}

std::string flipped(std::string s, std::size_t at) { return s.at(at) = static_cast<char>(s.at(at) ^ 0x10), s; }

// The deck with restart output at every result output; a restart run when RESTART.
std::string restartable(std::string d, bool restart) {
  d[d.find("CNTRL") + 5] = restart ? '1' : '0';
  if (d.find("PRPL2") == std::string::npos) d.insert(d.find('\n', d.find("PRPLT")) + 1, test::card("PRPL2%25s%3d", "", 1));
  return d;
}

// A bone shell strip 4 x 1, nonlinear, clamped at x = 0, pulled past yield
// and pushed a little across at its free end by the piece's load factor.
std::string shell_strip_deck(const BarPiece& p) {
  const test::ShellMesh s(4, 1, 4.0, 1.0);
  int nl = 0, nh = 0, npt = 0;
  const std::string table = test::piece_table(p, npt);
  const std::string load = test::edge_load(s, 4.0, {2.1, 0.0, 1.0e-3, 0, 0, 0}, nl);
  const std::string held = test::edge_held(s, 0.0, "111111", nh);
  return test::cntnd(s.nnode()) + test::cntel(0, s.ntri()) + test::piece_controls(p, 1) + s.node_cards() +
         s.shell_cards(0.1, {0.0, 1000.0, 1, 1.0e6, 10.0, 0.1, 1.0e5}) + test::ngld(1) + test::nplnk(nh) +
         test::nload(npt, nl) + table + load + held + "END\n";
}

// A rubber cantilever 2 x 1 x 1, set moving across and loaded at its end
// from the start, with Rayleigh damping: NSTEP steps of 1/256.
std::string dynamic_deck(int nstep, bool restart) {
  const Box b(2, 1, 1, 2.0, 1.0, 1.0);
  int nheld = 0, nf = 0;
  const std::string held = test::hold_plane(b, 0.0, "111000", nheld);
  std::string forces;
  for (int n = 1; n <= b.nnode(); ++n)
    if (b.xyz[n - 1].x == 2.0) forces += test::force(n, 0.0, 50.0, 25.0), ++nf;
  return restartable(test::dyn_head(b, test::kukan(nstep / 256.0, nstep), true, 10.0, 2.0, 1e-4, 1, true) +
                         test::card("VEL       %15.6f%15.6f%15.6f", 0.0, 0.0, 200.0) + test::ngld(1) +
                         test::nplnk(nheld) + test::nload(1, nf) + test::tblld(0.0, 1.0) + forces + held + "END\n",
                     restart);
}

// The two-bar truss: N1 load-controlled steps to 0.05, arc-length steps from
// step RIKS on up to N1 + N2, the table ending at 1 (the scale's reference).
std::string riks_deck(int riks, int n1, int n2, bool restart) {
  constexpr double A = 1.0, H = 0.1, EA = 1000.0;
  test::LinkDeck d = test::two_bar(A, H, EA, 1.5 * test::two_bar_load(A, H, EA, 1.0, H * (1.0 - 1.0 / std::sqrt(3.0))));
  d.riks = riks, d.arc = 0.1, d.nstep = n2, d.load = {{0.0, 0.0}, {1.0, 1.0}};
  if (n1 > 0) d.kukan = test::card("KUKAN%15.6f%10d%15.6f%10d", 0.05, n1, 1.0, n2);
  return restartable(d.str(), restart);
}

// Two blocks joined by gaps, B driven along x by the table DELTA (time, u).
std::string gap_deck(const test::Table& delta, bool restart) {
  std::vector<int> driven;
  test::LinkDeck d = test::driven_blocks(1.5, 1000.0, delta, driven);
  d.kk9 = 5, d.gaps = test::block_gaps();
  return restartable(d.str(), restart);
}

// The driven blocks, B's plan shrunk to 0.45 x 0.45 inside A's face x = 1,
// B pressed onto A and dragged along y with friction 0.3. Its corners there
// are the slaves: after the split two of them slide across the face's
// diagonal onto the other triangle, two stay on theirs.
std::string contact_deck(const test::Table& f, bool restart) {
  std::vector<int> driven;
  test::LinkDeck d = test::driven_blocks(1.001, 1000.0, f, driven);
  for (std::size_t n = 8; n < 16; ++n) d.xyz[n].y = 0.15 + 0.45 * d.xyz[n].y, d.xyz[n].z = 0.3 + 0.45 * d.xyz[n].z;
  for (auto& h : d.holds) h.second = h.first > 8 ? "221000" : h.second;
  for (auto& r : d.disps) r = {r[0], -0.004, 0.05, 0.0};
  d.kk9 = 8, d.solver = 0;  // CG: ORK's set-up at each contact pass is slow under the sanitizers
  const std::string body = test::card("BODY %5s%10d", "", 2);  // two faces each
  std::string s = d.str(), c = test::card("NBODY%5d", 2) + body + body;
  for (int b = 0; b < 2; ++b)  // faces into A (the gap's faces turned), into B
    for (const auto& g : test::block_gaps()) c += test::card("CSURF%10d%10d%10d", g[3 * b], g[2 + 2 * b], g[1 + 4 * b]);
  return restartable(s.insert(s.find("\nNGLD") + 1, c + test::card("CBODY%5d%5d%10.3f%10.3f", 2, 1, 0.3, 1.0)), restart);
}

}  // namespace

TEST(Restart, JobsContinuedEqualTheStraightRunToTheLastBit) {
  // Bone bar split before yield (the repeat comes in B2), past it, on the way
  // back, with or without EXEC.SOL or a later one; shell strip (directors,
  // frames, layers); dynamic rubber (levels n, n-1, momenta, last step, no
  // second initial velocity, interior nodes); arc length past its limit
  // point, or before it takes over (B1's shorter table); gaps open; contact
  // with friction (slip references, states changing after the split).
  enum Work { KEPT, GONE, LATER };
  struct Case { const char* what; std::string a, b1, b2; int firstchg = -1; Work work = KEPT; std::string b1log; };
  auto bar = [](int split, int firstchg, Work w) {
    const double ts = split / 16.0;
    return Case{"bar", test::bone_bar_deck(BAR, BarPiece{}), test::bone_bar_deck(BAR, BarPiece{0.0, ts, split, 2}),
                test::bone_bar_deck(BAR, BarPiece{ts, 1.0, 16 - split, 0, true}), firstchg, w, ""};
  };
  const Case cases[] = {
      bar(2, 0, KEPT), bar(6, 2, KEPT), bar(11, 2, KEPT), bar(6, 2, GONE), bar(6, 2, LATER),
      {"shell", shell_strip_deck(BarPiece{}), shell_strip_deck(BarPiece{0.0, 0.375, 6, 2}),
       shell_strip_deck(BarPiece{0.375, 1.0, 10, 0, true}), -1, KEPT, ""},
      {"dynamic", dynamic_deck(16, false), dynamic_deck(8, false), dynamic_deck(8, true), -1, KEPT, ""},
      // B1 ends short of the full load, at its last step, and says so.
      {"riks", riks_deck(3, 2, 38, false), riks_deck(3, 2, 18, false), riks_deck(1, 0, 20, true), -1, KEPT,
       "\n RIKS CONTROL ENDS AT THE LAST STEP WITH LOAD FACTOR 6.4656E-01.\n"},
      {"riks takes over", riks_deck(3, 2, 38, false), riks_deck(3, 2, 0, false), riks_deck(1, 0, 38, true), -1, KEPT, ""},
      {"gap", gap_deck({{0, 0}, {1, 0.01}, {2, 0.005}, {3, -0.005}, {4, -0.015}}, false),
       gap_deck({{0, 0}, {1, 0.01}, {2, 0.005}}, false), gap_deck({{0, 0.005}, {1, -0.005}, {2, -0.015}}, true), -1,
       KEPT, "        FREE        6      0\n"},
      {"contact", contact_deck({{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}}, false),
       contact_deck({{0, 0}, {1, 1}, {2, 2}}, false), contact_deck({{0, 2}, {1, 3}, {2, 4}}, true), -1, KEPT, ""},
  };
  std::map<std::string, std::array<std::string, 3>> straight;  // A's snapshot, last frame, EXEC.SOL
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.what) + " " + std::to_string(c.b1.size()));
    std::array<std::string, 3>& a = straight[c.a];
    if (a[0].empty()) {
      test::ScratchDir dir;
      a = {run(c.a), last_frames_body(), test::read_file("EXEC.SOL")};
    }
    test::ScratchDir dir;
    const std::string b1 = run(c.b1);
    EXPECT_NE(test::read_file("EXEC.LOG").find(c.b1log), std::string::npos);
    // Record 2 after the mark's 16 bytes: its length, NSUB, FIRSTCHG.
    EXPECT_TRUE(c.firstchg < 0 || (int32_at(b1, 20) == (c.firstchg ? 4 : 1) && int32_at(b1, 24) == c.firstchg));
    std::rename("EXEC.RST2", "EXEC.RST1");
    if (c.work == GONE) std::remove("EXEC.SOL"), std::remove("EXEC.SHL");
    if (c.work == LATER) test::write_file("EXEC.SOL", a[2]);
    EXPECT_TRUE(run(c.b2) == a[0]);
    EXPECT_NE(test::read_file("EXEC.LOG").find("INITIAL OR RESTART     : RESTART"), std::string::npos);
    EXPECT_TRUE(last_frames_body() == a[1]);
    if (c.firstchg < 0) continue;
    EXPECT_EQ(test::result_frames(), 1u);  // a restart starts its result files anew
    EXPECT_EQ(test::result_frame(1).SOLID.at(0).STATE, 0);  // let back elastic
    EXPECT_GT(test::result_frame(1).SOLID.at(0).V[20], 1e-3);  // with its plastic strain
  }
}

TEST(Restart, ForeignOrDamagedSnapshotIsRefusedNamingTheRecord) {
  const std::string good = [] { test::ScratchDir dir; return run(test::bone_bar_deck(BAR, BarPiece{0.0, 0.375, 6, 2})); }();
  const auto rec = records(good);
  ASSERT_EQ(rec.size(), 3u + BAR.ntet() + 4u);  // mark, head, nodes, elements, EXEC.SHL (empty), EXEC.SOL, arc length, check
  const std::size_t n = rec.size(), mid = n / 2;
  const std::string deck = test::bone_bar_deck(BAR, BarPiece{0.375, 1.0, 10, 0, true});
  const Box moved = [] { Box b = BAR; b.xyz.back().y += 1.0 / 64; return b; }();
  const std::string pressed = [] { test::ScratchDir dir; return run(contact_deck({{0, 0}, {1, 1}}, false)); }();
  std::string renumbered = contact_deck({{0, 1}, {1, 2}}, true);  // B's last face from its next corner
  const std::size_t cs = renumbered.rfind("CSURF") + 5;
  renumbered.replace(cs, 30, renumbered.substr(cs + 10, 20) + renumbered.substr(cs, 10));
  const auto at = [](std::size_t k) { return "EXEC.RST1, RECORD " + std::to_string(k) + ": "; };
  struct Case { const char* what; std::string file, deck, message; };
  const Case cases[] = {
      {"missing", "", deck, "CANNOT OPEN EXEC.RST1"},
      {"truncated", good.substr(0, rec[mid].first + 10), deck, at(mid + 1) + "THE FILE ENDS OR ITS RECORD MARKS ARE BROKEN"},
      {"broken mark", flipped(good, rec[2].first + 4 + rec[2].second), deck, at(3) + "THE FILE ENDS OR ITS RECORD MARKS"},
      {"corrupted", flipped(good, rec[mid].first + 40), deck, at(n) + "THE CHECK OF THE RECORDS BEFORE IT FAILS"},
      {"other version", flipped(good, 4), deck, at(1) + "THE MARK IS \"B2S6.2  \""},
      {"data after the end", good + good.substr(0, 16), deck, at(n + 1) + "DATA AFTER THE END OF THE SNAPSHOT"},
      {"deck of another size", good, test::bone_bar_deck(Box(5, 1, 1, 5.0, 1.0, 1.0), BarPiece{0.375, 1.0, 10, 0, true}),
       at(3) + std::to_string(rec[2].second) + " BYTES WHERE THIS JOB EXPECTS"},
      {"other model", good, test::bone_bar_deck(moved, BarPiece{0.375, 1.0, 10, 0, true}),
       at(n) + "THE SNAPSHOT BELONGS TO ANOTHER MODEL"},
      {"other contact surfaces", pressed, renumbered, at(records(pressed).size()) + "THE SNAPSHOT BELONGS TO ANOTHER MODEL"},
      {"dynamic job", good, deck.substr(0, deck.find("CNTRL") + 8) + "1" + deck.substr(deck.find("CNTRL") + 9),
       at(2) + "8 BYTES WHERE THIS JOB EXPECTS 16: A SNAPSHOT OF ANOTHER ANALYSIS KIND"},
  };
  for (const Case& c : cases) {
    test::ScratchDir dir;
    if (!c.file.empty()) test::write_file("EXEC.RST1", c.file);
    test::write_file("EXEC.INP", c.deck);
    const auto r = test::run_ossa();
    EXPECT_EQ(r.status, 2) << c.what;  // the file layer's stop: no number, no end line
    EXPECT_EQ(r.out.find("##$$ExSv end"), std::string::npos) << c.what;
    EXPECT_NE(r.err.find(c.message), std::string::npos) << c.what << "\n" << r.err;
    EXPECT_NE(test::read_file("EXEC.LOG").find(c.message), std::string::npos) << c.what;
    EXPECT_FALSE(test::exists("EXEC.Bdsp")) << c.what;  // refused before any step
  }
}
