// The job's file set and flow as a user meets it: a deck that asks for no
// analysis, and the work files of a material nonlinear job.
#include <gtest/gtest.h>

#include "deckgen.hpp"
#include "testutil.hpp"

using namespace ossa;
using test::Box;

namespace {

std::string small_deck(const Box& b, const std::string& cntrl, const std::string& extra = "") {
  return test::cntnd(b.nnode()) + test::cntel(b.ntet()) + cntrl + test::cntr2(1, 1) +
         test::cntr3_cpu() + test::kukan(1.0, 2) + b.mesh_cards(0.3, 1000.0) + extra + "END\n";
}

}  // namespace

TEST(JobFlow, NoAnalysisStillEndsNormally) {
  test::ScratchDir dir;
  const Box b(1, 1, 1, 1.0, 1.0, 1.0);
  std::string cntrl = test::cntrl(0, 0, 10, 1e-3);
  cntrl[8] = '2';  // column 9: neither static nor dynamic
  test::write_file("EXEC.INP", small_deck(b, cntrl));
  const auto r = test::run_ossa();
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "##$$ExSv end 1 1\n");  // no progress: the step walk never runs
  const std::string log = test::read_file("EXEC.LOG");
  EXPECT_NE(log.find(" ***** ELAPSED TIME *****"), std::string::npos);
  EXPECT_EQ(log.find("SOLVER MESSAGE"), std::string::npos);
  EXPECT_EQ(log.find("STEP NO."), std::string::npos);
}

TEST(JobFlow, PlasticWorkFilesGoAtTheEnd) {
  const Box b(2, 1, 1, 2.0, 1.0, 1.0);
  test::ScratchDir dir;
  test::write_file("EXEC.INP", small_deck(b, test::cntrl(0, 1, 10, 1e-3), ""));
  const auto r = test::run_ossa();
  EXPECT_NE(r.out.find("##$$ExSv end 1 1"), std::string::npos) << r.out;
  for (const char* f : {"EXEC.SOL", "EXEC.SHL", "EXEC.RST", "EXEC.WK1"}) EXPECT_FALSE(test::exists(f)) << f;
}
