// Processor conjugate gradients: kernels against dense arithmetic, both
// preconditioners against a dense solve, the diagonal shift, the iteration
// limit, the three failure stops and the verbose log.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include "base/fmt.hpp"
#include "model/stop.hpp"
#include "solvers/cg/cg.hpp"
#include "solvers/cg/cgkern.hpp"
#include "testutil.hpp"

using namespace ossa;
using solvers::CGSOLVE;

namespace {

// A symmetric matrix held densely and in the solver's storage: per row the
// diagonal, then the nonzero columns below it in ascending order.
struct Sys {
  int n = 0;
  std::vector<double> a;  // dense, n x n, row-major
  std::vector<int> ia, ja;
  std::vector<double> av;
  double& at(int i, int j) { return a[static_cast<size_t>(i) * n + j]; }
  double at(int i, int j) const { return a[static_cast<size_t>(i) * n + j]; }
  int nz() const { return static_cast<int>(ja.size()); }
};

Sys from_dense(int n, const std::vector<double>& a) {
  Sys s;
  s.n = n;
  s.a = a;
  s.ia.push_back(1);
  for (int i = 0; i < n; ++i) {
    s.ja.push_back(i + 1);
    s.av.push_back(s.at(i, i));
    for (int j = 0; j < i; ++j)
      if (s.at(i, j) != 0.0) {
        s.ja.push_back(j + 1);
        s.av.push_back(s.at(i, j));
      }
    s.ia.push_back(static_cast<int>(s.ja.size()) + 1);
  }
  return s;
}

// SPD with mixed signs: a sum of random 3x3 blocks G^T G on nearby unknowns,
// plus a small diagonal.
Sys random_spd(int n, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::vector<double> a(static_cast<size_t>(n) * n, 0.0);
  for (int e = 0; e < 2 * n; ++e) {
    int d[3];
    d[0] = static_cast<int>(gen() % n);
    for (int k = 1; k < 3; ++k) d[k] = (d[0] + 1 + static_cast<int>(gen() % 7)) % n;
    if (d[1] == d[2]) continue;
    double g[9];
    for (double& x : g) x = u(gen);
    for (int r = 0; r < 3; ++r)
      for (int c = 0; c < 3; ++c) {
        double s = 0.0;
        for (int k = 0; k < 3; ++k) s += g[3 * k + r] * g[3 * k + c];
        a[static_cast<size_t>(d[r]) * n + d[c]] += s;
      }
  }
  for (int i = 0; i < n; ++i) a[static_cast<size_t>(i) * n + i] += 0.05;
  return from_dense(n, a);
}

// Three unknowns a node, as the equation index numbers a solid mesh: SPD
// 6 x 6 blocks G^T G on pairs of nearby nodes. Nodes in no pair keep a
// diagonal only.
Sys block_spd(int nnode, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  const int n = 3 * nnode;
  std::vector<double> a(static_cast<size_t>(n) * n, 0.0);
  for (int e = 0; e < 2 * nnode; ++e) {
    const int na = static_cast<int>(gen() % (nnode - 1));
    if (na % 7 == 3) continue;  // leave some nodes out
    const int nb = std::min(nnode - 1, na + 1 + static_cast<int>(gen() % 4));
    int d[6];
    for (int k = 0; k < 3; ++k) d[k] = 3 * na + k, d[k + 3] = 3 * nb + k;
    double g[36];
    for (double& x : g) x = u(gen);
    for (int r = 0; r < 6; ++r)
      for (int c = 0; c < 6; ++c) {
        double t = 0.0;
        for (int k = 0; k < 6; ++k) t += g[6 * k + r] * g[6 * k + c];
        a[static_cast<size_t>(d[r]) * n + d[c]] += t;
      }
  }
  for (int i = 0; i < n; ++i) a[static_cast<size_t>(i) * n + i] += 0.05;
  return from_dense(n, a);
}

// Tridiagonal 2, -1: the 1D Laplacian.
Sys laplace1d(int n) {
  std::vector<double> a(static_cast<size_t>(n) * n, 0.0);
  for (int i = 0; i < n; ++i) {
    a[static_cast<size_t>(i) * n + i] = 2.0;
    if (i > 0) a[static_cast<size_t>(i) * n + i - 1] = a[static_cast<size_t>(i - 1) * n + i] = -1.0;
  }
  return from_dense(n, a);
}

// Dense solve by Gaussian elimination with partial pivoting.
std::vector<double> dense_solve(const Sys& s, std::vector<double> b) {
  const int n = s.n;
  std::vector<double> a = s.a;
  for (int k = 0; k < n; ++k) {
    int p = k;
    for (int i = k + 1; i < n; ++i)
      if (std::fabs(a[static_cast<size_t>(i) * n + k]) > std::fabs(a[static_cast<size_t>(p) * n + k])) p = i;
    for (int j = 0; j < n; ++j) std::swap(a[static_cast<size_t>(k) * n + j], a[static_cast<size_t>(p) * n + j]);
    std::swap(b[k], b[p]);
    for (int i = k + 1; i < n; ++i) {
      const double f = a[static_cast<size_t>(i) * n + k] / a[static_cast<size_t>(k) * n + k];
      for (int j = k; j < n; ++j) a[static_cast<size_t>(i) * n + j] -= f * a[static_cast<size_t>(k) * n + j];
      b[i] -= f * b[k];
    }
  }
  for (int i = n - 1; i >= 0; --i) {
    double t = b[i];
    for (int j = i + 1; j < n; ++j) t -= a[static_cast<size_t>(i) * n + j] * b[j];
    b[i] = t / a[static_cast<size_t>(i) * n + i];
  }
  return b;
}

std::vector<double> dense_mul(const Sys& s, const std::vector<double>& x) {
  std::vector<double> y(s.n, 0.0);
  for (int i = 0; i < s.n; ++i)
    for (int j = 0; j < s.n; ++j) y[i] += s.at(i, j) * x[j];
  return y;
}

std::vector<double> rhs(int n, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::vector<double> f(n);
  for (double& x : f) x = u(gen);
  return f;
}

void open_log(model::Model& m) {
  model::MODELRESET(m);
  ASSERT_TRUE(base::open_text_out(m.unit(m.UNIT(2)), "EXEC.LOG"));
}

// Runs CGSOLVE on copies of the system; returns the iterations, X the solution.
struct CgRun {
  int itc = 0;
  std::vector<double> x;
};
CgRun solve(model::Model& m, const Sys& s, std::vector<double> f, int precon, int kk30 = 0,
          double tol = 1.0e-10, int verb = 0) {
  std::vector<double> av = s.av, lv(s.av.size()), cgw(static_cast<size_t>(s.n) * 6, 7.0);
  std::vector<int> grp(s.n, 5);
  CgRun r;
  r.x.assign(s.n, 99.0);
  r.itc = CGSOLVE(m, av.data(), lv.data(), f.data(), r.x.data(), cgw.data(), grp.data(), s.n,
                  s.nz(),
                  s.ia.data(), s.ja.data(), kk30, tol, m.UNIT(2), precon, verb);
  return r;
}

// The lines of the log after an error stop in a child process.
template <class F>
std::vector<std::string> stop_log(F body) {
  OSSA_EXPECT_STOP(model::Model m; model::MODELRESET(m);
                   if (!base::open_text_out(m.unit(m.UNIT(2)), "EXEC.LOG")) std::abort();
                   body(m); std::abort());
  return test::read_lines("EXEC.LOG");
}

void expect_stop(const std::vector<std::string>& l, const std::string& text, const char* nos) {
  ASSERT_GE(l.size(), 4u);
  EXPECT_EQ(l[0], "");
  EXPECT_EQ(l[1], text);
  EXPECT_EQ(l[2], " *** ERROR NO. ***");
  EXPECT_EQ(l[3], nos);
}

}  // namespace

TEST(CgKernels, SpmvMatchesDenseProduct) {
  const Sys s = random_spd(37, 3);
  const std::vector<double> v = rhs(37, 4);
  std::vector<double> y(37, -5.0);
  solvers::CGSPMV(y.data(), s.av.data(), v.data(), s.n, s.ia.data(), s.ja.data());
  const std::vector<double> ref = dense_mul(s, v);
  for (int i = 0; i < s.n; ++i) EXPECT_NEAR(y[i], ref[i], 1e-12 * (1.0 + std::fabs(ref[i])));
}

TEST(CgKernels, PresolveInvertsTheFactoredPreconditioner) {
  // M = (D + L) D^-1 (D + L^T) built densely from the factor CGICPRE leaves.
  const Sys s = random_spd(29, 5);
  std::vector<double> dinv(s.n), lv(s.av.size()), w(s.n);
  solvers::CGICPRE(dinv.data(), s.av.data(), lv.data(), s.n, s.ia.data(), s.ja.data());
  std::vector<double> L(static_cast<size_t>(s.n) * s.n, 0.0);
  for (int i = 0; i < s.n; ++i) {
    L[static_cast<size_t>(i) * s.n + i] = 1.0 / dinv[i];
    for (int k = s.ia[i]; k < s.ia[i + 1] - 1; ++k) L[static_cast<size_t>(i) * s.n + s.ja[k] - 1] = lv[k];
  }
  const std::vector<double> v0 = rhs(s.n, 6);
  std::vector<double> v = v0;
  solvers::CGPRESOLVE(dinv.data(), lv.data(), v.data(), w.data(), s.n, s.ia.data(), s.ja.data());
  // Apply (D + L^T), then D^-1, then (D + L): must give v0 back.
  std::vector<double> t(s.n, 0.0), u(s.n, 0.0);
  for (int i = 0; i < s.n; ++i)
    for (int j = 0; j < s.n; ++j) t[i] += L[static_cast<size_t>(j) * s.n + i] * v[j];
  for (int i = 0; i < s.n; ++i) t[i] *= dinv[i];
  for (int i = 0; i < s.n; ++i)
    for (int j = 0; j < s.n; ++j) u[i] += L[static_cast<size_t>(i) * s.n + j] * t[j];
  for (int i = 0; i < s.n; ++i) EXPECT_NEAR(u[i], v0[i], 1e-10);
  // No fill: M equals K on every stored position, the diagonal included.
  for (int i = 0; i < s.n; ++i)
    for (int k = s.ia[i] - 1; k < s.ia[i + 1] - 1; ++k) {
      const int j = s.ja[k] - 1;
      double mij = 0.0;
      for (int c = 0; c <= j; ++c)
        mij += L[static_cast<size_t>(i) * s.n + c] * dinv[c] * L[static_cast<size_t>(j) * s.n + c];
      EXPECT_NEAR(mij, s.at(i, j), 1e-10) << i << "," << j;
    }
}

TEST(CgKernels, RowGroupsFollowTheNodes) {
  const Sys s = block_spd(40, 8);
  std::vector<int> grp(s.n);
  const int ng = solvers::CGGROUP(grp.data(), s.n, s.ia.data(), s.ja.data());
  int full = 0;
  for (int nd = 0; nd < 40; ++nd) {
    if (s.at(3 * nd + 1, 3 * nd) == 0.0) continue;  // a node in no block
    ++full;
    EXPECT_EQ(grp[3 * nd], 3) << nd;
    EXPECT_EQ(grp[3 * nd + 1], -1);
    EXPECT_EQ(grp[3 * nd + 2], -2);
  }
  EXPECT_GT(full, 20);
  EXPECT_EQ(ng, full + 3 * (40 - full));
  // The 1D Laplacian pairs row 1 with row 2 only: row 2 = row 1's columns + 1.
  const Sys l = laplace1d(5);
  std::vector<int> g5(5);
  EXPECT_EQ(solvers::CGGROUP(g5.data(), 5, l.ia.data(), l.ja.data()), 4);
  EXPECT_EQ(g5, (std::vector<int>{2, -1, 1, 1, 1}));
}

TEST(CgKernels, GroupedPassesMatchThePlainOnes) {
  // The fused passes against CGSPMV and CGPRESOLVE, with the row groups
  // found and with every row alone.
  const Sys s = block_spd(50, 4);
  const int n = s.n;
  std::vector<double> dinv(n), lv(s.av.size());
  solvers::CGICPRE(dinv.data(), s.av.data(), lv.data(), n, s.ia.data(), s.ja.data());
  const std::vector<double> v = rhs(n, 7);
  std::vector<double> ref(n), zref = v, w(n);
  solvers::CGSPMV(ref.data(), s.av.data(), v.data(), n, s.ia.data(), s.ja.data());
  solvers::CGPRESOLVE(dinv.data(), lv.data(), zref.data(), w.data(), n, s.ia.data(), s.ja.data());
  std::vector<int> grouped(n), single(n, 1);
  solvers::CGGROUP(grouped.data(), n, s.ia.data(), s.ja.data());
  for (const auto* grp : {&grouped, &single}) {
    std::vector<double> q(n, 0.0), p = v;
    const double pq = solvers::CGPSPMV(q.data(), p.data(), 0.0, 1, s.av.data(), n, s.ia.data(),
                                       s.ja.data(), grp->data());
    double pqref = 0.0;
    for (int i = 0; i < n; ++i) {
      EXPECT_NEAR(q[i], ref[i], 1e-12 * (1.0 + std::fabs(ref[i])));
      pqref += v[i] * ref[i];
    }
    EXPECT_NEAR(pq, pqref, 1e-10 * std::fabs(pqref));
    // ALPHA = 0 leaves x and r alone and sweeps r forward into q's place.
    std::vector<double> x(n, 1.0), r = v, qz(n, 3.0), ww(n, 9.0);
    const double rr = solvers::CGUPDFWD(x.data(), r.data(), p.data(), qz.data(), ww.data(), 0.0,
                                        dinv.data(), lv.data(), n, s.ia.data(), s.ja.data(),
                                        grp->data());
    const double rz = solvers::CGBWDDOT(qz.data(), ww.data(), r.data(), dinv.data(), lv.data(), n,
                                        s.ia.data(), s.ja.data(), grp->data());
    double rrref = 0.0, rzref = 0.0;
    for (int i = 0; i < n; ++i) {
      EXPECT_EQ(x[i], 1.0);
      EXPECT_NEAR(qz[i], zref[i], 1e-10 * (1.0 + std::fabs(zref[i])));
      rrref += v[i] * v[i];
      rzref += zref[i] * v[i];
    }
    EXPECT_NEAR(rr, rrref, 1e-12 * rrref);
    EXPECT_NEAR(rz, rzref, 1e-10 * std::fabs(rzref));
  }
}

class CgSolve : public ::testing::TestWithParam<int> {};

TEST_P(CgSolve, RandomSpdAgainstDenseSolve) {
  test::ScratchDir dir;
  model::Model m;
  open_log(m);
  for (unsigned seed : {11u, 12u, 13u}) {
    const Sys s = seed == 13u ? block_spd(70, seed) : random_spd(seed == 11u ? 60 : 150, seed);
    const std::vector<double> f = rhs(s.n, seed + 100);
    const CgRun r = solve(m, s, f, GetParam(), -10000, 1.0e-10);
    EXPECT_GT(r.itc, 1);
    const std::vector<double> xd = dense_solve(s, f);
    const std::vector<double> kx = dense_mul(s, r.x);
    // The stop is on the scaled residual: |S (f - K x)| < tol |S f|.
    double rs = 0.0, fs = 0.0;
    for (int i = 0; i < s.n; ++i) {
      const double sc = 1.0 / std::sqrt(s.at(i, i));
      rs += std::pow(sc * (f[i] - kx[i]), 2);
      fs += std::pow(sc * f[i], 2);
    }
    EXPECT_LT(std::sqrt(rs), 1.01e-10 * std::sqrt(fs));
    double xn = 0.0;
    for (double v : xd) xn = std::max(xn, std::fabs(v));
    for (int i = 0; i < s.n; ++i) EXPECT_NEAR(r.x[i], xd[i], 1e-6 * xn);
  }
}

TEST_P(CgSolve, ZeroRightHandSideGivesZeroAtOnce) {
  test::ScratchDir dir;
  model::Model m;
  open_log(m);
  const Sys s = random_spd(20, 1);
  const CgRun r = solve(m, s, std::vector<double>(20, 0.0), GetParam());
  EXPECT_EQ(r.itc, 0);
  for (double v : r.x) EXPECT_EQ(v, 0.0);
}

TEST_P(CgSolve, SingleEquation) {
  test::ScratchDir dir;
  model::Model m;
  open_log(m);
  const Sys s = from_dense(1, {4.0});
  const CgRun r = solve(m, s, {2.0}, GetParam());
  EXPECT_EQ(r.itc, 1);
  EXPECT_NEAR(r.x[0], 0.5, 1e-15);
}

INSTANTIATE_TEST_SUITE_P(Preconditioners, CgSolve, ::testing::Values(0, 1));

TEST(CgSolve, IncompleteCholeskyOnAFullPatternIsExact) {
  // With every lower entry stored, IC(0) is the complete factorisation.
  test::ScratchDir dir;
  model::Model m;
  open_log(m);
  const int n = 12;
  std::vector<double> a(n * n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) a[i * n + j] = (i == j ? n + 1.0 : 1.0 / (1.0 + i + j));
  const Sys s = from_dense(n, a);
  const std::vector<double> f = rhs(n, 9);
  const CgRun r = solve(m, s, f, 1, 0, 1.0e-12);
  EXPECT_EQ(r.itc, 1);
  const std::vector<double> xd = dense_solve(s, f);
  for (int i = 0; i < n; ++i) EXPECT_NEAR(r.x[i], xd[i], 1e-12);
}

TEST(CgShift, GrowsOnBreakdownAndPersists) {
  test::ScratchDir dir;
  model::Model m;
  open_log(m);
  EXPECT_EQ(m.CG.CGSHIFT, 1.5);
  // Scaled rows with a(2,1)^2 = 1.75: pivot 2 needs a shift above 1.75.
  Sys s = from_dense(2, {1.0, std::sqrt(1.75), std::sqrt(1.75), 1.0});
  std::vector<double> dinv(2);
  solvers::CGDIAGPRE(m, dinv.data(), s.av.data(), 2, s.ia.data(), s.ja.data(), m.UNIT(2));
  EXPECT_NEAR(m.CG.CGSHIFT, 1.8, 1e-12);
  EXPECT_EQ(dinv[0], 1.0);  // the first pivot takes no shift
  EXPECT_NEAR(dinv[1], 1.0 / (1.8 - 1.75), 1e-9);
  // A benign matrix afterwards keeps the larger shift.
  Sys t = laplace1d(4);
  std::vector<double> d4(4);
  solvers::CGDIAGPRE(m, d4.data(), t.av.data(), 4, t.ia.data(), t.ja.data(), m.UNIT(2));
  EXPECT_NEAR(m.CG.CGSHIFT, 1.8, 1e-12);
  EXPECT_NEAR(d4[1], 1.0 / (2.0 * 1.8 - 1.0 / 2.0), 1e-14);
  // Exactly 5.0 still goes on.
  m.CG.CGSHIFT = 4.9;
  Sys e = from_dense(2, {1.0, std::sqrt(4.95), std::sqrt(4.95), 1.0});
  solvers::CGDIAGPRE(m, dinv.data(), e.av.data(), 2, e.ia.data(), e.ja.data(), m.UNIT(2));
  EXPECT_EQ(m.CG.CGSHIFT, 5.0);
}

TEST(CgShift, SolvesAnSpdSystemThatNeedsIt) {
  // (1 - rho) I + rho 1 1^T with rho = 0.9 breaks the first shift at row 3.
  test::ScratchDir dir;
  model::Model m;
  open_log(m);
  const int n = 10;
  std::vector<double> a(n * n, 0.9);
  for (int i = 0; i < n; ++i) a[i * n + i] = 1.0;
  const Sys s = from_dense(n, a);
  const std::vector<double> f = rhs(n, 2);
  const CgRun r = solve(m, s, f, 0, 0, 1.0e-12);
  EXPECT_GT(m.CG.CGSHIFT, 1.55);
  const std::vector<double> xd = dense_solve(s, f);
  for (int i = 0; i < n; ++i) EXPECT_NEAR(r.x[i], xd[i], 1e-8);
}

TEST(CgShift, StopsPastFive) {
  test::ScratchDir dir;
  const auto l = stop_log([](model::Model& m) {
    m.CG.CGSHIFT = 4.95;
    Sys s = from_dense(2, {1.0, 3.0, 3.0, 1.0});
    std::vector<double> dinv(2);
    solvers::CGDIAGPRE(m, dinv.data(), s.av.data(), 2, s.ia.data(), s.ja.data(), m.UNIT(2));
  });
  expect_stop(l, " CG METHOD FAILED.", "  -8  0");
}

TEST(CgLimit, AutomaticAndExplicit) {
  EXPECT_EQ(solvers::CGMAXIT(0, 100), 50);
  EXPECT_EQ(solvers::CGMAXIT(0, 1000), 200);
  EXPECT_EQ(solvers::CGMAXIT(0, 254), 50);
  EXPECT_EQ(solvers::CGMAXIT(0, 255), 51);
  EXPECT_EQ(solvers::CGMAXIT(0, 0), 50);
  EXPECT_EQ(solvers::CGMAXIT(-7, 1000), 7);
  EXPECT_EQ(solvers::CGMAXIT(7, 1000), 7);
}

TEST(CgLimit, StopsAtTheAutomaticLimit) {
  // The 1D Laplacian of 100 unknowns with the diagonal preconditioner needs
  // more than the automatic 50 iterations.
  test::ScratchDir dir;
  const Sys s = laplace1d(100);
  const std::vector<double> f = rhs(100, 3);
  {
    model::Model m;
    open_log(m);
    const CgRun r = solve(m, s, f, 0, -1000, 1.0e-10);
    ASSERT_GT(r.itc, 50);
    // An explicit limit of exactly that many passes.
    model::Model m2;
    open_log(m2);
    EXPECT_EQ(solve(m2, s, f, 0, r.itc, 1.0e-10).itc, r.itc);
  }
  const auto l = stop_log([&](model::Model& m) { solve(m, s, f, 0, 0, 1.0e-10); });
  expect_stop(l, " NOT CONVERGED BY CG METHOD.", "  -8  0");
}

TEST(CgStops, NonPositivePivot) {
  test::ScratchDir dir;
  const auto l = stop_log([](model::Model& m) {
    Sys s = laplace1d(5);
    s.av[static_cast<size_t>(s.ia[3] - 1)] = 0.0;
    solve(m, s, rhs(5, 1), 1);
  });
  expect_stop(l, " PIVOT .LE. 0. , PROGRAM STOPPED !", "  -1  0");
}

TEST(CgLog, VerboseLines) {
  test::ScratchDir dir;
  model::Model m;
  open_log(m);
  const Sys s = laplace1d(100);
  const std::vector<double> f = rhs(100, 3);
  double b = 0.0;
  for (double v : f) b += v * v / 2.0;  // scaled by 1/sqrt(2)
  const CgRun r = solve(m, s, f, 0, -1000, 1.0e-6, 1);
  base::close_unit(m.unit(m.UNIT(2)));
  const auto l = test::read_lines("EXEC.LOG");
  ASSERT_EQ(l.size(), 4u + static_cast<size_t>(r.itc / 10) + 1u);
  EXPECT_EQ(l[0], "");
  EXPECT_EQ(l[1].substr(0, 21), " RESIDUAL TOLERANCE =");
  EXPECT_EQ(l[1].size(), 36u);
  EXPECT_NEAR(std::stod(l[1].substr(21)), b * 1.0e-12, 1e-6 * b * 1.0e-12);
  EXPECT_EQ(l[2], "");
  EXPECT_EQ(l[3], " ITERATION         RESIDUAL");
  EXPECT_EQ(l[4].substr(0, 11), "       10  ");
  EXPECT_EQ(l[4].size(), 26u);
  EXPECT_EQ(l.back().substr(0, 9), base::fI(r.itc, 9));
  EXPECT_EQ(l.back().substr(26), " CONVERGED!");
  EXPECT_LT(std::stod(l.back().substr(11, 15)), b * 1.0e-12);
}
