// The multifrontal solver on systems with a known answer: definite ones,
// indefinite ones that need 2 by 2 and delayed pivots, a single front wider
// than the wide block, two right-hand sides at once, and the same solution,
// bit for bit, on one thread or two (subtrees and front updates shared),
// while less and less memory moves the factors and then the stack to the
// work files.
#include <gtest/gtest.h>
#include <omp.h>

#include <vector>

#include "solvers/ork/ork.hpp"
#include "solvers/ork/orkfact.hpp"
#include "solvers/sysmat.hpp"
#include "testutil.hpp"

using namespace ossa;
using namespace ossa::solvers;

namespace {

// Factorises and solves A x = b for two right-hand sides, both on `threads` threads; returns the status.
int factor_solve(ORKDATA& o, ORKNUM& n, const test::Csr& A, const std::vector<double>& b, std::vector<double>& x,
                 int threads = 1, base::Unit* u1 = nullptr, base::Unit* u2 = nullptr) {
  x.assign(b.size(), 0.0);
  omp_set_num_threads(threads);
  const int st = ORKFACT(o, n, A.IA.data(), A.JA.data(), A.AV.data(), u1, u2);
  return st != 0 ? st : ORKSOLVE(o, n, 2, b.data(), x.data());
}

// The analysis by minimum degree alone, so that the plan does not depend on METIS.
void analyse(ORKDATA& o, const test::Csr& A) {
  ORKOPT opt;
  opt.METHOD = 0;
  ASSERT_EQ(ORKANAP(o, 8000000, A.n, A.IA.data(), A.JA.data(), 2, opt).STATUS, 0);
}

}  // namespace

TEST(OrkSolve, DefiniteIndefiniteAndWideSystems) {
  test::Sym wide{257, test::random_vec(257 * 257, 5)};  // one dense front
  for (int i = 0; i < wide.n; ++i)
    for (int j = 0; j < i; ++j) wide.at(i, j) = wide.at(j, i);
  // A band of half-width 2 and two random couplings a row, values in (-1, 1),
  // the diagonal scaled by dscale: below 1 pivots are delayed, at 0 they pair.
  auto band = [](double dscale, unsigned seed) {
    test::Sym s{400, std::vector<double>(400 * 400, 0.0)};
    const std::vector<double> v = test::random_vec(4 * 400, seed);
    for (int i = 0; i < s.n; ++i) {
      s.at(i, i) = dscale * v[4 * i];
      for (int k = 1; k <= 3; ++k) {
        const int j = k < 3 ? i + k : static_cast<int>(std::fabs(v[4 * i + k]) * s.n);
        if (j < s.n && j != i) s.at(i, j) = s.at(j, i) = v[4 * i + k];
      }
    }
    return s;
  };
  struct Case { test::Sym s; double tol; bool pairs; };
  const Case cases[] = {{test::node_blocks(60, true, 0.05, 1), 1e-15, false},
                        {band(0.0, 2), 1e-12, true},
                        {band(1e-6, 3), 1e-12, true},
                        {wide, 1e-13, false}};
  for (const Case& c : cases) {
    const test::Csr A = half(c.s, false);
    ORKDATA o;
    ORKNUM n;
    analyse(o, A);
    const std::vector<double> b = test::random_vec(2 * A.n, 4);
    std::vector<double> x, x2;
    ASSERT_EQ(factor_solve(o, n, A, b, x2, 2), 0) << A.n;
    EXPECT_EQ(n.NSUBT > 0, A.n != wide.n) << A.n;
    ASSERT_EQ(factor_solve(o, n, A, b, x), 0) << A.n;
    EXPECT_EQ(x, x2) << A.n;
    for (int col = 0; col < 2; ++col)
      EXPECT_LT(test::backward_error(c.s, x.data() + col * A.n, b.data() + col * A.n), c.tol) << A.n;
    int pairs = 0;  // 2 by 2 pivots
    for (int k = 1; k <= o.ORKI(HNSUP); ++k)
      for (int j = 0; j < ORKNODE(o, k, NPIVA); ++j) pairs += o.ORKI(ORKNODE(o, k, NKIND) + j) == 2;
    EXPECT_EQ(pairs > 0, c.pairs) << A.n;
  }
}

TEST(OrkSolve, SpillingToTheWorkFilesChangesNothing) {
  test::ScratchDir dir;
  const test::Sym s = test::node_blocks(343, true, 0.05, 6);
  const test::Csr A = half(s, false);
  ORKDATA o;
  analyse(o, A);
  const std::vector<double> b = test::random_vec(2 * A.n, 6);
  std::vector<double> ref, x;
  bool seen[3] = {false, false, false};  // in core, factors on file, stack on file too
  bool threaded[2] = {false, false};     // subtrees on threads, in core and with factors on file
  for (long avail = o.ORKR.size(); avail > 2054 + A.n; avail = avail * 7 / 8) {
    ORKSET(o, o.ISIZ, avail);
    base::Unit u1, u2;
    ASSERT_TRUE(base::open_direct(u1, "EXEC.WK1", 8192) && base::open_direct(u2, "EXEC.WK2", 8192));
    ORKNUM n;
    const int threads = 1 + (avail / 8 % 2);  // the thread count changes nothing
    const int st = factor_solve(o, n, A, b, x, threads, &u1, &u2);
    for (base::Unit* u : {&u1, &u2}) base::close_unit(*u);
    if (st != 0) {
      EXPECT_TRUE(st == ORK_FRONTBIG || st == ORK_COLBIG || st == ORK_NOSOLVE) << st;
      break;
    }
    if (ref.empty()) ref = x;
    EXPECT_EQ(x, ref) << avail;
    EXPECT_EQ(test::file_size("EXEC.WK2") > 0, n.SSPILL == 1);
    seen[n.FSPILL + n.SSPILL] = true;
    threaded[n.FSPILL] = threaded[n.FSPILL] || n.NSUBT > 0;
  }
  EXPECT_TRUE(seen[0] && seen[1] && seen[2] && threaded[0] && threaded[1]);
  EXPECT_LT(test::backward_error(s, ref.data(), b.data()), 1e-14);
  // File positions past 2^31 reals (factors of more than 16 GB) survive the node table.
  for (long v : {2147483647L, 2147483648L, 40000000000L, -3L, -5000000000L}) {
    ORKSETPOS(o, 1, NSPOS, v);
    EXPECT_EQ(ORKPOS(o, 1, NSPOS), v);
  }
}
