// Whole static jobs on small boxes of tetrahedra: an analytic bar, a patch
// test, the convergence pass, the iteration limits and a geometrically
// nonlinear cantilever.
#include <gtest/gtest.h>

#include <cmath>

#include "deck/deck.hpp"
#include "deckgen.hpp"
#include "job/job.hpp"
#include "model/model.hpp"
#include "testutil.hpp"

using namespace ossa;
using test::Box;
using test::end_traction;
using test::hold_plane;

namespace {

// Runs the deck in the scratch directory on `m`, which stays for inspection.
void run_job(model::Model& m, const std::string& deck) {
  test::write_file("EXEC.INP", deck);
  testing::internal::CaptureStdout();
  ASSERT_TRUE(job::JOBOPEN(m));
  job::JOBRUN(m);
  const std::string out = testing::internal::GetCapturedStdout();
  ASSERT_NE(out.find("##$$ExSv end 1 1"), std::string::npos) << out;
}

// Position of the node with deck number `id`.
int pos(const model::Model& m, int id) {
  for (int i = 1; i <= m.NNODE(); ++i)
    if (m.NODEID(i) == id) return i;
  return 0;
}

std::string bar_deck(const Box& b, double E, double T, int iterlim = 10, bool with_cntr2 = true,
                     int solver = 0, double nu = 0.0) {
  int nheld = 0;
  const std::string held = hold_plane(b, 0.0, "111000", nheld);
  std::string d = test::cntnd(b.nnode()) + test::cntel(b.ntet()) +
                  test::cntrl(0, 0, iterlim, 1e-6, solver) +
                  (with_cntr2 ? test::cntr2(1, 1) : "") + test::cntr3_cpu() + test::kukan(1.0, 1) +
                  b.mesh_cards(nu, E) + test::ngld(1) + test::nplnk(nheld) + end_traction(b, b.LX, T) +
                  held + "END\n";
  return d;
}

}  // namespace

TEST(StaticJob, BarInTensionMatchesFLoverEA) {
  test::ScratchDir dir;
  const Box b(10, 1, 1, 10.0, 1.0, 1.0);
  const double E = 1000.0, T = 2.0;  // A = 1, F = 2
  model::Model m;
  run_job(m, bar_deck(b, E, T));
  const double expect = T * 1.0 * b.LX / (E * 1.0);
  double react = 0.0;
  for (int i = 1; i <= b.nnode(); ++i) {
    const int p = pos(m, i);
    EXPECT_NEAR(m.U(1, p), expect * b.xyz[i - 1].x / b.LX, 1e-9) << i;
    EXPECT_NEAR(m.U(2, p), 0.0, 1e-9);
    EXPECT_NEAR(m.U(3, p), 0.0, 1e-9);
    react += m.REACT(1, p);
  }
  EXPECT_NEAR(react, -T * 1.0, 1e-8);  // the supports pull back with the load
  // A linear job converges in its second pass: one row, iteration 1.
  const std::string log = test::read_file("EXEC.LOG");
  EXPECT_NE(log.find("\n        1 "), std::string::npos);
  EXPECT_EQ(log.find("\n        2 "), std::string::npos);
}

TEST(StaticJob, LinearPatchIsReproducedInside) {
  test::ScratchDir dir;
  const Box b(3, 3, 3, 1.0, 1.0, 1.0);
  auto field = [](const test::P3& p) {
    return test::P3{1e-3 * (1 + 2 * p.x - p.y + 0.5 * p.z), 1e-3 * (-1 + p.x + 3 * p.y - p.z),
                    1e-3 * (2 - p.x + p.y + p.z)};
  };
  std::string held, disps;
  int nb = 0;
  for (int i = 1; i <= b.nnode(); ++i) {
    const auto& p = b.xyz[i - 1];
    const bool boundary = p.x < 1e-12 || p.y < 1e-12 || p.z < 1e-12 || p.x > 1 - 1e-12 ||
                          p.y > 1 - 1e-12 || p.z > 1 - 1e-12;
    if (!boundary) continue;
    ++nb;
    held += test::plnk(i, "222000");
    const auto u = field(p);
    disps += test::disp(i, u.x, u.y, u.z);
  }
  const std::string deck = test::cntnd(b.nnode()) + test::cntel(b.ntet()) + test::cntrl(0, 0, 10, 1e-8) +
                           test::cntr2(1, 1) + test::cntr3_cpu() + test::kukan(1.0, 1) +
                           b.mesh_cards(0.3, 500.0) + test::ngld(1) + test::nplnk(nb) +
                           test::nload(2, nb) + test::tblld(0.0, 0.0) + test::tblld(1.0, 1.0) + disps +
                           held + "END\n";
  model::Model m;
  run_job(m, deck);
  int inside = 0;
  for (int i = 1; i <= b.nnode(); ++i) {
    const int p = pos(m, i);
    const auto u = field(b.xyz[i - 1]);
    EXPECT_NEAR(m.U(1, p), u.x, 1e-10) << i;
    EXPECT_NEAR(m.U(2, p), u.y, 1e-10) << i;
    EXPECT_NEAR(m.U(3, p), u.z, 1e-10) << i;
    inside += m.IDOF(1, p) > 0;
  }
  EXPECT_EQ(inside, 8);  // the interior nodes were solved for
}

TEST(StaticJob, NoMaterialLimitSolvesNothing) {
  test::ScratchDir dir;
  const Box b(2, 1, 1, 2.0, 1.0, 1.0);
  model::Model m;
  run_job(m, bar_deck(b, 1000.0, 1.0, 10, false));  // no "CNTR2": KK(35) = 0
  for (int i = 1; i <= b.nnode(); ++i) EXPECT_EQ(m.U(1, pos(m, i)), 0.0);
  EXPECT_EQ(test::read_file("EXEC.LOG").find("RESIDUAL FORCE"), std::string::npos);
}

TEST(StaticJob, ZeroIterationLimitStopsWithNoConvergence) {
  // No card can ask for a limit of 0 (a blank limit is the default), so the
  // limit is set between reading and the driver: the first pass then stops
  // right after the residual check, before any solve.
  test::ScratchDir dir;
  const Box b(2, 1, 1, 2.0, 1.0, 1.0);
  test::write_file("EXEC.INP", bar_deck(b, 1000.0, 1.0));
  OSSA_EXPECT_STOP(model::Model m; if (!job::JOBOPEN(m)) std::abort(); deck::DECKIN(m);
                   m.KK(6) = 0; job::DRVSTAT(m));
  EXPECT_NE(test::read_file("stdout.txt").find("##$$ExSv end -9 0"), std::string::npos);
  const std::string log = test::read_file("EXEC.LOG");
  EXPECT_NE(log.find("\n RESIDUAL FORCE DID NOT CONVERGE!\n"), std::string::npos);
  EXPECT_EQ(log.find("\n        1 "), std::string::npos);  // no solve, no row
}

TEST(StaticJob, NonConvergenceStopsWithMinusNine) {
  test::ScratchDir dir;
  const Box b(6, 1, 1, 6.0, 1.0, 1.0);
  // Geometric nonlinearity under a large load with a single pass allowed.
  std::string deck = bar_deck(b, 1000.0, 400.0, 1);
  deck.replace(deck.find("CNTRL00"), 7, "CNTRL01");
  test::write_file("EXEC.INP", deck);
  const auto r = test::run_ossa();
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("##$$ExSv end -9 0"), std::string::npos) << r.out;
  const std::string log = test::read_file("EXEC.LOG");
  EXPECT_NE(log.find("\n RESIDUAL FORCE DID NOT CONVERGE!\n *** ERROR NO. ***\n  -9  0\n"),
            std::string::npos);
}

TEST(StaticJob, NonlinearCantileverDeflectsLessThanLinear) {
  const Box b(12, 2, 2, 6.0, 1.0, 1.0);
  auto tip = [&](int geom) {
    test::ScratchDir dir;
    int nheld = 0;
    const std::string held = hold_plane(b, 0.0, "111000", nheld);
    std::vector<int> end;
    for (int i = 1; i <= b.nnode(); ++i)
      if (std::fabs(b.xyz[i - 1].x - b.LX) < 1e-12) end.push_back(i);
    std::string loads = test::nload(2, static_cast<int>(end.size())) + test::tblld(0.0, 0.0) +
                        test::tblld(1.0, 1.0);
    for (int n : end) loads += test::force(n, 0.0, 0.0, -4.0 / end.size());
    const std::string deck = test::cntnd(b.nnode()) + test::cntel(b.ntet()) +
                             test::cntrl(geom, 0, 30, 1e-5, 0, 1e-8) + test::cntr2(1, 1) + test::cntr3_cpu() +
                             test::kukan(1.0, 8) + b.mesh_cards(0.3, 1000.0) + test::ngld(1) +
                             test::nplnk(nheld) + loads + held + "END\n";
    model::Model m;
    run_job(m, deck);
    double w = 0.0;
    for (int n : end) w += m.U(3, pos(m, n)) / end.size();
    return w;
  };
  const double wlin = tip(0), wnl = tip(1);
  EXPECT_LT(wlin, -1.2);  // a large deflection: a fifth of the length or more
  EXPECT_LT(std::fabs(wnl), 0.95 * std::fabs(wlin));
  EXPECT_GT(std::fabs(wnl), 0.3 * std::fabs(wlin));
}

TEST(StaticJob, MultifrontalAndConjugateGradientsAgree) {
  // A stubby block under an end traction with a Poisson effect: ORK's direct
  // solution and CG's iterative one agree to CG's tolerance.
  const Box b(6, 3, 3, 3.0, 1.5, 1.5);
  auto run = [&](int solver, std::vector<double>& u, std::string& log) {
    test::ScratchDir dir;
    const std::string deck = bar_deck(b, 1000.0, 5.0, 10, true, solver, 0.3);
    model::Model m;
    run_job(m, deck);
    for (int i = 1; i <= b.nnode(); ++i)
      for (int k = 1; k <= 3; ++k) u.push_back(m.U(k, pos(m, i)));
    log = test::read_file("EXEC.LOG");
  };
  std::vector<double> ucg, uork;
  std::string logcg, logork;
  run(0, ucg, logcg);
  run(-1, uork, logork);
  EXPECT_NE(logork.find("MULTIFRONTAL SOLVER (ORK) MESSAGE"), std::string::npos);
  EXPECT_NE(logcg.find("CG-METHOD SOLVER MESSAGE"), std::string::npos);
  double umax = 0.0;
  for (double v : uork) umax = std::max(umax, std::fabs(v));
  ASSERT_GT(umax, 1e-3);
  for (std::size_t i = 0; i < ucg.size(); ++i) EXPECT_NEAR(ucg[i], uork[i], 1e-8 * umax) << i;
}
