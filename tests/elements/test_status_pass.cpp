// The status pass over a model: shell points, the log block of each
// iteration type, convergence, FIRSTCHG and the stop limits.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/files.hpp"
#include "base/kernels.hpp"
#include "elements/material.hpp"
#include "elements/princ.hpp"
#include "elements/statmodel.hpp"
#include "elements/status.hpp"

namespace el = ossa::elements;
namespace ts = ossa::testing;
using ossa::model::Model;

namespace {

std::vector<std::string> log_lines(Model& m) {
  ossa::base::flush_unit(m.unit(m.UNIT(2)));
  std::vector<std::string> v;
  std::string all = ts::read_text("EXEC.LOG"), l;
  for (char c : all) {
    if (c == '\n') { v.push_back(l); l.clear(); } else l += c;
  }
  return v;
}

std::vector<std::string> block(const std::string& head, const int sol[4], const int shl[4]) {
  std::vector<std::string> v = {"", head};
  const char* lab[8] = {"     SOLID ELEMENT ELASTIC : ", "                   CRACKED : ",
                        "                   PLASTIC : ", "                   CRUSHED : ",
                        "     SHELL LAYER   ELASTIC : ", "                   CRACKED : ",
                        "                   PLASTIC : ", "                   CRUSHED : "};
  for (int k = 0; k < 8; ++k) {
    const int n = k < 4 ? sol[k] : shl[k - 4];
    std::string num = std::to_string(n);
    v.push_back(lab[k] + std::string(8 - num.size(), ' ') + num);
  }
  return v;
}

// Three solids: one cracks, one yields, one stays elastic; one shell whose
// point 4 of layer 2 yields.
void load_mixed(Model& m) {
  m.SOLREC(1).SIGT = 50.0;
  m.SOLREC(1).STRESS(1) = 60.0;
  m.SOLREC(2).STRESS(2) = 150.0;
  m.SOLREC(3).STRESS(3) = 10.0;
  m.SHLREC(1).STRESS(1, 4, 2) = 150.0;
}

}  // namespace

TEST(ShellPoint, CracksAcrossTheFirstPrincipalAxis) {
  auto m = ts::status_model(0, 1);
  auto& r = m->SHLREC(1);
  r.SIGT = 50.0;
  const double s[5] = {10.0, 60.0, 20.0, 1.0, 2.0};
  for (int k = 0; k < 5; ++k) r.STRESS(k + 1, 2, 3) = s[k];
  double P[5], c, sn;
  el::PRINC2(s, P, c, sn);
  el::SHLST0(*m, r, 2, 3, 3);
  ASSERT_EQ(r.STATE(2, 3), el::CRACKED);
  EXPECT_EQ(r.PDIR(1, 2, 3), c);
  EXPECT_EQ(r.PDIR(2, 2, 3), sn);
  const double* S = &r.STRESS(1, 2, 3);
  // Normal stress and transverse shear on the crack plane are gone.
  EXPECT_NEAR(c * c * S[0] + sn * sn * S[1] + 2 * c * sn * S[2], 0.0, 1e-10);
  EXPECT_NEAR(sn * sn * S[0] + c * c * S[1] - 2 * c * sn * S[2], P[1], 1e-10);
  EXPECT_NEAR(c * S[3] + sn * S[4], 0.0, 1e-12);
  EXPECT_NEAR(c * S[4] - sn * S[3], P[4], 1e-12);
  // A crack along the element's x axis leaves the cracked matrix unrotated.
  r.STATE(1, 1) = el::ELASTIC;
  r.STRESS(1, 1, 1) = 70.0;
  el::SHLST0(*m, r, 1, 1, 1);
  double Dc[15];
  el::DCRACK2(r.E, r.NU, r.GS, 0.001 * ts::E0, Dc);
  for (int k = 1; k <= 15; ++k) EXPECT_NEAR(r.D(k, 1, 1), Dc[k - 1], 1e-9);
}

TEST(ShellPoint, PlasticRecordOnlyAtPointFourThenUnloadAndCrush) {
  auto m = ts::status_model(0, 2);
  auto& r = m->SHLREC(2);
  r.STRESS(1, 1, 2) = 100.00001;  // within tolerance of the surface
  el::SHLST0(*m, r, 1, 2, 5);
  EXPECT_EQ(r.STATE(1, 2), el::PLASTIC);
  ossa::base::flush_unit(m->unit(m->UNIT(6)));
  EXPECT_EQ(ts::read_text("EXEC.SHL").size(), 0u);
  r.STRESS(1, 4, 2) = 100.00001;
  el::SHLST0(*m, r, 4, 2, 3 * 2 + 2 - 3);
  ossa::base::flush_unit(m->unit(m->UNIT(6)));
  EXPECT_EQ(ts::read_text("EXEC.SHL").size(), 5u * 240u);
  double rec[30];
  ASSERT_TRUE(ossa::base::dread(m->unit(m->UNIT(6)), 5, rec, sizeof rec));
  double a[5];
  el::FLOWV2(&r.STRESS(1, 4, 2), 1, 0.0, a);
  for (int i = 0; i < 5; ++i)
    for (int j = 0; j < 5; ++j) EXPECT_DOUBLE_EQ(rec[5 + i + 5 * j], a[i] * rec[j]);
  // Unloading returns to the plain plane matrix (transverse shear G, not GS).
  r.STRESS(1, 4, 2) = 50.0;
  el::SHLST2(*m, r, 4, 2, 5);
  EXPECT_EQ(r.STATE(4, 2), el::ELASTIC);
  EXPECT_EQ(r.YIELD(4, 2), 50.0);
  double Dp[15];
  ossa::base::DPLANE(r.E, r.NU, Dp);
  for (int k = 1; k <= 15; ++k) EXPECT_EQ(r.D(k, 4, 2), Dp[k - 1]);
  // Crushing on the in-plane principal strain, shears halved.
  r.ECRUSH = 0.01;
  r.STRAIN(1, 1, 2) = -0.005;
  r.STRAIN(2, 1, 2) = -0.005;
  r.STRAIN(3, 1, 2) = 0.012;  // engineering shear: tensor 0.006, l2 = -0.011
  el::SHLST2(*m, r, 1, 2, 5);
  EXPECT_EQ(r.STATE(1, 2), el::CRUSHED);
  for (int k = 1; k <= 5; ++k) EXPECT_EQ(r.STRESS(k, 1, 2), 0.0);
  ossa::base::DPLANE(0.5 * 0.001 * ts::E0, r.NU, Dp);
  for (int k = 1; k <= 15; ++k) EXPECT_EQ(r.D(k, 1, 2), Dp[k - 1]);
}

TEST(Elstat, TypeZeroTableAndFirstChange) {
  auto m = ts::status_model(3, 1);
  load_mixed(*m);
  int FIRSTCHG = 0, STOPFLAG = 0;
  EXPECT_EQ(el::ELSTAT(*m, 1, 5, 0, 0, FIRSTCHG, STOPFLAG), 1);
  EXPECT_EQ(FIRSTCHG, 1);
  EXPECT_EQ(STOPFLAG, 0);
  const int sol[4] = {1, 1, 1, 0}, shl[4] = {2, 0, 1, 0};
  EXPECT_EQ(log_lines(*m), block("   * ELEMENT STATUS", sol, shl));
  // After the repeat the job's first change is spent: FIRSTCHG stays 2.
  FIRSTCHG = 2;
  m->SOLREC(3).STRESS(3) = 200.0;
  el::ELSTAT(*m, 1, 5, 0, 0, FIRSTCHG, STOPFLAG);
  EXPECT_EQ(FIRSTCHG, 2);
  EXPECT_EQ(m->SOLREC(3).STATE, el::PLASTIC);
}

TEST(Elstat, TypesTwoAndThreeIterateUntilNoChange) {
  auto m = ts::status_model(3, 1);
  load_mixed(*m);
  int F = 0, S = 0;
  EXPECT_EQ(el::ELSTAT(*m, 1, 3, 2, 0, F, S), 0);
  EXPECT_EQ(el::ELSTAT(*m, 2, 3, 2, 0, F, S), 1);
  const int sol[4] = {1, 1, 1, 0}, shl[4] = {2, 0, 1, 0};
  auto want = block("   * ELEMENT STATUS   ITER. =   1" + std::string(3 + 14, ' '), sol, shl);
  const auto second = block("   * ELEMENT STATUS   ITER. =   2   CONVERGED!    ", sol, shl);
  want.insert(want.end(), second.begin(), second.end());
  EXPECT_EQ(log_lines(*m), want);
  // A change at the limit is reported and the pass ends anyway.
  auto n = ts::status_model(1, 0);
  n->SOLREC(1).STRESS(1) = 150.0;
  EXPECT_EQ(el::ELSTAT(*n, 4, 4, 3, 0, F, S), 0);
  EXPECT_EQ(log_lines(*n)[1], "   * ELEMENT STATUS   ITER. =   4   NOT CONVERGED!");
}

TEST(Elstat, ShellPointFourDoesNotCountForConvergence) {
  auto m = ts::status_model(0, 1);
  m->SHLREC(1).STRESS(1, 4, 1) = 150.0;
  int F = 0, S = 0;
  EXPECT_EQ(el::ELSTAT(*m, 1, 3, 2, 0, F, S), 1);
  EXPECT_EQ(F, 1);
  m->SHLREC(1).STRESS(1, 3, 1) = 150.0;
  EXPECT_EQ(el::ELSTAT(*m, 2, 3, 2, 0, F, S), 0);
}

TEST(Elstat, TypeOneChangesSilentlyAndLogsWhenSkipped) {
  auto m = ts::status_model(3, 1);
  load_mixed(*m);
  int F = 0, S = 0;
  EXPECT_EQ(el::ELSTAT(*m, 1, 11, 1, 0, F, S), 1);
  EXPECT_EQ(F, 1);
  EXPECT_TRUE(log_lines(*m).empty());
  EXPECT_EQ(m->SOLREC(2).STATE, el::PLASTIC);
  const double y = m->SOLREC(2).YIELD;
  m->SOLREC(2).STRESS(2) = 300.0;  // skipped: no state is looked at
  EXPECT_EQ(el::ELSTAT(*m, 1, 5, 1, 1, F, S), 1);
  EXPECT_EQ(m->SOLREC(2).YIELD, y);
  const int sol[4] = {1, 1, 1, 0}, shl[4] = {2, 0, 1, 0};
  EXPECT_EQ(log_lines(*m), block("   * ELEMENT STATUS", sol, shl));
}

TEST(Elstat, StopLimits) {
  int F = 0, S = 0;
  {
    auto m = ts::status_model(3, 1);
    load_mixed(*m);
    m->STAT_LIMIT(4) = 2;  // solids cracked: 1 of 2
    m->STAT_LIMIT(3) = 2;  // shells crushed: none
    el::ELSTAT(*m, 1, 5, 0, 0, F, S);
    EXPECT_EQ(S, 0);
    m->STAT_LIMIT(5) = 1;  // solids plastic + crushed: 1 of 1
    F = 0;
    el::ELSTAT(*m, 1, 5, 0, 0, F, S);
    EXPECT_EQ(S, 1);
  }
  {
    // Shells count layers at point 4.
    auto m = ts::status_model(3, 1);
    load_mixed(*m);
    m->STAT_LIMIT(2) = 1;
    S = 0;
    F = 0;
    m->KK(5) = 4;  // the step is to be repeated: no limit test yet
    el::ELSTAT(*m, 1, 5, 0, 0, F, S);
    EXPECT_EQ(S, 0);
    m->KK(5) = 1;
    el::ELSTAT(*m, 1, 5, 0, 0, F, S);
    EXPECT_EQ(S, 1);
  }
}
