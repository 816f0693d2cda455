// Whole jobs through the bone material: the repeat of the first changing
// step with more substeps, and a status stop limit ending the job normally.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "../../examples/femur/femur_deck.hpp"
#include "testutil.hpp"

namespace t = ossa::test;

namespace {

// The example femur, coarse, material nonlinear on the CG path, with its
// load scaled by LOADF, the CNTR2 and CNTR3 cards replaced.
void femur_deck(double LOADF, int NSTEP, const std::string& cntr2, const std::string& cntr3) {
  ossa::example::FemurOptions o;
  o.H = 8.0;
  o.NONLINEAR = 1;
  o.NSTEP = NSTEP;
  o.LOAD *= LOADF;
  std::FILE* f = std::fopen("deck.tmp", "w");
  ossa::example::write_femur_deck(f, o);
  std::fclose(f);
  std::string out;
  for (const std::string& l : t::read_lines("deck.tmp")) {
    if (l.rfind("CNTR2", 0) == 0) out += cntr2 + "\n";
    else if (l.rfind("CNTR3", 0) == 0) out += cntr3 + "\n";
    else out += l + "\n";
  }
  t::write_file("EXEC.INP", out);
}

int count(const std::vector<std::string>& log, const std::string& s) {
  int n = 0;
  for (const auto& l : log) n += l.find(s) != std::string::npos;
  return n;
}

const char* CNTR3_PLAIN = "CNTR3         0    0    0    0    0    0   -1    0";

}  // namespace

TEST(StatusJob, FirstChangingStepIsRepeatedWithTheDecksSubsteps) {
  t::ScratchDir d;
  femur_deck(6.0, 2, "CNTR2    0.0000    0 10  1   4  0", CNTR3_PLAIN);
  const auto r = t::run_ossa();
  EXPECT_NE(r.out.find("##$$ExSv end 1 1"), std::string::npos) << r.out;
  const auto log = t::read_lines("EXEC.LOG");
  // Step 1 once in one substep, then again in four; step 2 keeps four.
  EXPECT_EQ(count(log, " ***** STEP NO. = 1   SUBSTEP NO. = 1 "), 2);
  EXPECT_EQ(count(log, " ***** STEP NO. = 1   SUBSTEP NO. = 4 "), 1);
  EXPECT_EQ(count(log, " ***** STEP NO. = 2   SUBSTEP NO. = 4 "), 1);
  EXPECT_EQ(count(log, "   * ELEMENT STATUS"), 1 + 4 + 4);
  EXPECT_GT(count(log, "                   PLASTIC : "), 0);
  // The snapshot and the work files go at the end of a job without restart output.
  EXPECT_FALSE(t::exists("EXEC.RST"));
  EXPECT_FALSE(t::exists("EXEC.SOL"));
  EXPECT_FALSE(t::exists("EXEC.SHL"));
}

TEST(StatusJob, StopLimitEndsTheJobWithTheResultAtHand) {
  t::ScratchDir d;
  // Stop when five solids have cracked; the load would go on for ten steps.
  femur_deck(6.0, 10, "CNTR2    0.0000    0 10  1   1  0",
              "CNTR3         0    0    0    5    0    0   -1    0");
  const auto r = t::run_ossa();
  EXPECT_NE(r.out.find("##$$ExSv end 1 1"), std::string::npos) << r.out;
  const auto log = t::read_lines("EXEC.LOG");
  EXPECT_EQ(count(log, " *** ERROR NO. ***"), 0);
  EXPECT_LT(count(log, " ***** STEP NO. = "), 10);
  EXPECT_GE(count(log, " ***** STEP NO. = "), 1);
  EXPECT_GT(t::file_size("EXEC.Bdsp"), 0);
}
