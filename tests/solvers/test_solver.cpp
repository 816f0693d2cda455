// The solver frame's budget: a shortfall stops with the megabytes missing,
// an exact fit passes.
#include <gtest/gtest.h>

#include <cstdlib>

#include "model/stop.hpp"
#include "model/model.hpp"
#include "solvers/solver.hpp"
#include "testutil.hpp"

using namespace ossa;

namespace {

// A model whose equation index holds NEQ equations and NZ stored entries,
// with the processor CG chosen and a budget of MB megabytes.
void index_model(model::Model& m, int neq, int nz, int mbytes, bool newlog = true) {
  if (newlog) {
    model::MODELRESET(m);
    ASSERT_TRUE(base::open_text_out(m.unit(m.UNIT(2)), "EXEC.LOG"));
  }
  m.KK(kk::SOLVER) = 1;
  m.KK(kk::DEVICE) = -1;
  m.KK(kk::NEQ) = neq;
  m.KK(kk::NZ) = nz;
  m.KK(kk::MEMMB) = mbytes;
  m.KK(kk::CGPREC) = 1;
  m.RR(rr::TOLCG) = 1.0e-10;
  ASSERT_TRUE(m.IA.allocate(neq + 1));
  ASSERT_TRUE(m.JA.allocate(nz));
  ASSERT_TRUE(m.AV.allocate(nz));
  ASSERT_TRUE(m.RHS.allocate(neq, 2));
  ASSERT_TRUE(m.DX.allocate(neq, 2));
}

}  // namespace

TEST(SolverPrep, BudgetShortfallStops) {
  test::ScratchDir dir;
  OSSA_EXPECT_STOP(model::Model m; index_model(m, 30000, 600000, 10); solvers::SOLVERPREP(m, 7);
                   std::abort());
  // Need 2760000 words, free 2500000 - 2070001: short by 2330001 words.
  EXPECT_EQ(test::read_file("EXEC.LOG").rfind("\n     9.32(MB) MORE MEMORY IS NECESSARY FOR NEXT PROCESS OF MATRIX "
                                              "SOLVER.\n *** ERROR NO. ***\n  -5  7\n", 0), 0u);
  EXPECT_EQ(test::read_lines("stdout.txt").back(), "##$$ExSv end -5 7");
}

TEST(SolverPrep, ExactFitPasses) {
  // 12 NEQ + 4 NZ words exactly free: no stop.
  test::ScratchDir dir;
  model::Model m;
  index_model(m, 1000, 2000, 1);
  const long free = model::SOLVERFREEW(m);
  model::BUDGETCHK(m, free, free, 0);
  EXPECT_EQ(free, 250000 - (1001 + 2000 + 4000 + 4000 + 4000));
}
