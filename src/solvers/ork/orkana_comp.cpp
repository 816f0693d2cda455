// ORK analysis: input checks, compression of indistinguishable variables,
// the compressed graph and the nested-dissection order.
#include <metis.h>

#include <cstdint>

#include "solvers/ork/ork.hpp"

namespace ossa::solvers {

namespace {

// Checks IA (24) and the columns of every row (25).
int checkpattern(const ORKAN& a) {
  const int n = a.N;
  if (a.IA[0] != 1) return ORK_BADIA;
  for (int i = 1; i <= n; ++i)
    if (a.IA[i] < a.IA[i - 1]) return ORK_BADIA;
  for (int i = 1; i <= n; ++i) {
    int prev = i - 1;
    for (int k = a.IA[i - 1]; k < a.IA[i]; ++k) {
      const int j = a.JA[k - 1];
      if (j <= prev || j > n) return ORK_BADJA;
      prev = j;
    }
  }
  return ORK_OK;
}

// Transpose of the strict upper half: for column j the rows i < j holding it.
void transpose(ORKAN& a) {
  const int n = a.N;
  std::int32_t* tx = a.TX;
  for (int j = 1; j <= n + 1; ++j) tx[j] = 0;
  for (int i = 1; i <= n; ++i)
    for (int k = a.IA[i - 1]; k < a.IA[i]; ++k)
      if (a.JA[k - 1] != i) ++tx[a.JA[k - 1] + 1];
  tx[1] = 1;
  for (int j = 2; j <= n + 1; ++j) tx[j] += tx[j - 1];
  std::int32_t* fill = a.EQV;  // borrowed as cursor until the compression sets it
  for (int j = 1; j <= n; ++j) fill[j] = tx[j];
  for (int i = 1; i <= n; ++i)
    for (int k = a.IA[i - 1]; k < a.IA[i]; ++k) {
      const int j = a.JA[k - 1];
      if (j != i) a.TA[fill[j]++] = i;
    }
}

// Visits the whole adjacency of equation v, v itself included.
template <class F>
void eachnbr(const ORKAN& a, int v, F&& f) {
  for (int k = a.TX[v]; k < a.TX[v + 1]; ++k) f(a.TA[k]);
  bool self = false;
  for (int k = a.IA[v - 1]; k < a.IA[v]; ++k) {
    self = self || a.JA[k - 1] == v;
    f(a.JA[k - 1]);
  }
  if (!self) f(v);
}

}  // namespace

int ORKCOMPRESS(ORKAN& a) {
  // Check the input.
  const int n = a.N;
  if (const int st = checkpattern(a); st != ORK_OK) return st;
  // PERM is cleared before the analysis: no variable is marked, so the
  // checks on marks (29) cannot fail here.
  // Allocate workspace: transpose, checksums, stamps, chain, maps.
  const long nz = a.IA[n] - 1;
  if (!a.ws.fits(7L * (n + 2) + nz + 1)) return ORK_WS26;
  a.TX = a.ws.take(n + 1);
  a.TA = a.ws.take(nz);
  a.NEXTV = a.ws.take(n);
  a.EQV = a.ws.take(n);
  std::int32_t* sum = a.ws.take(n);
  std::int32_t* stamp = a.ws.take(n);
  std::int32_t* tail = a.ws.take(n);
  transpose(a);
  // Checksums of the closed adjacency; they wrap, equality is only a filter.
  for (int v = 1; v <= n; ++v) {
    std::uint32_t s = 0;
    eachnbr(a, v, [&](int w) { s += static_cast<std::uint32_t>(w); });
    sum[v] = static_cast<std::int32_t>(s);
    stamp[v] = 0;
    a.NEXTV[v] = 0;
    tail[v] = v;
    a.EQV[v] = 1;  // standing
  }
  // Followers: an upper neighbour w with the same checksum whose every
  // neighbour is also one of v's. Equal sums of positive numbers make the
  // inclusion an equality.
  int count = n;
  for (int v = 1; v <= n; ++v) {
    if (a.EQV[v] == 0) continue;
    eachnbr(a, v, [&](int w) { stamp[w] = v; });
    for (int k = a.IA[v - 1]; k < a.IA[v]; ++k) {
      const int w = a.JA[k - 1];
      if (w == v || a.EQV[w] == 0 || sum[w] != sum[v]) continue;
      bool same = true;
      eachnbr(a, w, [&](int u) { same = same && stamp[u] == v; });
      if (!same) continue;
      a.NEXTV[tail[v]] = w;
      tail[v] = w;
      a.EQV[w] = 0;
      --count;
    }
  }
  // Number the heads and map every equation to its compressed variable.
  a.NC = count;
  if (!a.ws.fits(2L * (count + 2))) return ORK_WS4;
  a.CHEAD = a.ws.take(count);
  a.CW = a.ws.take(count);
  int c = 0;
  for (int v = 1; v <= n; ++v) {
    if (a.EQV[v] != 1) continue;  // a follower, numbered with its head
    a.CHEAD[++c] = v;
    a.CW[c] = 0;
    for (int w = v; w != 0; w = a.NEXTV[w]) {
      a.EQV[w] = -c;
      ++a.CW[c];
    }
  }
  for (int v = 1; v <= n; ++v) a.EQV[v] = -a.EQV[v];
  // Entries of the compressed graph between standing variables.
  long nnzc = 0;
  for (int c1 = 1; c1 <= count; ++c1)
    eachnbr(a, a.CHEAD[c1], [&](int w) {
      if (a.CHEAD[a.EQV[w]] == w && a.EQV[w] != c1) ++nnzc;
    });
  a.NNZC = nnzc;
  return ORK_OK;
}

int ORKADJ(ORKAN& a) {
  const int nc = a.NC;
  if (a.XADJ == nullptr) {  // the second build reuses the space of the first
    if (!a.ws.fits(nc + a.NNZC + 4)) return ORK_WS4;
    a.XADJ = a.ws.take(nc + 1);
    a.ADJ = a.ws.take(a.NNZC);
  }
  long pos = 1;
  for (int c = 1; c <= nc; ++c) {
    a.XADJ[c] = static_cast<std::int32_t>(pos);
    eachnbr(a, a.CHEAD[c], [&](int w) {
      const int u = a.EQV[w];
      if (a.CHEAD[u] == w && u != c) a.ADJ[pos++] = u;
    });
  }
  a.XADJ[nc + 1] = static_cast<std::int32_t>(pos);
  return ORK_OK;
}

int ORKORDER(ORKAN& a) {
  if (const int st = ORKADJ(a); st != ORK_OK) return st;
  const int nc = a.NC;
  if (!a.ws.fits(2L * (nc + 2))) return ORK_WS4;
  a.ORD = a.ws.take(nc);
  std::int32_t* iord = a.ws.take(nc);
  if (a.opt.METHOD == 1) {
    for (int k = 1; k <= nc; ++k) a.ORD[k] = k;
    if (a.NNZC > 0) {
      idx_t options[METIS_NOPTIONS];
      METIS_SetDefaultOptions(options);
      options[METIS_OPTION_NUMBERING] = 1;
      idx_t nv = nc;
      if (METIS_NodeND(&nv, a.XADJ + 1, a.ADJ + 1, nullptr, options, a.ORD + 1, iord + 1) !=
          METIS_OK)
        return ORK_METIS;
    }
  }
  const int st = ORKMMD(a, a.opt.METHOD == 1 ? 1 : 0);
  return st == ORK_OK ? ORKAMALG(a, a.opt.AMALG) : st;
}

}  // namespace ossa::solvers
