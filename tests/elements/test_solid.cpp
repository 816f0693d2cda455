// The tetrahedron: rigid motions strain nothing, the internal force of a
// linear field is its stiffness times the displacement, and the nonlinear
// tangent is the derivative of the nonlinear force.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "base/kernels.hpp"
#include "elements/solid.hpp"

using namespace ossa;
using namespace ossa::elements;
using namespace ossa::base;

namespace {

// A skew tetrahedron off the origin with an elastic record.
struct Tet {
  base::Arr2<double> XYZ, U, P, PD;
  std::int32_t NOD[4] = {1, 2, 3, 4};
  model::SOLREC r;
  Tet() {
    XYZ.allocate(3, 4), U.allocate(7, 4), P.allocate(7, 4), PD.allocate(7, 4);
    const double x[4][3] = {{1.0, 0.2, 0.1}, {2.1, 0.3, 0.0}, {1.2, 1.3, 0.2}, {1.3, 0.5, 1.4}};
    for (int a = 1; a <= 4; ++a)
      for (int j = 1; j <= 3; ++j) XYZ(j, a) = x[a - 1][j - 1];
    DELAS(1000.0, 0.3, r.D.data());
  }
  // U = u(x) at the nodes, then the force of `nonlinear` or linear recovery.
  template <class F>
  void force(F u, bool nonlinear, model::Model& m) {
    for (int a = 1; a <= 4; ++a) u(&XYZ(1, a), &U(1, a));
    P.fill(0.0);
    r.STRESS.fill(0.0), r.STRAIN.fill(0.0);
    if (nonlinear) SOLFNL(m, P, PD, r, XYZ, U, NOD, 1, 0, 0);
    else SOLFLIN(m, P, PD, r, XYZ, U, NOD, 1, 0, 0);
  }
};

double K(const double* sk, int p, int q) { return sk[PACKIDX(std::min(p, q) + 1, std::max(p, q) + 1, 12) - 1]; }

}  // namespace

TEST(Solid, RigidMotionsStrainNothingAndForceIsStiffnessTimesDisplacement) {
  model::Model m;
  Tet t;
  double sk[78];
  SOLKLIN(t.NOD, t.XYZ, t.r.D.data(), sk);
  // Small rigid motion: no force in either formulation; a finite rotation
  // leaves no Green-Lagrange strain either.
  for (bool nl : {false, true}) {
    const double c = nl ? std::cos(0.7) : 1.0, s = nl ? std::sin(0.7) : 1e-3;
    t.force([&](const double* x, double* u) {
      u[0] = 0.3 + (c - 1) * x[0] - s * x[1], u[1] = -0.2 + s * x[0] + (c - 1) * x[1], u[2] = 0.1;
    }, nl, m);
    for (int a = 1; a <= 4; ++a)
      for (int j = 1; j <= 3; ++j) EXPECT_NEAR(t.P(j, a), 0.0, 1e-9) << nl;
  }
  // A general linear field: P = K u, node by node.
  t.force([](const double* x, double* u) {
    u[0] = 1e-3 * (x[0] + 2 * x[1] - x[2]), u[1] = 1e-3 * (3 * x[2] - x[0]), u[2] = 1e-3 * (x[1] + 0.5 * x[2]);
  }, false, m);
  for (int p = 0; p < 12; ++p) {
    double ku = 0.0;
    for (int q = 0; q < 12; ++q) ku += K(sk, p, q) * t.U(q % 3 + 1, q / 3 + 1);
    EXPECT_NEAR(t.P(p % 3 + 1, p / 3 + 1), ku, 1e-10) << p;
  }
}

TEST(Solid, NonlinearTangentIsTheDerivativeOfTheForce) {
  model::Model m;
  Tet t;
  auto field = [](const double* x, double* u) {
    u[0] = 0.05 * x[0] + 0.02 * x[1] * x[2], u[1] = -0.03 * x[1] + 0.04 * x[0], u[2] = 0.06 * x[2] - 0.01 * x[1];
  };
  t.force(field, true, m);
  double sk[78];
  SOLKNL(t.NOD, t.XYZ, t.U, t.r.D.data(), t.r.STRESS.data(), sk);
  const double h = 1e-6;
  double err = 0.0, big = 0.0;
  for (int q = 0; q < 12; ++q) {
    double f[2][12];
    for (int side = 0; side < 2; ++side) {
      Tet w;
      w.force([&](const double* x, double* u) {
        field(x, u);
        for (int j = 0; j < 3; ++j) u[j] += x == &w.XYZ(1, q / 3 + 1) && j == q % 3 ? (side ? h : -h) : 0.0;
      }, true, m);
      for (int p = 0; p < 12; ++p) f[side][p] = w.P(p % 3 + 1, p / 3 + 1);
    }
    for (int p = 0; p < 12; ++p) {
      err = std::max(err, std::fabs((f[1][p] - f[0][p]) / (2 * h) - K(sk, p, q)));
      big = std::max(big, std::fabs(K(sk, p, q)));
    }
  }
  EXPECT_LT(err / big, 1e-6);
}
