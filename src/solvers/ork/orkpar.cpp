// Independent subtrees of the assembly tree on the threads. The tree is cut
// below its heaviest nodes until no subtree holds more than an eighth of a
// thread's share of the work; the subtrees go to the least loaded thread,
// heaviest first, as many as fit the free part of ORKR (the rest in later
// batches, the factors going to file in between). Each thread factorises
// its subtrees in postorder inside a share sized by its planned peak, with
// maps and lists of its own. Afterwards, in thread order, the factors close
// up after those before them, the lists move to ORKI, and the subtree roots'
// contribution blocks are parked at the top of the stack, below which the
// stack of the rest of the tree grows as before. A node's arithmetic does
// not depend on where its front lies, and each parent adds its children's
// blocks in the fixed child order, so the factors are the same bits for any
// number of threads.
#include <omp.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <queue>
#include <utility>

#include "solvers/ork/orkdense.hpp"
#include "solvers/ork/orkmf.hpp"

namespace ossa::solvers {

namespace {

constexpr double SUBSHARE = 8.0;  // subtrees per thread, at least, by work

// One thread's part of the tree and its results.
struct Part {
  std::vector<int> roots;  // subtree roots, ascending
  double work = 0.0;
  long need = 0, lists = 0;  // planned peak reals and list entries
  long start = 0, len = 0;   // its share of ORKR: positions start..start+len-1
  long lc = 0;               // list room; the kinds follow from lc+1
  std::vector<std::int32_t> loc, stamp, il;
  ORKNUM n;
  long act = 1, kind = 0, maxblk = 0;
  int status = 0;
};

struct Split {
  std::vector<int> first;  // first node (postorder) of the subtree of each node
  std::vector<Part> parts;
};

// Planned multiply-adds of node k's partial factorisation, and its assembly.
double node_work(const ORKDATA& o, int k) {
  const double np = ORKNODE(o, k, NPIV), fo = np + ORKNODE(o, k, NBRD);
  return (3.0 * fo * fo * np - 3.0 * fo * np * np + np * np * np) / 6.0 + fo * (fo + 1.0) / 2.0;
}

// Roots of the subtrees: the heaviest subtree is replaced by its children
// while it holds more than total/(SUBSHARE*T) of the work.
std::vector<int> cut_tree(const ORKDATA& o, const std::vector<double>& sub, int T) {
  const int nsup = o.ORKI(HNSUP);
  std::priority_queue<std::pair<double, int>> q;
  for (int k = 1; k <= nsup; ++k)
    if (ORKNODE(o, k, NPAR) == 0) q.push({sub[k], k});
  const double limit = sub[0] / (SUBSHARE * T);
  while (!q.empty() && q.top().first > limit && ORKNODE(o, q.top().second, NCHILD) != 0) {
    const int k = q.top().second;
    q.pop();
    for (int ch = ORKNODE(o, k, NCHILD); ch != 0; ch = ORKNODE(o, ch, NSIB)) q.push({sub[ch], ch});
  }
  std::vector<int> roots;
  for (; !q.empty(); q.pop()) roots.push_back(q.top().second);
  return roots;
}

// Peak reals of a part's subtrees done in postorder, as ORKSTEP lays them out
// (factors, the front, the stack with the children's blocks), with a margin,
// and its lists.
void plan_part(const ORKDATA& o, const std::vector<int>& first, Part& p) {
  const int nsup = o.ORKI(HNSUP);
  long fac = 0, stack = 0;
  for (int r : p.roots)
    for (int k = first[r]; k <= r; ++k) {
      const long nb = ORKNODE(o, k, NBRD), fo = ORKNODE(o, k, NPIV) + nb;
      p.need = std::max(p.need, fac + ORKTRI(fo) + stack);
      for (int ch = ORKNODE(o, k, NCHILD); ch != 0; ch = ORKNODE(o, ch, NSIB)) stack -= ORKTRI(ORKNODE(o, ch, NBRD));
      fac += ORKTRI(fo) - ORKTRI(nb);
      if (k != nsup) stack += ORKTRI(nb);
      p.lists += fo;
    }
  p.need = std::max(p.need, fac + stack);
  // An eighth more for delays, and the real make_room keeps between the front and the stack.
  p.need += p.need / 8 + 1;
}

// The subtrees for T threads, heaviest first, the first node of every
// node's subtree and the work below every node.
struct Tree {
  std::vector<int> first, roots;
  std::vector<double> sub;
};

Tree cut(const ORKDATA& o, int T) {
  const int nsup = o.ORKI(HNSUP);
  Tree tr;
  tr.sub.assign(static_cast<std::size_t>(nsup) + 1, 0.0);
  std::vector<int> cnt(static_cast<std::size_t>(nsup) + 1, 1);
  tr.first.assign(static_cast<std::size_t>(nsup) + 1, 0);
  for (int k = 1; k <= nsup; ++k) {  // children come before their parent
    tr.sub[k] += node_work(o, k);
    tr.first[k] = k - cnt[k] + 1;
    const int par = ORKNODE(o, k, NPAR);
    (par != 0 ? tr.sub[par] : tr.sub[0]) += tr.sub[k];
    if (par != 0) cnt[par] += cnt[k];
  }
  tr.roots = cut_tree(o, tr.sub, T);
  std::stable_sort(tr.roots.begin(), tr.roots.end(), [&](int a, int b) { return tr.sub[a] > tr.sub[b]; });
  return tr;
}

// Gives the subtrees of `left`, heaviest first, to the least loaded of T
// parts while the parts' planned peaks together stay within `room`; the
// others stay in `left`. False when none fits.
bool fill(const ORKDATA& o, const Tree& tr, std::vector<int>& left, int T, long room, std::vector<Part>& parts) {
  parts.assign(static_cast<std::size_t>(T), Part{});
  std::vector<int> rest;
  long total = 0;
  for (int r : left) {
    Part& p = *std::min_element(parts.begin(), parts.end(), [](const Part& a, const Part& b) { return a.work < b.work; });
    Part q;
    q.roots = p.roots;
    q.roots.insert(std::upper_bound(q.roots.begin(), q.roots.end(), r), r);
    plan_part(o, tr.first, q);
    if (total - p.need + q.need > room) {
      rest.push_back(r);
      continue;
    }
    total += q.need - p.need;
    p.roots = std::move(q.roots);
    p.need = q.need;
    p.lists = q.lists;
    p.work += tr.sub[r];
  }
  const bool any = rest.size() < left.size();
  left = std::move(rest);
  return any;
}

// Shares of ORKR lo..hi in proportion to the planned peaks; false when the
// peaks together do not fit.
bool place_parts(std::vector<Part>& parts, long lo, long hi) {
  long total = 0;
  for (const Part& p : parts) total += p.need;
  const long room = hi + 1 - lo;
  if (total <= 0 || total > room) return false;
  long at = lo;
  for (Part& p : parts) {
    p.start = at;
    p.len = static_cast<long>(static_cast<double>(room) * (static_cast<double>(p.need) / static_cast<double>(total)));
    p.len = std::max(p.len, p.need);
    at += p.len;
  }
  parts.back().len = hi + 1 - parts.back().start;
  return parts.back().len >= parts.back().need;
}

// One thread: its subtrees in postorder in its own context.
void run_part(ORKCTX& c, const std::vector<int>& first, long slack, Part& p) {
  const long neq = c.o.ORKI(HN);
  const int nsup = c.o.ORKI(HNSUP);
  p.loc.assign(static_cast<std::size_t>(neq), 0);
  p.stamp.assign(static_cast<std::size_t>(neq), 0);
  p.lc = p.lists + slack;
  p.il.assign(static_cast<std::size_t>(p.lc + neq + 1), 0);
  p.n.U = c.n.U;
  p.n.U2 = c.n.U2;
  p.n.SBOT = p.len + 1;
  ORKCTX t{c.o, p.n, c.IA, c.JA, c.AV, c.at(p.start), p.loc.data(), p.stamp.data(), p.il.data()};
  t.HFREE = p.len;
  t.ACT = 1;
  t.ACTEND = p.lc;
  t.KIND = p.lc + 1;
  for (int r : p.roots)
    for (int k = first[r]; k <= r; ++k)
      if ((p.status = ORKSTEP(t, k, nsup, p.maxblk)) != 0) return;
  p.act = t.ACT;
  p.kind = t.KIND;
}

template <class F>
void each_node(const Split& s, const Part& p, F f) {
  for (int r : p.roots)
    for (int k = s.first[r]; k <= r; ++k) f(k);
}

// Moves n reals; apart, on the threads (a copy is exact: the bits stay).
void move(double* to, const double* from, long n, int T) {
  if (to == from || n <= 0) return;
  const long gap = to < from ? from - to : to - from;
  if (T <= 1 || gap < n || n < (1L << 20)) {
    std::memmove(to, from, static_cast<std::size_t>(n) * sizeof(double));
    return;
  }
#pragma omp parallel for num_threads(T) schedule(static, 1)
  for (int t = 0; t < T; ++t) {
    const long lo = n * t / T, hi = n * (t + 1) / T;
    std::memcpy(to + lo, from + lo, static_cast<std::size_t>(hi - lo) * sizeof(double));
  }
}

// The parts' factors after those before them, in ORKR or on EXEC.WK1, their
// lists to ORKI, in thread order. Returns 0 or the status of a write.
int close_up(ORKCTX& c, const Split& s) {
  const int T = static_cast<int>(s.parts.size());
  for (const Part& p : s.parts) {
    const long nf = p.n.FPOS - 1, df = c.n.FPOS - 1;
    if (!c.n.FSPILL) move(c.at(c.n.FPOS), c.at(p.start), nf, T);
    else if (int st = ORKPUT(*c.n.WK1, c.n.FPOS, nf, c.at(p.start), c.n.F1, c.buf1(), 0)) return st;
    const long na = p.act - 1, nk = p.kind - (p.lc + 1);
    std::memcpy(c.lst(c.ACT), p.il.data(), static_cast<std::size_t>(na) * sizeof(std::int32_t));
    std::memcpy(c.lst(c.KIND), p.il.data() + p.lc, static_cast<std::size_t>(nk) * sizeof(std::int32_t));
    const long da = c.ACT - 1, dk = c.KIND - (p.lc + 1);
    each_node(s, p, [&](int k) {
      c.setpos(k, NFPOS, c.pos(k, NFPOS) + df);
      c.node(k, NLISTA) = static_cast<std::int32_t>(c.node(k, NLISTA) + da);
      c.node(k, NKIND) = static_cast<std::int32_t>(c.node(k, NKIND) + dk);
    });
    c.n.FPOS += nf;
    c.ACT += na;
    c.KIND += nk;
    c.n.MAXFO = std::max(c.n.MAXFO, p.n.MAXFO);
  }
  return 0;
}

// Reals of a part's parked blocks (its roots' blocks, at the top of its share).
long blocks_of(const Part& p) { return p.len + 1 - p.n.SBOT; }
long blocks_at(const Part& p) { return p.start + p.n.SBOT - 1; }

// The subtree roots' blocks, left on the parts' stacks, parked at the top of
// ORKR in part order (the last part's are there already), and their positions.
void park(ORKCTX& c, const Split& s) {
  long off = 0;
  for (const Part& p : s.parts) {
    for (int r : p.roots) {
      c.node(r, NPARK) = 1;
      if (r != c.o.ORKI(HNSUP)) c.setpos(r, NSPOS, c.pos(r, NSPOS) - p.n.SBOT + c.n.SBOT + off);
    }
    off += blocks_of(p);
  }
}

// Where every part's blocks go when parked; whether they can move there
// directly, upward, from the last part down, before the factors close up:
// none may land on a later part's factors.
bool direct(const Split& s, long sbot, std::vector<long>& to) {
  const std::size_t T = s.parts.size();
  to.assign(T, sbot);
  for (std::size_t t = 1; t < T; ++t) to[t] = to[t - 1] + blocks_of(s.parts[t - 1]);
  long facs = 0;  // the highest factor position of the later parts
  for (std::size_t t = T; t-- > 0;) {
    const Part& p = s.parts[t];
    if (t + 1 < T && (to[t] < blocks_at(p) || to[t] <= facs)) return false;
    facs = std::max(facs, p.start + p.n.FPOS - 2);
  }
  return true;
}

// Merges the parts into the main context, their roots' blocks parked below
// hi: 1 when the lists do not fit (nothing moved), else 0 or the status of
// a write. Where the blocks cannot move directly they pass through a copy.
int merge(ORKCTX& c, const Split& s, long hi) {
  long acts = 0, total = 0;
  for (const Part& p : s.parts) acts += p.act - 1, total += blocks_of(p);
  if (c.ACT + acts - 1 > c.ACTEND) return 1;
  const int T = static_cast<int>(s.parts.size());
  const long sbot = hi + 1 - total;
  std::vector<long> to;
  int st = 0;
  if (direct(s, sbot, to)) {
    for (int t = T - 1; t-- > 0;) {
      const Part& p = s.parts[static_cast<std::size_t>(t)];
      move(c.at(to[static_cast<std::size_t>(t)]), c.at(blocks_at(p)), blocks_of(p), T);
    }
    st = close_up(c, s);
  } else {
    std::vector<double> blocks;
    blocks.reserve(static_cast<std::size_t>(total));
    for (const Part& p : s.parts) blocks.insert(blocks.end(), c.at(blocks_at(p)), c.at(p.start + p.len));
    st = close_up(c, s);
    std::copy(blocks.begin(), blocks.end(), c.at(sbot));
  }
  c.n.SBOT = sbot;
  park(c, s);
  return st;
}

// A batch's nodes back to the plan, after it failed.
void replan(ORKCTX& c, const Split& s) {
  for (const Part& p : s.parts)
    each_node(s, p, [&](int k) {
      c.node(k, NPIVA) = c.node(k, NPIV);
      c.node(k, NBRDA) = c.node(k, NBRD);
      c.node(k, NZPIV) = c.node(k, NUPIV) = c.node(k, NPARK) = 0;
    });
}

// One batch of subtrees on the threads in ORKR lo..hi, merged: 0, 1 when it
// failed and left everything as before, or the status of a write.
int run_batch(ORKCTX& c, Split& s, int T, long lo, long hi, std::vector<char>& done, long& maxblk) {
  if (!place_parts(s.parts, lo, hi)) return 1;
  // Room for lists lengthened by delays: what the plan leaves in ORKI.
  const long slack = std::clamp<long>(c.ACTEND - c.ACT + 1 - c.o.ORKI(HLIDX), 0, c.o.ORKI(HN));
#pragma omp parallel for num_threads(T) schedule(static, 1)
  for (int t = 0; t < T; ++t) run_part(c, s.first, slack, s.parts[static_cast<std::size_t>(t)]);
  bool ok = true;
  for (const Part& p : s.parts) ok = ok && p.status == 0;
  const int st = ok ? merge(c, s, hi) : 1;
  if (st == 1) replan(c, s);
  if (st != 0) return st;
  for (const Part& p : s.parts) {
    c.n.NSUBT += static_cast<int>(p.roots.size());
    maxblk = std::max(maxblk, p.maxblk);
    each_node(s, p, [&](int k) { done[static_cast<std::size_t>(k)] = 1; });
  }
  return 0;
}

}  // namespace

void ORKSPLIT(const ORKDATA& o, int T, std::vector<std::vector<int>>& roots, std::vector<int>& first) {
  Tree tr = cut(o, T);
  std::vector<Part> parts;
  fill(o, tr, tr.roots, T, std::numeric_limits<long>::max(), parts);
  roots.clear();
  for (Part& p : parts) roots.push_back(std::move(p.roots));
  first = std::move(tr.first);
}

int ORKSUBTREES(ORKCTX& c, std::vector<char>& done, long& maxblk) {
  const int T = omp_in_parallel() ? 1 : omp_get_max_threads();
  const int nsup = c.o.ORKI(HNSUP);
  if (T <= 1 || nsup < 2 * T || c.n.FSPILL || c.n.SSPILL) return 0;
  Tree tr = cut(c.o, T);
  std::vector<int> left = tr.roots;
  // Batches of the subtrees that fit the room left; between them the factors
  // go to EXEC.WK1, and the fronts start again at position 1.
  while (!left.empty()) {
    Split s{tr.first, {}};
    const long lo = c.n.FSPILL ? 1 : c.n.FPOS, hi = c.n.SBOT - 1;
    if (!fill(c.o, tr, left, T, hi + 1 - lo, s.parts)) return 0;
    const int st = run_batch(c, s, T, lo, hi, done, maxblk);
    if (st == 1) return 0;
    if (st != 0) return st;
    if (!left.empty() && ORKSPILLF(c) != 0) return 0;
  }
  return 0;
}

}  // namespace ossa::solvers
