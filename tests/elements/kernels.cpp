#include "base/kernels.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "elements/jobdir.hpp"
#include "model/stop.hpp"

namespace el = ossa::base;
using Vec = std::vector<double>;

namespace {

Vec random(int n, unsigned seed) {
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  Vec v(n);
  for (auto& x : v) x = u(g);
  return v;
}

// Reference product of column-major matrices with optional transposes.
Vec ref(const Vec& A, bool ta, int ar, int ac, const Vec& B, bool tb, int br, int bc) {
  const int m = ta ? ac : ar, k = ta ? ar : ac, n = tb ? br : bc;
  (void)bc;
  Vec C(m * n, 0.0);
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < n; ++j)
      for (int l = 0; l < k; ++l)
        C[i + j * m] += (ta ? A[l + i * ar] : A[i + l * ar]) * (tb ? B[j + l * br] : B[l + j * br]);
  return C;
}

Vec unpack(const Vec& P, int n) {
  Vec F(n * n);
  for (int i = 1; i <= n; ++i)
    for (int j = 1; j <= n; ++j) F[(i - 1) + (j - 1) * n] = P[el::PACKIDX(i, j, n) - 1];
  return F;
}

void expect_near(const Vec& a, const Vec& b, double tol) {
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(a[i], b[i], tol) << "entry " << i;
}

}  // namespace

TEST(Kernels, PackedIndexWalksUpperTriangleRowByRow) {
  for (int n : {1, 5, 6, 12}) {
    int p = 0;
    for (int i = 1; i <= n; ++i)
      for (int j = i; j <= n; ++j) {
        ++p;
        EXPECT_EQ(el::PACKIDX(i, j, n), p);
        EXPECT_EQ(el::PACKIDX(j, i, n), p);
      }
    EXPECT_EQ(p, n * (n + 1) / 2);
  }
}

TEST(Kernels, ProductsAgreeWithReference) {
  const int m = 4, k = 3, n = 5;
  const Vec A = random(m * k, 1), B = random(k * n, 2), At = random(k * m, 3), Bt = random(n * k, 4);
  Vec C(m * n);
  el::MATMUL(A.data(), B.data(), C.data(), m, k, n);
  expect_near(C, ref(A, false, m, k, B, false, k, n), 1e-14);
  el::MATTMUL(At.data(), B.data(), C.data(), m, k, n);
  expect_near(C, ref(At, true, k, m, B, false, k, n), 1e-14);
  el::MATMULT(A.data(), Bt.data(), C.data(), m, k, n);
  expect_near(C, ref(A, false, m, k, Bt, true, n, k), 1e-14);

  // Packed operands: P of order m, Q of order k.
  const Vec P = random(m * (m + 1) / 2, 5), Q = random(k * (k + 1) / 2, 6);
  const Vec Bm = random(m * n, 7);
  Vec D(m * n), E(m * k);
  el::SYMMUL(P.data(), Bm.data(), D.data(), m, n);
  expect_near(D, ref(unpack(P, m), false, m, m, Bm, false, m, n), 1e-14);
  el::MULSYM(A.data(), Q.data(), E.data(), m, k);
  expect_near(E, ref(A, false, m, k, unpack(Q, k), false, k, k), 1e-14);

  // Packed results: A^T A and A A^T are symmetric.
  Vec S(k * (k + 1) / 2), T(m * (m + 1) / 2);
  el::PACKTMUL(A.data(), A.data(), S.data(), m, k);
  expect_near(unpack(S, k), ref(A, true, m, k, A, false, m, k), 1e-14);
  el::PACKMULT(A.data(), A.data(), T.data(), m, k);
  expect_near(unpack(T, m), ref(A, false, m, k, A, true, m, k), 1e-14);
}

TEST(Kernels, VectorsAndCrossProducts) {
  const double a[3] = {1, 2, 3}, b[3] = {-2, 0.5, 4};
  double c[3], u[3], d[3];
  el::CROSS(a, b, c);
  EXPECT_NEAR(el::DOT(c, a, 3), 0.0, 1e-14);
  EXPECT_NEAR(el::DOT(c, b, 3), 0.0, 1e-14);
  EXPECT_DOUBLE_EQ(el::CROSSLEN(a, b), el::VNORM(c, 3));
  el::CROSSUNIT(a, b, u);
  EXPECT_NEAR(el::VNORM(u, 3), 1.0, 1e-15);
  EXPECT_NEAR(el::DOT(u, c, 3), el::VNORM(c, 3), 1e-12);
  EXPECT_DOUBLE_EQ(el::CYCDOT(a, b), 1 * 0.5 + 2 * 4 + 3 * -2.0);
  EXPECT_DOUBLE_EQ(el::VSUM(a, 3), 6.0);
  el::VSUB(a, b, d, 3);
  EXPECT_DOUBLE_EQ(d[0], 3.0);
  EXPECT_DOUBLE_EQ(d[2], -1.0);
  el::ZEROD(d, 3);
  EXPECT_EQ(el::VNORM(d, 3), 0.0);
}

TEST(Kernels, Inv3GivesInverseAndDeterminant) {
  const double A[9] = {4, 1, 0.5, -1, 3, 2, 0.25, -2, 5};  // column by column
  double AI[9], P[9];
  const double det = el::INV3(A, AI);
  const double ref_det = 4 * (3 * 5 - 2 * -2) - (-1) * (1 * 5 - 0.5 * -2) + 0.25 * (1 * 2 - 0.5 * 3);
  EXPECT_NEAR(det, ref_det, 1e-12);
  el::MATMUL(A, AI, P, 3, 3, 3);
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) EXPECT_NEAR(P[i + 3 * j], i == j ? 1.0 : 0.0, 1e-14);
}

TEST(Kernels, SortDescendingCarriesCompanionAndTakesLaterTie) {
  double v[4] = {1.0, 5.0, -2.0, 3.0};
  // Companion Z(3,4): column i belongs to v(i).
  double z[12];
  for (int i = 0; i < 12; ++i) z[i] = i;
  el::SORTDESC(v, 4, z, 3, 3, 1);
  EXPECT_EQ(v[0], 5.0);
  EXPECT_EQ(v[1], 3.0);
  EXPECT_EQ(v[2], 1.0);
  EXPECT_EQ(v[3], -2.0);
  EXPECT_EQ(z[0], 3.0);  // old column 2 now first
  EXPECT_EQ(z[3], 9.0);  // old column 4 now second
  EXPECT_EQ(z[9], 6.0);  // old column 3 now last

  // Equal values are exchanged: rows of C(2,2) swap.
  double w[2] = {7.0, 7.0};
  double c[4] = {1, 2, 10, 20};  // rows (1,10) and (2,20)
  el::SORTDESC(w, 2, c, 1, 2, 2);
  EXPECT_EQ(c[0], 2.0);
  EXPECT_EQ(c[2], 20.0);
  EXPECT_EQ(c[1], 1.0);
}

TEST(Kernels, ElasticMatricesGiveTheMaterialResponse) {
  const double E = 2.1e5, nu = 0.3;
  double D[21];
  el::DELAS(E, nu, D);
  // Volumetric strain: pressure K tr(e); shear strain: G gamma.
  const double e[6] = {1e-3, 1e-3, 1e-3, 0, 0, 0};
  double s[6];
  el::SYMMUL(D, e, s, 6, 1);
  const double K = E / (3 * (1 - 2 * nu)), G = E / (2 * (1 + nu));
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(s[i], 3 * K * 1e-3, 1e-9);
  const double g[6] = {0, 0, 0, 2e-3, -1e-3, 5e-4};
  el::SYMMUL(D, g, s, 6, 1);
  EXPECT_NEAR(s[3], G * 2e-3, 1e-9);
  EXPECT_NEAR(s[4], -G * 1e-3, 1e-9);
  EXPECT_NEAR(s[5], G * 5e-4, 1e-9);
  // Uniaxial stress in the plane: the strain pair (1/E, -nu/E) gives (1, 0).
  double P[15];
  el::DPLANE(E, nu, P);
  const double ep[5] = {1 / E, -nu / E, 0, 0, 0};
  double sp[5];
  el::SYMMUL(P, ep, sp, 5, 1);
  EXPECT_NEAR(sp[0], 1.0, 1e-12);
  EXPECT_NEAR(sp[1], 0.0, 1e-12);
  EXPECT_DOUBLE_EQ(P[el::PACKIDX(4, 4, 5) - 1], G);
}

// MATINV as a job calls it: a bad matrix stops the job.
static void matinv(ossa::model::Model& m, double* A, int n, int nd, double* B, int k, double& det, int lu) {
  if (el::MATINV(m.unit(lu), A, n, nd, B, k, det) != 0) ossa::model::ERRSTOP(m, -1, 0, lu);
}

TEST(Matinv, InvertsAndSolvesRandomMatrices) {
  ossa::model::Model m;
  for (int n : {1, 3, 9, 40}) {
    const int nd = n + 2;  // leading dimension beyond the order
    Vec A = random(nd * n, 10 + n), B = random(nd * 2, 20 + n);
    for (int i = 0; i < n; ++i) A[i + i * nd] += 4.0;
    const Vec A0 = A, B0 = B;
    double det = 0.0;
    matinv(m, A.data(), n, nd, B.data(), 2, det, m.UNIT(2));
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) {
        double s = 0.0;
        for (int l = 0; l < n; ++l) s += A0[i + l * nd] * A[l + j * nd];
        EXPECT_NEAR(s, i == j ? 1.0 : 0.0, 1e-12);
      }
    for (int c = 0; c < 2; ++c)
      for (int i = 0; i < n; ++i) {
        double s = 0.0;
        for (int l = 0; l < n; ++l) s += A0[i + l * nd] * B[l + c * nd];
        EXPECT_NEAR(s, B0[i + c * nd], 1e-12);
      }
    EXPECT_NE(det, 0.0);
  }
}

TEST(Matinv, DeterminantKeepsOnlyItsMantissa) {
  ossa::model::Model m;
  double A[4] = {2, 0, 0, 3};
  double det = 0.0;
  matinv(m, A, 2, 2, nullptr, 0, det, m.UNIT(2));
  EXPECT_NEAR(det, 6.0, 1e-12);
  EXPECT_DOUBLE_EQ(A[0], 0.5);
  EXPECT_DOUBLE_EQ(A[3], 1.0 / 3.0);
  // Three pivots of 1e6: the product 1e18 is rescaled on the way.
  double Bg[9] = {1e6, 0, 0, 0, -1e6, 0, 0, 0, 1e6};
  matinv(m, Bg, 3, 3, nullptr, 0, det, m.UNIT(2));
  EXPECT_LT(det, 0.0);
  EXPECT_LE(std::fabs(det), 1e10);
  EXPECT_GE(std::fabs(det), 1.000000013351432e-10);
  // 1e6, then -1e12 scaled by 1e-10, then times 1e6 again.
  EXPECT_NEAR(det, -1e18 * 1.000000013351432e-10, 1e-6);
}

TEST(MatinvDeathTest, StopsOnOrderZeroPivotAndSingularMatrix) {
  ossa::testing::enter_scratch();
  ossa::model::Model m;
  ossa::testing::open_log(m);
  const int lu = m.UNIT(2);

  // Order 2001 is refused before any work.
  EXPECT_EXIT(([&] {
        double det;
        double a = 1.0;
        matinv(m, &a, 2001, 2001, nullptr, 0, det, lu);
      }()),
      ::testing::ExitedWithCode(0), "");
  std::string log = ossa::testing::read_text("EXEC.LOG");
  EXPECT_NE(log.find("0  REQUIRED DIMENSION=  2001 IS OVER 2000 IN MATINV\n *** ERROR NO. ***\n"),
            std::string::npos);
  EXPECT_NE(log.find("  -1  0\n"), std::string::npos);

  // A zero matrix stops on the first pivot, in column 1.
  ossa::testing::open_log(m);
  EXPECT_EXIT(([&] {
        double det;
        double a[4] = {0, 0, 0, 0};
        matinv(m, a, 2, 2, nullptr, 0, det, lu);
      }()),
      ::testing::ExitedWithCode(0), "");
  log = ossa::testing::read_text("EXEC.LOG");
  EXPECT_NE(log.find("0 PIVOT ELEMENT IN MATINV BECOMES LESS THAN   1.0000E-15\n"
                     "ERROR OCCURRED COLUMN =     1\n"
                     "* MATRIX IMAGE LIST *   MATRIX SIZE=     2\n"),
            std::string::npos)
      << log;

  // Rank one: the second pivot vanishes.
  ossa::testing::open_log(m);
  EXPECT_EXIT(([&] {
        double det;
        double a[4] = {1, 2, 2, 4};
        matinv(m, a, 2, 2, nullptr, 0, det, lu);
      }()),
      ::testing::ExitedWithCode(0), "");
  log = ossa::testing::read_text("EXEC.LOG");
  EXPECT_NE(log.find("0 PIVOT ELEMENT IN MATINV BECOMES LESS THAN"), std::string::npos);

  // No candidate at all: the singular dump.
  ossa::testing::open_log(m);
  EXPECT_EXIT(([&] {
        double det;
        const double q = std::numeric_limits<double>::quiet_NaN();
        double a[4] = {q, q, q, q};
        matinv(m, a, 2, 2, nullptr, 0, det, lu);
      }()),
      ::testing::ExitedWithCode(0), "");
  log = ossa::testing::read_text("EXEC.LOG");
  EXPECT_NE(log.find("*MATRIX IS SINGULAR.*\n** MATINV DUMP LIST **\nN,ND,M,AND IPIVOT="),
            std::string::npos)
      << log;
  EXPECT_NE(log.find("*** ERROR STOP IN MATINV ***\n *** ERROR NO. ***"), std::string::npos);
}
