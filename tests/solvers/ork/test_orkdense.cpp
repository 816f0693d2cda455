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

// Factorises the packed copy of a; `work` reals are lent to the update
// (none: it uses its own small array).
Fact factor(const Mat& a, int n, int np0, long work = 0) {
  Fact r;
  r.f = pack(a, n);
  r.list.resize(n);
  for (int i = 0; i < n; ++i) r.list[i] = i;
  r.kinds.assign(n, 0);
  std::vector<double> w(static_cast<size_t>(work) + 1);
  const ORKWORK wk{work > 0 ? w.data() + 1 : nullptr, work};  // off the 32-byte grid on purpose
  r.np = ORKDENSE(r.f.data(), np0, n, r.list.data(), r.kinds.data(), ORKU, ORKU2(ORKU), r.st, wk);
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

namespace {

// The trailing update written out: a(i,c) -= sum over the pivots of
// L(i,.) D^-1 L(c,.)^T, with the stored inverses of 1 by 1 and 2 by 2 pivots.
std::vector<double> update_reference(std::vector<double> f, int FO, int J0, int K, const std::vector<int>& kinds,
                                     int C0) {
  for (int c = C0; c < FO; ++c)
    for (int i = c; i < FO; ++i) {
      double s = 0.0;
      for (int j = J0; j < J0 + K; ++j) {
        const double* c1 = ORKCOL(f.data(), FO, j);
        if (kinds[j] == 2) {
          const double* c2 = ORKCOL(f.data(), FO, j + 1);
          const double i11 = c1[j], i21 = c1[j + 1], i22 = c2[j + 1];
          s += c1[i] * (i11 * c1[c] + i21 * c2[c]) + c2[i] * (i21 * c1[c] + i22 * c2[c]);
          ++j;
        } else {
          s += c1[i] * c1[j] * c1[c];
        }
      }
      ORKCOL(f.data(), FO, c)[i] -= s;
    }
  return f;
}

}  // namespace

// The packed update against the written-out one: ranks above the register
// form, up to several wide blocks at once, trailing orders off the 12-row and
// 4-column grid, more rows than one packed slice, 2 by 2 pivots inside the
// block, a skipped column, and work space of every size (none, one panel, a
// few columns, all). All give the same bits; nothing outside the trailing
// triangle moves.
TEST(OrkDense, PackedUpdateMatchesReference) {
  struct Case { int FO, J0, K, C0; };
  for (const Case cs :
       {Case{40, 5, 5, 10}, Case{257, 0, 13, 14}, Case{300, 3, 64, 67}, Case{500, 10, 64, 74}, Case{330, 2, 200, 203}}) {
    const Mat a = random_sym(cs.FO, 17 + cs.FO, 1.0);
    std::vector<double> f0 = pack(a, cs.FO);
    std::vector<int> kinds(cs.FO, 1);
    for (int k = 2; k + 1 < cs.K; k += 5) kinds[cs.J0 + k] = kinds[cs.J0 + k + 1] = 2;
    const std::vector<double> ref = update_reference(f0, cs.FO, cs.J0, cs.K, kinds, cs.C0);
    std::vector<double> first;
    for (long work : {0L, 1500L, 64L * (384 + 100), 64L * (cs.FO + 400)}) {
      std::vector<double> f = f0, w(static_cast<size_t>(work) + 1);
      ORKUPDATE(f.data(), cs.FO, cs.J0, cs.K, kinds.data(), cs.C0, cs.FO, {work > 0 ? w.data() + 1 : nullptr, work});
      double err = 0.0;
      for (int c = 0; c < cs.FO; ++c)
        for (int i = c; i < cs.FO; ++i) {
          const double got = ORKCOL(f.data(), cs.FO, c)[i], want = ORKCOL(ref.data(), cs.FO, c)[i];
          if (c < cs.C0) {
            ASSERT_EQ(got, want) << cs.FO << " " << i << " " << c;
          }
          err = std::max(err, std::fabs(got - want));
        }
      EXPECT_LT(err, 1e-12) << cs.FO << " work " << work;
      if (first.empty()) first = f;
      EXPECT_EQ(f, first) << cs.FO << " work " << work;
    }
  }
}

// Fronts around the switch of block width with mixed 1 by 1 and 2 by 2 pivots
// and delays: lending the update space changes no bit of the result, and the
// contribution block is the Schur complement of what was eliminated.
TEST(OrkDense, WorkSpaceChangesNothing) {
  for (int n : {255, 256, 257}) {
    Mat a = random_sym(n, 31 + n, 2.0);
    // Pairs with empty diagonals, weakly coupled to the rest and strongly to
    // each other: these need 2 by 2 pivots.
    for (int i = 5; i + 1 < n; i += 23)
      for (int r = i; r < i + 2; ++r) {
        for (int k = 0; k < n; ++k) a[r + k * n] = a[k + r * n] *= 1e-3;
        a[r + r * n] = 0.0;
        a[i + 1 + i * n] = a[i + (i + 1) * n] = 10.0;
      }
    for (int i = 9; i < n; i += 37) a[i + i * n] *= 1e-9;
    const Fact own = factor(a, n, n - 20);
    const Fact lent = factor(a, n, n - 20, 64L * (n + 400));
    int pairs = 0;
    for (int k = 0; k < own.np; ++k) pairs += own.kinds[k] == 2;
    EXPECT_GT(pairs, 0) << n;
    EXPECT_EQ(own.np, lent.np);
    EXPECT_EQ(own.list, lent.list);
    EXPECT_EQ(own.kinds, lent.kinds);
    EXPECT_EQ(own.f, lent.f);
    EXPECT_LT(schur_error(a, n, lent), 1e-9) << n;
  }
}

// The scan refused at every place within its groups of four, in narrow and
// wide fronts, often in a block whose predecessors' update of the far columns
// is still put off: the columns already brought up to date are left out of
// the update that follows, the others get every pivot once. The Schur
// complement tells.
TEST(OrkDense, ScanRefusalsAtEveryPlaceOfAGroup) {
  for (const int n : {200, 260})
  for (int step : {5, 6, 7, 9, 70, 100}) {
    Mat a = random_sym(n, 40 + step, 4.0);
    for (int i = step; i < n; i += step) a[i + i * n] *= 1e-9;
    const Fact fa = factor(a, n, n - 10, 64L * (n + 400));
    EXPECT_GT(fa.np, n - 40) << n << " " << step;
    EXPECT_LT(schur_error(a, n, fa), 1e-9) << n << " " << step;
  }
}
