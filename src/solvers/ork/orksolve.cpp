// ORK solve: forward and backward substitution front by front over the actual
// lists, so that the solution comes out in the equations' own numbering; the
// residual check of the direct solve.
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "model/stop.hpp"
#include "solvers/ork/orkdense.hpp"
#include "solvers/ork/orkfact.hpp"
#include "solvers/ork/orkmf.hpp"

namespace ossa::solvers {

namespace {

struct Sol {
  ORKDATA& o;
  ORKNUM& n;
  int NEQ, NRHS;
  double* X;
  double* W;  // gather vector, FO entries per right-hand side
  std::int32_t& node(int k, int f) { return ORKNODE(o, k, f); }
  int fo(int k) { return node(k, NPIVA) + node(k, NBRDA); }
  const std::int32_t* list(int k) { return o.ORKI.at(node(k, NLISTA)); }
  const int* kinds(int k) { return o.ORKI.at(node(k, NKIND)); }
};

void gather(Sol& s, int k) {
  const int fo = s.fo(k);
  const std::int32_t* l = s.list(k);
  for (int r = 0; r < s.NRHS; ++r)
    for (int i = 0; i < fo; ++i) s.W[static_cast<long>(r) * fo + i] = s.X[static_cast<long>(r) * s.NEQ + l[i] - 1];
}

void scatter(Sol& s, int k, int rows) {
  const int fo = s.fo(k);
  const std::int32_t* l = s.list(k);
  for (int r = 0; r < s.NRHS; ++r)
    for (int i = 0; i < rows; ++i) s.X[static_cast<long>(r) * s.NEQ + l[i] - 1] = s.W[static_cast<long>(r) * fo + i];
}

// The node's factor block: in place, or read from EXEC.WK1 into the start of ORKR.
int block(Sol& s, int k, const double*& blk) {
  double* R = s.o.ORKR.data();
  if (!s.n.FSPILL) { blk = R + (ORKPOS(s.o, k, NFPOS) - 1); return 0; }
  const int fo = s.fo(k), nb = s.node(k, NBRDA);
  const long size = ORKTRI(fo) - ORKTRI(nb);
  blk = R;
  return ORKGET(*s.n.WK1, ORKPOS(s.o, k, NFPOS), size, R, s.n.F1, s.o.ORKR.at(s.o.ORKI(HBUF1)));
}

// Backward substitution at node k: its pivots from its front.
int backward_node(Sol& s, int k, int nsup) {
  const double* blk = s.o.ORKR.data();
  if (k != nsup) {
    gather(s, k);
    if (int st = block(s, k, blk)) return st;
  } else if (!s.n.FSPILL) {
    blk = s.o.ORKR.data() + (ORKPOS(s.o, k, NFPOS) - 1);
  }
  ORKBLKBWD(blk, s.fo(k), s.node(k, NPIVA), s.kinds(k), s.W, s.NRHS);
  scatter(s, k, s.node(k, NPIVA));
  return 0;
}

// Backward from the last node, whose W the forward pass left. A node needs
// its ancestors' pivots only, so with the factors in core the independent
// subtrees go to the threads once the nodes above them are done; each node
// is the same arithmetic wherever it runs.
int backward(Sol& s) {
  const int nsup = s.o.ORKI(HNSUP);
  const int T = omp_in_parallel() || s.n.FSPILL ? 1 : omp_get_max_threads();
  std::vector<std::vector<int>> roots;
  std::vector<int> first;
  std::vector<char> sub(static_cast<std::size_t>(nsup) + 1, 0);
  if (T > 1 && nsup >= 2 * T) {
    ORKSPLIT(s.o, T, roots, first);
    for (const auto& rs : roots)
      for (int r : rs) std::fill(sub.begin() + first[r], sub.begin() + r + 1, 1);
  }
  sub[nsup] = 0;
  for (int k = nsup; k >= 1; --k)
    if (!sub[k])
      if (int st = backward_node(s, k, nsup)) return st;
  if (roots.empty()) return 0;
  const long w = static_cast<long>(s.n.MAXFO) * s.NRHS;
#pragma omp parallel for num_threads(T) schedule(static, 1)
  for (int t = 0; t < T; ++t) {
    std::vector<double> own(static_cast<std::size_t>(w));
    Sol st{s.o, s.n, s.NEQ, s.NRHS, s.X, own.data()};
    for (int r : roots[static_cast<std::size_t>(t)])
      for (int k = r; k >= first[r]; --k)
        if (k != nsup) backward_node(st, k, nsup);
  }
  return 0;
}

}  // namespace

int ORKSOLVE(ORKDATA& O, ORKNUM& N, int NRHS, const double* F, double* X) {
  const int neq = O.ORKI(HN), nsup = O.ORKI(HNSUP);
  const long need = N.FLEN + static_cast<long>(N.MAXFO) * NRHS + 2054;
  if (NRHS < 1 || need > O.ORKR.size()) return ORK_NOSOLVE;
  std::copy(F, F + static_cast<long>(neq) * NRHS, X);
  Sol s{O, N, neq, NRHS, X, O.ORKR.data() + N.FLEN};
  for (int k = 1; k <= nsup; ++k) {
    gather(s, k);
    const double* blk = nullptr;
    if (int st = block(s, k, blk)) return st;
    ORKBLKFWD(blk, s.fo(k), s.node(k, NPIVA), s.kinds(k), s.W, NRHS);
    if (k != nsup) scatter(s, k, s.fo(k));
  }
  return backward(s);
}

double ORKRESID(int NEQ, const std::int32_t* IA, const std::int32_t* JA, const double* AV, int NRHS,
                const double* X, const double* F, double* W) {
  double r = 0.0;
  for (int c = 0; c < NRHS; ++c) {
    const double* x = X + static_cast<long>(c) * NEQ;
    const double* f = F + static_cast<long>(c) * NEQ;
    double* y = W + static_cast<long>(c) * NEQ;
    for (int i = 0; i < NEQ; ++i) {
      double s = 0.0;
      for (std::int32_t e = IA[i]; e < IA[i + 1]; ++e) s += AV[e - 1] * x[JA[e - 1] - 1];
      y[i] = s;
    }
    for (int i = 0; i < NEQ; ++i)
      for (std::int32_t e = IA[i]; e < IA[i + 1]; ++e)
        if (JA[e - 1] != i + 1) y[JA[e - 1] - 1] += AV[e - 1] * x[i];
    for (int i = 0; i < NEQ; ++i) {
      y[i] -= f[i];
      // A NaN must fail the check, so it is carried as infinity.
      r = std::max(r, std::isnan(y[i]) ? HUGE_VAL : std::fabs(y[i]));
    }
  }
  return r;
}

void SOLVE_ORK(Model& m, int NRHS, int ITER) {
  ORKDATA& o = m.ORK;
  const int neq = m.NEQ();
  ORKNUM n;
  base::Unit* u1 = m.UNIT(3) > 0 ? &m.unit(m.UNIT(3)) : nullptr;
  base::Unit* u2 = m.UNIT(4) > 0 ? &m.unit(m.UNIT(4)) : nullptr;
  int st = ORKFACT(o, n, m.IA.data(), m.JA.data(), m.AV.data(), u1, u2, ORKU);
  if (st == 0) st = ORKSOLVE(o, n, NRHS, m.RHS.data(), m.DX.data());
  // A failed factorisation shows only through the residual of a zero solution.
  if (st != 0) std::fill(m.DX.data(), m.DX.data() + static_cast<long>(neq) * NRHS, 0.0);
  o.ERRSTATE = st;
  std::vector<double> own;
  double* w = o.W.data();
  if (o.W.size() < static_cast<long>(neq) * NRHS) {
    own.resize(static_cast<std::size_t>(neq) * NRHS);
    w = own.data();
  }
  const double r = ORKRESID(neq, m.IA.data(), m.JA.data(), m.AV.data(), NRHS, m.DX.data(), m.RHS.data(), w);
  if (r > 0.1) {
    if (ITER <= 1) model::FAIL(m, "CONSTRAINT CONDITION MIGHT BE WRONG.", -4);
    model::FAIL(m, "NONLINEAR CALCULATION DISPERSE.", -9);
  }
}

}  // namespace ossa::solvers
