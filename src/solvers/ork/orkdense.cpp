// Dense front kernels of ORK. The trailing update is the hot loop of the whole
// factorisation. It runs over strips of four target columns with a 12 by 4
// block of the strip in registers. For a handful of pivots the pivot columns
// are read where they lie; for a block of more, they are first copied, a slice
// of rows at a time, into panels of 12 rows laid out pivot after pivot, and
// the multipliers into panels of 4 columns, so that the register block reads
// two contiguous streams, like the inner kernel of a matrix product. In wide
// fronts the update of the far columns waits for up to four accepted blocks
// of 64 pivots, so that the trailing triangle, which lies in main memory,
// passes through the processor once for all of them; narrow fronts gather
// sixteen blocks of four in the same way.
#include "solvers/ork/orkdense.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include <omp.h>

#if defined(__AVX2__) && defined(__FMA__)
#include <immintrin.h>
#define ORK_AVX2 1
#endif

namespace ossa::solvers {

namespace {

constexpr int MAXK = 64;      // pivots per update in registers: the multiplier buffer's room
constexpr long ROWBLK = 192;  // rows per cache block of the trailing update
constexpr int PACKMIN = 4;    // above this many pivots the update packs its operands
constexpr int DEPTH = 4;      // wide blocks whose update of the far columns is done at once
constexpr int MAXPACK = DEPTH * ORKNBLARGE;  // pivots per packed update
constexpr int PACKCOLS = 16;  // fewer columns than this are updated in place
constexpr double THRWORK = 262144.0;  // multiply-adds below which an update keeps one thread
constexpr long THRCOLS = 16;          // least columns a thread of an update takes

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

// ---- Packed form of the update, for more than four pivots.

constexpr int MR = 12;        // rows of the register block
constexpr int NR = 4;         // columns of the register block: one strip
constexpr long ASLICE = 24576;  // reals of one packed slice of the pivot columns (kept in L2)
// Stack work when too little is lent: one panel of each, aligned. It takes
// the widest update, so that the sums, and the results, do not depend on the
// memory at hand.
constexpr long LOCALW = MAXPACK * (MR + NR) + 4;

// Multipliers of the K pivots for the n columns c0..c0+n-1 into panels of NR
// columns, entry (k,t) of panel q at B[q*K*NR + k*NR + t]; the last panel is
// padded with zeros.
void pack_mult(const double* F, long FO, int J0, int K, const int* KINDS, long c0, long n, double* B) {
  const long KN = static_cast<long>(K) * NR;
  for (int k = 0; k < K; ++k) {
    const int j = J0 + k;
    const double* c1 = ORKCOL(F, FO, j);
    if (KINDS[j] == 2 && k + 1 < K) {
      const double* c2 = ORKCOL(F, FO, j + 1);
      const double i11 = c1[j], i21 = c1[j + 1], i22 = c2[j + 1];
      for (long q = 0; q < n; ++q) {
        double* b = B + (q / NR) * KN + k * NR + q % NR;
        const double x1 = c1[c0 + q], x2 = c2[c0 + q];
        b[0] = -(i11 * x1 + i21 * x2);
        b[NR] = -(i21 * x1 + i22 * x2);
      }
      ++k;
    } else {
      const double d = -c1[j];
      for (long q = 0; q < n; ++q) B[(q / NR) * KN + k * NR + q % NR] = d * c1[c0 + q];
    }
  }
  for (long q = n; q % NR != 0; ++q)
    for (int k = 0; k < K; ++k) B[(q / NR) * KN + k * NR + q % NR] = 0.0;
}

// Rows r0..r0+n-1 of the K pivot columns into panels of MR rows, entry (r,k)
// of panel p at A[p*K*MR + k*MR + r]; the last panel is padded with zeros.
void pack_rows(const double* F, long FO, int J0, int K, long r0, long n, double* A) {
  const long KM = static_cast<long>(K) * MR;
  for (long p = 0; p * MR < n; ++p) {
    const long rows = std::min<long>(MR, n - p * MR);
    double* a = A + p * KM;
    for (int k = 0; k < K; ++k) {
      const double* col = ORKCOL(F, FO, J0 + k) + r0 + p * MR;
      for (long r = 0; r < rows; ++r) a[k * MR + r] = col[r];
      for (long r = rows; r < MR; ++r) a[k * MR + r] = 0.0;
    }
  }
}

// T (MR by NR, by columns) = A panel times B panel over K pivots.
#ifdef ORK_AVX2
struct Tile { __m256d v[NR][MR / 4]; };

inline void tile_product(int K, const double* A, const double* B, Tile& T) {
  for (int t = 0; t < NR; ++t)
    for (int r = 0; r < MR / 4; ++r) T.v[t][r] = _mm256_setzero_pd();
#pragma GCC unroll 4
  for (int k = 0; k < K; ++k, A += MR, B += NR) {
    __builtin_prefetch(A + 8 * MR);
    const __m256d a0 = _mm256_load_pd(A), a1 = _mm256_load_pd(A + 4), a2 = _mm256_load_pd(A + 8);
    for (int t = 0; t < NR; ++t) {
      const __m256d b = _mm256_broadcast_sd(B + t);
      T.v[t][0] = _mm256_fmadd_pd(a0, b, T.v[t][0]);
      T.v[t][1] = _mm256_fmadd_pd(a1, b, T.v[t][1]);
      T.v[t][2] = _mm256_fmadd_pd(a2, b, T.v[t][2]);
    }
  }
}

inline void tile_add(const Tile& T, double* const C[NR], long i) {
  for (int t = 0; t < NR; ++t)
    for (int r = 0; r < MR / 4; ++r) {
      double* c = C[t] + i + 4 * r;
      _mm256_storeu_pd(c, _mm256_add_pd(_mm256_loadu_pd(c), T.v[t][r]));
    }
}

inline void tile_spill(const Tile& T, double* out) {
  for (int t = 0; t < NR; ++t)
    for (int r = 0; r < MR / 4; ++r) _mm256_storeu_pd(out + t * MR + 4 * r, T.v[t][r]);
}
#else
struct Tile { double v[NR][MR]; };

inline void tile_product(int K, const double* A, const double* B, Tile& T) {
  for (int t = 0; t < NR; ++t)
    for (int r = 0; r < MR; ++r) T.v[t][r] = 0.0;
  for (int k = 0; k < K; ++k, A += MR, B += NR)
    for (int t = 0; t < NR; ++t)
      for (int r = 0; r < MR; ++r) T.v[t][r] += A[r] * B[t];
}

inline void tile_add(const Tile& T, double* const C[NR], long i) {
  for (int t = 0; t < NR; ++t)
    for (int r = 0; r < MR; ++r) C[t][i + r] += T.v[t][r];
}

inline void tile_spill(const Tile& T, double* out) {
  for (int t = 0; t < NR; ++t)
    for (int r = 0; r < MR; ++r) out[t * MR + r] = T.v[t][r];
}
#endif

// Rows i..i+MR-1 of the w columns s..s+w-1, keeping only rows below rend and
// on or below the diagonal: the tiles at the diagonal and at the edges.
void tile_add_masked(const Tile& T, double* const C[NR], long i, long rend, long s, int w) {
  double out[NR * MR];
  tile_spill(T, out);
  for (int t = 0; t < w; ++t)
    for (long r = std::max(i, s + t); r < std::min(i + MR, rend); ++r) C[t][r] += out[t * MR + (r - i)];
}

// Rows r0..r1-1 of the columns c0..cend-1 (strips from c0, cend the end of the
// packed multipliers B) with the packed rows A of that slice.
void packed_slice(double* F, long FO, int K, const double* A, const double* B, long r0, long r1, long c0,
                  long cend) {
  const long KM = static_cast<long>(K) * MR, KN = static_cast<long>(K) * NR;
  for (long s = c0; s < std::min(cend, r1); s += NR) {
    const int w = static_cast<int>(std::min<long>(NR, cend - s));
    double* C[NR];
    for (int t = 0; t < NR; ++t) C[t] = ORKCOL(F, FO, s + std::min(t, w - 1));
    const double* b = B + ((s - c0) / NR) * KN;
    Tile T;
    for (long p = s <= r0 ? 0 : (s - r0) / MR; r0 + p * MR < r1; ++p) {
      const long i = r0 + p * MR;
      // The strip's rows of the next tile come from memory while this one computes.
      if (i + 2 * MR <= r1)
        for (int t = 0; t < NR; ++t) {
          __builtin_prefetch(C[t] + i + MR, 1);
          __builtin_prefetch(C[t] + i + 2 * MR - 1, 1);
        }
      tile_product(K, A + p * KM, b, T);
      if (w == NR && i >= s + NR - 1 && i + MR <= r1)
        tile_add(T, C, i);
      else
        tile_add_masked(T, C, i, r1, s, w);
    }
  }
}

// The update of columns C0..C1-1 by K <= MAXPACK pivots through packed
// copies: the multipliers of as many columns as the work space takes, then
// slices of rows of the pivot columns, each used for all the strips above it.
void update_packed(double* F, long FO, int J0, int K, const int* KINDS, long C0, long C1, ORKWORK WK) {
  alignas(32) double local[LOCALW];
  // Align the lent space for the packed panels.
  long skip = (32 - static_cast<long>(reinterpret_cast<std::uintptr_t>(WK.W) % 32)) % 32 / 8;
  if (WK.W == nullptr || WK.LW - skip < LOCALW) {
    WK = {local, LOCALW};
    skip = 0;
  }
  double* A = WK.W + skip;
  const long room = (WK.LW - skip) / K;  // rows plus columns that fit
  long MC = std::min(std::max<long>(MR, ASLICE / K / MR * MR), (FO - C0 + MR - 1) / MR * MR);
  if (room - MC < NR) MC = MR;
  const long NC = std::min((C1 - C0 + NR - 1) / NR * NR, (room - MC) / NR * NR);
  double* B = A + K * MC;
  for (long c0 = C0; c0 < C1; c0 += NC) {
    const long c1 = std::min(C1, c0 + NC);
    pack_mult(F, FO, J0, K, KINDS, c0, c1 - c0, B);
    for (long r0 = c0; r0 < FO; r0 += MC) {
      const long r1 = std::min(FO, r0 + MC);
      pack_rows(F, FO, J0, K, r0, r1 - r0, A);
      packed_slice(F, FO, K, A, B, r0, r1, c0, c1);
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

// Columns s..s+w-1 (w <= NR), all their rows, by the K pivots from J0, the
// pivot columns read where they lie.
void strip_update(double* F, long FO, int J0, int K, const int* KINDS, int s, int w) {
  if (K <= 0 || w <= 0) return;
  double M[4 * MAXK];
  build_mult(F, FO, J0, K, KINDS, s, w, M);
  strip_triangle(F, FO, J0, K, M, s, w);
  strip_dispatch(F, FO, J0, K, M, s, w, s + w, FO);
}

// The threshold test of the scan on the updated column jc; on success 1/d in place.
bool accept1(double* F, long FO, int jc, double U, int* KINDS, ORKDSTAT& ST) {
  double* col = ORKCOL(F, FO, jc);
  const double diag = col[jc];
  if (diag == 0.0) return false;
  double cmax = 0.0;
  long at;
  if (U > 0.0) cmax = colmax_below(col, jc + 1, FO, at);
  if (std::fabs(U * cmax) > std::fabs(diag)) return false;
  col[jc] = 1.0 / diag;
  if (col[jc] == 0.0) ++ST.NZINV;
  KINDS[jc] = 1;
  return true;
}

// One block of at most MAXK pivots (a 2 by 2 pair is never split).
void update_block(double* F, long FO, int J0, int K, const int* KINDS, int C0, int C1) {
  double M[4 * MAXK];
  for (long r0 = C0; r0 < FO; r0 += ROWBLK) {
    const long r1 = std::min(FO, r0 + ROWBLK);
    for (int s = C0; s < std::min<long>(r1, C1); s += 4) {
      const int w = static_cast<int>(std::min<long>(4, C1 - s));
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

// 1 by 1 pivot at J, then the rank-one update of everything behind it.
void eliminate1(double* F, int FO, int J, int* KINDS, ORKDSTAT& ST) {
  double* c = ORKCOL(F, FO, J);
  c[J] = 1.0 / c[J];
  if (c[J] == 0.0) ++ST.NZINV;
  KINDS[J] = 1;
  ORKUPDATE(F, FO, J, 1, KINDS, J + 1, FO);
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
  ORKUPDATE(F, FO, J, 2, KINDS, J + 2, FO);
}

// The chunks of at most MAXPACK (packed) or MAXK pivots over columns C0..C1-1.
void update_range(double* F, long FO, int J0, int K, const int* KINDS, long C0, long C1, bool packed,
                  ORKWORK WK) {
  if (C0 >= C1) return;
  const int chunk = packed ? MAXPACK : MAXK;
  for (int k0 = 0; k0 < K; k0 += chunk) {
    const int kb = std::min(chunk, K - k0);
    if (packed && kb > PACKMIN)
      update_packed(F, FO, J0 + k0, kb, KINDS, C0, C1, WK);
    else
      update_block(F, FO, J0 + k0, kb, KINDS, static_cast<int>(C0), static_cast<int>(C1));
  }
}

// Threads for a packed update: those of the parallel runtime when the
// update is worth a parallel region and none is running (a front inside a
// threaded subtree stays on its thread), at least THRCOLS columns each.
int update_threads(long FO, int K, long C0, long C1) {
  const double work = static_cast<double>(K) * static_cast<double>(C1 - C0) * static_cast<double>(FO - (C0 + C1) / 2);
  if (work < THRWORK || omp_in_parallel()) return 1;
  return static_cast<int>(std::min<long>(omp_get_max_threads(), (C1 - C0) / THRCOLS));
}

// First column of part t of T of C0..C1-1, the parts of about equal work (a
// column's rows), on the strips of NR columns from C0.
long split_cols(long FO, long C0, long C1, int t, int T) {
  if (t <= 0) return C0;
  if (t >= T) return C1;
  // Work of the columns C0..c-1: (c-C0)(2FO-C0-c+1)/2; solve for the share t/T.
  const double n = static_cast<double>(C1 - C0), a = static_cast<double>(FO - C0);
  const double total = n * (2.0 * a - n + 1.0) / 2.0, want = total * t / T;
  const double b = 2.0 * a + 1.0;
  const double x = (b - std::sqrt(std::max(0.0, b * b - 8.0 * want))) / 2.0;
  const long c = C0 + static_cast<long>(std::lround(x / NR)) * NR;
  return std::clamp(c, C0, C1);
}

}  // namespace

void ORKUPDATE(double* F, int FO, int J0, int K, const int* KINDS, int C0, int C1, ORKWORK WK) {
  if (K <= 0 || C0 >= C1) return;
  // Packing pays for itself over many columns only. ORKDENSE brings at most
  // MAXPACK pivots, and at most MAXK to a narrow range; 2 by 2 pivots come
  // alone. The chunking only guards the buffers.
  const bool packed = K > PACKMIN && C1 - C0 >= PACKCOLS;
  const int nth = packed ? update_threads(FO, K, C0, C1) : 1;
  if (nth <= 1) {
    update_range(F, FO, J0, K, KINDS, C0, C1, packed, WK);
    return;
  }
  // Every entry is summed by one thread over the same pivots in the same
  // order, so the bits do not depend on the split; each thread packs into
  // its own share of the lent space.
#pragma omp parallel num_threads(nth)
  {
    const int t = omp_get_thread_num(), T = omp_get_num_threads();
    const long lw = WK.LW / T;
    const ORKWORK w{WK.W == nullptr ? nullptr : WK.W + lw * t, lw};
    update_range(F, FO, J0, K, KINDS, split_cols(FO, C0, C1, t, T), split_cols(FO, C0, C1, t + 1, T), packed, w);
  }
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

int ORKSCAN(double* F, int FO, int J, int NB, double U, int* KINDS, ORKDSTAT& ST, int& DONE) {
  int K = 0;
  for (int g = 0; g < NB; g += NR) {
    const int w = std::min(NR, NB - g), s = J + g;
    // The four columns at once by the block's pivots before them, then each
    // by the pivots of the four before it.
    strip_update(F, FO, J, g, KINDS, s, w);
    for (int q = 0; q < w; ++q) {
      const int jc = s + q;
      strip_update(F, FO, s, q, KINDS, jc, 1);
      if (!accept1(F, FO, jc, U, KINDS, ST)) {
        // The rest of the four lack only the pivots of the four: give them.
        strip_update(F, FO, s, q, KINDS, jc + 1, w - q - 1);
        DONE = g + w;
        return K;
      }
      ++K;
    }
  }
  DONE = NB;
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
             ORKDSTAT& ST, ORKWORK WK) {
  const int width = FO < ORKBIGFRONT ? ORKNBSMALL : ORKNBLARGE;
  const int defer = width == ORKNBLARGE ? MAXPACK : MAXK;  // pivots whose update may wait
  int LIMIT = NP0, J = 0;
  bool took = false;
  // Pivots P0..J-1, whole blocks, have updated the columns before LA only;
  // the columns from LA on get them all at once, so that a far trailing entry
  // is loaded and stored once per `defer` pivots. Every column a pivot
  // decision reads is up to date: the next block's columns are brought up to
  // date ahead, and anything but a scan first catches up.
  int P0 = 0, LA = FO;
  const auto catch_up = [&] {
    ORKUPDATE(FRONT, FO, P0, J - P0, KINDS, LA, FO, WK);
    P0 = J;
    LA = FO;
  };
  for (;;) {
    if (J >= LIMIT) {
      // Columns put aside may have become acceptable through the pivots since.
      if (took && LIMIT < NP0) { LIMIT = NP0; took = false; continue; }
      break;
    }
    const int NB = std::min(width, LIMIT - J);
    int done = 0;
    const int K = ORKSCAN(FRONT, FO, J, NB, U, KINDS, ST, done);
    if (K >= 1) {
      const int J1 = J + K, NB1 = std::min(width, LIMIT - J1);
      if (K == width && J1 - P0 < defer && NB1 > 0) {
        ORKUPDATE(FRONT, FO, P0, J1 - P0, KINDS, J1, J1 + NB1, WK);
        LA = J1 + NB1;
        J = J1;
      } else {
        ORKUPDATE(FRONT, FO, J, K, KINDS, J + done, LA, WK);
        J = J1;
        catch_up();
      }
      took = true;
      continue;
    }
    catch_up();
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
    P0 = J;
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
