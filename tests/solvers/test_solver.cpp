// The solver frame: budget test and its shortfall stop, the memory report of
// the processor CG, the dispatch of one solve and the release.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

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
  m.KK(21) = 1;
  m.KK(28) = -1;
  m.KK(22) = neq;
  m.KK(26) = nz;
  m.KK(27) = mbytes;
  m.KK(31) = 1;
  m.RR(3) = 1.0e-10;
  ASSERT_TRUE(m.IA.allocate(neq + 1));
  ASSERT_TRUE(m.JA.allocate(nz));
  ASSERT_TRUE(m.AV.allocate(nz));
  ASSERT_TRUE(m.RHS.allocate(neq, 2));
  ASSERT_TRUE(m.DX.allocate(neq, 2));
}

// The 1D Laplacian 2, -1 in the lower-half rows of the model.
void laplace(model::Model& m, int n) {
  int k = 1;
  for (int i = 1; i <= n; ++i) {
    m.IA(i) = k;
    m.JA(k) = i;
    m.AV(k++) = 2.0;
    if (i > 1) {
      m.JA(k) = i - 1;
      m.AV(k++) = -1.0;
    }
  }
  m.IA(n + 1) = k;
}

}  // namespace

TEST(SolverPrep, CgMemoryReportLayout) {
  test::ScratchDir dir;
  model::Model m;
  index_model(m, 30000, 600000, 100);
  // IA 30001 + JA 600000 + AV 1200000 + RHS 120000 + DX 120000 words.
  ASSERT_EQ(model::FREEWORDS(m), 2070001);
  solvers::SOLVERPREP(m, 0);
  EXPECT_EQ(m.CG.LV.size(), 600000);
  EXPECT_EQ(m.CG.CGW.extent(1), 30000);
  EXPECT_EQ(m.CG.CGW.extent(2), 6);
  EXPECT_EQ(model::FREEWORDS(m), 2070001 + 1200000 + 360000 + 30000);
  // A rebuilt pattern prepares again but reports only once.
  solvers::SOLVERFREE(m);
  index_model(m, 30000, 600000, 100, false);
  solvers::SOLVERPREP(m, 0);
  base::close_unit(m.unit(m.UNIT(2)));
  const auto l = test::read_lines("EXEC.LOG");
  ASSERT_EQ(l.size(), 8u);
  EXPECT_EQ(l[0], "");
  EXPECT_EQ(l[1], " *****  CG-METHOD SOLVER MESSAGE  *****");
  EXPECT_EQ(l[2], "");
  EXPECT_EQ(l[3], "   NUMBER OF EQUATIONS --------------------   30000");
  EXPECT_EQ(l[4], "   ALLOCATED MEMORY -----------------------   100.0(MB)");
  EXPECT_EQ(l[5], "   USED MEMORY FOR DATA TABLE -------------     8.3(MB)");
  EXPECT_EQ(l[6], "   AVAILABLE MEMORY FOR MATRIX SOLVER -----    91.7(MB)");
  // NEQ + NZ + 12 NEQ + 4 NZ + 1 = 3390001 words.
  EXPECT_EQ(l[7], "   REQUIRED MEMORY FOR MATRIX SOLVER ------    13.6(MB)");
}

TEST(SolverPrep, BudgetShortfallStops) {
  test::ScratchDir dir;
  OSSA_EXPECT_STOP(model::Model m; index_model(m, 30000, 600000, 10); solvers::SOLVERPREP(m, 7);
                   std::abort());
  // Need 2760000 words, free 2500000 - 2070001: short by 2330001 words.
  const auto l = test::read_lines("EXEC.LOG");
  ASSERT_GE(l.size(), 4u);
  EXPECT_EQ(l[0], "");
  EXPECT_EQ(l[1], "     9.32(MB) MORE MEMORY IS NECESSARY FOR NEXT PROCESS OF MATRIX SOLVER.");
  EXPECT_EQ(l[2], " *** ERROR NO. ***");
  EXPECT_EQ(l[3], "  -5  7");
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

TEST(SolverDispatch, CgSolveFreeAndOtherCodes) {
  test::ScratchDir dir;
  model::Model m;
  const int n = 40;
  index_model(m, n, 2 * n - 1, 10);
  laplace(m, n);
  solvers::SOLVERPREP(m, 0);
  // K x = f with x(i) = i(n+1-i): f = 2 everywhere.
  for (int i = 1; i <= n; ++i) m.RHS(i, 1) = 2.0;
  solvers::SOLVE(m, 1);
  for (int i = 1; i <= n; ++i) EXPECT_NEAR(m.DX(i, 1), i * (n + 1.0 - i), 1e-6 * n * n);
  EXPECT_GE(m.TIMES(model::T_SOLUTION), 0.0);

  // A code without a solver passes through and leaves the solution alone.
  m.KK(21) = 0;
  m.DX(1, 1) = -3.0;
  solvers::SOLVE(m, 1);
  EXPECT_EQ(m.DX(1, 1), -3.0);

  m.KK(21) = 1;
  solvers::SOLVERFREE(m);
  EXPECT_FALSE(m.IA.allocated() || m.JA.allocated() || m.AV.allocated() || m.RHS.allocated() ||
               m.DX.allocated() || m.CG.LV.allocated() || m.CG.CGW.allocated() ||
               m.CG.CGGRP.allocated());
  EXPECT_EQ(model::FREEWORDS(m), 0);
}
