#include "elements/solid.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "elements/jobdir.hpp"
#include "base/kernels.hpp"

namespace el = ossa::elements;
using ossa::model::Model;
using ossa::model::SOLREC;
using Vec = std::vector<double>;

namespace {

// A well-shaped tetrahedron (6V > 0) placed off the origin, and its nodes.
struct Tet {
  ossa::base::Arr2<double> XYZ, U, P, PD;
  std::int32_t NOD[4] = {1, 2, 3, 4};
  SOLREC r;
  Tet() {
    XYZ.allocate(3, 4);
    U.allocate(7, 4);
    P.allocate(7, 4);
    PD.allocate(7, 4);
    const double x[4][3] = {{1.0, 0.2, 0.1}, {2.1, 0.3, 0.0}, {1.2, 1.3, 0.2}, {1.3, 0.5, 1.4}};
    for (int a = 0; a < 4; ++a)
      for (int j = 0; j < 3; ++j) XYZ(j + 1, a + 1) = x[a][j];
    r.E = 1000.0;
    r.NU = 0.3;
    r.BETA = 0.01;
    ossa::base::DELAS(r.E, r.NU, r.D.data());
  }
  double v6() {
    double X[12], DN[12];
    for (int a = 0; a < 4; ++a)
      for (int j = 0; j < 3; ++j) X[3 * a + j] = XYZ(j + 1, a + 1);
    return el::TETDN(X, DN);
  }
  // Sets U(1..3, node) = f(X of node).
  template <class F>
  void displace(F f) {
    for (int a = 1; a <= 4; ++a) {
      const double x[3] = {XYZ(1, a), XYZ(2, a), XYZ(3, a)};
      double u[3];
      f(x, u);
      for (int j = 0; j < 3; ++j) U(j + 1, a) = u[j];
    }
  }
  double fmax() const {
    double s = 0.0;
    for (int a = 1; a <= 4; ++a)
      for (int j = 1; j <= 7; ++j) s = std::max(s, std::fabs(P(j, a)));
    return s;
  }
};

Vec unpack12(const double* SK) {
  Vec K(144);
  for (int i = 1; i <= 12; ++i)
    for (int j = 1; j <= 12; ++j) K[(i - 1) + 12 * (j - 1)] = SK[ossa::base::PACKIDX(i, j, 12) - 1];
  return K;
}

// Eigenvalues of a symmetric matrix by cyclic Jacobi rotations.
Vec eigenvalues(Vec A, int n) {
  for (int sweep = 0; sweep < 100; ++sweep) {
    double off = 0.0;
    for (int p = 0; p < n; ++p)
      for (int q = p + 1; q < n; ++q) off += A[p + n * q] * A[p + n * q];
    if (off < 1e-26) break;
    for (int p = 0; p < n; ++p)
      for (int q = p + 1; q < n; ++q) {
        const double apq = A[p + n * q];
        if (apq == 0.0) continue;
        const double th = 0.5 * std::atan2(2 * apq, A[q + n * q] - A[p + n * p]);
        const double c = std::cos(th), s = std::sin(th);
        for (int k = 0; k < n; ++k) {
          const double akp = A[k + n * p], akq = A[k + n * q];
          A[k + n * p] = c * akp - s * akq;
          A[k + n * q] = s * akp + c * akq;
        }
        for (int k = 0; k < n; ++k) {
          const double apk = A[p + n * k], aqk = A[q + n * k];
          A[p + n * k] = c * apk - s * aqk;
          A[q + n * k] = s * apk + c * aqk;
        }
      }
  }
  Vec ev(n);
  for (int i = 0; i < n; ++i) ev[i] = A[i + n * i];
  std::sort(ev.begin(), ev.end());
  return ev;
}

}  // namespace

TEST(Solid, SignOfVolumeFollowsNodeOrder) {
  // Nodes 1, 2, 3 counter-clockwise seen from node 4 above them.
  const double X[12] = {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1};
  double DN[12];
  EXPECT_NEAR(el::TETDN(X, DN), 1.0, 1e-15);
  // Derivatives of linear functions are exact: sum of DN(.,a) x_a = I.
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      double s = 0.0;
      for (int a = 0; a < 4; ++a) s += X[3 * a + i] * DN[3 * a + j];
      EXPECT_NEAR(s, i == j ? 1.0 : 0.0, 1e-14);
    }
  Tet t;
  double sk[78], skr[78];
  const double v6 = t.v6();
  EXPECT_GT(v6, 0.0);
  el::SOLKLIN(t.NOD, t.XYZ, t.r.D.data(), sk);
  // Exchanging nodes 1 and 2 flips 6V and the stiffness, and nothing complains.
  const std::int32_t swp[4] = {2, 1, 3, 4};
  el::SOLKLIN(swp, t.XYZ, t.r.D.data(), skr);
  const Vec K = unpack12(sk), Kr = unpack12(skr);
  auto perm = [](int p) { return p < 3 ? p + 3 : (p < 6 ? p - 3 : p); };
  for (int p = 0; p < 12; ++p)
    for (int q = 0; q < 12; ++q)
      EXPECT_NEAR(Kr[perm(p) + 12 * perm(q)], -K[p + 12 * q], 1e-9 * std::fabs(K[0]));
}

TEST(Solid, LinearStiffnessIsPositiveSemiDefiniteWithSixRigidModes) {
  Tet t;
  double sk[78];
  el::SOLKLIN(t.NOD, t.XYZ, t.r.D.data(), sk);
  const Vec ev = eigenvalues(unpack12(sk), 12);
  const double top = ev.back();
  for (int i = 0; i < 6; ++i) EXPECT_LT(std::fabs(ev[i]), 1e-10 * top) << i;
  for (int i = 6; i < 12; ++i) EXPECT_GT(ev[i], 1e-4 * top) << i;
}

TEST(Solid, RigidMotionGivesNoStrainAndNoForceInSmallDisplacement) {
  Model m;
  Tet t;
  // Translation plus an infinitesimal rotation w x X.
  const double w[3] = {1e-4, -2e-4, 3e-4};
  t.displace([&](const double* x, double* u) {
    ossa::base::CROSS(w, x, u);
    u[0] += 0.5;
    u[1] -= 0.25;
    u[2] += 1.0;
  });
  el::SOLFLIN(m, t.P, t.PD, t.r, t.XYZ, t.U, t.NOD, 1, 0, 0);
  for (int k = 1; k <= 6; ++k) {
    EXPECT_NEAR(t.r.STRAIN(k), 0.0, 1e-15);
    EXPECT_NEAR(t.r.STRESS(k), 0.0, 1e-11);
  }
  EXPECT_LT(t.fmax(), 1e-11);
  double sk[78], f[12], u[12];
  el::SOLKLIN(t.NOD, t.XYZ, t.r.D.data(), sk);
  for (int a = 0; a < 4; ++a)
    for (int j = 0; j < 3; ++j) u[3 * a + j] = t.U(j + 1, a + 1);
  ossa::base::SYMMUL(sk, u, f, 12, 1);
  for (double x : f) EXPECT_NEAR(x, 0.0, 1e-10);
}

TEST(Solid, UniformStrainAndForceAgreeWithStiffness) {
  Model m;
  Tet t;
  const double g[9] = {1e-3, 2e-4, -3e-4, 5e-4, -1e-3, 1e-4, 0.0, 3e-4, 2e-3};  // du_i/dX_j
  t.displace([&](const double* x, double* u) {
    for (int i = 0; i < 3; ++i) u[i] = g[i] * x[0] + g[i + 3] * x[1] + g[i + 6] * x[2];
  });
  el::SOLFLIN(m, t.P, t.PD, t.r, t.XYZ, t.U, t.NOD, 1, 0, 1);
  const double e[6] = {g[0], g[4], g[8], g[3] + g[1], g[7] + g[5], g[2] + g[6]};
  for (int k = 0; k < 6; ++k) EXPECT_NEAR(t.r.STRAIN(k + 1), e[k], 1e-15);
  // From zero stress the force is K u; the damping force is BETA times it.
  double sk[78], f[12], u[12];
  el::SOLKLIN(t.NOD, t.XYZ, t.r.D.data(), sk);
  for (int a = 0; a < 4; ++a)
    for (int j = 0; j < 3; ++j) u[3 * a + j] = t.U(j + 1, a + 1);
  ossa::base::SYMMUL(sk, u, f, 12, 1);
  for (int a = 0; a < 4; ++a)
    for (int j = 0; j < 3; ++j) {
      EXPECT_NEAR(t.P(j + 1, a + 1), f[3 * a + j], 1e-12);
      EXPECT_NEAR(t.PD(j + 1, a + 1), t.r.BETA * f[3 * a + j], 1e-14);
    }
  // The force is in equilibrium, and the other slots are untouched.
  for (int j = 1; j <= 3; ++j) EXPECT_NEAR(t.P(j, 1) + t.P(j, 2) + t.P(j, 3) + t.P(j, 4), 0.0, 1e-13);
  for (int a = 1; a <= 4; ++a) EXPECT_EQ(t.P(4, a), 0.0);
}

TEST(Solid, RepeatedUpdateLeavesStressAndStaticDampingUntouched) {
  Model m;
  for (int nl = 0; nl < 2; ++nl) {
    Tet t;
    t.displace([](const double* x, double* u) {
      u[0] = 0.01 * x[1] * x[1];
      u[1] = -0.02 * x[0];
      u[2] = 0.03 * x[2] + 0.01 * x[0];
    });
    auto call = [&] {
      if (nl) el::SOLFNL(m, t.P, t.PD, t.r, t.XYZ, t.U, t.NOD, 1, 0, 0);
      else el::SOLFLIN(m, t.P, t.PD, t.r, t.XYZ, t.U, t.NOD, 1, 0, 0);
    };
    call();
    const SOLREC first = t.r;
    call();
    for (int k = 1; k <= 6; ++k) {
      EXPECT_EQ(t.r.STRESS(k), first.STRESS(k));
      EXPECT_EQ(t.r.STRAIN(k), first.STRAIN(k));
    }
    for (int a = 1; a <= 4; ++a)
      for (int j = 1; j <= 7; ++j) EXPECT_EQ(t.PD(j, a), 0.0);
  }
}

TEST(Solid, LargeRotationGivesNoGreenLagrangeStrainOrForce) {
  Model m;
  Tet t;
  // A quarter turn about an oblique axis through a point, plus a shift.
  const double n[3] = {1 / std::sqrt(3.0), 1 / std::sqrt(3.0), 1 / std::sqrt(3.0)};
  const double c = 0.0, s = 1.0;
  t.displace([&](const double* x, double* u) {
    const double y[3] = {x[0] - 0.5, x[1] - 0.2, x[2] - 0.3};
    double nxy[3];
    ossa::base::CROSS(n, y, nxy);
    const double nd = ossa::base::DOT(n, y, 3);
    for (int i = 0; i < 3; ++i) u[i] = c * y[i] + s * nxy[i] + (1 - c) * nd * n[i] - y[i] + 2.0;
  });
  el::SOLFNL(m, t.P, t.PD, t.r, t.XYZ, t.U, t.NOD, 1, 0, 1);
  for (int k = 1; k <= 6; ++k) EXPECT_NEAR(t.r.STRAIN(k), 0.0, 1e-14);
  EXPECT_LT(t.fmax(), 1e-10);
  // The small-strain route sees this motion as a large strain.
  SOLREC lin = t.r;
  lin.STRAIN.fill(0.0);
  el::SOLFLIN(m, t.P, t.PD, lin, t.XYZ, t.U, t.NOD, 1, 0, 0);
  EXPECT_GT(std::fabs(lin.STRAIN(1)), 0.1);
}

TEST(Solid, TangentMatchesDifferenceOfForce) {
  Model m;
  Tet t;
  t.displace([](const double* x, double* u) {
    u[0] = 0.05 * x[0] + 0.02 * x[1] * x[2];
    u[1] = -0.03 * x[1] + 0.04 * x[0];
    u[2] = 0.06 * x[2] - 0.01 * x[1];
  });
  // Reach the strained state, with a prestress, then take the tangent there.
  for (int k = 1; k <= 6; ++k) t.r.STRESS(k) = 3.0 * k - 7.0;
  el::SOLFNL(m, t.P, t.PD, t.r, t.XYZ, t.U, t.NOD, 1, 0, 0);
  double sk[78];
  el::SOLKNL(t.NOD, t.XYZ, t.U, t.r.D.data(), t.r.STRESS.data(), sk);
  const Vec K = unpack12(sk);
  const double h = 1e-5;
  double err = 0.0, big = 0.0;
  for (int q = 0; q < 12; ++q) {
    const int node = q / 3 + 1, dir = q % 3 + 1;
    Vec fp(12), fm(12);
    for (int sgn = -1; sgn <= 1; sgn += 2) {
      Tet w;
      for (int a = 1; a <= 4; ++a)
        for (int j = 1; j <= 3; ++j) w.U(j, a) = t.U(j, a);
      w.r = t.r;
      w.U(dir, node) += sgn * h;
      el::SOLFNL(m, w.P, w.PD, w.r, w.XYZ, w.U, w.NOD, 1, 0, 0);
      for (int p = 0; p < 12; ++p) (sgn > 0 ? fp : fm)[p] = w.P(p % 3 + 1, p / 3 + 1);
    }
    for (int p = 0; p < 12; ++p) {
      err = std::max(err, std::fabs((fp[p] - fm[p]) / (2 * h) - K[p + 12 * q]));
      big = std::max(big, std::fabs(K[p + 12 * q]));
    }
  }
  EXPECT_LT(err / big, 1e-6);
}

TEST(Solid, GeometricPartEqualsGTransposeSG) {
  Tet t;
  const double S[6] = {10, -4, 7, 2, -3, 5};
  double sk0[78], sk[78];
  ossa::base::Arr2<double> Z;
  Z.allocate(7, 4);
  const double Dz[21] = {};
  el::SOLKNL(t.NOD, t.XYZ, Z, Dz, S, sk);
  const double zs[6] = {};
  el::SOLKNL(t.NOD, t.XYZ, Z, Dz, zs, sk0);
  double X[12], DN[12], G[108], ST[81], SG[108], ref[78];
  for (int a = 0; a < 4; ++a)
    for (int j = 0; j < 3; ++j) X[3 * a + j] = t.XYZ(j + 1, a + 1);
  const double v = el::TETDN(X, DN) / 6.0;
  el::GMAT9(DN, G);
  el::SMAT9(S, ST);
  ossa::base::MATMUL(ST, G, SG, 9, 9, 12);
  ossa::base::PACKTMUL(G, SG, ref, 9, 12);
  for (int p = 0; p < 78; ++p) {
    EXPECT_EQ(sk0[p], 0.0);
    EXPECT_NEAR(sk[p], v * ref[p], 1e-12);
  }
}

TEST(Solid, PlasticElementReadsItsOperator) {
  ossa::testing::enter_scratch();
  Model m;
  ossa::model::MODELRESET(m);
  auto& u = m.unit(m.UNIT(7));
  ASSERT_TRUE(ossa::base::open_direct(u, "EXEC.SOL", 336));
  double rec[42];
  for (int i = 0; i < 42; ++i) rec[i] = 0.1 * (i + 1);
  ASSERT_TRUE(ossa::base::dwrite(u, 3, rec, sizeof rec));
  Tet t;
  t.r.STATE = 2;
  t.r.EPEQ = 1.0;
  t.displace([](const double* x, double* w) {
    w[0] = 1e-3 * x[0];
    w[1] = 2e-3 * x[2];
    w[2] = -1e-3 * x[1];
  });
  el::SOLFLIN(m, t.P, t.PD, t.r, t.XYZ, t.U, t.NOD, 3, m.UNIT(7), 0);
  const double de[6] = {1e-3, 0.0, 0.0, 0.0, 1e-3, 0.0};
  double dp[6];
  ossa::base::MATMUL(rec + 6, de, dp, 6, 6, 1);
  EXPECT_NEAR(t.r.EPEQ, 1.0 + ossa::base::DOT(rec, de, 3 * 2), 1e-15);
  for (int k = 0; k < 6; ++k) EXPECT_NEAR(t.r.EPLAST(k + 1), dp[k], 1e-15);
  // An elastic element does no file traffic: its plastic strain stays.
  Tet e;
  e.displace([](const double* x, double* w) { w[0] = 1e-3 * x[0]; w[1] = w[2] = 0.0; });
  el::SOLFNL(m, e.P, e.PD, e.r, e.XYZ, e.U, e.NOD, 99, m.UNIT(7), 0);
  EXPECT_EQ(e.r.EPEQ, 0.0);
  ossa::base::close_unit(u, true);
}
