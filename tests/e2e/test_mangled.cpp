// Mangled decks never crash, hang or read out of bounds: each run ends with
// a numbered stop, a normal end or the reader's own stop, never a signal or
// a sanitizer report. The mutations are drawn from a fixed seed.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <sstream>
#include <vector>

#include "deckgen.hpp"
#include "e2e/kinds.hpp"
#include "e2e/links.hpp"
#include "testutil.hpp"

using namespace ossa;
using test::Box;

namespace {

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
  const std::string held = test::hold_plane(b, 0.0, "111000", nheld);
  const std::string deck = test::cntnd(b.nnode()) + test::cntel(b.ntet()) + test::cntrl(1, 1, 10, 1e-4) +
                           test::cntr2(3, 1, 2, 0) + test::cntr3_cpu() + test::kukan(1.0, 2) +
                           b.mesh_cards(0.3, 1000.0) + test::ngld(1) + test::nplnk(nheld) +
                           test::end_traction(b, b.LX, 5.0) + held + "END\n";
  // The same job dynamic, its elements starting with the velocity of a "VEL" row.
  std::string dyn = deck;
  dyn[dyn.find("CNTRL") + 8] = '1';
  dyn.insert(dyn.find("END\n"), test::card("VEL       %15.6f%15.6f%15.6f", 1.0, 0.0, 0.0));
  std::vector<std::vector<std::string>> v = {lines_of(deck), lines_of(dyn)};
  for (const auto& k : test::kind_decks()) v.push_back(lines_of(k.deck));
  // Trusses on the nonlinear route, under load and arc-length control, and
  // gaps between solids.
  test::LinkDeck bars = test::two_bar(1.0, 0.1, 1000.0, 0.3);
  bars.load = {{0.0, 0.0}, {1.0, 1.0}};
  std::vector<int> driven;
  test::LinkDeck gaps = test::driven_blocks(1.5, 1000.0, {{0, 0}, {1, 0.01}, {2, -0.01}}, driven);
  gaps.gaps = test::block_gaps();
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
  test::write_file("EXEC.INP", deck);
  const auto r = test::run_ossa(60);
  const bool numbered = r.status == 0 && r.out.find("##$$ExSv end ") != std::string::npos;
  const bool reader = r.status == 2 && r.out.find("##$$ExSv end") == std::string::npos &&
                      r.err.find("ossa: EXEC.INP") != std::string::npos;
  EXPECT_TRUE(numbered || reader) << which << ", status " << r.status << "\n"
                                  << r.err.substr(0, 2000) << "\n--- deck ---\n" << deck;
  EXPECT_EQ(r.err.find("Sanitizer"), std::string::npos) << which;
  EXPECT_EQ(r.err.find("runtime error"), std::string::npos) << which;
}

}  // namespace

TEST(MangledDecks, EndCleanly) {
  test::ScratchDir dir;
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
  test::ScratchDir scratch;
  int n = 0;
  for (const auto& f : std::filesystem::directory_iterator(dir)) {
    if (f.path().extension() != ".inp") continue;
    const auto t0 = std::chrono::steady_clock::now();
    expect_clean_end(test::read_file(f.path().string()), f.path().filename().string());
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count(), 10.0)
        << f.path().filename();
    ++n;
  }
  EXPECT_GT(n, 0);
}
