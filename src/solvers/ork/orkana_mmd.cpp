// ORKMMD: elimination on the quotient graph of the compressed matrix.
// Eliminated variables become elements; an element's list of variables is
// written over the space of the pivot and of the elements it absorbs, with a
// negative entry -r meaning "continue in the space of r". Lists of live
// variables only shrink, so the graph never needs more than its own space.
#include <cstdint>
#include <string>

#include "base/fmt.hpp"
#include "solvers/ork/ork.hpp"

namespace ossa::solvers {

namespace {

enum VarState : int { LIVE = 1, ELEM = 2, MERGED = 3, GONE = 4 };

struct Mmd {
  ORKAN* a = nullptr;
  int n = 0, neq = 0;
  std::int32_t *XADJ = nullptr, *ADJ = nullptr;
  std::int32_t *NV = nullptr, *ST = nullptr, *MARK = nullptr, *NODE = nullptr, *ESZ = nullptr;
  std::int32_t *DEG = nullptr, *DF = nullptr, *DB = nullptr, *INB = nullptr, *DHEAD = nullptr;
  std::int32_t *BUF = nullptr, *RG = nullptr, *ABS = nullptr, *UPD = nullptr, *UFL = nullptr;
  std::int32_t *HH = nullptr, *POS = nullptr;  // hash heads (zero between uses); place in ORD
  int tag = 0, mindeg = 0, live = 0, nupd = 0;
};

// A message for the log: one empty line, then a blank and the text.
void logmsg(Mmd& s, const std::string& text) {
  s.a->LOG.emplace_back();
  s.a->LOG.push_back(" " + text);
}

int nexttag(Mmd& s) {
  if (s.tag + s.neq >= 1000000000) {
    for (int v = 1; v <= s.n; ++v) s.MARK[v] = 0;
    s.tag = 0;
  }
  return ++s.tag;
}

// ---- degree buckets: DHEAD[d+1] heads the list of degree d ----
void bput(Mmd& s, int v, int d) {
  s.DEG[v] = d;
  s.DB[v] = 0;
  s.DF[v] = s.DHEAD[d + 1];
  if (s.DF[v] != 0) s.DB[s.DF[v]] = v;
  s.DHEAD[d + 1] = v;
  s.INB[v] = 1;
  if (d < s.mindeg) s.mindeg = d;
}

void bdel(Mmd& s, int v) {
  if (s.INB[v] == 0) return;
  const int f = s.DF[v], b = s.DB[v];
  if (b != 0) s.DF[b] = f; else s.DHEAD[s.DEG[v] + 1] = f;
  if (f != 0) s.DB[f] = b;
  s.INB[v] = 0;
}

// Walks the list of element e across its linked spaces: node(v) for each
// entry, space(r) for each space entered after the first.
template <class FN, class FS>
void walkelem(const Mmd& s, int e, FN&& node, FS&& space) {
  int r = e;
  int j = s.XADJ[r];
  while (j < s.XADJ[r + 1]) {
    const int x = s.ADJ[j];
    if (x == 0) return;
    if (x < 0) {
      r = -x;
      j = s.XADJ[r];
      space(r);
      continue;
    }
    node(x);
    ++j;
  }
}

// Writes the members BUF[1..k] over the spaces RG[1..nrg], linking them.
int writeelem(Mmd& s, int k, int nrg) {
  if (k == 0) return ORK_OK;
  int ri = 1;
  int pos = s.XADJ[s.RG[1]], lim = s.XADJ[s.RG[1] + 1] - 1;
  for (int i = 1; i <= k;) {
    if (pos < lim || (pos == lim && i == k)) {
      s.ADJ[pos++] = s.BUF[i++];
      continue;
    }
    if (ri == nrg) return ORK_WS5;  // the spaces always suffice; guard only
    const int nxt = s.RG[++ri];
    s.ADJ[lim] = -nxt;
    pos = s.XADJ[nxt];
    lim = s.XADJ[nxt + 1] - 1;
  }
  if (pos <= lim) s.ADJ[pos] = 0;
  return ORK_OK;
}

// Shortens the list of member v to what the new element p does not cover,
// then p. Returns false when nothing else is left: v then goes with p.
bool purge(Mmd& s, int v, int p, int tag) {
  const int beg = s.XADJ[v], end = s.XADJ[v + 1];
  int w = beg;
  for (int j = beg; j < end; ++j) {
    const int x = s.ADJ[j];
    if (x == 0) break;
    if (s.MARK[x] == tag || (s.ST[x] != LIVE && s.ST[x] != ELEM)) continue;
    s.ADJ[w++] = x;
  }
  if (w == beg) return false;
  s.ADJ[w++] = p;
  if (w < end) s.ADJ[w] = 0;
  return true;
}

// v joins p's chain of followers: it is eliminated with p, as one pivot.
void follow(Mmd& s, int p, int v) {
  s.ST[v] = MERGED;
  s.NV[p] += s.NV[v];
  s.NV[v] = 0;
  s.a->FNEXT[s.a->FTAIL[p]] = v;
  s.a->FTAIL[p] = s.a->FTAIL[v];
  --s.live;
}

// Marks the list of v with tag t; returns its length.
int marklist(Mmd& s, int v, int t) {
  int len = 0;
  for (int j = s.XADJ[v]; j < s.XADJ[v + 1] && s.ADJ[j] != 0; ++j, ++len) s.MARK[s.ADJ[j]] = t;
  return len;
}

bool samelist(const Mmd& s, int v, int t, int len) {
  int j = s.XADJ[v];
  for (; j < s.XADJ[v + 1] && s.ADJ[j] != 0; ++j)
    if (s.MARK[s.ADJ[j]] != t) return false;
  return j - s.XADJ[v] == len;
}

// Members of the new element whose purged lists hold the same entries have
// the same adjacency from now on: they merge, and the one that comes first
// in the given order (free mode: the first met) carries the others. Lists
// are bucketed by the sum of their entries; DF and DB are free while the
// members are out of the degree buckets.
void mergesame(Mmd& s, int k) {
  for (int i = 1; i <= k; ++i) {
    const int v = s.BUF[i];
    long sum = 0;
    for (int j = s.XADJ[v]; j < s.XADJ[v + 1] && s.ADJ[j] != 0; ++j) sum += s.ADJ[j];
    const int h = static_cast<int>(sum % s.n) + 1;
    s.DB[v] = h;
    s.DF[v] = s.HH[h];
    s.HH[h] = v;
  }
  for (int i = 1; i <= k; ++i) {
    const int head = s.HH[s.DB[s.BUF[i]]];
    s.HH[s.DB[s.BUF[i]]] = 0;
    for (int x = head; x != 0; x = s.DF[x]) {
      if (s.ST[x] != LIVE || s.DF[x] == 0) continue;
      const int t = nexttag(s), len = marklist(s, x, t);
      int r = x;
      for (int y = s.DF[x]; y != 0; y = s.DF[y]) {
        if (s.ST[y] != LIVE || !samelist(s, y, t, len)) continue;
        if (s.POS[y] < s.POS[r]) { follow(s, y, r); r = y; }
        else follow(s, r, y);
      }
    }
  }
}

void addnode(Mmd& s, int p, long bw, int nabs) {
  ORKAN& a = *s.a;
  const int k = ++a.NSUP;
  a.SPRIN[k] = p;
  a.SP[k] = s.NV[p];
  a.SB[k] = static_cast<std::int32_t>(bw);
  a.SPAR[k] = 0;
  s.NODE[p] = k;
  for (int i = 1; i <= nabs; ++i) a.SPAR[s.NODE[s.ABS[i]]] = k;
}

// Eliminates p with every variable that becomes indistinguishable from it.
int eliminate(Mmd& s, int p) {
  const int tag = nexttag(s);
  bdel(s, p);
  s.MARK[p] = tag;
  s.ST[p] = ELEM;
  --s.live;
  int nb = 0, nabs = 0, nrg = 0;
  s.RG[++nrg] = p;
  for (int j = s.XADJ[p]; j < s.XADJ[p + 1]; ++j) {
    const int x = s.ADJ[j];
    if (x == 0) break;
    if (s.MARK[x] == tag) continue;
    if (s.ST[x] == ELEM) { s.MARK[x] = tag; s.ABS[++nabs] = x; }
    else if (s.ST[x] == LIVE) { s.MARK[x] = tag; s.BUF[++nb] = x; }
  }
  for (int i = 1; i <= nabs; ++i) {
    const int e = s.ABS[i];
    s.ST[e] = GONE;
    if (s.XADJ[e + 1] > s.XADJ[e]) s.RG[++nrg] = e;
    walkelem(s, e,
             [&](int v) {
               if (s.ST[v] == LIVE && s.MARK[v] != tag) { s.MARK[v] = tag; s.BUF[++nb] = v; }
             },
             [&](int r) { s.RG[++nrg] = r; });
  }
  int keep = 0;
  long bw = 0;
  for (int i = 1; i <= nb; ++i) {
    const int v = s.BUF[i];
    bdel(s, v);
    if (!purge(s, v, p, tag)) {  // mass elimination
      follow(s, p, v);
      continue;
    }
    s.BUF[++keep] = v;
    bw += s.NV[v];
    if (s.UFL[v] == 0) { s.UFL[v] = 1; s.UPD[++s.nupd] = v; }
  }
  s.ESZ[p] = static_cast<std::int32_t>(bw);
  addnode(s, p, bw, nabs);
  const int st = writeelem(s, keep, nrg);
  mergesame(s, keep);
  return st;
}

// External degree of v: the exact weighted union, or with pruning the cheap
// bound when it is well above the minimum.
int degree(Mmd& s, int v) {
  long bound = 0;
  for (int j = s.XADJ[v]; j < s.XADJ[v + 1]; ++j) {
    const int x = s.ADJ[j];
    if (x == 0) break;
    if (s.ST[x] == ELEM) bound += s.ESZ[x] - s.NV[v];
    else if (s.ST[x] == LIVE) bound += s.NV[x];
  }
  if (s.a->opt.PRUNE == 1 && bound <= s.neq && bound >= 5L * s.mindeg) return static_cast<int>(bound);
  const int tag = nexttag(s);
  s.MARK[v] = tag;
  long d = 0;
  auto add = [&](int w) {
    if (s.ST[w] == LIVE && s.MARK[w] != tag) { s.MARK[w] = tag; d += s.NV[w]; }
  };
  for (int j = s.XADJ[v]; j < s.XADJ[v + 1]; ++j) {
    const int x = s.ADJ[j];
    if (x == 0) break;
    if (s.ST[x] == ELEM) walkelem(s, x, add, [](int) {});
    else add(x);
  }
  return static_cast<int>(d);
}

// v has no live neighbour left: it goes with the newest element of its list,
// the last entry, and the other elements of its list become children there.
bool goesout(Mmd& s, int v) {
  int p = 0, j = s.XADJ[v];
  for (; j < s.XADJ[v + 1] && s.ADJ[j] != 0; ++j) p = s.ADJ[j];
  if (p == 0 || s.ST[p] != ELEM) return false;
  ORKAN& a = *s.a;
  const int k = s.NODE[p];
  for (int i = s.XADJ[v]; i < j - 1; ++i)
    if (const int e = s.ADJ[i]; s.ST[e] == ELEM) {
      s.ST[e] = GONE;
      a.SPAR[s.NODE[e]] = k;
    }
  a.SP[k] += s.NV[v];
  a.SB[k] -= s.NV[v];
  s.ESZ[p] -= s.NV[v];
  follow(s, p, v);
  return true;
}

void updatedegrees(Mmd& s) {
  for (int i = 1; i <= s.nupd; ++i) {
    const int v = s.UPD[i];
    s.UFL[v] = 0;
    if (s.ST[v] != LIVE) continue;
    const int d = degree(s, v);
    if (d != 0 || !goesout(s, v)) bput(s, v, d);
  }
  s.nupd = 0;
}

// A pivot whose degree went negative points at a broken quotient graph; the
// order stands, so the run goes on.
void checkpivot(Mmd& s, int p) {
  if (s.DEG[p] < 0) logmsg(s, "MMD cliique? " + base::fI(p, 8) + base::fI(s.DEG[p], 8));
}

int runfree(Mmd& s) {
  while (s.live > 0) {
    while (s.mindeg <= s.neq && s.DHEAD[s.mindeg + 1] == 0) ++s.mindeg;
    if (s.mindeg > s.neq) return ORK_NOLIVE;
    const int d = s.mindeg;
    while (s.live > 0 && s.DHEAD[d + 1] != 0) {
      checkpivot(s, s.DHEAD[d + 1]);
      if (const int st = eliminate(s, s.DHEAD[d + 1]); st != ORK_OK) return st;
    }
    updatedegrees(s);
  }
  return ORK_OK;
}

// The order ran out while variables still stand: it was no permutation.
int overflow(Mmd& s, int cursor) {
  logmsg(s, "ERROR : d_ptr overflow " + base::fI(cursor, 8) + base::fI(s.n, 8) + base::fI(s.live, 8));
  std::string line;
  for (int v = 1; v <= s.n; ++v) {
    if (s.ST[v] != LIVE) continue;
    line += base::fI(v, 8);
    if (line.size() == 80) { s.a->LOG.push_back(line); line.clear(); }
  }
  if (!line.empty()) s.a->LOG.push_back(line);
  return ORK_NOLIVE;
}

int runfollow(Mmd& s) {
  int cursor = 1;
  while (s.live > 0) {
    while (cursor <= s.n && s.ST[s.a->ORD[cursor]] != LIVE) ++cursor;
    if (cursor > s.n) return overflow(s, cursor);
    checkpivot(s, s.a->ORD[cursor]);
    if (const int st = eliminate(s, s.a->ORD[cursor]); st != ORK_OK) return st;
    // The order is given: degrees would decide nothing, so none are kept.
    for (int i = 1; i <= s.nupd; ++i) s.UFL[s.UPD[i]] = 0;
    s.nupd = 0;
  }
  return ORK_OK;
}

}  // namespace

int ORKMMD(ORKAN& a, int MODE) {
  const int n = a.NC;
  if (!a.ws.fits(22L * (n + 2) + a.N + 2)) return ORK_WS4;
  Mmd s;
  s.a = &a;
  s.n = n;
  s.neq = a.N;
  s.XADJ = a.XADJ;
  s.ADJ = a.ADJ;
  a.FNEXT = a.ws.take(n);
  a.FTAIL = a.ws.take(n);
  a.SPRIN = a.ws.take(n);
  a.SP = a.ws.take(n);
  a.SB = a.ws.take(n);
  a.SPAR = a.ws.take(n);
  for (std::int32_t** p : {&s.NV, &s.ST, &s.MARK, &s.NODE, &s.ESZ, &s.DEG, &s.DF, &s.DB, &s.INB,
                           &s.BUF, &s.RG, &s.ABS, &s.UPD, &s.UFL, &s.HH, &s.POS})
    *p = a.ws.take(n);
  s.DHEAD = a.ws.take(a.N + 1);
  for (int d = 1; d <= a.N + 1; ++d) s.DHEAD[d] = 0;
  s.mindeg = a.N + 1;
  for (int v = 1; v <= n; ++v) {
    s.NV[v] = a.CW[v];
    s.ST[v] = LIVE;
    s.MARK[v] = s.NODE[v] = s.ESZ[v] = s.INB[v] = s.UFL[v] = s.HH[v] = s.POS[v] = 0;
    a.FNEXT[v] = 0;
    a.FTAIL[v] = v;
  }
  for (int v = 1; v <= n; ++v) {
    long d = 0;
    for (int j = a.XADJ[v]; j < a.XADJ[v + 1]; ++j) d += a.CW[a.ADJ[j]];
    if (MODE == 0) bput(s, v, static_cast<int>(d));
    else s.DEG[v] = static_cast<int>(d);
  }
  if (MODE == 1)
    for (int k = 1; k <= n; ++k)
      if (a.ORD[k] >= 1 && a.ORD[k] <= n) s.POS[a.ORD[k]] = k;
  s.live = n;
  a.NSUP = 0;
  return MODE == 1 ? runfollow(s) : runfree(s);
}

}  // namespace ossa::solvers
