// Rubber blocks through the whole program on the direct solvers: uniaxial
// tension and compression and simple shear against the closed forms of the
// incompressible Mooney-Rivlin law, Newton's quadratic rate on a large
// stretch, a rubber layer on bone in one model, and the stops of bad input.
#include <gtest/gtest.h>

#include <cmath>

#include "deckgen.hpp"
#include "testutil.hpp"

using namespace ossa;
using test::Box;

namespace {

constexpr double C1 = 0.5, C2 = 0.1, KB = 1000.0;


// Nodes, and the elements as rubber with their rows; those with their
// centroid before x = XBONE solid bone of E = 1000.
std::string mesh(const Box& b, double xbone = 0.0, double c1 = C1, double kb = KB) {
  std::string s = b.node_cards();
  for (int e = 1; e <= b.ntet(); ++e) {
    double x = 0.0;
    for (int n : b.tets[e - 1]) x += 0.25 * b.xyz[n - 1].x;
    s += x < xbone ? test::solid(e, b.tets[e - 1]) + test::propt_solid(e, 0.3, 1000.0)
                   : test::rubb(e, b.tets[e - 1]) + test::propt_rubber(e, c1, C2, kb);
  }
  return s;
}

std::string head(const Box& b, int nsolid, int nstep, int solver = -1) {
  return test::job_head(b.nnode(), nsolid, 0, test::cntrl(1, 0, 15, 1e-8, solver), nstep, b.ntet() - nsolid);
}

// Enforced displacements u(p) (flag 2) where `on` holds, other flags as
// given by `flags`; one load group from 0 to all at time 1.
template <class On, class Flags, class U>
std::string boundary(const Box& b, On on, Flags flags, U u) {
  std::string held, disps;
  int nh = 0, nd = 0;
  for (int i = 1; i <= b.nnode(); ++i) {
    const test::P3& p = b.xyz[i - 1];
    const std::string f = flags(p);
    if (f != "000000") held += test::plnk(i, f.c_str()), ++nh;
    if (!on(p)) continue;
    double d[3];
    u(p, d);
    disps += test::disp(i, d[0], d[1], d[2]), ++nd;
  }
  return test::ngld(1) + test::nplnk(nh) + test::nload(2, nd) + test::tblld(0.0, 0.0) + test::tblld(1.0, 1.0) +
         disps + held + "END\n";
}

// Pulled or pushed along x to the stretch `l`, the section free to contract.
std::string uniaxial(const Box& b, double l) {
  return boundary(
      b, [&](const test::P3& p) { return p.x == b.LX; },
      [&](const test::P3& p) {
        return std::string(p.x == b.LX ? "2" : p.x == 0 ? "1" : "0") + (p.y == 0 ? "1" : "0") + (p.z == 0 ? "1" : "0") + "000";
      },
      [&](const test::P3&, double* d) { d[0] = (l - 1) * b.LX, d[1] = d[2] = 0.0; });
}

}  // namespace

TEST(RubberJob, UniaxialStretchMatchesTheIncompressibleLawWithQuadraticNewton) {
  const Box b(1, 1, 1, 1.0, 1.0, 1.0);
  struct Case { double l; int nstep, solver; };  // ORK and MUMPS
  for (const Case c : {Case{1.5, 1, -1}, Case{0.7, 2, -2}}) {
    SCOPED_TRACE(c.l);
    test::ScratchDir dir;
    test::run_deck(head(b, 0, c.nstep, c.solver) + mesh(b) + uniaxial(b, c.l));
    const post::Frame f = test::result_frame(test::result_frames());
    double fx = 0.0;  // the end's force: nominal stress times the unit section
    for (const auto& n : f.REACT) fx += b.xyz[n.ID - 1].x == b.LX ? n.V[0] : 0.0;
    const double l = c.l, want = 2.0 * (l - 1.0 / (l * l)) * (C1 + C2 / l);
    EXPECT_NEAR(fx, want, 0.01 * std::fabs(want));
    // The far corner's lateral contraction: volume kept within 1e-3.
    const double lt = 1.0 + f.DISP[b.id(1, 1, 1) - 1].V[1];
    EXPECT_NEAR(l * lt * lt, 1.0, 1e-3);
    EXPECT_NEAR(f.DISP[b.id(1, 1, 1) - 1].V[2], lt - 1.0, 1e-6);
    ASSERT_EQ(f.RUBBER.size(), static_cast<std::size_t>(b.ntet()));
    for (const auto& e : f.RUBBER) EXPECT_NEAR(e.V[0 + (l < 1 ? 2 : 0)], want / l, 0.01 * std::fabs(want)) << e.ID;
    // Newton on the whole stretch at once: each residual below ten times the
    // square of the one before, down to round-off.
    const std::vector<double> rel = test::last_residuals(test::read_file("EXEC.LOG"), 10);
    ASSERT_GE(rel.size(), 3u);
    for (std::size_t k = 1; k < rel.size(); ++k)
      if (rel[k] > 1e-12) {
        EXPECT_LT(rel[k], 10.0 * rel[k - 1] * rel[k - 1]) << k;
      }
  }
}

TEST(RubberJob, SimpleShearMatchesTheIncompressibleLaw) {
  // x += gamma y on the whole boundary, nothing else moves there: an
  // isochoric state, so every element holds it with no pressure.
  test::ScratchDir dir;
  const Box b(2, 2, 1, 1.0, 1.0, 0.5);
  const double g = 0.6;
  const std::string bc = boundary(
      b, [&](const test::P3& p) { return p.x == 0 || p.x == b.LX || p.y == 0 || p.y == b.LY; },
      [&](const test::P3& p) { return std::string(p.x == 0 || p.x == b.LX || p.y == 0 || p.y == b.LY ? "21" : "00") + "1000"; },
      [&](const test::P3& p, double* d) { d[0] = g * p.y, d[1] = d[2] = 0.0; });
  test::run_deck(head(b, 0, 2) + mesh(b) + bc);
  const post::Frame f = test::result_frame(2);
  ASSERT_EQ(f.RUBBER.size(), static_cast<std::size_t>(b.ntet()));
  for (const auto& e : f.RUBBER) {
    // S from its principal values and directions, then Cauchy F S F^T.
    double S[3][3] = {}, s[3][3] = {};
    for (int k = 0; k < 3; ++k)
      for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) S[i][j] += e.V[k] * e.V[3 + 3 * k + i] * e.V[3 + 3 * k + j];
    const double F[3][3] = {{1, g, 0}, {0, 1, 0}, {0, 0, 1}};
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j)
        for (int k = 0; k < 3; ++k)
          for (int l = 0; l < 3; ++l) s[i][j] += F[i][k] * S[k][l] * F[j][l];
    const double mu = 2.0 * (C1 + C2);
    EXPECT_NEAR(s[0][1], mu * g, 0.01 * mu * g) << e.ID;
    EXPECT_NEAR(s[0][0] - s[1][1], mu * g * g, 0.01 * mu * g * g) << e.ID;
    EXPECT_NEAR(s[1][1] - s[2][2], -2.0 * C2 * g * g, 0.01 * mu * g * g) << e.ID;
    EXPECT_NEAR(e.V[15], (C1 + C2) * g * g, 0.01 * mu * g * g) << e.ID;  // I1 = I2 = 3 + g^2
  }
}

TEST(RubberJob, RubberLayerOnBoneRunsOnTheDirectSolverToEquilibrium) {
  // A bone cube and a rubber cube in series, held at x = 0, pulled at x = 2
  // by a dead load; a saddle-point system with a stiff solid part and a
  // near-incompressible one (KB = 1e6 C1) in every solve.
  test::ScratchDir dir;
  const Box b(2, 1, 1, 2.0, 1.0, 1.0);
  int nheld = 0;
  const std::string held = test::hold_free_section(b, nheld);
  const double T = 0.8;
  test::run_deck(head(b, 6, 2) + mesh(b, 1.0, C1, 1e6 * C1) + test::ngld(1) + test::nplnk(nheld) +
                 test::end_traction(b, b.LX, T) + held + "END\n");
  const post::Frame f = test::result_frame(2);
  double react[3];
  post::SECTSUM(f.REACT, react);
  EXPECT_NEAR(react[0], -T, 1e-6);
  EXPECT_EQ(f.SOLID.size(), 6u);
  EXPECT_EQ(f.RUBBER.size(), 6u);
  // The bone barely strains; the rubber stretches by tens of percent.
  double ubone = 0.0, uend = 0.0;
  for (const auto& d : f.DISP) {
    if (b.xyz[d.ID - 1].x == 1.0) ubone = std::max(ubone, static_cast<double>(d.V[0]));
    if (b.xyz[d.ID - 1].x == 2.0) uend = std::max(uend, static_cast<double>(d.V[0]));
  }
  EXPECT_LT(ubone, 2e-3);
  EXPECT_GT(uend - ubone, 0.2);
}

TEST(RubberJob, BadInputStopsWithItsNumberAndWritesNoNumberThatIsNot) {
  const Box b(1, 1, 1, 1.0, 1.0, 1.0);
  Box reversed = b;  // one element turned inside out by its card order
  std::swap(reversed.tets[2][1], reversed.tets[2][2]);
  struct Case { std::string deck, text, end; };
  const Case cases[] = {
      {head(b, 0, 1) + mesh(b, 0.0, -C1) + uniaxial(b, 1.2), "C1 AND C2 MUST NOT BE NEGATIVE", "-2 0"},
      {head(b, 0, 1) + mesh(b, 0.0, C1, 0.0) + uniaxial(b, 1.2), "BULK MODULUS MUST BE POSITIVE", "-2 0"},
      {head(reversed, 0, 1) + mesh(reversed) + uniaxial(b, 1.2), "ELEMENT VOLUME IS TOO SMALL.", "-3 0"},
      {head(b, 0, 1) + mesh(b) + uniaxial(b, -0.5), "IS TURNED INSIDE OUT AT POINT", "-9 0"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    test::ScratchDir dir;
    test::write_file("EXEC.INP", c.deck);
    const auto r = test::run_ossa();
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(r.out.ends_with("##$$ExSv end " + c.end + "\n")) << r.out;
    EXPECT_NE(test::read_file("EXEC.LOG").find(c.text), std::string::npos) << test::read_file("EXEC.LOG");
    EXPECT_EQ(r.err.find("runtime error"), std::string::npos);
    EXPECT_FALSE(test::exists("EXEC.Bstr") && test::result_frames() > 0);
  }
}
