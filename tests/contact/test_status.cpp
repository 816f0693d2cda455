// A slave on a master edge where the surface folds stays there while its
// force lies between the two faces' normals (it presses both), slides onto a
// face it leans over and presses, and goes free when it pulls away.
#include <gtest/gtest.h>

#include <string>

#include "bodies.hpp"

using namespace ossa;
namespace tg = ossa::testing;

TEST(ContactStatus, SlaveOnAFoldedEdge) {
  // Body 1: a cube, its corner node 1 the slave. Body 2: the top of two cubes
  // side by side, z = 0, folded along x = 1 by moving that line to z = dz.
  model::Model m;
  tg::Mesh g;
  const auto cube = tg::box(g, 1, 1, 1, {0.5, 0.25, 0.5}, {1, 1, 1});
  const auto top = tg::surface(g, tg::box(g, 2, 1, 1, {0, 0, -1}, {1, 1, 1}), [](auto& c) { return c[2] > -1e-9; });
  tg::contact_model(m, g, {tg::surface(g, cube), top}, {{1, 2}});
  auto& c = m.CONT;
  const int s = tg::slave_of(m, 1);
  auto at1 = [&](int n) { return m.XYZ(1, n) == 1.0 && m.XYZ(3, n) == 0.0; };
  for (int e = 1; e <= m.KK(kk::NEDGE); ++e)
    if (at1(c.EDGEREC(1, e)) && at1(c.EDGEREC(2, e))) c.SLVOLD(2, s) = e;
  auto side = [&](int f) { return m.X(1, m.CSFNOD(1, f)) + m.X(1, m.CSFNOD(2, f)) + m.X(1, m.CSFNOD(3, f)) < 3.0 ? "left" : "right"; };
  // The slopes of the faces are +-0.3: a ridge's normals (+-0.3, 0, -1)
  // bound the wedge, a groove's (-+0.3, 0, -1).
  const struct { double dz, G[3]; std::string to; } rows[] = {
      {0.3, {0, 0, -1}, "edge"},    {0.3, {0.2, 0.4, -1}, "edge"},  // a push along the edge is free
      {0.3, {1, 0, -1}, "right"},   {0.3, {-1, 0, -1}, "left"},    {0.3, {0, 0, 1}, "free"},
      {0.3, {1, 0, 0.2}, "free"},   {-0.3, {0.2, 0, -1}, "edge"},  {-0.3, {1, 0, -1}, "right"}};
  for (const auto& r : rows) {
    for (int n = 1; n <= m.NNODE(); ++n) m.X(3, n) = m.XYZ(3, n) + (at1(n) ? r.dz : 0.0);
    const double X[3] = {1.0, 0.5, r.dz};
    for (int k = 1; k <= 3; ++k) m.X(k, 1) = X[k - 1];
    c.SLVOLD(1, s) = contact::S_EDGE;
    int ERRFLAG = 0;
    contact::EDGECHK(m, s, r.G, ERRFLAG);
    const int code = c.SLVST(1, s), id = c.SLVST(2, s);
    const std::string got = code == contact::S_EDGE ? (id == c.SLVOLD(2, s) ? "edge" : "other edge")
                            : code == contact::S_FACE ? side(id) : code == contact::S_FREE ? "free" : "?";
    EXPECT_EQ(got, r.to) << r.dz << " " << r.G[0] << " " << r.G[2];
    EXPECT_EQ(ERRFLAG, 0);
  }
}
