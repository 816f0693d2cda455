// Dense front kernels of ORK. The trailing update is the hot loop of the whole
// factorisation: it runs over strips of four target columns, with the K by 4
// multipliers in a small buffer and a 12 by 4 block of the strip in registers
// while the pivot columns stream past; rows are taken in blocks so that the
// pivot columns' slice stays in cache across the strips.
#include "solvers/ork/orkdense.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#if defined(__AVX2__) && defined(__FMA__)
#include <immintrin.h>
#define ORK_AVX2 1
#endif

namespace ossa::solvers {

namespace {

constexpr int MAXK = 64;   // pivots per update: the multiplier buffer's room
constexpr long ROWBLK = 192;  // rows per cache block of the trailing update

// Multipliers of K pivots from J0 for the w columns S..S+w-1:
// M(k,t) = -(D^-1 applied to row S+t of the pivot columns)(k).
void build_mult(const double* F, long FO, int J0, int K, const int* KINDS, int S, int w, double* M) {
  for (int t = 0; t < w; ++t) {
    const long row = S + t;
    for (int k = 0; k < K; ++k) {
      const int j = J0 + k;
      const double* c1 = ORKCOL(F, FO, j);
      if (KINDS[j] == 2 && k + 1 < K) {
        const double* c2 = ORKCOL(F, FO, j + 1);
        const double x1 = c1[row], x2 = c2[row];
        const double i11 = c1[j], i21 = c1[j + 1], i22 = c2[j + 1];
        M[4 * k + t] = -(i11 * x1 + i21 * x2);
        M[4 * (k + 1) + t] = -(i21 * x1 + i22 * x2);
        ++k;
      } else {
        M[4 * k + t] = -c1[j] * c1[row];
      }
    }
  }
}

// Rows lo..hi-1 of the W target columns S..S+W-1: a(i,S+t) += sum_k a(i,J0+k) M(k,t).
template <int W>
void strip_rows(double* F, long FO, int J0, int K, const double* M, int S, long lo, long hi) {
  double* C[W];
  for (int t = 0; t < W; ++t) C[t] = ORKCOL(F, FO, S + t);
  const double* L0 = ORKCOL(F, FO, J0);
  const long d0 = FO - J0 - 1;  // distance from one column base to the next, shrinking by one
  long i = lo;
#ifdef ORK_AVX2
  for (; i + 12 <= hi; i += 12) {
    __m256d a[W][3];
    for (int t = 0; t < W; ++t) a[t][0] = a[t][1] = a[t][2] = _mm256_setzero_pd();
    const double* p = L0 + i;
    long d = d0;
    for (int k = 0; k < K; ++k) {
      const __m256d l0 = _mm256_loadu_pd(p), l1 = _mm256_loadu_pd(p + 4), l2 = _mm256_loadu_pd(p + 8);
      for (int t = 0; t < W; ++t) {
        const __m256d m = _mm256_broadcast_sd(M + 4 * k + t);
        a[t][0] = _mm256_fmadd_pd(l0, m, a[t][0]);
        a[t][1] = _mm256_fmadd_pd(l1, m, a[t][1]);
        a[t][2] = _mm256_fmadd_pd(l2, m, a[t][2]);
      }
      p += d;
      --d;
    }
    for (int t = 0; t < W; ++t)
      for (int r = 0; r < 3; ++r) {
        double* c = C[t] + i + 4 * r;
        _mm256_storeu_pd(c, _mm256_add_pd(_mm256_loadu_pd(c), a[t][r]));
      }
  }
  for (; i + 4 <= hi; i += 4) {
    __m256d a[W];
    for (int t = 0; t < W; ++t) a[t] = _mm256_setzero_pd();
    const double* p = L0 + i;
    long d = d0;
    for (int k = 0; k < K; ++k) {
      const __m256d l0 = _mm256_loadu_pd(p);
      for (int t = 0; t < W; ++t) a[t] = _mm256_fmadd_pd(l0, _mm256_broadcast_sd(M + 4 * k + t), a[t]);
      p += d;
      --d;
    }
    for (int t = 0; t < W; ++t) _mm256_storeu_pd(C[t] + i, _mm256_add_pd(_mm256_loadu_pd(C[t] + i), a[t]));
  }
#endif
  for (; i < hi; ++i) {
    double s[W] = {};
    const double* p = L0 + i;
    long d = d0;
    for (int k = 0; k < K; ++k) {
      for (int t = 0; t < W; ++t) s[t] += p[0] * M[4 * k + t];
      p += d;
      --d;
    }
    for (int t = 0; t < W; ++t) C[t][i] += s[t];
  }
}

void strip_dispatch(double* F, long FO, int J0, int K, const double* M, int S, int w, long lo, long hi) {
  if (lo >= hi) return;
  switch (w) {
    case 4: strip_rows<4>(F, FO, J0, K, M, S, lo, hi); break;
    case 3: strip_rows<3>(F, FO, J0, K, M, S, lo, hi); break;
    case 2: strip_rows<2>(F, FO, J0, K, M, S, lo, hi); break;
    default: strip_rows<1>(F, FO, J0, K, M, S, lo, hi); break;
  }
}

// The w by w diagonal triangle of a strip.
void strip_triangle(double* F, long FO, int J0, int K, const double* M, int S, int w) {
  const double* L0 = ORKCOL(F, FO, J0);
  for (int t = 0; t < w; ++t) {
    double* c = ORKCOL(F, FO, S + t);
    for (long i = S + t; i < S + w; ++i) {
      const double* p = L0 + i;
      long d = FO - J0 - 1;
      double s = 0.0;
      for (int k = 0; k < K; ++k) {
        s += p[0] * M[4 * k + t];
        p += d;
        --d;
      }
      c[i] += s;
    }
  }
}

// One block of at most MAXK pivots (a 2 by 2 pair is never split).
void update_block(double* F, long FO, int J0, int K, const int* KINDS, int C0) {
  double M[4 * MAXK];
  for (long r0 = C0; r0 < FO; r0 += ROWBLK) {
    const long r1 = std::min(FO, r0 + ROWBLK);
    for (int s = C0; s < r1; s += 4) {
      const int w = static_cast<int>(std::min<long>(4, FO - s));
      build_mult(F, FO, J0, K, KINDS, s, w, M);
      if (s >= r0) {
        strip_triangle(F, FO, J0, K, M, s, w);
        strip_dispatch(F, FO, J0, K, M, s, w, s + w, r1);
      } else {
        strip_dispatch(F, FO, J0, K, M, s, w, r0, r1);
      }
    }
  }
}

double colmax_below(const double* col, long from, long FO, long& at) {
  double cmax = 0.0;
  at = -1;
  for (long i = from; i < FO; ++i) {
    const double v = std::fabs(col[i]);
    if (v > cmax) { cmax = v; at = i; }
  }
  return cmax;
}

// 1 by 1 pivot at J, then the rank-one update of everything behind it.
void eliminate1(double* F, int FO, int J, int* KINDS, ORKDSTAT& ST) {
  double* c = ORKCOL(F, FO, J);
  c[J] = 1.0 / c[J];
  if (c[J] == 0.0) ++ST.NZINV;
  KINDS[J] = 1;
  ORKUPDATE(F, FO, J, 1, KINDS, J + 1);
}

// 2 by 2 pivot at J, J+1: its inverse in place, then the rank-two update.
void eliminate2(double* F, int FO, int J, int* KINDS) {
  double* c1 = ORKCOL(F, FO, J);
  double* c2 = ORKCOL(F, FO, J + 1);
  const double a11 = c1[J], a21 = c1[J + 1], a22 = c2[J + 1];
  const double det = a21 * a21 - a11 * a22;
  c1[J] = a22 / -det;
  c1[J + 1] = a21 / det;
  c2[J + 1] = a11 / -det;
  KINDS[J] = KINDS[J + 1] = 2;
  ORKUPDATE(F, FO, J, 2, KINDS, J + 2);
}

}  // namespace

void ORKUPDATE(double* F, int FO, int J0, int K, const int* KINDS, int C0) {
  if (K <= 0 || C0 >= FO) return;
  // Scan blocks bring at most MAXK pivots, 2 by 2 pivots come alone; the
  // chunking only guards the multiplier buffer.
  for (int k0 = 0; k0 < K; k0 += MAXK) update_block(F, FO, J0 + k0, std::min(MAXK, K - k0), KINDS, C0);
}

void ORKSWAP(double* F, int FO, int P, int Q, int* PIVLIST) {
  if (P == Q) return;
  if (P > Q) std::swap(P, Q);
  for (int k = 0; k < P; ++k) {
    double* c = ORKCOL(F, FO, k);
    std::swap(c[P], c[Q]);
  }
  double* cp = ORKCOL(F, FO, P);
  double* cq = ORKCOL(F, FO, Q);
  std::swap(cp[P], cq[Q]);
  for (int k = P + 1; k < Q; ++k) std::swap(cp[k], ORKCOL(F, FO, k)[Q]);
  for (int i = Q + 1; i < FO; ++i) std::swap(cp[i], cq[i]);
  std::swap(PIVLIST[P], PIVLIST[Q]);
}

int ORKSCAN(double* F, int FO, int J, int NB, double U, int* KINDS, ORKDSTAT& ST) {
  int K = 0;
  for (int c = 0; c < NB; ++c) {
    const int jc = J + c;
    double* col = ORKCOL(F, FO, jc);
    if (c > 0) {
      double M[4 * MAXK];
      build_mult(F, FO, J, c, KINDS, jc, 1, M);
      strip_triangle(F, FO, J, c, M, jc, 1);
      strip_dispatch(F, FO, J, c, M, jc, 1, jc + 1, FO);
    }
    const double diag = col[jc];
    if (diag == 0.0) break;
    double cmax = 0.0;
    long at;
    if (U > 0.0) cmax = colmax_below(col, jc + 1, FO, at);
    if (std::fabs(U * cmax) > std::fabs(diag)) break;
    col[jc] = 1.0 / diag;
    if (col[jc] == 0.0) ++ST.NZINV;
    KINDS[jc] = 1;
    ++K;
  }
  return K;
}

int ORKPIVOT(double* F, int FO, int J, int LIMIT, double U, double U2, int& R, ORKDSTAT& ST) {
  double* col = ORKCOL(F, FO, J);
  long at;
  const double cmax = colmax_below(col, J + 1, FO, at);
  const double D = std::fabs(col[J]);
  R = static_cast<int>(at);
  if (D == 0.0 && cmax == 0.0) {
    col[J] = 1.0;
    ++ST.NFORCED;
    return 1;
  }
  if (D >= cmax * U) return 1;
  if (R < 0 || R >= LIMIT) {
    R = -1;
    for (int i = J + 1; i < LIMIT; ++i)
      if (std::fabs(col[i]) >= cmax * U2) { R = i; break; }
    if (R < 0) return 0;
  }
  double rmax = 0.0;
  for (int k = J; k < R; ++k) rmax = std::max(rmax, std::fabs(ORKCOL(F, FO, k)[R]));
  const double* cr = ORKCOL(F, FO, R);
  for (int i = R + 1; i < FO; ++i) rmax = std::max(rmax, std::fabs(cr[i]));
  if (D * rmax >= cmax * cmax * U) return 1;
  if (std::fabs(cr[R]) >= cmax * U) return 2;
  return 3;
}

int ORKDENSE(double* FRONT, int NP0, int FO, int* PIVLIST, int* KINDS, double U, double U2,
             ORKDSTAT& ST) {
  const int width = FO < ORKBIGFRONT ? ORKNBSMALL : ORKNBLARGE;
  int LIMIT = NP0, J = 0;
  bool took = false;
  for (;;) {
    if (J >= LIMIT) {
      // Columns put aside may have become acceptable through the pivots since.
      if (took && LIMIT < NP0) { LIMIT = NP0; took = false; continue; }
      break;
    }
    const int NB = std::min(width, LIMIT - J);
    const int K = ORKSCAN(FRONT, FO, J, NB, U, KINDS, ST);
    if (K >= 1) {
      const int skip = K == NB ? 0 : 1;
      ORKUPDATE(FRONT, FO, J, K, KINDS, J + K + skip);
      J += K;
      took = true;
      continue;
    }
    int R = -1;
    switch (ORKPIVOT(FRONT, FO, J, LIMIT, U, U2, R, ST)) {
      case 2:
        ORKSWAP(FRONT, FO, J, R, PIVLIST);
        [[fallthrough]];
      case 1:
        eliminate1(FRONT, FO, J, KINDS, ST);
        J += 1;
        took = true;
        break;
      case 3:
        if (J == LIMIT - 1 && LIMIT < NP0) ++LIMIT;
        ORKSWAP(FRONT, FO, J + 1, R, PIVLIST);
        eliminate2(FRONT, FO, J, KINDS);
        J += 2;
        took = true;
        break;
      default:
        if (J < LIMIT - 1) ORKSWAP(FRONT, FO, J, LIMIT - 1, PIVLIST);
        --LIMIT;
        break;
    }
  }
  return J;
}

void ORKBLKFWD(const double* F, int FO, int NP, const int* KINDS, double* W, int NRHS) {
  for (int j = 0; j < NP;) {
    const double* c1 = ORKCOL(F, FO, j);
    if (KINDS[j] == 2 && j + 1 < NP) {
      const double* c2 = ORKCOL(F, FO, j + 1);
      const double i11 = c1[j], i21 = c1[j + 1], i22 = c2[j + 1];
      for (int r = 0; r < NRHS; ++r) {
        double* w = W + static_cast<long>(r) * FO;
        const double y1 = i11 * w[j] + i21 * w[j + 1], y2 = i21 * w[j] + i22 * w[j + 1];
        for (int i = j + 2; i < FO; ++i) w[i] -= c1[i] * y1 + c2[i] * y2;
      }
      j += 2;
    } else {
      for (int r = 0; r < NRHS; ++r) {
        double* w = W + static_cast<long>(r) * FO;
        const double t = w[j] * c1[j];
        for (int i = j + 1; i < FO; ++i) w[i] -= c1[i] * t;
      }
      j += 1;
    }
  }
}

void ORKBLKBWD(const double* F, int FO, int NP, const int* KINDS, double* W, int NRHS) {
  for (int j = NP - 1; j >= 0;) {
    const double* c2 = ORKCOL(F, FO, j);
    if (KINDS[j] == 2 && j >= 1) {
      const double* c1 = ORKCOL(F, FO, j - 1);
      const double i11 = c1[j - 1], i21 = c1[j], i22 = c2[j];
      for (int r = 0; r < NRHS; ++r) {
        double* w = W + static_cast<long>(r) * FO;
        double s1 = w[j - 1], s2 = w[j];
        for (int i = j + 1; i < FO; ++i) { s1 -= c1[i] * w[i]; s2 -= c2[i] * w[i]; }
        w[j - 1] = i11 * s1 + i21 * s2;
        w[j] = i21 * s1 + i22 * s2;
      }
      j -= 2;
    } else {
      for (int r = 0; r < NRHS; ++r) {
        double* w = W + static_cast<long>(r) * FO;
        double s = w[j];
        for (int i = j + 1; i < FO; ++i) s -= c2[i] * w[i];
        w[j] = c2[j] * s;
      }
      j -= 1;
    }
  }
}

}  // namespace ossa::solvers
