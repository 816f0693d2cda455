// Multifrontal factorisation: tet stiffness against a dense solve, random
// indefinite systems with 2 by 2 and delayed pivots, unit pivots for empty
// rows, a delay seen in the tree, and the two stages of spilling to file.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "solvers/ork/orkdense.hpp"
#include "solvers/ork/orkrun.hpp"

using namespace ossa::solvers;
using namespace ossa::testing;

namespace {

// Dense reference: Gaussian elimination with partial pivoting on the full matrix.
std::vector<double> dense_solve(const UpperCsr& A, std::vector<double> b) {
  const int n = A.n;
  std::vector<double> a(static_cast<size_t>(n) * n, 0.0);
  for (int i = 0; i < n; ++i)
    for (int e = A.IA[i] - 1; e < A.IA[i + 1] - 1; ++e) {
      const int j = A.JA[e] - 1;
      a[i + static_cast<size_t>(j) * n] = a[j + static_cast<size_t>(i) * n] = A.AV[e];
    }
  for (int k = 0; k < n; ++k) {
    int p = k;
    for (int i = k + 1; i < n; ++i) if (std::fabs(a[i + k * n]) > std::fabs(a[p + k * n])) p = i;
    for (int j = k; j < n; ++j) std::swap(a[k + j * n], a[p + j * n]);
    std::swap(b[k], b[p]);
    for (int i = k + 1; i < n; ++i) {
      const double f = a[i + k * n] / a[k + k * n];
      if (f == 0.0) continue;
      for (int j = k; j < n; ++j) a[i + j * n] -= f * a[k + j * n];
      b[i] -= f * b[k];
    }
  }
  for (int k = n - 1; k >= 0; --k) {
    double s = b[k];
    for (int j = k + 1; j < n; ++j) s -= a[k + j * n] * b[j];
    b[k] = s / a[k + k * n];
  }
  return b;
}

long file_size(const std::string& name) {
  std::FILE* f = std::fopen(name.c_str(), "rb");
  if (!f) return -1;
  std::fseek(f, 0, SEEK_END);
  const long s = std::ftell(f);
  std::fclose(f);
  return s;
}

int count_kind2(ORKDATA& o) {
  int c = 0;
  for (int k = 1; k <= o.ORKI(HNSUP); ++k)
    for (int j = 0; j < ORKNODE(o, k, NPIVA); ++j) c += o.ORKI(ORKNODE(o, k, NKIND) + j) == 2;
  return c;
}

}  // namespace

TEST(OrkFact, TetStiffnessMatchesDenseSolve) {
  const UpperCsr A = tet_stiffness(4, 3, 3);
  ORKDATA o;
  ASSERT_TRUE(ork_analyse(o, A, 1));
  ORKNUM n;
  const auto b = random_rhs(A.n, 1, 4);
  std::vector<double> x;
  ASSERT_EQ(ork_solve(o, n, A, b, 1, x), 0);
  const auto ref = dense_solve(A, b);
  double err = 0.0, xm = 0.0;
  for (int i = 0; i < A.n; ++i) { err = std::max(err, std::fabs(x[i] - ref[i])); xm = std::max(xm, std::fabs(ref[i])); }
  EXPECT_LT(err / xm, 1e-10);
  EXPECT_LT(rel_residual(A, x, b, 1), 1e-15);
  EXPECT_EQ(n.FSPILL + n.SSPILL, 0);
  EXPECT_EQ(count_kind2(o), 0);  // positive definite: no 2 by 2 pivots
}

// Random indefinite systems, some with a tiny or zero diagonal, which need 2 by 2
// pivots and delays; all solve to a small backward error. The threshold 0.01
// lets entries grow by up to a hundred per pivot, so the bound is looser than
// for the definite matrices.
TEST(OrkFact, RandomIndefiniteSystems) {
  int pairs = 0, delayed = 0;
  for (unsigned seed = 1; seed <= 6; ++seed) {
    const double dscale = seed % 3 == 0 ? 0.0 : (seed % 3 == 1 ? 1e-6 : 1.0);
    const UpperCsr A = random_sparse(400, 2, 2, dscale, seed);
    ORKDATA o;
    ASSERT_TRUE(ork_analyse(o, A, 1));
    ORKNUM n;
    const auto b = random_rhs(A.n, 1, seed);
    std::vector<double> x;
    ASSERT_EQ(ork_solve(o, n, A, b, 1, x), 0) << seed;
    EXPECT_LT(rel_residual(A, x, b, 1), 1e-10) << seed;
    pairs += count_kind2(o);
    for (int k = 1; k <= o.ORKI(HNSUP); ++k) delayed += ORKNODE(o, k, NPIVA) < ORKNODE(o, k, NPIV);
  }
  EXPECT_GT(pairs, 0);
  EXPECT_GT(delayed, 0);
}

TEST(OrkFact, ZeroDiagonalTwoByTwoSystem) {
  UpperCsr A;
  A.n = 2;
  A.IA = {1, 3, 4};
  A.JA = {1, 2, 2};
  A.AV = {0.0, 3.0, 0.0};
  ORKDATA o;
  ASSERT_TRUE(ork_analyse(o, A, 1));
  ORKNUM n;
  std::vector<double> x;
  ASSERT_EQ(ork_solve(o, n, A, {6.0, 9.0}, 1, x), 0);
  EXPECT_DOUBLE_EQ(x[0], 3.0);
  EXPECT_DOUBLE_EQ(x[1], 2.0);
  EXPECT_EQ(count_kind2(o), 2);
}

// Empty rows and columns get unit pivots: their solution is the right-hand side.
TEST(OrkFact, ZeroRowsGetUnitPivots) {
  UpperCsr A = tet_stiffness(2, 2, 2);
  const int zero[] = {4, 17, 30};
  for (int z : zero)
    for (int i = 0; i < A.n; ++i)
      for (int e = A.IA[i] - 1; e < A.IA[i + 1] - 1; ++e)
        if (i == z || A.JA[e] == z + 1) A.AV[e] = 0.0;
  ORKDATA o;
  ASSERT_TRUE(ork_analyse(o, A, 1));
  ORKNUM n;
  const auto b = random_rhs(A.n, 1, 2);
  std::vector<double> x;
  ASSERT_EQ(ork_solve(o, n, A, b, 1, x), 0);
  EXPECT_EQ(n.NFORCED, 3);
  UpperCsr A1 = A;
  for (int z : zero) {
    EXPECT_DOUBLE_EQ(x[z], b[z]);
    A1.AV[A1.IA[z] - 1] = 1.0;
  }
  EXPECT_LT(rel_residual(A1, x, b, 1), 1e-15);
}

// A pivot made tiny in a leaf, coupled only to its border, goes up: the leaf's
// factor block is one pivot short and the parent's front one row longer.
TEST(OrkFact, TinyPivotDelayedToParent) {
  UpperCsr A = tet_stiffness(3, 3, 3);
  ORKDATA o;
  ASSERT_TRUE(ork_analyse(o, A, 1));
  // Whether q shares an entry of A with a pivot of node k: there the row finds a partner.
  auto meets = [&](int q, int k) {
    const int* l = o.ORKI.at(ORKNODE(o, k, NLIST));
    for (int i = 0; i < A.n; ++i)
      for (int e = A.IA[i] - 1; e < A.IA[i + 1] - 1; ++e)
        if ((i + 1 == q) != (A.JA[e] == q) && std::count(l, l + ORKNODE(o, k, NPIV), i + 1 == q ? A.JA[e] : i + 1))
          return true;
    return false;
  };
  int leaf = 0, eq = 0;
  for (int k = 1; k <= o.ORKI(HNSUP) && !leaf; ++k)
    if (ORKNODE(o, k, NCHILD) == 0 && ORKNODE(o, k, NPIV) >= 2 && ORKNODE(o, k, NBRD) >= 1 && ORKNODE(o, k, NPAR) != 0 &&
        meets(o.ORKI(ORKNODE(o, k, NLIST)), ORKNODE(o, k, NPAR))) {
      leaf = k;
      eq = o.ORKI(ORKNODE(o, k, NLIST));
    }
  ASSERT_NE(leaf, 0);
  const int* piv = o.ORKI.at(ORKNODE(o, leaf, NLIST));
  const int npiv = ORKNODE(o, leaf, NPIV);
  auto is_piv = [&](int q) { return std::find(piv, piv + npiv, q) != piv + npiv; };
  for (int i = 0; i < A.n; ++i)
    for (int e = A.IA[i] - 1; e < A.IA[i + 1] - 1; ++e) {
      const int r = i + 1, c = A.JA[e];
      if ((r == eq && is_piv(c)) || (c == eq && is_piv(r))) A.AV[e] = r == c ? 1e-14 : 0.0;
    }
  ORKNUM n;
  const auto b = random_rhs(A.n, 1, 8);
  std::vector<double> x;
  ASSERT_EQ(ork_solve(o, n, A, b, 1, x), 0);
  const int par = ORKNODE(o, leaf, NPAR);
  EXPECT_EQ(ORKNODE(o, leaf, NPIVA), npiv - 1);
  EXPECT_EQ(ORKNODE(o, leaf, NBRDA), ORKNODE(o, leaf, NBRD) + 1);
  EXPECT_EQ(ORKNODE(o, par, NPIVA) + ORKNODE(o, par, NBRDA), ORKNODE(o, par, NPIV) + ORKNODE(o, par, NBRD) + 1);
  // The delayed row is among the parent's pivots now.
  const int* plist = o.ORKI.at(ORKNODE(o, par, NLISTA));
  EXPECT_NE(std::find(plist, plist + ORKNODE(o, par, NPIVA), eq), plist + ORKNODE(o, par, NPIVA));
  EXPECT_LT(rel_residual(A, x, b, 1), 1e-13);
  // The next factorisation starts from the plan again.
  const UpperCsr B = tet_stiffness(3, 3, 3);
  ASSERT_EQ(ork_solve(o, n, B, b, 1, x), 0);
  EXPECT_EQ(ORKNODE(o, leaf, NPIVA), npiv);
  EXPECT_LT(rel_residual(B, x, b, 1), 1e-15);
}

// Single fronts of order 255, 256 and 257, the two block widths through the
// whole path (the wide one with the update's space lent from ORKR).
TEST(OrkFact, DenseFrontsOf255To257) {
  for (int n : {255, 256, 257}) {
    const UpperCsr A = random_sparse(n, n, 0, 1.0, 3);
    ORKDATA o;
    ASSERT_TRUE(ork_analyse(o, A, 1));
    ORKNUM num;
    const auto b = random_rhs(n, 1, 5);
    std::vector<double> x;
    ASSERT_EQ(ork_solve(o, num, A, b, 1, x), 0);
    EXPECT_EQ(num.MAXFO, n);
    EXPECT_LT(rel_residual(A, x, b, 1), 1e-13) << n;
  }
}

// The same system with less and less memory: in core, factors on EXEC.WK1,
// then the stack on EXEC.WK2 too. The solution is the same each time.
TEST(OrkFact, SpillToFilesGivesSameSolution) {
  char tmpl[] = "/tmp/orkspillXXXXXX";
  const std::string dir = mkdtemp(tmpl);
  const UpperCsr A = tet_stiffness(5, 4, 4);
  ORKDATA o;
  ASSERT_TRUE(ork_analyse(o, A, 2));
  const auto b = random_rhs(A.n, 2, 6);
  std::vector<double> ref, x;
  const long full = o.ORKR.size();
  bool seen[3] = {false, false, false};
  for (long avail = full; avail > 2054 + A.n; avail = avail * 7 / 8) {
    ORKSET(o, o.ISIZ, avail);
    ossa::base::Unit u1, u2;
    ASSERT_TRUE(ossa::base::open_direct(u1, dir + "/EXEC.WK1", 8192));
    ASSERT_TRUE(ossa::base::open_direct(u2, dir + "/EXEC.WK2", 8192));
    ORKNUM n;
    const int st = ork_solve(o, n, A, b, 2, x, &u1, &u2);
    ossa::base::close_unit(u1);
    ossa::base::close_unit(u2);
    if (st != 0) {
      EXPECT_TRUE(st == ORK_FRONTBIG || st == ORK_COLBIG || st == ORK_NOSOLVE) << st;
      break;
    }
    if (avail == full) ref = x;
    EXPECT_EQ(x, ref) << avail;
    const long s1 = file_size(dir + "/EXEC.WK1"), s2 = file_size(dir + "/EXEC.WK2");
    EXPECT_EQ(s1 > 0, n.FSPILL == 1);
    EXPECT_EQ(s2 > 0, n.SSPILL == 1);
    EXPECT_EQ(s1 % 8192, 0);
    seen[n.FSPILL + n.SSPILL] = true;
  }
  EXPECT_TRUE(seen[0]);  // ample memory: both files exist and are empty
  EXPECT_TRUE(seen[1]);  // factors only: EXEC.WK2 stays empty
  EXPECT_TRUE(seen[2]);
  EXPECT_LT(rel_residual(A, ref, b, 2), 1e-15);
  std::system(("rm -rf " + dir).c_str());
}

TEST(OrkFact, StatusCodes) {
  const UpperCsr A = tet_stiffness(3, 3, 3);
  ORKDATA o;
  ORKNUM n;
  std::vector<double> x;
  const auto b = random_rhs(A.n, 1, 1);
  // No analysis: the integer area is too small.
  EXPECT_EQ(ork_solve(o, n, A, b, 1, x), ORK_RSMALL);
  ASSERT_TRUE(ork_analyse(o, A, 1));
  // A second unit without a first is inconsistent.
  ossa::base::Unit u2;
  EXPECT_EQ(ork_solve(o, n, A, b, 1, x, nullptr, &u2), ORK_UNITS);
  // Memory short with no file to spill to.
  ORKSET(o, o.ISIZ, 2054 + A.n + 3000);
  EXPECT_EQ(ork_solve(o, n, A, b, 1, x), ORK_SPILLF);
}
