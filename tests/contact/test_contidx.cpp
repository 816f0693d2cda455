// Slaves in contact in the equation index: the dependent translations each
// state gives up, the direction chosen against the normal and the
// constraints, the link terms and their targets, chains flattened onto
// independent degrees of freedom; the slaves put on their masters; the
// index rebuilt after a change of states is the index built for those
// states from scratch.
#include <gtest/gtest.h>

#include <set>

#include "bodies.hpp"
#include "model/stop.hpp"
#include "solution/index.hpp"
#include "solvers/solver.hpp"
#include "testutil.hpp"

using namespace ossa;
namespace tg = ossa::testing;

namespace {

// A plate of 2 x 2 cubes, z in [-1,0] (nodes 1..18, top 10..18, node 14 at
// its middle), its top as body 2; a cube on [0.5,1.5]^2 x [0,1] as body 1
// (nodes 19..26, 19..22 at its bottom).
void scene(model::Model& m, const std::vector<std::array<int, 6>>& fixed = {}) {
  tg::Mesh g;
  const auto plate = tg::box(g, 2, 2, 1, {0, 0, -1}, {1, 1, 1});
  const auto cube = tg::box(g, 1, 1, 1, {0.5, 0.5, 0}, {1, 1, 1});
  const std::vector<std::vector<tg::Tri>> bodies = {
      tg::surface(g, cube), tg::surface(g, plate, [](const tg::P3& c) { return c[2] > -1e-9; })};
  tg::contact_model(m, g, bodies, {{1, 2}, {2, 1}});
  std::vector<std::pair<int, std::array<int, 6>>> rows;
  for (const auto& f : fixed) rows.push_back({f[0], {f[1], f[2], f[3], f[4], f[5], 0}});
  tg::constrain(m, rows);
  solution::DOFINIT(m);
}

// The plate face under point (x, y).
int face_under(const model::Model& m, double x, double y) {
  for (int f = 13; f <= 20; ++f) {
    double P[4][3], B[3], foot[3], h;
    for (int i = 0; i < 3; ++i)
      for (int k = 0; k < 3; ++k) P[i][k] = m.X(k + 1, m.CSFNOD(i + 1, f));
    P[3][0] = x; P[3][1] = y; P[3][2] = 0.0;
    contact::TRIBARY(B, foot, h, P);
    if (contact::INSIDE3(B, 1e-9)) return f;
  }
  return 0;
}

void put(model::Model& m, int node, int code, int id) {
  const int s = tg::slave_of(m, node);
  m.CONT.SLVST(1, s) = code;
  m.CONT.SLVST(2, s) = id;
}

using Pair = std::pair<int, int>;

// The terms of the dependent translation (node, d) and its flattened targets.
std::vector<Pair> terms(const model::Model& m, int node, int d) {
  const int e = m.CONT.SLVDOF(d, node);
  std::vector<Pair> t;
  for (int k = m.CONT.DEPREC(3, e); k < m.CONT.DEPREC(3, e) + m.CONT.DEPREC(4, e); ++k)
    t.push_back({m.CONT.TERMND(1, k), m.CONT.TERMND(2, k)});
  return t;
}
std::set<Pair> targets(const model::Model& m, int node, int d) {
  std::set<Pair> t;
  for (int p = m.LINKPTR(1, d, node); p < m.LINKPTR(1, d, node) + m.LINKPTR(2, d, node); ++p)
    t.insert({m.CONT.INDTGT(1, m.CONT.LINKIDX(p)), m.CONT.INDTGT(2, m.CONT.LINKIDX(p))});
  return t;
}
std::vector<Pair> own_then_masters(int node, std::vector<int> own, std::vector<int> masters) {
  std::vector<Pair> t;
  for (int k : own) t.push_back({node, k});
  for (int n : masters)
    for (int k = 1; k <= 3; ++k) t.push_back({n, k});
  return t;
}

}  // namespace

TEST(ContactLinks, EachStateItsDependentDirectionsAndTerms) {
  test::ScratchDir dir;
  model::Model m;
  test::open_log(m);
  scene(m);
  const int f = face_under(m, 0.5, 0.5), e = tg::edge_of(m, 14, 15);
  ASSERT_TRUE(f != 0 && e != 0);
  put(m, 19, 13, f);  // to a face of normal -z: z goes
  put(m, 20, 12, e);  // to an edge along x: y and z go
  put(m, 21, 11, 14);  // to a vertex: all three go
  auto& c = m.CONT;
  const int s19 = tg::slave_of(m, 19), s20 = tg::slave_of(m, 20);
  for (int i = 1; i <= 3; ++i) c.SLVBARY(i, s19) = 0.1 * i + 0.1 * (i == 3);
  c.SLVBARY(1, s20) = 0.25;
  solution::EQINDEX(m, 0);
  EXPECT_EQ(m.KK(kk::NDEP), 1 + 2 + 3);
  EXPECT_EQ(m.KK(kk::NTERM), 11 + 14 + 3);
  EXPECT_EQ(m.KK(kk::NEQ), 3 * 26 - 6);
  for (int k = 1; k <= 3; ++k) {
    EXPECT_EQ(m.IDOF(k, 19) == -2, k == 3) << k;
    EXPECT_EQ(m.IDOF(k, 20) == -2, k != 1) << k;
    EXPECT_EQ(m.IDOF(k, 21), -2);
  }
  EXPECT_TRUE(c.SLVDIR(1, s19) == 3 && c.SLVDIR(1, s20) == 2 && c.SLVDIR(2, s20) == 3);
  EXPECT_EQ(terms(m, 19, 3), own_then_masters(19, {1, 2}, {m.CSFNOD(1, f), m.CSFNOD(2, f), m.CSFNOD(3, f)}));
  for (int d : {2, 3}) EXPECT_EQ(terms(m, 20, d), own_then_masters(20, {1}, {c.EDGEREC(1, e), c.EDGEREC(2, e)}));
  for (int d = 1; d <= 3; ++d) EXPECT_EQ(terms(m, 21, d), std::vector<Pair>(1, Pair(14, d)));
  // No chains here: the targets are the terms.
  const auto t = terms(m, 19, 3);
  EXPECT_EQ(targets(m, 19, 3), std::set<Pair>(t.begin(), t.end()));
  // The element at the slave couples with the face's corners through the link.
  const int a = m.IDOF(1, 19);
  for (int i = 1; i <= 3; ++i) {
    const int b = m.IDOF(3, m.CSFNOD(i, f));
    const int row = std::min(a, b), col = std::max(a, b);
    bool found = false;
    for (int p = m.IA(row); p < m.IA(row + 1); ++p) found = found || m.JA(p) == col;
    EXPECT_TRUE(found) << i;
  }
  EXPECT_GE(m.KK(kk::MAXEDOF), 12 + 9);
  // Put on their masters: at the stored area coordinates, edge parameter, vertex.
  contact::CONTPREP(m);
  double on[3] = {0, 0, 0};
  for (int i = 1; i <= 3; ++i)
    for (int k = 1; k <= 3; ++k) on[k - 1] += c.SLVBARY(i, s19) * m.XYZ(k, m.CSFNOD(i, f));
  const double want[3][3] = {{on[0], on[1], on[2]}, {1.25, 1.0, 0.0}, {1.0, 1.0, 0.0}};
  for (int n : {19, 20, 21}) {
    for (int k = 1; k <= 3; ++k) EXPECT_NEAR(m.X(k, n), want[n - 19][k - 1], 1e-14) << n << " " << k;
    EXPECT_EQ(c.SLVST(1, tg::slave_of(m, n)), 3 - (n - 19));
  }
  EXPECT_NEAR(c.DUC(1, 20), m.U(1, 20), 1e-15);
  EXPECT_NEAR(c.DUC(1, 20), -0.25, 1e-15);  // from x = 1.5 to 1.25
  EXPECT_EQ(c.UCI(1, 20), 0.0);             // the start saved before the move
}

TEST(ContactLinks, ConstrainedSlaves) {
  test::ScratchDir dir;
  {
    // A plate tilted about y, normal (0.6, 0, -0.8): with z held, x goes.
    model::Model m;
    test::open_log(m);
    scene(m, {{19, 0, 0, 1, 0, 0}});
    for (int n = 10; n <= 18; ++n) m.X(3, n) += 0.75 * m.X(1, n);
    put(m, 19, 13, face_under(m, 0.5, 0.5));
    solution::EQINDEX(m, 0);
    EXPECT_EQ(m.CONT.SLVDIR(1, tg::slave_of(m, 19)), 1);
    EXPECT_TRUE(m.IDOF(1, 19) == -2 && m.IDOF(3, 19) == 0);
    EXPECT_TRUE(terms(m, 19, 1)[0] == Pair(19, 2) && terms(m, 19, 1)[1] == Pair(19, 3));
    // Put on the plane: only x moves, from 0.5 to the plane's trace x = 0.
    contact::CONTPREP(m);
    for (int k = 1; k <= 3; ++k) EXPECT_NEAR(m.X(k, 19), k == 2 ? 0.5 : 0.0, 1e-15) << k;
  }
  struct Case { std::array<int, 6> fixed; int code; };
  // On the flat face with z held, or a vertex with one translation held.
  for (const Case& k : {Case{{19, 0, 0, 1, 0, 0}, 3}, Case{{19, 0, 2, 0, 0, 0}, 1}, Case{{19, 0, 1, 1, 0, 0}, 2}}) {
    OSSA_EXPECT_STOP(model::Model m; test::open_log(m); scene(m, {k.fixed});
                     put(m, 19, k.code, k.code == 3 ? face_under(m, 0.5, 0.5) : (k.code == 1 ? 14 : tg::edge_of(m, 14, 15)));
                     solution::EQINDEX(m, 0));
    EXPECT_NE(test::read_file("EXEC.LOG").find("\n SLAVE POINT IS CONSTRAINED.\n *** ERROR NO. ***\n  -4  0\n"),
              std::string::npos)
        << k.code;
  }
}

TEST(ContactLinks, ChainsEndOnIndependentTargets) {
  test::ScratchDir dir;
  model::Model m;
  test::open_log(m);
  scene(m);
  // The plate's middle node on the cube's corner 19; the cube's corner 22 on
  // a plate face that has the middle node as a corner.
  put(m, 14, 1, 19);
  const int f = face_under(m, 1.4, 1.2);
  put(m, 22, 3, f);
  solution::EQINDEX(m, 0);
  EXPECT_EQ(m.KK(kk::NLEV), 2);
  const std::set<Pair> t = targets(m, 22, 3);
  for (const Pair& p : t) EXPECT_NE(m.IDOF(p.second, p.first), -2);
  for (int k = 1; k <= 3; ++k) EXPECT_TRUE(t.count({19, k}) == 1 && t.count({14, k}) == 0) << k;
  EXPECT_EQ(t.size(), 11u);  // 2 own + 3 corners x 3, the middle node's by the corner 19's
  // Coefficients: the face is flat (normal -z), so the slave's z is the
  // corners' z by their area coordinates, the middle node's through 19.
  const int s = tg::slave_of(m, 22);
  for (int i = 1; i <= 3; ++i) m.CONT.SLVBARY(i, s) = 0.2 * i;
  contact::CONTCOEF(m);
  contact::CONTLINK(m);
  const auto& c = m.CONT;
  for (int p = m.LINKPTR(1, 3, 22); p < m.LINKPTR(1, 3, 22) + m.LINKPTR(2, 3, 22); ++p) {
    const int n = c.INDTGT(1, c.LINKIDX(p)), k = c.INDTGT(2, c.LINKIDX(p));
    double w = 0.0;
    for (int i = 1; i <= 3; ++i)
      if (m.CSFNOD(i, f) == (n == 19 ? 14 : n) && k == 3) w = 0.2 * i;
    EXPECT_NEAR(c.LINKC(p), w, 1e-15) << n << " " << k;
  }
}

TEST(ContactLinks, RebuiltIndexEqualsTheIndexBuiltFromScratch) {
  test::ScratchDir dir;
  auto state_a = [](model::Model& m) { put(m, 19, 3, face_under(m, 0.5, 0.5)); };
  auto state_b = [](model::Model& m) {
    put(m, 19, 0, 0);
    put(m, 14, 1, 19);
    put(m, 22, 13, face_under(m, 1.4, 1.2));
    put(m, 20, 2, tg::edge_of(m, 14, 15));
  };
  auto index = [](model::Model& m) {
    solution::EQINDEX(m, 0);
    solvers::SOLVERPREP(m, 0);
  };
  model::Model m, fresh;
  test::open_log(m);
  scene(m);
  state_a(m);
  index(m);
  const long words_a = model::FREEWORDS(m);
  state_b(m);
  index(m);
  test::open_log(fresh);
  scene(fresh);
  state_b(fresh);
  index(fresh);
  auto eq = [](const auto& x, const auto& y) { return x.size() == y.size() && std::equal(x.begin(), x.end(), y.begin()); };
  auto same = [&](const auto&... xy) { return (eq(std::get<0>(xy), std::get<1>(xy)) && ...); };
  for (int k : {kk::NEQ, kk::MAXEDOF, kk::NZ, kk::NLEV, kk::NDEP, kk::NTERM}) EXPECT_EQ(m.KK(k), fresh.KK(k)) << k;
  const auto& c = m.CONT;
  const auto& d = fresh.CONT;
  EXPECT_TRUE(same(std::tie(m.IDOF, fresh.IDOF), std::tie(m.LINKPTR, fresh.LINKPTR), std::tie(c.INDTGT, d.INDTGT)));
  EXPECT_TRUE(same(std::tie(m.IA, fresh.IA), std::tie(m.JA, fresh.JA), std::tie(c.LINKIDX, d.LINKIDX), std::tie(c.TERMTGT, d.TERMTGT)));
  EXPECT_EQ(model::FREEWORDS(m), model::FREEWORDS(fresh));
  // Back to the first states, as often as a job may: the words held return.
  for (int pass = 0; pass < 3; ++pass) {
    for (int n : {14, 22, 20}) put(m, n, 0, 0);
    state_a(m);
    index(m);
    EXPECT_EQ(model::FREEWORDS(m), words_a);
    state_b(m);
    index(m);
  }
}
