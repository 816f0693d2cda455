// The device kernels run on the host: the same blocks, warps and order of
// additions as cg_gpu.cu, so that a device solve can be compared with this
// one bit for bit, and the whole device path is tested on any machine.
// Device arrays are host arrays here; a pitched allocation is padded to 512
// bytes as the device pads it, so that the two strides differ as they do there.
#include <algorithm>
#include <cstring>

#include "solvers/gpu/gpu.hpp"
#include "solvers/gpu/gpukern.hpp"

namespace ossa::solvers {

namespace {

constexpr int WARP = 32;
constexpr long PITCHALIGN = 512;

template <class T>
T* grab(long n) {
  T* p = new T[n > 0 ? n : 1];
  std::fill(p, p + (n > 0 ? n : 1), T{});
  return p;
}

void setdev(int) {}

void upload(GPUMEM& d, const GPUPLAN& p, const GPUHOST& h, const double* X, const double* F,
            const double* DINV) {
  const int rows = std::max(p.EW, 1);
  if (p.PITCHED) {
    d.PI = static_cast<int>((4L * p.NEQ + PITCHALIGN - 1) / PITCHALIGN * PITCHALIGN / 4);
    d.PV = static_cast<int>((8L * p.NEQ + PITCHALIGN - 1) / PITCHALIGN * PITCHALIGN / 8);
  } else {
    d.PI = d.PV = p.ES;
  }
  d.ELLJ = grab<std::int32_t>(static_cast<long>(d.PI) * rows);
  d.ELLV = grab<double>(static_cast<long>(d.PV) * rows);
  for (int k = 0; k < p.EW; ++k) {
    std::memcpy(d.ELLJ + static_cast<long>(k) * d.PI, h.ELLJ.data() + static_cast<long>(k) * p.ES,
                4L * p.NEQ);
    std::memcpy(d.ELLV + static_cast<long>(k) * d.PV, h.ELLV.data() + static_cast<long>(k) * p.ES,
                8L * p.NEQ);
  }
  d.PITCH = grab<std::int32_t>(2);
  d.PITCH[0] = d.PI;
  d.PITCH[1] = d.PV;
  d.COOR = grab<std::int32_t>(p.NCOO);
  d.COOC = grab<std::int32_t>(p.NCOO);
  d.COOV = grab<double>(p.NCOO);
  std::copy(h.COOR.begin(), h.COOR.end(), d.COOR);
  std::copy(h.COOC.begin(), h.COOC.end(), d.COOC);
  std::copy(h.COOV.begin(), h.COOV.end(), d.COOV);
  for (double** v : {&d.DX, &d.DB, &d.DD, &d.DP, &d.DR, &d.DZ, &d.DQ}) *v = grab<double>(p.NPAD);
  std::copy(X, X + p.NEQ, d.DX);
  std::copy(F, F + p.NEQ, d.DB);
  std::copy(DINV, DINV + p.NEQ, d.DD);
  d.DPART = grab<double>(2560L * p.NB2);
  d.DSTATE = grab<double>(3);
}

// vec_mat_ell: one thread a row; rows past NEQ get 0.0.
void ell(GPUMEM& d, const GPUPLAN& p, const double* x) {
  for (int i = 0; i < p.NPAD; ++i)
    d.DQ[i] = i < p.NEQ ? kern::ellrow(i, p.EW, d.ELLV, d.ELLJ, d.PITCH[0], d.PITCH[1], x) : 0.0;
}

// spmv_coo_flat_kernel, warp by warp, its 32 lanes in step: the carry enters
// at lane 0, an inclusive segmented scan, a row's end adds to y, lane 31's
// sum is the next carry and, after the interval, the warp's carry out.
void cooflat(GPUMEM& d, const GPUPLAN& p, const double* x) {
  for (int w = 0; w < p.ACTIVE; ++w) {
    const int begin = w * p.INTERVAL, end = std::min(begin + p.INTERVAL, p.TAIL);
    int crow = d.COOR[begin];
    double cval = 0.0;
    for (int base = begin; base < end; base += WARP) {
      int row[WARP];
      double v[WARP], left[WARP];
      for (int l = 0; l < WARP; ++l) {
        row[l] = d.COOR[base + l];
        v[l] = d.COOV[base + l] * x[d.COOC[base + l]];
      }
      if (crow == row[0]) v[0] += cval;
      else d.DQ[crow] += cval;
      for (int dist = 1; dist < WARP; dist *= 2) {
        std::copy(v, v + WARP, left);
        for (int l = dist; l < WARP; ++l)
          if (row[l - dist] == row[l]) v[l] += left[l - dist];
      }
      for (int l = 0; l < WARP - 1; ++l)
        if (row[l + 1] != row[l]) d.DQ[row[l]] += v[l];
      crow = row[WARP - 1];
      cval = v[WARP - 1];
    }
    d.TEMPROW[w] = crow;
    d.TEMPVAL[w] = cval;
  }
}

// spmv_coo_reduce_update_kernel: the warps' carries in chunks of 512, a
// segmented scan over each chunk, a row's end adds to y.
void cooreduce(GPUMEM& d, int n) {
  int rows[GPUBLOCK + 1];
  double vals[GPUBLOCK + 1], left[GPUBLOCK];
  bool take[GPUBLOCK];
  rows[GPUBLOCK] = -1;
  vals[GPUBLOCK] = 0.0;
  for (int c = 0; c < n; c += GPUBLOCK) {
    for (int t = 0; t < GPUBLOCK; ++t) {
      rows[t] = c + t < n ? d.TEMPROW[c + t] : -1;
      vals[t] = c + t < n ? d.TEMPVAL[c + t] : 0.0;
    }
    for (int dist = 1; dist < GPUBLOCK; dist *= 2) {
      for (int t = 0; t < GPUBLOCK; ++t) {
        take[t] = t >= dist && rows[t - dist] == rows[t];
        left[t] = take[t] ? vals[t - dist] : 0.0;
      }
      for (int t = 0; t < GPUBLOCK; ++t)
        if (take[t]) vals[t] += left[t];
    }
    for (int t = 0; t < GPUBLOCK && c + t < n; ++t)
      if (rows[t] != rows[t + 1]) d.DQ[rows[t]] += vals[t];
  }
}

void spmv(GPUMEM& d, const GPUPLAN& p, const double* x) {
  ell(d, p, x);
  if (p.NCOO == 0) return;
  if (p.NCOO < WARP) {
    for (int n = 0; n < p.NCOO; ++n) kern::cooentry(n, d.COOR, d.COOC, d.COOV, x, d.DQ);
    return;
  }
  cooflat(d, p, x);
  for (int n = p.TAIL; n < p.NCOO; ++n) kern::cooentry(n, d.COOR, d.COOC, d.COOV, x, d.DQ);
  cooreduce(d, p.ACTIVE);
}

void rpr0(GPUMEM& d, const GPUPLAN& p) {
  for (int i = 0; i < p.NPAD; ++i) kern::rpr0(i, d.DR, d.DP, d.DZ, d.DB, d.DQ, d.DD);
}

// A block's tree sum of S(256), halving the distance from 128 to 1.
double tree(double* s) {
  for (int dist = kern::DOTBLOCK / 2; dist > 0; dist /= 2)
    for (int t = 0; t < dist; ++t) s[t] += s[t + dist];
  return s[0];
}

// dot_p1 into DPART, then dot_p2 into DSTATE(SLOT).
void dot(GPUMEM& d, const GPUPLAN& p, const double* a, const double* b, int slot) {
  double s[kern::DOTBLOCK];
  for (int blk = 0; blk < p.NBLK; ++blk) {
    for (int t = 0; t < kern::DOTBLOCK; ++t) s[t] = kern::dotpair(blk, t, a, b);
    d.DPART[blk] = tree(s);
  }
  for (int t = 0; t < kern::DOTBLOCK; ++t) s[t] = kern::dotsum(t, d.DPART, p.NB2);
  d.DSTATE[slot - 1] = tree(s);
}

void alpxr(GPUMEM& d, const GPUPLAN& p) {
  const double alpha = d.DSTATE[1] / d.DSTATE[2];
  d.DSTATE[0] = d.DSTATE[1];
  for (int i = 0; i < p.NPAD; ++i) kern::alpxr(i, alpha, d.DX, d.DR, d.DP, d.DQ, d.DD, d.DZ);
}

void betp(GPUMEM& d, const GPUPLAN& p) {
  const double beta = d.DSTATE[1] / d.DSTATE[0];
  for (int i = 0; i < p.NPAD; ++i) kern::betp(i, beta, d.DP, d.DZ);
}

double state(GPUMEM& d, int slot) { return d.DSTATE[slot - 1]; }

void download(GPUMEM& d, const GPUPLAN& p, double* X) { std::copy(d.DX, d.DX + p.NEQ, X); }

void release(GPUMEM& d) {
  GPUARRAYS(d, [](auto*& a) { delete[] a, a = nullptr; });
}

void carry(GPUMEM& d, bool free) {
  if (!free) {
    d.TEMPROW = grab<std::int32_t>(GPUMAXWARPS);
    d.TEMPVAL = grab<double>(GPUMAXWARPS);
    return;
  }
  delete[] d.TEMPROW;
  delete[] d.TEMPVAL;
  d.TEMPROW = nullptr;
  d.TEMPVAL = nullptr;
}

const char* error() { return nullptr; }

constexpr GPUOPS EMU = {setdev, upload, spmv, rpr0, dot, alpxr, betp, state, download, release, carry, error};

}  // namespace

const GPUOPS& GPUEMUOPS() { return EMU; }

GPUINFO GPUEMUINFO() {
  GPUINFO info;
  info.count = 1;
  GPUPROPS p;
  p.name = "Host emulation";
  p.major = 9;
  p.warpsize = 32;
  p.maxthreads = 1024;
  info.props.push_back(p);
  return info;
}

}  // namespace ossa::solvers
