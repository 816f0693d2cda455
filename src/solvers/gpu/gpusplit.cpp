// The device CG's matrix on the host: the full matrix from the stored half,
// the ELL width, the layout, and the split into ELL and COO arrays.
#include <algorithm>
#include <cmath>

#include "solvers/gpu/gpu.hpp"

namespace ossa::solvers {

void GPUEXPAND(const int* IA, const int* JA, const double* AV, int NZ, int NEQ, int* IAF, int* JAF,
               double* AF, int NFULL, double* DIAG) {
  (void)NZ;
  (void)NFULL;
  // Row lengths: a row's own entries, and one for each entry below it in its column.
  for (int i = 1; i <= NEQ + 1; ++i) IAF[i - 1] = 0;
  for (int i = 1; i <= NEQ; ++i) {
    IAF[i] += IA[i] - IA[i - 1];
    for (int k = IA[i - 1] + 1; k < IA[i]; ++k) IAF[JA[k - 1]] += 1;
  }
  IAF[0] = IA[0];
  for (int i = 1; i <= NEQ; ++i) IAF[i] += IAF[i - 1];
  // One cursor per row; row i's lower entries, its diagonal, then each entry
  // mirrored to the end of its column's row. Rows are taken in order, so every
  // row fills in ascending columns.
  std::vector<int> cur(IAF, IAF + NEQ);
  auto put = [&](int row, int col, double v) {
    JAF[cur[row - 1] - 1] = col;
    AF[cur[row - 1] - 1] = v;
    ++cur[row - 1];
  };
  for (int i = 1; i <= NEQ; ++i) {
    const int d = IA[i - 1];
    for (int k = d + 1; k < IA[i]; ++k) put(i, JA[k - 1], AV[k - 1]);
    put(i, i, AV[d - 1]);
    DIAG[i - 1] = AV[d - 1];
    for (int k = d + 1; k < IA[i]; ++k) put(JA[k - 1], i, AV[k - 1]);
  }
}

int GPUELLW(const std::vector<int>& H, int NEQ) {
  long C = NEQ;
  const int MAXNZ = static_cast<int>(H.size()) - 1;
  for (int k = 0; k <= MAXNZ; ++k) {
    C -= H[k];
    if (NEQ > 3 * C || C < 4096) return k;
  }
  return MAXNZ;
}

void GPUCOOPLAN(GPUPLAN& p) {
  p.UNITS = p.NCOO / 32;
  p.WARPS = std::min(p.UNITS, GPUMAXWARPS);
  p.ITERS = p.WARPS > 0 ? (p.UNITS + p.WARPS - 1) / p.WARPS : 0;
  p.INTERVAL = 32 * p.ITERS;
  p.TAIL = p.UNITS * 32;
  p.ACTIVE = p.INTERVAL > 0 ? (p.TAIL + p.INTERVAL - 1) / p.INTERVAL : 0;
}

GPUPLAN GPUPLANOF(const int* IAF, int NEQ) {
  GPUPLAN p;
  p.NEQ = NEQ;
  p.NBLK = (NEQ - 1) / GPUBLOCK + 1;
  p.NPAD = p.NBLK * GPUBLOCK;
  p.NB2 = (p.NBLK - 1) / GPUBLOCK + 1;
  p.NZ = IAF[NEQ] - 1;
  for (int i = 0; i < NEQ; ++i) p.MAXNZ = std::max(p.MAXNZ, IAF[i + 1] - IAF[i]);
  p.MEAN = static_cast<double>(p.NZ) / NEQ;
  double ss = 0.0;
  std::vector<int> H(p.MAXNZ + 1, 0);
  for (int i = 0; i < NEQ; ++i) {
    const int len = IAF[i + 1] - IAF[i];
    ss += (len - p.MEAN) * (len - p.MEAN);
    ++H[len];
  }
  p.DEV = std::sqrt(ss / NEQ);
  p.EW = GPUELLW(H, NEQ);
  for (int i = 0; i < NEQ; ++i) p.NZELL += std::min(p.EW, IAF[i + 1] - IAF[i]);
  p.NCOO = p.NZ - p.NZELL;
  p.PITCHED = !(NEQ > 65536 || p.EW > 32768);
  p.ES = p.PITCHED ? NEQ : (NEQ + 15) / 16 * 16;
  GPUCOOPLAN(p);
  return p;
}

namespace {

// Walks the split: ELL(slot, row, entry) for the first EW entries of each row,
// COO(n, row, entry) for the rest, in ascending rows. Rows go in blocks, slot
// by slot within a block, so that the writes of the column-wise ELL run along
// memory while the rows being read stay in cache.
template <class E, class C>
void splitwalk(const GPUPLAN& p, const int* IAF, E&& ELL, C&& COO) {
  constexpr int RB = 64;
  int n = 0;
  for (int r0 = 0; r0 < p.NEQ; r0 += RB) {
    const int r1 = std::min(r0 + RB, p.NEQ);
    for (int k = 0; k < p.EW; ++k)
      for (int r = r0; r < r1; ++r)
        if (IAF[r] + k < IAF[r + 1]) ELL(static_cast<std::size_t>(k) * p.ES + r, IAF[r] - 1 + k);
    for (int r = r0; r < r1; ++r)
      for (int e = IAF[r] - 1 + p.EW; e < IAF[r + 1] - 1; ++e) COO(n++, r, e);
  }
}

}  // namespace

void GPUSPLITIDX(const GPUPLAN& p, const int* IAF, const int* JAF, GPUHOST& h) {
  h.ELLJ.assign(static_cast<std::size_t>(p.EW) * p.ES, 0);
  h.COOR.resize(p.NCOO);
  h.COOC.resize(p.NCOO);
  splitwalk(
      p, IAF, [&](std::size_t at, int e) { h.ELLJ[at] = JAF[e] - 1; },
      [&](int n, int r, int e) {
        h.COOR[n] = r;
        h.COOC[n] = JAF[e] - 1;
      });
}

void GPUSPLITVAL(const GPUPLAN& p, const int* IAF, const double* AF, GPUHOST& h) {
  h.ELLV.assign(static_cast<std::size_t>(p.EW) * p.ES, 0.0);
  h.COOV.resize(p.NCOO);
  splitwalk(
      p, IAF, [&](std::size_t at, int e) { h.ELLV[at] = AF[e]; }, [&](int n, int, int e) { h.COOV[n] = AF[e]; });
}

}  // namespace ossa::solvers
