// Regularised friction: the law's two branches and its limit, its tangent
// (symmetric, the derivative of the force), which slaves carry it, and the
// force on a slave sliding on a face: against the slip, with the tangent
// the solvers get matching the force's change.
#include <gtest/gtest.h>

#include <cmath>

#include "bodies.hpp"
#include "elements/tangent.hpp"

using namespace ossa;
namespace tg = ossa::testing;

TEST(ContactFriction, LawBranchesLimitAndTangent) {
  const double mu = 0.4, s0 = 0.1, fn = 5.0;
  double f[3], D[9];
  const double zero[3] = {0, 0, 0};
  contact::FRICLAW(zero, mu, s0, fn, f, D);
  for (int k = 0; k < 3; ++k) EXPECT_EQ(f[k], 0.0);
  EXPECT_NEAR(D[0], mu * fn / s0 / (M_PI / 2), 1e-12);  // the linear branch's slope
  const double far[3] = {3.0e6, -4.0e6, 0.0};  // |slip| 5e6: atan -> pi/2
  contact::FRICLAW(far, mu, s0, fn, f, nullptr);
  EXPECT_NEAR(std::hypot(f[0], f[1]), mu * fn, 1e-7 * mu * fn);
  EXPECT_NEAR(f[0] / f[1], -0.75, 1e-15);  // along the slip
  for (const double r : {0.3, 2.0}) {
    const double sv[3] = {0.6 * r * s0, 0.0, 0.8 * r * s0};
    contact::FRICLAW(sv, mu, s0, fn, f, D);
    EXPECT_NEAR(std::sqrt(f[0] * f[0] + f[2] * f[2]), mu * fn * std::atan(r) / (M_PI / 2), 1e-14);
    auto force = [&](int j, double dh, double* fj) {
      double sp[3] = {sv[0], sv[1], sv[2]};
      sp[j] += dh;
      contact::FRICLAW(sp, mu, s0, fn, fj, nullptr);
    };
    EXPECT_LT(test::tangent_misfit(3, [&](int i, int j) { return D[i + 3 * j]; }, force, 1e-7), 1e-7) << r;
    for (int i = 0; i < 9; ++i) EXPECT_EQ(D[i], D[i % 3 * 3 + i / 3]);
  }
}

namespace {

// The upper cube's bottom corners on the lower cube's top (nodes 9..12 over
// 5..8); pair (1, 2) with coefficient mu and slip scale pct % of the lower
// top's mean edge.
void stacked(model::Model& m, double mu, double pct) {
  tg::Mesh g;
  const auto low = tg::box(g, 1, 1, 1, {0, 0, 0}, {1, 1, 1});
  const auto up = tg::box(g, 1, 1, 1, {0, 0, 1}, {1, 1, 1});
  auto at1 = [](const tg::P3& c) { return std::fabs(c[2] - 1.0) < 1e-9; };
  tg::contact_model(m, g, {tg::surface(g, up, at1), tg::surface(g, low, at1)}, {{1, 2}});
  m.CBVAL(1, 1, 2) = mu;
  m.CBVAL(2, 1, 2) = pct;
}

}  // namespace

TEST(ContactFriction, WhoCarriesIt) {
  model::Model m;
  stacked(m, 0.3, 5.0);
  auto& c = m.CONT;
  const int s9 = tg::slave_of(m, 9), s10 = tg::slave_of(m, 10), s11 = tg::slave_of(m, 11), s12 = tg::slave_of(m, 12);
  c.SLVST(1, s9) = 3;  c.SLVST(2, s9) = tg::face_with(m, 5);  c.SLVOLD(1, s9) = 3;   // same kind
  c.SLVST(1, s10) = 2; c.SLVST(2, s10) = c.EDGEND(1) + 1;  c.SLVOLD(1, s10) = 3; // moved on
  c.SLVST(1, s11) = 13; c.SLVST(2, s11) = tg::face_with(m, 7); c.SLVOLD(1, s11) = 0; // new
  c.SLVST(1, s12) = 1; c.SLVST(2, s12) = 8;                c.SLVOLD(1, s12) = 1; // a vertex
  contact::FRICCHK(m);
  const int flag[4][2] = {{s9, 2}, {s10, 1}, {s11, 1}, {s12, 0}};  // 2 slides on, 1 starts
  for (const auto& [s, want] : flag) EXPECT_EQ(c.FRFLAG(1, s), want) << s;
  EXPECT_EQ(c.FRFLAG(2, s11), 1);
  EXPECT_EQ(c.FRPAR(1, s9), 0.3);
  EXPECT_NEAR(c.FRPAR(2, s9), c.SSIZE(2) * 0.05, 1e-16);
  m.CBVAL(1, 1, 2) = 0.0;  // the pair without friction
  contact::FRICCHK(m);
  for (int s : {s9, s10, s11, s12}) EXPECT_EQ(c.FRFLAG(1, s), 0);
}

TEST(ContactFriction, SlidingOnAFaceIsResisted) {
  model::Model m;
  stacked(m, 0.4, 10.0);
  auto& c = m.CONT;
  const int s = tg::slave_of(m, 9), f = tg::face_with(m, 5);
  c.SLVST(1, s) = 3; c.SLVST(2, s) = f;
  for (int i = 1; i <= 3; ++i) c.SLVBARY(i, s) = m.CSFNOD(i, f) == 5 ? 1.0 : 0.0;
  contact::CONTLEV(m, -1);
  contact::FRICCHK(m);
  contact::FRICPREP(m, 1, false);
  // The lower cube pushes the slave up by 5 (the face's normal points down,
  // into it), and the slave has slid 0.02 along x.
  base::Arr2<double> est;
  est.allocate(7, m.NNODE());
  est(3, 9) = 5.0;
  m.U(1, 9) = 0.02;
  contact::FRICFORCE(m, est);
  const double s0 = c.SSIZE(2) * 0.1, ft = 0.4 * 5.0 * std::atan(0.02 / s0) / (M_PI / 2);
  EXPECT_NEAR(m.P(1, 9), ft, 1e-14);  // an internal force along the slip: the residual pulls back
  EXPECT_TRUE(m.P(2, 9) == 0.0 && m.P(3, 9) == 0.0);
  EXPECT_NEAR(m.P(1, 5), -ft, 1e-14);  // and the master takes the reaction
  EXPECT_EQ(c.FSUM(1, 9), -m.P(1, 9));
  EXPECT_NEAR(c.SLVFORCE(3, 5), -5.0, 1e-14);  // the normal force moved onto the master
  // The tangent the solvers get is the change of the friction force.
  std::int32_t nodes[4];
  double ke[78];
  ASSERT_EQ(contact::FRICKE(m, s, nodes, ke), 4);
  auto force = [&](int b, double dh, double* fo) {
    m.U(b % 3 + 1, nodes[b / 3]) += dh;
    m.P.fill(0.0);
    contact::FRICFORCE(m, est);
    m.U(b % 3 + 1, nodes[b / 3]) -= dh;
    for (int a = 0; a < 12; ++a) fo[a] = m.P(a % 3 + 1, nodes[a / 3]);
  };
  EXPECT_LT(test::tangent_misfit(12, [&](int p, int q) { return test::packed(ke, 12, p, q); }, force, 1e-7), 1e-6);
}
