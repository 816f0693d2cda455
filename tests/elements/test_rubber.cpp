// The mixed rubber tetrahedron: its interior node's shape function, no
// stress in the unstrained and the rigidly turned element, a corner pressure
// as a hydrostatic Cauchy stress (the law's closed forms are the rubber
// jobs'), the tangent as the derivative of force and pressure residual, and
// condensing the interior node solves the same system as keeping it.
#include <gtest/gtest.h>

#include <Eigen/Dense>

#include <cmath>

#include "base/kernels.hpp"
#include "elements/family.hpp"
#include "elements/rubber.hpp"
#include "elements/shell.hpp"
#include "elements/solid.hpp"
#include "elements/tangent.hpp"
#include "testutil.hpp"

using namespace ossa;
using namespace ossa::elements;

namespace {

// F(3,3) column by column times x(3).
void apply(const double* F, const double* x, double* y) {
  for (int i = 0; i < 3; ++i) y[i] = F[i] * x[0] + F[i + 3] * x[1] + F[i + 6] * x[2];
}

// Cauchy stress (tensor, 3 x 3 column by column) J^-1 F S F^T of S(6).
void cauchy(const double* F, const double* S, double* sig) {
  const double s[9] = {S[0], S[3], S[5], S[3], S[1], S[4], S[5], S[4], S[2]};
  double FS[9];
  base::MATMUL(F, s, FS, 3, 3, 3);
  base::MATMULT(FS, F, sig, 3, 3, 3);
  double FI[9];
  const double J = base::INV3(F, FI);
  for (int k = 0; k < 9; ++k) sig[k] /= J;
}

// One skew element in a scratch directory with its two work files open.
struct Rub {
  test::ScratchDir dir;
  model::Model m;
  base::Arr2<double> XYZ, U, P, PD;
  std::int32_t NOD[5] = {1, 2, 3, 4, 5};
  model::RUBREC r;
  Rub() {
    test::open_log(m);
    if (!base::open_direct(m.unit(m.UNIT(8)), "EXEC.RUB1", 1080) ||
        !base::open_direct(m.unit(m.UNIT(9)), "EXEC.RUB2", 408))
      std::abort();
    XYZ.allocate(3, 5), U.allocate(7, 5), P.allocate(7, 5), PD.allocate(7, 5);
    // Stored order, 6V = 1.544 > 0.
    const double x[4][3] = {{1.0, 0.2, 0.1}, {2.1, 0.3, 0.0}, {1.2, 1.3, 0.2}, {1.3, 0.5, 1.4}};
    for (int a = 1; a <= 4; ++a)
      for (int j = 1; j <= 3; ++j) XYZ(j, a) = x[a - 1][j - 1], XYZ(j, 5) += 0.25 * x[a - 1][j - 1];
    r.C1 = 0.4, r.C2 = 0.15, r.KB = 50.0;
  }
  // Displacements u(X) at the five nodes, corner pressures p; the force.
  template <class Fn>
  void force(Fn u, const double* p) {
    for (int a = 1; a <= 5; ++a) u(&XYZ(1, a), &U(1, a));
    for (int a = 1; a <= 4; ++a) U(7, a) = p[a - 1];
    recover();
  }
  void recover() {
    P.fill(0.0);
    RUBF(m, P, PD, r, XYZ, U, NOD, 1, 1, m.UNIT(8), 0);
  }
};

}  // namespace

TEST(Rubber, NoStressUnstrainedOrTurnedAndCornerPressureIsHydrostatic) {
  double w = 0.0;
  for (double x : RUBW) w += x;
  EXPECT_NEAR(w, 1.0 / 6.0, 1e-15);
  Rub t;
  // Shape gradients at each point: the interior node's is that of
  // 256 L1 L2 L3 L4, and all five sum to zero.
  double X[15], DL[12], DN[15];
  for (int a = 0; a < 5; ++a)
    for (int j = 0; j < 3; ++j) X[3 * a + j] = t.XYZ(j + 1, a + 1);
  const double v6 = TETDN(X, DL);
  for (int g = 1; g <= RUBNPT; ++g) {
    const double* L = RUBL[g - 1];
    EXPECT_NEAR(RUBSHAPE(g, X, DN), v6, 1e-13);
    for (int j = 0; j < 3; ++j) {
      double grad = 0.0, sum = 0.0;
      for (int a = 0; a < 4; ++a) grad += 256.0 * L[(a + 1) % 4] * L[(a + 2) % 4] * L[(a + 3) % 4] * DL[3 * a + j];
      for (int a = 0; a < 5; ++a) sum += DN[3 * a + j];
      EXPECT_NEAR(DN[12 + j], grad, 1e-12) << g;
      EXPECT_NEAR(sum, 0.0, 1e-12) << g;
    }
  }
  // A finite rotation about a skew axis and a translation; the unturned case
  // is the zero state.
  for (double angle : {0.0, 0.9}) {
    const double th[3] = {0.48 * angle, 0.6 * angle, 0.64 * angle};
    double R[9];
    SHLROT(th, R);
    auto turn = [&](const double* x, double* u) {
      apply(R, x, u);
      for (int i = 0; i < 3; ++i) u[i] += 0.3 * i - x[i];
    };
    const double zero[4] = {}, p0 = 2.5, hyd[4] = {p0, p0, p0, p0};
    t.force(turn, zero);
    for (int g = 1; g <= RUBNPT; ++g)
      for (int k = 1; k <= 6; ++k) {
        EXPECT_NEAR(t.r.STRAIN(k, g), 0.0, 1e-14) << angle;
        EXPECT_NEAR(t.r.STRESS(k, g), 0.0, 1e-13) << angle;
      }
    for (int a = 1; a <= 5; ++a)
      for (int k : {1, 2, 3, 7}) EXPECT_NEAR(t.P(k, a), 0.0, 1e-13) << angle;
    t.force(turn, hyd);
    for (int g = 1; g <= RUBNPT; ++g) {
      double sig[9];
      cauchy(R, &t.r.STRESS(1, g), sig);
      for (int k = 0; k < 9; ++k) EXPECT_NEAR(sig[k], k % 4 == 0 ? -p0 : 0.0, 1e-12) << angle;
    }
  }
}

TEST(Rubber, TangentIsTheDerivativeOfForceAndResidualAndCondensationSolvesTheSameSystem) {
  Rub t;
  auto field = [](const double* x, double* u) {
    u[0] = 0.25 * x[0] + 0.1 * x[1] * x[2], u[1] = -0.15 * x[1] + 0.2 * x[0], u[2] = 0.3 * x[2] - 0.05 * x[1] * x[1];
  };
  const double p[4] = {0.3, -0.2, 0.5, 0.1};
  t.force(field, p);
  double KUU[120], KUP[60], KPP[16];
  RUBK(t.m, t.r, t.XYZ, t.U, t.NOD, 1, t.m.UNIT(8), KUU, KUP, KPP);
  // The full 19 x 19 matrix: unknowns 0-14 the five nodes' translations,
  // 15-18 the corner pressures.
  auto slot = [&](int q) -> double& { return q < 15 ? t.U(q % 3 + 1, q / 3 + 1) : t.U(7, q - 14); };
  auto out = [&](int q) { return q < 15 ? t.P(q % 3 + 1, q / 3 + 1) : t.P(7, q - 14); };
  Eigen::MatrixXd K(19, 19);
  for (int r = 0; r < 19; ++r)
    for (int q = 0; q < 19; ++q) {
      const int a = std::min(r, q), b = std::max(r, q);
      K(r, q) = b < 15 ? test::packed(KUU, 15, a, b) : (a < 15 ? KUP[a + 15 * (b - 15)] : KPP[(a - 15) + 4 * (b - 15)]);
    }
  auto force = [&](int q, double dh, double* f) {
    slot(q) += dh;
    t.recover();
    slot(q) -= dh;
    for (int r = 0; r < 19; ++r) f[r] = out(r);
  };
  EXPECT_LT(test::tangent_misfit(19, [&](int r, int q) { return K(r, q); }, force, 1e-6), 1e-7);
  // The element alone moves rigidly: held by a unit spring at each
  // translation, it solves K d = b in full, and condensed with the interior
  // node recovered.
  for (int q = 0; q < 15; ++q) KUU[base::PACKIDX(q + 1, q + 1, 15) - 1] += 1.0, K(q, q) += 1.0;
  Eigen::VectorXd b(19);
  for (int r = 0; r < 19; ++r) b(r) = std::sin(1.0 + r);
  const Eigen::VectorXd d = K.partialPivLu().solve(b);
  // Reduced order: corners' translations, then pressures; the interior node
  // is unknowns 12-14 of the full list.
  const int full[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 15, 16, 17, 18};
  double KE[136], RC[16], R5[3] = {b(12), b(13), b(14)};
  RUBCOND(t.m, KUU, KUP, KPP, R5, KE, RC, 1, 1, t.m.UNIT(9));
  Eigen::MatrixXd Kr(16, 16);
  Eigen::VectorXd br(16);
  for (int r = 0; r < 16; ++r) {
    br(r) = b(full[r]) + RC[r];
    for (int q = 0; q < 16; ++q) Kr(r, q) = test::packed(KE, 16, r, q);
  }
  const Eigen::VectorXd dr = Kr.partialPivLu().solve(br);
  base::Arr2<double> DU;
  DU.allocate(7, 5);
  for (int r = 0; r < 16; ++r) {
    EXPECT_NEAR(dr(r), d(full[r]), 1e-9 * (1 + std::fabs(d(full[r])))) << r;
    (r < 12 ? DU(r % 3 + 1, r / 3 + 1) : DU(7, r - 11)) = dr(r);
  }
  RUBNODE5(t.m, DU, t.NOD, 1, t.m.UNIT(9));
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(DU(i + 1, 5), d(12 + i), 1e-9 * (1 + std::fabs(d(12 + i)))) << i;
}
