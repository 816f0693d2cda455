#include "elements/princ.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace el = ossa::elements;

namespace {

// Reference eigenvalues of the symmetric tensor S(6), descending, by the
// closed-form trigonometric solution of the characteristic cubic.
void ref_eig3(const double* S, double* L) {
  const double a = S[0], b = S[1], c = S[2], d = S[3], e = S[4], f = S[5];
  const double p1 = d * d + e * e + f * f;
  const double q = (a + b + c) / 3.0;
  const double p2 = (a - q) * (a - q) + (b - q) * (b - q) + (c - q) * (c - q) + 2.0 * p1;
  const double p = std::sqrt(p2 / 6.0);
  if (p == 0.0) {
    L[0] = L[1] = L[2] = q;
    return;
  }
  const double B[6] = {(a - q) / p, (b - q) / p, (c - q) / p, d / p, e / p, f / p};
  const double detB = B[0] * (B[1] * B[2] - B[4] * B[4]) - B[3] * (B[3] * B[2] - B[4] * B[5]) +
                      B[5] * (B[3] * B[4] - B[1] * B[5]);
  const double r = std::clamp(detB / 2.0, -1.0, 1.0);
  const double phi = std::acos(r) / 3.0;
  L[0] = q + 2.0 * p * std::cos(phi);
  L[2] = q + 2.0 * p * std::cos(phi + 2.0 * M_PI / 3.0);
  L[1] = 3.0 * q - L[0] - L[2];
}

// Full tensor of S(6), column by column.
void full(const double* S, double* A) {
  const double t[9] = {S[0], S[3], S[5], S[3], S[1], S[4], S[5], S[4], S[2]};
  std::copy(t, t + 9, A);
}

// Largest |A z_k - l_k z_k| and largest |Z^T Z - I|.
void residuals(const double* S, const double* L, const double* Z, double& res, double& orth) {
  double A[9];
  full(S, A);
  res = orth = 0.0;
  for (int k = 0; k < 3; ++k) {
    for (int i = 0; i < 3; ++i) {
      double s = -L[k] * Z[i + 3 * k];
      for (int j = 0; j < 3; ++j) s += A[i + 3 * j] * Z[j + 3 * k];
      res = std::max(res, std::fabs(s));
    }
    for (int l = 0; l < 3; ++l) {
      double s = 0.0;
      for (int i = 0; i < 3; ++i) s += Z[i + 3 * k] * Z[i + 3 * l];
      orth = std::max(orth, std::fabs(s - (k == l ? 1.0 : 0.0)));
    }
  }
}

// Q diag(l) Q^T with Q a random rotation (from a random unit quaternion).
void rotated(const double* l, std::mt19937& g, double* S) {
  std::normal_distribution<double> n(0.0, 1.0);
  double q[4], s = 0.0;
  for (double& x : q) { x = n(g); s += x * x; }
  for (double& x : q) x /= std::sqrt(s);
  const double w = q[0], x = q[1], y = q[2], z = q[3];
  const double Q[9] = {1 - 2 * (y * y + z * z), 2 * (x * y + w * z), 2 * (x * z - w * y),
                       2 * (x * y - w * z), 1 - 2 * (x * x + z * z), 2 * (y * z + w * x),
                       2 * (x * z + w * y), 2 * (y * z - w * x), 1 - 2 * (x * x + y * y)};
  double A[9] = {};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      for (int k = 0; k < 3; ++k) A[i + 3 * j] += Q[i + 3 * k] * l[k] * Q[j + 3 * k];
  const double v[6] = {A[0], A[4], A[8], A[3], A[7], A[6]};
  std::copy(v, v + 6, S);
}

}  // namespace

TEST(Princ3, RandomTensorsMatchDenseSolver) {
  std::mt19937 g(7);
  std::uniform_real_distribution<double> u(-100.0, 100.0);
  for (int t = 0; t < 2000; ++t) {
    double S[6], L[3], Z[9], R[3];
    for (double& x : S) x = u(g);
    el::PRINC3(S, 1.0e-12, L, Z);
    ref_eig3(S, R);
    EXPECT_GE(L[0], L[1]);
    EXPECT_GE(L[1], L[2]);
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(L[k], R[k], 1e-9 * 100.0) << t;
    double res, orth;
    residuals(S, L, Z, res, orth);
    EXPECT_LT(res, 1e-9 * 100.0) << t;
    EXPECT_LT(orth, 1e-12) << t;
  }
}

TEST(Princ3, RepeatedEigenvalues) {
  std::mt19937 g(11);
  const double cases[][3] = {{5.0, 2.0, 2.0}, {3.0, 3.0, -1.0}, {-4.0, -4.0, -4.0},
                             {1.0, 1.0, 1.0 + 1e-9}, {0.0, 0.0, 7.0}};
  for (const auto& l : cases)
    for (int t = 0; t < 50; ++t) {
      double S[6], L[3], Z[9];
      rotated(l, g, S);
      el::PRINC3(S, 1.0e-12, L, Z);
      double want[3] = {l[0], l[1], l[2]};
      std::sort(want, want + 3, [](double a, double b) { return a > b; });
      for (int k = 0; k < 3; ++k) EXPECT_NEAR(L[k], want[k], 1e-10);
      double res, orth;
      residuals(S, L, Z, res, orth);
      EXPECT_LT(res, 1e-10);
      EXPECT_LT(orth, 1e-12);
    }
}

TEST(Princ3, DiagonalAndTinyTensors) {
  double L[3], Z[9];
  const double diag[6] = {1.0, 3.0, 2.0, 0.0, 0.0, 0.0};
  el::PRINC3(diag, 1.0e-12, L, Z);
  EXPECT_EQ(L[0], 3.0);
  EXPECT_EQ(L[1], 2.0);
  EXPECT_EQ(L[2], 1.0);
  EXPECT_EQ(Z[1], 1.0);  // first column is the y axis
  EXPECT_EQ(Z[5], 1.0);  // second the z axis
  EXPECT_EQ(Z[6], 1.0);  // third the x axis
  // At or below the cut-off: zeros and the identity, whatever the entries.
  const double tiny[6] = {2e-11, 0.0, -1e-11, 1e-11, 0.0, 0.0};
  el::PRINC3(tiny, 1.0e-17, L, Z);
  for (int k = 0; k < 3; ++k) EXPECT_EQ(L[k], 0.0);
  for (int k = 0; k < 9; ++k) EXPECT_EQ(Z[k], k % 4 == 0 ? 1.0 : 0.0);
}

TEST(Jacobi3, EqualDiagonalsUseTheRoundedQuarterTurn) {
  // [[1,1,0],[1,1,0],[0,0,0]]: one rotation by 0.78539818 leaves the pair
  // entry at the rounding of that angle, well below 1e-6 and not zero.
  double A[9] = {1, 1, 0, 1, 1, 0, 0, 0, 0}, L[3], Z[9];
  el::JACOBI3(A, 1.0e-3, L, Z);
  EXPECT_NEAR(L[0], 2.0, 1e-12);
  EXPECT_NEAR(L[1], 0.0, 1e-12);
  const double th = 0.78539818;
  EXPECT_DOUBLE_EQ(Z[0], std::cos(th));
  EXPECT_DOUBLE_EQ(Z[1], std::sin(th));
  EXPECT_NE(A[3], 0.0);
  EXPECT_LT(std::fabs(A[3]), 1e-7);
}

TEST(Jacobi3, StopsAfterFifteenRotations) {
  // A tolerance of zero can never be met: the loop ends at its bound with the
  // diagonal as accurate as the rotations made it.
  double S[6] = {4.0, -2.0, 1.0, 3.0, -1.5, 2.5}, A[9], L[3], Z[9], R[3];
  full(S, A);
  el::JACOBI3(A, 0.0, L, Z);
  ref_eig3(S, R);
  std::sort(L, L + 3, [](double a, double b) { return a > b; });
  for (int k = 0; k < 3; ++k) EXPECT_NEAR(L[k], R[k], 1e-12);
}

TEST(Princ2, ClosedFormAndShearRotation) {
  double P[5], c, s;
  const double S[5] = {3.0, -1.0, 2.0, 0.5, -0.25};
  el::PRINC2(S, P, c, s);
  const double rad = std::sqrt(4.0 + 4.0);
  EXPECT_DOUBLE_EQ(P[0], 1.0 + rad);
  EXPECT_DOUBLE_EQ(P[1], 1.0 - rad);
  EXPECT_EQ(P[2], 0.0);
  // (c, s) is the eigenvector of l1.
  EXPECT_NEAR(3.0 * c + 2.0 * s, P[0] * c, 1e-14);
  EXPECT_NEAR(2.0 * c - 1.0 * s, P[0] * s, 1e-14);
  EXPECT_DOUBLE_EQ(P[3], c * 0.5 + s * -0.25);
  EXPECT_DOUBLE_EQ(P[4], c * -0.25 - s * 0.5);
  // No shear: the axes are the element axes, x first when xx >= yy.
  const double a[5] = {2.0, 2.0, 0.0, 1.0, 0.0};
  el::PRINC2(a, P, c, s);
  EXPECT_EQ(c, 1.0);
  EXPECT_EQ(s, 0.0);
  EXPECT_EQ(P[3], 1.0);
  const double b[5] = {-2.0, 5.0, 0.0, 1.0, 0.0};
  el::PRINC2(b, P, c, s);
  EXPECT_EQ(P[0], 5.0);
  EXPECT_EQ(P[1], -2.0);
  EXPECT_NEAR(c, 0.0, 1e-16);
  EXPECT_EQ(s, 1.0);
  EXPECT_NEAR(P[3], 0.0, 1e-16);
  EXPECT_EQ(P[4], -1.0);
}
