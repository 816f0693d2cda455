// The shell triangle: rigid motions strain nothing on either route, the
// membrane and bending patch tests on an irregular patch turned out of its
// plane, a constant transverse shear at every point, the drilling rotation
// meeting only its spring, both stiffness matrices as the derivatives of
// their forces, and the node frames of flat, curved and folded meshes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "base/kernels.hpp"
#include "elements/family.hpp"
#include "elements/shell.hpp"
#include "elements/tangent.hpp"
#include "mesh.hpp"

using namespace ossa;
using namespace ossa::elements;
using base::PACKIDX;

namespace {

constexpr double E = 1.0e6, NU = 0.25, THICK = 0.01;

// A patch of shells in memory with elastic records and the job arrays.
struct Patch {
  model::Model m;
  Patch(const std::vector<std::array<double, 3>>& xyz, const std::vector<std::vector<int>>& tris,
        double thick = THICK) {
    std::vector<ossa::testing::Elem> el;
    for (const auto& t : tris) el.push_back({1, t});
    ossa::testing::build(m, xyz, el);
    m.RR(rr::PI3) = std::acos(0.5);
    for (int i = 1; i <= m.NSHELL(); ++i) {
      model::SHLREC& r = m.SHLREC(i);
      r.E = E, r.NU = NU, r.THICK = thick, r.GROUP = 1;
    }
    model::MODELALLOC(m);
    double cls[NCLASS + 1];
    for (int i = 1; i <= m.NELEM(); ++i) SHLSTART(m, m.ELEM(i), cls);
  }
  // Internal forces of the present U on the route GEONL.
  void forces(int geonl) {
    m.KK(kk::GEONL) = geonl;
    m.P.fill(0.0);
    for (int i = 1; i <= m.NELEM(); ++i) {
      model::SHLREC& r = m.SHLREC(i);
      r.STRAIN.fill(0.0), r.STRESS.fill(0.0);
      SHLFORCE(m, m.ELEM(i), m.P, 0);
    }
  }
  model::SHLREC& rec(int i) { return m.SHLREC(i); }
};

// A rotation: Q maps the plane's axes (x, y, z) to global axes.
struct Turn {
  double Q[9];  // column by column
  explicit Turn(const double* th) { SHLROT(th, Q); }
  void apply(const double* a, double* b) const { base::MATMUL(Q, a, b, 3, 3, 1); }
};

// MacNeal and Harder's irregular patch, 0.24 x 0.12, four inner nodes, in
// the plane's own axes, turned by Q and moved by OFF.
constexpr double MH[8][2] = {{0, 0}, {0.24, 0}, {0.24, 0.12}, {0, 0.12},
                             {0.04, 0.02}, {0.18, 0.03}, {0.16, 0.08}, {0.08, 0.08}};
Patch macneal(const Turn& q, const double* off) {
  std::vector<std::array<double, 3>> xyz;
  for (const auto& c : MH) {
    const double a[3] = {c[0], c[1], 0.0};
    std::array<double, 3> g;
    q.apply(a, g.data());
    for (int k = 0; k < 3; ++k) g[k] += off[k];
    xyz.push_back(g);
  }
  const int quad[5][4] = {{1, 2, 6, 5}, {2, 3, 7, 6}, {3, 4, 8, 7}, {4, 1, 5, 8}, {5, 6, 7, 8}};
  std::vector<std::vector<int>> tris;
  for (const auto& d : quad) tris.push_back({d[0], d[1], d[2]}), tris.push_back({d[0], d[2], d[3]});
  return Patch(xyz, tris);
}

const double TH[3] = {0.4, -0.7, 0.3}, OFF[3] = {1.0, 2.0, -0.5};

}  // namespace

TEST(Shell, PatchTestsOnAnIrregularPatchOutOfItsPlane) {
  // Plane fields (x, y local to the patch): a constant membrane strain, and
  // w = k (x^2 + x y + y^2) / 2 with the Kirchhoff rotations, for which the
  // tied shear vanishes. Every point holds the exact strain (trace and
  // in-plane invariant, as each element has its own axes) and the inner
  // nodes carry no force.
  const Turn q(TH);
  Patch pt = macneal(q, OFF);
  model::Model& m = pt.m;
  const double k = 1e-3, eps[3] = {1e-3, -0.4e-3, 0.6e-3};  // exx, eyy, gxy
  for (int bending = 0; bending < 2; ++bending) {
    m.U.fill(0.0);
    for (int n = 1; n <= 8; ++n) {
      const double x = MH[n - 1][0], y = MH[n - 1][1];
      double ul[3], tl[3] = {0.0, 0.0, 0.0};
      if (bending) {
        ul[0] = ul[1] = 0.0;
        ul[2] = 0.5 * k * (x * x + x * y + y * y);
        tl[0] = k * (0.5 * x + y);   // dw/dy
        tl[1] = -k * (x + 0.5 * y);  // -dw/dx
      } else {
        ul[0] = eps[0] * x + 0.5 * eps[2] * y, ul[1] = 0.5 * eps[2] * x + eps[1] * y, ul[2] = 0.0;
      }
      q.apply(ul, &m.U(1, n));
      q.apply(tl, &m.U(4, n));
    }
    pt.forces(0);
    for (int n = 5; n <= 8; ++n)
      for (int c = 1; c <= 6; ++c) EXPECT_NEAR(m.P(c, n), 0.0, 1e-9) << bending << " node " << n << " " << c;
    for (int i = 1; i <= m.NSHELL(); ++i)
      for (int j = 1; j <= 3; ++j) {
        const double c = -0.5 * THICK * SHLZETA[j - 1];
        const double tr = bending ? c * 2 * k : eps[0] + eps[1];
        const double inv = bending ? c * c * k * k : (eps[0] - eps[1]) * (eps[0] - eps[1]) + eps[2] * eps[2];
        for (int pnt = 1; pnt <= 4; ++pnt) {
          const double* s = &pt.rec(i).STRAIN(1, pnt, j);
          EXPECT_NEAR(s[0] + s[1], tr, 1e-12) << i;
          EXPECT_NEAR((s[0] - s[1]) * (s[0] - s[1]) + s[2] * s[2], inv, 1e-15) << i;
          EXPECT_NEAR(s[3], 0.0, 1e-12);
          EXPECT_NEAR(s[4], 0.0, 1e-12);
        }
      }
  }
}

TEST(Shell, RigidMotionsStrainNothingOnBothRoutes) {
  // Small-displacement route: a small rigid motion strains nothing, and the
  // only force is the drilling spring's moment on the normal rotation.
  // Nonlinear route: a finite rotation with its directors turned strains
  // nothing and gives no force at all.
  const Turn q(TH);
  Patch pt = macneal(q, OFF);
  model::Model& m = pt.m;
  const double w[3] = {1e-4, -2e-4, 3e-4}, c[3] = {0.01, -0.02, 0.03};
  for (int n = 1; n <= 8; ++n) {
    double d[3], wx[3];
    base::VSUB(&m.XYZ(1, n), OFF, d, 3);
    base::CROSS(w, d, wx);
    for (int k = 0; k < 3; ++k) m.U(k + 1, n) = c[k] + wx[k], m.U(k + 4, n) = w[k];
  }
  pt.forces(0);
  double nrm[3];
  const double z[3] = {0.0, 0.0, 1.0};
  q.apply(z, nrm);
  const double wn = base::DOT(w, nrm, 3), drill = 1e-5 * E * THICK * THICK * THICK;
  for (int n = 1; n <= 8; ++n) {
    int touching = 0;  // elements at the node
    for (int i = 1; i <= m.NELEM(); ++i) touching += std::count(m.ELEM(i).NOD.begin(), m.ELEM(i).NOD.end(), n);
    for (int k = 1; k <= 3; ++k) {
      EXPECT_NEAR(m.P(k, n), 0.0, 1e-9);
      EXPECT_NEAR(m.P(3 + k, n), touching * drill * wn * nrm[k - 1], 1e-12);
    }
  }
  const double big[3] = {0.9, 1.7, -0.6};
  double R[9];
  SHLROT(big, R);
  for (int n = 1; n <= 8; ++n) {
    double d[3], rd[3];
    base::VSUB(&m.XYZ(1, n), OFF, d, 3);
    base::MATMUL(R, d, rd, 3, 3, 1);
    for (int k = 0; k < 3; ++k) m.U(k + 1, n) = c[k] + rd[k] - d[k];
  }
  for (int i = 1; i <= m.NSHELL(); ++i)
    for (int a = 1; a <= 3; ++a) base::MATMUL(R, &pt.rec(i).V0(1, a), &pt.rec(i).V(1, a), 3, 3, 1);
  pt.forces(1);
  for (int n = 1; n <= 8; ++n)
    for (int k = 1; k <= 6; ++k) EXPECT_NEAR(m.P(k, n), 0.0, 1e-9) << n << " " << k;
  for (int i = 1; i <= m.NSHELL(); ++i)
    for (double s : pt.rec(i).STRAIN) EXPECT_NEAR(s, 0.0, 1e-13);
}

TEST(Shell, ConstantTransverseShearAndTheDrillingRotation) {
  // One element with its own axes along the global ones: w = gx x + gy y
  // with no rotation is a constant shear, found at all four points of every
  // layer on both routes. A rotation about the normal meets DRILL alone in
  // the small-displacement route and nothing in the nonlinear one.
  // The element lies far from the origin: the nonlinear strains must not
  // come from differences of quantities of the coordinates' size.
  const double x0 = 1.0e4;
  Patch pt({{{1.0, 0.0, x0}, {0.3, 0.8, x0}, {0.0, 0.0, x0}}}, {{1, 2, 3}}, 0.05);
  model::Model& m = pt.m;
  const double gx = 2e-7, gy = -3e-7;
  for (int n = 1; n <= 3; ++n) m.U(3, n) = gx * m.XYZ(1, n) + gy * m.XYZ(2, n);
  for (int geonl = 0; geonl < 2; ++geonl) {
    pt.forces(geonl);
    for (int j = 1; j <= 3; ++j)
      for (int p = 1; p <= 4; ++p) {
        EXPECT_NEAR(pt.rec(1).STRAIN(4, p, j), gx, 1e-6 * gx) << geonl;
        EXPECT_NEAR(pt.rec(1).STRAIN(5, p, j), gy, 1e-6 * -gy) << geonl;
      }
  }
  double sk[SHLNK];
  model::SHLREC& r = pt.rec(1);
  r.STRESS.fill(0.0);
  const double drill = 1e-5 * E * 0.05 * 0.05 * 0.05;
  EXPECT_DOUBLE_EQ(r.DRILL, drill);
  m.U.fill(0.0);
  for (int geonl = 0; geonl < 2; ++geonl) {
    const std::int32_t nod[3] = {1, 2, 3};
    if (geonl) SHLKNL(nod, m.XYZ, m.U, r, m.FRAMEFLG, m.FRAME, sk);
    else SHLKLIN(nod, m.XYZ, r, sk);
    for (int a = 0; a < 3; ++a)
      for (int c = 1; c <= SHLNE; ++c) {
        const double want = geonl == 0 && c == 6 * a + 6 ? drill : 0.0;
        EXPECT_EQ(sk[PACKIDX(6 * a + 6, c, SHLNE) - 1], want) << geonl << " " << c;
      }
  }
}

TEST(Shell, StiffnessIsTheDerivativeOfTheForceOnBothRoutes) {
  // Small-displacement route: P = K u, with one tangent at all points and
  // with one point's tangent changed. Nonlinear route, in a bent and
  // stretched state with stress: K against central differences of the
  // force, a rotation moving the node's director by the exponential map.
  Patch pt({{{1.0, 0.2, 0.1}, {0.2, 0.9, -0.1}, {0.1, 0.0, 0.2}}}, {{1, 2, 3}}, 0.08);
  model::Model& m = pt.m;
  std::mt19937 gen(3);
  std::uniform_real_distribution<double> rnd(-1.0, 1.0);
  for (int n = 1; n <= 3; ++n)
    for (int k = 1; k <= 6; ++k) m.U(k, n) = 0.05 * rnd(gen);
  const std::int32_t nod[3] = {1, 2, 3};
  double sk[SHLNK];
  const auto D0 = pt.rec(1).D;
  for (int pass = 0; pass < 2; ++pass) {  // one tangent at all points, then one point softer
    if (pass == 1)
      for (double& d : pt.rec(1).D) d *= (&d - pt.rec(1).D.data()) / 15 == 5 ? 0.5 : 1.0;
    SHLKLIN(nod, m.XYZ, pt.rec(1), sk);
    pt.forces(0);
    for (int p = 1; p <= SHLNE; ++p) {
      double ku = 0.0;
      for (int c = 1; c <= SHLNE; ++c) ku += sk[PACKIDX(p, c, SHLNE) - 1] * m.U((c - 1) % 6 + 1, (c - 1) / 6 + 1);
      EXPECT_NEAR(m.P((p - 1) % 6 + 1, (p - 1) / 6 + 1), ku, 1e-9 * E * 0.08) << pass << " " << p;
    }
  }
  // The nonlinear state: displacements as they are, directors turned by the
  // rotations in U.
  model::SHLREC base_rec = pt.rec(1);
  for (int a = 1; a <= 3; ++a) {
    double R[9];
    SHLROT(&m.U(4, a), R);
    base::MATMUL(R, &base_rec.V0(1, a), &base_rec.V(1, a), 3, 3, 1);
  }
  auto force = [&](int c, double h, double* f) {
    model::SHLREC r = base_rec;
    const int a = c / 6 + 1, k = c % 6 + 1;
    if (k <= 3) m.U(k, a) += h;
    else {
      double th[3] = {0.0, 0.0, 0.0}, R[9], v[3];
      th[k - 4] = h;
      SHLROT(th, R);
      base::MATMUL(R, &r.V(1, a), v, 3, 3, 1);
      for (int i = 0; i < 3; ++i) r.V(i + 1, a) = v[i];
    }
    r.STRAIN.fill(0.0), r.STRESS.fill(0.0);
    m.P.fill(0.0);
    SHLFNL(m, m.P, m.P, r, m.XYZ, m.U, nod, 1, 0, 0);
    if (k <= 3) m.U(k, a) -= h;
    for (int p = 0; p < SHLNE; ++p) f[p] = m.P(p % 6 + 1, p / 6 + 1);
    return r;
  };
  for (int pass = 0; pass < 2; ++pass) {  // both ways of the material part
    base_rec.D = pass == 0 ? D0 : pt.rec(1).D;
    double f0[SHLNE];
    SHLKNL(nod, m.XYZ, m.U, force(0, 0.0, f0), m.FRAMEFLG, m.FRAME, sk);
    // Rotations compose, so the differences of the force carry a skew part,
    // half the moment of the force about the axis of the two rotations; the
    // tangent is their symmetric part.
    auto K = [&](int p, int q) { return test::packed(sk, SHLNE, p, q); };
    EXPECT_LT(test::tangent_misfit(SHLNE, K, force, 1e-6, true), 1e-6) << pass;
  }
}

TEST(Shell, ShearModulusFallsAsTheAreaGrows) {
  // At a fixed thickness (the mass is the family table's, tested with the others').
  Patch small({{{1, 0, 0}, {0, 1, 0}, {0, 0, 0}}}, {{1, 2, 3}});
  Patch large({{{4, 0, 0}, {0, 4, 0}, {0, 0, 0}}}, {{1, 2, 3}});
  EXPECT_GT(small.rec(1).GS, large.rec(1).GS);
  EXPECT_LT(small.rec(1).GS, E / (2 * (1 + NU)));
}

TEST(Shell, NodeFramesOfFlatCurvedAndFoldedMeshes) {
  // Two triangles on a common edge, the second turned about it by an angle:
  // up to 60 degrees the edge nodes get the mean director and the thickness
  // measured along it; a fold beyond that leaves them without a frame. A
  // second element numbered the other way round is turned to the first.
  struct Case { double deg; bool flip; bool framed; };
  const Case cases[] = {{0.0, false, true}, {40.0, true, true}, {90.0, false, false}};
  for (const Case& c : cases) {
    const double a = c.deg * std::acos(-1.0) / 180.0;
    std::vector<std::vector<int>> tris = {{1, 2, 3}, c.flip ? std::vector<int>{2, 4, 3} : std::vector<int>{3, 4, 2}};
    Patch pt({{{-1, 0, 0}, {0, -1, 0}, {0, 1, 0}, {std::cos(a), 0, std::sin(a)}}}, tris);
    SHLFRAMES(pt.m);
    for (int nd : {2, 3}) {
      ASSERT_EQ(pt.m.FRAMEFLG(nd), c.framed ? 1 : 0) << c.deg;
      if (!c.framed) continue;
      const double half = 0.5 * a;
      const double want[3] = {-std::sin(half), 0.0, std::cos(half)};
      for (int k = 1; k <= 3; ++k) EXPECT_NEAR(std::fabs(pt.m.FRAME(3, k, nd)), std::fabs(want[k - 1]), 1e-12);
      for (int e = 1; e <= 2; ++e) {
        const int at = pt.m.ELEM(e).NOD(1) == nd ? 1 : (pt.m.ELEM(e).NOD(2) == nd ? 2 : 3);
        EXPECT_NEAR(pt.rec(e).TNODE(at), THICK / std::cos(half), 1e-12);
        double d = 0.0;  // the element's director keeps its side
        for (int k = 1; k <= 3; ++k) d += pt.rec(e).V0(k, at) * pt.rec(e).V(k, at);
        EXPECT_NEAR(d, 1.0, 1e-12);
      }
      // The triad is orthonormal with the director last.
      for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) {
          double d = 0.0;
          for (int k = 1; k <= 3; ++k) d += pt.m.FRAME(i, k, nd) * pt.m.FRAME(j, k, nd);
          EXPECT_NEAR(d, i == j ? 1.0 : 0.0, 1e-12);
        }
    }
  }
}
