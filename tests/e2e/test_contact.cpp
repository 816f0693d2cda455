// Contact jobs through the whole program: a unit block under a unit block of
// the same plan, meshed with other cell counts, so that the interface does
// not match. The upper block's bottom nodes are the slaves, the lower
// block's top the master; both solids have E = 1000 and unit height.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "deckgen.hpp"
#include "testutil.hpp"

using namespace ossa;

namespace {

constexpr double E = 1000.0, DELTA = 0.002;  // the press: strain DELTA / 2, stress E DELTA / 2 = 1

struct Blocks {
  std::vector<test::P3> xyz;
  std::vector<std::array<int, 4>> tets;
  std::vector<std::array<int, 3>> master, slave;  // lower top, upper bottom; normals into their body
  int nlow = 0;                                    // nodes of the lower block come first
  double X0 = 0.0, Y0 = 0.0, SIZE = 1.0;           // the lower block's plan
  bool quarter = false;                            // x = 0 and y = 0 are planes of symmetry
};

// The triangles of the box's tetrahedra on the plane z = Z, turned so that
// their normal points to +z (UP) or -z.
void plane_faces(const Blocks& b, std::size_t first, std::size_t last, double Z, bool up,
                 std::vector<std::array<int, 3>>& out) {
  for (std::size_t e = first; e < last; ++e)
    for (int skip = 0; skip < 4; ++skip) {
      std::array<int, 3> f{};
      int k = 0;
      for (int a = 0; a < 4; ++a)
        if (a != skip && std::fabs(b.xyz[b.tets[e][a] - 1].z - Z) < 1e-12 && k < 3) f[k++] = b.tets[e][a];
      if (k < 3 || f[2] == 0) continue;
      const test::P3 &p = b.xyz[f[0] - 1], &q = b.xyz[f[1] - 1], &r = b.xyz[f[2] - 1];
      const double nz = (q.x - p.x) * (r.y - p.y) - (q.y - p.y) * (r.x - p.x);
      if ((nz > 0.0) != up) std::swap(f[1], f[2]);
      out.push_back(f);
    }
}

// The lower block spans SIZE from (X0, Y0) in plan, the upper one the unit
// square.
Blocks two_blocks(int nlo, int nup, double SIZE = 1.0, double X0 = 0.0, double Y0 = 0.0, int nz = 1) {
  Blocks b;
  b.X0 = X0, b.Y0 = Y0, b.SIZE = SIZE;
  const test::Box lo(nlo, nlo, nz, SIZE, SIZE, 1.0), up(nup, nup, nz, 1.0, 1.0, 1.0);
  for (auto p : lo.xyz) b.xyz.push_back({p.x + X0, p.y + Y0, p.z});
  b.tets = lo.tets;
  b.nlow = lo.nnode();
  for (auto p : up.xyz) b.xyz.push_back({p.x, p.y, p.z + 1.0});
  for (auto t : up.tets) b.tets.push_back({t[0] + b.nlow, t[1] + b.nlow, t[2] + b.nlow, t[3] + b.nlow});
  plane_faces(b, 0, lo.tets.size(), 1.0, false, b.master);
  plane_faces(b, lo.tets.size(), b.tets.size(), 1.0, true, b.slave);
  return b;
}

bool upper(const Blocks& b, int node) { return node > b.nlow; }

struct Job {
  const char* name;
  int solver, threads, contiter;
  double nu, mu;  // Poisson's ratio, friction coefficient (0: none)
  double push;    // sideways push of the upper block's top in a second step, after the press
  double lift;    // the top's z in the second step, in units of DELTA (the press is -1)
};

// The deck: lower bottom held (in z only for the patch), upper top
// enforced: pressed by DELTA in the first step, then pushed or lifted.
std::string deck(const Blocks& b, const Job& j) {
  const bool second = j.push != 0.0 || j.lift != -1.0;
  std::string held, press, side;
  int nheld = 0, npress = 0, nside = 0;
  const bool all = j.mu > 0.0 || j.push != 0.0;  // held in plan everywhere
  for (int n = 1; n <= static_cast<int>(b.xyz.size()); ++n) {
    const test::P3& p = b.xyz[n - 1];
    const double x0 = p.z == 0.0 ? b.X0 : 0.0, y0 = p.z == 0.0 ? b.Y0 : 0.0, x1 = p.z == 0.0 ? b.X0 + b.SIZE : 1.0;
    const bool corner = p.x == x0 && p.y == y0, xedge = std::fabs(p.x - x1) < 1e-12 && p.y == y0;
    char f[7] = "000000";
    if (p.z == 0.0 || p.z == 2.0) {
      f[0] = all && p.z == 2.0 ? '2' : (all || corner ? '1' : '0');
      f[1] = all || corner || xedge ? '1' : '0';
      f[2] = p.z == 0.0 ? '1' : '2';
    }
    if (b.quarter) f[0] = p.x == 0.0 ? '1' : f[0], f[1] = p.y == 0.0 ? '1' : f[1];
    if (std::string(f) != "000000") held += test::plnk(n, f), ++nheld;
    if (p.z == 2.0) {
      press += test::disp(n, 0.0, 0.0, -DELTA), ++npress;
      if (j.push != 0.0) side += test::disp(n, j.push, 0.0, 0.0), ++nside;
    }
  }
  std::string loads = test::nload(3, npress) + test::tblld(0.0, 0.0) + test::tblld(1.0, 1.0) +
                      test::tblld(2.0, -j.lift) + press;
  if (nside > 0) loads += test::nload(3, nside) + test::tblld(0.0, 0.0) + test::tblld(1.0, 0.0) + test::tblld(2.0, 1.0) + side;
  std::string s = test::cntnd(static_cast<int>(b.xyz.size())) + test::cntel(static_cast<int>(b.tets.size())) +
                  test::cntrl(0, 0, 30, 1e-7, j.solver) + test::cntr2(1, j.contiter) +
                  test::card("CNTR3%5s%30s%5d%5d", "", "", -1, j.threads) + test::kukan(second ? 2.0 : 1.0, second ? 2 : 1);
  for (std::size_t n = 0; n < b.xyz.size(); ++n) s += test::node(static_cast<int>(n + 1), b.xyz[n].x, b.xyz[n].y, b.xyz[n].z);
  for (std::size_t e = 0; e < b.tets.size(); ++e)
    s += test::solid(static_cast<int>(e + 1), b.tets[e]) + test::propt_solid(static_cast<int>(e + 1), j.nu, E);
  s += test::card("NBODY%5d", 2) + test::card("BODY %5s%10d", "", static_cast<int>(b.master.size())) +
       test::card("BODY %5s%10d", "", static_cast<int>(b.slave.size()));
  for (const auto* fs : {&b.master, &b.slave})
    for (const auto& f : *fs) s += test::card("CSURF%10d%10d%10d", f[0], f[1], f[2]);
  s += test::card("CBODY%5d%5d%10.3f%10.3f", 2, 1, j.mu, 1.0);
  return s + test::ngld(nside > 0 ? 2 : 1) + test::nplnk(nheld) + loads + held + "END\n";
}

// Sums of a node section over the upper and the lower block, by direction.
void split_sum(const Blocks& b, const std::vector<post::NodeOut>& s, double up[3], double lo[3]) {
  for (int k = 0; k < 3; ++k) up[k] = lo[k] = 0.0;
  for (const auto& r : s)
    for (int k = 0; k < 3; ++k) (upper(b, r.ID) ? up : lo)[k] += r.V[k];
}

}  // namespace

// Pressed through the interface without friction, the slaves' contact
// forces sum to the load on the top and their reactions on the master to
// minus it, whatever the meshes. With the slave mesh refining the master's
// (2 x 2 cells on 4 x 4) they are the consistent loads of a uniform
// pressure and every element holds the uniaxial stress E DELTA / 2; on 3 x 3
// under 2 x 2 node-on-face contact carries the load, not uniformly. Both
// solvers; one and two threads give the same files; with a contact limit of
// 1 the table says "NOT CONVERGED!" and the job goes on.
TEST(ContactJob, PatchThroughNonMatchingInterface) {
  const Blocks nested = two_blocks(2, 4), other = two_blocks(3, 2);
  struct Case {
    Job job;
    const Blocks* b;
  };
  const Case cases[] = {{{"cg", 0, 1, 5, 0.3, 0.0, 0.0, -1.0}, &nested},
                        {{"cg 2 threads", 0, 2, 5, 0.3, 0.0, 0.0, -1.0}, &nested},
                        {{"ork 2 threads", -1, 2, 5, 0.3, 0.0, 0.0, -1.0}, &nested},
                        {{"3 x 3 under 2 x 2", -1, 1, 5, 0.3, 0.0, 0.0, -1.0}, &other},
                        {{"limit 1", 0, 1, 1, 0.3, 0.0, 0.0, -1.0}, &nested}};
  std::string one[2];  // the result files of one thread
  for (const Case& c : cases) {
    const Job& j = c.job;
    const Blocks& b = *c.b;
    SCOPED_TRACE(j.name);
    test::ScratchDir dir;
    const std::string log = test::run_deck(deck(b, j));
    ASSERT_NE(log.find("             FREE  POINT   EDGE   FACE"), std::string::npos);
    if (j.contiter == 1) {
      EXPECT_NE(log.find("NOT CONVERGED!"), std::string::npos);
      continue;
    }
    EXPECT_NE(log.find("CONVERGED!    "), std::string::npos) << log;
    if (j.solver == 0) {
      const std::string got[2] = {test::read_file("EXEC.Bdsp"), test::read_file("EXEC.Bstr")};
      if (j.threads == 1) one[0] = got[0], one[1] = got[1];
      else EXPECT_TRUE(got[0] == one[0] && got[1] == one[1]) << "two threads differ from one";
    }
    const post::Frame f = test::result_frame(test::result_frames());
    double up[3], lo[3], rup[3], rlo[3];
    split_sum(b, f.LINKF, up, lo);
    split_sum(b, f.REACT, rup, rlo);
    EXPECT_NEAR(up[2], -rup[2], 1e-6);
    EXPECT_NEAR(lo[2], rup[2], 1e-6);
    if (c.b != &nested) continue;
    const double load = E * DELTA / 2.0;
    EXPECT_NEAR(up[2], load, 1e-6);
    // The tool shows them as the nodes' link force, last three columns.
    const auto r = test::run_tool("frame last nodes");
    double cz = 0.0;
    for (std::size_t p = r.out.find('\n'); p != std::string::npos && p + 1 < r.out.size(); p = r.out.find('\n', p + 1))
      if (upper(b, std::stoi(r.out.substr(p + 1)))) cz += std::stod(r.out.substr(r.out.rfind(',', r.out.find('\n', p + 1)) + 1));
    EXPECT_NEAR(cz, load, 1e-5);
    for (const auto& e : f.SOLID) EXPECT_LT(std::hypot(e.V[0], e.V[1], e.V[2] + load), 1e-5) << e.ID;
  }
}

// With friction (mu 0.3, slip scale S0 1 % of the master's mean edge) the
// pressed block, on a wider plate of 3 x 3 cells of 1/2 (no slave on a
// master edge), is pushed sideways by its top. The friction force follows
// mu N (2/pi) atan(slip/S0): well under mu N for a small push (regularised
// stick), close to it for a large one (slide). Pulled apart instead, the
// pair goes FREE and carries nothing.
TEST(ContactJob, FrictionAndSeparation) {
  const Blocks b = two_blocks(3, 2, 1.5, -0.3, -0.2);
  const double mu = 0.3;
  struct Case {
    Job job;
    double fmin, fmax;  // friction force over mu N
  };
  const Case cases[] = {{{"stick", 0, 1, 8, 0.0, mu, 0.001, -1.0}, 0.05, 0.5},
                        {{"slide", -1, 1, 8, 0.0, mu, 0.1, -1.0}, 0.9, 1.0},
                        {{"apart", 0, 1, 8, 0.3, 0.0, 0.0, 1.0}, 0.0, 0.0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.job.name);
    test::ScratchDir dir;
    test::run_deck(deck(b, c.job));
    const post::Frame f = test::result_frame(test::result_frames());
    double up[3], lo[3];
    split_sum(b, f.REACT, up, lo);
    const double N = -up[2];  // the press the top holds
    if (c.job.mu == 0.0) {
      EXPECT_TRUE(f.LINKF.empty());
      for (const auto& e : f.SOLID) EXPECT_NEAR(std::fabs(e.V[0]) + std::fabs(e.V[2]), 0.0, 1e-6) << e.ID;
      continue;
    }
    EXPECT_GT(N, 0.0);
    const double F = up[0];            // the push the top needs: the friction force
    EXPECT_TRUE(F > c.fmin * mu * N && F < c.fmax * mu * N) << F / (mu * N);
    // Slip: the mean of the slaves' x motion less the master's below them.
    double sum[2] = {}, count[2] = {};
    for (const auto& d : f.DISP)
      if (b.xyz[d.ID - 1].z == 1.0) sum[upper(b, d.ID)] += d.V[0], ++count[upper(b, d.ID)];
    const double slip = sum[1] / count[1] - sum[0] / count[0], S0 = 0.01 * (12.0 + 4.5 * std::sqrt(2.0)) / 33.0;  // 24 sides and 9 diagonals of cells 1/2
    EXPECT_NEAR(F / (mu * N), std::atan(slip / S0) / 1.5707963267948966, 0.1 * F / (mu * N)) << slip;
  }
}

// The lower block's top is a roof with a ridge along x = 1/2 under the
// upper block's fitted bottom, whose middle row of slaves is on the ridge.
// Pushed frictionless across, the row reaches the edge with its force out of
// the wedge of the two faces' normals (which would hold it there) and goes
// on to the far face (small push) or, the block climbing, FREE (large push).
TEST(ContactJob, SlaveLeavesRidge) {
  Blocks b = two_blocks(2, 2, 1.2, -0.1, -0.15);
  for (auto& p : b.xyz)
    if (p.z == 1.0) p.z += 0.06 * (1.0 - std::fabs(p.x - 0.5) / 0.6);
  // The push; the slaves of both bodies' 18 resting on a face at the end.
  const struct { double push; int face; } cases[] = {{0.003, 9}, {0.1, 3}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.push);
    test::ScratchDir dir;
    const std::string log = test::run_deck(deck(b, {"ridge", 0, 1, 12, 0.3, 0.0, c.push, -1.0}));
    std::vector<std::array<int, 4>> step[2];  // each contact pass's count of new states, by step
    for (std::size_t p = log.find("\n      FREE"); p != std::string::npos; p = log.find("\n      FREE", p + 1)) {
      std::array<int, 4> n{};
      for (std::size_t row = 0, q = p + 1; row < 4; ++row, q = log.find('\n', q) + 1)
        for (int k = 0; k < 4; ++k) n[k] += std::stoi(log.substr(q + 10 + 7 * k, 7));
      step[p > log.find("STEP NO. = 2")].push_back(n);
    }
    ASSERT_TRUE(!step[0].empty() && !step[1].empty()) << log;
    EXPECT_EQ(step[0].back(), (std::array<int, 4>{9, 0, 0, 9}));
    EXPECT_TRUE(std::any_of(step[1].begin(), step[1].end(), [](const auto& n) { return n[2] > 0; }));
    EXPECT_EQ(step[1].back(), (std::array<int, 4>{18 - c.face, 0, 0, c.face}));
    int moved = 0;  // the middle row, moved by most of the push
    for (const auto& d : test::result_frame(test::result_frames()).DISP)
      if (upper(b, d.ID) && b.xyz[d.ID - 1].x == 0.5 && b.xyz[d.ID - 1].z < 1.5) moved += d.V[0] > 0.6 * c.push;
    EXPECT_EQ(moved, 3);
  }
}

// Hertz on a quarter model (symmetry planes x, y = 0): a block with a
// paraboloid end (R = 2) pressed by DELTA onto a flat one, unit cubes with
// cells of 1/74 (slaves 1/47) out to r = 0.068, growing by 1.6 beyond. From
// the force P: a = (3 P R / 4 E*)^(1/3) ~ 0.065, E* = E / 2 (1 - nu^2), and
// the approach a^2 / R. The rigid bases take away the half space's give
// below depth 1, Boussinesq's P (1 + nu) (3 - 2 nu) / (2 pi E) a block on
// the axis, 5 % of the press: added back, Hertz holds within 1 %, also on
// cells a third as large; width and base grow with a (2.5 % at twice a):
// bound 2 %. The farthest loaded slave lies within a slave spacing inside a.
TEST(ContactJob, HertzRadiusAndApproach) {
  const double R = 2.0, nu = 0.3, Q = 1.6;
  const int M = 5, N = 12;
  auto edge = [&](double s, int n) {  // cell edges on n cells: M of one size, then each Q times the last
    const auto at = [&](long k) { return k <= M ? k : M + Q * (std::pow(Q, k - M) - 1.0) / (Q - 1.0); };
    return at(std::lround(s * n)) / at(n);
  };
  Blocks b = two_blocks(N, N - 1, 1.0, 0.0, 0.0, N);
  b.quarter = true;
  for (auto& p : b.xyz) {
    const bool up = upper(b, static_cast<int>(&p - b.xyz.data()) + 1);
    p.x = edge(p.x, N - up), p.y = edge(p.y, N - up);
    p.z = up ? 1.0 + edge(p.z - 1.0, N) : 1.0 - edge(1.0 - p.z, N);
    if (up) p.z += (p.x * p.x + p.y * p.y) / (2.0 * R) * (2.0 - p.z);  // the gap, fading to the top
  }
  test::ScratchDir dir;
  test::run_deck(deck(b, {"hertz", 0, 1, 20, nu, 0.0, 0.0, -1.0}));
  const post::Frame f = test::result_frame(test::result_frames());
  double up[3], lo[3], a = 0.0;
  split_sum(b, f.REACT, up, lo);
  for (const auto& r : f.LINKF)
    if (upper(b, r.ID) && std::fabs(r.V[2]) > 1e-9) a = std::max(a, std::hypot(b.xyz[r.ID - 1].x, b.xyz[r.ID - 1].y));
  const double P = -4.0 * up[2], aH = std::cbrt(3.0 * P * R * 2.0 * (1.0 - nu * nu) / (4.0 * E));
  EXPECT_TRUE(a <= aH && a > aH - edge(1.0 / (N - 1), N - 1)) << a << " " << aH;
  EXPECT_NEAR(DELTA + P * (1.0 + nu) * (3.0 - 2.0 * nu) / (3.141592653589793 * E), aH * aH / R, 0.02 * DELTA) << P;
}
