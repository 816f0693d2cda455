// The crossing search: a free slave comes into contact when its path since
// the last contact pass crosses a master face from outside to inside; the
// first face in table order wins. Every case runs both through all faces
// and through the face buckets, which must give the very same answer.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "bodies.hpp"

using namespace ossa;
namespace tg = ossa::testing;

namespace {

// Body 1: a cube over the plate (its corner node 1 is the moving slave).
// Body 2: the top of a plate of n x n unit cubes, z in [-1,0]; with `twin`,
// body 3: the top of a second plate in the same place.
struct Scene {
  model::Model m;
  int slave = 0;
  Scene(int n, bool twin) {
    tg::Mesh g;
    const auto cube = tg::box(g, 1, 1, 1, {0.25, 0.25, 0.5}, {1, 1, 1});
    std::vector<std::vector<tg::Tri>> bodies = {tg::surface(g, cube)};
    auto top = [](const tg::P3& c) { return c[2] > -1e-9; };
    for (int b = 0; b < (twin ? 2 : 1); ++b)
      bodies.push_back(tg::surface(g, tg::box(g, n, n, 1, {0, 0, -1}, {1, 1, 1}), top));
    std::vector<std::pair<int, int>> pairs = {{1, 2}};
    if (twin) pairs.push_back({1, 3});
    tg::contact_model(m, g, bodies, pairs);
    slave = tg::slave_of(m, 1);
  }
  // Moves the slave from `a` to `b` and searches, both ways; returns the
  // state code.
  int path(const tg::P3& a, const tg::P3& b) {
    for (int k = 1; k <= 3; ++k) {
      m.XOLD(k, 1) = a[k - 1];
      m.X(k, 1) = b[k - 1];
    }
    contact::FACEGRID grid;
    contact::GRIDBUILD(m, grid);
    contact::FREECHK(m, 1, slave, &grid);
    const int code = m.CONT.SLVST(1, slave), face = m.CONT.SLVST(2, slave);
    const double B[3] = {m.CONT.SLVBARY(1, slave), m.CONT.SLVBARY(2, slave), m.CONT.SLVBARY(3, slave)};
    contact::FREECHK(m, 1, slave);
    EXPECT_TRUE(m.CONT.SLVST(1, slave) == code && m.CONT.SLVST(2, slave) == face);
    for (int k = 1; k <= 3 && code != 0; ++k) EXPECT_EQ(m.CONT.SLVBARY(k, slave), B[k - 1]);
    return code;
  }
  int face() const { return m.CONT.SLVST(2, slave); }
  // The crossing point: the area coordinates times the corners.
  tg::P3 point() const {
    tg::P3 p{0, 0, 0};
    for (int i = 1; i <= 3; ++i)
      for (int k = 1; k <= 3; ++k) p[k - 1] += m.CONT.SLVBARY(i, slave) * m.X(k, m.CSFNOD(i, face()));
    return p;
  }
  bool corner(int f, const tg::P3& x) const {
    for (int i = 1; i <= 3; ++i)
      if (m.X(1, m.CSFNOD(i, f)) == x[0] && m.X(2, m.CSFNOD(i, f)) == x[1] && m.X(3, m.CSFNOD(i, f)) == x[2])
        return true;
    return false;
  }
};

void expect_at(const tg::P3& p, const tg::P3& q) {
  for (int k = 0; k < 3; ++k) EXPECT_NEAR(p[k], q[k], 1e-9) << k;
}

}  // namespace

TEST(ContactSearch, CrossingsFoundAndMissed) {
  Scene s(2, false);
  // Through the interior of a face, straight down: the crossing lies a hair
  // inside, at the height tolerance.
  EXPECT_EQ(s.path({0.7, 0.4, 0.1}, {0.7, 0.4, -0.1}), 13);
  EXPECT_EQ(contact::FACEBODY(s.m, s.face()), 2);
  expect_at(s.point(), {0.7, 0.4, 0.0});
  for (int i = 1; i <= 3; ++i) EXPECT_GT(s.m.CONT.SLVBARY(i, s.slave), 0.0);
  // From exactly on the face inwards (H0 = 0).
  EXPECT_EQ(s.path({0.7, 0.4, 0.0}, {0.7, 0.4, -0.1}), 13);
  expect_at(s.point(), {0.7, 0.4, 0.0});
  // Across an edge between two cubes' faces, slanting into the plate.
  EXPECT_EQ(s.path({0.9, 0.5, 0.1}, {1.1, 0.5, -0.1}), 13);
  expect_at(s.point(), {1.0, 0.5, 0.0});
  EXPECT_TRUE(s.corner(s.face(), {1, 0, 0}) && s.corner(s.face(), {1, 1, 0}));
  // Through the middle vertex, where six faces meet.
  EXPECT_EQ(s.path({0.8, 0.9, 0.35}, {1.2, 1.1, -0.35}), 13);
  expect_at(s.point(), {1.0, 1.0, 0.0});
  EXPECT_TRUE(s.corner(s.face(), {1, 1, 0}));
  // Not crossing: inside all along, or leaving.
  EXPECT_EQ(s.path({0.7, 0.4, -0.05}, {0.7, 0.4, -0.1}), 0);
  EXPECT_EQ(s.path({0.7, 0.4, -0.1}, {0.7, 0.4, 0.1}), 0);
  EXPECT_EQ(s.m.CONT.SLVST(2, s.slave), 0);
  // Through the face but ending further than twice its size from it.
  EXPECT_EQ(s.path({0.7, 0.4, 5.0}, {0.7, 0.4, -5.0}), 0);
  // Out through the rim of the plate: outside the body, no contact.
  EXPECT_EQ(s.path({1.5, 0.05, 0.1}, {1.5, -0.05, -0.1}), 0);
}

TEST(ContactSearch, EdgeCheckAsksTheElementsAtTheEdge) {
  Scene s(2, false);
  // A rim face of the plate (two corners on y = 0).
  int f = 0;
  for (int g = 13; g <= 20 && f == 0; ++g)
    if (s.corner(g, {1, 0, 0}) && s.corner(g, {2, 0, 0})) f = g;
  ASSERT_NE(f, 0);
  double B[3];
  for (int i = 1; i <= 3; ++i) B[i - 1] = s.m.XYZ(2, s.m.CSFNOD(i, f)) == 0.0 ? 0.5 : 0.0;
  const double inside[3] = {1.5, 0.1, -0.3}, outside[3] = {1.5, -0.1, -0.3}, on[3] = {1.5, 0.0, -0.3};
  EXPECT_TRUE(contact::EDGEOK(s.m, f, B, inside));
  EXPECT_FALSE(contact::EDGEOK(s.m, f, B, outside));
  EXPECT_TRUE(contact::EDGEOK(s.m, f, B, on));  // on the body's side face: in the closed body
  const double interior[3] = {0.2, 0.3, 0.5};
  EXPECT_TRUE(contact::EDGEOK(s.m, f, interior, outside));
}

TEST(ContactSearch, OverlappingFacesTheEarlierWins) {
  Scene s(2, true);
  EXPECT_EQ(s.path({0.7, 0.4, 0.1}, {0.7, 0.4, -0.1}), 13);
  EXPECT_EQ(contact::FACEBODY(s.m, s.face()), 2);
  const int first = s.face();
  s.m.CBPAIR(1, 2) = 0;  // body 2 no longer paired: the twin takes it
  EXPECT_EQ(s.path({0.7, 0.4, 0.1}, {0.7, 0.4, -0.1}), 13);
  EXPECT_EQ(contact::FACEBODY(s.m, s.face()), 3);
  EXPECT_EQ(s.face(), first + 8);
}

TEST(ContactSearch, BucketsGiveTheSameAnswerAsAllFaces) {
  // A rumpled plate of 8 x 8 cubes and random paths near its top.
  Scene s(8, false);
  std::mt19937 gen(7);
  // Paths up to twice the reach of the proximity test, so that both sides
  // of its limit occur.
  std::uniform_real_distribution<double> u(-0.5, 8.5), dz(-0.1, 1.5), bump(-0.05, 0.05);
  for (int n = 1; n <= s.m.NNODE(); ++n)
    if (n > 8)
      for (int k = 1; k <= 3; ++k) s.m.X(k, n) += bump(gen);
  int hits = 0;
  for (int t = 0; t < 1500; ++t) {
    const double x = u(gen), y = u(gen), z = dz(gen);
    hits += s.path({x, y, z}, {x + 4.0 * bump(gen), y + 4.0 * bump(gen), -dz(gen)}) == 13;
  }
  EXPECT_GT(hits, 150);
  // A corner gone to NaN (a diverged pass) takes its faces out of both.
  s.m.X(3, s.m.CSFNOD(1, 13)) = std::nan("");
  for (int t = 0; t < 200; ++t) s.path({u(gen), u(gen), 0.1}, {u(gen), u(gen), -0.1});
  // The bucket of any point lists every face within reach of it.
  contact::FACEGRID grid;
  contact::GRIDBUILD(s.m, grid);
  int listed = 0;
  for (int t = 0; t < 1500; ++t) {
    const double p[3] = {u(gen), u(gen), -dz(gen)};
    long cell = 0;
    for (int k = 2; k >= 0; --k) cell = cell * grid.N[k] + static_cast<long>(std::floor((p[k] - grid.LO[k]) / grid.H));
    for (int f = 1; f <= s.m.KK(kk::NCSURF); ++f) {
      double d = 0.0;
      for (int k = 1; k <= 3; ++k) {
        const double c = (s.m.X(k, s.m.CSFNOD(1, f)) + s.m.X(k, s.m.CSFNOD(2, f)) + s.m.X(k, s.m.CSFNOD(3, f))) / 3.0;
        d += (p[k - 1] - c) * (p[k - 1] - c);
      }
      if (!(std::sqrt(d) <= 2.0 * s.m.CONT.FSIZE(f))) continue;
      bool in = false;
      for (int q = grid.START(cell + 1) + 1; q <= grid.START(cell + 2); ++q) in = in || grid.FACE(q) == f;
      EXPECT_TRUE(in) << f;
      ++listed;
    }
  }
  EXPECT_GT(listed, 1500);
}
