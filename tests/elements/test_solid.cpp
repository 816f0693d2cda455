// The tetrahedron: rigid motions strain nothing, the internal force of a
// linear field is its stiffness times the displacement, and the nonlinear
// tangent is the derivative of the nonlinear force.
#include <gtest/gtest.h>

#include <cmath>

#include "elements/solid.hpp"
#include "elements/tangent.hpp"

using namespace ossa;
using namespace ossa::elements;

namespace {

// A skew tetrahedron off the origin with an elastic record.
struct Tet {
  model::Model m;
  base::Arr2<double> XYZ, U, P, PD;
  std::int32_t NOD[4] = {1, 2, 3, 4};
  model::SOLREC r;
  Tet() {
    XYZ.allocate(3, 4), U.allocate(7, 4), P.allocate(7, 4), PD.allocate(7, 4);
    const double x[4][3] = {{1.0, 0.2, 0.1}, {2.1, 0.3, 0.0}, {1.2, 1.3, 0.2}, {1.3, 0.5, 1.4}};
    for (int a = 1; a <= 4; ++a)
      for (int j = 1; j <= 3; ++j) XYZ(j, a) = x[a - 1][j - 1];
    base::DELAS(1000.0, 0.3, r.D.data());
  }
  // U = u(x) at the nodes, then the force of `nonlinear` or linear recovery.
  template <class F>
  void force(F u, bool nonlinear) {
    for (int a = 1; a <= 4; ++a) u(&XYZ(1, a), &U(1, a));
    recover(nonlinear);
  }
  void recover(bool nonlinear) {
    P.fill(0.0);
    r.STRESS.fill(0.0), r.STRAIN.fill(0.0);
    if (nonlinear) SOLFNL(m, P, PD, r, XYZ, U, NOD, 1, 0, 0);
    else SOLFLIN(m, P, PD, r, XYZ, U, NOD, 1, 0, 0);
  }
  double& u(int q) { return U(q % 3 + 1, q / 3 + 1); }
  double f(int p) const { return P(p % 3 + 1, p / 3 + 1); }
};

}  // namespace

TEST(Solid, RigidMotionsStrainNothingAndForceIsStiffnessTimesDisplacement) {
  Tet t;
  double sk[78];
  SOLKLIN(t.NOD, t.XYZ, t.r.D.data(), sk);
  // Small rigid motion: no force in either formulation; a finite rotation
  // leaves no Green-Lagrange strain either.
  for (bool nl : {false, true}) {
    const double c = nl ? std::cos(0.7) : 1.0, s = nl ? std::sin(0.7) : 1e-3;
    t.force([&](const double* x, double* u) {
      u[0] = 0.3 + (c - 1) * x[0] - s * x[1], u[1] = -0.2 + s * x[0] + (c - 1) * x[1], u[2] = 0.1;
    }, nl);
    for (int p = 0; p < 12; ++p) EXPECT_NEAR(t.f(p), 0.0, 1e-9) << nl;
  }
  // A general linear field: P = K u, node by node.
  t.force([](const double* x, double* u) {
    u[0] = 1e-3 * (x[0] + 2 * x[1] - x[2]), u[1] = 1e-3 * (3 * x[2] - x[0]), u[2] = 1e-3 * (x[1] + 0.5 * x[2]);
  }, false);
  for (int p = 0; p < 12; ++p) {
    double ku = 0.0;
    for (int q = 0; q < 12; ++q) ku += test::packed(sk, 12, p, q) * t.u(q);
    EXPECT_NEAR(t.f(p), ku, 1e-10) << p;
  }
}

TEST(Solid, NonlinearTangentIsTheDerivativeOfTheForce) {
  Tet t;
  t.force([](const double* x, double* u) {
    u[0] = 0.05 * x[0] + 0.02 * x[1] * x[2], u[1] = -0.03 * x[1] + 0.04 * x[0], u[2] = 0.06 * x[2] - 0.01 * x[1];
  }, true);
  double sk[78];
  SOLKNL(t.NOD, t.XYZ, t.U, t.r.D.data(), t.r.STRESS.data(), sk);
  auto force = [&](int q, double dh, double* f) {
    t.u(q) += dh;
    t.recover(true);
    t.u(q) -= dh;
    for (int p = 0; p < 12; ++p) f[p] = t.f(p);
  };
  EXPECT_LT(test::tangent_misfit(12, [&](int p, int q) { return test::packed(sk, 12, p, q); }, force, 1e-6), 1e-6);
}
