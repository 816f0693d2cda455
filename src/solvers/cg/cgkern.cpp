// Sparse kernels of the CG solver. Rows run over positions k0 (the diagonal)
// to k1 (one past the row's end), zero-based; stored columns are one-based.
// Every kernel is a single streaming pass over JA and one value array; the
// inner loops keep several accumulators so that the indexed loads overlap.
#include "solvers/cg/cgkern.hpp"

#include <omp.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "solvers/cg/cg.hpp"

namespace ossa::solvers {

namespace {

// sum over positions k of V(ja(k)) * A(k), four accumulators.
inline double rowdot(const double* __restrict A, const double* __restrict V,
                     const int* __restrict ja, int k, int k1) {
  double t0 = 0.0, t1 = 0.0, t2 = 0.0, t3 = 0.0;
  for (; k + 3 < k1; k += 4) {
    t0 += A[k] * V[ja[k] - 1];
    t1 += A[k + 1] * V[ja[k + 1] - 1];
    t2 += A[k + 2] * V[ja[k + 2] - 1];
    t3 += A[k + 3] * V[ja[k + 3] - 1];
  }
  for (; k < k1; ++k) t0 += A[k] * V[ja[k] - 1];
  return (t0 + t1) + (t2 + t3);
}

// Y(ja(k)) += s * A(k) over positions k; the columns of a row are distinct.
inline void rowaxpy(double* __restrict Y, const double* __restrict A, double s,
                    const int* __restrict ja, int k, int k1) {
  for (; k + 3 < k1; k += 4) {
    Y[ja[k] - 1] += s * A[k];
    Y[ja[k + 1] - 1] += s * A[k + 1];
    Y[ja[k + 2] - 1] += s * A[k + 2];
    Y[ja[k + 3] - 1] += s * A[k + 3];
  }
  for (; k < k1; ++k) Y[ja[k] - 1] += s * A[k];
}

}  // namespace

void CGSPMV(double* Y, const double* AV, const double* V, int NEQ, const int* IA, const int* JA) {
  for (int i = 0; i < NEQ; ++i) {
    const int k0 = IA[i] - 1, k1 = IA[i + 1] - 1;
    Y[i] = rowdot(AV, V, JA, k0, k1);
    rowaxpy(Y, AV, V[i], JA, k0 + 1, k1);
  }
}

void CGPRESOLVE(const double* DINV, const double* LV, double* V, double* W, int NEQ,
                const int* IA, const int* JA) {
  for (int i = 0; i < NEQ; ++i) {
    const int k0 = IA[i] - 1, k1 = IA[i + 1] - 1;
    V[i] = (V[i] - rowdot(LV, V, JA, k0 + 1, k1)) * DINV[i];
  }
  for (int i = 0; i < NEQ; ++i) W[i] = 0.0;
  for (int i = NEQ - 1; i >= 1; --i) {
    rowaxpy(W, LV, V[i], JA, IA[i], IA[i + 1] - 1);
    V[i - 1] -= DINV[i - 1] * W[i - 1];
  }
}

namespace {

// A group of G rows from row s: the diagonal position of each row and the
// columns they share (the first row's). Row r's value at shared position k
// is A[kd[r] + 1 + k]; its entry j beyond them, column s + j, follows.
template <int G>
struct Grp {
  int kd[G];
  int np;
  const int* ja;
  Grp(const int* IA, const int* JA, int s) : np(IA[s + 1] - 1 - IA[s]), ja(JA + IA[s]) {
    for (int r = 0; r < G; ++r) kd[r] = IA[s + r] - 1;
  }
  int own(int r, int j) const { return kd[r] + 1 + np + j; }
};

// The passes skip the columns of all but the first row of a group, and the
// backward sweep runs down the arrays: neither is a stream the hardware
// fetches ahead by itself. Each group asks for the entries AHEAD positions
// further on (down for the backward sweep) into the first-level cache; the
// guard keeps the addresses inside the arrays.
constexpr int AHEAD = 256;

template <int G>
void fetch(const double* A, const int* JA, const Grp<G>& g, int dir, long nz) {
  const long k = g.kd[0] + static_cast<long>(dir) * AHEAD;
  if (k < 0 || k + 48 * G > nz) return;
  for (int b = 0; b < 24 * G; b += 8) {
    __builtin_prefetch(A + k + b, 0, 3);
    __builtin_prefetch(JA + k + 2 * b, 0, 3);
  }
}

// Independent accumulators per row: enough to cover the latency of the adds.
template <int G>
constexpr int UNROLL = G == 1 ? 4 : 2;

template <int G>
void sumacc(double (&t)[G], const double (&acc)[UNROLL<G>][G]) {
  for (int r = 0; r < G; ++r) {
    t[r] = 0.0;
    for (int u = 0; u < UNROLL<G>; ++u) t[r] += acc[u][r];
  }
}

// t(r) = sum over the shared columns c of A(r,c) V(c).
template <int G>
void gdot(double (&t)[G], const double* __restrict A, const Grp<G>& g,
          const double* __restrict V) {
  constexpr int U = UNROLL<G>;
  double acc[U][G] = {};
  int k = 0;
  for (; k + U - 1 < g.np; k += U)
    for (int u = 0; u < U; ++u) {
      const double v = V[g.ja[k + u] - 1];
      for (int r = 0; r < G; ++r) acc[u][r] += A[g.kd[r] + 1 + k + u] * v;
    }
  for (; k < g.np; ++k) {
    const double v = V[g.ja[k] - 1];
    for (int r = 0; r < G; ++r) acc[0][r] += A[g.kd[r] + 1 + k] * v;
  }
  sumacc(t, acc);
}

// gdot, and Y(c) += sum_r S(r) A(r,c) over the shared columns c >= LO (the
// rest are another thread's rows, added later in the same order).
template <int G>
void gdotaxpy(double (&t)[G], double* __restrict Y, const double* __restrict A, const Grp<G>& g,
              const double* __restrict V, const double (&S)[G], int LO) {
  constexpr int U = UNROLL<G>;
  double acc[U][G] = {};
  int k = 0;
  for (; k + U - 1 < g.np; k += U)
    for (int u = 0; u < U; ++u) {
      const int c = g.ja[k + u] - 1;
      const double v = V[c];
      double y = 0.0;
      for (int r = 0; r < G; ++r) {
        const double a = A[g.kd[r] + 1 + k + u];
        acc[u][r] += a * v;
        y += S[r] * a;
      }
      if (c >= LO) Y[c] += y;
    }
  for (; k < g.np; ++k) {
    const int c = g.ja[k] - 1;
    const double v = V[c];
    double y = 0.0;
    for (int r = 0; r < G; ++r) {
      const double a = A[g.kd[r] + 1 + k];
      acc[0][r] += a * v;
      y += S[r] * a;
    }
    if (c >= LO) Y[c] += y;
  }
  sumacc(t, acc);
}

// Y(c) += sum_r S(r) A(r,c) over the shared columns.
template <int G>
void gaxpy(double* __restrict Y, const double* __restrict A, const Grp<G>& g,
           const double (&S)[G]) {
  for (int k = 0; k < g.np; ++k) {
    double y = 0.0;
    for (int r = 0; r < G; ++r) y += S[r] * A[g.kd[r] + 1 + k];
    Y[g.ja[k] - 1] += y;
  }
}

template <int G>
double gproduct(double* __restrict q, double* __restrict p, double beta, int first,
                const double* AV, const int* IA, const int* JA, int s, long nz, int lo = 0) {
  const Grp<G> g(IA, JA, s);
  fetch(AV, JA, g, 1, nz);
  double pr[G], t[G], qa[G] = {};
  for (int r = 0; r < G; ++r) {
    pr[r] = first == 1 ? p[s + r] : q[s + r] + beta * p[s + r];
    if (first != 1) p[s + r] = pr[r];
  }
  gdotaxpy(t, q, AV, g, p, pr, lo);
  for (int r = 1; r < G; ++r)
    for (int j = 0; j < r; ++j) {
      const double a = AV[g.own(r, j)];
      t[r] += a * pr[j];
      qa[j] += pr[r] * a;
    }
  double pq = 0.0;
  for (int r = 0; r < G; ++r) {
    const double d = AV[g.kd[r]] * pr[r];
    q[s + r] = d + t[r] + qa[r];
    pq += pr[r] * (d + 2.0 * t[r]);
  }
  return pq;
}

template <int G>
double gupdfwd(double* __restrict x, double* __restrict R, const double* __restrict P,
               double* __restrict qz, double* __restrict W, double alpha, const double* DINV,
               const double* LV, const int* IA, const int* JA, int s, long nz) {
  const Grp<G> g(IA, JA, s);
  fetch(LV, JA, g, 1, nz);
  double rv[G], t[G], z[G], rr = 0.0;
  for (int r = 0; r < G; ++r) {
    x[s + r] += alpha * P[s + r];
    rv[r] = R[s + r] - alpha * qz[s + r];
    R[s + r] = rv[r];
    rr += rv[r] * rv[r];
    W[s + r] = 0.0;
  }
  gdot(t, LV, g, qz);
  for (int r = 0; r < G; ++r) {
    double sum = t[r];
    for (int j = 0; j < r; ++j) sum += LV[g.own(r, j)] * z[j];
    z[r] = (rv[r] - sum) * DINV[s + r];
    qz[s + r] = z[r];
  }
  return rr;
}

// Rows s..s+G-1 in the backward sweep; z(s+G-1) is final on entry, and
// z(s-1) is on return. Returns the part of z.r finished here.

template <int G>
double gbwd(double* __restrict Z, double* __restrict W, const double* R, const double* DINV,
            const double* LV, const int* IA, const int* JA, int s) {
  const Grp<G> g(IA, JA, s);
  fetch(LV, JA, g, -1, static_cast<long>(IA[s + G]) - 1);
  double z[G], rz = 0.0;
  z[G - 1] = Z[s + G - 1];
  for (int r = G - 1; r >= 1; --r) {
    for (int j = 0; j < r; ++j) W[s + j] += LV[g.own(r, j)] * z[r];
    z[r - 1] = Z[s + r - 1] - DINV[s + r - 1] * W[s + r - 1];
    Z[s + r - 1] = z[r - 1];
    rz += z[r - 1] * R[s + r - 1];
  }
  gaxpy(W, LV, g, z);
  if (s >= 1) {
    Z[s - 1] -= DINV[s - 1] * W[s - 1];
    rz += Z[s - 1] * R[s - 1];
  }
  return rz;
}

// Whether row u+1 holds the columns of row u followed by u itself.
bool extends(const int* IA, const int* JA, int u) {
  const int a0 = IA[u], a1 = IA[u + 1] - 1, b0 = IA[u + 1], b1 = IA[u + 2] - 1;
  if (b1 - b0 != a1 - a0 + 1 || JA[b1 - 1] != u + 1) return false;
  for (int k = 0; k < a1 - a0; ++k)
    if (JA[a0 + k] != JA[b0 + k]) return false;
  return true;
}

// Size of the group that starts at row i; anything unexpected counts as one
// row, which is always a correct way to take it.
int gstart(const int* GRP, int i) { return GRP[i] == 2 || GRP[i] == 3 ? GRP[i] : 1; }

}  // namespace

int CGGROUP(int* GRP, int NEQ, const int* IA, const int* JA) {
  int ng = 0;
  for (int s = 0; s < NEQ; ++ng) {
    int g = 1;
    while (g < CGMAXGRP && s + g < NEQ && extends(IA, JA, s + g - 1)) ++g;
    GRP[s] = g;
    for (int j = 1; j < g; ++j) GRP[s + j] = -j;
    s += g;
  }
  return ng;
}

double CGPSPMV(double* QZ, double* P, double BETA, int FIRST, const double* AV, int NEQ,
               const int* IA, const int* JA, const int* GRP) {
  const long nz = NEQ > 0 ? IA[NEQ] - 1 : 0;
  double pq = 0.0;
  for (int i = 0; i < NEQ;) {
    const int g = gstart(GRP, i);
    if (g == 3) pq += gproduct<3>(QZ, P, BETA, FIRST, AV, IA, JA, i, nz);
    else if (g == 2) pq += gproduct<2>(QZ, P, BETA, FIRST, AV, IA, JA, i, nz);
    else pq += gproduct<1>(QZ, P, BETA, FIRST, AV, IA, JA, i, nz);
    i += g;
  }
  return pq;
}

double CGUPDFWD(double* X, double* R, const double* P, double* QZ, double* W, double ALPHA,
                const double* DINV, const double* LV, int NEQ, const int* IA, const int* JA,
                const int* GRP) {
  const long nz = NEQ > 0 ? IA[NEQ] - 1 : 0;
  double rr = 0.0;
  for (int i = 0; i < NEQ;) {
    const int g = gstart(GRP, i);
    if (g == 3) rr += gupdfwd<3>(X, R, P, QZ, W, ALPHA, DINV, LV, IA, JA, i, nz);
    else if (g == 2) rr += gupdfwd<2>(X, R, P, QZ, W, ALPHA, DINV, LV, IA, JA, i, nz);
    else rr += gupdfwd<1>(X, R, P, QZ, W, ALPHA, DINV, LV, IA, JA, i, nz);
    i += g;
  }
  return rr;
}

double CGBWDDOT(double* Z, double* W, const double* R, const double* DINV, const double* LV,
                int NEQ, const int* IA, const int* JA, const int* GRP) {
  if (NEQ < 1) return 0.0;
  double rz = Z[NEQ - 1] * R[NEQ - 1];
  for (int e = NEQ - 1; e >= 0;) {
    // The group that ends at row e, taken row by row unless its marks agree.
    int g = GRP[e] < 0 ? 1 - GRP[e] : 1;
    if (g > CGMAXGRP || e - g + 1 < 0 || GRP[e - g + 1] != g) g = 1;
    const int s = e - g + 1;
    if (g == 3) rz += gbwd<3>(Z, W, R, DINV, LV, IA, JA, s);
    else if (g == 2) rz += gbwd<2>(Z, W, R, DINV, LV, IA, JA, s);
    else rz += gbwd<1>(Z, W, R, DINV, LV, IA, JA, s);
    e = s - 1;
  }
  return rz;
}

namespace {

// The group of rows that starts at S: its size and its shared columns.
struct Span {
  int g, np;
};
Span span(const int* GRP, const int* IA, int s) { return {gstart(GRP, s), IA[s + 1] - 1 - IA[s]}; }

// One product term of another block's group, formed as gdotaxpy forms it.
double deferred(const double* P, const double* AV, const int* IA, const int* GRP, int s, int k) {
  double y = 0.0;
  for (int r = 0; r < gstart(GRP, s); ++r) y += P[s + r] * AV[IA[s + r] + k];
  return y;
}

}  // namespace

CGPLAN CGPLANMAKE(int NB, int NEQ, const int* IA, const int* JA, const int* GRP) {
  CGPLAN PL;
  const long nz = NEQ > 0 ? IA[NEQ] - 1 : 0;
  PL.lo.assign(1, 0);
  for (int s = 0, b = 1; s < NEQ; s += gstart(GRP, s))
    if (b < NB && IA[s] - 1 >= nz * b / NB) {
      PL.lo.push_back(s);
      ++b;
    }
  PL.lo.push_back(NEQ);
  PL.nb = static_cast<int>(PL.lo.size()) - 1;
  // The terms of later blocks in each row, by row, in ascending group order.
  PL.dptr.assign(NEQ + 1, 0);
  auto walk = [&](auto&& take) {
    for (int b = 1; b < PL.nb; ++b)
      for (int s = PL.lo[b]; s < PL.lo[b + 1]; s += gstart(GRP, s))
        for (int k = 0, np = span(GRP, IA, s).np; k < np && JA[IA[s] + k] - 1 < PL.lo[b]; ++k)
          take(JA[IA[s] + k] - 1, s, k);
  };
  walk([&](int c, int, int) { ++PL.dptr[c + 1]; });
  for (int i = 0; i < NEQ; ++i) PL.dptr[i + 1] += PL.dptr[i];
  PL.dsrc.resize(PL.dptr[NEQ]);
  PL.dpos.resize(PL.dptr[NEQ]);
  std::vector<int> fill(PL.dptr.begin(), PL.dptr.end() - 1);
  walk([&](int c, int s, int k) {
    PL.dsrc[fill[c]] = s;
    PL.dpos[fill[c]++] = k;
  });
  return PL;
}

double CGPSPMVPAR(double* QZ, double* P, double BETA, int FIRST, const double* AV, int NEQ,
                  const int* IA, const int* JA, const int* GRP, const CGPLAN& PL, double* PQV) {
  if (PL.nb < 2) return CGPSPMV(QZ, P, BETA, FIRST, AV, NEQ, IA, JA, GRP);
  const long nz = NEQ > 0 ? IA[NEQ] - 1 : 0;
#pragma omp parallel num_threads(PL.nb)
  {
    // p first everywhere: a block's rows read p of the blocks before it.
    if (FIRST != 1) {
#pragma omp for schedule(static)
      for (int i = 0; i < NEQ; ++i) P[i] = QZ[i] + BETA * P[i];
    }
#pragma omp for schedule(static, 1)
    for (int b = 0; b < PL.nb; ++b)
      for (int i = PL.lo[b]; i < PL.lo[b + 1];) {
        const int g = gstart(GRP, i);
        if (g == 3) PQV[i] = gproduct<3>(QZ, P, 0.0, 1, AV, IA, JA, i, nz, PL.lo[b]);
        else if (g == 2) PQV[i] = gproduct<2>(QZ, P, 0.0, 1, AV, IA, JA, i, nz, PL.lo[b]);
        else PQV[i] = gproduct<1>(QZ, P, 0.0, 1, AV, IA, JA, i, nz, PL.lo[b]);
        i += g;
      }
    // Then the terms of later blocks, in the order one thread adds them.
#pragma omp for schedule(static, 1)
    for (int b = 0; b < PL.nb; ++b)
      for (int c = PL.lo[b]; c < PL.lo[b + 1]; ++c)
        for (int e = PL.dptr[c]; e < PL.dptr[c + 1]; ++e)
          QZ[c] += deferred(P, AV, IA, GRP, PL.dsrc[e], PL.dpos[e]);
  }
  double pq = 0.0;
  for (int i = 0; i < NEQ; i += gstart(GRP, i)) pq += PQV[i];
  return pq;
}

namespace {

// Processors not running anything else now: the cores less the tasks the
// kernel counts as runnable besides this one (all cores where it cannot
// tell). The CG's passes meet at a barrier several times an iteration; on
// a machine with more runnable tasks than cores each meeting waits for a
// thread that is not scheduled, which made a job on two threads three times
// slower than on one. The answer changes the speed alone, never the bits.
int idle_cores(int cores) {
  int run = 0, all = 0;
  if (std::FILE* f = std::fopen("/proc/loadavg", "r")) {
    if (std::fscanf(f, "%*f %*f %*f %d/%d", &run, &all) != 2) run = 0;
    std::fclose(f);
  }
  return run > 0 ? cores - (run - 1) : cores;
}

}  // namespace

int CGBLOCKS(const model::Model& m, int NEQ) {
  const int most = m.NTHREAD > 0 ? m.NTHREAD : omp_get_max_threads();
  const int nb = std::min(most, NEQ / CGROWSPERTHREAD);
  return nb > 1 ? std::max(1, std::min(nb, idle_cores(omp_get_num_procs()))) : 1;
}

namespace {

// The sum over the fixed chunks of 0..N-1 of term(i), on NB threads: each
// chunk summed in order, then the chunks' sums in order, so the result does
// not depend on NB.
template <class Term>
double chunked_sum(int N, int NB, Term term) {
  const int nc = (N + CGCHUNK - 1) / CGCHUNK;
  std::vector<double> part(nc);
#pragma omp parallel for schedule(static) num_threads(NB) if (NB > 1)
  for (int c = 0; c < nc; ++c) {
    double s = 0.0;
    for (int i = c * CGCHUNK, e = std::min(N, i + CGCHUNK); i < e; ++i) s += term(i);
    part[c] = s;
  }
  double s = 0.0;
  for (double v : part) s += v;
  return s;
}

}  // namespace

double CGDOTPAR(const double* A, const double* B, int N, int NB) {
  return chunked_sum(N, NB, [&](int i) { return A[i] * B[i]; });
}

double CGUPDPAR(double* X, double* R, const double* P, const double* Q, double ALPHA, int N, int NB) {
  return chunked_sum(N, NB, [&](int i) {
    X[i] += ALPHA * P[i];
    R[i] -= ALPHA * Q[i];
    return R[i] * R[i];
  });
}

void CGXPBYPAR(double* P, const double* Z, double BETA, int N, int NB) {
#pragma omp parallel for schedule(static) num_threads(NB) if (NB > 1)
  for (int i = 0; i < N; ++i) P[i] = Z[i] + BETA * P[i];
}

}  // namespace ossa::solvers
