// ORK analysis on random and tetrahedral-mesh patterns: the tree, the lists,
// the planned factor count against plain symbolic elimination, compression.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "solvers/ork/ork.hpp"
#include "solvers/ork/test_orkana_pat.hpp"

namespace {

using namespace ossa::solvers;
using orkpat::Pattern;

constexpr long BIGFREE = 2000000;   // words: far more than these patterns need

ORKRESULT analyse(ORKDATA& o, const Pattern& p, const ORKOPT& opt = ORKOPT{}) {
  return ORKANAP(o, BIGFREE, p.n, p.ia.data(), p.ja.data(), 1, opt);
}

// The phases by hand, on a scratch of ws.
void onscratch(ORKAN& a, std::vector<std::int32_t>& ws, const Pattern& p) {
  a.ws = ORKWS{ws.data(), static_cast<long>(ws.size())};
  a.N = p.n;
  a.IA = p.ia.data();
  a.JA = p.ja.data();
}

// Planned list of node k.
std::vector<int> nodelist(const ORKDATA& o, int k) {
  const int p = ORKNODE(o, k, NPIV), b = ORKNODE(o, k, NBRD), s = ORKNODE(o, k, NLIST);
  return std::vector<int>(o.ORKI.data() + s - 1, o.ORKI.data() + s - 1 + p + b);
}

// Lower-triangle column counts (diagonal included) of the matrix permuted to
// the order given, by plain elimination on a dense boolean matrix.
std::vector<long> symbolic(const Pattern& p, const std::vector<int>& order) {
  const int n = p.n;
  std::vector<int> pos(n + 1);
  for (int k = 0; k < n; ++k) pos[order[k]] = k;
  std::vector<std::vector<char>> g(n, std::vector<char>(n, 0));
  for (int i = 1; i <= n; ++i)
    for (int k = p.ia[i - 1]; k < p.ia[i]; ++k) {
      const int j = p.ja[k - 1];
      g[pos[i]][pos[j]] = g[pos[j]][pos[i]] = 1;
    }
  std::vector<long> cnt(n);
  std::vector<int> later;
  for (int k = 0; k < n; ++k) {
    later.clear();
    for (int j = k + 1; j < n; ++j)
      if (g[k][j]) later.push_back(j);
    cnt[k] = 1 + static_cast<long>(later.size());
    for (int a : later)
      for (int b : later) g[a][b] = 1;
  }
  return cnt;
}

// Everything a valid plan must satisfy; returns the pivot order.
std::vector<int> checkplan(const ORKDATA& o, const Pattern& p) {
  const int ns = o.ORKI(HNSUP);
  EXPECT_EQ(o.ORKI(HN), p.n);
  std::vector<int> order, size(ns + 1, 1), seen(p.n + 1, 0);
  long fact = 0, maxfo = 0;
  for (int k = 1; k <= ns; ++k) {
    const int par = ORKNODE(o, k, NPAR), np = ORKNODE(o, k, NPIV), nb = ORKNODE(o, k, NBRD);
    maxfo = std::max<long>(maxfo, np + nb);
    EXPECT_GE(np, 1);
    EXPECT_TRUE(par == 0 || par > k) << "node " << k;
    EXPECT_EQ(ORKNODE(o, k, NPIVA), np);
    EXPECT_EQ(ORKNODE(o, k, NBRDA), nb);
    const std::vector<int> l = nodelist(o, k);
    std::set<int> distinct(l.begin(), l.end());
    EXPECT_EQ(distinct.size(), l.size()) << "repeats in node " << k;
    for (int i = 0; i < np; ++i) { ++seen[l[i]]; order.push_back(l[i]); }
    // A root has no border; the border lies in the parent's list, in its order.
    EXPECT_TRUE(par != 0 || nb == 0) << "border at root " << k;
    if (par != 0) {
      const std::vector<int> pl = nodelist(o, par);
      std::size_t at = 0;
      for (int i = np; i < np + nb; ++i) {
        while (at < pl.size() && pl[at] != l[i]) ++at;
        EXPECT_LT(at, pl.size()) << "border row " << l[i] << " of node " << k;
      }
    }
    // Children: exactly the nodes naming k as parent, the subtree contiguous.
    int expect = k - 1;
    std::vector<int> kids;
    for (int c = ORKNODE(o, k, NCHILD); c != 0 && kids.size() <= static_cast<std::size_t>(ns);
         c = ORKNODE(o, c, NSIB))
      kids.push_back(c);
    for (auto it = kids.rbegin(); it != kids.rend(); ++it) {
      EXPECT_EQ(*it, expect) << "postorder at node " << k;
      EXPECT_EQ(ORKNODE(o, *it, NPAR), k);
      expect -= size[*it];
      size[k] += size[*it];
    }
    fact += static_cast<long>(np) * (np + 1) / 2 + static_cast<long>(np) * nb;
  }
  int nchild = 0;
  for (int k = 1; k <= ns; ++k) nchild += ORKNODE(o, k, NPAR) != 0;
  int listed = 0;
  for (int k = 1; k <= ns; ++k)
    for (int c = ORKNODE(o, k, NCHILD); c != 0 && listed <= ns; c = ORKNODE(o, c, NSIB)) ++listed;
  EXPECT_EQ(listed, nchild);
  for (int i = 1; i <= p.n; ++i) EXPECT_EQ(seen[i], 1) << "equation " << i;
  EXPECT_EQ(o.FACT, fact);
  EXPECT_EQ(o.MAXFO, maxfo);
  return order;
}

// The plan against plain elimination: equal fill but for amalgamation's
// zeros, and no node holding more than `limit` zeros.
void checkfill(const ORKDATA& o, const Pattern& p, int limit) {
  const std::vector<int> order = checkplan(o, p);
  if (static_cast<int>(order.size()) != p.n) return;
  const std::vector<long> cnt = symbolic(p, order);
  long nnzl = 0;
  for (long c : cnt) nnzl += c;
  EXPECT_EQ(o.FACT, nnzl + o.EXTRA);
  int col = 0;
  for (int k = 1; k <= o.ORKI(HNSUP); ++k) {
    const long np = ORKNODE(o, k, NPIV), nb = ORKNODE(o, k, NBRD);
    long real = 0;
    for (int i = 0; i < np; ++i) real += cnt[col++];
    EXPECT_LE(np * (np + 1) / 2 + np * nb - real, limit) << "node " << k;
    EXPECT_GE(np * (np + 1) / 2 + np * nb - real, 0) << "node " << k;
  }
}

// Random patterns, one equation, a diagonal of seven (a node each) and tet
// meshes, where the three translations of a node always merge and in a single
// cell the two ends of the diagonal see every node and merge as well.
TEST(OrkAnalysis, RandomAndMeshPatternsBothModes) {
  std::vector<std::pair<Pattern, int>> pats = {{orkpat::fromsets(std::vector<std::set<int>>(1)), 1},
                                                {orkpat::fromsets(std::vector<std::set<int>>(7)), 7},
                                                {orkpat::tetcube(1), 7}, {orkpat::tetcube(2), 27}, {orkpat::tetcube(3), 64}};
  for (unsigned seed = 1; seed <= 8; ++seed)
    pats.push_back({orkpat::random(20 + 10 * static_cast<int>(seed), 0.02 + 0.01 * (seed % 5), seed), -1});
  for (const auto& [p, ncomp] : pats)
    for (int method : {1, 0})
      for (int lim : {256, 0}) {
        ORKDATA o;
        ORKOPT opt;
        opt.METHOD = method;
        opt.AMALG = lim;
        ASSERT_EQ(analyse(o, p, opt).STATUS, ORK_OK);
        checkfill(o, p, lim);
        EXPECT_TRUE(lim != 0 || o.EXTRA == 0);
        EXPECT_TRUE(ncomp < 0 || o.NCOMP == ncomp) << p.n;
        EXPECT_TRUE(p.n > 7 || o.ORKI(HNSUP) == p.n);
      }
}

// Brute force: two equations merge exactly when their closed adjacencies agree.
TEST(OrkCompress, MergesExactlyTheIndistinguishable) {
  std::vector<Pattern> pats = {orkpat::tetcube(2), orkpat::random(60, 0.05, 7)};
  // Equal neighbour sums, different neighbours: the closed adjacencies of
  // 1 and 2 are {1,2,7} and {1,2,3,4}, both summing to 10.
  pats.push_back(orkpat::fromsets({{1, 6}, {2, 3}, {}, {}, {}, {}, {}}));
  // Three identical rows (a clique) with a shared neighbour.
  pats.push_back(orkpat::fromsets({{1, 2, 3}, {2, 3}, {3}, {}}));
  for (const Pattern& p : pats) {
    std::vector<std::set<int>> adj(p.n + 1);
    for (int i = 1; i <= p.n; ++i)
      for (int k = p.ia[i - 1]; k < p.ia[i]; ++k) {
        adj[i].insert(p.ja[k - 1]);
        adj[p.ja[k - 1]].insert(i);
      }
    std::vector<std::int32_t> ws(1000000);
    ORKAN a;
    onscratch(a, ws, p);
    ASSERT_EQ(ORKCOMPRESS(a), ORK_OK);
    for (int v = 1; v <= p.n; ++v)
      for (int w = v + 1; w <= p.n; ++w)
        EXPECT_EQ(a.EQV[v] == a.EQV[w], adj[v] == adj[w]) << v << " " << w;
  }
}

// A ring 1-2-4-3-1: once 4 is gone, 2 and 3 see the same two neighbours and
// merge; after 1 nothing is left to them, and they go out with 1. Two nodes,
// where a pivot each and a mass elimination at the end gave three.
TEST(OrkMmd, MergesWhatEliminationMadeIndistinguishable) {
  const Pattern p = orkpat::fromsets({{1, 2}, {3}, {3}, {}});
  std::vector<std::int32_t> ws(1000);
  ORKAN a;
  onscratch(a, ws, p);
  ASSERT_EQ(ORKCOMPRESS(a), ORK_OK);
  ASSERT_EQ(ORKADJ(a), ORK_OK);
  ASSERT_EQ(ORKMMD(a, 0), ORK_OK);
  ASSERT_EQ(a.NSUP, 2);
  EXPECT_EQ(std::vector<int>({a.SPRIN[1], a.SP[1], a.SB[1], a.SPAR[1]}), std::vector<int>({4, 1, 2, 2}));
  EXPECT_EQ(std::vector<int>({a.SPRIN[2], a.SP[2], a.SB[2], a.SPAR[2]}), std::vector<int>({1, 3, 0, 0}));
  ORKDATA o;
  ORKOPT opt;
  opt.METHOD = 0;
  opt.AMALG = 0;
  ASSERT_EQ(analyse(o, p, opt).STATUS, ORK_OK);
  EXPECT_EQ(o.NSUP, 2);
  checkfill(o, p, 0);
  // An order that misses 3: the replay runs out with 3 still standing.
  a.ws.TOP = 0;
  ASSERT_EQ(ORKCOMPRESS(a), ORK_OK);
  ASSERT_EQ(ORKADJ(a), ORK_OK);
  a.ORD = a.ws.take(4);
  for (int k = 1; k <= 4; ++k) a.ORD[k] = std::vector<int>{4, 4, 1, 2}[k - 1];
  EXPECT_EQ(ORKMMD(a, 1), ORK_NOLIVE);
}

TEST(OrkCompress, BadInput) {
  auto status = [](std::vector<std::int32_t> ia, std::vector<std::int32_t> ja) {
    ORKDATA o;
    const int n = static_cast<int>(ia.size()) - 1;
    return ORKANAP(o, BIGFREE, n, ia.data(), ja.data(), 1).STATUS;
  };
  EXPECT_EQ(status({1, 3, 2, 4}, {1, 2, 2}), ORK_BADIA);      // IA falls
  EXPECT_EQ(status({2, 3, 4}, {1, 2, 2}), ORK_BADIA);         // IA does not start at 1
  EXPECT_EQ(status({1, 3, 4}, {1, 3, 2}), ORK_BADJA);         // column past NEQ
  EXPECT_EQ(status({1, 3, 4, 5}, {2, 1, 2, 3}), ORK_BADJA);   // not ascending
  EXPECT_EQ(status({1, 2, 4, 5}, {1, 1, 2, 3}), ORK_BADJA);   // below the diagonal
  EXPECT_EQ(status({1, 3, 4}, {1, 1, 2}), ORK_BADJA);         // repeated column
  EXPECT_EQ(status({1, 2, 3}, {1, 2}), ORK_OK);
}

}  // namespace
