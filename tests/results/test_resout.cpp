// The result streams as written: headers, frame lengths from the frame heads,
// the non-zero rule, the order of the element passes, the values of the
// element records, and frames appended per output of the step walk.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "base/kernels.hpp"
#include "job/job.hpp"
#include "resmodel.hpp"
#include "post/reader.hpp"
#include "results/resout.hpp"

using namespace ossa;
using test::f32;
using test::i32;

namespace {

void close_streams(model::Model& m) {
  base::close_unit(m.BDSP);
  base::close_unit(m.BSTR);
}

// Walks a stream by its frame heads alone; returns the frame count, or -1
// when the heads do not end exactly at the end of the bytes.
int walk_dsp(const std::string& b) {
  long off = results::BDSPHEAD;
  int n = 0;
  while (off < static_cast<long>(b.size())) {
    long recs = 0;
    for (int k = 2; k <= 6; ++k) recs += i32(b, off + 4 * k);
    off += 28 + 16 * recs;
    ++n;
  }
  return off == static_cast<long>(b.size()) ? n : -1;
}

int walk_str(const std::string& b) {
  long off = results::BSTRHEAD;
  int n = 0;
  while (off < static_cast<long>(b.size())) {
    off += 24 + 124L * i32(b, off + 8) + 92L * i32(b, off + 12) + 68L * i32(b, off + 16) +
           12L * i32(b, off + 20);
    ++n;
  }
  return off == static_cast<long>(b.size()) ? n : -1;
}

// S n = lambda n for a unit n, on the six-component tensor.
void expect_eigen(const double* s, float lam, const float* n, double tol) {
  const double A[3][3] = {{s[0], s[3], s[5]}, {s[3], s[1], s[4]}, {s[5], s[4], s[2]}};
  EXPECT_NEAR(n[0] * n[0] + n[1] * n[1] + n[2] * n[2], 1.0, 1e-6);
  for (int i = 0; i < 3; ++i) {
    const double an = A[i][0] * n[0] + A[i][1] * n[1] + A[i][2] * n[2];
    EXPECT_NEAR(an, lam * n[i], tol) << "row " << i;
  }
}

}  // namespace

TEST(ResultFiles, HeadersAndAnEmptyFrameAtTimeZero) {
  test::ScratchDir dir;
  model::Model m;
  test::small_model(m, 5, {2, 2});
  results::RESOUT(m, 0, 0.0);
  close_streams(m);
  const auto s = test::read_streams();
  ASSERT_EQ(static_cast<long>(s.dsp.size()), results::BDSPHEAD + 28 + 16 * 5);
  EXPECT_EQ(s.dsp.substr(0, 8), std::string("BDS8.0\0\0", 8));
  EXPECT_EQ(s.str.substr(0, 8), std::string("BST8.0\0\0", 8));
  for (int k = 0; k < 5; ++k) EXPECT_EQ(i32(s.dsp, 8 + 4 * k), 1);
  for (int k = 0; k < 9; ++k) EXPECT_EQ(i32(s.str, 8 + 4 * k), 1);
  const long f = results::BDSPHEAD;
  EXPECT_EQ(i32(s.dsp, f), 0);
  EXPECT_EQ(f32(s.dsp, f + 4), 0.0f);
  EXPECT_EQ(i32(s.dsp, f + 8), 5);
  for (int k = 3; k <= 6; ++k) EXPECT_EQ(i32(s.dsp, f + 4 * k), 0);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(i32(s.dsp, f + 28 + 16 * i), 101 + i);
  EXPECT_EQ(static_cast<long>(s.str.size()), results::BSTRHEAD + 24 + 2 * 92);
}

TEST(ResultFiles, FrameLengthsFollowFromTheirHeadsAndCountsObeyTheNonZeroRule) {
  test::ScratchDir dir;
  model::Model m;
  // All families and a gap, mixed in the table.
  test::small_model(m, 7, {2, 1, 5, 3, 4, 2, 1, 5});
  results::RESOUT(m, 1, 0.5);
  m.F(2, 3) = 1.0;
  m.F(1, 7) = -2.0;
  m.F(7, 4) = 9.0;  // the pressure slot does not count
  m.REACT(3, 1) = std::numeric_limits<double>::quiet_NaN();
  m.LINKF(1, 2) = 1e-30;
  m.LINKV(2, 5) = -0.5;
  m.LINKV(3, 6) = 4.0;
  results::RESOUT(m, 2, 1.0);
  close_streams(m);
  const auto s = test::read_streams();
  EXPECT_EQ(walk_dsp(s.dsp), 2);
  EXPECT_EQ(walk_str(s.str), 2);
  const long f2 = results::BDSPHEAD + 28 + 16 * 7;
  EXPECT_EQ(i32(s.dsp, f2), 2);
  EXPECT_EQ(f32(s.dsp, f2 + 4), 1.0f);
  EXPECT_EQ(i32(s.dsp, f2 + 12), 2);  // NF
  EXPECT_EQ(i32(s.dsp, f2 + 16), 1);  // NR: the NaN counts
  EXPECT_EQ(i32(s.dsp, f2 + 20), 1);  // NL
  EXPECT_EQ(i32(s.dsp, f2 + 24), 2);  // NC
  const long sec2 = f2 + 28 + 16 * 7;
  EXPECT_EQ(i32(s.dsp, sec2), 103);
  EXPECT_EQ(f32(s.dsp, sec2 + 8), 1.0f);
  EXPECT_EQ(i32(s.dsp, sec2 + 16), 107);
  EXPECT_EQ(f32(s.dsp, sec2 + 20), -2.0f);
  EXPECT_TRUE(std::isnan(f32(s.dsp, sec2 + 32 + 12)));
  // Element passes: shells (rows 2, 7), solids (1, 6), rubber (5), trusses
  // (3, 8); the gap (4) is not written.
  long off = results::BSTRHEAD + 24;
  EXPECT_EQ(i32(s.str, results::BSTRHEAD + 8), 2);
  EXPECT_EQ(i32(s.str, results::BSTRHEAD + 20), 2);
  for (int id : {1002, 1007}) { EXPECT_EQ(i32(s.str, off), id); off += 124; }
  for (int id : {1001, 1006}) { EXPECT_EQ(i32(s.str, off), id); off += 92; }
  EXPECT_EQ(i32(s.str, off), 1005);
  off += 68;
  for (int id : {1003, 1008}) { EXPECT_EQ(i32(s.str, off), id); off += 12; }
  EXPECT_EQ(off, results::BSTRHEAD + results::STRFLEN(2, 2, 1, 2));
}

TEST(ResultFiles, NoTrussNoTrussRecord) {
  test::ScratchDir dir;
  model::Model m;
  test::small_model(m, 4, {2, 1});
  results::RESOUT(m, 1, 1.0);
  close_streams(m);
  const auto s = test::read_streams();
  EXPECT_EQ(i32(s.str, results::BSTRHEAD + 20), 0);
  EXPECT_EQ(static_cast<long>(s.str.size()), results::BSTRHEAD + 24 + 124 + 92);
}

TEST(ResultFiles, ReactionsTakeTheFurtherArraysAndTheOutputClockRuns) {
  test::ScratchDir dir;
  model::Model m;
  test::small_model(m, 3, {2});
  base::Arr2<double> a, b, none;
  a.allocate(7, 3);
  b.allocate(7, 3);
  a(1, 2) = 1.0;
  b(1, 2) = 2.0;
  b(7, 3) = 5.0;  // only components 1 to 3
  results::REACTADD(m, a, b);
  results::REACTADD(m, none, a);
  EXPECT_EQ(m.REACT(1, 2), 4.0);
  EXPECT_EQ(m.REACT(7, 3), 0.0);
  results::RESOUT(m, 1, 1.0);
  EXPECT_GE(m.TIMES(model::T_OUTPUT), 0.0);
  close_streams(m);
}

TEST(ElementValues, PrincipalStressesAndDirectionsOfKnownStates) {
  model::Model m;
  test::small_model(m, 4, {2});
  model::SOLREC r;
  r.YTYPE = 1;
  results::SolidOut o;
  // Distinct values, off the axes: rotate diag(30, 10, -20) about z by 30 deg.
  const double c = std::cos(M_PI / 6), s = std::sin(M_PI / 6);
  const double S1[6] = {30 * c * c + 10 * s * s, 30 * s * s + 10 * c * c, -20,
                        (30 - 10) * c * s, 0, 0};
  std::copy(S1, S1 + 6, r.STRESS.data());
  results::SOLVAL(m, r, 7, o);
  EXPECT_EQ(o.ID, 7);
  EXPECT_NEAR(o.V[0], 30.0, 1e-5);
  EXPECT_NEAR(o.V[1], 10.0, 1e-5);
  EXPECT_NEAR(o.V[2], -20.0, 1e-5);
  for (int k = 0; k < 3; ++k) expect_eigen(S1, o.V[k], o.V + 3 + 3 * k, 1e-4);
  EXPECT_NEAR(std::fabs(o.V[3]), c, 1e-6);  // first direction (c, s, 0) up to sign
  EXPECT_NEAR(std::fabs(o.V[4]), s, 1e-6);
  // Repeated values: uniaxial (5, 0, 0 twice) and hydrostatic (-4 three times).
  const double S2[6] = {0, 5, 0, 0, 0, 0};
  const double S3[6] = {-4, -4, -4, 0, 0, 0};
  for (const double* S : {S2, S3}) {
    std::copy(S, S + 6, r.STRESS.data());
    results::SOLVAL(m, r, 7, o);
    for (int k = 0; k < 3; ++k) expect_eigen(S, o.V[k], o.V + 3 + 3 * k, 1e-5);
    EXPECT_GE(o.V[0], o.V[1]);
    EXPECT_GE(o.V[1], o.V[2]);
    // The three directions are orthonormal.
    for (int i = 0; i < 3; ++i)
      for (int j = i + 1; j < 3; ++j) {
        const float* a = o.V + 3 + 3 * i;
        const float* b = o.V + 3 + 3 * j;
        EXPECT_NEAR(a[0] * b[0] + a[1] * b[1] + a[2] * b[2], 0.0, 1e-6);
      }
  }
  EXPECT_NEAR(o.V[0], -4.0, 1e-6);
  EXPECT_NEAR(o.V[2], -4.0, 1e-6);
  // A zero tensor: zero values and the identity.
  r.STRESS.fill(0.0);
  results::SOLVAL(m, r, 7, o);
  const float I[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  for (int k = 0; k < 9; ++k) EXPECT_EQ(o.V[3 + k], I[k]);
}

TEST(ElementValues, PrincipalStrainsHalveTheShears) {
  model::Model m;
  test::small_model(m, 4, {2});
  model::SOLREC r;
  r.YTYPE = 1;
  r.STRAIN(4) = 2e-3;  // engineering shear xy: tensor 1e-3
  results::SolidOut o;
  results::SOLVAL(m, r, 1, o);
  EXPECT_NEAR(o.V[12], 1e-3, 1e-9);
  EXPECT_NEAR(o.V[13], 0.0, 1e-9);
  EXPECT_NEAR(o.V[14], -1e-3, 1e-9);
  // Repeated values: two equal, three equal, and below the zero bound.
  const double cases[3][6] = {{1e-3, 1e-3, -2e-3, 0, 0, 0}, {-5e-4, -5e-4, -5e-4, 0, 0, 0},
                              {1e-12, 0, 0, 0, 0, 0}};
  const double want[3][3] = {{1e-3, 1e-3, -2e-3}, {-5e-4, -5e-4, -5e-4}, {0, 0, 0}};
  for (int c = 0; c < 3; ++c) {
    std::copy(cases[c], cases[c] + 6, r.STRAIN.data());
    results::SOLVAL(m, r, 1, o);
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(o.V[12 + k], want[c][k], 1e-10) << c << " " << k;
  }
  EXPECT_EQ(o.V[12], 0.0f);
  // A general state: the same values as the stress path's eigensolution.
  const double g[6] = {3e-3, -1e-3, 2e-3, 1.5e-3, -0.7e-3, 0.4e-3};
  std::copy(g, g + 6, r.STRAIN.data());
  for (int k = 0; k < 6; ++k) r.STRESS(k + 1) = k < 3 ? g[k] * 1e3 : 0.5 * g[k] * 1e3;
  results::SOLVAL(m, r, 1, o);
  for (int k = 0; k < 3; ++k) EXPECT_NEAR(o.V[12 + k] * 1e3, o.V[k], 1e-5) << k;
}

TEST(ElementValues, EquivalentStressUnderBothCriteria) {
  model::Model m;
  test::small_model(m, 4, {2});
  m.RR(5) = 0.1;
  model::SOLREC r;
  results::SolidOut o;
  r.STRESS(1) = 100.0;  // uniaxial tension
  r.YTYPE = 1;
  results::SOLVAL(m, r, 1, o);
  EXPECT_NEAR(o.V[19], 100.0, 1e-4);
  r.YTYPE = 2;  // Drucker-Prager meets uniaxial tension at the same value
  results::SOLVAL(m, r, 1, o);
  const double c = 0.5773502691896258;
  EXPECT_NEAR(o.V[19], (0.1 * 100.0 + 100.0 / std::sqrt(3.0)) / (c - 0.1), 1e-3);
  r.STRESS.fill(0.0);
  r.STRESS(5) = 10.0;  // pure shear yz
  r.YTYPE = 1;
  results::SOLVAL(m, r, 1, o);
  EXPECT_NEAR(o.V[19], 10.0 * std::sqrt(3.0), 1e-4);
  // The shell's form: s3 = 0 and its three shears.
  model::SHLREC h;
  h.YTYPE = 2;
  for (int l = 1; l <= 3; ++l) h.STRESS(1, 4, l) = -50.0 * l;  // uniaxial compression
  results::ShellOut so;
  results::SHLVAL(m, h, 3, so);
  for (int l = 1; l <= 3; ++l)
    EXPECT_NEAR(so.L[l - 1].V[7], (0.1 * -50.0 * l + 50.0 * l * c) / (c - 0.1), 1e-3);
}

TEST(ElementValues, StrainEnergyDensityByState) {
  model::Model m;
  test::small_model(m, 4, {2});
  model::SOLREC r;
  r.YTYPE = 1;
  // Elastic: half of stress . strain.
  for (int k = 1; k <= 6; ++k) { r.STRESS(k) = k; r.STRAIN(k) = 0.1 * k; }
  results::SolidOut o;
  results::SOLVAL(m, r, 1, o);
  EXPECT_NEAR(o.V[15], 0.5 * 9.1, 1e-5);
  // Plastic: the elastic part by D. D = 2 I packed; strain minus EPLAST = 0.1.
  r.STATE = 2;
  r.D.fill(0.0);
  for (int k = 1; k <= 6; ++k) { r.D(base::PACKIDX(k, k, 6)) = 2.0; r.EPLAST(k) = 0.1 * k - 0.1; }
  results::SOLVAL(m, r, 1, o);
  EXPECT_NEAR(o.V[15], 0.5 * 6 * 2.0 * 0.01, 1e-6);
  EXPECT_EQ(o.STATE, 2);
}

TEST(ElementValues, ShellLayersAtPointFour) {
  model::Model m;
  test::small_model(m, 4, {1});
  model::SHLREC h;
  h.YTYPE = 1;
  // Layer l: xx = 10 l, yy = -10 l, xy = 0: first direction along x; layer 3
  // has xx < yy, so its first direction is y (angle pi/2).
  for (int l = 1; l <= 3; ++l) {
    h.STRESS(1, 4, l) = l < 3 ? 10.0 * l : -30.0;
    h.STRESS(2, 4, l) = l < 3 ? -10.0 * l : 30.0;
    h.STRAIN(3, 4, l) = -4e-3;  // engineering shear: tensor -2e-3
    h.STATE(4, l) = l - 1;
    h.EPEQ(l) = 0.5 * l;
    h.STRESS(1, 1, l) = 1e6;  // other points do not count
  }
  results::ShellOut o;
  results::SHLVAL(m, h, 9, o);
  EXPECT_EQ(o.ID, 9);
  for (int l = 1; l <= 3; ++l) {
    const results::ShellLayerOut& L = o.L[l - 1];
    EXPECT_EQ(L.STATE, l - 1);
    EXPECT_NEAR(L.V[0], 10.0 * l, 1e-5);
    EXPECT_NEAR(L.V[1], -10.0 * l, 1e-5);
    EXPECT_NEAR(L.V[2], l < 3 ? 0.0 : M_PI / 2, 1e-6);
    EXPECT_NEAR(L.V[3], 2e-3, 1e-9);
    EXPECT_NEAR(L.V[4], -2e-3, 1e-9);
    EXPECT_NEAR(L.V[6], -M_PI / 4, 1e-6);  // strain direction (1, -1)/sqrt 2
    EXPECT_NEAR(L.V[7], 10.0 * l * std::sqrt(3.0), 1e-4);
    EXPECT_EQ(L.V[8], 0.5f * l);
  }
}

TEST(ElementValues, RubberEnergyUsesTheMeanCornerPressure) {
  model::Model m;
  test::small_model(m, 4, {4});
  model::RUBREC r;
  r.C1 = 0.3;
  r.C2 = 0.1;
  r.KB = 100.0;
  // Volumetric strain: C = (1 + 2e) I, J = (1 + 2e)^1.5; the deviatoric
  // part vanishes.
  const double e = 0.01;
  for (int k = 1; k <= 3; ++k) r.STRAIN(k, 1) = e;
  for (int a = 1; a <= 4; ++a) m.U(7, a) = 0.5 * a;  // mean 1.25
  results::RubberOut o;
  results::RUBVAL(r, m.ELEM(1), m.U, o);
  const double J = std::pow(1 + 2 * e, 1.5), p = 1.25;
  EXPECT_NEAR(o.V[15], -p * (J - 1) - p * p / 200.0, 1e-6);
  EXPECT_NEAR(o.V[12], e, 1e-7);
  EXPECT_EQ(o.ID, 1001);
}

TEST(ResultFiles, FramesAppendedPerOutputOnStepAndTimeSchedules) {
  for (int bytime = 0; bytime <= 1; ++bytime) {
    test::ScratchDir dir;
    model::Model m;
    test::small_model(m, 3, {2});
    m.KK(4) = 5;
    m.T.allocate(base::Dim(0, 5));
    for (int k = 0; k <= 5; ++k) m.T(k) = 0.2 * k;
    m.KK(33) = bytime;
    m.KK(8) = 2;    // by steps: 2, 4, 5
    m.RR(9) = 0.3;  // by time: 0.4, 0.6, 1.0
    m.U.deallocate();  // no increments: the walk and its outputs alone
    job::Walk w;
    ::testing::internal::CaptureStdout();
    job::STEPWALK(m, w, false);
    ::testing::internal::GetCapturedStdout();
    close_streams(m);
    post::ResIndex idx;
    ASSERT_EQ(post::RESSCAN(".", idx), "");
    const std::vector<int> want = bytime ? std::vector<int>{2, 3, 5} : std::vector<int>{2, 4, 5};
    ASSERT_EQ(idx.frames.size(), want.size());
    EXPECT_EQ(w.NOUT, 3);
    for (std::size_t k = 0; k < want.size(); ++k) {
      EXPECT_EQ(idx.frames[k].STEP, want[k]);
      EXPECT_EQ(idx.frames[k].TIME, static_cast<float>(m.T(want[k])));
    }
    EXPECT_EQ(walk_dsp(test::read_file("EXEC.Bdsp")), 3);
  }
}
