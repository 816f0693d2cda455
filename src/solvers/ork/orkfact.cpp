// ORK numeric factorisation. ORKR holds, from the bottom, the factor blocks
// followed by the front under work, and from HFREE downward the stack of
// contribution blocks. When the two meet, the factors go to EXEC.WK1 (the
// front then starts at position 1) and, if that is not enough, the stack
// goes to EXEC.WK2, reversed so that the last block pushed comes back first.
#include <omp.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "solvers/ork/orkdense.hpp"
#include "solvers/ork/orkfact.hpp"
#include "solvers/ork/orkmf.hpp"

namespace ossa::solvers {

namespace {

using Ctx = ORKCTX;

void reverse(double* a, long n) { std::reverse(a, a + n); }

// ---- ORKFRONT: the node's actual list: rows delayed by the children, then the plan.
int ORKFRONT(Ctx& c, int k) {
  int ndel = 0;
  for (int ch = c.node(k, NCHILD); ch != 0; ch = c.node(ch, NSIB)) ndel += c.node(ch, NBRDA) - c.node(ch, NBRD);
  const int npiv = c.node(k, NPIV), nbrd = c.node(k, NBRD);
  const long fo = static_cast<long>(ndel) + npiv + nbrd;
  if (c.ACT + fo - 1 > c.ACTEND || fo > 2147483647L) return ORK_LISTFULL;
  std::int32_t* l = c.lst(c.ACT);
  int p = 0;
  for (int ch = c.node(k, NCHILD); ch != 0; ch = c.node(ch, NSIB)) {
    const int d = c.node(ch, NBRDA) - c.node(ch, NBRD);
    const std::int32_t* from = c.lst(c.node(ch, NLISTA) + c.node(ch, NPIVA));
    for (int i = 0; i < d; ++i) l[p++] = from[i];
  }
  const std::int32_t* plan = c.o.ORKI.at(c.node(k, NLIST));
  for (int i = 0; i < npiv + nbrd; ++i) l[p++] = plan[i];
  ++c.stamp;
  for (int i = 0; i < p; ++i) {
    c.LOC[l[i] - 1] = i;
    c.STAMP[l[i] - 1] = c.stamp;
  }
  c.node(k, NLISTA) = static_cast<std::int32_t>(c.ACT);
  c.ACT += fo;
  c.FO = static_cast<int>(fo);
  c.NP0 = ndel + npiv;
  c.NDEL = ndel;
  c.list = l;
  return 0;
}

}  // namespace

int ORKSPILLF(ORKCTX& c) {
  if (c.n.FSPILL) return 0;
  if (!c.n.WK1) return ORK_SPILLF;
  if (int s = ORKPUT(*c.n.WK1, 1, c.n.FPOS - 1, c.at(1), c.n.F1, c.buf1(), 0)) return s;
  c.n.FSPILL = 1;
  c.n.FBASE = 1;
  return 0;
}

namespace {

// The whole stack to EXEC.WK2, reversed: its last block comes back first.
int spill_stack(Ctx& c) {
  if (!c.n.WK2) return ORK_SPILLS;
  const long len = c.HFREE - c.n.SBOT + 1;
  reverse(c.at(c.n.SBOT), len);
  if (int s = ORKPUT(*c.n.WK2, 1, len, c.at(c.n.SBOT), c.n.F2, c.buf2(), 0)) return s;
  c.n.STOP = len;
  c.n.SSPILL = 1;
  c.n.SBOT = c.HFREE + 1;
  return 0;
}

// Room for a front of `size` reals: factors to file first, then the stack.
int make_room(Ctx& c, long size) {
  if (c.n.SSPILL) return 0;  // nothing more to give; ORKASM tells whether it fits
  if (c.n.SBOT > c.n.FBASE + size) return 0;
  if (int s = ORKSPILLF(c)) return s;
  if (size < c.n.SBOT) return 0;
  return spill_stack(c);
}

// a(i,j) += v for local rows i, j of the front, either order.
inline void add(double* F, long FO, long i, long j, double v) {
  if (i < j) std::swap(i, j);
  ORKCOL(F, FO, j)[i] += v;
}

// Threads for moving `n` reals of a front: those of the parallel runtime
// for a large front outside the subtrees' parallel region, else one.
int asm_threads(long n) {
  constexpr long MINREALS = 1L << 20;
  return n < MINREALS || omp_in_parallel() ? 1 : omp_get_max_threads();
}

// Clears n reals, in equal pieces on the threads.
void zero(double* F, long n) {
  const int T = asm_threads(n);
#pragma omp parallel for num_threads(T) schedule(static, 1)
  for (int t = 0; t < T; ++t)
    std::memset(F + n * t / T, 0, static_cast<std::size_t>(n * (t + 1) / T - n * t / T) * sizeof(double));
}

// Adds a child's contribution block (packed order C, rows `rows`). Where its
// rows keep the parent's order, column j of the block lands in column LOC(j)
// alone, so the columns go to the threads: each entry still gets one sum.
void add_block(Ctx& c, double* F, const double* blk, int C, const std::int32_t* rows) {
  const auto column = [&](int j) {
    const long lj = c.LOC[rows[j] - 1];
    const double* b = ORKCOL(blk, C, j);
    double* col = ORKCOL(F, c.FO, lj);
    for (int i = j; i < C; ++i) {
      const long li = c.LOC[rows[i] - 1];
      if (li >= lj) col[li] += b[i];
      else add(F, c.FO, li, lj, b[i]);
    }
  };
  int T = asm_threads(ORKTRI(C));
  for (int j = 1; j < C && T > 1; ++j)
    if (c.LOC[rows[j] - 1] <= c.LOC[rows[j - 1] - 1]) T = 1;
#pragma omp parallel for num_threads(T) schedule(dynamic, 16)
  for (int j = 0; j < C; ++j) column(j);
}

// Column j of a child block that lies reversed on file at fp..fp+s-1.
void add_column(Ctx& c, double* F, const double* colv, int C, int j, const std::int32_t* rows) {
  const long lj = c.LOC[rows[j] - 1];
  for (int i = j; i < C; ++i) add(F, c.FO, c.LOC[rows[i] - 1], lj, colv[i - j]);
}

int assemble_child_from_file(Ctx& c, double* F, long room_at, long room, int ch) {
  const int C = c.node(ch, NBRDA);
  const long s = ORKTRI(C);
  const long v = c.pos(ch, NSPOS);
  const long fp = v < 0 ? -v : c.HFREE - v - s + 2;
  const std::int32_t* rows = c.lst(c.node(ch, NLISTA) + c.node(ch, NPIVA));
  double* tmp = c.at(room_at);
  if (s <= room) {
    if (int st = ORKGET(*c.n.WK2, fp, s, tmp, c.n.F2, c.buf2())) return st;
    reverse(tmp, s);
    add_block(c, F, tmp, C, rows);
  } else if (C <= room) {
    // One column at a time, the last first, as the file is read backward.
    for (int j = C - 1; j >= 0; --j) {
      const long cs = ORKCS(C, j), len = C - j;
      if (int st = ORKGET(*c.n.WK2, fp + s - cs - len, len, tmp, c.n.F2, c.buf2())) return st;
      reverse(tmp, len);
      add_column(c, F, tmp, C, j, rows);
    }
  } else {
    return ORK_COLBIG;
  }
  if (!c.node(ch, NPARK)) c.n.STOP -= s;
  return 0;
}

// Entries of K whose first planned elimination is at this node: rows of the
// new pivots with every column of the front but the delayed rows (whose
// entries came up with them), and rows of the border with new-pivot columns.
void assemble_matrix(Ctx& c, double* F) {
  const int p0 = c.NDEL, p1 = c.NP0;
  for (int p = p0; p < c.FO; ++p) {
    const int eq = c.list[p];
    const long li = p;
    const bool pivot = p < p1;
    for (std::int32_t e = c.IA[eq - 1]; e < c.IA[eq]; ++e) {
      const int col = c.JA[e - 1];
      if (c.STAMP[col - 1] != c.stamp) continue;
      const long lj = c.LOC[col - 1];
      if (lj >= p0 && (pivot || lj < p1)) add(F, c.FO, li, lj, c.AV[e - 1]);
    }
  }
}

// ---- ORKASM
int ORKASM(Ctx& c, int k) {
  const long size = ORKTRI(c.FO);
  if (c.n.FBASE + size > c.n.SBOT) return ORK_FRONTBIG;
  double* F = c.at(c.n.FBASE);
  zero(F, size);
  long popped = 0;
  for (int ch = c.node(k, NCHILD); ch != 0; ch = c.node(ch, NSIB)) {
    const int C = c.node(ch, NBRDA);
    if (C == 0) continue;
    if (c.n.SSPILL) {
      const long room_at = c.n.FBASE + size;
      if (int st = assemble_child_from_file(c, F, room_at, c.n.SBOT - room_at, ch)) return st;
    } else {
      add_block(c, F, c.at(c.pos(ch, NSPOS)), C, c.lst(c.node(ch, NLISTA) + c.node(ch, NPIVA)));
      if (!c.node(ch, NPARK)) popped += ORKTRI(C);
    }
  }
  c.n.SBOT += popped;
  assemble_matrix(c, F);
  return 0;
}

// ---- ORKPUSH: the contribution block onto the stack, or onto the file stack.
int ORKPUSH(Ctx& c, int k, double* blk, int NB) {
  const long s = ORKTRI(NB);
  if (!c.n.SSPILL) {
    c.n.SBOT -= s;
    std::memmove(c.at(c.n.SBOT), blk, static_cast<std::size_t>(s) * sizeof(double));
    c.setpos(k, NSPOS, c.n.SBOT);
    return 0;
  }
  reverse(blk, s);
  const long fp = c.n.STOP + 1;
  if (int st = ORKPUT(*c.n.WK2, fp, s, blk, c.n.F2, c.buf2(), 0)) return st;
  c.n.STOP += s;
  c.setpos(k, NSPOS, -fp);
  return 0;
}

}  // namespace

int ORKSTEP(ORKCTX& c, int k, int nsup, long& maxblk) {
  if (int s = ORKFRONT(c, k)) return s;
  if (!c.n.FSPILL) c.n.FBASE = c.n.FPOS;  // in core the front follows the factors
  if (int s = make_room(c, ORKTRI(c.FO))) return s;
  if (int s = ORKASM(c, k)) return s;
  double* F = c.at(c.n.FBASE);
  ORKDSTAT st;
  // The space between the front and the stack is free while the front is factorised.
  const long wk = c.n.FBASE + ORKTRI(c.FO);
  const int np = ORKDENSE(F, c.NP0, c.FO, c.list, c.lst(c.KIND), c.n.U, c.n.U2, st, {c.at(wk), c.n.SBOT - wk});
  const int nb = c.FO - np;
  c.node(k, NPIVA) = np;
  c.node(k, NBRDA) = nb;
  c.node(k, NKIND) = static_cast<std::int32_t>(c.KIND);
  c.node(k, NZPIV) = st.NZINV;
  c.node(k, NUPIV) = st.NFORCED;
  c.KIND += np;
  c.n.MAXFO = std::max(c.n.MAXFO, c.FO);
  if (nb != 0 && c.node(k, NPAR) == 0) return ORK_ROOTDELAY;
  if (c.n.U == 0.0 && nb != c.node(k, NBRD)) return ORK_DELAYU0;
  const long bsize = ORKTRI(c.FO) - ORKTRI(nb);
  if (c.n.FSPILL && np >= 1)
    if (int s = ORKPUT(*c.n.WK1, c.n.FPOS, bsize, F, c.n.F1, c.buf1(), k == nsup ? 1 : 0)) return s;
  c.setpos(k, NFPOS, c.n.FPOS);
  c.n.FPOS += bsize;
  maxblk = std::max(maxblk, bsize);
  if (k != nsup) return ORKPUSH(c, k, F + bsize, nb);
  return 0;
}

namespace {

// ---- ORKMF: the loop over the nodes in postorder, after the subtrees that
// the threads took, if any.
int ORKMF(Ctx& c) {
  const int nsup = c.o.ORKI(HNSUP);
  long maxblk = 0;
  std::vector<char> done(static_cast<std::size_t>(nsup) + 1, 0);
  if (int s = ORKSUBTREES(c, done, maxblk)) return s;
  for (int k = 1; k <= nsup; ++k)
    if (!done[k])
      if (int s = ORKSTEP(c, k, nsup, maxblk)) return s;
  c.n.FLEN = c.n.FSPILL ? maxblk : c.n.FPOS - 1;
  return 0;
}

}  // namespace

void ORKRESET(ORKDATA& o) {
  for (int k = 1; k <= o.ORKI(HNSUP); ++k) {
    ORKNODE(o, k, NPIVA) = ORKNODE(o, k, NPIV);
    ORKNODE(o, k, NBRDA) = ORKNODE(o, k, NBRD);
    ORKNODE(o, k, NZPIV) = ORKNODE(o, k, NUPIV) = ORKNODE(o, k, NPARK) = 0;
  }
}

namespace {

void ORKTOTALS(Ctx& c) {
  for (int k = 1; k <= c.o.ORKI(HNSUP); ++k) {
    c.n.NZINV += c.node(k, NZPIV);
    c.n.NFORCED += c.node(k, NUPIV);
  }
}

}  // namespace

int ORKFACT(ORKDATA& O, ORKNUM& N, const std::int32_t* IA, const std::int32_t* JA, const double* AV,
            base::Unit* U1, base::Unit* U2, double U) {
  N = ORKNUM{};
  N.U = U;
  N.U2 = ORKU2(U);
  if (O.ORKI.size() <= ORKHDR || !O.ORKR.allocated()) return ORK_RSMALL;
  const long neq = O.ORKI(HN), hfree = O.ORKI(HFREE), isz = O.ORKI.size();
  if (O.ORKI(HACT) < 1 || O.ORKI(HACT) > isz + 1 || hfree < 1 || O.ORKI(HBUF1) < 1 ||
      O.ORKI(HBUF2) + ORKREC - 1 > O.ORKR.size() || hfree >= O.ORKI(HBUF1))
    return ORK_RSMALL;
  if (U1 == nullptr && U2 != nullptr) return ORK_UNITS;
  N.WK1 = U1;
  N.WK2 = U2;
  Ctx c{O, N, IA, JA, AV, O.ORKR.data(), O.ORKI.at(O.ORKI(HPOS)), O.ORKI.at(O.ORKI(HPIV)), O.ORKI.at(1)};
  c.HFREE = hfree;
  c.ACT = O.ORKI(HACT);
  c.ACTEND = isz;
  c.KIND = O.ORKI(HKIND);
  N.SBOT = hfree + 1;
  // Each factorisation starts from the plan: no trace of earlier delays.
  for (long i = 0; i < neq; ++i) c.STAMP[i] = 0;
  ORKRESET(O);
  const int s = ORKMF(c);
  ORKTOTALS(c);
  return s;
}

}  // namespace ossa::solvers
