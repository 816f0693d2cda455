// A bone bar loaded along its axis through the whole program: elastic up to
// its yield stress, then hardening with the tangent modulus (the first
// yielding step repeated in substeps), and unloaded elastically to its
// plastic set; a weak bar cracks across the load; a bar crushed in
// compression stops at the status limit with its result.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "deckgen.hpp"
#include "testutil.hpp"

using namespace ossa;
using test::Box;

namespace {

constexpr double E = 1000.0, Y = 10.0, ETR = 0.1;  // modulus, yield stress, Et / E
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
  std::string mesh;
  for (int n = 1; n <= BAR.nnode(); ++n) mesh += test::node(n, BAR.xyz[n - 1].x, BAR.xyz[n - 1].y, BAR.xyz[n - 1].z);
  for (int e = 1; e <= BAR.ntet(); ++e) mesh += test::solid(e, BAR.tets[e - 1]);
  for (int e = 1; e <= BAR.ntet(); ++e) mesh += test::propt_solid(e, 0.0, E, 1, p.sigt, Y, ETR, p.ecrush, 1.8e-6);
  const std::vector<double> f = test::face_forces(BAR, BAR.LX, p.tmax);
  std::string forces;
  int nf = 0;
  for (int i = 1; i <= BAR.nnode(); ++i)
    if (f[i] != 0.0) forces += test::force(i, f[i], 0.0, 0.0), ++nf;
  const std::string loads = test::nload(p.unload ? 3 : 2, nf) + test::tblld(0.0, 0.0) +
                            (p.unload ? test::tblld(0.5, 1.0) + test::tblld(1.0, 0.0) : test::tblld(1.0, 1.0)) +
                            forces;
  const std::string cntr3 = test::card("CNTR3%5s%25d%5d%5d%5d", "", 0, p.crushed_limit, -1, 0);
  std::string cntrl = test::cntrl(0, 1, 30, 1e-6);
  cntrl[8] = p.dynamic ? '1' : '0';
  test::write_file("EXEC.INP", test::cntnd(BAR.nnode()) + test::cntel(BAR.ntet()) + cntrl +
                                   test::cntr2(10, 1, p.substeps, p.itype) + cntr3 + test::card("PRPLT%10s%5d", "", 1) +
                                   test::kukan(1.0, p.nstep) + mesh + test::ngld(1) + test::nplnk(nheld) +
                                   loads + held + "END\n");
  const auto r = test::run_ossa();
  EXPECT_NE(r.out.find("##$$ExSv end 1 1"), std::string::npos) << r.out << test::read_file("EXEC.LOG");
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

}  // namespace

TEST(BoneBar, ElasticToYieldThenTangentModulus) {
  test::ScratchDir dir;
  Pull p;
  p.substeps = 4;  // the first step that yields runs again in four
  const auto c = pull(p);
  test::expect_golden_log("static_material");
  ASSERT_EQ(c.size(), 20u);
  const double H = E * ETR * E / (E - ETR * E);  // plastic modulus
  for (const Point& q : c) {
    EXPECT_NEAR(q.load, p.tmax * (&q - &c[0] + 1) / p.nstep, 1e-4);  // the load is carried
    if (q.load < 0.99 * Y) {
      EXPECT_NEAR(q.u, q.load * BAR.LX / E, 1e-6 * BAR.LX) << q.load;  // F L / (E A)
      EXPECT_EQ(q.e.STATE, 0);
      continue;
    }
    if (q.load < 1.01 * Y) continue;  // the step that yields
    // Beyond yield the strain is Y / E + (s - Y) / Et, and (s - Y) / H of it plastic.
    EXPECT_EQ(q.e.STATE, 2) << q.load;
    EXPECT_NEAR(q.u / BAR.LX, Y / E + (q.load - Y) / (ETR * E), 2e-3) << q.load;
    EXPECT_NEAR(q.e.V[20], (q.load - Y) / H, 2e-3) << q.load;
    EXPECT_NEAR(q.e.V[19], q.load, 2e-3 * Y);  // equivalent stress on the surface
  }
  const std::string log = test::read_file("EXEC.LOG");
  EXPECT_NE(log.find(" ***** STEP NO. = 10   SUBSTEP NO. = 4 "), std::string::npos);
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

TEST(BoneBar, CrushedInCompressionStopsAtTheStatusLimit) {
  // Yield at a strain of 0.01, crush at 0.02: the load of step 11 (11.55)
  // passes the crush strain. With every element crushed the limit ends the
  // job there, with that step's result.
  test::ScratchDir dir;
  Pull p;
  p.tmax = -21.0;
  p.ecrush = 20000.0;
  p.crushed_limit = BAR.ntet();
  const auto c = pull(p);
  ASSERT_EQ(c.size(), 11u);
  EXPECT_EQ(c[9].e.STATE, 2);
  EXPECT_EQ(c[10].e.STATE, 3);
  for (int k = 0; k < 3; ++k) EXPECT_EQ(c[10].e.V[k], 0.0f);  // a crushed element carries nothing
}

TEST(BoneBar, LoadedSlowlyInADynamicJobFollowsTheStaticCurve) {
  // Periods of microseconds against steps of 0.05: inertia plays no part, and
  // the dynamic job yields, repeats the step from its own snapshot and
  // hardens as the static one does; crushed, it stops at the same step.
  for (double tmax : {21.0, -21.0}) {
    std::vector<Point> c[2];
    for (int dyn = 0; dyn < 2; ++dyn) {
      test::ScratchDir dir;
      Pull p;
      p.tmax = tmax;
      p.substeps = 4;
      p.ecrush = 20000.0;
      p.crushed_limit = tmax < 0 ? BAR.ntet() : 0;
      p.dynamic = dyn == 1;
      c[dyn] = pull(p);
      EXPECT_NE(test::read_file("EXEC.LOG").find(" ***** STEP NO. = 10   SUBSTEP NO. = 4 "), std::string::npos);
    }
    ASSERT_EQ(c[1].size(), c[0].size());
    for (std::size_t k = 0; k < c[0].size(); ++k) {
      EXPECT_NEAR(c[1][k].load, c[0][k].load, 1e-3 * std::fabs(tmax)) << k;
      EXPECT_NEAR(c[1][k].u, c[0][k].u, 1e-3 * std::fabs(c[0][k].u) + 1e-9) << k;
      EXPECT_EQ(c[1][k].e.STATE, c[0][k].e.STATE) << k;
    }
  }
}
