// ORK analysis: amalgamation of small nodes, the index lists of the assembly
// tree, its postorder, and the sizes of the workspaces.
#include <algorithm>
#include <cstdint>

#include "solvers/ork/ork.hpp"

namespace ossa::solvers {

namespace {

// Children lists from the parents, each in ascending order.
void children(int ns, const std::int32_t* par, std::int32_t* fch, std::int32_t* sib) {
  for (int k = 1; k <= ns; ++k) fch[k] = sib[k] = 0;
  for (int k = ns; k >= 1; --k)
    if (par[k] != 0) { sib[k] = fch[par[k]]; fch[par[k]] = k; }
}

// Merges child c into s: c's pivots go first, c's children become s's.
void absorb(ORKAN& a, int s, int c) {
  const int pc = a.SPRIN[c], ps = a.SPRIN[s];
  a.FNEXT[a.FTAIL[pc]] = ps;
  a.FTAIL[pc] = a.FTAIL[ps];
  a.SPRIN[s] = pc;
  a.SP[s] += a.SP[c];
  int* link = &a.FCH[s];
  while (*link != c) link = &a.SIB[*link];
  *link = a.SIB[c];
  while (*link != 0) link = &a.SIB[*link];
  *link = a.FCH[c];
  for (int g = a.FCH[c]; g != 0; g = a.SIB[g]) a.SPAR[g] = s;
  a.SPAR[c] = -1;  // gone
}

// Equations of compressed variable v, in chain order.
template <class F>
void expand(const ORKAN& a, int v, F&& f) {
  for (int e = a.CHEAD[v]; e != 0; e = a.NEXTV[e]) f(e);
}

}  // namespace

int ORKAMALG(ORKAN& a, int LIMIT) {
  const int ns = a.NSUP;
  if (!a.ws.fits(4L * (ns + 2))) return ORK_WS4;
  a.FCH = a.ws.take(ns);
  a.SIB = a.ws.take(ns);
  std::int32_t* extra = a.ws.take(ns);
  std::int32_t* pnew = a.ws.take(ns);
  children(ns, a.SPAR, a.FCH, a.SIB);
  for (int k = 1; k <= ns; ++k) extra[k] = 0;
  for (int s = 1; s <= ns; ++s) {
    for (;;) {
      const long fs = static_cast<long>(a.SP[s]) + a.SB[s];
      long best = 1000000000;
      int pick = 0;
      for (int c = a.FCH[s]; c != 0; c = a.SIB[c]) {
        const long cost = (fs - a.SB[c]) * a.SP[c] + extra[c];
        if (cost < best && extra[s] + cost <= LIMIT) { best = cost; pick = c; }
      }
      if (pick == 0) break;
      extra[s] += static_cast<std::int32_t>(best);
      absorb(a, s, pick);
    }
  }
  // Renumber the nodes that remain, keeping their order.
  int nn = 0;
  a.EXTRA = 0;
  for (int k = 1; k <= ns; ++k) pnew[k] = a.SPAR[k] == -1 ? 0 : ++nn;
  for (int k = 1; k <= ns; ++k) {
    if (pnew[k] == 0) continue;
    const int j = pnew[k];
    a.SPRIN[j] = a.SPRIN[k];
    a.SP[j] = a.SP[k];
    a.SB[j] = a.SB[k];
    a.SPAR[j] = a.SPAR[k] == 0 ? 0 : pnew[a.SPAR[k]];
    a.EXTRA += extra[k];
  }
  for (int k = nn + 1; k <= ns; ++k) a.SPRIN[k] = a.SP[k] = a.SB[k] = a.SPAR[k] = 0;
  a.NSUP = nn;
  return ORK_OK;
}

int ORKTREE(ORKAN& a) {
  const int ns = a.NSUP, nc = a.NC;
  long total = 0;
  for (int k = 1; k <= ns; ++k) total += static_cast<long>(a.SP[k]) + a.SB[k];
  if (!a.ws.fits(2L * (nc + 1) + ns + 2 + total + 1)) return ORK_WS5;
  std::int32_t* elno = a.ws.take(nc);
  std::int32_t* seen = a.ws.take(nc);
  a.LSTART = a.ws.take(ns + 1);
  a.LIST = a.ws.take(total);
  children(ns, a.SPAR, a.FCH, a.SIB);
  for (int k = 1; k <= ns; ++k)
    for (int v = a.SPRIN[k]; v != 0; v = a.FNEXT[v]) elno[v] = k;
  for (int v = 1; v <= nc; ++v) seen[v] = 0;
  long pos = 1;
  bool over = false;
  auto put = [&](int u) {
    if (pos + a.CW[u] > total + 1) { over = true; return; }
    expand(a, u, [&](int e) { a.LIST[pos++] = e; });
  };
  for (int k = 1; k <= ns && !over; ++k) {
    a.LSTART[k] = static_cast<std::int32_t>(pos);
    for (int v = a.SPRIN[k]; v != 0; v = a.FNEXT[v]) { seen[v] = k; put(v); }
    for (int v = a.SPRIN[k]; v != 0; v = a.FNEXT[v])
      for (int j = a.XADJ[v]; j < a.XADJ[v + 1]; ++j) {
        const int u = a.ADJ[j];
        if (elno[u] > k && seen[u] != k) { seen[u] = k; put(u); }
      }
    for (int c = a.FCH[k]; c != 0; c = a.SIB[c])
      for (int j = a.LSTART[c] + a.SP[c]; j < a.LSTART[c + 1]; ++j) {
        const int u = a.EQV[a.LIST[j]];
        if (seen[u] != k) { seen[u] = k; put(u); }
      }
    if (!over) a.LSTART[k + 1] = static_cast<std::int32_t>(pos);
  }
  // The plan of ORKMMD and the lists must agree; a difference is a fault.
  for (int k = 1; k <= ns && !over; ++k)
    over = a.LSTART[k + 1] - a.LSTART[k] != a.SP[k] + a.SB[k];
  if (over) return ORK_WS5;
  // Each child's border in its parent's order, from the last node down.
  if (!a.ws.fits(a.N + 2)) return ORK_WS5;
  std::int32_t* lpos = a.ws.take(a.N);  // position of each equation in the parent's list
  a.MAXFO = 0;
  for (int q = ns; q >= 1; --q) {
    a.MAXFO = std::max(a.MAXFO, a.SP[q] + a.SB[q]);
    if (a.FCH[q] == 0) continue;
    for (int j = a.LSTART[q]; j < a.LSTART[q + 1]; ++j) lpos[a.LIST[j]] = j;
    for (int c = a.FCH[q]; c != 0; c = a.SIB[c])
      std::sort(a.LIST + a.LSTART[c] + a.SP[c], a.LIST + a.LSTART[c + 1],
                [&](int x, int y) { return lpos[x] < lpos[y]; });
  }
  return ORK_OK;
}

int ORKPOST(ORKAN& a) {
  const int ns = a.NSUP;
  const long llen = a.LSTART[ns + 1] - 1;
  const long plen = ORKHDR + static_cast<long>(ORKNW) * ns + llen;
  if (!a.ws.fits(4L * (ns + 1) + plen + 1)) return ORK_WS5;
  std::int32_t* stack = a.ws.take(ns);
  std::int32_t* cur = a.ws.take(ns);
  std::int32_t* order = a.ws.take(ns);
  a.PNEW = a.ws.take(ns);
  // Depth-first from each root, children first.
  int cnt = 0;
  for (int r = 1; r <= ns; ++r) {
    if (a.SPAR[r] != 0) continue;
    int sp = 0;
    stack[++sp] = r;
    cur[r] = a.FCH[r];
    while (sp > 0) {
      const int t = stack[sp];
      const int c = cur[t];
      if (c != 0) {
        cur[t] = a.SIB[c];
        stack[++sp] = c;
        cur[c] = a.FCH[c];
      } else {
        --sp;
        a.PNEW[t] = ++cnt;
        order[cnt] = t;
      }
    }
  }
  if (cnt != ns) return ORK_TREE;
  // The packed analysis: header, node table and planned lists in postorder.
  a.PACK = a.ws.take(plen);
  a.PACKLEN = plen;
  std::int32_t* pk = a.PACK;
  for (long i = 1; i <= plen; ++i) pk[i] = 0;
  pk[HN] = a.N;
  pk[HNSUP] = ns;
  pk[HTREE] = ORKHDR + 1;
  pk[HIDX] = ORKHDR + 1 + ORKNW * ns;
  pk[HCOMP] = a.NC;
  pk[HLIDX] = static_cast<std::int32_t>(llen);
  pk[HMAXFO] = a.MAXFO;
  long pos = pk[HIDX];
  for (int k = 1; k <= ns; ++k) {
    const int old = order[k];
    std::int32_t* nd = pk + pk[HTREE] + ORKNW * (k - 1);
    nd[NOLD] = old;
    nd[NPIV] = nd[NPIVA] = a.SP[old];
    nd[NBRD] = nd[NBRDA] = a.SB[old];
    nd[NPAR] = a.SPAR[old] == 0 ? 0 : a.PNEW[a.SPAR[old]];
    nd[NCHILD] = a.FCH[old] == 0 ? 0 : a.PNEW[a.FCH[old]];
    nd[NSIB] = a.SIB[old] == 0 ? 0 : a.PNEW[a.SIB[old]];
    nd[NLIST] = static_cast<std::int32_t>(pos);
    for (int j = a.LSTART[old]; j < a.LSTART[old + 1]; ++j) pk[pos++] = a.LIST[j];
  }
  return ORK_OK;
}

int ORKSYM(ORKAN& a) {
  if (const int st = ORKADJ(a); st != ORK_OK) return st;
  if (const int st = ORKTREE(a); st != ORK_OK) return st;
  return ORKPOST(a);
}

int ORKSIZE(ORKAN& a) {
  const std::int32_t* pk = a.PACK;
  const int ns = pk[HNSUP];
  long fact = 1, stack = 0, peak = 0, peak2 = 0, maxblk = 0;
  int maxfo = 0;
  double ops = 0.0;
  auto tri = [](long x) { return x * (x + 1) / 2; };
  auto node = [&](int k) { return pk + pk[HTREE] + ORKNW * (k - 1); };
  for (int k = 1; k <= ns; ++k) {
    const long p = node(k)[NPIV], b = node(k)[NBRD], fo = p + b;
    maxfo = std::max<int>(maxfo, static_cast<int>(fo));
    maxblk = std::max(maxblk, tri(p) + p * b);
    peak = std::max(peak, fact + stack + tri(fo));
    long p2 = tri(fo);
    for (int c = node(k)[NCHILD]; c != 0; c = node(c)[NSIB]) {
      const long cb = node(c)[NBRD];
      stack -= tri(cb);
      p2 = std::max(p2, tri(fo) + cb);
    }
    peak2 = std::max(peak2, p2);
    fact += tri(fo) - tri(b);
    stack += tri(b);
    for (long j = 1; j <= p; ++j) {
      const double c = static_cast<double>(p - j + b);
      ops += c * (c + 2.0);
    }
  }
  const long n = a.N, r = static_cast<long>(maxfo) * a.NRHS;
  a.SIZES[0] = a.PACKLEN + pk[HLIDX] + 3 * n;
  a.SIZES[1] = n + peak + 2054;
  a.SIZES[2] = fact + r + 2053;
  a.SIZES[3] = n + peak2 + 2054;
  a.SIZES[4] = r + maxblk + 2054;
  a.FACT = fact - 1;
  a.MAXBLK = maxblk;
  a.PEAK = peak;
  a.PEAK2 = peak2;
  a.OPS = ops;
  a.MAXFO = maxfo;
  return ORK_OK;
}

}  // namespace ossa::solvers
