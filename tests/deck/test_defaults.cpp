// Defaults settled after the last card: the automatic yield criterion, the
// minimum modulus EMIN and the hardening modulus that depends on it.
#include <gtest/gtest.h>

#include "deckrun.hpp"

using namespace ossa;
using test::Card;

namespace {

// `nsol` solids numbered 1.. and `nshl` shells numbered 1.., all on the
// same four nodes, with the rows given; rubber allowed (ORK, nonlinear).
std::vector<std::string> mesh(int nsol, int nshl, int nrub, const std::vector<std::string>& rows) {
  std::vector<std::string> d = {test::cntnd(4), test::cntel(nsol, nshl, 0, nrub, 0),
                                Card("CNTRL").i(7, 7, 1).i(56, 63, -1), test::cpu(),
                                test::node(1, "0", "0", "0"), test::node(2, "1", "0", "0"),
                                test::node(3, "0", "1", "0"), test::node(4, "0", "0", "1")};
  for (int i = 1; i <= nsol; ++i) d.push_back(test::tet("SOLID", i, 1, 2, 3, 4));
  for (int i = 1; i <= nshl; ++i) d.push_back(test::shell(i, 1, 2, 3, "1.0"));
  for (int i = 1; i <= nrub; ++i) d.push_back(test::tet("RUBB", i, 1, 2, 3, 4));
  d.insert(d.end(), rows.begin(), rows.end());
  d.push_back("END");
  return d;
}

std::string solid(long id, int bone, int ytype, const char* nu, const char* e, const char* w,
                  const char* ratio = "") {
  return test::propt(0, 0, bone, ytype, 2, id, {nu, e, w, "", "", ratio});
}

}  // namespace

TEST(DeckDefaults, YieldCriterionFromDensityAndPoissonRatio) {
  test::ScratchDir dir;
  model::Model m;
  test::read_deck(m, mesh(7, 1, 0,
                          {solid(1, 0, 0, "0.3", "1000", "2.69E-6"),
                           solid(2, 0, 0, "0.4", "1000", "1.0E-6"),
                           solid(3, 0, 0, "0.3", "1000", "2.7E-6"),  // strict: not below
                           solid(4, 0, 0, "0.29", "1000", "1.0E-6"),
                           solid(5, 0, 0, "0.41", "1000", "1.0E-6"),
                           solid(6, 1, 1, "0.35", "1000", "1.0E-6"),  // given: kept
                           solid(7, 1, 2, "0.2", "1000", "1.0E-5"),   // given: kept
                           test::propt(0, 0, 0, 0, 1, 1, {"0.35", "1000", "1.0E-6"})}));
  const int want[7] = {2, 2, 1, 1, 1, 1, 2};
  for (int i = 1; i <= 7; ++i) EXPECT_EQ(m.SOLREC(i).YTYPE, want[i - 1]) << "solid " << i;
  EXPECT_EQ(m.SHLREC(1).YTYPE, 2);
}

TEST(DeckDefaults, MinimumModulus) {
  test::ScratchDir dir;
  model::Model m;
  // A thousandth of the stiffest bone, or the softest bone if softer.
  test::read_deck(m, mesh(3, 0, 0,
                          {solid(1, 1, 0, "0.3", "1000", "1E-6"), solid(2, 1, 0, "0.3", "0.5", "1E-6"),
                           solid(3, 0, 0, "0.3", "1.0E6", "1E-6")}));
  EXPECT_EQ(m.RR(6), 0.5);
  test::read_deck(m, mesh(2, 0, 0,
                          {solid(1, 1, 0, "0.3", "1000", "1E-6"), solid(2, 1, 0, "0.3", "800", "1E-6")}));
  EXPECT_EQ(m.RR(6), 0.001 * 1000.0);
  // A bone of modulus 0 makes it 0.
  test::read_deck(m, mesh(2, 0, 0,
                          {solid(1, 1, 0, "0.3", "5000", "1E-6"), solid(2, 1, 0, "0.3", "0", "1E-6")}));
  EXPECT_EQ(m.RR(6), 0.0);
  // No bone: the stiffest shell or solid; rubber rows never count.
  test::read_deck(m, mesh(1, 1, 1,
                          {solid(1, 0, 0, "0.3", "2000", "1E-6"),
                           test::propt(0, 0, 0, 0, 1, 1, {"0.3", "3000", "1E-6"}),
                           test::propt(0, 0, 1, 0, 4, 1, {"0.1", "1.0E9", "1E-6"})}));
  EXPECT_EQ(m.RR(6), 3.0);
  const auto log = test::from_line(test::read_lines("EXEC.LOG"),
                                   "     MINIMUM YOUNG'S MODULUS                : 3.0000E+00");
  EXPECT_EQ(log.size(), 1u);
}

TEST(DeckDefaults, NoShellOrSolidGivesZeroAndAnEmptyTable) {
  test::ScratchDir dir;
  model::Model m;
  test::read_deck(m, {test::cntnd(2), test::cntel(0, 0, 0, 0, 1), test::cntrl_static(), test::cpu(),
                      test::node(1, "0", "0", "0"), test::node(2, "1", "0", "0"), test::truss(1, 1, 2),
                      Card("TRSTB").i(11, 15, 0),  // no rows follow
                      test::propt_truss(1, 1), "END"});
  EXPECT_EQ(m.RR(6), 0.0);
  EXPECT_EQ(m.TRSREC(1).TABLE, 1);
  EXPECT_EQ(m.TRSREC(1).NPT, 0);
  EXPECT_TRUE(m.TRSREC(1).CURVE.allocated());
  EXPECT_EQ(m.TRSREC(1).CURVE.size(), 0);
}

TEST(DeckDefaults, HardeningModulusTakesHalfTheMinimumModulusAtLeast) {
  test::ScratchDir dir;
  model::Model m;
  test::read_deck(m, mesh(2, 0, 0,
                          {solid(1, 1, 0, "0.3", "1000", "1E-6", "0.0"),
                           solid(2, 1, 0, "0.3", "1000", "1E-6", "0.2")}));
  // EMIN = 1: the tangent modulus of row 1 is 0.5 EMIN, of row 2 its own 200.
  EXPECT_DOUBLE_EQ(m.SOLREC(1).HPRIME, 1000.0 * 0.5 / 999.5);
  EXPECT_DOUBLE_EQ(m.SOLREC(2).HPRIME, 1000.0 * 200.0 / 800.0);
}
