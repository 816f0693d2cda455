// SOLVE_ORK on the model's arrays: two right-hand sides at once, and the
// residual check with its two messages and the 0.1 bound.
#include <gtest/gtest.h>

#include "elements/jobdir.hpp"
#include "solvers/ork/orkfact.hpp"
#include "solvers/ork/orkrun.hpp"

using namespace ossa::solvers;
using namespace ossa::testing;
using ossa::model::Model;

namespace {

// Puts A into the model's IA/JA/AV, analyses it and sets the right-hand sides.
void load(Model& m, const UpperCsr& A, const std::vector<double>& b, int nrhs, bool analyse = true) {
  m.KK(22) = A.n;
  m.KK(26) = static_cast<int>(A.nz());
  ASSERT_TRUE(m.IA.allocate(A.n + 1) && m.JA.allocate(A.nz()) && m.AV.allocate(A.nz()));
  ASSERT_TRUE(m.RHS.allocate(A.n, 2) && m.DX.allocate(A.n, 2) && m.ORK.W.allocate(A.n, 2));
  std::copy(A.IA.begin(), A.IA.end(), m.IA.data());
  std::copy(A.JA.begin(), A.JA.end(), m.JA.data());
  std::copy(A.AV.begin(), A.AV.end(), m.AV.data());
  std::copy(b.begin(), b.begin() + static_cast<long>(A.n) * nrhs, m.RHS.data());
  if (analyse) {
    ASSERT_TRUE(ork_analyse(m.ORK, A, nrhs));
  }
}

UpperCsr two_by_two(double a11, double a12, double a22) {
  UpperCsr A;
  A.n = 2;
  A.IA = {1, 3, 4};
  A.JA = {1, 2, 2};
  A.AV = {a11, a12, a22};
  return A;
}

}  // namespace

// Two columns solved together equal each column solved alone.
TEST(OrkSolve, TwoRightHandSidesAtOnce) {
  const UpperCsr A = tet_stiffness(4, 4, 3);
  const auto b = random_rhs(A.n, 2, 12);
  Model m;
  load(m, A, b, 2);
  SOLVE_ORK(m, 2, 1);  // returns: the residual passes
  const std::vector<double> x2(m.DX.data(), m.DX.data() + 2L * A.n);
  EXPECT_LT(rel_residual(A, x2, b, 2), 1e-15);
  for (int c = 0; c < 2; ++c) {
    ORKNUM n;
    std::vector<double> x;
    const std::vector<double> bc(b.begin() + static_cast<long>(c) * A.n, b.begin() + static_cast<long>(c + 1) * A.n);
    ASSERT_EQ(ork_solve(m.ORK, n, A, bc, 1, x), 0);
    for (int i = 0; i < A.n; ++i) EXPECT_EQ(x[i], x2[static_cast<long>(c) * A.n + i]);
  }
  // The residual vector of each column is left in W.
  for (int i = 0; i < 2 * A.n; ++i) EXPECT_LT(std::fabs(m.ORK.W.data()[i]), 1e-9);
  EXPECT_EQ(m.ORK.ERRSTATE, 0);
}

// A failed factorisation shows only as the residual of a zero solution, so a
// right-hand side of exactly 0.1 passes the check.
TEST(OrkSolve, ResidualOfExactlyPointOnePasses) {
  Model m;
  load(m, two_by_two(2.0, 1.0, 2.0), {0.1, -0.1}, 1, false);
  m.ORK.ORKI.allocate(ORKHDR);  // no analysis stands
  m.ORK.ORKI(HN) = 2;
  SOLVE_ORK(m, 1);
  EXPECT_EQ(m.ORK.ERRSTATE, ORK_RSMALL);
  EXPECT_EQ(m.DX(1, 1), 0.0);
  EXPECT_EQ(m.DX(2, 1), 0.0);
}

TEST(OrkSolveDeathTest, InconsistentSystemStops) {
  enter_scratch();
  struct Case { int iter; const char* text; const char* nos; };
  const Case cases[] = {{1, "\n CONSTRAINT CONDITION MIGHT BE WRONG.\n", "  -4  0\n"},
                        {0, "\n CONSTRAINT CONDITION MIGHT BE WRONG.\n", "  -4  0\n"},
                        {2, "\n NONLINEAR CALCULATION DISPERSE.\n", "  -9  0\n"}};
  for (const Case& c : cases) {
    Model m;
    open_log(m);
    // Singular and inconsistent: x1 + x2 = 1 and x1 + x2 = 0.
    load(m, two_by_two(1.0, 1.0, 1.0), {1.0, 0.0}, 1);
    EXPECT_EXIT(SOLVE_ORK(m, c.iter), ::testing::ExitedWithCode(0), "");
    const std::string log = read_text("EXEC.LOG");
    EXPECT_NE(log.find(std::string(c.text) + " *** ERROR NO. ***\n" + c.nos), std::string::npos) << log;
  }
  // Just above 0.1 with no analysis: the zero solution fails.
  Model m;
  open_log(m);
  load(m, two_by_two(2.0, 1.0, 2.0), {0.1000001, 0.0}, 1, false);
  m.ORK.ORKI.allocate(ORKHDR);
  m.ORK.ORKI(HN) = 2;
  EXPECT_EXIT(SOLVE_ORK(m, 3), ::testing::ExitedWithCode(0), "");
  EXPECT_NE(read_text("EXEC.LOG").find("NONLINEAR CALCULATION DISPERSE."), std::string::npos);
}
