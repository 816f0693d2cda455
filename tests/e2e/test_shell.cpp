// Shell jobs through the whole program against closed forms (beam, plate,
// elastica, Scordelis-Lo roof), a cortical shell over a core of tetrahedra
// alike on CG and ORK, and bone shells yielding, cracking and crushing.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

#include "base/fmt.hpp"
#include "shellgen.hpp"
#include "testutil.hpp"

using namespace ossa;
using test::ShellMesh;

namespace {

using test::job_head;
using test::ramp_group;

// The last frame's displacement of node ND, component K (0..2).
double disp(int nd, int k) {
  const post::Frame f = test::result_frame(test::result_frames());
  return f.DISP.at(static_cast<std::size_t>(nd - 1)).V[k];
}

// The deck of a strip L x b of NX x NY cells, clamped at x = 0, with the
// end load LOAD(6) in NSTEP steps on the route GEONL.
std::string strip_deck(int nx, int ny, double L, double b, double t, double E, const std::array<double, 6>& load,
                       int geonl, int nstep) {
  const ShellMesh s(nx, ny, L, b);
  int nl = 0, nh = 0;
  const std::string cards = test::edge_load(s, L, load, nl);
  const std::string held = test::edge_held(s, 0.0, "111111", nh);
  return job_head(s.nnode(), 0, s.ntri(), test::cntrl(geonl, 0, 30, 1e-8, -1), nstep) + s.node_cards() +
         s.shell_cards(t, 0.0, E) + ramp_group(nh, nl) + cards + held + "END\n";
}

}  // namespace

// A good three-node shell bends with constant curvature in each element,
// so the deflections converge as h^2: the error falls about fourfold from
// one mesh to the next. A cantilever strip (L = 10, b = 1, t = 0.1, nu = 0)
// under an end load: F L^3 / (3 E I) plus the shear part F L / (G b t). A
// simply supported square plate (a = 1, t = 0.01, nu = 0.3) under pressure:
// centre deflection 0.00406235 q a^4 / D.
TEST(ShellJob, StripAndPlateConvergeToBeamAndPlateTheory) {
  const double L = 10.0, b = 1.0, t = 0.1, E = 1.0e5, F = 1.0e-3, I = b * t * t * t / 12.0;
  const double tip_want = F * L * L * L / (3 * E * I) + F * L / (0.5 * E * b * t);
  const double a = 1.0, tp = 0.01, nu = 0.3, q = 1.0e-3, D = E * tp * tp * tp / (12 * (1 - nu * nu));
  const struct { int n; double strip_tol, plate_tol; } cases[] = {{8, 5e-3, 2e-2}, {16, 1e-3, 5e-3}};
  for (const auto& c : cases) {
    const int n = c.n;
    {
      test::ScratchDir dir;
      const ShellMesh s(n, 2, L, b);
      test::run_deck(strip_deck(n, 2, L, b, t, E, {0, 0, F, 0, 0, 0}, 0, 1));
      double tip = 0.0;
      for (int j = 0; j <= s.NY; ++j) tip += disp(s.id(n, j), 2) / (s.NY + 1);
      EXPECT_NEAR(tip / tip_want, 1.0, c.strip_tol) << n;
    }
    test::ScratchDir dir;
    const ShellMesh s(n, n, a, a);
    std::string press, held;
    int nh = 0;
    for (const auto& tr : s.tris) press += test::card("PRESS%10d%10d%10d%15.8E", tr[0], tr[1], tr[2], q);
    for (int j = 0; j <= n; ++j)
      for (int i = 0; i <= n; ++i)
        if (i == 0 || j == 0 || i == n || j == n)
          held += test::plnk(s.id(i, j), i == 0 && j == 0 ? "111000" : (i == n && j == 0 ? "011000" : "001000")), ++nh;
    test::run_deck(job_head(s.nnode(), 0, s.ntri(), test::cntrl(0, 0, 10, 1e-8, -1), 1) + s.node_cards() +
                   s.shell_cards(tp, nu, E) + ramp_group(nh, s.ntri()) + press + held + "END\n");
    EXPECT_NEAR(-disp(s.id(n / 2, n / 2), 2) / (0.00406235 * q * a * a * a * a / D), 1.0, c.plate_tol) << n;
  }
}

TEST(ShellJob, LargeDeflectionsOnTheNonlinearRoute) {
  // The strip in ten steps: a tip load P = 2 E I / L^2 against the
  // elastica, the residual falling quadratically in the last step; an end
  // moment M = pi E I / L rolls it into a half circle of radius E I / M,
  // its tip on the circle at every step.
  const double L = 10.0, b = 1.0, t = 0.1, E = 1.0e5;
  const double EI = E * b * t * t * t / 12.0, P = 2.0 * EI / (L * L), M = std::acos(-1.0) * EI / L;
  const int nx = 16, tipnode = nx + 1;
  {
    test::ScratchDir dir;
    test::run_deck(strip_deck(nx, 1, L, b, t, E, {0, 0, P, 0, 0, 0}, 1, 10));
    // The elastica at P L^2 / (E I) = 2 (Bisshopp and Drucker's table):
    // the tip moves 0.1606 L back and 0.4935 L across.
    EXPECT_NEAR(disp(tipnode, 0), -0.1606 * L, 2e-3 * L);
    EXPECT_NEAR(disp(tipnode, 2), 0.4935 * L, 2e-3 * L);
    const std::vector<double> r = test::last_residuals(test::read_file("EXEC.LOG"), 8);
    const std::size_t n = r.size();
    ASSERT_GE(n, 3u);
    EXPECT_LT(r[n - 1], 1e-9 * r[0]);
    // Each of the last two passes squares the residual, up to a constant (in
    // the units of the force; large, as in any thin structure) below 1e3.
    EXPECT_LT(r[n - 1], 1e3 * r[n - 2] * r[n - 2]);
    EXPECT_LT(r[n - 2], 1e3 * r[n - 3] * r[n - 3]);
  }
  test::ScratchDir dir;
  test::run_deck(strip_deck(nx, 1, L, b, t, E, {0, 0, 0, 0, M, 0}, 1, 10));
  ASSERT_EQ(test::result_frames(), 10u);
  for (std::size_t k = 1; k <= 10; ++k) {
    const post::Frame f = test::result_frame(k);
    const double phi = L * M * f.h.TIME / EI, R = L / phi;
    const auto& tip = f.DISP.at(static_cast<std::size_t>(tipnode - 1)).V;
    EXPECT_NEAR(L + tip[0], R * std::sin(phi), 0.01 * L) << k;
    EXPECT_NEAR(tip[2], -R * (1 - std::cos(phi)), 0.01 * L) << k;
  }
}

TEST(ShellJob, CorticalShellOverACoreAloneOnCgAndOrk) {
  // A box of tetrahedra with shells on its top face sharing its nodes, held
  // at the bottom and pressed on top: both solvers give the same
  // displacements on both routes, and the results tool shows the shell
  // layers and writes the triangles to ParaView.
  const test::Box b(3, 3, 2, 3.0, 3.0, 2.0);
  std::string shells, rows, press;
  int nshl = 0, np = 0;
  for (int j = 0; j < b.NY; ++j)
    for (int i = 0; i < b.NX; ++i) {
      const int p = b.id(i, j, b.NZ), q = b.id(i + 1, j, b.NZ), r = b.id(i + 1, j + 1, b.NZ), s = b.id(i, j + 1, b.NZ);
      for (const std::array<int, 3>& tr : {std::array<int, 3>{p, q, r}, std::array<int, 3>{p, r, s}}) {
        ++nshl;
        shells += test::shell(100 + nshl, tr[0], tr[1], tr[2], 0.2);
        rows += test::propt_shell(100 + nshl, 0.3, 2.0e4);
        press += test::card("PRESS%10d%10d%10d%15.8E", tr[0], tr[1], tr[2], 5.0), ++np;
      }
    }
  int nh = 0;
  std::string held;
  for (int i = 1; i <= b.nnode(); ++i)
    if (b.xyz[i - 1].z == 0.0) held += test::plnk(i, "111000"), ++nh;
  for (int geonl = 0; geonl < 2; ++geonl) {
    std::vector<double> got[2];
    for (int k = 0; k < 2; ++k) {
      test::ScratchDir dir;
      test::run_deck(job_head(b.nnode(), b.ntet(), nshl, test::cntrl(geonl, 0, 10, 1e-8, k == 0 ? 0 : -1, 1e-12), 1) +
          b.mesh_cards(0.3, 1000.0) + shells + rows + ramp_group(nh, np) + press + held + "END\n");
      const post::Frame f = test::result_frame(1);
      got[k] = test::frame_disps(1);
      ASSERT_EQ(f.SHELL.size(), static_cast<std::size_t>(nshl));
      for (const auto& s : f.SHELL)
        for (const auto& l : s.L) EXPECT_EQ(l.STATE, 0);
      if (k == 1 || geonl == 1) continue;
      const auto tab = test::run_tool("frame last shells");
      EXPECT_EQ(tab.status, 0);
      EXPECT_EQ(std::count(tab.out.begin(), tab.out.end(), '\n'), 1 + 3 * nshl) << tab.out;
      ASSERT_EQ(std::system("mkdir out"), 0);
      const auto vt = test::run_tool("vtu out");
      ASSERT_EQ(vt.status, 0) << vt.err;
      const std::string vtu = test::read_file("out/EXEC_0001.vtu");
      EXPECT_NE(vtu.find("NumberOfCells=\"" + std::to_string(b.ntet() + nshl) + "\""), std::string::npos);
    }
    EXPECT_LT(test::mismatch(got[1], got[0]), 1e-6) << geonl;
  }
}

TEST(ShellJob, BoneShellsYieldCrackAndCrushThroughTheStatusPass) {
  // A membrane strip of bone pulled in 20 steps to 2.1 times its yield
  // stress: every layer turns PLASTIC with the strain Y / E + (s - Y) / Et,
  // or cracks with a tensile strength below Y; pushed, it crushes past a
  // strain of 0.02 in step 11, where the limit on crushed layers ends it.
  const double E = 1000.0, Y = 10.0, ETR = 0.1, L = 4.0, b = 1.0, t = 0.1;
  const ShellMesh s(4, 1, L, b);
  struct Case { double sigt, ecrush, sign; int state; const char* label; };
  const Case cases[] = {{1.0e6, 1.0e5, 1.0, 2, "                   PLASTIC : "},
                        {5.5, 1.0e5, 1.0, 1, "                   CRACKED : "},
                        {1.0e6, 2.0e4, -1.0, 3, "                   CRUSHED : "}};
  for (const Case& c : cases) {
    test::ScratchDir dir;
    int nl = 0, nh = 0;
    const std::string load = test::edge_load(s, L, {c.sign * 2.1 * Y * b * t, 0, 0, 0, 0, 0}, nl);
    std::string held;
    for (int n = 1; n <= s.nnode(); ++n)
      held += test::plnk(n, s.xyz[n - 1].x == 0.0 ? (n == 1 ? "111111" : "101111") : "001111"), ++nh;
    std::string deck = job_head(s.nnode(), 0, s.ntri(), test::cntrl(0, 1, 30, 1e-7, -1), 20) + s.node_cards() +
                       s.shell_cards(t, {0.0, E, 1, c.sigt, Y, ETR, c.ecrush}) + ramp_group(nh, nl) + load + held +
                       "END\n";
    const std::string limit = test::card("CNTR3%5s%15d%15s%5d%5d", "", 3 * s.ntri(), "", -1, 0);
    if (c.state == 3) deck.replace(deck.find(test::cntr3_cpu()), limit.size(), limit);
    test::run_deck(deck);
    const std::string log = test::read_file("EXEC.LOG");
    const std::size_t shl = log.rfind("     SHELL LAYER   ELASTIC : ");
    ASSERT_NE(shl, std::string::npos);
    EXPECT_NE(log.find(c.label + base::fI(3 * s.ntri(), 8), shl), std::string::npos) << log.substr(shl, 200);
    const post::Frame f = test::result_frame(test::result_frames());
    EXPECT_EQ(test::result_frames(), c.state == 3 ? 11u : 20u);
    for (const auto& e : f.SHELL)
      for (const auto& l : e.L) EXPECT_EQ(l.STATE, c.state);
    if (c.state != 2) continue;
    const double sig = 2.1 * Y, eps = Y / E + (sig - Y) / (ETR * E);
    EXPECT_NEAR(disp(s.id(s.NX, 0), 0) / L, eps, 5e-3 * eps);  // the yielding step keeps a little
    EXPECT_NEAR(f.SHELL[0].L[0].V[8], (sig - Y) * (1.0 / (ETR * E) - 1.0 / E), 2e-3 * eps);  // EPEQ
  }
}

TEST(ShellJob, ScordelisLoRoofOnBothRoutes) {
  // The cylindrical roof (R = 25, L = 50, t = 0.25, 40 degrees a side, on
  // end diaphragms) under its weight, a quarter of it on 16 x 16 cells: the
  // free edge's midspan deflection against 0.3024. The nonlinear route,
  // here under a thousandth of the load, has averaged directors at the nodes
  // and comes from below; the flat facets of the small-displacement route
  // come out a little above.
  const double R = 25.0, q = 90.0, E = 4.32e8;
  const int n = 16;
  ShellMesh s(n, n, 25.0, R * 40.0 / 180.0 * std::acos(-1.0));
  s.roll(R);
  std::vector<double> fz(static_cast<std::size_t>(s.nnode()) + 1, 0.0);
  for (const auto& tr : s.tris) {
    const test::P3 &a = s.xyz[tr[0] - 1], &b = s.xyz[tr[1] - 1], &c = s.xyz[tr[2] - 1];
    const double u[3] = {b.x - a.x, b.y - a.y, b.z - a.z}, v[3] = {c.x - a.x, c.y - a.y, c.z - a.z};
    const double cx = u[1] * v[2] - u[2] * v[1], cy = u[2] * v[0] - u[0] * v[2], cz = u[0] * v[1] - u[1] * v[0];
    for (int k : tr) fz[static_cast<std::size_t>(k)] -= q * 0.5 * std::sqrt(cx * cx + cy * cy + cz * cz) / 3.0;
  }
  for (int geonl = 0; geonl < 2; ++geonl) {
    test::ScratchDir dir;
    const double scale = geonl ? 1e-3 : 1.0;
    std::string loads, held;
    int nh = 0;
    for (int j = 0; j <= n; ++j)
      for (int i = 0; i <= n; ++i) {
        loads += test::force(s.id(i, j), 0.0, 0.0, scale * fz[static_cast<std::size_t>(s.id(i, j))]);
        // Diaphragm at x = 0, symmetry at midspan and at the crown.
        const char* f = i == 0 ? (j == 0 ? "011101" : "011000") : (i == n ? (j == 0 ? "110111" : "100011")
                                                                           : (j == 0 ? "010101" : nullptr));
        if (f) held += test::plnk(s.id(i, j), f), ++nh;
      }
    test::run_deck(job_head(s.nnode(), 0, s.ntri(), test::cntrl(geonl, 0, 10, 1e-8, -1), 1) + s.node_cards() +
        s.shell_cards(0.25, 0.0, E) + ramp_group(nh, s.nnode()) + loads + held + "END\n");
    const double w = -disp(s.id(n, n), 2) / scale;
    if (geonl) EXPECT_NEAR(w, 0.3024 * 0.97, 0.03 * 0.3024);
    else EXPECT_NEAR(w, 0.3024 * 1.02, 0.02 * 0.3024);
  }
}
