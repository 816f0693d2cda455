// The bundled example's path on a coarse femur: synthetic scan and Gmsh
// mesh, moduli mapped from the scan, a run that converges to finite
// displacements pushing the head along the load.
#include <gtest/gtest.h>

#include <cmath>

#include "deckgen.hpp"
#include "testutil.hpp"

using namespace ossa;

TEST(Femur, ScanAndMeshThroughMkdeckRunToAConvergedJob) {
#ifndef OSSA_HAVE_GMSH
  GTEST_SKIP() << "built without the Gmsh SDK";
#else
  test::ScratchDir dir;
  ASSERT_EQ(test::run_program("ossa-mkfemur-ct", ". 9", 120).status, 0);
  test::write_file("femur.json", test::read_file(std::string(OSSA_SOURCE_DIR) + "/examples/femur/femur.json"));
  const auto mk = test::run_program("ossa-mkdeck", "femur.json", 120);
  ASSERT_EQ(mk.status, 0) << mk.err;
  EXPECT_NE(mk.out.find("moduli from"), std::string::npos) << mk.out;
  EXPECT_EQ(mk.out.find("outside"), std::string::npos) << mk.out;  // the mesh lies in the scan
  const auto run = test::run_program("ossa-run", "", 300);
  ASSERT_EQ(run.status, 0) << run.out;
  // The head moves along the load (mostly down); the reactions balance it.
  const std::string deck = test::read_file("EXEC.INP");
  const int head = std::stoi(deck.substr(deck.find("\nFORCE") + 6, 10));
  const post::Frame f = test::result_frame(test::result_frames());
  double r[3] = {0, 0, 0};
  for (const auto& n : f.REACT)
    for (int k = 0; k < 3; ++k) r[k] += n.V[k];
  EXPECT_NEAR(r[2], 1860.0, 1.0);
  for (const auto& d : f.DISP)
    if (d.ID == head) {
      EXPECT_TRUE(std::isfinite(d.V[2]));
      EXPECT_LT(d.V[2], 0.0);
      EXPECT_GT(d.V[2], -5.0);  // millimetres: a stiff bone, not a mechanism
    }
#endif
}
