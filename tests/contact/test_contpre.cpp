// The static contact data of a cube standing on the open top of a plate,
// field by field; the levels of slaves whose masters are slaves; and the
// contact input that must stop. (Face and body sizes and the friction
// switch are checked where they act: the search's reach and the friction
// law of whole jobs.)
#include <gtest/gtest.h>

#include <cmath>

#include "bodies.hpp"
#include "model/stop.hpp"
#include "testutil.hpp"

using namespace ossa;
namespace tg = ossa::testing;
using tg::Mesh;
using tg::Tri;

namespace {

// Unit cube [0,1]^3 (nodes 1..8, node i+1 at bits x, y, z of i) and a second
// one on top of it, z in [1,2], with nodes of its own (9..16).
Mesh two_cubes(std::vector<std::vector<Tri>>& bodies) {
  Mesh g;
  const auto a = tg::box(g, 1, 1, 1, {0, 0, 0}, {1, 1, 1});
  const auto b = tg::box(g, 1, 1, 1, {0, 0, 1}, {1, 1, 1});
  bodies = {tg::surface(g, a), tg::surface(g, b)};
  return g;
}

// A plate of 3 x 3 cubes, z in [-1,0], its top as body 2 (nodes 1..32),
// under a cube, body 1, on [1,2]^2 x [0,1] (nodes 33..40).
Mesh cube_on_plate(std::vector<std::vector<Tri>>& bodies) {
  Mesh g;
  const auto plate = tg::box(g, 3, 3, 1, {0, 0, -1}, {1, 1, 1});
  const auto cube = tg::box(g, 1, 1, 1, {1, 1, 0}, {1, 1, 1});
  bodies = {tg::surface(g, cube), tg::surface(g, plate, [](const tg::P3& c) { return c[2] > -1e-9; })};
  return g;
}

// Every edge is the side across corner EDGEREC(4) of its first face, in that
// face's turn, and the same side, turned the other way, of its second face;
// FACEDGE points back at it. Returns the count of boundary edges.
int check_edges(const model::Model& m) {
  const auto& c = m.CONT;
  int boundary = 0;
  for (int e = 1; e <= m.KK(kk::NEDGE); ++e) {
    const int f1 = c.EDGEREC(3, e), i1 = c.EDGEREC(4, e), f2 = c.EDGEREC(5, e), i2 = c.EDGEREC(6, e);
    EXPECT_EQ(c.EDGEREC(1, e), m.CSFNOD(i1 % 3 + 1, f1));
    EXPECT_EQ(c.EDGEREC(2, e), m.CSFNOD((i1 + 1) % 3 + 1, f1));
    EXPECT_EQ(c.FACEDGE(i1, f1), e);
    if (f2 == 0) {
      EXPECT_EQ(i2, 0);
      ++boundary;
      continue;
    }
    EXPECT_EQ(c.EDGEREC(2, e), m.CSFNOD(i2 % 3 + 1, f2));
    EXPECT_EQ(c.EDGEREC(1, e), m.CSFNOD((i2 + 1) % 3 + 1, f2));
    EXPECT_EQ(c.FACEDGE(i2, f2), e);
    EXPECT_EQ(contact::FACEBODY(m, f1), contact::FACEBODY(m, f2));
  }
  return boundary;
}

// VERTEDGE lists exactly the edges at each node, VERTELEM the solids at each
// surface node, NODEELEM all elements at each node.
void check_ranges(const model::Model& m) {
  const auto& c = m.CONT;
  for (int n = 1; n <= m.NNODE(); ++n) {
    std::vector<int> edges, solids, all;
    for (int e = 1; e <= m.KK(kk::NEDGE); ++e)
      if (c.EDGEREC(1, e) == n || c.EDGEREC(2, e) == n) edges.push_back(e);
    const bool vertex = !edges.empty();
    for (int ie = 1; ie <= m.NELEM(); ++ie)
      for (int a = 1; a <= 4; ++a)
        if (m.ELEM(ie).NOD(a) == n) {
          all.push_back(ie);
          if (vertex) solids.push_back(ie);
        }
    auto range = [](const base::Arr2<std::int32_t>& r, const base::Arr1<std::int32_t>& l, int node) {
      return std::vector<int>(l.data() + r(1, node) - 1, l.data() + r(2, node));
    };
    EXPECT_EQ(range(c.VERTEDGE, c.VEDGE, n), edges) << n;
    EXPECT_EQ(range(c.VERTELEM, c.VELEM, n), solids) << n;
    EXPECT_EQ(range(c.NODEELEM, c.NELEMS, n), all) << n;
  }
}

}  // namespace

TEST(ContactData, CubeOnAnOpenPlateAndLevels) {
  std::vector<std::vector<Tri>> bodies;
  const Mesh g = cube_on_plate(bodies);
  ASSERT_EQ(bodies[1].size(), 18u);
  // Plate node 6 at (1,1,0) is held on the cube's corner 33 from the start.
  model::Model m;
  tg::contact_model(m, g, bodies, {{1, 2}, {2, 1}}, {{22, 33}});
  EXPECT_EQ(m.KK(kk::NSLV), 8 + 16);
  EXPECT_EQ(m.KK(kk::NEDGE), 18 + 33);  // a 3 x 3 grid of squares: 16 - 1 + 18 edges
  EXPECT_EQ(check_edges(m), 12);          // the plate's rim
  auto rim = [&](int n) { const double x = m.XYZ(1, n), y = m.XYZ(2, n); return x == 0 || x == 3 || y == 0 || y == 3; };
  for (int e = 19; e <= m.KK(kk::NEDGE); ++e)
    EXPECT_TRUE(m.CONT.EDGEREC(5, e) != 0 || (rim(m.CONT.EDGEREC(1, e)) && rim(m.CONT.EDGEREC(2, e)))) << e;
  check_ranges(m);
  for (int s = 1; s <= 8; ++s) EXPECT_EQ(m.CONT.SLAVE(s), 32 + s);
  const int p = tg::slave_of(m, 22);
  ASSERT_TRUE(m.XYZ(1, 22) == 1.0 && m.XYZ(3, 22) == 0.0);
  EXPECT_TRUE(m.CONT.SLVST(1, p) == 1 && m.CONT.SLVST(2, p) == 33);
  EXPECT_EQ(m.KK(kk::NLEV), 1);
  EXPECT_EQ(m.CONT.SLVLEV(p), 1);
  // The cube's corner 34 sits on a plate face with node 22 among its corners:
  // a level above it. Corner 36 on a face of free plate nodes, at the far
  // corner 32 (3,3,0): level 1.
  const int f22 = tg::face_with(m, 22), ffree = tg::face_with(m, 32);
  const int s34 = tg::slave_of(m, 34), s36 = tg::slave_of(m, 36);
  m.CONT.SLVST(1, s34) = 3;  m.CONT.SLVST(2, s34) = f22;
  m.CONT.SLVST(1, s36) = 13; m.CONT.SLVST(2, s36) = ffree;
  contact::CONTLEV(m, -1);
  EXPECT_EQ(m.KK(kk::NLEV), 2);
  EXPECT_EQ(m.CONT.SLVLEV(s34), 2);
  EXPECT_EQ(m.CONT.SLVLEV(s36), 1);
  EXPECT_TRUE(m.CONT.LEVEND(1) == 2 && m.CONT.LEVEND(2) == 3);
  EXPECT_EQ(m.CONT.SLVORD(3), s34);
  EXPECT_EQ(m.CONT.SLVLEV(tg::slave_of(m, 35)), 0);  // free
}

TEST(ContactData, BadContactInputStopsNamingTheCard) {
  std::vector<std::vector<Tri>> cubes, plate;
  const Mesh g2 = two_cubes(cubes);
  const Mesh gp = cube_on_plate(plate);
  auto with = [&](int body, Tri t) { auto b = cubes; b[body - 1].push_back(t); return b; };
  auto reversed = cubes;
  std::swap(reversed[1][4][1], reversed[1][4][2]);
  struct Case {
    const Mesh* g;
    std::vector<std::vector<Tri>> bodies;
    std::vector<std::pair<int, int>> splnk;
    std::string text;
  };
  const Tri& r = reversed[1][4];
  const std::string turned = "\"CSURF\" CARD 17: NODES " + std::to_string(100 + r[0]) + " " +
                             std::to_string(100 + r[1]) + " " + std::to_string(100 + r[2]) +
                             " TURN THE NORMAL OUT OF THE BODY; REVERSE THEIR ORDER.";
  const std::vector<Case> cases = {
      {&g2, {cubes[0], {}}, {}, "\"BODY\" CARD 2: BODY 2 HAS NO CONTACT SURFACE."},
      {&g2, with(2, {9, 10, 9}), {}, "\"CSURF\" CARD 25: NODES 109 110 109 DO NOT FORM A TRIANGLE."},
      {&g2, with(2, {10, 11, 13}), {}, "\"CSURF\" CARD 25: NODES 110 111 113 ARE NO FACE OF A SOLID ELEMENT."},
      {&g2, reversed, {}, turned},
      {&g2, with(1, {1, 2, 8}), {}, "\"CSURF\" CARD 13: EDGE 101-102 HAS A THIRD FACE."},
      {&gp, plate, {{1, 33}}, "\"SPLNK\" CARD 1: NODE 101 IS NO NODE OF A CONTACT SURFACE."},
      {&gp, plate, {{22, 1}}, "\"SPLNK\" CARD 1: MASTER NODE 101 IS NO NODE OF A CONTACT SURFACE."},
      {&gp, plate, {{22, 33}, {33, 22}}, "CONTACT SLAVES FORM A CIRCULAR CHAIN OF MASTERS."},
  };
  for (const Case& k : cases) {
    test::ScratchDir dir;
    OSSA_EXPECT_STOP(model::Model m; test::open_log(m); tg::contact_model(m, *k.g, k.bodies, {{1, 2}}, k.splnk));
    const std::string log = test::read_file("EXEC.LOG");
    EXPECT_NE(log.find("\n " + k.text + "\n *** ERROR NO. ***\n  -2  0\n"), std::string::npos)
        << k.text << "\n" << log;
  }
}
