// Processor conjugate gradients on systems with a known answer: both
// preconditioners to the tolerance asked for, the complete factorisation in
// one iteration, the diagonal shift that rescues a breakdown, and the stops.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "solvers/cg/cg.hpp"
#include "solvers/cg/cgkern.hpp"
#include "solvers/sysmat.hpp"
#include "testutil.hpp"

using namespace ossa;

namespace {

// CGSOLVE on copies of the system; returns the iteration count.
int solve(model::Model& m, const test::Sym& s, std::vector<double> f, std::vector<double>& x, int precon,
          double tol = 1e-10) {
  test::Csr c = half(s, true);
  std::vector<double> lv(c.AV.size()), w(6L * s.n);
  std::vector<int> grp(s.n);
  x.assign(s.n, 0.0);
  return solvers::CGSOLVE(m, c.AV.data(), lv.data(), f.data(), x.data(), w.data(), grp.data(), s.n,
                          static_cast<int>(c.JA.size()), c.IA.data(), c.JA.data(), 10000, tol, m.UNIT(2), precon, 0);
}

test::Sym dense(int n, double off, double diag) {
  test::Sym s{n, std::vector<double>(static_cast<std::size_t>(n) * n, off)};
  for (int i = 0; i < n; ++i) s.at(i, i) = diag;
  return s;
}

}  // namespace

TEST(CgSolve, ReachesTheToleranceWithEitherPreconditioner) {
  test::ScratchDir dir;
  test::Sym lap = dense(200, 0.0, 2.0);  // the 1D Laplacian
  for (int i = 1; i < 200; ++i) lap.at(i, i - 1) = lap.at(i - 1, i) = -1.0;
  // Scalar unknowns coupled in random pairs: rows that extend the one before
  // by a column other than it, which must not be grouped with it.
  test::Sym pairs = dense(150, 0.0, 0.1);
  const std::vector<double> v = test::random_vec(600, 5);
  for (int k = 0; k < 300; k += 2) {
    const int i = static_cast<int>(std::fabs(v[k]) * 150), j = static_cast<int>(std::fabs(v[k + 1]) * 150);
    if (i != j) pairs.at(i, i) += 1.0, pairs.at(j, j) += 1.0, pairs.at(i, j) -= 0.9, pairs.at(j, i) -= 0.9;
  }
  for (const test::Sym& s : {test::node_blocks(60, true, 0.05, 3), lap, pairs}) {
    // The product on 2 and 3 threads has the bits of the one-thread pass.
    const test::Csr c = half(s, true);
    std::vector<int> grp(s.n);
    solvers::CGGROUP(grp.data(), s.n, c.IA.data(), c.JA.data());
    std::vector<double> q1;
    for (int nb : {1, 2, 3}) {
      std::vector<double> q = test::random_vec(s.n, 3), p = test::random_vec(s.n, 4), pqv(s.n);
      const solvers::CGPLAN plan = solvers::CGPLANMAKE(nb, s.n, c.IA.data(), c.JA.data(), grp.data());
      q.push_back(solvers::CGPSPMVPAR(q.data(), p.data(), 0.7, 0, c.AV.data(), s.n, c.IA.data(), c.JA.data(),
                                      grp.data(), plan, pqv.data()));
      if (nb == 1) q1 = q;
      EXPECT_TRUE(plan.nb == nb && q == q1) << nb;
    }
    for (int precon : {0, 1}) {
      model::Model m;
      test::open_log(m);
      const std::vector<double> f = test::random_vec(s.n, 7);
      std::vector<double> x;
      solve(m, s, f, x, precon);
      // The stop is on the diagonally scaled residual: |S (f - K x)| < tol |S f|.
      double rs = 0.0, fs = 0.0;
      for (int i = 0; i < s.n; ++i) {
        double r = f[i];
        for (int j = 0; j < s.n; ++j) r -= s.at(i, j) * x[j];
        rs += r * r / s.at(i, i), fs += f[i] * f[i] / s.at(i, i);
      }
      EXPECT_LT(std::sqrt(rs), 1.01e-10 * std::sqrt(fs)) << s.n << " " << precon;
    }
  }
}

TEST(CgSolve, FullPatternIsExactShiftRescuesBreakdownThenStops) {
  test::ScratchDir dir;
  model::Model m;
  test::open_log(m);
  std::vector<double> x;
  // With every lower entry stored, the incomplete factorisation is complete.
  const test::Sym full = dense(12, 0.3, 13.0);
  const std::vector<double> f = test::random_vec(12, 9);
  EXPECT_EQ(solve(m, full, f, x, 1, 1e-12), 1);
  EXPECT_LT(test::backward_error(full, x.data(), f.data()), 1e-14);
  // (1 - rho) I + rho 1 1^T, rho = 0.9: the diagonal factorisation breaks
  // down with the first shift and goes on with a larger one.
  const test::Sym s = dense(10, 0.9, 1.0);
  EXPECT_EQ(m.CG.CGSHIFT, 1.5);
  solve(m, s, f, x, 0, 1e-12);
  EXPECT_GT(m.CG.CGSHIFT, 1.55);
  EXPECT_LT(test::backward_error(s, x.data(), f.data()), 1e-10);
  // A negative pivot stops; so does a breakdown past the largest shift.
  struct Case { double diag, off; const char* text; };
  for (const Case& c : {Case{-1.0, 0.0, "PIVOT .LE. 0. , PROGRAM STOPPED !\n *** ERROR NO. ***\n  -1"},
                        Case{1.0, 3.0, "CG METHOD FAILED.\n *** ERROR NO. ***\n  -8"}}) {
    OSSA_EXPECT_STOP(model::Model m2; test::open_log(m2); m2.CG.CGSHIFT = 4.95;
                     solve(m2, dense(2, c.off, c.diag), {1.0, 1.0}, x, 0));
    EXPECT_NE(test::read_file("EXEC.LOG").find(c.text), std::string::npos) << c.text;
  }
}
