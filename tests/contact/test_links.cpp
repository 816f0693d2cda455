// Slaves eliminated in the equations: a cube standing on another, its
// bottom corners held on the lower cube's top by vertex, edge or face
// links, deforms exactly as the two cubes with those nodes merged, with
// the direct solver and with conjugate gradients alike.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "bodies.hpp"
#include "elements/family.hpp"
#include "solution/assembly.hpp"
#include "solution/incr.hpp"
#include "solution/reschk.hpp"
#include "solvers/solver.hpp"
#include "testutil.hpp"

using namespace ossa;
namespace tg = ossa::testing;

namespace {

// Symmetry planes x = 0 and y = 0, the floor z = 0 held, but at `loose`
// nodes (slaves that take all from their master). The top z = ztop is
// pushed down by 1.0 a node, or moved down by 0.01 with `enforced`.
void constrain_and_load(model::Model& m, double ztop, bool enforced, std::vector<int> loose = {}) {
  std::vector<std::pair<int, std::array<int, 6>>> rows;
  for (int n = 1; n <= m.NNODE(); ++n) {
    if (std::find(loose.begin(), loose.end(), n) != loose.end()) continue;
    const int top = m.XYZ(3, n) == ztop && enforced ? 2 : 0;
    rows.push_back({n, {m.XYZ(1, n) == 0.0, m.XYZ(2, n) == 0.0, m.XYZ(3, n) == 0.0 ? 1 : top, 0, 0, 0}});
  }
  tg::constrain(m, rows);
  solution::DOFINIT(m);
  for (int n = 1; n <= m.NNODE(); ++n)
    if (m.XYZ(3, n) == ztop) (enforced ? m.DUE(3, n) : m.F(3, n)) = enforced ? -0.01 : -1.0;
}

void materials(model::Model& m, double nu, int solver) {
  m.KK(kk::SOLVER) = solver;
  m.RR(rr::TOLCG) = 1.0e-13;
  m.RR(rr::MINLEN) = 1.0e10;
  for (int i = 1; i <= m.NSOLID(); ++i) {
    m.SOLREC(i).E = 1000.0;
    m.SOLREC(i).NU = nu;
  }
  elements::ELEM_INIT(m);
}

// One linear solve from rest: residual, assembly, solution, update.
void solve(model::Model& m) {
  solvers::SOLVERPREP(m, 0);
  base::Arr2<double> none;
  solution::FORCEREC(m, none, 0);
  const double fnrm[3] = {1.0, 0.0, 0.0};
  solution::RESCHK(m, 0, 1, 1, 1, 1.0, fnrm, 0.0, nullptr);
  solution::STFASM(m, 1);
  solvers::SOLVE(m, 1);
  solution::DISPUPD(m, 1);
}

// The two cubes as one box: nodes 1..8 as in the contact model, the upper
// cube's bottom 9..12 merged into 5..8, its top 13..16 numbered 9..12.
void merged(model::Model& m, double nu, int solver) {
  tg::Mesh g;
  tg::box(g, 1, 1, 2, {0, 0, 0}, {1, 1, 1});
  tg::build(m, g.xyz, g.el, solver);
  model::MODELALLOC(m);
  materials(m, nu, solver);
  constrain_and_load(m, 2.0, false);
  solution::EQINDEX(m, 0);
  solve(m);
}

// Node k (1..4) of the upper cube's bottom on the lower cube's top: by its
// vertex, on the edge along y at x = 1, or on a face, as `code` says.
void stacked(model::Model& m, double nu, int solver, const int code[4]) {
  tg::Mesh g;
  const auto low = tg::box(g, 1, 1, 1, {0, 0, 0}, {1, 1, 1});
  const auto up = tg::box(g, 1, 1, 1, {0, 0, 1}, {1, 1, 1});
  auto at = [](double z) { return [z](const tg::P3& c) { return std::fabs(c[2] - z) < 1e-9; }; };
  tg::contact_model(m, g, {tg::surface(g, up, at(1.0)), tg::surface(g, low, at(1.0))}, {{1, 2}});
  materials(m, nu, solver);
  std::vector<int> loose;
  for (int k = 1; k <= 4; ++k)
    if (code[k - 1] == 1) loose.push_back(8 + k);
  constrain_and_load(m, 2.0, code[0] != 1, loose);
  auto& c = m.CONT;
  for (int k = 1; k <= 4; ++k) {
    const int s = tg::slave_of(m, 8 + k), v = 4 + k, kind = code[k - 1];
    const int e = tg::edge_of(m, 6, 8), f = tg::face_with(m, v);
    c.SLVST(1, s) = kind;
    c.SLVST(2, s) = kind == 1 ? v : (kind == 2 ? e : f);
    if (kind == 2) c.SLVBARY(1, s) = c.EDGEREC(1, e) == v ? 0.0 : 1.0;
    for (int i = 1; kind == 3 && i <= 3; ++i) c.SLVBARY(i, s) = m.CSFNOD(i, f) == v ? 1.0 : 0.0;
  }
  solution::EQINDEX(m, 0);
  contact::CONTCOEF(m);
  contact::CONTLINK(m);
  solve(m);
}

void expect_same(const model::Model& a, const model::Model& b) {
  const int map[16] = {1, 2, 3, 4, 5, 6, 7, 8, 5, 6, 7, 8, 9, 10, 11, 12};
  for (int n = 1; n <= 16; ++n)
    for (int k = 1; k <= 3; ++k) EXPECT_NEAR(a.U(k, n), b.U(k, map[n - 1]), 1e-11) << n << " " << k;
  EXPECT_LT(a.U(3, 16), -1e-3);  // it did press down
}

}  // namespace

TEST(ContactLinks, StackedCubesDeformAsMerged) {
  // All four on vertices: the same as merging, under corner loads.
  const int point[4] = {1, 1, 1, 1}, mixed[4] = {3, 2, 3, 2};
  for (int solver : {2, 1}) {
    test::ScratchDir dir;
    model::Model one, two;
    test::open_log(one);
    merged(one, 0.3, solver);
    test::open_log(two);
    stacked(two, 0.3, solver, point);
    expect_same(two, one);
    // On faces and edges, with the top moved down: a uniform strain that
    // the merged cubes also take, -0.005 along z and 0.3 of it across.
    model::Model m;
    test::open_log(m);
    stacked(m, 0.3, solver, mixed);
    EXPECT_EQ(m.KK(kk::NDEP), 2 * 1 + 2 * 2);
    for (int n = 1; n <= 16; ++n)
      for (int k = 1; k <= 3; ++k)
        EXPECT_NEAR(m.U(k, n), m.XYZ(k, n) * (k == 3 ? -0.005 : 0.0015), 1e-12) << n << " " << k;
  }
}

TEST(ContactLinks, ForceEstimateOverTheMarkedElements) {
  // The lower cube's corner 1 lies in all six of its tetrahedra: with it in
  // contact they are marked, and for a move of the lower cube alone the
  // estimate is the linear internal force of that move.
  test::ScratchDir dir;
  model::Model m;
  test::open_log(m);
  tg::Mesh g;
  const auto low = tg::box(g, 1, 1, 1, {0, 0, 0}, {1, 1, 1});
  const auto up = tg::box(g, 1, 1, 1, {0, 0, 1}, {1, 1, 1});
  tg::contact_model(m, g, {tg::surface(g, low), tg::surface(g, up)}, {{1, 2}});
  materials(m, 0.3, 2);
  m.CONT.SLVST(1, tg::slave_of(m, 1)) = 1;
  m.CONT.SLVST(2, tg::slave_of(m, 1)) = 9;
  contact::CONTMARK(m);
  for (int e = 1; e <= 12; ++e) EXPECT_EQ(m.CONT.ELMARK(e), e <= 6 ? 1 : 0);
  base::Arr2<double> start, delta, out, none;
  for (auto* a : {&start, &delta, &out}) a->allocate(7, m.NNODE());
  for (int n = 1; n <= 8; ++n)
    for (int k = 1; k <= 3; ++k) {
      delta(k, n) = 0.001 * std::sin(3.0 * n + k);
      start(k, n) = 1.0;
    }
  solution::CONTFORCE2(m, out, start, delta);
  for (int n = 1; n <= m.NNODE(); ++n)
    for (int k = 1; k <= 3; ++k) m.U(k, n) = delta(k, n);
  solution::FORCEREC(m, none, 0);
  for (int n = 1; n <= m.NNODE(); ++n)
    for (int k = 1; k <= 3; ++k) EXPECT_NEAR(out(k, n) - start(k, n), m.P(k, n), 1e-13) << n << " " << k;
}
