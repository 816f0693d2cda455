// The truss: its stiffness as the derivative of its force on both routes; a
// rigid rotation stretches no bar. (The table lookup is walked end to end
// by the job tests.)
#include <gtest/gtest.h>

#include <cmath>

#include "base/kernels.hpp"
#include "elements/truss.hpp"

using namespace ossa;

namespace {

// Two nodes at p1, p2 and a bar on them with the table T.
struct Bar {
  base::Arr2<double> XYZ, U, P, LINKV;
  model::TRSREC r;
  std::int32_t NOD[2] = {1, 2};
  Bar(const double* p1, const double* p2, const std::vector<std::pair<double, double>>& T) {
    XYZ.allocate(3, 2);
    U.allocate(7, 2);
    P.allocate(7, 2);
    LINKV.allocate(7, 2);
    for (int i = 1; i <= 3; ++i) XYZ(i, 1) = p1[i - 1], XYZ(i, 2) = p2[i - 1];
    r.NPT = static_cast<int>(T.size());
    r.CURVE.allocate(r.NPT, 2);
    for (int j = 1; j <= r.NPT; ++j) r.CURVE(j, 1) = T[j - 1].first, r.CURVE(j, 2) = T[j - 1].second;
  }
  // Internal force at U, six entries.
  void force(bool nl, double* f) {
    P.fill(0.0);
    LINKV.fill(0.0);
    if (nl) elements::TRSFNL(P, LINKV, r, XYZ, U, NOD);
    else elements::TRSF(P, LINKV, r, XYZ, U, NOD);
    for (int a = 0; a < 2; ++a)
      for (int i = 0; i < 3; ++i) f[3 * a + i] = P(i + 1, a + 1);
  }
};

const std::vector<std::pair<double, double>> TABLE = {{-0.01, -50.0}, {0.0, 0.0}, {0.01, 100.0}, {0.02, 150.0}};

}  // namespace

TEST(Truss, StiffnessIsTheDerivativeOfTheForce) {
  const double p1[3] = {0.1, -0.2, 0.3}, p2[3] = {1.3, 0.5, -0.4};
  for (bool nl : {false, true}) {
    Bar b(p1, p2, TABLE);
    // A state inside the middle segment, well away from its kinks.
    const double u0[6] = {0.001, -0.002, 0.0005, 0.006, 0.004, -0.003};
    for (int k = 0; k < 6; ++k) b.U(k % 3 + 1, k / 3 + 1) = u0[k];
    double f0[6], K[21];
    b.force(nl, f0);
    if (nl) elements::TRSKNL(b.NOD, b.XYZ, b.U, b.r.SLOPE, b.r.FORCE, K);
    else elements::TRSK(b.NOD, b.XYZ, b.r.SLOPE, K);
    const double h = 1e-7;
    for (int q = 0; q < 6; ++q) {
      double fp[6], fm[6];
      b.U(q % 3 + 1, q / 3 + 1) = u0[q] + h;
      b.force(nl, fp);
      b.U(q % 3 + 1, q / 3 + 1) = u0[q] - h;
      b.force(nl, fm);
      b.U(q % 3 + 1, q / 3 + 1) = u0[q];
      for (int p = 0; p < 6; ++p) {
        const int i = std::min(p, q) + 1, j = std::max(p, q) + 1;
        EXPECT_NEAR(K[base::PACKIDX(i, j, 6) - 1], (fp[p] - fm[p]) / (2 * h), 1e-3)
            << (nl ? "nonlinear " : "linear ") << p << "," << q;
      }
    }
  }
}

TEST(Truss, RigidRotationStretchesNoBarOnTheNonlinearRoute) {
  const double p1[3] = {1.0, 2.0, 0.5}, p2[3] = {-0.5, 1.0, 2.5};
  Bar b(p1, p2, TABLE);
  // 60 degrees about z through the origin, and a shift.
  const double c = 0.5, s = std::sqrt(3.0) / 2.0;
  for (int a = 1; a <= 2; ++a) {
    const double x = b.XYZ(1, a), y = b.XYZ(2, a);
    b.U(1, a) = c * x - s * y - x + 0.3;
    b.U(2, a) = s * x + c * y - y - 1.1;
    b.U(3, a) = 0.7;
  }
  double f[6];
  b.force(true, f);
  EXPECT_NEAR(b.r.STRAINV, 0.0, 1e-15);
  for (double v : f) EXPECT_NEAR(v, 0.0, 1e-11);
  // The link-force vector holds the opposite of the bar's forces.
  b.U.fill(0.0);
  b.U(1, 2) = 0.01;
  b.force(true, f);
  for (int a = 1; a <= 2; ++a)
    for (int i = 1; i <= 3; ++i) EXPECT_EQ(b.LINKV(i, a), -b.P(i, a));
}
