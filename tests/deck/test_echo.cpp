// The input echo, line for line, of decks that use every card kind; and
// what the stored arrays hold after translation.
#include <gtest/gtest.h>

#include <omp.h>

#include "deckrun.hpp"

using namespace ossa;
using test::Card;

namespace {

// A label and a text value in its field of 33 characters.
std::string t33(const std::string& label, std::string v) {
  v.resize(33, ' ');
  return label + v;
}

// Dynamic, restart, nonlinear; rubber with ORK; contact; every card but "GAP"
// (gaps exclude rubber and contact).
std::vector<std::string> full_deck() {
  return {
      "FULL DECK: EVERY CARD KIND",
      test::cntnd(6),
      test::cntel(1, 1, 0, 1, 1),
      Card("CNTRL").f(6, 9, "1111").i(11, 13, 12).f(16, 25, "0.005").f(26, 35, "0.002")
          .i(56, 63, -1).f(64, 73, "1.0E-8").i(81, 81, 2).f(82, 90, "250.7").f(101, 110, "0.15"),
      Card("CNTR2").f(6, 15, "0.5").i(16, 20, 3).i(21, 23, 7).i(24, 26, 8).i(27, 30, 4)
          .i(31, 33, 2),
      Card("CNTR3").i(11, 15, 1).i(16, 20, 2).i(21, 25, 3).i(26, 30, 4).i(31, 35, 5)
          .i(36, 40, 6).i(41, 45, -1).i(46, 50, 1),
      Card("PRPLT").i(11, 11, 1).i(12, 12, 0).i(16, 20, 5).f(21, 35, "0.25"),
      Card("PRPL2").i(31, 33, 1),
      Card("KUKAN").f(6, 20, "1.0").i(21, 30, 4).f(31, 45, "3.0").i(46, 55, 2),
      test::node(10, "0.0", "0.0", "0.0"),
      test::node(20, "1.0", "0.0", "0.0"),
      test::node(30, "0.0", "1.0", "0.0"),
      test::node(40, "0.0", "0.0", "1.0"),
      test::node(50, "1.0", "1.0", "1.0"),
      test::node(60, "2.0", "1.0", "1.0"),
      test::tet("SOLID", 1, 10, 20, 30, 40),
      test::shell(2, 10, 20, 30, "2.5"),
      test::tet("RUBB", 3, 20, 30, 40, 50),
      test::truss(4, 50, 60),
      test::propt(3, 1, 1, 0, 2, 1,
                  {"0.3", "15000.0", "1.8E-6", "80.0", "120.0", "0.05", "0.1", "0.2", "5000.0"}),
      test::propt(0, 0, 0, 1, 1, 2, {"0.25", "200000.0", "7.8E-5", "500.0", "300.0", "0.1"}),
      test::propt(2, 0, 0, 0, 4, 3, {"0.4", "0.1", "1.2E-6", "1000.0", "", "", "0.3", "0.4"}),
      test::propt_truss(1, 4),
      Card("TRSTB").i(11, 15, 2),
      Card("").f(1, 15, "0.0").f(16, 30, "0.0"),
      Card("").f(1, 15, "0.01").f(16, 30, "100.0"),
      Card("NGLD").i(6, 10, 4),
      Card("NLOAD").i(11, 15, 2).i(16, 25, 1),
      Card("TBLLD").f(6, 20, "0.0").f(21, 35, "0.0"),
      Card("TBLLD").f(6, 20, "1.0").f(21, 35, "1.0"),
      Card("FORCE").i(6, 15, 60).f(16, 30, "1.0").f(31, 45, "2.0").f(46, 60, "3.0")
          .f(61, 75, "4.0").f(76, 90, "5.0").f(91, 105, "6.0"),
      Card("NLOAD").i(11, 15, 1).i(16, 25, 2),
      Card("TBLLD").f(6, 20, "0.0").f(21, 35, "1.0"),
      Card("DISP").i(6, 15, 10).f(16, 30, "0.1"),
      Card("DISP").i(6, 15, 20).f(91, 105, "0.2"),
      Card("NLOAD").i(11, 15, 1).i(16, 25, 1),
      Card("TBLLD").f(6, 20, "0.0").f(21, 35, "1.0"),
      Card("DIRFC").i(6, 15, 3).i(16, 25, 1).i(26, 35, 2).f(36, 50, "7.5"),
      Card("NLOAD").i(11, 15, 1).i(16, 25, 1),
      Card("TBLLD").f(6, 20, "0.0").f(21, 35, "1.0"),
      Card("PRESS").i(6, 15, 1).i(16, 25, 2).i(26, 35, 3).f(36, 50, "0.5"),
      Card("NPLNK").i(11, 17, 2),
      Card("PLNK").i(6, 15, 10).f(16, 21, "111000"),
      Card("PLNK").i(6, 15, 20).f(16, 21, "120300"),
      Card("VEL").f(11, 25, "1.0").f(26, 40, "-2.0").f(41, 55, "3.0"),
      Card("NBODY").i(6, 10, 2),
      Card("BODY").i(11, 20, 1),
      Card("BODY").i(11, 20, 1),
      Card("CSURF").i(6, 15, 10).i(16, 25, 20).i(26, 35, 30),
      Card("CSURF").i(6, 15, 40).i(16, 25, 50).i(26, 35, 60),
      Card("CBODY").i(6, 10, 1).i(11, 15, 2).f(16, 25, "0.3").f(26, 35, "5.0"),
      Card("SPLNK").i(6, 15, 30).i(16, 25, 40),
      "END",
  };
}

}  // namespace

TEST(DeckEcho, FullDeckLineForLine) {
  test::ScratchDir dir;
  model::Model m;
  const auto log = test::read_deck(m, full_deck());
  const std::vector<std::string> want = {
      "",
      " ***** INPUT DATA *****",
      "",
      "   * ANALYSIS TYPE",
      "",
      t33("     STATIC OR DYNAMIC     : ", "DYNAMIC"),
      t33("     GEOMETRICAL NONLINEAR : ", "YES"),
      t33("     MATERIAL NONLINEAR    : ", "YES"),
      "",
      "   * SOLUTION CONTROL",
      "",
      t33("     INITIAL OR RESTART     : ", "RESTART"),
      "     NUMBER OF STEPS        : 6",
      "     END TIME               : 3.0000E+00",
      "     ITERATION LIMIT        : 12",
      "     MATERIAL NONLINEAR",
      "         ITERATION TYPE     : 2",
      "         ITERATION LIMIT    : 7",
      "         NUMBER OF SUBSTEPS : 4",
      t33("     OUTPUT INTERVAL        : ", "5"),
      t33("     RESTART FILE OUTPUT    : ", "YES"),
      t33("     LINEAR EQUATION SOLVER : ", "MULTIFRONTAL (ORK)"),
      t33("     CG PRE-CONDITIONING    : ", "DIAGONAL"),
      "",
      "   * MODEL SUMMARY",
      "",
      "     NUMBER OF GRID POINTS     : 6",
      "     NUMBER OF SOLID ELEMENTS  : 1",
      "     NUMBER OF SHELL ELEMENTS  : 1",
      "     NUMBER OF RUBBER ELEMENTS : 1",
      "     NUMBER OF TRUSS ELEMENTS  : 1",
      "     NUMBER OF GAP ELEMENTS    : 0",
      "",
      "   * CONSTRAINTS & LOADS",
      "",
      "     NUMBER OF CONSTRAINED POINTS                : 2",
      "     NUMBER OF POINTS WITH ENFORCED DISPLACEMENT : 2",
      "     NUMBER OF LOADED POINTS                     : 1",
      "",
      "   * INITIAL CONDITION",
      "",
      "     NUMBER OF INITIAL VELOCITIES : 1",
      "",
      "   * CONTACT",
      "",
      "     NUMBER OF BODIES              : 2",
      "     NUMBER OF CONTACT SURFACES    : 2",
      "     NUMBER OF INITIAL CONSTRAINTS : 1",
      "     ITERATION LIMIT               : 8",
      "",
      "   * SOLUTION PARAMETERS",
      "",
      "     ERROR TOLERANCE FOR LOAD               : 5.0000E-03",
      "     ERROR TOLERANCE FOR CG-METHOD          : 1.0000E-08",
      "     DRUCKER-PRAGER ALPHA                   : 1.5000E-01",
      "     MINIMUM YOUNG'S MODULUS                : 1.5000E+01",
  };
  // The echo is the whole log: the processor was asked for, so no device check.
  ASSERT_EQ(log.size(), want.size());
  for (std::size_t k = 0; k < want.size(); ++k) EXPECT_EQ(log[k], want[k]) << "line " << k + 1;
}

TEST(DeckEcho, FullDeckControlRecords) {
  test::ScratchDir dir;
  model::Model m;
  test::read_deck(m, full_deck());
  // "CNTRL"
  EXPECT_EQ(m.KK(19), 1);
  EXPECT_EQ(m.KK(1), 1);
  EXPECT_EQ(m.KK(2), 1);
  EXPECT_EQ(m.KK(3), 1);
  EXPECT_EQ(m.KK(6), 12);
  EXPECT_EQ(m.RR(1), 0.005);
  EXPECT_EQ(m.RR(2), 0.002);
  EXPECT_EQ(m.KK(21), 2);
  EXPECT_EQ(m.RR(3), 1.0e-8);
  EXPECT_EQ(m.KK(31), 0);
  EXPECT_EQ(m.KK(27), 250);  // 250.7 cut to an integer
  EXPECT_EQ(m.RR(5), 0.15);
  EXPECT_EQ(m.KK(25), 45);
  EXPECT_EQ(m.KK(32), 1);
  EXPECT_EQ(m.RR(7), 1.0471975511965976);
  EXPECT_EQ(m.RR(8), 1.0 / 3.0);
  // "CNTR2", "CNTR3", "PRPLT", "PRPL2"
  EXPECT_EQ(m.RR(4), 0.5);
  EXPECT_EQ(m.KK(7), 3);
  EXPECT_EQ(m.KK(35), 7);
  EXPECT_EQ(m.KK(9), 8);
  EXPECT_EQ(m.KK(5), 4);
  EXPECT_EQ(m.KK(34), 2);
  for (int k = 1; k <= 6; ++k) EXPECT_EQ(m.STAT_LIMIT(k), k);
  EXPECT_EQ(m.KK(28), -1);
  EXPECT_EQ(m.NTHREAD, 1);
  EXPECT_EQ(omp_get_max_threads(), 1);
  EXPECT_EQ(m.KK(10), 1);
  EXPECT_EQ(m.KK(33), 0);
  EXPECT_EQ(m.KK(8), 5);
  EXPECT_EQ(m.RR(9), 0.25);
  EXPECT_EQ(m.KK(20), 1);
  EXPECT_EQ(m.KK(29), 1);
  // Time table by running sums.
  const double t[] = {0.0, 0.25, 0.5, 0.75, 1.0, 2.0, 3.0};
  for (int k = 0; k <= 6; ++k) EXPECT_EQ(m.T(k), t[k]);
}

TEST(DeckEcho, FullDeckArraysHoldPositions) {
  test::ScratchDir dir;
  model::Model m;
  test::read_deck(m, full_deck());
  // Directory in card order; tetrahedra store card nodes 1, 3, 2, 4.
  const int want[4][9] = {{1, 1, 2, 3, 4, 1, 3, 2, 4},
                          {2, 1, 1, 6, 3, 1, 2, 3, 0},
                          {3, 1, 4, 4, 4, 2, 4, 3, 5},
                          {4, 1, 5, 3, 2, 5, 6, 0, 0}};
  for (int j = 1; j <= 4; ++j) {
    const auto& e = m.ELEM(j);
    const int got[9] = {e.ID, e.IDX, e.TYPE, e.NDF, e.NEN, e.NOD(1), e.NOD(2), e.NOD(3), e.NOD(4)};
    for (int k = 0; k < 9; ++k) EXPECT_EQ(got[k], want[j - 1][k]) << "element " << j << " field " << k;
  }
  EXPECT_EQ(m.SHLREC(1).THICK, 2.5);
  EXPECT_EQ(m.NODEID(6), 60);
  EXPECT_EQ(m.NODEID(7), 0);  // the rubber's interior node has no card
  EXPECT_EQ(m.XYZ(1, 6), 2.0);
  // Loads: nodes translated but for "DIRFC" and "PRESS".
  EXPECT_EQ(m.FRCNOD(1), 6);
  for (int k = 1; k <= 6; ++k) EXPECT_EQ(m.FRCVAL(k, 1), static_cast<double>(k));
  EXPECT_EQ(m.DSPNOD(1), 1);
  EXPECT_EQ(m.DSPNOD(2), 2);
  EXPECT_EQ(m.DSPVAL(1, 1), 0.1);
  EXPECT_EQ(m.DSPVAL(6, 2), 0.2);
  EXPECT_EQ(m.DFCNOD(1, 1), 3);
  EXPECT_EQ(m.DFCNOD(3, 1), 2);
  EXPECT_EQ(m.DFCVAL(1), 7.5);
  EXPECT_EQ(m.PRSNOD(2, 1), 2);
  EXPECT_EQ(m.PRSVAL(1), 0.5);
  const int loadset[4][4] = {{2, 1, 1, 1}, {1, 4, 1, 2}, {1, 2, 1, 1}, {1, 3, 1, 1}};
  for (int g = 1; g <= 4; ++g)
    for (int k = 1; k <= 4; ++k) EXPECT_EQ(m.LOADSET(k, g), loadset[g - 1][k - 1]) << g << "," << k;
  EXPECT_EQ(m.TBL(2, 1, 1), 1.0);
  EXPECT_EQ(m.TBL(2, 2, 1), 1.0);
  EXPECT_EQ(m.TBL(1, 2, 2), 1.0);
  // Links, velocities, contact.
  EXPECT_EQ(m.PLKNOD(1), 1);
  EXPECT_EQ(m.PLKNOD(2), 2);
  const int flags[2][6] = {{1, 1, 1, 0, 0, 0}, {1, 2, 0, 0, 0, 0}};  // the digit 3 means free
  for (int i = 1; i <= 2; ++i)
    for (int k = 1; k <= 6; ++k) EXPECT_EQ(m.PLKFLG(k, i), flags[i - 1][k - 1]);
  EXPECT_EQ(m.VELTBL(2, 1), -2.0);
  EXPECT_EQ(m.BODYEND(1), 1);
  EXPECT_EQ(m.BODYEND(2), 2);
  EXPECT_EQ(m.CSFNOD(1, 2), 4);
  EXPECT_EQ(m.CSFNOD(3, 2), 6);
  EXPECT_EQ(m.CBPAIR(1, 2), 1);
  EXPECT_EQ(m.CBPAIR(2, 1), 0);
  EXPECT_EQ(m.CBVAL(1, 1, 2), 0.3);
  EXPECT_EQ(m.CBVAL(2, 1, 2), 5.0);
  EXPECT_EQ(m.SPLPAIR(1, 1), 3);
  EXPECT_EQ(m.SPLPAIR(2, 1), 4);
  // The reader-local arrays are gone.
  EXPECT_FALSE(m.RD.PROPIP.allocated());
  EXPECT_FALSE(m.RD.PROPFP.allocated());
  EXPECT_FALSE(m.RD.TRSN.allocated());
  EXPECT_FALSE(m.RD.TRSTBL.allocated());
  EXPECT_FALSE(m.RD.NODMAP.allocated());
  EXPECT_FALSE(m.RD.ELMAP.allocated());
}

TEST(DeckEcho, FullDeckElementRecords) {
  test::ScratchDir dir;
  model::Model m;
  test::read_deck(m, full_deck());
  const double emin = 15.0;  // a thousandth of the one bone modulus
  EXPECT_EQ(m.RR(6), emin);
  const auto& s = m.SOLREC(1);
  EXPECT_EQ(s.GROUP, 3 + 10 + 1);
  EXPECT_EQ(s.E, 15000.0);
  EXPECT_EQ(s.NU, 0.3);
  EXPECT_EQ(s.RHO, 1.8e-6 / 9806.65);
  EXPECT_EQ(s.BODYLOAD, 1);
  EXPECT_EQ(s.SIGT, 80.0);
  EXPECT_EQ(s.YIELD, 120.0);
  EXPECT_EQ(s.YTYPE, 2);  // light, with the Poisson's ratio of bone
  const double et = 0.05 * 15000.0;
  EXPECT_DOUBLE_EQ(s.HPRIME, 15000.0 * et / (15000.0 - et));
  EXPECT_EQ(s.ALPHA, 0.1);
  EXPECT_EQ(s.BETA, 0.2);
  EXPECT_DOUBLE_EQ(s.ECRUSH, 5.0e-3);
  const auto& h = m.SHLREC(1);
  EXPECT_EQ(h.GROUP, 1);
  EXPECT_EQ(h.E, 200000.0);
  EXPECT_EQ(h.YTYPE, 1);
  for (int p = 1; p <= 4; ++p)
    for (int l = 1; l <= 3; ++l) EXPECT_EQ(h.YIELD(p, l), 300.0);
  EXPECT_DOUBLE_EQ(h.HPRIME, 200000.0 * 20000.0 / 180000.0);
  EXPECT_EQ(h.THICK, 2.5);
  const auto& r = m.RUBREC(1);
  EXPECT_EQ(r.GROUP, 3);
  EXPECT_EQ(r.C1, 0.4);
  EXPECT_EQ(r.C2, 0.1);
  EXPECT_EQ(r.KB, 1000.0);
  EXPECT_EQ(r.RHO, 1.2e-6 / 9806.65);
  EXPECT_EQ(r.ALPHA, 0.3);
  EXPECT_EQ(r.BETA, 0.4);
  const auto& t = m.TRSREC(1);
  EXPECT_EQ(t.TABLE, 1);
  ASSERT_EQ(t.NPT, 2);
  EXPECT_EQ(t.CURVE(2, 1), 0.01);
  EXPECT_EQ(t.CURVE(2, 2), 100.0);
  EXPECT_EQ(t.CURVE(1, 2), 0.0);
}

TEST(DeckEcho, GapDeckStaticWithProcessorCg) {
  test::ScratchDir dir;
  model::Model m;
  const auto log = test::read_deck(
      m, {test::cntnd(4), test::cntel(1, 0, 1, 0, 0), test::cntrl_static(), test::cpu(),
          Card("KUKAN").f(6, 20, "2.0").i(21, 30, 8),
          test::node(1, "0.0", "0.0", "0.0"), test::node(2, "1.0", "0.0", "0.0"),
          test::node(3, "0.0", "1.0", "0.0"), test::node(4, "0.0", "0.0", "1.0"),
          test::tet("SOLID", 1, 1, 2, 3, 4), test::gap(1, 2, 3, 2, 3, 4),
          test::propt(0, 0, 0, 0, 2, 1, {"0.2", "2000.0", "2.0E-5"}),
          Card("VEL").f(11, 25, "1.0"),  // no initial-condition block in a static job
          "END"});
  const std::vector<std::string> want = {
      "",
      " ***** INPUT DATA *****",
      "",
      "   * ANALYSIS TYPE",
      "",
      t33("     STATIC OR DYNAMIC     : ", "STATIC"),
      t33("     GEOMETRICAL NONLINEAR : ", "NO"),
      t33("     MATERIAL NONLINEAR    : ", "NO"),
      "",
      "   * SOLUTION CONTROL",
      "",
      t33("     INITIAL OR RESTART     : ", "INITIAL"),
      "     NUMBER OF STEPS        : 8",
      "     END TIME               : 2.0000E+00",
      "     ITERATION LIMIT        : 10",
      "     MATERIAL NONLINEAR",
      "         ITERATION TYPE     : 0",
      "         ITERATION LIMIT    : 0",
      "         NUMBER OF SUBSTEPS : 0",
      t33("     OUTPUT INTERVAL        : ", "LAST STEP ONLY"),
      t33("     RESTART FILE OUTPUT    : ", "NO"),
      t33("     LINEAR EQUATION SOLVER : ", "CG"),
      "     CG PRE-CONDITIONING    : INCOMPLETE CHOLESKY DECOMPOSITION",
      "",
      "   * MODEL SUMMARY",
      "",
      "     NUMBER OF GRID POINTS     : 4",
      "     NUMBER OF SOLID ELEMENTS  : 1",
      "     NUMBER OF SHELL ELEMENTS  : 0",
      "     NUMBER OF RUBBER ELEMENTS : 0",
      "     NUMBER OF TRUSS ELEMENTS  : 0",
      "     NUMBER OF GAP ELEMENTS    : 3",
      "",
      "   * CONSTRAINTS & LOADS",
      "",
      "     NUMBER OF CONSTRAINED POINTS                : 0",
      "     NUMBER OF POINTS WITH ENFORCED DISPLACEMENT : 0",
      "     NUMBER OF LOADED POINTS                     : 0",
      "",
      "   * CONTACT",
      "",
      "     NUMBER OF BODIES              : 0",
      "     NUMBER OF CONTACT SURFACES    : 0",
      "     NUMBER OF INITIAL CONSTRAINTS : 0",
      "     ITERATION LIMIT               : 0",
      "",
      "   * SOLUTION PARAMETERS",
      "",
      "     ERROR TOLERANCE FOR LOAD               : 1.0000E-03",
      "     ERROR TOLERANCE FOR CG-METHOD          : 1.0000E-06",
      "     DRUCKER-PRAGER ALPHA                   : 0.0000E+00",
      "     MINIMUM YOUNG'S MODULUS                : 2.0000E+00",
  };
  ASSERT_EQ(log.size(), want.size());
  for (std::size_t k = 0; k < want.size(); ++k) EXPECT_EQ(log[k], want[k]) << "line " << k + 1;
  EXPECT_EQ(m.KK(27), 400);
  EXPECT_EQ(m.RR(2), 0.001);
  EXPECT_EQ(m.KK(29), 0);
}

TEST(DeckEcho, DeviceCheckAndGraphicsSolverNames) {
  test::ScratchDir dir;
  model::Model m;
  // No "CNTR3": device 0 stands unchecked, and the echo names the device path.
  std::vector<std::string> d = test::one_tet();
  d.erase(d.begin() + 3);
  auto log = test::read_deck(m, d);
  EXPECT_EQ(m.KK(28), 0);
  EXPECT_EQ(log[0], "");
  EXPECT_EQ(log[1], " ***** INPUT DATA *****");
  auto echo = test::from_line(log, t33("     LINEAR EQUATION SOLVER : ", "CG (GPU)"));
  ASSERT_GE(echo.size(), 2u);
  EXPECT_EQ(echo[1], t33("     CG PRE-CONDITIONING    : ", "SCALING"));

  // Device 2 asked for: this build has no device layer, so the processor.
  d.insert(d.begin() + 3, Card("CNTR3").i(41, 45, 2).i(46, 50, 99999));
  const int most = omp_get_max_threads();
  log = test::read_deck(m, d);
  EXPECT_EQ(m.KK(28), -1);
  ASSERT_GE(log.size(), 3u);
  EXPECT_EQ(log[0], std::string(11, ' ') + " * * *   GPU DEVICE CHECK   * * *");
  EXPECT_EQ(log[1], std::string(21, ' ') + "Error: Device No. is changed into '-1(CPU)'");
  EXPECT_EQ(log[2], "");
  EXPECT_EQ(log[3], " ***** INPUT DATA *****");
  echo = test::from_line(log, t33("     LINEAR EQUATION SOLVER : ", "CG"));
  ASSERT_GE(echo.size(), 2u);
  EXPECT_EQ(echo[1], "     CG PRE-CONDITIONING    : INCOMPLETE CHOLESKY DECOMPOSITION");
  // A thread count above the maximum is cut to it.
  EXPECT_EQ(m.NTHREAD, most);
  EXPECT_EQ(omp_get_max_threads(), most);
}
