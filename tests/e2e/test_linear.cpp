// Static jobs through the whole program on boxes of tetrahedra, checked
// against closed forms in the result files: a bar pulled by an end load
// given four ways and solved by both solvers, a linear displacement field
// enforced on a cube's boundary, and a bar stretched far under a dead load.
// The logs are compared whole with their golden copies.
#include <gtest/gtest.h>

#include <cmath>

#include "deckgen.hpp"
#include "testutil.hpp"

using namespace ossa;
using test::Box;

namespace {

constexpr double E = 1000.0;

std::string head(const Box& b, const std::string& cntrl, int nstep) {
  return test::cntnd(b.nnode()) + test::cntel(b.ntet()) + cntrl + test::cntr2(1, 1) + test::cntr3_cpu() +
         test::card("PRPLT%10s%5d", "", 1) + test::kukan(1.0, nstep);
}

void run(const std::string& deck) {
  test::write_file("EXEC.INP", deck);
  const auto r = test::run_ossa();
  ASSERT_EQ(r.out.substr(r.out.size() - 17), "##$$ExSv end 1 1\n") << r.out << test::read_file("EXEC.LOG");
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
  return test::ngld(1) + test::nplnk(nheld) + test::nload(2, n) + test::tblld(0.0, 0.0) +
         test::tblld(1.0, 1.0) + cards;
}

struct BarCase {
  const char* golden;  // the log's golden copy, or none
  int solver;          // 0 CG, -1 ORK
  double nu;
  Load load;
};

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
    run(head(b, test::cntrl(0, 0, 10, 1e-6, c.solver), 2) + b.mesh_cards(c.nu, E) + load + held + "END\n");
    if (c.golden) test::expect_golden_log(c.golden);
    ASSERT_EQ(test::result_frames(), 2u);
    for (int k = 1; k <= 2; ++k) {
      const double s = 0.5 * k * T, eps = s / E;  // the load follows its table: half, then all
      const post::Frame f = test::result_frame(k);
      double react[3];
      post::SECTSUM(f.REACT, react);
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
  run(head(b, test::cntrl(0, 0, 10, 1e-8), 2) + b.mesh_cards(nu, E) + test::ngld(1) + test::nplnk(nb) +
      test::nload(2, nb) + test::tblld(0.0, 0.0) + test::tblld(1.0, 1.0) + disps + held + "END\n");
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
  run(head(b, test::cntrl(1, 0, 30, 3e-8), 2) + b.mesh_cards(0.0, E) + test::ngld(1) + test::nplnk(nheld) +
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

TEST(StaticJob, StopsInTheSolverAndAtTheIterationLimit) {
  // A bar held nowhere stops in any solver, the multigrid CG too; a large stretch allowed one
  // pass stops as not converged.
  struct Case { int solver, geom, iterlim; bool held; const char *text, *end, *log; int pre = 1; };
  const Case cases[] = {{0, 0, 10, false, "NOT CONVERGED BY CG METHOD.", "-8 0", "-8  0"},
                        {0, 0, 10, false, "NOT CONVERGED BY CG METHOD.", "-8 0", "-8  0", 3},
                        {-1, 0, 10, false, "CONSTRAINT CONDITION MIGHT BE WRONG.", "-4 0", "-4  0"},
                        {-2, 0, 10, false, "CONSTRAINT CONDITION MIGHT BE WRONG.", "-4 0", "-4  0"},
                        {0, 1, 1, true, "RESIDUAL FORCE DID NOT CONVERGE!", "-9 0", "-9  0"}};
  const Box b(4, 1, 1, 4.0, 1.0, 1.0);
  for (const Case& c : cases) {
    test::ScratchDir dir;
    int nheld = 0;
    const std::string held = c.held ? test::hold_free_section(b, nheld) : "";
    test::write_file("EXEC.INP", head(b, test::cntrl(c.geom, 0, c.iterlim, 1e-7, c.solver, 1e-10, c.pre), 2) +
                                     b.mesh_cards(0.0, E) + test::ngld(1) + (c.held ? test::nplnk(nheld) : "") +
                                     test::end_traction(b, b.LX, 200.0) + held + "END\n");
    const auto r = test::run_ossa();
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.substr(r.out.find("##$$ExSv end")), "##$$ExSv end " + std::string(c.end) + "\n");
    EXPECT_NE(test::read_file("EXEC.LOG").find("\n " + std::string(c.text) + "\n *** ERROR NO. ***\n  " + c.log),
              std::string::npos) << c.text;
  }
}
