// Conjugate gradients with the algebraic multigrid preconditioner against
// the direct solver on the same decks: a bar, a cube and a block of
// tetrahedra whose moduli spread over bone's range, all held on one face
// and pulled on the other. The displacements agree to the CG tolerance
// (within the single precision of the result files),
// and the log names the preconditioner and counts the iterations.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "deckgen.hpp"
#include "testutil.hpp"

using namespace ossa;
using test::Box;

namespace {

// Per-element moduli from 900 to 17000, scattered over the block.
double modulus(int e, bool mixed) { return mixed ? 900.0 + 16100.0 * ((e * 7919) % 101) / 100.0 : 1000.0; }

std::string deck(const Box& b, int solver, int pre, bool mixed) {
  std::string s = test::cntnd(b.nnode()) + test::cntel(b.ntet()) +
                  test::cntrl(0, 0, 10, 1e-6, solver, 1e-10, pre) + test::cntr2(1, 1) + test::cntr3_cpu() +
                  test::card("PRPLT%10s%5d", "", 1) + test::kukan(1.0, 1);
  for (int n = 1; n <= b.nnode(); ++n) s += test::node(n, b.xyz[n - 1].x, b.xyz[n - 1].y, b.xyz[n - 1].z);
  for (int e = 1; e <= b.ntet(); ++e) s += test::solid(e, b.tets[e - 1]);
  for (int e = 1; e <= b.ntet(); ++e) s += test::propt_solid(e, 0.3, modulus(e, mixed));
  int nheld = 0;
  const std::string held = test::hold_free_section(b, nheld);
  return s + test::ngld(1) + test::nplnk(nheld) + test::end_traction(b, b.LX, 2.0) + held + "END\n";
}

// Runs a deck and returns the displacements of its one frame.
std::vector<post::NodeOut> displacements(const std::string& text, bool amg) {
  test::ScratchDir dir;
  test::write_file("EXEC.INP", text);
  const auto r = test::run_ossa();
  EXPECT_EQ(r.out.substr(r.out.find("##$$ExSv end")), "##$$ExSv end 1 1\n") << test::read_file("EXEC.LOG");
  const std::string log = test::read_file("EXEC.LOG");
  EXPECT_TRUE(!amg || (log.find("     CG PRE-CONDITIONING    : ALGEBRAIC MULTIGRID") != std::string::npos &&
                       log.find("     TIME   CG ITER\n") != std::string::npos));
  return test::result_frame(1).DISP;
}

}  // namespace

TEST(AmgCg, MatchesTheDirectSolverOnBarCubeAndMixedBlock) {
  struct Case { const char* name; Box b; bool mixed; };
  const Case cases[] = {{"bar", Box(8, 1, 1, 8.0, 1.0, 1.0), false},
                        {"cube", Box(5, 5, 5, 1.0, 1.0, 1.0), false},
                        {"mixed block", Box(6, 4, 3, 3.0, 2.0, 1.5), true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const auto ork = displacements(deck(c.b, -1, 1, c.mixed), false);
    const auto amg = displacements(deck(c.b, 0, 3, c.mixed), true);
    ASSERT_EQ(ork.size(), amg.size());
    float umax = 0.0f;
    for (const auto& d : ork) umax = std::max({umax, std::fabs(d.V[0]), std::fabs(d.V[1]), std::fabs(d.V[2])});
    ASSERT_GT(umax, 0.0);
    for (std::size_t i = 0; i < ork.size(); ++i)
      for (int k = 0; k < 3; ++k) EXPECT_NEAR(amg[i].V[k], ork[i].V[k], 2e-6 * umax) << ork[i].ID;
  }
}
