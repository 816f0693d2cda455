// Scatter of element matrices into the sparse pattern, the enforced
// displacement correction and the residual table.
#include <gtest/gtest.h>

#include "base/kernels.hpp"
#include "model/model.hpp"
#include "solution/assembly.hpp"
#include "solution/reschk.hpp"
#include "testutil.hpp"

using namespace ossa;

namespace {

// Two nodes of three translations: node 1 free (equations 1-3), node 2 held.
void two_nodes(model::Model& m, int solver) {
  model::MODELRESET(m);
  m.KK(11) = 2;
  m.KK(21) = solver;
  m.KK(22) = 3;
  ASSERT_TRUE(m.NODEID.allocate(2));
  m.NODEID(1) = 10;
  m.NODEID(2) = 20;
  model::MODELALLOC(m);
  for (int k = 1; k <= 3; ++k) {
    m.IDOF(k, 1) = k;
    m.IDOF(k, 2) = -1;
  }
  ASSERT_TRUE(m.RHS.allocate(3, 2));
  ASSERT_TRUE(m.DX.allocate(3, 2));
  // Full 3 x 3 block in one half: diagonal first, then ascending columns.
  ASSERT_TRUE(m.IA.allocate(4));
  ASSERT_TRUE(m.JA.allocate(6));
  ASSERT_TRUE(m.AV.allocate(6));
  const int lower[6] = {1, 2, 1, 3, 1, 2}, upper[6] = {1, 2, 3, 2, 3, 3};
  const int ia_lower[4] = {1, 2, 4, 7}, ia_upper[4] = {1, 4, 6, 7};
  for (int i = 0; i < 6; ++i) m.JA(i + 1) = solver == 1 ? lower[i] : upper[i];
  for (int i = 0; i < 4; ++i) m.IA(i + 1) = solver == 1 ? ia_lower[i] : ia_upper[i];
}

// A symmetric 6 x 6 matrix K(a,b) = a * 10 + b for a <= b, packed.
std::vector<double> packed6() {
  std::vector<double> k;
  for (int a = 1; a <= 6; ++a)
    for (int b = a; b <= 6; ++b) k.push_back(a * 10.0 + b);
  return k;
}

const solution::EDOF DOFS[6] = {{1, 1}, {1, 2}, {1, 3}, {2, 1}, {2, 2}, {2, 3}};

}  // namespace

TEST(Assembly, PackedIndexRowByRow) {
  EXPECT_EQ(ossa::base::PACKIDX(1, 1, 12), 1);
  EXPECT_EQ(ossa::base::PACKIDX(1, 12, 12), 12);
  EXPECT_EQ(ossa::base::PACKIDX(2, 2, 12), 13);
  EXPECT_EQ(ossa::base::PACKIDX(12, 12, 12), 78);
}

TEST(Assembly, ScatterIntoEitherHalf) {
  for (int solver : {1, 2}) {
    model::Model m;
    two_nodes(m, solver);
    const auto k = packed6();
    solution::ADDK(m, k.data(), DOFS, 6);
    solution::ADDK(m, k.data(), DOFS, 6);  // adds, does not overwrite
    // Diagonal of equation 2 and the coupling of equations 1 and 3.
    EXPECT_DOUBLE_EQ(m.AV(m.IA(2)), 2 * 22.0) << solver;
    double k13 = 0.0;
    for (int p = 1; p <= 6; ++p) {
      const int row = solver == 1 ? 3 : 1, col = solver == 1 ? 1 : 3;
      if (p >= m.IA(row) && p < m.IA(row + 1) && m.JA(p) == col) k13 = m.AV(p);
    }
    EXPECT_DOUBLE_EQ(k13, 2 * 13.0) << solver;
  }
}

TEST(Assembly, EnforcedDisplacementMovesToTheRightHandSide) {
  model::Model m;
  two_nodes(m, 1);
  const auto k = packed6();
  m.DUE(1, 2) = 0.5;
  solution::ENFRHS(m, k.data(), DOFS, 6);
  // R(eb) -= DUE(a) K(a,b) for the held x of node 2 (list entry 4).
  EXPECT_DOUBLE_EQ(m.RHS(1, 1), -0.5 * 14.0);
  EXPECT_DOUBLE_EQ(m.RHS(2, 1), -0.5 * 24.0);
  EXPECT_DOUBLE_EQ(m.RHS(3, 1), -0.5 * 34.0);
}

TEST(Assembly, MissingPositionStops) {
  test::ScratchDir dir;
  // Row 2 loses column 1 of the pattern.
  OSSA_EXPECT_STOP(model::Model m; two_nodes(m, 1);
                   if (!base::open_text_out(m.unit(m.UNIT(2)), "EXEC.LOG")) std::abort();
                   m.JA(3) = 2; m.JA(2) = 2; const auto k = packed6();
                   solution::ADDK(m, k.data(), DOFS, 6));
  const auto l = test::read_lines("EXEC.LOG");
  ASSERT_GE(l.size(), 4u);
  EXPECT_EQ(l[1], " NO ADRESS FOR [K], PROGRAM STOPPED.");
  EXPECT_EQ(l[3], "  -1  0");
}

TEST(ResidualTable, HeadingRowsAndDecision) {
  test::ScratchDir dir;
  model::Model m;
  two_nodes(m, 1);
  ASSERT_TRUE(base::open_text_out(m.unit(m.UNIT(2)), "EXEC.LOG"));
  for (int k = 1; k <= 3; ++k) m.IDOF(k, 2) = 0;  // fixed
  m.F(1, 1) = 100.0;
  m.P(1, 1) = 99.5;
  m.P(1, 2) = -100.0;
  m.RR(1) = 0.01;
  const double fnrm[3] = {100.0, 0.0, 0.0};
  EXPECT_EQ(solution::RESCHK(m, 0, 1, 3, 2, 0.75, fnrm, 0.0), 0);  // never at count 0
  EXPECT_DOUBLE_EQ(m.RHS(1, 1), 0.5);
  EXPECT_DOUBLE_EQ(m.REACT(1, 2), -100.0);
  EXPECT_EQ(solution::RESCHK(m, 1, 0, 3, 2, 0.75, fnrm, 0.25), 1);
  m.RR(1) = 0.005;  // the comparison is strict
  EXPECT_EQ(solution::RESCHK(m, 2, 0, 3, 2, 0.75, fnrm, 0.25), 0);
  base::close_unit(m.unit(m.UNIT(2)));
  const auto l = test::read_lines("EXEC.LOG");
  ASSERT_EQ(l.size(), 8u);
  EXPECT_EQ(l[0], "");
  EXPECT_EQ(l[1], " ***** STEP NO. = 3   SUBSTEP NO. = 2   TIME = 7.5000E-01 *****");
  EXPECT_EQ(l[2], "");
  EXPECT_EQ(l[3], "   * RESIDUAL FORCE");
  EXPECT_EQ(l[4], "");
  EXPECT_EQ(l[5],
            "     ITER    MAX RES    NODE DIR    MAX RFC    NODE DIR  REL RES(M)"
            "   RES NORM    RHV NORM   REL RES(N)     TIME");
  EXPECT_EQ(l[6],
            "        1  5.0000E-01     10   1 -1.0000E+02     20   1  5.0000E-03  5.0000E-01"
            "  1.0000E+02  5.0000E-03  2.5000E-01");
  EXPECT_EQ(l[7].substr(0, 9), "        2");
}

TEST(ResidualTable, AllConstrainedAndSmallReferencesAreAbsolute) {
  model::Model m;
  two_nodes(m, 1);
  for (int k = 1; k <= 3; ++k) m.IDOF(k, 1) = -1;
  const double fnrm[3] = {0.5, 0.0, 0.0};
  m.P(4, 1) = 1.0e6;  // a rotation residual counts in no norm
  m.P(1, 1) = 0.25;
  solution::ResRow r;
  EXPECT_EQ(solution::RESCHK(m, 1, 0, 1, 1, 1.0, fnrm, 0.0, &r), 0);
  EXPECT_EQ(r.RESNRM, 0.0);
  EXPECT_EQ(r.RESNODE, 0);
  EXPECT_EQ(r.RESDIR, 0);
  EXPECT_DOUBLE_EQ(r.MAXRFC, 0.25);
  EXPECT_EQ(r.RFCNODE, 10);
  EXPECT_EQ(r.RELM, 0.0);  // |MAX RES| itself below a reference of 1.0
  EXPECT_EQ(r.RELN, 0.0);
}
