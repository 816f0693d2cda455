// A bone bar pulled through the whole program: elastic up to its yield
// stress, then stiffening with the tangent modulus; a weak bar cracks first.
// The load-displacement curve is read back from the result files.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "deckgen.hpp"
#include "post/reader.hpp"
#include "testutil.hpp"

using namespace ossa;
using test::Box;

namespace {

struct Point {
  double load, u;  // reaction sum (pulling back, sign turned) and end displacement
  int state;       // state of the first solid
  double pdirx;    // x component of its crack normal
};

// Runs a bar of E 1000 under an end traction rising linearly to TMAX over
// NSTEP steps, and returns the curve, one point a step.
std::vector<Point> pull(const Box& b, double TMAX, int NSTEP, double sigt, double yield, double etr) {
  int nheld = 0;
  const std::string held = test::hold_plane(b, 0.0, "111000", nheld);
  std::string mesh;
  for (int n = 1; n <= b.nnode(); ++n) mesh += test::node(n, b.xyz[n - 1].x, b.xyz[n - 1].y, b.xyz[n - 1].z);
  for (int e = 1; e <= b.ntet(); ++e) mesh += test::solid(e, b.tets[e - 1]);
  for (int e = 1; e <= b.ntet(); ++e) mesh += test::propt_solid(e, 0.0, 1000.0, 1, sigt, yield, etr, 1.0e5);
  const std::string deck = test::cntnd(b.nnode()) + test::cntel(b.ntet()) + test::cntrl(0, 1, 30, 1e-6) +
                           test::cntr2(10, 1) + test::cntr3_cpu() + test::card("PRPLT%5s00%3s%5d", "", "", 1) +
                           test::kukan(1.0, NSTEP) + mesh + test::ngld(1) + test::nplnk(nheld) +
                           test::end_traction(b, b.LX, TMAX) + held + "END\n";
  test::write_file("EXEC.INP", deck);
  const auto r = test::run_ossa();
  EXPECT_NE(r.out.find("##$$ExSv end 1 1"), std::string::npos) << r.out;
  post::ResIndex idx;
  EXPECT_EQ(post::RESSCAN(".", idx), "");
  std::vector<Point> curve;
  const int tip = b.id(b.NX, 0, 0);
  for (std::size_t k = 1; k <= idx.frames.size(); ++k) {
    post::Frame f;
    EXPECT_EQ(post::RESREAD(idx, k, f), "");
    double react[3];
    post::SECTSUM(f.REACT, react);
    Point p{-react[0], 0.0, f.SOLID.empty() ? -1 : f.SOLID[0].STATE,
            f.SOLID.empty() ? 0.0 : f.SOLID[0].V[16]};
    for (const auto& d : f.DISP)
      if (d.ID == tip) p.u = d.V[0];
    curve.push_back(p);
  }
  return curve;
}

}  // namespace

TEST(BoneBar, ElasticToYieldThenTangentModulus) {
  test::ScratchDir dir;
  const Box b(4, 1, 1, 4.0, 1.0, 1.0);  // cross-section 1, length 4
  const double E = 1000.0, Y = 10.0, ETR = 0.1;
  const auto c = pull(b, 20.0, 40, 1.0e6, Y, ETR);
  ASSERT_EQ(c.size(), 40u);
  // Elastic part: u = F L / (E A), exactly, while the stress is below YIELD.
  for (const auto& p : c)
    if (p.load < 0.95 * Y) {
      EXPECT_NEAR(p.u, p.load * b.LX / E, 1e-6 * b.LX) << p.load;
      EXPECT_EQ(p.state, 0);
    }
  // Plastic part: the slope of the curve is E A / L scaled by Et / E.
  const Point& a = c[29];
  const Point& z = c[39];
  ASSERT_GT(a.load, 1.2 * Y);
  const double slope = (z.load - a.load) / (z.u - a.u);
  EXPECT_NEAR(slope, ETR * E * 1.0 / b.LX, 0.05 * ETR * E / b.LX);
  EXPECT_EQ(z.state, 2);  // PLASTIC
  EXPECT_NEAR(z.load, 20.0, 1e-3);  // the load is carried all the way
}

TEST(BoneBar, TensileStrengthBelowYieldCracksFirst) {
  test::ScratchDir dir;
  const Box b(4, 1, 1, 4.0, 1.0, 1.0);
  const auto c = pull(b, 20.0, 20, 5.0, 10.0, 0.1);
  ASSERT_FALSE(c.empty());
  int first = -1;
  for (std::size_t k = 0; k < c.size(); ++k)
    if (c[k].state != 0) { first = static_cast<int>(k); break; }
  ASSERT_GE(first, 0);
  EXPECT_EQ(c[first].state, 1);  // CRACKED, not PLASTIC
  EXPECT_NEAR(std::fabs(c[first].pdirx), 1.0, 1e-6);  // the crack opens across the load
  EXPECT_GE(c[first].load, 4.0);  // not before the stress nears SIGT
}
