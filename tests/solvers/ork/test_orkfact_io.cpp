// Spill file layer: blocks at arbitrary positions through one record buffer,
// read back backward, in the order the factor file and the stack use them.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

#include "solvers/ork/orkfact.hpp"

using namespace ossa::solvers;
using ossa::base::Unit;

namespace {

struct TmpDir {
  std::string dir;
  TmpDir() {
    char t[] = "/tmp/orkioXXXXXX";
    dir = mkdtemp(t);
  }
  ~TmpDir() { std::system(("rm -rf " + dir).c_str()); }
  std::string file(const char* n) const { return dir + "/" + n; }
};

long file_size(const std::string& name) {
  std::FILE* f = std::fopen(name.c_str(), "rb");
  if (!f) return -1;
  std::fseek(f, 0, SEEK_END);
  const long n = std::ftell(f);
  std::fclose(f);
  return n;
}

std::vector<double> seq(long n, double base) {
  std::vector<double> v(n);
  for (long i = 0; i < n; ++i) v[i] = base + static_cast<double>(i);
  return v;
}

}  // namespace

// Factor blocks one behind the other, the last with a flush, then read in
// any order: every block comes back whole.
TEST(OrkIo, SequentialBlocksReadBack) {
  TmpDir t;
  Unit u;
  ASSERT_TRUE(ossa::base::open_direct(u, t.file("EXEC.WK1"), 8192));
  ORKFILE st;
  std::vector<double> buf(ORKREC);
  const long sizes[] = {1, 1023, 1024, 1, 3000, 2048, 5, 777};
  std::vector<long> pos;
  long p = 1;
  for (int b = 0; b < 8; ++b) {
    const auto d = seq(sizes[b], 1000.0 * b);
    ASSERT_EQ(ORKPUT(u, p, sizes[b], d.data(), st, buf.data(), b == 7 ? 1 : 0), 0);
    pos.push_back(p);
    p += sizes[b];
  }
  EXPECT_EQ(st.BUFDIRTY, 0);
  EXPECT_EQ(file_size(t.file("EXEC.WK1")), (p - 1 + ORKREC - 1) / ORKREC * 8192);
  for (int b : {7, 2, 4, 0, 6, 1, 5, 3}) {
    std::vector<double> r(sizes[b], -1.0);
    ASSERT_EQ(ORKGET(u, pos[b], sizes[b], r.data(), st, buf.data()), 0);
    EXPECT_EQ(r, seq(sizes[b], 1000.0 * b)) << b;
  }
  ossa::base::close_unit(u);
}

// The backward read leaves the block's first record in the buffer, ready for
// the block in front of it.
TEST(OrkIo, BackwardReadKeepsFirstRecord) {
  TmpDir t;
  Unit u;
  ASSERT_TRUE(ossa::base::open_direct(u, t.file("EXEC.WK1"), 8192));
  ORKFILE st;
  std::vector<double> buf(ORKREC);
  const auto d = seq(5000, 0.5);
  ASSERT_EQ(ORKPUT(u, 1, 5000, d.data(), st, buf.data(), 1), 0);
  std::vector<double> r(2500);
  ASSERT_EQ(ORKGET(u, 2501, 2500, r.data(), st, buf.data()), 0);
  EXPECT_EQ(st.BUFVALID, 1);
  EXPECT_EQ(st.BUFREC, 3);  // position 2501 lies in record 3
  EXPECT_EQ(r[0], 2500.5);
  EXPECT_EQ(r[2499], 4999.5);
}

// A stack on file: push, pop, push again over the popped space, with data
// pending in the buffer when read; nothing is lost or mixed.
TEST(OrkIo, StackPushPopOverwrites) {
  TmpDir t;
  Unit u;
  ASSERT_TRUE(ossa::base::open_direct(u, t.file("EXEC.WK2"), 8192));
  ORKFILE st;
  std::vector<double> buf(ORKREC);
  std::mt19937 g(3);
  std::vector<std::vector<double>> stack;
  std::vector<long> at;
  long top = 0;
  for (int step = 0; step < 300; ++step) {
    const bool push = stack.empty() || g() % 3 != 0;
    if (push) {
      const long n = 1 + static_cast<long>(g() % 2500);
      auto d = seq(n, step * 10000.0);
      ASSERT_EQ(ORKPUT(u, top + 1, n, d.data(), st, buf.data(), 0), 0);
      at.push_back(top + 1);
      top += n;
      stack.push_back(std::move(d));
    } else {
      std::vector<double> r(stack.back().size());
      ASSERT_EQ(ORKGET(u, at.back(), static_cast<long>(r.size()), r.data(), st, buf.data()), 0);
      ASSERT_EQ(r, stack.back()) << step;
      top -= static_cast<long>(r.size());
      stack.pop_back();
      at.pop_back();
    }
  }
}

TEST(OrkIo, ClosedUnitFails) {
  Unit u;
  ORKFILE st;
  std::vector<double> buf(ORKREC), d(3000, 1.0);
  EXPECT_EQ(ORKPUT(u, 1, 3000, d.data(), st, buf.data(), 1), 18);
  ORKFILE st2;
  EXPECT_EQ(ORKGET(u, 1, 10, d.data(), st2, buf.data()), 17);
}
