// Static jobs through the whole program on boxes of tetrahedra, checked
// against closed forms in the result files: a bar pulled by an end load
// given four ways and solved by both solvers, a linear displacement field
// enforced on a cube's boundary, and a bar stretched far under a dead load.
// A bone bar elastic up to yield, then hardening with the tangent modulus
// (the first yielding step repeated in substeps), unloaded to its plastic
// set, cracked across the load, and crushed in compression to the status
// limit; a slow dynamic job follows the static curve. The logs are compared
// whole with their golden copies. And the job's flow
// as a user meets it: a deck that asks for no analysis, the work files of a
// material nonlinear job, and a job naming a device where none answers.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "deckgen.hpp"
#include "solvers/gpu/gpu.hpp"
#include "testutil.hpp"

using namespace ossa;
using test::Box;

namespace {

constexpr double E = 1000.0;

std::string head(const Box& b, const std::string& cntrl, int nstep) {
  return test::job_head(b.nnode(), b.ntet(), 0, cntrl, nstep);
}

enum Load { FORCE, DIRFC, PRESS, DISP };

// The end load of a bar held at x = 0: traction T over the face x = LX.
std::string end_load(const Box& b, Load kind, double T, int& nheld, std::string& held) {
  const std::vector<double> f = test::face_forces(b, b.LX, T);
  std::string cards;
  int n = 0;
  auto card = [&](const std::string& c) { cards += c, ++n; };
  if (kind == PRESS) {
    for (const auto& t : b.tets)
      for (int skip = 0; skip < 4; ++skip) {
        std::vector<int> v;
        for (int a = 0; a < 4; ++a)
          if (a != skip && b.xyz[t[a] - 1].x == b.LX) v.push_back(t[a]);
        if (v.size() != 3) continue;
        // Corners ordered so that the pressure pulls along +x.
        const test::P3 &p = b.xyz[v[0] - 1], &q = b.xyz[v[1] - 1], &r = b.xyz[v[2] - 1];
        if ((r.y - p.y) * (q.z - p.z) - (r.z - p.z) * (q.y - p.y) < 0.0) std::swap(v[1], v[2]);
        card(test::card("PRESS%10d%10d%10d%15.8E", v[0], v[1], v[2], T));
      }
  }
  for (int i = 1; i <= b.nnode(); ++i) {
    if (f[i] == 0.0) continue;
    if (kind == FORCE) card(test::force(i, f[i], 0.0, 0.0));
    if (kind == DIRFC) card(test::card("DIRFC%10d%10d%10d%15.8E", i, b.id(0, 0, 0), b.id(1, 0, 0), f[i]));
    if (kind == DISP) {
      card(test::disp(i, T * b.LX / E, 0.0, 0.0));
      held += test::plnk(i, "200000");
      ++nheld;
    }
  }
  return test::ramp_group(nheld, n) + cards;
}

struct BarCase {
  const char* golden;  // the log's golden copy, or none
  int solver;          // 0 CG, -1 ORK
  double nu;
  Load load;
};

constexpr double Y = 10.0, ETR = 0.1;  // bone: yield stress, Et / E
const Box BAR(4, 1, 1, 4.0, 1.0, 1.0);             // section 1, length 4

struct Point {
  double load, u;  // reaction at the held end (sign turned) and end displacement
  results::SolidOut e;  // the first solid
};

struct Pull {
  double tmax = 21.0;  // end traction at the last step: no step lands on Y
  int nstep = 20, substeps = 1, itype = 0, crushed_limit = 0;
  bool unload = false;  // up to tmax at half time, then back to zero
  bool dynamic = false;  // a dynamic job, loaded slowly against its periods
  double sigt = 1.0e6, ecrush = 1.0e5;  // tensile strength, crush strain in 1e-6
};

std::vector<Point> pull(const Pull& p) {
  int nheld = 0;
  const std::string held = test::hold_free_section(BAR, nheld);
  const std::string mesh =
      BAR.mesh_rows([&](int e) { return test::propt_solid(e, 0.0, E, 1, p.sigt, Y, ETR, p.ecrush, 1.8e-6); });
  int nf = 0;
  const std::string forces = test::face_force_cards(BAR, BAR.LX, p.tmax, nf);
  const std::string table = p.unload ? test::tblld(0.5, 1.0) + test::tblld(1.0, 0.0) : test::tblld(1.0, 1.0);
  std::string cntrl = test::cntrl(0, 1, 30, 1e-6);
  cntrl[8] = p.dynamic ? '1' : '0';
  test::run_deck(test::cntnd(BAR.nnode()) + test::cntel(BAR.ntet()) + cntrl + test::cntr2(10, 1, p.substeps, p.itype) +
                 test::card("CNTR3%5s%25d%5d%5d%5d", "", 0, p.crushed_limit, -1, 0) +
                 test::card("PRPLT%10s%5d", "", 1) + test::kukan(1.0, p.nstep) + mesh + test::ngld(1) +
                 test::nplnk(nheld) + test::nload(p.unload ? 3 : 2, nf) + test::tblld(0.0, 0.0) + table + forces +
                 held + "END\n");
  std::vector<Point> curve;
  for (std::size_t k = 1; k <= test::result_frames(); ++k) {
    const post::Frame fr = test::result_frame(k);
    Point pt{0.0, 0.0, fr.SOLID.at(0)};
    for (const auto& d : fr.REACT) pt.load -= d.V[0];
    for (const auto& d : fr.DISP) pt.u += d.ID == BAR.id(BAR.NX, 0, 0) ? d.V[0] : 0.0;
    curve.push_back(pt);
  }
  return curve;
}

// The static pull to 21 past yield: the load carried, F L / (E A) below
// yield, and beyond it the strain Y / E + (s - Y) / Et, (s - Y) / H of it
// plastic, with the equivalent stress on the surface.
void expect_hardening(const std::vector<Point>& c) {
  ASSERT_EQ(c.size(), 20u);
  const double H = E * ETR * E / (E - ETR * E);  // plastic modulus
  for (const Point& q : c) {
    EXPECT_NEAR(q.load, 21.0 * (&q - &c[0] + 1) / 20, 1e-4);
    if (q.load < 0.99 * Y) {
      EXPECT_NEAR(q.u, q.load * BAR.LX / E, 1e-6 * BAR.LX) << q.load;
      EXPECT_EQ(q.e.STATE, 0);
    } else if (q.load > 1.01 * Y) {  // not the step that yields
      EXPECT_EQ(q.e.STATE, 2) << q.load;
      EXPECT_NEAR(q.u / BAR.LX, Y / E + (q.load - Y) / (ETR * E), 2e-3) << q.load;
      EXPECT_NEAR(q.e.V[20], (q.load - Y) / H, 2e-3) << q.load;
      EXPECT_NEAR(q.e.V[19], q.load, 2e-3 * Y);
    }
  }
}

}  // namespace

TEST(LinearJob, BarUnderEndLoadMatchesUniaxialStress) {
  const BarCase cases[] = {{"static_cg", 0, 0.3, FORCE},
                           {"static_ork", -1, 0.3, FORCE},
                           {nullptr, 0, 0.0, PRESS},
                           {nullptr, -1, 0.25, DIRFC},
                           {nullptr, 0, 0.3, DISP}};
  const Box b(4, 1, 1, 4.0, 1.0, 1.0);  // section A = 1
  const double T = 2.0;
  for (const BarCase& c : cases) {
    SCOPED_TRACE(testing::Message() << "solver " << c.solver << ", load kind " << c.load);
    test::ScratchDir dir;
    int nheld = 0;
    std::string held = test::hold_free_section(b, nheld);
    const std::string load = end_load(b, c.load, T, nheld, held);
    test::run_deck(head(b, test::cntrl(0, 0, 10, 1e-6, c.solver), 2) + b.mesh_cards(c.nu, E) + load + held + "END\n");
    if (c.golden) test::expect_golden_log(c.golden);
    ASSERT_EQ(test::result_frames(), 2u);
    for (int k = 1; k <= 2; ++k) {
      const double s = 0.5 * k * T, eps = s / E;  // the load follows its table: half, then all
      const post::Frame f = test::result_frame(k);
      double held_x = 0.0;  // reactions of the held face; an enforced end has its own
      for (const auto& r : f.REACT) held_x += b.xyz[r.ID - 1].x == 0.0 ? r.V[0] : 0.0;
      EXPECT_NEAR(held_x, -s, 1e-5 * T);
      ASSERT_EQ(f.DISP.size(), static_cast<std::size_t>(b.nnode()));
      for (const auto& d : f.DISP) {
        const test::P3& p = b.xyz[d.ID - 1];
        EXPECT_NEAR(d.V[0], eps * p.x, 1e-6 * eps * b.LX) << d.ID;
        EXPECT_NEAR(d.V[1], -c.nu * eps * p.y, 1e-6 * eps * b.LX) << d.ID;
        EXPECT_NEAR(d.V[2], -c.nu * eps * p.z, 1e-6 * eps * b.LX) << d.ID;
      }
      ASSERT_EQ(f.SOLID.size(), static_cast<std::size_t>(b.ntet()));
      for (const auto& e : f.SOLID) {
        EXPECT_EQ(e.STATE, 0);
        const double want[] = {s, 0, 0, eps, -c.nu * eps, -c.nu * eps};  // principal stresses, strains
        for (int j = 0; j < 3; ++j) {
          EXPECT_NEAR(e.V[j], want[j], 1e-5 * T) << e.ID;
          EXPECT_NEAR(e.V[12 + j], want[3 + j], 1e-5 * eps) << e.ID;
        }
        EXPECT_NEAR(std::fabs(e.V[3]), 1.0, 1e-5);  // first direction along the bar
        EXPECT_NEAR(e.V[15], 0.5 * s * eps, 1e-5 * s * eps);  // strain energy density
        EXPECT_NEAR(e.V[19], s, 1e-5 * T);                     // von Mises stress
      }
    }
  }
}

TEST(LinearJob, EnforcedLinearFieldIsReproducedWithItsEnergy) {
  // u = G x + c on the boundary of a cube, in two steps; inside, every node
  // follows the field and every element holds its strain energy density.
  test::ScratchDir dir;
  const Box b(3, 3, 3, 1.0, 1.0, 1.0);
  const double G[3][3] = {{2e-3, -1e-3, 0.5e-3}, {1e-3, 3e-3, -1e-3}, {-1e-3, 1e-3, 1e-3}};
  const double c[3] = {1e-3, -1e-3, 2e-3};
  auto field = [&](const test::P3& p, int i) { return c[i] + G[i][0] * p.x + G[i][1] * p.y + G[i][2] * p.z; };
  std::string held, disps;
  int nb = 0;
  for (int i = 1; i <= b.nnode(); ++i) {
    const test::P3& p = b.xyz[i - 1];
    if (p.x > 0 && p.y > 0 && p.z > 0 && p.x < 1 && p.y < 1 && p.z < 1) continue;
    ++nb;
    held += test::plnk(i, "222000");
    disps += test::disp(i, field(p, 0), field(p, 1), field(p, 2));
  }
  const double nu = 0.3, lam = E * nu / ((1 + nu) * (1 - 2 * nu)), mu = E / (2 * (1 + nu));
  double tr = 0.0, ee = 0.0;  // trace and eps:eps of the symmetric part of G
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      const double e = 0.5 * (G[i][j] + G[j][i]);
      ee += e * e;
      tr += i == j ? e : 0.0;
    }
  test::run_deck(head(b, test::cntrl(0, 0, 10, 1e-8), 2) + b.mesh_cards(nu, E) + test::ramp_group(nb, nb) + disps +
                 held + "END\n");
  test::expect_golden_log("static_enforced");
  for (int k = 1; k <= 2; ++k) {
    const double s = 0.5 * k;
    const post::Frame f = test::result_frame(k);
    for (const auto& d : f.DISP)
      for (int i = 0; i < 3; ++i) EXPECT_NEAR(d.V[i], s * field(b.xyz[d.ID - 1], i), 1e-8) << d.ID;
    for (const auto& e : f.SOLID) {
      EXPECT_NEAR(e.V[15], s * s * (0.5 * lam * tr * tr + mu * ee), 1e-5 * s * s * mu * ee) << e.ID;
      // Principal strains: descending, with the trace and eps:eps of the field.
      EXPECT_GT(e.V[12], e.V[13]);
      EXPECT_GT(e.V[13], e.V[14]);
      EXPECT_NEAR(e.V[12] + e.V[13] + e.V[14], s * tr, 1e-6 * s);
      EXPECT_NEAR(e.V[12] * e.V[12] + e.V[13] * e.V[13] + e.V[14] * e.V[14], s * s * ee, 1e-5 * s * s * ee);
    }
  }
}

TEST(NonlinearJob, DeadLoadStretchFollowsTheStVenantKirchhoffCurve) {
  // Green-Lagrange strain with nu = 0 and a free section: the nominal stress
  // is P = E lambda (lambda^2 - 1) / 2 for the stretch lambda.
  test::ScratchDir dir;
  const Box b(4, 1, 1, 4.0, 1.0, 1.0);
  const double P = 200.0;
  int nheld = 0;
  const std::string held = test::hold_free_section(b, nheld);
  // The tolerance lies between the two relative residuals of step 2's third
  // pass: one criterion met is enough.
  test::run_deck(head(b, test::cntrl(1, 0, 30, 3e-8), 2) + b.mesh_cards(0.0, E) + test::ngld(1) + test::nplnk(nheld) +
      test::end_traction(b, b.LX, P) + held + "END\n");
  test::expect_golden_log("static_geometric");
  for (int k = 1; k <= 2; ++k) {
    const double p = 0.5 * k * P;
    double l = 1.0;
    for (int it = 0; it < 50; ++it) l -= (E * l * (l * l - 1) / 2 - p) / (E * (3 * l * l - 1) / 2);
    for (const auto& d : test::result_frame(k).DISP) {
      const test::P3& x = b.xyz[d.ID - 1];
      EXPECT_NEAR(d.V[0], (l - 1) * x.x, 1e-5 * b.LX) << d.ID;
      EXPECT_NEAR(d.V[1], 0.0, 1e-6) << d.ID;
      EXPECT_NEAR(d.V[2], 0.0, 1e-6) << d.ID;
    }
  }
}

TEST(BoneBar, StaticAndSlowDynamicPullsHardenAndCrushAlike) {
  // Periods of microseconds against steps of 0.05: inertia plays no part, and
  // the dynamic job yields, repeats the step from its own snapshot and
  // hardens as the static one does. Pushed, yield at a strain of 0.01 and
  // crush at 0.02: the load of step 11 (11.55) crushes every element, and
  // the limit on crushed elements ends the job there, with that step's result.
  for (double tmax : {21.0, -21.0}) {
    std::vector<Point> c[2];
    for (int dyn = 0; dyn < 2; ++dyn) {
      test::ScratchDir dir;
      Pull p;
      p.tmax = tmax;
      p.substeps = 4;  // the first step that yields runs again in four
      p.ecrush = tmax < 0 ? 20000.0 : p.ecrush;
      p.crushed_limit = tmax < 0 ? BAR.ntet() : 0;
      p.dynamic = dyn == 1;
      c[dyn] = pull(p);
      EXPECT_NE(test::read_file("EXEC.LOG").find(" ***** STEP NO. = 10   SUBSTEP NO. = 4 "), std::string::npos);
      if (dyn == 0 && tmax > 0) test::expect_golden_log("static_material");
    }
    if (tmax > 0) expect_hardening(c[0]);
    else {
      ASSERT_EQ(c[0].size(), 11u);
      EXPECT_EQ(c[0][9].e.STATE, 2);
      EXPECT_EQ(c[0][10].e.STATE, 3);
      for (int k = 0; k < 3; ++k) EXPECT_EQ(c[0][10].e.V[k], 0.0f);  // a crushed element carries nothing
    }
    ASSERT_EQ(c[1].size(), c[0].size());
    for (std::size_t k = 0; k < c[0].size(); ++k) {
      EXPECT_NEAR(c[1][k].load, c[0][k].load, 1e-3 * std::fabs(tmax)) << k;
      EXPECT_NEAR(c[1][k].u, c[0][k].u, 1e-3 * std::fabs(c[0][k].u) + 1e-9) << k;
      EXPECT_EQ(c[1][k].e.STATE, c[0][k].e.STATE) << k;
    }
  }
}

TEST(BoneBar, UnloadedAfterYieldKeepsItsPlasticStrain) {
  // The first smaller load turns the points elastic; from then on no plastic
  // strain is added or taken back, and a set remains at zero load.
  test::ScratchDir dir;
  Pull p;
  p.unload = true;
  p.itype = 2;  // a step solved again while points change their state
  const auto c = pull(p);
  ASSERT_EQ(c.size(), 20u);
  EXPECT_EQ(c[9].e.STATE, 2);
  for (std::size_t k = 10; k < 20; ++k) {
    EXPECT_EQ(c[k].e.STATE, 0) << k;
    EXPECT_EQ(c[k].e.V[20], c[10].e.V[20]) << k;
  }
  EXPECT_NEAR(c.back().load, 0.0, 1e-4);
  EXPECT_GT(c.back().u, 0.5 * (p.tmax - Y) / (ETR * E) * BAR.LX);
}

TEST(BoneBar, TensileStrengthBelowYieldCracksAcrossTheLoad) {
  test::ScratchDir dir;
  Pull p;
  p.sigt = 5.5;
  const auto c = pull(p);
  ASSERT_EQ(c.size(), 20u);
  std::size_t first = 0;
  while (first < c.size() && c[first].e.STATE == 0) ++first;
  ASSERT_LT(first, c.size());
  EXPECT_GT(c[first].load, p.sigt);  // the first step past the strength
  EXPECT_LT(c[first - 1].load, p.sigt);
  EXPECT_EQ(c[first].e.STATE, 1);         // CRACKED, not PLASTIC
  EXPECT_NEAR(std::fabs(c[first].e.V[16]), 1.0, 1e-6);  // the crack normal along the load
  // The stress across the crack goes, and the next load is carried across it
  // by the minimum modulus alone (a thousandth of E), from zero.
  EXPECT_EQ(c[first].e.V[0], 0.0f);
  const Point &a = c[first], &z = c[first + 1];
  EXPECT_NEAR(z.u - a.u, z.load * BAR.LX / (1e-3 * E), 1e-4 * z.u);
}

TEST(JobFlow, NoAnalysisEndsNormallyAndPlasticWorkFilesGoAtTheEnd) {
  const Box b(2, 1, 1, 2.0, 1.0, 1.0);
  for (char kind : {'2', '0'}) {  // column 9: neither static nor dynamic, or static
    test::ScratchDir dir;
    std::string cntrl = test::cntrl(0, 1, 10, 1e-3);
    cntrl[8] = kind;
    const std::string log = test::run_deck(head(b, cntrl, 2) + b.mesh_cards(0.3, E) + "END\n");
    EXPECT_NE(log.find(" ***** ELAPSED TIME *****"), std::string::npos);
    for (const char* f : {"EXEC.SOL", "EXEC.SHL", "EXEC.RST", "EXEC.WK1"}) EXPECT_FALSE(test::exists(f)) << f;
    if (kind == '0') continue;
    EXPECT_EQ(test::read_file("run.out"), "##$$ExSv end 1 1\n");  // no progress: the step walk never runs
    EXPECT_EQ(log.find("SOLVER MESSAGE"), std::string::npos);
    EXPECT_EQ(log.find("STEP NO."), std::string::npos);
  }
}

TEST(JobFlow, AnAbsentDeviceLeavesTheJobToTheProcessor) {
  if (!solvers::GPUQUERY().props.empty()) GTEST_SKIP() << "a device answers (the device tests run there)";
  const Box b(2, 1, 1, 2.0, 1.0, 1.0);
  // Device 0 named on the card (checked as it is read), and by the card's
  // absence (checked when the solver is prepared, after the echo).
  const std::pair<std::string, const char*> cases[] = {
      {test::card("CNTR3%5s%30s%5d%5d", "", "", 0, 0), "LINEAR EQUATION SOLVER : CG  "},
      {"", "LINEAR EQUATION SOLVER : CG (GPU)"}};
  for (const auto& [cntr3, echo] : cases) {
    test::ScratchDir dir;
    std::string deck = head(b, test::cntrl(0, 0, 10, 1e-3), 2) + b.mesh_cards(0.3, E) + "END\n";
    deck.replace(deck.find(test::cntr3_cpu()), test::cntr3_cpu().size(), cntr3);
    const std::string log = test::run_deck(deck);
    EXPECT_NE(log.find("            * * *   GPU DEVICE CHECK   * * *\n"
                       "                     Error: Device No. is changed into '-1(CPU)'\n"),
              std::string::npos);
    EXPECT_NE(log.find(echo), std::string::npos);
    EXPECT_NE(log.find(" *****  CG-METHOD SOLVER MESSAGE  *****"), std::string::npos);
    const std::string dev = test::read_file("gpu_device.txt");
    EXPECT_EQ(dev.rfind("KK(120) = 0\n", 0), 0u);
    EXPECT_NE(dev.find("Device No.0 is not found.\n"), std::string::npos);
    EXPECT_FALSE(test::exists("gpu_solver.log"));
  }
}
