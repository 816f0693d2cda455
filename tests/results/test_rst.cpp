// The restart snapshot keeps every value to the last bit: read back into a
// scrambled state it restores the state and the plastic operators exactly,
// and written again it is the same file. Arrays of extent 0 take no bytes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "deckgen.hpp"
#include "elements/family.hpp"
#include "job/job.hpp"
#include "results/rst.hpp"
#include "testutil.hpp"

using namespace ossa;

namespace {

template <class A>
std::string bytes(const A& a) {
  return std::string(reinterpret_cast<const char*>(a.data()), a.size() * sizeof(*a.data()));
}

}  // namespace

TEST(RestartFile, RoundTripsEveryValueAndKeepsNoBytesForEmptyArrays) {
  test::ScratchDir dir;
  const test::Box bar(4, 1, 1, 4.0, 1.0, 1.0);
  test::write_file("EXEC.INP", test::bone_bar_deck(bar, test::BarPiece{0.0, 0.375, 6}));
  model::Model m;
  ASSERT_TRUE(job::JOBOPEN(m));
  testing::internal::CaptureStdout();
  job::JOBRUN(m);  // past yield: plastic strains, substeps, the tangent in D
  testing::internal::GetCapturedStdout();
  const std::string first = test::read_file("EXEC.RST2");
  const std::string u = bytes(m.U), x = bytes(m.X), xo = bytes(m.XOLD), fr = bytes(m.FRAME), rec = bytes(m.SOLREC);
  ASSERT_EQ(m.SOLREC(1).STATE, 2);

  m.U.fill(std::nan(""));
  m.FRAME.fill(7.0);
  for (auto* a : {&m.X, &m.XOLD, &m.UPREV}) a->fill(-1.0);  // UPREV: the arc-length state, unused here
  m.RIKS.LAMBDA = m.RIKS.LAMPREV = m.RIKS.UNORM[0] = m.RIKS.FNRM[2] = -1.0, m.RIKS.NRIKS = -1;
  elements::SNAPITEM items[elements::MAXSNAP];
  for (int i = 1; i <= m.NELEM(); ++i) {
    const int n = elements::FAMILYOF(m.ELEM(i).TYPE).SNAP(m, m.ELEM(i), items);
    for (int k = 0; k < n; ++k) std::memset(items[k].P, 0xA5, items[k].BYTES);
  }
  // The job closed its work files; the operators in them go too.
  base::Unit& sol = m.unit(m.UNIT(7));
  ASSERT_TRUE(base::open_direct(m.unit(m.UNIT(6)), "EXEC.SHL", 240, true));
  ASSERT_TRUE(base::open_direct(sol, "EXEC.SOL", 336, true));
  base::flush_unit(sol);
  const std::string ops = test::read_file("EXEC.SOL");
  for (int r = 1; r <= m.NSOLID(); ++r) ASSERT_TRUE(base::dwrite(sol, r, nullptr, 0));
  ASSERT_EQ(std::rename("EXEC.RST2", "EXEC.RST1"), 0);
  results::RstHead h{.NSUB = -1, .FIRSTCHG = -1};
  results::RSTREAD(m, h);
  EXPECT_EQ(h.NSUB, 4);
  EXPECT_EQ(h.FIRSTCHG, 2);
  EXPECT_TRUE(bytes(m.U) == u && bytes(m.X) == x && bytes(m.XOLD) == xo && bytes(m.FRAME) == fr);
  EXPECT_TRUE(bytes(m.SOLREC) == rec);  // STRESS, D, EPLAST, ... and what the file leaves alone
  base::flush_unit(sol);
  EXPECT_TRUE(test::read_file("EXEC.SOL") == ops);
  results::RSTWRITE(m, h);
  EXPECT_TRUE(test::read_file("EXEC.RST2") == first);
  EXPECT_FALSE(test::exists(results::RSTTEMP));

  // The length from the layout: the contact and arc-vector arrays, of extent
  // 0 here, add nothing. Each record carries 8 bytes of marks.
  const std::size_t N = bar.nnode(), NE = bar.ntet();
  const std::size_t solid = 8 * (21 + 6 + 6 + 1 + 6 + 6 + 3 + 1) + 4;
  const std::size_t nodal = 8 * (7 + 3 + 3 + 9) * N, arc = 4 + 8 * (2 + 3 + 3) + 2 * 8 * 7 * N;  // scalars, UPREV, FREF
  const std::size_t work = (8 + 0) + (8 + 336 * NE);  // EXEC.SHL (no shells), EXEC.SOL
  EXPECT_EQ(first.size(), (8 + 8) + (8 + 8) + (8 + nodal) + NE * (8 + solid) + work + (8 + arc) + (8 + 32));
}
