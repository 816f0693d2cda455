// Dense front kernels: partial L D L^T of packed fronts against dense
// references, pivot kinds, delayed candidates, forced unit pivots.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "solvers/ork/orkdense.hpp"

using namespace ossa::solvers;

namespace {

using Mat = std::vector<double>;  // dense n by n, column-major

Mat random_sym(int n, unsigned seed, double diag_scale) {
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  Mat a(static_cast<size_t>(n) * n);
  for (int j = 0; j < n; ++j)
    for (int i = j; i < n; ++i) a[i + j * n] = a[j + i * n] = (i == j ? diag_scale : 1.0) * u(g);
  return a;
}

std::vector<double> pack(const Mat& a, int n) {
  std::vector<double> f(ORKTRI(n));
  for (int j = 0; j < n; ++j)
    for (int i = j; i < n; ++i) ORKCOL(f.data(), n, j)[i] = a[i + j * n];
  return f;
}

// Solves A X = B in place (B n by m) by Gaussian elimination with partial pivoting.
void dense_solve(Mat a, int n, std::vector<double>& b, int m) {
  for (int k = 0; k < n; ++k) {
    int p = k;
    for (int i = k + 1; i < n; ++i) if (std::fabs(a[i + k * n]) > std::fabs(a[p + k * n])) p = i;
    for (int j = 0; j < n; ++j) std::swap(a[k + j * n], a[p + j * n]);
    for (int r = 0; r < m; ++r) std::swap(b[k + r * n], b[p + r * n]);
    for (int i = k + 1; i < n; ++i) {
      const double f = a[i + k * n] / a[k + k * n];
      for (int j = k; j < n; ++j) a[i + j * n] -= f * a[k + j * n];
      for (int r = 0; r < m; ++r) b[i + r * n] -= f * b[k + r * n];
    }
  }
  for (int r = 0; r < m; ++r)
    for (int k = n - 1; k >= 0; --k) {
      double s = b[k + r * n];
      for (int j = k + 1; j < n; ++j) s -= a[k + j * n] * b[j + r * n];
      b[k + r * n] = s / a[k + k * n];
    }
}

struct Fact {
  std::vector<double> f;
  std::vector<int> list, kinds;
  ORKDSTAT st;
  int np = 0;
};

Fact factor(const Mat& a, int n, int np0) {
  Fact r;
  r.f = pack(a, n);
  r.list.resize(n);
  for (int i = 0; i < n; ++i) r.list[i] = i;
  r.kinds.assign(n, 0);
  r.np = ORKDENSE(r.f.data(), np0, n, r.list.data(), r.kinds.data(), ORKU, ORKU2(ORKU), r.st);
  return r;
}

// Relative residual of the full factorisation used as a solver, two right-hand sides.
double solve_residual(const Mat& a, int n, const Fact& fa) {
  std::mt19937 g(7);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::vector<double> b(2 * n), w(2 * n), x(2 * n);
  for (auto& v : b) v = u(g);
  for (int r = 0; r < 2; ++r)
    for (int i = 0; i < n; ++i) w[i + r * n] = b[fa.list[i] + r * n];
  ORKBLKFWD(fa.f.data(), n, fa.np, fa.kinds.data(), w.data(), 2);
  ORKBLKBWD(fa.f.data(), n, fa.np, fa.kinds.data(), w.data(), 2);
  for (int r = 0; r < 2; ++r)
    for (int i = 0; i < n; ++i) x[fa.list[i] + r * n] = w[i + r * n];
  double res = 0.0, anorm = 0.0, xnorm = 0.0;
  for (int r = 0; r < 2; ++r)
    for (int i = 0; i < n; ++i) {
      double s = -b[i + r * n], rowsum = 0.0;
      for (int j = 0; j < n; ++j) { s += a[i + j * n] * x[j + r * n]; rowsum += std::fabs(a[i + j * n]); }
      res = std::max(res, std::fabs(s));
      anorm = std::max(anorm, rowsum);
      xnorm = std::max(xnorm, std::fabs(x[i + r * n]));
    }
  return res / (anorm * xnorm);
}

// Largest difference of the contribution block from the dense Schur complement
// of the rows the factorisation chose as pivots, relative to its largest entry.
double schur_error(const Mat& a, int n, const Fact& fa) {
  const int np = fa.np, nb = n - np;
  Mat app(static_cast<size_t>(np) * np);
  std::vector<double> apb(static_cast<size_t>(np) * nb);
  for (int j = 0; j < np; ++j)
    for (int i = 0; i < np; ++i) app[i + j * np] = a[fa.list[i] + fa.list[j] * n];
  for (int j = 0; j < nb; ++j)
    for (int i = 0; i < np; ++i) apb[i + j * np] = a[fa.list[i] + fa.list[np + j] * n];
  std::vector<double> x = apb;
  if (np > 0) dense_solve(app, np, x, nb);
  const double* c = fa.f.data() + ORKCS(n, np);  // the contribution block, packed of order nb
  double err = 0.0, smax = 1.0;
  for (int j = 0; j < nb; ++j)
    for (int i = j; i < nb; ++i) {
      double s = a[fa.list[np + i] + fa.list[np + j] * n];
      for (int k = 0; k < np; ++k) s -= apb[k + i * np] * x[k + j * np];
      err = std::max(err, std::fabs(s - ORKCOL(c, nb, j)[i]));
      smax = std::max(smax, std::fabs(s));
    }
  return err / smax;
}

}  // namespace

TEST(OrkDense, ThresholdConstants) {
  EXPECT_EQ(ORKU, 0.009999999776482582);
  EXPECT_NEAR(ORKU2(ORKU), std::sqrt(ORKU * ORKU * (4 * ORKU + 3) / (2 * ORKU + 1)), 1e-18);
}

TEST(OrkDense, FullIndefiniteSolves) {
  for (int n : {1, 5, 13, 40}) {
    const Mat a = random_sym(n, 11 + n, 1.0);
    const Fact fa = factor(a, n, n);
    EXPECT_EQ(fa.np, n);
    EXPECT_LT(solve_residual(a, n, fa), 1e-13) << n;
  }
}

// A front below 256 rows works in blocks of 4 columns, from 256 on in blocks of 64;
// both must give the same Schur complement as a dense elimination.
TEST(OrkDense, BlockWidthsAtFront255And256) {
  for (int n : {255, 256}) {
    const Mat a = random_sym(n, 3, 4.0);
    const Fact fa = factor(a, n, n - 40);
    EXPECT_EQ(fa.np, n - 40);
    EXPECT_LT(schur_error(a, n, fa), 1e-10) << n;
    const Fact full = factor(a, n, n);
    EXPECT_LT(solve_residual(a, n, full), 1e-13) << n;
  }
}

TEST(OrkDense, ZeroDiagonalTwoByTwo) {
  const Mat a = {0.0, 2.0, 2.0, 0.0};
  const Fact fa = factor(a, 2, 2);
  ASSERT_EQ(fa.np, 2);
  EXPECT_EQ(fa.kinds[0], 2);
  EXPECT_EQ(fa.kinds[1], 2);
  // The inverse [[0, 1/2], [1/2, 0]] in place.
  EXPECT_DOUBLE_EQ(fa.f[0], 0.0);
  EXPECT_DOUBLE_EQ(fa.f[1], 0.5);
  EXPECT_DOUBLE_EQ(fa.f[2], 0.0);
  EXPECT_LT(solve_residual(a, 2, fa), 1e-15);
}

// A matrix with a zero diagonal can only be factorised by 2 by 2 pivots.
TEST(OrkDense, ZeroDiagonalForcesPairs) {
  for (int n : {12, 300}) {
    const Mat a = random_sym(n, 5, 0.0);
    const Fact fa = factor(a, n, n);
    ASSERT_EQ(fa.np, n);
    int pairs = 0;
    for (int k : fa.kinds) pairs += k == 2;
    EXPECT_GT(pairs, 0);
    EXPECT_LT(solve_residual(a, n, fa), 1e-12) << n;
  }
}

TEST(OrkDense, EmptyColumnGetsUnitPivot) {
  Mat a = random_sym(6, 9, 3.0);
  for (int k = 0; k < 6; ++k) a[2 + k * 6] = a[k + 2 * 6] = 0.0;
  Fact fa = factor(a, 6, 6);
  EXPECT_EQ(fa.np, 6);
  EXPECT_EQ(fa.st.NFORCED, 1);
  // With the unit pivot the system becomes solvable, x(3) = b(3).
  Mat a1 = a;
  a1[2 + 2 * 6] = 1.0;
  EXPECT_LT(solve_residual(a1, 6, fa), 1e-14);
}

// A tiny candidate whose large entry lies in the border cannot be pivoted:
// it stays behind as the first row of the contribution block.
TEST(OrkDense, TinyCandidateIsDelayed) {
  const Mat a = {1e-10, 1.0, 0.5, 1.0, 2.0, 0.3, 0.5, 0.3, 3.0};
  Fact fa = factor(a, 3, 1);
  EXPECT_EQ(fa.np, 0);
  EXPECT_EQ(fa.list[0], 0);
  // Two candidates: the tiny one is put aside, the good one eliminated, then
  // the tiny one tried again in a second sweep and refused for good.
  const Mat b = {1e-10, 0.0, 1.0, 0.0, 2.0, 0.3, 1.0, 0.3, 3.0};
  fa = factor(b, 3, 2);
  EXPECT_EQ(fa.np, 1);
  EXPECT_EQ(fa.list[0], 1);
  EXPECT_EQ(fa.list[1], 0);
  EXPECT_LT(schur_error(b, 3, fa), 1e-14);
}

// Small diagonals among the candidates: delays and pairs mixed, and the
// contribution block is still the Schur complement of what was eliminated.
TEST(OrkDense, PartialWithDelaysMatchesSchur) {
  for (int n : {30, 280}) {
    Mat a = random_sym(n, 21, 1.0);
    for (int i = 0; i < n; i += 3) a[i + i * n] *= 1e-9;
    // Make the first candidate couple only to the border, so that it is delayed.
    for (int k = 1; k < n - 10; ++k) a[k] = a[k * n] = 0.0;
    const Fact fa = factor(a, n, n - 10);
    EXPECT_LT(fa.np, n - 10);
    EXPECT_LT(schur_error(a, n, fa), 1e-9) << n;
  }
}

TEST(OrkDense, SwapKeepsSymmetricMatrix) {
  const int n = 7;
  const Mat a = random_sym(n, 1, 1.0);
  std::vector<double> f = pack(a, n);
  std::vector<int> list = {0, 1, 2, 3, 4, 5, 6};
  ORKSWAP(f.data(), n, 5, 2, list.data());
  std::vector<int> p = {0, 1, 5, 3, 4, 2, 6};
  EXPECT_EQ(list, p);
  for (int j = 0; j < n; ++j)
    for (int i = j; i < n; ++i) EXPECT_EQ(ORKCOL(f.data(), n, j)[i], a[p[i] + p[j] * n]);
}
