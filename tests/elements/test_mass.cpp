// Element mass: a family's consistent matrix sums to its element's mass and
// its lumped one gives the same total (the rubber's diagonal, with its
// interior node); no density gives a zero matrix; the
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

// One skew tetrahedron of volume 1/6 * |det|, with density RHO, ALPHA 0.5,
// as a solid, a rubber element and, on its first three corners, a shell of
// thickness 0.5.
struct OneTet {
  model::Model m;
  double vol = 0.0, area = 0.0;
  explicit OneTet(double rho) {
    m.KK(kk::NNODE) = 4, m.KK(kk::NSOLID) = m.KK(kk::NSHELL) = m.KK(kk::NRUBB) = 1;
    m.XYZ.allocate(3, 5);
    m.SOLREC.allocate(1), m.SHLREC.allocate(1), m.RUBREC.allocate(1);
    const double x[4][3] = {{1.0, 0.2, 0.1}, {2.1, 0.3, 0.0}, {1.2, 1.3, 0.2}, {1.3, 0.5, 1.4}};
    for (int a = 1; a <= 4; ++a)
      for (int j = 1; j <= 3; ++j) m.XYZ(j, a) = x[a - 1][j - 1];
    m.SOLREC(1).RHO = m.SHLREC(1).RHO = m.RUBREC(1).RHO = rho;
    m.SOLREC(1).ALPHA = m.SHLREC(1).ALPHA = m.RUBREC(1).ALPHA = m.SHLREC(1).THICK = 0.5;
    double d1[3], d2[3], d3[3], c[3];
    base::VSUB(x[1], x[0], d1, 3), base::VSUB(x[2], x[0], d2, 3), base::VSUB(x[3], x[0], d3, 3);
    base::CROSS(d2, d3, c);
    vol = std::fabs(base::DOT(d1, c, 3)) / 6.0;
    base::CROSS(d1, d2, c);
    area = 0.5 * base::VNORM(c, 3);
  }
  model::ELEMREC elem(int type) const {
    model::ELEMREC e;
    e.TYPE = type, e.IDX = 1, e.NEN = type == F_SHELL ? 3 : 4, e.NDF = type == F_SHELL ? 6 : 3;
    for (int a = 1; a <= 5; ++a) e.NOD(a) = a;
    return e;
  }
};

double sum(const double* a, int n) {
  double s = 0.0;
  for (int k = 0; k < n; ++k) s += a[k];
  return s;
}

}  // namespace

TEST(Mass, MatricesSumToTheElementMassAndNoDensityGivesNone) {
  // Solid 4 (0.1) + 12 (0.05) = 1, shell 3/6 + 6/12 = 1, rubber
  // 4 (0.1738095238095238) + 0.3047619047619048 = 1 with its interior node
  // fifth, diagonal in both forms; lumped 4 (0.25) and 3 (1/3).
  struct Case { int type, nen; };
  for (double rho : {2.5e-3, 0.0})
    for (const Case c : {Case{F_SOLID, 4}, Case{F_SHELL, 3}, Case{F_RUBBER, 5}}) {
      const OneTet t(rho);
      MASSDATA cm, lm;
      ASSERT_TRUE(FAMILYOF(c.type).MASS(t.m, t.elem(c.type), MASS_CONSISTENT, cm));
      ASSERT_TRUE(FAMILYOF(c.type).MASS(t.m, t.elem(c.type), MASS_LUMPED, lm));
      const int n = c.nen;
      EXPECT_EQ(cm.NEN, n);
      EXPECT_EQ(cm.ALPHA, 0.5);
      const double mass = rho * (c.type == F_SHELL ? 0.5 * t.area : t.vol);
      EXPECT_NEAR(sum(cm.S, n * n), mass, 1e-15) << c.type;
      EXPECT_NEAR(sum(lm.S, n), mass, 1e-15) << c.type;
      for (int a = 0; a < n; ++a)
        for (int b = 0; b < n; ++b)
          if (c.type == F_RUBBER) EXPECT_EQ(cm.S[a + n * b], a == b ? lm.S[a] : 0.0);
          else EXPECT_EQ(cm.S[a + n * a], a == b ? cm.S[a + n * b] : 2.0 * cm.S[a + n * b]);
    }
  const OneTet t(1.0);  // trusses and gaps have none
  MASSDATA md;
  for (int f : {F_TRUSS, F_GAP}) EXPECT_FALSE(FAMILYOF(f).MASS(t.m, t.elem(F_SOLID), MASS_CONSISTENT, md));
}

TEST(Mass, ExpansionMovesEachDirectionAloneAndRotationsCarryNone) {
  // A 3-node scalar matrix spread over 6 positions a node, both options.
  const double S[9] = {2.0, 1.0, 1.0, 1.0, 2.0, 1.0, 1.0, 1.0, 2.0}, D[3] = {4.0, 4.0, 4.0};
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
