// The arithmetic of the device kernels, one thread's share each, compiled
// both for the device (cg_gpu.cu) and for the host emulation (gpuemu.cpp), so
// that both round alike. Products that are to be fused say so with fma;
// the device code is built without contraction (-fmad=false) and the host
// code with -ffp-contract=off, so nothing else is fused on either side.
#pragma once
#include <cmath>
#include <cstdint>

#ifdef __CUDACC__
#define GPU_HD __host__ __device__ __forceinline__
#else
#define GPU_HD inline
using std::fma;
#endif

namespace ossa::solvers::kern {

// A load of x through the read-only data cache on the device.
GPU_HD double ldg(const double* p) {
#ifdef __CUDA_ARCH__
  return __ldg(p);
#else
  return *p;
#endif
}

// Threads of the dot-product blocks; each takes two entries.
inline constexpr int DOTBLOCK = 256;

// Row i of the ELL part times x: slots in order, empty slots (value 0.0)
// skipped, so that padding costs no load of x.
GPU_HD double ellrow(int i, int cols, const double* val, const std::int32_t* idx, int pi, int pv,
                     const double* x) {
  double sum = 0.0;
  for (int k = 0; k < cols; ++k) {
    const double v = val[static_cast<long>(k) * pv + i];
    if (v == 0.0) continue;
    sum = fma(v, ldg(x + idx[static_cast<long>(k) * pi + i]), sum);
  }
  return sum;
}

// r = b - q; z = p = d r.
GPU_HD void rpr0(int i, double* r, double* p, double* z, const double* b, const double* q,
                 const double* d) {
  const double ri = b[i] - q[i];
  r[i] = ri;
  z[i] = p[i] = d[i] * ri;
}

// x += alpha p; r -= alpha q; z = d r.
GPU_HD void alpxr(int i, double alpha, double* x, double* r, const double* p, const double* q,
                  const double* d, double* z) {
  x[i] = fma(alpha, p[i], x[i]);
  const double ri = fma(-alpha, q[i], r[i]);
  r[i] = ri;
  z[i] = ri * d[i];
}

// p = z + beta p.
GPU_HD void betp(int i, double beta, double* p, const double* z) { p[i] = fma(beta, p[i], z[i]); }

// Thread t of block b: its two products a.b, 256 apart.
GPU_HD double dotpair(int b, int t, const double* x, const double* y) {
  const long i = 2L * b * DOTBLOCK + t;
  return fma(x[i], y[i], x[i + DOTBLOCK] * y[i + DOTBLOCK]);
}

// Thread t of the final sum: partial sums t + 512 k and 256 after, k < n.
GPU_HD double dotsum(int t, const double* in, int n) {
  double s = 0.0;
  for (int k = 0; k < n; ++k) s += in[2L * DOTBLOCK * k + t] + in[2L * DOTBLOCK * k + t + DOTBLOCK];
  return s;
}

// One entry of the serial COO product: y(row) += v x(col).
GPU_HD void cooentry(int n, const std::int32_t* rows, const std::int32_t* cols, const double* val,
                     const double* x, double* y) {
  y[rows[n]] = fma(val[n], x[cols[n]], y[rows[n]]);
}

}  // namespace ossa::solvers::kern
