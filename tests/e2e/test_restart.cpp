// A job continued from its last output: run A straight through, run B1 over
// the first part of the history writing EXEC.RST2, then B2, the restart deck
// whose load table goes on from where B1 stopped, from EXEC.RST1. B2 ends in
// A's state to the last bit. A snapshot that is not this job's, or not whole,
// is refused naming its record.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "deckgen.hpp"
#include "shellgen.hpp"
#include "testutil.hpp"

using namespace ossa;
using test::BarPiece;
using test::Box;

namespace {

const Box BAR(4, 1, 1, 4.0, 1.0, 1.0);

std::string run(const std::string& deck) {
  test::write_file("EXEC.INP", deck);
  const auto r = test::run_ossa();
  EXPECT_NE(r.out.find("##$$ExSv end 1 1"), std::string::npos) << r.out << test::read_file("EXEC.LOG");
  return test::read_file("EXEC.RST2");
}

// The last result frame without its step and time, which count from the
// run's own start.
std::string last_frames_body() {
  std::string out;
  const post::Frame f = test::result_frame(test::result_frames());
  for (const auto* s : {&f.DISP, &f.FORCE, &f.REACT})
    out.append(reinterpret_cast<const char*>(s->data()), s->size() * sizeof(results::NodeOut));
  out.append(reinterpret_cast<const char*>(f.SOLID.data()), f.SOLID.size() * sizeof(results::SolidOut));
  return out;
}

std::int32_t int32_at(const std::string& s, std::size_t at) {
  std::int32_t v = -1;
  if (at + 4 <= s.size()) std::memcpy(&v, s.data() + at, 4);
  return v;
}

}  // namespace

TEST(Restart, BoneBarContinuedEqualsTheStraightRunToTheLastBit) {
  // Splits before the first yield (the repeat with substeps comes in B2), on
  // the rising load past yield and on the way back. The plastic operators go
  // with the snapshot: B2 needs neither the work files B1 kept nor work files
  // of a later state (a job that went on after its last output).
  enum Work { KEPT, GONE, LATER };
  struct Case { int split, firstchg; Work work; };
  const Case cases[] = {{2, 0, KEPT}, {6, 2, KEPT}, {11, 2, KEPT}, {6, 2, GONE}, {6, 2, LATER}};
  std::string a_snap, a_body, a_sol;
  {
    test::ScratchDir dir;
    a_snap = run(test::bone_bar_deck(BAR, BarPiece{}));
    a_body = last_frames_body();
    a_sol = test::read_file("EXEC.SOL");
    EXPECT_EQ(test::result_frame(test::result_frames()).SOLID.at(0).STATE, 0);  // let back elastic
    EXPECT_GT(test::result_frame(test::result_frames()).SOLID.at(0).V[20], 1e-3);  // with its plastic strain
  }
  ASSERT_GT(a_snap.size(), 1000u);
  for (const Case& c : cases) {
    test::ScratchDir dir;
    const double ts = c.split / 16.0;
    const std::string b1 = run(test::bone_bar_deck(BAR, BarPiece{0.0, ts, c.split, 2}));
    // Record 2 after the mark's 16 bytes: its length, NSUB, FIRSTCHG.
    EXPECT_EQ(int32_at(b1, 20), c.firstchg == 0 ? 1 : 4);
    EXPECT_EQ(int32_at(b1, 24), c.firstchg);
    std::rename("EXEC.RST2", "EXEC.RST1");
    if (c.work == GONE) std::remove("EXEC.SOL"), std::remove("EXEC.SHL");
    if (c.work == LATER) test::write_file("EXEC.SOL", a_sol);
    const std::string b2 = run(test::bone_bar_deck(BAR, BarPiece{ts, 1.0, 16 - c.split, 0, true}));
    EXPECT_NE(test::read_file("EXEC.LOG").find("INITIAL OR RESTART     : RESTART"), std::string::npos);
    EXPECT_TRUE(b2 == a_snap) << "split at step " << c.split;
    EXPECT_TRUE(last_frames_body() == a_body) << "split at step " << c.split;
    EXPECT_EQ(test::result_frames(), 1u);  // a restart starts its result files anew
  }
}

namespace {

// A bone shell strip 4 x 1 on the nonlinear route, clamped at x = 0, pulled
// along x past yield and pushed a little across at its free end, by the
// piece's load factor.
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

TEST(Restart, BoneShellStripContinuedEqualsTheStraightRun) {
  // Directors, node frames and layer states go with the snapshot.
  std::string a_snap;
  {
    test::ScratchDir dir;
    a_snap = run(shell_strip_deck(BarPiece{}));
    EXPECT_EQ(test::result_frame(test::result_frames()).SHELL.at(0).L[0].STATE, 0);  // let back elastic
  }
  test::ScratchDir dir;
  run(shell_strip_deck(BarPiece{0.0, 0.375, 6, 2}));
  EXPECT_EQ(test::result_frame(test::result_frames()).SHELL.at(0).L[0].STATE, 2);  // past yield
  std::rename("EXEC.RST2", "EXEC.RST1");
  EXPECT_TRUE(run(shell_strip_deck(BarPiece{0.375, 1.0, 10, 0, true})) == a_snap);
}

// Head-marker offset and length of each record of a sequential file.
std::vector<std::pair<std::size_t, std::size_t>> records(const std::string& s) {
  std::vector<std::pair<std::size_t, std::size_t>> v;
  for (std::size_t at = 0; at + 4 <= s.size();) {
    const auto len = static_cast<std::size_t>(int32_at(s, at));
    v.emplace_back(at, len);
    at += len + 8;
  }
  return v;
}

std::string flipped(std::string s, std::size_t at) {
  s.at(at) = static_cast<char>(s.at(at) ^ 0x10);
  return s;
}

}  // namespace

TEST(Restart, ForeignOrDamagedSnapshotIsRefusedNamingTheRecord) {
  std::string good;
  {
    test::ScratchDir dir;
    good = run(test::bone_bar_deck(BAR, BarPiece{0.0, 0.375, 6, 2}));
  }
  const auto rec = records(good);
  ASSERT_EQ(rec.size(), 3u + BAR.ntet() + 4u);  // mark, head, nodes, elements, EXEC.SHL (empty), EXEC.SOL, arc length, check
  const std::size_t n = rec.size(), mid = n / 2;
  const std::string deck = test::bone_bar_deck(BAR, BarPiece{0.375, 1.0, 10, 0, true});
  Box moved = BAR;
  moved.xyz.back().y += 1.0 / 64;
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
