// Solid material points driven through prescribed stress and strain paths,
// and the material kernels on their own.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "elements/material.hpp"
#include "elements/princ.hpp"
#include "elements/statmodel.hpp"
#include "elements/status.hpp"
#include "model/stop.hpp"

namespace el = ossa::elements;
namespace ts = ossa::testing;
using ossa::model::Model;
using ossa::model::SOLREC;

namespace {

// x = A^-1 b for a packed symmetric A(6) by Gauss elimination.
void solve6(const double* P, const double* b, double* x) {
  double A[6][7];
  for (int i = 0; i < 6; ++i) {
    for (int j = 0; j < 6; ++j) A[i][j] = P[ossa::base::PACKIDX(i + 1, j + 1, 6) - 1];
    A[i][6] = b[i];
  }
  for (int k = 0; k < 6; ++k) {
    int p = k;
    for (int i = k + 1; i < 6; ++i)
      if (std::fabs(A[i][k]) > std::fabs(A[p][k])) p = i;
    for (int j = 0; j < 7; ++j) std::swap(A[k][j], A[p][j]);
    for (int i = k + 1; i < 6; ++i) {
      const double f = A[i][k] / A[k][k];
      for (int j = k; j < 7; ++j) A[i][j] -= f * A[k][j];
    }
  }
  for (int i = 5; i >= 0; --i) {
    double s = A[i][6];
    for (int j = i + 1; j < 6; ++j) s -= A[i][j] * x[j];
    x[i] = s / A[i][i];
  }
}

// One load step to the uniaxial stress SIG along axis DIR (0-based), all
// other stresses zero: equilibrium iterations with the point's tangent, then
// the status check, as an increment with status type 0 does it.
void uniaxial_step(Model& m, SOLREC& r, int DIR, double SIG) {
  for (int it = 0; it < 60; ++it) {
    double res[6], de[6], e[6];
    for (int k = 0; k < 6; ++k) res[k] = (k == DIR ? SIG : 0.0) - r.STRESS(k + 1);
    if (ossa::base::VNORM(res, 6) < 1e-10 * (1.0 + std::fabs(SIG))) break;
    solve6(r.D.data(), res, de);
    for (int k = 0; k < 6; ++k) e[k] = r.STRAIN(k + 1) + de[k];
    ts::strain_to(m, r, e);
  }
  if (r.STATE == el::ELASTIC) el::SOLST0(m, r, 1);
  else if (r.STATE == el::PLASTIC) el::SOLST2(m, r, 1);
}

}  // namespace

TEST(SolidPoint, UniaxialTensionElasticThenTangentModulus) {
  auto m = ts::status_model(1, 0);
  SOLREC& r = m->SOLREC(1);
  std::vector<double> sig, eps;
  for (int i = 1; i <= 200; ++i) {
    uniaxial_step(*m, r, 0, 1.0 * i);
    sig.push_back(i);
    eps.push_back(r.STRAIN(1));
    if (i < 100) {
      EXPECT_EQ(r.STATE, el::ELASTIC) << i;
      EXPECT_NEAR(r.STRAIN(1), i / ts::E0, 1e-12);
      EXPECT_NEAR(r.STRAIN(2), -ts::NU0 * i / ts::E0, 1e-12);
    }
  }
  EXPECT_EQ(r.STATE, el::PLASTIC);
  EXPECT_NEAR(r.YIELD, 200.0, 1e-6);
  const double Et = ts::RATIO * ts::E0;
  const double slope = (sig[199] - sig[149]) / (eps[199] - eps[149]);
  EXPECT_NEAR(slope / Et, 1.0, 0.03);
  // Plastic strain: (sigma - Y0) / H', incompressible.
  EXPECT_NEAR(r.EPLAST(1) / (100.0 / r.HPRIME), 1.0, 0.03);
  EXPECT_NEAR(r.EPLAST(2), -0.5 * r.EPLAST(1), 1e-9);
  EXPECT_NEAR(r.EPLAST(3), -0.5 * r.EPLAST(1), 1e-9);
}

TEST(SolidPoint, TensileStrengthBelowYieldCracksNormalToTheLoad) {
  auto m = ts::status_model(1, 0);
  SOLREC& r = m->SOLREC(1);
  r.SIGT = 50.0;
  for (int i = 1; i <= 50; ++i) uniaxial_step(*m, r, 1, 1.0 * i);
  EXPECT_EQ(r.STATE, el::ELASTIC);  // the test is strict: 50 does not crack
  const auto s0 = r.STRESS0;
  uniaxial_step(*m, r, 1, 51.0);
  EXPECT_EQ(r.STATE, el::CRACKED);
  EXPECT_NEAR(std::fabs(r.PDIR(2)), 1.0, 1e-12);
  for (int k = 1; k <= 6; ++k) {
    EXPECT_NEAR(r.STRESS(k), 0.0, 1e-9);
    EXPECT_EQ(r.STRESS0(k), s0(k));  // last elastic stress stays
  }
  // Along the normal only EMIN is left; across it the plane-stress modulus.
  EXPECT_NEAR(r.D(ossa::base::PACKIDX(2, 2, 6)), 0.001 * ts::E0, 1e-9);
  EXPECT_NEAR(r.D(ossa::base::PACKIDX(1, 1, 6)), ts::E0 / (1 - ts::NU0 * ts::NU0), 1e-9);
  EXPECT_NEAR(r.D(ossa::base::PACKIDX(1, 2, 6)), 0.0, 1e-9);
  // Frozen: the next status pass leaves it alone.
  uniaxial_step(*m, r, 1, 60.0);
  EXPECT_EQ(r.STATE, el::CRACKED);
  EXPECT_NEAR(r.STRESS(2), 60.0, 1e-8);
}

TEST(SolidPoint, OverBothLimitsCracksFirst) {
  auto m = ts::status_model(1, 0);
  SOLREC& r = m->SOLREC(1);
  r.SIGT = 80.0;
  uniaxial_step(*m, r, 2, 150.0);
  EXPECT_EQ(r.STATE, el::CRACKED);
  EXPECT_NEAR(std::fabs(r.PDIR(3)), 1.0, 1e-12);
  ossa::base::flush_unit(m->unit(m->UNIT(7)));
  EXPECT_EQ(ts::read_text("EXEC.SOL").size(), 0u);  // no plastic record
}

TEST(SolidPoint, CompressionPastCrushStrainAfterYielding) {
  auto m = ts::status_model(1, 0);
  SOLREC& r = m->SOLREC(1);
  r.ECRUSH = 0.02;
  int i = 0;
  while (r.STATE != el::CRUSHED && i < 200) uniaxial_step(*m, r, 0, -1.0 * ++i);
  ASSERT_EQ(r.STATE, el::CRUSHED);
  // Yield at -100 and strain -0.01; crush at -0.02, about 10 more with Et.
  EXPECT_GT(i, 105);
  EXPECT_LT(i, 115);
  EXPECT_LT(r.STRAIN(1), -0.02);
  for (int k = 1; k <= 6; ++k) EXPECT_EQ(r.STRESS(k), 0.0);
  double soft[21];
  ossa::base::DELAS(0.5 * 0.001 * ts::E0, ts::NU0, soft);
  for (int k = 1; k <= 21; ++k) EXPECT_DOUBLE_EQ(r.D(k), soft[k - 1]);
}

TEST(SolidPoint, ElasticCompressionNeverCrushes) {
  auto m = ts::status_model(1, 0);
  SOLREC& r = m->SOLREC(1);
  r.ECRUSH = 0.001;
  r.YIELD = 1.0e6;
  uniaxial_step(*m, r, 0, -50.0);  // strain -0.005, well past ECRUSH
  EXPECT_EQ(r.STATE, el::ELASTIC);
}

TEST(SolidPoint, UnloadingReturnsToElasticWithLoweredYield) {
  auto m = ts::status_model(1, 0);
  SOLREC& r = m->SOLREC(1);
  for (int i = 1; i <= 150; ++i) uniaxial_step(*m, r, 0, 1.0 * i);
  ASSERT_EQ(r.STATE, el::PLASTIC);
  uniaxial_step(*m, r, 0, 140.0);
  EXPECT_EQ(r.STATE, el::ELASTIC);
  EXPECT_NEAR(r.YIELD, 140.0, 1e-6);
  for (int k = 1; k <= 6; ++k) EXPECT_EQ(r.STRESS0(k), r.STRESS(k));
  double De[21];
  ossa::base::DELAS(r.E, r.NU, De);
  for (int k = 1; k <= 21; ++k) EXPECT_EQ(r.D(k), De[k - 1]);
  // Unloading is elastic; reloading yields again at the lowered stress.
  const double e140 = r.STRAIN(1);
  uniaxial_step(*m, r, 0, 120.0);
  EXPECT_EQ(r.STATE, el::ELASTIC);
  EXPECT_NEAR(e140 - r.STRAIN(1), 20.0 / ts::E0, 1e-9);
  uniaxial_step(*m, r, 0, 139.0);
  EXPECT_EQ(r.STATE, el::ELASTIC);
  uniaxial_step(*m, r, 0, 142.0);
  EXPECT_EQ(r.STATE, el::PLASTIC);
  EXPECT_NEAR(r.YIELD, 140.0, 1e-6);  // pulled back to the surface
}

TEST(SolidPoint, EdgesOfTheElasticTest) {
  auto m = ts::status_model(1, 0);
  SOLREC& r = m->SOLREC(1);
  r.SIGT = 0.0;
  el::SOLST0(*m, r, 1);  // zero stress: principal values zero, no crack
  EXPECT_EQ(r.STATE, el::ELASTIC);
  r.SIGT = 1e30;
  r.STRESS(1) = ts::Y0;  // exactly on the surface stays elastic
  el::SOLST0(*m, r, 1);
  EXPECT_EQ(r.STATE, el::ELASTIC);
  EXPECT_EQ(r.STRESS0(1), ts::Y0);
  // An overshoot within 1e-6 YIELD goes PLASTIC without moving the stress.
  r.STRESS(1) = ts::Y0 * (1.0 + 5e-7);
  el::SOLST0(*m, r, 1);
  EXPECT_EQ(r.STATE, el::PLASTIC);
  EXPECT_EQ(r.STRESS(1), ts::Y0 * (1.0 + 5e-7));
  EXPECT_EQ(r.YIELD, r.STRESS(1));
  // A PLASTIC point at exactly 0.99999 YIELD unloads.
  r.STRESS(1) = 0.99999 * r.YIELD;
  el::SOLST2(*m, r, 1);
  EXPECT_EQ(r.STATE, el::ELASTIC);
}

TEST(SolidPoint, PlasticOperatorRecord) {
  auto m = ts::status_model(3, 0);
  SOLREC& r = m->SOLREC(3);
  const double s[6] = {120.0, -30.0, 10.0, 25.0, -5.0, 8.0};
  for (int k = 0; k < 6; ++k) r.STRESS(k + 1) = s[k];
  r.YIELD = 1.0e6;
  el::SOLST0(*m, r, 3);  // elastic: stress accepted, nothing written
  EXPECT_EQ(ts::read_text("EXEC.SOL").size(), 0u);
  r.YIELD = 0.9999995 * el::EQVSTR(s, 1, 0.0);  // within tolerance: no pull-back
  el::SOLST0(*m, r, 3);
  ASSERT_EQ(r.STATE, el::PLASTIC);
  ossa::base::flush_unit(m->unit(m->UNIT(7)));
  EXPECT_EQ(ts::read_text("EXEC.SOL").size(), 3u * 336u);
  double rec[42], a[6], De[21], da[6];
  ASSERT_TRUE(ossa::base::dread(m->unit(m->UNIT(7)), 3, rec, sizeof rec));
  el::FLOWV(r.STRESS.data(), 1, 0.0, a);
  ossa::base::DELAS(r.E, r.NU, De);
  ossa::base::SYMMUL(De, a, da, 6, 1);
  const double A = ossa::base::DOT(a, da, 6) + r.HPRIME;
  for (int i = 0; i < 6; ++i) {
    EXPECT_NEAR(rec[i], da[i] / A, 1e-15);
    for (int j = 0; j < 6; ++j) EXPECT_DOUBLE_EQ(rec[6 + i + 6 * j], a[i] * rec[j]);
  }
  // D a = De a H' / A: the plastic direction is softened by the hardening.
  double Dn[6];
  ossa::base::SYMMUL(r.D.data(), a, Dn, 6, 1);
  for (int i = 0; i < 6; ++i) EXPECT_NEAR(Dn[i], da[i] * r.HPRIME / A, 1e-9);
}

TEST(Material, DruckerPragerWithZeroAlphaIsVonMises) {
  std::mt19937 g(3);
  std::uniform_real_distribution<double> u(-200.0, 200.0);
  for (int t = 0; t < 200; ++t) {
    double s[6], a1[6], a2[6];
    for (double& x : s) x = u(g);
    EXPECT_NEAR(el::EQVSTR(s, 2, 0.0), el::EQVSTR(s, 1, 0.3), 1e-10);
    el::FLOWV(s, 1, 0.0, a1);
    el::FLOWV(s, 2, 0.0, a2);
    for (int k = 0; k < 6; ++k) EXPECT_NEAR(a1[k], a2[k], 1e-13);
    const double s5[5] = {s[0], s[1], s[3], s[4], s[5]};
    EXPECT_NEAR(el::EQVSTR2(s5, 2, 0.0), el::EQVSTR2(s5, 1, 0.0), 1e-10);
  }
  // The two surfaces meet in uniaxial compression; Drucker-Prager is the
  // stricter in tension.
  const double uc[6] = {-100.0, 0, 0, 0, 0, 0}, ut[6] = {100.0, 0, 0, 0, 0, 0};
  EXPECT_NEAR(el::EQVSTR(uc, 2, 0.2), 100.0, 1e-12);
  EXPECT_NEAR(el::EQVSTR(uc, 1, 0.2), 100.0, 1e-12);
  EXPECT_GT(el::EQVSTR(ut, 2, 0.2), 100.0);
  // Pressure raises the Drucker-Prager stress in tension, lowers it in compression.
  const double hyd[6] = {10.0, 10.0, 10.0, 0, 0, 0};
  EXPECT_GT(el::EQVSTR(hyd, 2, 0.2), 0.0);
  EXPECT_EQ(el::EQVSTR(hyd, 1, 0.2), 0.0);
}

TEST(Material, FlowVectorIsTheGradient) {
  const double s[6] = {80.0, -20.0, 35.0, 12.0, -7.0, 4.0};
  for (int yt = 1; yt <= 2; ++yt) {
    double a[6];
    el::FLOWV(s, yt, 0.15, a);
    for (int k = 0; k < 6; ++k) {
      double sp[6], sm[6];
      for (int i = 0; i < 6; ++i) sp[i] = sm[i] = s[i];
      sp[k] += 1e-5;
      sm[k] -= 1e-5;
      const double d = (el::EQVSTR(sp, yt, 0.15) - el::EQVSTR(sm, yt, 0.15)) / 2e-5;
      EXPECT_NEAR(a[k], d, 1e-7) << yt << " " << k;
    }
    const double s5[5] = {80.0, -20.0, 12.0, -7.0, 4.0};
    double a5[5];
    el::FLOWV2(s5, yt, 0.15, a5);
    for (int k = 0; k < 5; ++k) {
      double sp[5], sm[5];
      for (int i = 0; i < 5; ++i) sp[i] = sm[i] = s5[i];
      sp[k] += 1e-5;
      sm[k] -= 1e-5;
      const double d = (el::EQVSTR2(sp, yt, 0.15) - el::EQVSTR2(sm, yt, 0.15)) / 2e-5;
      EXPECT_NEAR(a5[k], d, 1e-7) << yt << " " << k;
    }
  }
}

TEST(Material, CrossingRatioLandsOnTheSurface) {
  auto m = ts::status_model(0, 0);
  std::mt19937 g(5);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  const double Y = 100.0;
  for (int yt = 1; yt <= 2; ++yt)
    for (int t = 0; t < 300; ++t) {
      const double al = yt == 2 ? 0.1 : 0.0;
      double s0[6], s1[6];
      for (double& x : s0) x = u(g);
      for (double& x : s1) x = u(g);
      const double e0 = el::EQVSTR(s0, yt, al), e1 = el::EQVSTR(s1, yt, al);
      if (e0 <= 0.0 || e1 <= 0.0) continue;
      for (int k = 0; k < 6; ++k) {
        s0[k] *= 0.9 * Y / e0;   // inside
        s1[k] *= 1.5 * Y / e1;   // outside
      }
      const double r = el::RCAL(*m, s0, s1, Y, yt, al);
      ASSERT_GE(r, 0.0);
      ASSERT_LE(r, 1.0);
      double s[6];
      for (int k = 0; k < 6; ++k) s[k] = s0[k] + r * (s1[k] - s0[k]);
      EXPECT_NEAR(el::EQVSTR(s, yt, al), Y, 1e-9 * Y);
      const double a5[5] = {s0[0], s0[1], s0[3], s0[4], s0[5]};
      const double b5[5] = {s1[0], s1[1], s1[3], s1[4], s1[5]};
      const double e5 = el::EQVSTR2(b5, yt, al);
      if (el::EQVSTR2(a5, yt, al) >= Y || e5 <= Y) continue;
      const double r2 = el::RCAL2(*m, a5, b5, Y, yt, al);
      double c5[5];
      for (int k = 0; k < 5; ++k) c5[k] = a5[k] + r2 * (b5[k] - a5[k]);
      EXPECT_NEAR(el::EQVSTR2(c5, yt, al), Y, 1e-9 * Y);
    }
}

TEST(Material, CrossingOutsideTheIncrementStopsTheJob) {
  auto m = ts::status_model(0, 0);
  const double s0[6] = {200.0, 0, 0, 0, 0, 0}, s1[6] = {300.0, 0, 0, 0, 0, 0};
  EXPECT_EXIT(el::RCAL(*m, s0, s1, 100.0, 1, 0.0), ::testing::ExitedWithCode(0), "");
  const std::string log = ts::read_text("EXEC.LOG");
  EXPECT_NE(log.find("\n STOP IN SUB. RCAL!  R = -1.0000000E+00\n"), std::string::npos) << log;
  EXPECT_NE(log.find(" *** ERROR NO. ***"), std::string::npos);
  const double a[5] = {200.0, 0, 0, 0, 0}, b[5] = {300.0, 0, 0, 0, 0};
  EXPECT_EXIT(el::RCAL2(*m, a, b, 100.0, 1, 0.0), ::testing::ExitedWithCode(0), "");
  EXPECT_NE(ts::read_text("EXEC.LOG").find(" STOP IN SUB. RCAL2!  R ="), std::string::npos);
}

TEST(Material, PrincipalTransformations) {
  const double S[6] = {30.0, -10.0, 5.0, 12.0, -4.0, 7.0};
  double L[3], Z[9], T[36], back[6];
  el::PRINC3(S, 1e-12, L, Z);
  el::TRANS6(Z, T);
  const double sp[6] = {L[0], L[1], L[2], 0, 0, 0};
  ossa::base::MATMUL(T, sp, back, 6, 6, 1);
  for (int k = 0; k < 6; ++k) EXPECT_NEAR(back[k], S[k], 1e-10);
  // The identity frame leaves the cracked matrix as it is.
  const double I[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  double Dc[21], Dr[21];
  el::TRANS6(I, T);
  el::DCRACK(1000.0, 0.25, 1.0, Dc);
  el::ROTPACK(T, Dc, Dr, 6);
  for (int k = 0; k < 21; ++k) EXPECT_DOUBLE_EQ(Dr[k], Dc[k]);
  // TRANS5 takes the principal 5-vector of PRINC2 back to element axes.
  const double s5[5] = {3.0, -1.0, 2.0, 0.5, -0.25};
  double P[5], c, s, T5[25], b5[5];
  el::PRINC2(s5, P, c, s);
  el::TRANS5(c, s, T5);
  ossa::base::MATMUL(T5, P, b5, 5, 5, 1);
  for (int k = 0; k < 5; ++k) EXPECT_NEAR(b5[k], s5[k], 1e-13);
}
