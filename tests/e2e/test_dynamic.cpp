// Dynamic jobs through the whole program, against closed forms and against
// the first eigenpair of the same mesh and mass from a separate generalised
// eigenvalue solve: a cantilever under a tip load switched on at t = 0
// vibrates about its static deflection at its first natural frequency, with
// constant amplitude undamped and with the decay of its Rayleigh damping
// ratio; halving the step quarters the period error (the method is of
// second order). A free body moves as v0 t + g t^2 / 2, and the body load of
// a static job weighs what its weight density says.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "base/kernels.hpp"
#include "deckgen.hpp"
#include "elements/solid.hpp"
#include "testutil.hpp"

using namespace ossa;
using test::Box;

namespace {

constexpr double E = 1000.0, NU = 0.3, GRAV = 9806.65;

// The value as the deck's field of format FMT holds it.
double printed(const char* fmt, double v) {
  char buf[64];
  std::snprintf(buf, sizeof buf, fmt, v);
  return std::strtod(buf, nullptr);
}

// The cantilever: a bar 8 x 2 x 1 held at x = 0, a load along z at its tip,
// across its thin side so that its first mode stands well apart.
struct Beam {
  Box b{8, 2, 1, 8.0, 2.0, 1.0};
  std::vector<int> eq;       // first free translation of a node, -1 if held
  Eigen::VectorXd Mphi;      // M times the first mode: its modal coordinate
  double w1 = 0.0;           // first circular frequency for unit mass density
  double tip = 0.0;          // static tip deflection under a unit tip load
  int tipnode() const { return b.id(b.NX, 1, 0); }
  std::vector<int> tipnodes() const {
    std::vector<int> v;
    for (int k = 0; k <= b.NZ; ++k)
      for (int j = 0; j <= b.NY; ++j) v.push_back(b.id(b.NX, j, k));
    return v;
  }

  // K and the consistent M (rho = 1) over the free translations; the first
  // eigenpair of K x = w^2 M x and the static deflection K u = f.
  Beam() {
    eq.assign(b.nnode() + 1, -1);
    int n = 0;
    for (int i = 1; i <= b.nnode(); ++i)
      if (b.xyz[i - 1].x > 0.0) eq[i] = n++;
    Eigen::MatrixXd K = Eigen::MatrixXd::Zero(3 * n, 3 * n), M = K;
    base::Arr2<double> XYZ;
    XYZ.allocate(3, b.nnode());
    for (int i = 1; i <= b.nnode(); ++i)
      XYZ(1, i) = b.xyz[i - 1].x, XYZ(2, i) = b.xyz[i - 1].y, XYZ(3, i) = b.xyz[i - 1].z;
    double D[21], sk[78];
    base::DELAS(E, NU, D);
    for (auto t : b.tets) {
      double X[12], DN[12];
      for (int a = 0; a < 4; ++a)
        for (int j = 0; j < 3; ++j) X[3 * a + j] = XYZ(j + 1, t[a]);
      const double vol = elements::TETDN(X, DN) / 6.0;
      if (vol < 0.0) std::swap(t[1], t[2]);  // as the deck reader turns it
      elements::SOLKLIN(t.data(), XYZ, D, sk);
      for (int a = 0; a < 4; ++a)
        for (int c = 0; c < 4; ++c) {
          if (eq[t[a]] < 0 || eq[t[c]] < 0) continue;
          for (int i = 0; i < 3; ++i) {
            M(3 * eq[t[a]] + i, 3 * eq[t[c]] + i) += std::fabs(vol) * (a == c ? 0.1 : 0.05);
            for (int j = 0; j < 3; ++j)
              K(3 * eq[t[a]] + i, 3 * eq[t[c]] + j) += sk[base::PACKIDX(3 * a + i + 1, 3 * c + j + 1, 12) - 1];
          }
        }
    }
    Eigen::GeneralizedSelfAdjointEigenSolver<Eigen::MatrixXd> es(K, M);
    w1 = std::sqrt(es.eigenvalues()(0));
    Mphi = M * es.eigenvectors().col(0);
    Eigen::VectorXd f = Eigen::VectorXd::Zero(3 * n);
    for (int nd : tipnodes()) f(3 * eq[nd] + 2) = 1.0 / static_cast<double>(tipnodes().size());
    tip = K.ldlt().solve(f)(3 * eq[tipnode()] + 2);
  }
};

// A dynamic deck of the beam: weight density for a first period of 1,
// Rayleigh factors giving the damping ratios ZA and ZB at the first
// frequency, NSTEP steps over NPER periods, output at every step, run.
// Returns the first circular frequency of the density as printed.
double beam_deck(const Beam& m, double za, double zb, int nstep, int nper, double& tend) {
  const Box& b = m.b;
  const double gam = printed("%10.3E", GRAV * std::pow(m.w1 / (2.0 * M_PI), 2));
  const double w = m.w1 / std::sqrt(gam / GRAV);
  const double alpha = printed("%10.3E", 2.0 * za * w), beta = zb > 0 ? printed("%10.3E", 2.0 * zb / w) : 1e-30;
  tend = printed("%15.6f", nper * 2.0 * M_PI / w);
  std::string d = test::dyn_head(b, test::kukan(tend, nstep), true, gam, alpha, beta, 0);
  int nheld = 0;
  const std::string held = test::hold_plane(b, 0.0, "111000", nheld);
  const std::vector<int> tip = m.tipnodes();
  d += test::ngld(1) + test::nplnk(nheld) + test::nload(1, static_cast<int>(tip.size())) + test::tblld(0.0, 1.0);
  for (int nd : tip) d += test::force(nd, 0.0, 0.0, 1.0 / static_cast<double>(tip.size()));
  test::run_deck(d + held + "END\n");
  return w;
}

// Times and a node's displacement component k of every frame; with BEAM
// the first modal coordinate instead, which no other mode disturbs.
void history(int node, int k, double dt, std::vector<double>& t, std::vector<double>& u,
             const Beam* beam = nullptr) {
  post::ResIndex idx;
  ASSERT_EQ(post::RESSCAN(".", idx), "");
  for (std::size_t n = 1; n <= idx.frames.size(); ++n) {
    post::Frame f;
    ASSERT_EQ(post::RESREAD(idx, n, f, post::READ_NODES), "");
    t.push_back(f.h.STEP * dt);
    double q = 0.0;
    for (int nd = 1; beam && nd < static_cast<int>(beam->eq.size()); ++nd)
      for (int i = 0; beam->eq[nd] >= 0 && i < 3; ++i) q += beam->Mphi(3 * beam->eq[nd] + i) * f.DISP[nd - 1].V[i];
    u.push_back(beam ? q : f.DISP[node - 1].V[k]);
  }
}

double mean(const std::vector<double>& u) {
  double s = 0.0;
  for (double x : u) s += x;
  return s / static_cast<double>(u.size());
}

// Period by the upward crossings of the mean.
double period(const std::vector<double>& t, const std::vector<double>& u, double mean) {
  std::vector<double> up;
  for (std::size_t k = 1; k < u.size(); ++k)
    if (u[k - 1] < mean && u[k] >= mean)
      up.push_back(t[k - 1] + (t[k] - t[k - 1]) * (mean - u[k - 1]) / (u[k] - u[k - 1]));
  return up.size() < 2 ? 0.0 : (up.back() - up.front()) / static_cast<double>(up.size() - 1);
}

// Half the range of u over [t0, t0 + T).
double amplitude(const std::vector<double>& t, const std::vector<double>& u, double t0, double T) {
  double lo = HUGE_VAL, hi = -HUGE_VAL;
  for (std::size_t k = 0; k < t.size(); ++k)
    if (t[k] >= t0 && t[k] < t0 + T) lo = std::min(lo, u[k]), hi = std::max(hi, u[k]);
  return 0.5 * (hi - lo);
}

// Runs the beam over NPER periods of NSUB steps each and reads the first
// modal coordinate Q of every frame at times T (and the tip's deflection);
// returns the first circular frequency.
double run_beam(const Beam& beam, double za, double zb, int nper, int nsub, std::vector<double>& t,
                std::vector<double>& q, std::vector<double>* tip = nullptr) {
  double tend = 0.0;
  const double w = beam_deck(beam, za, zb, nper * nsub, nper, tend);
  history(0, 0, tend / (nper * nsub), t, q, &beam);
  std::vector<double> tt;
  if (tip) history(beam.tipnode(), 2, tend / (nper * nsub), tt, *tip);
  return w;
}

}  // namespace

TEST(Dynamic, CantileverVibratesAtItsFirstFrequencyAboutTwiceItsStaticPeak) {
  const Beam beam;
  test::ScratchDir dir;
  const int nper = 20;
  std::vector<double> t, q, u;
  const double w = run_beam(beam, 0.0, 0.0, nper, 40, t, q, &u);
  const std::string log = test::read_file("EXEC.LOG");
  EXPECT_NE(log.find("     MASS MATRIX          : CONSISTENT\n"), std::string::npos);
  EXPECT_NE(log.find("     TIME INTEGRATION     : NEWMARK, THREE LEVELS, GAMMA = 0.5000, BETA = 0.3333\n"),
            std::string::npos);
  ASSERT_EQ(static_cast<int>(t.size()), 40 * nper);
  // A load switched on from rest: the tip's peak is twice its static
  // deflection (the first mode carries nearly all of its motion).
  EXPECT_NEAR(*std::max_element(u.begin(), u.end()) / beam.tip, 2.0, 0.06);
  // The first mode: its frequency, and no damping: its amplitude is kept
  // over 20 periods.
  const double T = period(t, q, mean(q));
  EXPECT_NEAR(T * w / (2.0 * M_PI), 1.0, 0.02);
  EXPECT_NEAR(amplitude(t, q, (nper - 2) * T, 2 * T) / amplitude(t, q, 0.0, 2 * T), 1.0, 0.01);
}

TEST(Dynamic, RayleighDampingDecaysByItsRatioAndTheStepErrorIsOfSecondOrder) {
  const Beam beam;
  {
    // Mass and stiffness parts each give a ratio of 0.01 at the first frequency.
    test::ScratchDir dir;
    const int nper = 10;
    std::vector<double> t, u;
    const double w = run_beam(beam, 0.01, 0.01, nper, 40, t, u);
    const std::string inp = test::read_file("EXEC.INP");
    const std::size_t p = inp.find("PROPT");
    const double a = std::atof(inp.substr(p + 80, 10).c_str()), b = std::atof(inp.substr(p + 90, 10).c_str());
    const double zeta = a / (2.0 * w) + b * w / 2.0;
    // log amplitude per period against time: slope -zeta w.
    const double T = 2.0 * M_PI / (w * std::sqrt(1.0 - zeta * zeta));
    double sx = 0, sy = 0, sxx = 0, sxy = 0;
    const int n = nper - 2;
    for (int k = 1; k <= n; ++k) {
      const double x = (k + 0.5) * T, y = std::log(amplitude(t, u, k * T, T));
      sx += x, sy += y, sxx += x * x, sxy += x * y;
    }
    const double slope = (n * sxy - sx * sy) / (n * sxx - sx * sx);
    EXPECT_NEAR(-slope / w / zeta, 1.0, 0.05) << zeta;
  }
  // Period error at 10 and 20 steps a period: a quarter when halved.
  double err[2];
  for (int h = 0; h < 2; ++h) {
    test::ScratchDir dir;
    std::vector<double> t, u;
    const double w = run_beam(beam, 0.0, 0.0, 8, 10 << h, t, u);
    err[h] = period(t, u, mean(u)) * w / (2.0 * M_PI) - 1.0;
  }
  EXPECT_GT(err[1], 0.0);  // the period lengthens
  EXPECT_NEAR(err[0] / err[1], 4.0, 0.5) << err[0] << " " << err[1];
}

TEST(Dynamic, FreeBodyMovesWithItsInitialVelocityAndFallsUnderItsWeight) {
  const Box b(1, 1, 1, 1.0, 1.0, 1.0);
  const double gam = 2.0, v0 = 3.0;
  // The weight as nodal forces: a quarter of each element's mass to its
  // corners, the rows of the consistent mass.
  std::vector<double> fz(b.nnode() + 1, 0.0);
  for (const auto& t : b.tets) {
    double X[12], DN[12];
    for (int a = 0; a < 4; ++a)
      X[3 * a] = b.xyz[t[a] - 1].x, X[3 * a + 1] = b.xyz[t[a] - 1].y, X[3 * a + 2] = b.xyz[t[a] - 1].z;
    for (int a = 0; a < 4; ++a) fz[t[a]] -= gam * std::fabs(elements::TETDN(X, DN)) / 24.0;
  }
  // Even steps, and steps that halve after the fifth (the momentum term then
  // takes the mean of the two lengths): exact either way, the motion being
  // quadratic in time. A stiff rubber body, weighted at its corners, falls as
  // one mass only with its interior nodes' share (0.3) of momentum and inertia.
  struct Case { std::string kukan; bool rubber; double tol; };
  const Case cases[] = {{test::kukan(0.1, 10), false, 1e-6}, {test::kukan(0.1, 10), true, 2e-3},
                        {test::card("KUKAN%15.6f%10d%15.6f%10d", 0.05, 5, 0.1, 10), false, 1e-6}};
  for (const Case& c : cases) {
    test::ScratchDir dir;
    std::string d = test::dyn_head(b, c.kukan, true, gam, 0.0, 0.0, 1, c.rubber) + test::card("VEL       %15.6f%15.6f%15.6f", v0, 0.0, 0.0) + test::ngld(1) + test::nplnk(0) +
         test::nload(1, b.nnode()) + test::tblld(0.0, 1.0);
    for (int n = 1; n <= b.nnode(); ++n) d += test::force(n, 0.0, 0.0, fz[n]);
    test::run_deck(d + "END\n");
    ASSERT_GE(test::result_frames(), 10u);
    for (std::size_t k = 1; k <= test::result_frames(); ++k) {
      const post::Frame f = test::result_frame(k);
      const double t = f.h.TIME;
      const float* u = f.DISP[b.nnode() - 1].V;
      EXPECT_NEAR(u[0], v0 * t, c.tol * v0) << t;
      EXPECT_NEAR(u[2], -GRAV * t * t / 2.0, c.tol * GRAV * t * t) << t;
    }
    // The results tool's rates of the frames: v0 + g t and g.
    const auto r = test::run_tool("history -r " + std::to_string(b.nnode()));
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string last = r.out.substr(r.out.rfind('\n', r.out.size() - 2) + 1);
    std::vector<double> v;
    for (std::size_t p = 0; p != std::string::npos; p = last.find(',', p + 1)) v.push_back(std::atof(last.c_str() + p + (p ? 1 : 0)));
    ASSERT_EQ(v.size(), 15u) << last;  // frame, step, time, 3 reactions, u, v, a
    EXPECT_NEAR(v[9], v0, std::max(1e-3, c.tol) * v0);
    EXPECT_NEAR(v[11], -GRAV * v[2], std::max(1e-4, c.tol) * GRAV * v[2]);
    EXPECT_NEAR(v[14], -GRAV, std::max(1e-3, 10 * c.tol) * GRAV);
  }
}

TEST(Dynamic, BodyLoadOfAStaticJobWeighsTheBody) {
  // Solids, and rubber elements with the share of their interior nodes.
  for (bool rubber : {false, true}) {
    test::ScratchDir dir;
    const Box b(2, 1, 1, 2.0, 1.0, 1.0);
    const double gam = 2.0;
    int nheld = 0;
    const std::string held = test::hold_plane(b, 0.0, "111000", nheld);
    // Gravity along -x, in mm/s^2.
    std::string d = test::dyn_head(b, test::kukan(1.0, 1), false, gam, 0.0, 0.0, 1, rubber) + test::card("VEL       %15.6f%15.6f%15.6f", -GRAV, 0.0, 0.0) + test::ngld(0) + test::nplnk(nheld);
    test::run_deck(d + held + "END\n");
    const post::Frame f = test::result_frame(test::result_frames());
    double r[3];
    post::SECTSUM(f.REACT, r);
    EXPECT_NEAR(r[0], gam * 2.0, 1e-5) << rubber;
    EXPECT_NEAR(r[1], 0.0, 1e-5) << rubber;
  }
}
