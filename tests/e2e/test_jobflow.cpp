// The job's file set and flow as a user meets it: a deck that asks for no
// analysis, the work files of a material nonlinear job, and a job naming a
// device where none answers.
#include <gtest/gtest.h>

#include "deckgen.hpp"
#include "solvers/gpu/gpu.hpp"
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

TEST(JobFlow, AnAbsentDeviceLeavesTheJobToTheProcessor) {
  if (!solvers::GPUQUERY().props.empty()) GTEST_SKIP() << "a device answers (the device tests run there)";
  const Box b(2, 1, 1, 2.0, 1.0, 1.0);
  // Device 0 named on the card (checked as it is read), and by the card's
  // absence (checked when the solver is prepared, after the echo).
  const std::pair<std::string, const char*> cases[] = {
      {test::card("CNTR3%5s%30s%5d%5d", "", "", 0, 0), "LINEAR EQUATION SOLVER : CG  "},
      {"", "LINEAR EQUATION SOLVER : CG (GPU)"}};
  for (const auto& [cntr3, echo] : cases) {
    test::ScratchDir dir;
    std::string deck = small_deck(b, test::cntrl(0, 0, 10, 1e-3));
    deck.replace(deck.find(test::cntr3_cpu()), test::cntr3_cpu().size(), cntr3);
    test::write_file("EXEC.INP", deck);
    const auto r = test::run_ossa();
    EXPECT_NE(r.out.find("##$$ExSv end 1 1"), std::string::npos) << r.out;
    const std::string log = test::read_file("EXEC.LOG");
    EXPECT_NE(log.find("            * * *   GPU DEVICE CHECK   * * *\n"
                       "                     Error: Device No. is changed into '-1(CPU)'\n"),
              std::string::npos);
    EXPECT_NE(log.find(echo), std::string::npos);
    EXPECT_NE(log.find(" *****  CG-METHOD SOLVER MESSAGE  *****"), std::string::npos);
    const std::string dev = test::read_file("gpu_device.txt");
    EXPECT_EQ(dev.rfind("KK(120) = 0\n", 0), 0u);
    EXPECT_NE(dev.find("Device No.0 is not found.\n"), std::string::npos);
    EXPECT_FALSE(test::exists("gpu_solver.log"));
  }
}
