// A slave on a master edge where the surface folds stays there while its
// force lies between the two faces' normals (it presses both), slides onto a
// face it leans over and presses, and goes free when it pulls away; a slave on
// a vertex goes free when it pulls away.
#include <gtest/gtest.h>

#include <string>

#include "bodies.hpp"

using namespace ossa;
namespace tg = ossa::testing;

TEST(ContactStatus, SlaveOnAFoldedEdge) {
  // Body 1: a cube, its corner node 1 the slave, at the middle of the edge
  // 16-19 of body 2, the top of two cubes side by side, z = 0; that line
  // x = 1 is lifted to z = dz, a ridge, or lowered, a groove.
  model::Model m;
  tg::Mesh g;
  const auto cube = tg::box(g, 1, 1, 1, {1, 0.5, 0}, {1, 1, 1});
  const auto top = tg::surface(g, tg::box(g, 2, 1, 1, {0, 0, -1}, {1, 1, 1}), [](auto& c) { return c[2] > -1e-9; });
  tg::contact_model(m, g, {tg::surface(g, cube), top}, {{1, 2}});
  auto& c = m.CONT;
  const int s = tg::slave_of(m, 1), EG = tg::edge_of(m, 16, 19);
  ASSERT_TRUE(EG != 0 && m.XYZ(1, 16) == 1.0 && m.XYZ(1, 19) == 1.0);
  c.SLVOLD(1, s) = contact::S_EDGE; c.SLVOLD(2, s) = EG;
  auto side = [&](int f) { return m.X(1, m.CSFNOD(1, f)) + m.X(1, m.CSFNOD(2, f)) + m.X(1, m.CSFNOD(3, f)) < 3.0 ? "left" : "right"; };
  // The faces' slopes are +-0.3: a ridge's normals, (+-0.3, 0, -1), bound
  // the wedge, a groove's (-+0.3, 0, -1).
  const struct { double dz, G[3]; std::string to; } rows[] = {
      {0.3, {0, 0, -1}, "edge"},    {0.3, {0.2, 0.4, -1}, "edge"},  // a push along the edge is free
      {0.3, {1, 0, -1}, "right"},   {0.3, {-1, 0, -1}, "left"},    {0.3, {0, 0, 1}, "free"},
      {0.3, {1, 0, 0.2}, "free"},   {-0.3, {0.2, 0, -1}, "edge"},  {-0.3, {1, 0, -1}, "right"}};
  int ERRFLAG = 0;
  for (const auto& r : rows) {
    for (int n : {1, 16, 19}) m.X(3, n) = r.dz;
    contact::EDGECHK(m, s, r.G, ERRFLAG);
    const int code = c.SLVST(1, s), id = c.SLVST(2, s);
    const std::string got = code == contact::S_EDGE ? (id == EG ? "edge" : "other edge")
                            : code == contact::S_FACE ? side(id) : code == contact::S_FREE ? "free" : "?";
    EXPECT_EQ(got, r.to) << r.dz << " " << r.G[0] << " " << r.G[2];
  }
  // On the edge's end vertex of the flat top: pressing keeps it in contact,
  // pulling away frees it.
  for (int n : {1, 16, 19}) m.X(3, n) = 0.0;
  for (const double gz : {-1.0, 1.0}) {
    c.SLVOLD(1, s) = contact::S_POINT, c.SLVOLD(2, s) = 16;
    const double G[3] = {0, 0, gz};
    contact::VRTXCHK(m, s, G, ERRFLAG);
    EXPECT_EQ(c.SLVST(1, s) == contact::S_FREE, gz > 0.0) << gz;
  }
  EXPECT_EQ(ERRFLAG, 0);
}
