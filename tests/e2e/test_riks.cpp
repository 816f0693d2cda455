// Arc-length control through the whole program on the shallow two-bar truss
// (snap-through): the path past both limit points and back to positive
// stiffness on the closed-form curve, with either solver selector, where
// load control jumps across the unstable branch; and the same truss built
// of tetrahedra between ball joints, against its own closed form.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "e2e/links.hpp"
#include "testutil.hpp"

using namespace ossa;

namespace {

constexpr double A = 1.0, H = 0.1, EA = 1000.0;

double pmax() {
  double p = 0.0;
  for (int i = 1; i < 4000; ++i) p = std::max(p, test::two_bar_load(A, H, EA, 1.0, H * i / 4000.0));
  return p;
}

// The limit points of the closed form lie at w = H (1 -+ 1/sqrt(3)) for a
// shallow truss; between them the load falls as the apex goes down.
bool descending(double w) { return w > 0.045 && w < 0.155; }

struct Point {
  double lam, w;
};

// Runs the truss with the reference load `P` and returns the converged
// points (load scale, apex deflection) of its frames.
std::vector<Point> path(test::LinkDeck d, const std::string& end) {
  test::write_file("EXEC.INP", d.str());
  const auto r = test::run_ossa();
  EXPECT_NE(r.out.find(end), std::string::npos) << r.out << test::read_file("EXEC.LOG");
  std::vector<Point> v;
  for (std::size_t k = 1; k <= test::result_frames(); ++k) {
    const post::Frame f = test::result_frame(k);
    v.push_back({f.h.TIME, -f.DISP.at(2).V[1]});
  }
  return v;
}

}  // namespace

TEST(Riks, SnapThroughFollowsTheClosedFormPastBothLimitPoints) {
  const double P = 1.5 * pmax(), top = pmax() / P;
  // ORK from the start, CG with two load-controlled steps before the
  // arc-length steps take over, and the third-party selector: the arc-length
  // steps run on ORK whatever the deck chose. Load control alone (from
  // step 0) jumps across the unstable branch or gives up: none of its steps
  // finds a point where the load falls.
  for (const auto& [solver, first] : {std::pair{-1, 1}, std::pair{0, 3}, std::pair{-2, 1}, std::pair{-1, 0}}) {
    test::ScratchDir dir;
    test::LinkDeck d = test::two_bar(A, H, EA, P);
    d.solver = solver;
    d.riks = first;
    d.arc = 0.1;
    d.nstep = first ? 150 : 10;
    d.load = {{0.0, 0.0}, {1.0, 1.0}};
    const std::vector<Point> v = path(d, first ? "##$$ExSv end 1 1\n" : "##$$ExSv end ");
    for (const Point& p : v) EXPECT_TRUE(first > 0 || !descending(p.w)) << p.w;
    if (first == 0) continue;
    ASSERT_GT(v.size(), 20u) << solver;
    double hi = 0.0, lo = 0.0, wprev = 0.0;
    int on_descent = 0;
    for (const Point& p : v) {
      EXPECT_NEAR(p.lam, test::two_bar_load(A, H, EA, P, p.w), 0.005 * top) << solver << " w " << p.w;
      EXPECT_GT(p.w, wprev) << solver;  // on along the path, never back to the first branch
      wprev = p.w;
      if (p.w < 2.0 * H * (1.0 - 1.0 / std::sqrt(3.0))) hi = std::max(hi, p.lam);  // the first peak
      lo = std::min(lo, p.lam);
      on_descent += descending(p.w);
    }
    // Over the top, down through the snap to the lower limit, and up again
    // to the full load on the inverted branch.
    EXPECT_NEAR(hi, top, 0.005 * top) << solver;
    EXPECT_NEAR(lo, -top, 0.005 * top) << solver;
    EXPECT_GE(v.back().lam, 1.0) << solver;
    EXPECT_GT(on_descent, 5) << solver;
  }
}

namespace {

// The same truss of solids: each bar a box of `ncell` cubes (b x b section,
// nu = 0) between ball joints, a pyramid of four stiff bars from a joint
// node to each end face of a box. Every node is held across the plane.
test::LinkDeck solid_two_bar(double b, double d, double E, int ncell, double P) {
  test::LinkDeck dk;
  dk.geom = 1;
  dk.E = E;
  dk.nu = 0.0;
  dk.xyz = {{-A, 0, b / 2}, {A, 0, b / 2}, {0, H, b / 2}};  // joints 1, 2 and the apex 3
  dk.tables = {{{-1.0, -1e3 * E * b * b}, {1.0, 1e3 * E * b * b}}};
  const double L0 = std::hypot(A, H), Lb = L0 - 2 * d;
  const test::Box box(ncell, 1, 1, Lb, b, b);
  for (int bar = 0; bar < 2; ++bar) {
    const double ax[2] = {(bar == 0 ? A : -A) / L0, H / L0}, pp[2] = {-ax[1], ax[0]};
    const double x0 = (bar == 0 ? -A : A) + d * ax[0], y0 = d * ax[1];
    const int off = static_cast<int>(dk.xyz.size());
    for (const test::P3& p : box.xyz)
      dk.xyz.push_back({x0 + p.x * ax[0] + (p.y - b / 2) * pp[0], y0 + p.x * ax[1] + (p.y - b / 2) * pp[1], p.z});
    for (auto t : box.tets) {  // turned, not mirrored: 6V stays positive
      for (int& n : t) n += off;
      dk.tets.push_back(t);
    }
    for (int j = 0; j <= 1; ++j)
      for (int k = 0; k <= 1; ++k) {
        dk.bars.push_back({bar + 1, off + box.id(0, j, k), 1});
        dk.bars.push_back({3, off + box.id(ncell, j, k), 1});
      }
  }
  dk.holds = {{1, "111000"}, {2, "111000"}};
  for (int n = 3; n <= static_cast<int>(dk.xyz.size()); ++n) dk.holds.push_back({n, "001000"});
  dk.forces = {{3.0, 0.0, -P, 0.0}};
  return dk;
}

// Its load scale at apex deflection w: the box between the rigid pyramids
// in uniaxial stress, N = E b^2 s (s^2 - 1) / 2 at stretch s (second
// Piola-Kirchhoff stress proportional to Green's strain).
double solid_two_bar_load(double b, double d, double E, double P, double w) {
  const double L0 = std::hypot(A, H), L = std::hypot(A, H - w);
  const double s = (L - 2 * d) / (L0 - 2 * d), N = E * b * b * s * (s * s - 1.0) / 2.0;
  return -2.0 * N * (H - w) / L / P;
}

}  // namespace

TEST(Riks, TrussOfSolidsPassesItsLimitLoad) {
  const double b = 0.01, d = 0.01, E = 1.0e7;
  double top = 0.0;
  for (int i = 1; i < 4000; ++i) top = std::max(top, solid_two_bar_load(b, d, E, 1.0, H * i / 4000.0));
  test::ScratchDir dir;
  test::LinkDeck dk = solid_two_bar(b, d, E, 10, 1.5 * top);
  dk.tol = 1e-6;  // absolute: the reference load norm is below 1
  dk.riks = 1;
  dk.arc = 0.1;
  dk.nstep = 150;
  dk.load = {{0.0, 0.0}, {1.0, 1.0}};
  const std::vector<Point> v = path(dk, "##$$ExSv end 1 1\n");
  ASSERT_GT(v.size(), 20u);
  double hi = 0.0, wprev = 0.0;
  for (const Point& p : v) {
    EXPECT_NEAR(p.lam, solid_two_bar_load(b, d, E, 1.5 * top, p.w), 0.005 / 1.5) << "w " << p.w;
    EXPECT_GT(p.w, wprev);
    wprev = p.w;
    if (p.w < 0.1) hi = std::max(hi, p.lam);
  }
  EXPECT_NEAR(hi, 1.0 / 1.5, 0.005 / 1.5);
  EXPECT_GE(v.back().lam, 1.0);
}

TEST(Riks, EnforcedDisplacementsStayWhereLoadControlLeftThem) {
  // Support 2 is moved out by 0.01 over the time table; one load-controlled
  // step takes it to 0.0005, and the arc-length steps after it leave it there.
  test::ScratchDir dir;
  test::LinkDeck d = test::two_bar(A, H, EA, pmax());
  d.holds[1].second = "211000";
  d.disps = {{2.0, 0.01, 0.0, 0.0}};
  d.riks = 2;
  d.arc = 0.1;
  d.nstep = 20;
  d.load = {{0.0, 0.0}, {1.0, 1.0}};
  const std::vector<Point> v = path(d, "##$$ExSv end 1 1\n");
  ASSERT_EQ(v.size(), 20u);
  for (std::size_t k = 1; k <= v.size(); ++k)
    EXPECT_FLOAT_EQ(test::result_frame(k).DISP.at(1).V[0], 0.0005f) << "frame " << k;
  EXPECT_GT(v.back().w, 10 * v.front().w);  // while the arc moved the apex on
}
