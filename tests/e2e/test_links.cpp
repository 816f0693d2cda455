// Truss and gap jobs through the whole program, against closed forms in the
// result files: a statically determinate truss, a bar walked along its
// force-strain table, a shallow two-bar truss on the nonlinear route up to
// its limit point, ligaments that go slack in compression, and a gap that
// opens and closes again between two blocks.
#include <gtest/gtest.h>

#include <Eigen/Dense>

#include <cmath>
#include <sstream>

#include "e2e/links.hpp"
#include "testutil.hpp"

using namespace ossa;
using test::LinkDeck;

namespace {

std::string run(const LinkDeck& d) { return test::run_deck(d.str()); }

// Displacement of node `id` in frame f.
const float* disp(const post::Frame& f, int id) { return f.DISP.at(static_cast<std::size_t>(id - 1)).V; }

// Sum of the x reactions over the nodes `ids`.
double react_x(const post::Frame& f, const std::vector<int>& ids) {
  double s = 0.0;
  for (const auto& r : f.REACT)
    for (int id : ids) s += r.ID == id ? r.V[0] : 0.0;
  return s;
}

}  // namespace

TEST(TrussJob, DeterminateTwoBarTrussMatchesStatics) {
  // Bars from (0,0) and (4,0) to the loaded node (1,2); EA = 1000.
  const double EA = 1000.0, P[2] = {3.0, -5.0};
  // N1 e1 + N2 e2 = P, then e_a . u = N_a L_a / EA.
  const Eigen::Vector2d x3(1.0, 2.0), s[2] = {{0.0, 0.0}, {4.0, 0.0}}, L(std::sqrt(5.0), std::sqrt(13.0));
  Eigen::Matrix2d A;
  for (int a = 0; a < 2; ++a) A.col(a) = (x3 - s[a]) / L(a);
  const Eigen::Vector2d N = A.inverse() * Eigen::Vector2d(P[0], P[1]);
  const Eigen::Vector2d u = A.transpose().inverse() * N.cwiseProduct(L) / EA;
  for (int solver : {-1, 0}) {
    test::ScratchDir dir;
    LinkDeck d;
    d.solver = solver;
    d.xyz = {{0, 0, 0}, {4, 0, 0}, {1, 2, 0}};
    d.bars = {{1, 3, 1}, {2, 3, 1}};
    d.tables = {{{-1.0, -EA}, {1.0, EA}}};
    d.holds = {{1, "111000"}, {2, "111000"}, {3, "001000"}};
    d.load = {{0.0, 0.0}, {1.0, 1.0}};
    d.forces = {{3.0, P[0], P[1], 0.0}};
    run(d);
    const post::Frame f = test::result_frame(test::result_frames());
    ASSERT_EQ(f.TRUSS.size(), 2u);
    for (int a = 0; a < 2; ++a) {
      EXPECT_NEAR(f.TRUSS[a].V[1], N(a), 1e-5 * std::fabs(N(a))) << solver;
      EXPECT_NEAR(f.TRUSS[a].V[0], N(a) / EA, 1e-5 * std::fabs(N(a) / EA)) << solver;
      EXPECT_NEAR(disp(f, 3)[a], u(a), 1e-5 * u.norm()) << solver;
    }
  }
}

TEST(TrussJob, BarWalksItsTableOnBothRoutes) {
  // Segments of slope 5000, 10000, 5000 between four points; the loads go
  // below the first point, through each segment and past the last.
  const test::Table table = {{-0.01, -50.0}, {0.0, 0.0}, {0.01, 100.0}, {0.02, 150.0}};
  const struct { double F, strain; } steps[] = {
      {-80.0, -0.016}, {-25.0, -0.005}, {50.0, 0.005}, {125.0, 0.015}, {200.0, 0.03}};
  for (int geom : {0, 1}) {
    test::ScratchDir dir;
    LinkDeck d;
    d.geom = geom;
    d.solver = geom == 0 ? 0 : -1;
    d.xyz = {{0, 0, 0}, {2, 0, 0}};
    d.bars = {{1, 2, 1}};
    d.tables = {table};
    d.holds = {{1, "111000"}, {2, "011000"}};
    d.nstep = 5;
    d.tend = 5.0;
    d.load = {{0.0, 0.0}};
    for (int k = 0; k < 5; ++k) d.load.push_back({k + 1.0, steps[k].F});
    d.forces = {{2.0, 1.0, 0.0, 0.0}};
    run(d);
    ASSERT_EQ(test::result_frames(), 5u);
    for (int k = 0; k < 5; ++k) {
      const post::Frame f = test::result_frame(static_cast<std::size_t>(k + 1));
      EXPECT_NEAR(f.TRUSS.at(0).V[0], steps[k].strain, 1e-6) << geom << " step " << k + 1;
      EXPECT_NEAR(f.TRUSS.at(0).V[1], steps[k].F, 1e-4) << geom << " step " << k + 1;
      EXPECT_NEAR(disp(f, 2)[0], 2.0 * steps[k].strain, 2e-6) << geom << " step " << k + 1;
    }
  }
}

TEST(TrussJob, ShallowTwoBarFollowsTheClosedFormUpToItsLimitPoint) {
  const double A = 1.0, H = 0.1, EA = 1000.0;
  // The limit load: the peak of the load-deflection curve.
  double pmax = 0.0;
  for (int i = 1; i < 4000; ++i) pmax = std::max(pmax, test::two_bar_load(A, H, EA, 1.0, H * i / 4000.0));
  test::ScratchDir dir;
  LinkDeck d = test::two_bar(A, H, EA, pmax);
  d.nstep = 10;
  d.load = {{0.0, 0.0}, {1.0, 0.97}};
  run(d);
  ASSERT_EQ(test::result_frames(), 10u);
  for (int k = 1; k <= 10; ++k) {
    const double lam = 0.097 * k;
    // The deflection on the rising branch where the closed form gives lam.
    double lo = 0.0, hi = H * (1.0 - 1.0 / std::sqrt(3.0)) * 1.2;
    for (int it = 0; it < 200; ++it) {
      const double mid = 0.5 * (lo + hi);
      (test::two_bar_load(A, H, EA, pmax, mid) < lam ? lo : hi) = mid;
    }
    const post::Frame f = test::result_frame(static_cast<std::size_t>(k));
    EXPECT_NEAR(-disp(f, 3)[1], lo, 1e-4 * lo) << "step " << k;
    EXPECT_NEAR(disp(f, 3)[0], 0.0, 1e-9) << "step " << k;
  }
}

TEST(TrussJob, LigamentsGoSlackInCompression) {
  // Four ligaments 0.5 long between stiff blocks, slack up to a strain of
  // 0.01, then EA = 100; B pulled, pushed, and brought back to within the
  // slack.
  std::vector<int> driven;
  LinkDeck d = test::driven_blocks(1.5, 1.0e9, {{0, 0}, {1, 0.02}, {2, -0.02}, {3, 0.004}}, driven);
  d.tables = {{{-1.0, 0.0}, {0.01, 0.0}, {1.01, 100.0}}};
  for (int j = 0; j <= 1; ++j)
    for (int k = 0; k <= 1; ++k) d.bars.push_back({test::block_node(0, 1, j, k), test::block_node(1, 0, j, k), 1});
  test::ScratchDir dir;
  run(d);
  ASSERT_EQ(test::result_frames(), 3u);
  const double strain[3] = {0.04, -0.04, 0.008}, force[3] = {3.0, 0.0, 0.0};
  for (int s = 0; s < 3; ++s) {
    const post::Frame f = test::result_frame(static_cast<std::size_t>(s + 1));
    ASSERT_EQ(f.TRUSS.size(), 4u);
    for (const auto& t : f.TRUSS) {
      EXPECT_NEAR(t.V[0], strain[s], 1e-5 * 0.04) << "step " << s + 1;
      EXPECT_NEAR(t.V[1], force[s], 1e-3) << "step " << s + 1;
    }
    EXPECT_NEAR(react_x(f, driven), 4.0 * force[s], 4e-3) << "step " << s + 1;
  }
}

TEST(GapJob, OpensAndClosesWhereTheFacesMeetAgain) {
  // B pulled away by d, then pushed back through the start to -1.5d: no
  // force while open, then the series stiffness of A, the gap and B.
  const double d0 = 0.01, E = 1000.0;
  std::vector<int> driven;
  LinkDeck d = test::driven_blocks(1.5, E, {{0, 0}, {1, d0}, {2, 0.5 * d0}, {3, -0.5 * d0}, {4, -1.5 * d0}}, driven);
  d.kk9 = 5;
  d.gaps = test::block_gaps();
  test::ScratchDir dir;
  const std::string log = run(d);
  // KGAP = area (E / LMEAN) / 3 at each node pair: the six gaps act as a
  // layer LMEAN thick, LMEAN the mean edge of the cubes' tetrahedra.
  const double lmean = (3.0 + 2.0 * std::sqrt(2.0) + std::sqrt(3.0)) / 6.0, k = E / (2.0 + lmean);
  const double want[4] = {0.0, 0.0, -0.5 * k * d0, -1.5 * k * d0};
  ASSERT_EQ(test::result_frames(), 4u);
  for (int s = 0; s < 4; ++s) {
    const post::Frame f = test::result_frame(static_cast<std::size_t>(s + 1));
    EXPECT_NEAR(react_x(f, driven), want[s], 1e-5 * k * d0) << "step " << s + 1;
    EXPECT_EQ(f.LINKV.empty(), s < 2) << "step " << s + 1;
  }
  // The tool's node table: the gaps push B's face away from A with the
  // force that holds B at its last displacement.
  const auto r = test::run_tool("frame 4 nodes");
  std::istringstream rows(r.out);
  std::string line;
  std::getline(rows, line);
  EXPECT_EQ(line, "node,ux,uy,uz,fx,fy,fz,rx,ry,rz,lx,ly,lz,cx,cy,cz");
  double lx = 0.0;
  while (std::getline(rows, line)) {
    std::vector<double> v;
    std::istringstream cells(line);
    for (std::string c; std::getline(cells, c, ',');) v.push_back(std::stod(c));
    if (v.size() == 16 && v[0] > 8) lx += v[10];
  }
  EXPECT_NEAR(lx, -want[3], 1e-5 * k * d0);
  // All six open in the first step, and close again on the way back.
  EXPECT_NE(log.find("   * CONTACT ITER. =   2   CONVERGED!    \n                 FREE  CONTACT\n"
                     "        FREE        6      0\n     CONTACT        0      0\n"),
            std::string::npos)
      << log;
  EXPECT_NE(log.find("        FREE        0      6\n     CONTACT        0      0\n"), std::string::npos);
}

