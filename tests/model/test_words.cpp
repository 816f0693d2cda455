// The word count of the memory budget: a real counts two four-byte words, an
// integer one, a record its size in words; arrays not allocated count nothing.
#include <gtest/gtest.h>

#include "model/model.hpp"

using namespace ossa;

TEST(FreeWords, RealsTwoIntegersOneRecordsTheirSize) {
  model::Model m;
  model::MODELRESET(m);
  EXPECT_EQ(model::FREEWORDS(m), 0);
  ASSERT_TRUE(m.XYZ.allocate(3, 10));
  ASSERT_TRUE(m.NODEID.allocate(10));
  EXPECT_EQ(model::FREEWORDS(m), 3 * 10 * 2 + 10);
  ASSERT_TRUE(m.ELEM.allocate(4));
  EXPECT_EQ(model::FREEWORDS(m), 70 + 4 * 10);  // ten integers a directory record
  ASSERT_TRUE(m.T.allocate(base::Dim(0, 0)));   // T(0:0) holds one real
  EXPECT_EQ(model::FREEWORDS(m), 110 + 2);
  m.XYZ.deallocate();
  EXPECT_EQ(model::FREEWORDS(m), 52);
}

TEST(SolutionArrays, SizesFollowTheAnalysisKind) {
  for (int kind : {0, 1, 2}) {
    model::Model m;
    model::MODELRESET(m);
    m.KK(3) = kind;
    m.KK(11) = 5;
    m.KK(16) = 2;  // two interior nodes: N = 7
    model::MODELALLOC(m);
    EXPECT_EQ(m.DOFTAB.size(), 35);
    EXPECT_EQ(m.CONT.WORK1.size(), 49);
    EXPECT_EQ(m.U.allocated(), kind == 0);
    EXPECT_EQ(m.DYN.DEADND.allocated(), kind == 1);
    EXPECT_EQ(m.F.allocated(), kind != 2);  // any other kind: the head of the table only
    if (kind == 0) {
      EXPECT_EQ(m.U.size(), 49);
    }
  }
}
