// The truss: its stiffness as the derivative of its force on both routes; a
// rigid rotation stretches no bar, and the link forces oppose the bar's.
// (The table lookup is walked end to end by the job tests.)
#include <gtest/gtest.h>

#include <cmath>

#include "elements/tangent.hpp"
#include "elements/truss.hpp"

using namespace ossa;

namespace {

// A bar from p1 to p2 on the table of segments 5000, 10000, 5000.
struct Bar {
  base::Arr2<double> XYZ, U, P, LINKV;
  model::TRSREC r;
  std::int32_t NOD[2] = {1, 2};
  Bar(const double* p1, const double* p2) {
    XYZ.allocate(3, 2), U.allocate(7, 2), P.allocate(7, 2), LINKV.allocate(7, 2);
    for (int i = 1; i <= 3; ++i) XYZ(i, 1) = p1[i - 1], XYZ(i, 2) = p2[i - 1];
    const double T[4][2] = {{-0.01, -50.0}, {0.0, 0.0}, {0.01, 100.0}, {0.02, 150.0}};
    r.NPT = 4;
    r.CURVE.allocate(4, 2);
    for (int j = 1; j <= 4; ++j) r.CURVE(j, 1) = T[j - 1][0], r.CURVE(j, 2) = T[j - 1][1];
  }
  // Internal force at U, six entries.
  void force(bool nl, double* f) {
    P.fill(0.0), LINKV.fill(0.0);
    if (nl) elements::TRSFNL(P, LINKV, r, XYZ, U, NOD);
    else elements::TRSF(P, LINKV, r, XYZ, U, NOD);
    for (int k = 0; k < 6; ++k) f[k] = P(k % 3 + 1, k / 3 + 1);
  }
};

}  // namespace

TEST(Truss, StiffnessIsTheDerivativeOfTheForce) {
  const double p1[3] = {0.1, -0.2, 0.3}, p2[3] = {1.3, 0.5, -0.4};
  // A state inside the middle segment, well away from its kinks.
  const double u0[6] = {0.001, -0.002, 0.0005, 0.006, 0.004, -0.003};
  for (bool nl : {false, true}) {
    Bar b(p1, p2);
    for (int k = 0; k < 6; ++k) b.U(k % 3 + 1, k / 3 + 1) = u0[k];
    double f0[6], K[21];
    b.force(nl, f0);
    if (nl) elements::TRSKNL(b.NOD, b.XYZ, b.U, b.r.SLOPE, b.r.FORCE, K);
    else elements::TRSK(b.NOD, b.XYZ, b.r.SLOPE, K);
    auto force = [&](int q, double dh, double* f) {
      b.U(q % 3 + 1, q / 3 + 1) += dh;
      b.force(nl, f);
      b.U(q % 3 + 1, q / 3 + 1) -= dh;
    };
    EXPECT_LT(test::tangent_misfit(6, [&](int p, int q) { return test::packed(K, 6, p, q); }, force, 1e-7), 1e-6)
        << nl;
  }
}

TEST(Truss, RigidRotationStretchesNoBarOnTheNonlinearRoute) {
  const double p1[3] = {1.0, 2.0, 0.5}, p2[3] = {-0.5, 1.0, 2.5};
  Bar b(p1, p2);
  // 60 degrees about z through the origin, and a shift.
  const double c = 0.5, s = std::sqrt(3.0) / 2.0;
  for (int a = 1; a <= 2; ++a) {
    const double x = b.XYZ(1, a), y = b.XYZ(2, a);
    b.U(1, a) = c * x - s * y - x + 0.3, b.U(2, a) = s * x + c * y - y - 1.1, b.U(3, a) = 0.7;
  }
  double f[6];
  b.force(true, f);
  EXPECT_NEAR(b.r.STRAINV, 0.0, 1e-15);
  for (double v : f) EXPECT_NEAR(v, 0.0, 1e-11);
  b.U.fill(0.0);
  b.U(1, 2) = 0.01;
  b.force(true, f);
  for (int k = 0; k < 6; ++k) EXPECT_EQ(b.LINKV(k % 3 + 1, k / 3 + 1), -f[k]);
}
