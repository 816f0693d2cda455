#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "base/fmt.hpp"
#include "base/kernels.hpp"
#include "elements/family.hpp"
#include "elements/jobdir.hpp"
#include "model/mesh.hpp"
#include "solution/index.hpp"

using ossa::model::Model;
using ossa::testing::Elem;
namespace mdl = ossa::model;
namespace el = ossa::elements;

namespace {

// Two unit-corner tetrahedra side by side and a triangle on top of them.
std::vector<std::array<double, 3>> grid() {
  return {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1},     // 1-4: tet with 6V = 1
          {3, 0, 0}, {5, 0, 0}, {3, 2, 0}, {3, 0, 2},     // 5-8: twice as large
          {0, 0, 3}, {4, 0, 3}, {0, 3, 3},                // 9-11: shell triangle
          {10, 0, 0}, {11, 0, 0}, {10, 1, 0}, {10, 0, 1}};  // 12-15: rubber
}

double mean_edge(const Model& m, const int* n, int k) {
  static const int TET[6][2] = {{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}};
  static const int TRI[3][2] = {{2, 1}, {0, 2}, {1, 0}};
  double s = 0.0;
  for (int e = 0; e < (k == 4 ? 6 : 3); ++e) {
    const int a = k == 4 ? TET[e][0] : TRI[e][0], b = k == 4 ? TET[e][1] : TRI[e][1];
    double d2 = 0.0;
    for (int i = 1; i <= 3; ++i) d2 += std::pow(m.XYZ(i, n[a]) - m.XYZ(i, n[b]), 2);
    s += std::sqrt(d2);
  }
  return s / (k == 4 ? 6 : 3);
}

std::string line(const char* label, int row, double v) {
  return std::string("                             ") + label + ossa::base::fI(row, 2) + " : " +
         ossa::base::fPE(v, 10, 4) + "\n";
}

class ElemInit : public ::testing::Test {
 protected:
  void SetUp() override { ossa::testing::enter_scratch(); }
};

}  // namespace

TEST_F(ElemInit, DampingDefaultsByClassAndTheirLogBlock) {
  Model m;
  ossa::testing::open_log(m);
  // Solids: plain class 1, bone class 12 with one element at the modulus
  // floor (whose small density would otherwise win), bone class 13 only at
  // the floor. A shell of class 2, a rubber of class 1.
  const std::vector<Elem> el = {{2, {1, 2, 3, 4}}, {2, {5, 6, 7, 8}}, {2, {1, 2, 3, 4}},
                                {2, {5, 6, 7, 8}}, {1, {9, 10, 11}}, {4, {12, 13, 14, 15}},
                                {2, {5, 6, 7, 8}}};
  ossa::testing::build(m, grid(), el);
  m.RR(6) = 10.0;  // EMIN: the floor is 100
  auto sol = [&](int i, int g, double E, double rho, double beta) {
    auto& r = m.SOLREC(i);
    r.GROUP = g; r.E = E; r.NU = 0.3; r.RHO = rho; r.BETA = beta;
  };
  sol(1, 1, 1000.0, 2e-9, 0.0);
  sol(2, 12, 500.0, 1e-9, 0.0);
  sol(3, 12, 100.0, 1e-15, 0.0);  // at the floor: left out
  sol(4, 13, 90.0, 1e-9, 0.0);
  sol(5, 1, 1000.0, 2e-9, 0.125);  // a deck value stands
  auto& sh = m.SHLREC(1);
  sh.GROUP = 2; sh.E = 2000.0; sh.NU = 0.25; sh.RHO = 3e-9; sh.THICK = 0.1;
  auto& rb = m.RUBREC(1);
  rb.GROUP = 1; rb.C1 = 0.5; rb.C2 = 0.1; rb.RHO = 1e-9;
  mdl::MODELALLOC(m);
  ossa::elements::ELEM_INIT(m);

  const int t1[4] = {1, 2, 3, 4}, t2[4] = {5, 6, 7, 8}, tr[3] = {9, 10, 11}, ru[4] = {12, 13, 14, 15};
  const double l1 = mean_edge(m, t1, 4), l2 = mean_edge(m, t2, 4);
  const double solid1 = std::min(l1, l2) * std::sqrt(2e-9 / 1000.0);
  const double bone12 = l2 * std::sqrt(1e-9 / 500.0);
  const double shell2 = mean_edge(m, tr, 3) * std::sqrt(3e-9 / 2000.0);
  const double rub1 = mean_edge(m, ru, 4) * std::sqrt(1e-9 / (6 * 0.6));
  ossa::base::flush_unit(m.unit(m.UNIT(2)));
  const std::string want = "     DEFAULT STIFFNESS PROPORTIONAL DAMPING\n" +
                           line("SOLID(BONE) ", 2, bone12) + line("SOLID       ", 1, solid1) +
                           line("SHELL       ", 2, shell2) + line("RUBBER      ", 1, rub1);
  EXPECT_EQ(ossa::testing::read_text("EXEC.LOG"), want);

  EXPECT_DOUBLE_EQ(m.SOLREC(1).BETA, solid1);
  EXPECT_DOUBLE_EQ(m.SOLREC(3).BETA, bone12);
  EXPECT_EQ(m.SOLREC(4).BETA, 1.0e10);  // its class kept no default
  EXPECT_EQ(m.SOLREC(5).BETA, 0.125);
  EXPECT_DOUBLE_EQ(m.SHLREC(1).BETA, shell2);
  EXPECT_DOUBLE_EQ(m.RUBREC(1).BETA, rub1);
  EXPECT_DOUBLE_EQ(m.RR(11), std::min(l1, l2));
}

TEST_F(ElemInit, SolidRubberAndShellStartValues) {
  Model m;
  ossa::testing::build(m, grid(), {{4, {12, 13, 14, 15}}, {2, {1, 2, 3, 4}}, {1, {9, 10, 11}},
                                   {1, {9, 10, 11}}});
  auto& s = m.SOLREC(1);
  s.E = 1000.0; s.NU = 0.3; s.RHO = 1e-9; s.GROUP = 1;
  s.STATE = 2; s.STATE0 = 2; s.EPEQ = 4.0; s.STRESS(3) = 5.0; s.PDIR(1) = 1.0; s.STRAIN(6) = 1.0;
  for (int i = 1; i <= 2; ++i) {
    auto& h = m.SHLREC(i);
    h.E = 2000.0; h.NU = 0.25; h.GROUP = 1; h.RHO = 1e-9; h.THICK = i == 1 ? 0.1 : 0.2;
  }
  m.RUBREC(1).C1 = 1.0;
  m.RUBREC(1).GROUP = 1;
  mdl::MODELALLOC(m);
  ossa::elements::ELEM_INIT(m);

  // Solid: elastic matrix, clean state.
  double D[21];
  ossa::base::DELAS(1000.0, 0.3, D);
  for (int k = 1; k <= 21; ++k) EXPECT_EQ(s.D(k), D[k - 1]);
  EXPECT_EQ(s.STATE, 0);
  EXPECT_EQ(s.EPEQ, 0.0);
  EXPECT_EQ(s.STRESS(3), 0.0);
  EXPECT_EQ(s.PDIR(1), 0.0);
  EXPECT_EQ(s.STRAIN(6), 0.0);
  const int t1[4] = {1, 2, 3, 4};
  EXPECT_DOUBLE_EQ(s.AVGLEN, mean_edge(m, t1, 4));

  // Rubber: the interior node after the grid points, at the centroid.
  const auto& e = m.ELEM(1);
  EXPECT_EQ(e.NOD(5), 16);
  EXPECT_EQ(m.NODEID(16), -e.ID);
  EXPECT_DOUBLE_EQ(m.XYZ(1, 16), 10.25);
  EXPECT_DOUBLE_EQ(m.XYZ(2, 16), 0.25);
  EXPECT_DOUBLE_EQ(m.XYZ(3, 16), 0.25);

  // Shell: normal of the plane z = 3, GS below the membrane G and falling
  // as the element grows thinner against its area.
  const auto& h = m.SHLREC(1);
  const double G = 2000.0 / 2.5;
  EXPECT_GT(h.GS, 0.0);
  EXPECT_LT(h.GS, G);
  EXPECT_LT(h.GS, m.SHLREC(2).GS);
  const double area = 0.5 * 4 * 3;
  EXPECT_NEAR(1.0 / h.GS, 1.0 / G + std::sqrt(3.0) * (1 - 0.0625) * area / (2000.0 * 0.01), 1e-12);
  EXPECT_NEAR(h.DRILL, 1e-5 * 2000.0 * 1e-3, 1e-18);
  for (int a = 1; a <= 3; ++a) {
    EXPECT_EQ(h.TNODE(a), 0.1);
    EXPECT_DOUBLE_EQ(h.V0(3, a), 1.0);
    EXPECT_EQ(h.V(3, a), h.V0(3, a));
    EXPECT_EQ(h.VC(3, a), h.V0(3, a));
  }
  for (int j = 1; j <= 3; ++j)
    for (int i = 1; i <= 4; ++i) {
      EXPECT_DOUBLE_EQ(h.D(1, i, j), 2000.0 / (1 - 0.0625));
      EXPECT_DOUBLE_EQ(h.D(2, i, j), 0.25 * 2000.0 / (1 - 0.0625));
      EXPECT_DOUBLE_EQ(h.D(10, i, j), G);
      EXPECT_EQ(h.D(13, i, j), h.GS);
      EXPECT_EQ(h.D(15, i, j), h.GS);
      EXPECT_EQ(h.D(14, i, j), 0.0);
    }
}

TEST_F(ElemInit, ShellsOnlyLeaveTheLengthUnset) {
  Model m;
  ossa::testing::open_log(m);
  ossa::testing::build(m, grid(), {{1, {9, 10, 11}}});
  m.SHLREC(1).E = 1.0;
  m.SHLREC(1).THICK = 1.0;
  mdl::MODELALLOC(m);
  ossa::elements::ELEM_INIT(m);
  EXPECT_EQ(m.RR(11), 1.0e10);
  // Density 0 gives a default of 0, which is printed.
  EXPECT_EQ(m.SHLREC(1).BETA, 0.0);
}

TEST_F(ElemInit, GapTriplesMatchSolidFacesInAnyOrder) {
  // Gap card (a,b,c | d,e,f): (2,3,4) is a face of the unit corner in each of
  // its six orders, (6,7,8) one of the large tetrahedron. The normal follows
  // the card's order: it flips with an odd permutation.
  static const int PERM[6][3] = {{2, 3, 4}, {3, 4, 2}, {4, 2, 3}, {3, 2, 4}, {2, 4, 3}, {4, 3, 2}};
  for (int p = 0; p < 6; ++p) {
    Model m;
    const int* a = PERM[p];
    ossa::testing::build(m, grid(), {{2, {1, 2, 3, 4}}, {2, {5, 6, 7, 8}}, {3, {a[0], 7}},
                                     {3, {a[1], 8}}, {3, {a[2], 6}}});
    m.SOLREC(1).E = 1000.0;
    m.SOLREC(2).E = 3000.0;
    mdl::MODELALLOC(m);
    ossa::elements::ELEM_INIT(m);
    const int t1[4] = {1, 2, 3, 4}, t2[4] = {5, 6, 7, 8};
    const double lmean = (mean_edge(m, t1, 4) + mean_edge(m, t2, 4)) / 2.0;
    const double area = std::sqrt(3.0) / 2.0;  // face (2,3,4) of the unit corner
    const double sign = p < 3 ? 1.0 : -1.0;
    for (int k = 1; k <= 3; ++k) {
      const auto& g = m.GAPREC(k);
      EXPECT_NEAR(g.KGAP, area * (3000.0 / lmean) / 3.0, 1e-9) << p;
      for (int i = 1; i <= 3; ++i) EXPECT_NEAR(g.NVEC(i), sign / std::sqrt(3.0), 1e-15) << p;
      EXPECT_EQ(g.GSTAT, 1);
    }
  }
}

TEST_F(ElemInit, GapTripleOffEverySolidFaceStops) {
  Model m;
  ossa::testing::open_log(m);
  ossa::testing::build(m, grid(), {{2, {1, 2, 3, 4}}, {2, {5, 6, 7, 8}}, {3, {2, 7}},
                                   {3, {3, 8}}, {3, {9, 6}}});
  mdl::MODELALLOC(m);
  EXPECT_EXIT(ossa::elements::ELEM_INIT(m), ::testing::ExitedWithCode(0), "");
  const std::string log = ossa::testing::read_text("EXEC.LOG");
  EXPECT_NE(log.find("\n\n STOP IN SUB. ELEM_INIT!\n *** ERROR NO. ***\n  -1  0\n"),
            std::string::npos)
      << log;
}
