// Element mass: a family's consistent matrix sums to its element's mass and
// its lumped one gives the same total; no density gives a zero matrix; the
// spread over the nodes' positions moves each direction alone and gives
// rotations no mass.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "base/kernels.hpp"
#include "elements/family.hpp"

using namespace ossa;
using namespace ossa::elements;

namespace {

// One skew tetrahedron of volume 1/6 * |det|, with density RHO.
struct OneTet {
  model::Model m;
  model::ELEMREC e;
  double vol = 0.0;
  explicit OneTet(double rho) {
    m.KK(kk::NNODE) = 4, m.KK(kk::NSOLID) = 1;
    m.XYZ.allocate(3, 4);
    m.SOLREC.allocate(1);
    const double x[4][3] = {{1.0, 0.2, 0.1}, {2.1, 0.3, 0.0}, {1.2, 1.3, 0.2}, {1.3, 0.5, 1.4}};
    for (int a = 1; a <= 4; ++a)
      for (int j = 1; j <= 3; ++j) m.XYZ(j, a) = x[a - 1][j - 1];
    e.TYPE = F_SOLID, e.IDX = 1, e.NEN = 4, e.NDF = 3;
    for (int a = 1; a <= 4; ++a) e.NOD(a) = a;
    m.SOLREC(1).RHO = rho;
    m.SOLREC(1).ALPHA = 0.5;
    double d1[3], d2[3], d3[3], c[3];
    base::VSUB(x[1], x[0], d1, 3), base::VSUB(x[2], x[0], d2, 3), base::VSUB(x[3], x[0], d3, 3);
    base::CROSS(d2, d3, c);
    vol = std::fabs(base::DOT(d1, c, 3)) / 6.0;
  }
};

double sum(const double* a, int n) {
  double s = 0.0;
  for (int k = 0; k < n; ++k) s += a[k];
  return s;
}

}  // namespace

TEST(Mass, SolidMatricesSumToTheElementMassAndNoDensityGivesNone) {
  for (double rho : {2.5e-3, 0.0}) {
    OneTet t(rho);
    MASSDATA c, l;
    ASSERT_TRUE(FAMILYOF(F_SOLID).MASS(t.m, t.e, MASS_CONSISTENT, c));
    ASSERT_TRUE(FAMILYOF(F_SOLID).MASS(t.m, t.e, MASS_LUMPED, l));
    EXPECT_EQ(c.NEN, 4);
    EXPECT_EQ(c.ALPHA, 0.5);
    // 4 (0.1) + 12 (0.05) = 1 and 4 (0.25) = 1, of m = RHO V.
    EXPECT_NEAR(sum(c.S, 16), rho * t.vol, 1e-15);
    EXPECT_NEAR(sum(l.S, 4), rho * t.vol, 1e-15);
    EXPECT_NEAR(c.S[0], 2.0 * c.S[1], 1e-18);
  }
  // The shell on three of the corners: RHO T A, 3/6 + 6/12 = 1 and 3/3 = 1.
  OneTet t(1.0);
  t.m.KK(kk::NSHELL) = 1;
  t.m.SHLREC.allocate(1);
  t.m.SHLREC(1).RHO = 3.0, t.m.SHLREC(1).THICK = 0.5;
  model::ELEMREC sh = t.e;
  sh.TYPE = F_SHELL, sh.NEN = 3, sh.NDF = 6;
  double d1[3], d2[3], c[3];
  base::VSUB(t.m.XYZ.at(1, 1), t.m.XYZ.at(1, 3), d1, 3), base::VSUB(t.m.XYZ.at(1, 2), t.m.XYZ.at(1, 3), d2, 3);
  base::CROSS(d1, d2, c);
  for (int opt : {MASS_CONSISTENT, MASS_LUMPED}) {
    MASSDATA s3;
    ASSERT_TRUE(FAMILYOF(F_SHELL).MASS(t.m, sh, opt, s3));
    EXPECT_EQ(s3.NEN, 3);
    EXPECT_NEAR(sum(s3.S, opt == MASS_LUMPED ? 3 : 9), 1.5 * 0.5 * base::VNORM(c, 3), 1e-14);
  }
  // Trusses and gaps have none.
  MASSDATA md;
  for (int f : {F_TRUSS, F_GAP}) EXPECT_FALSE(FAMILYOF(f).MASS(t.m, t.e, MASS_CONSISTENT, md));
}

TEST(Mass, ExpansionMovesEachDirectionAloneAndRotationsCarryNone) {
  // A 3-node scalar matrix spread over 6 positions a node, both options.
  const double S[9] = {2.0, 1.0, 1.0, 1.0, 2.0, 1.0, 1.0, 1.0, 2.0};
  const double D[3] = {4.0, 4.0, 4.0};
  for (int opt : {MASS_CONSISTENT, MASS_LUMPED}) {
    std::vector<double> Me(18 * 19 / 2);
    MASSEXP(opt == MASS_LUMPED ? D : S, 3, 6, opt, Me.data());
    double total[3] = {0.0, 0.0, 0.0};
    for (int p = 1; p <= 18; ++p)
      for (int q = 1; q <= 18; ++q) {
        const double v = Me[base::PACKIDX(p, q, 18) - 1];
        const int dp = (p - 1) % 6 + 1, dq = (q - 1) % 6 + 1;
        if (dp > 3 || dq > 3 || dp != dq || (opt == MASS_LUMPED && p != q)) EXPECT_EQ(v, 0.0) << p << " " << q;
        else total[dp - 1] += v;
      }
    // Each direction moves the whole mass, 12.
    for (double s : total) EXPECT_DOUBLE_EQ(s, 12.0) << opt;
  }
}
