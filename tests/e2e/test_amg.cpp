// Conjugate gradients with the algebraic multigrid preconditioner against
// the direct solver on the same decks: a bar, a cube and a block of
// tetrahedra whose moduli spread over bone's range, all held on one face
// and pulled on the other. The displacements agree to the CG tolerance
// (within the single precision of the result files),
// and the log names the preconditioner and counts the iterations.
#include <gtest/gtest.h>

#include <cmath>

#include "deckgen.hpp"
#include "testutil.hpp"

using namespace ossa;
using test::Box;

namespace {

// Per-element moduli from 900 to 17000, scattered over the block.
double modulus(int e, bool mixed) { return mixed ? 900.0 + 16100.0 * ((e * 7919) % 101) / 100.0 : 1000.0; }

std::string deck(const Box& b, int solver, int pre, bool mixed) {
  int nheld = 0;
  const std::string held = test::hold_free_section(b, nheld);
  return test::job_head(b.nnode(), b.ntet(), 0, test::cntrl(0, 0, 10, 1e-6, solver, 1e-10, pre), 1) +
         b.mesh_rows([&](int e) { return test::propt_solid(e, 0.3, modulus(e, mixed)); }) + test::ngld(1) +
         test::nplnk(nheld) + test::end_traction(b, b.LX, 2.0) + held + "END\n";
}

}  // namespace

TEST(AmgCg, MatchesTheDirectSolverOnBarCubeAndMixedBlock) {
  struct Case { const char* name; Box b; bool mixed; };
  const Case cases[] = {{"bar", Box(8, 1, 1, 8.0, 1.0, 1.0), false},
                        {"cube", Box(5, 5, 5, 1.0, 1.0, 1.0), false},
                        {"mixed block", Box(6, 4, 3, 3.0, 2.0, 1.5), true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<double> u[2];
    for (int amg : {0, 1}) {
      test::ScratchDir dir;
      const std::string log = test::run_deck(deck(c.b, amg ? 0 : -1, amg ? 3 : 1, c.mixed));
      EXPECT_TRUE(!amg || (log.find("     CG PRE-CONDITIONING    : ALGEBRAIC MULTIGRID") != std::string::npos &&
                           log.find("     TIME   CG ITER\n") != std::string::npos));
      u[amg] = test::frame_disps(1);
    }
    ASSERT_FALSE(u[0].empty());
    EXPECT_LT(test::mismatch(u[0], u[1]), 2e-6);
  }
}
