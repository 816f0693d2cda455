// The device CG's kernels and the device operations that launch them.
//
// Written for today's toolkits: x is read through the read-only data cache
// (__ldg) where the first devices bound a texture to it, kernels are launched
// with the ordinary syntax rather than through a configured call, and the
// lanes of a warp exchange their sums by shuffles with an explicit mask, since
// a warp no longer runs in lockstep. The arithmetic of each thread is that of
// gpukern.hpp, which the host emulation (gpuemu.cpp) shares.
#include <cuda_runtime.h>

#include <algorithm>

#include "solvers/gpu/gpukern.hpp"
#include "solvers/gpu/gpuops.hpp"

namespace ossa::solvers {

namespace {

using namespace kern;
constexpr unsigned FULLMASK = 0xffffffffu;
constexpr int WARP = 32;
constexpr int FLATBLOCK = 256;

// ---- Kernels ------------------------------------------------------------------

// y = ELL part times x; the rows of the padding get 0.0.
__global__ void vec_mat_ell(const double* val, const std::int32_t* idx, double* y, int rows, int cols,
                            const std::int32_t* pitch, const double* x) {
  __shared__ int sp[2];
  if (threadIdx.x < 2) sp[threadIdx.x] = pitch[threadIdx.x];
  __syncthreads();
  const int i = blockIdx.x * blockDim.x + threadIdx.x;
  if (i >= rows) {
    y[i] = 0.0;
    return;
  }
  y[i] = ellrow(i, cols, val, idx, sp[0], sp[1], x);
}

// Segmented product of the COO part, one warp an interval of whole warps'
// worth of entries: the carry enters at lane 0, an inclusive segmented scan
// over the lanes, a row that ends within the warp is added to y by the lane
// that ends it, and lane 31's sum is the carry, left in TEMPROW/TEMPVAL after
// the interval for the reduce kernel.
__global__ void spmv_coo_flat_kernel(const std::int32_t* rows, const std::int32_t* cols, const double* val,
                                     const double* x, double* y, int tail, int interval,
                                     std::int32_t* temprow, double* tempval) {
  const int w = (blockIdx.x * blockDim.x + threadIdx.x) / WARP;
  const int l = threadIdx.x % WARP;
  const int begin = w * interval;
  if (begin >= tail) return;
  const int end = min(begin + interval, tail);
  int crow = rows[begin];
  double cval = 0.0;
  for (int n = begin + l; n < end; n += WARP) {
    const int row = rows[n];
    double v = val[n] * __ldg(x + cols[n]);
    if (l == 0) {
      if (crow == row) v += cval;
      else y[crow] += cval;
    }
    for (int dist = 1; dist < WARP; dist *= 2) {
      const double left = __shfl_up_sync(FULLMASK, v, dist);
      const int lrow = __shfl_up_sync(FULLMASK, row, dist);
      if (l >= dist && lrow == row) v += left;
    }
    const int nrow = __shfl_down_sync(FULLMASK, row, 1);
    if (l < WARP - 1 && nrow != row) y[row] += v;
    crow = __shfl_sync(FULLMASK, row, WARP - 1);
    cval = __shfl_sync(FULLMASK, v, WARP - 1);
  }
  if (l == WARP - 1) {
    temprow[w] = crow;
    tempval[w] = cval;
  }
}

// Entries BEGIN .. N-1 of the COO part, one thread.
__global__ void spmv_coo_serial_kernel(const std::int32_t* rows, const std::int32_t* cols, const double* val,
                                       const double* x, double* y, int begin, int n) {
  for (int k = begin; k < n; ++k) cooentry(k, rows, cols, val, x, y);
}

// The warps' carries added to y: chunks of 512, a segmented scan over each,
// a row's end adds its sum. Slot 512 is the sentinel (row -1).
__global__ void spmv_coo_reduce_update_kernel(int n, const std::int32_t* temprow, const double* tempval,
                                              double* y) {
  __shared__ int rows[GPUBLOCK + 1];
  __shared__ double vals[GPUBLOCK + 1];
  const int t = threadIdx.x;
  if (t == 0) {
    rows[GPUBLOCK] = -1;
    vals[GPUBLOCK] = 0.0;
  }
  for (int c = 0; c < n; c += GPUBLOCK) {
    rows[t] = c + t < n ? temprow[c + t] : -1;
    vals[t] = c + t < n ? tempval[c + t] : 0.0;
    __syncthreads();
    for (int dist = 1; dist < GPUBLOCK; dist *= 2) {
      const bool take = t >= dist && rows[t - dist] == rows[t];
      const double left = take ? vals[t - dist] : 0.0;
      __syncthreads();
      if (take) vals[t] += left;
      __syncthreads();
    }
    if (c + t < n && rows[t] != rows[t + 1]) y[rows[t]] += vals[t];
    __syncthreads();
  }
}

__global__ void cal_rpr0(double* r, double* p, double* z, const double* b, const double* q, const double* d) {
  rpr0(blockIdx.x * blockDim.x + threadIdx.x, r, p, z, b, q, d);
}

// alpha = state(2)/state(3) in every block (one launch, no transfer);
// block 0 keeps state(2) as the previous r.z.
__global__ void cal_alpxr(double* x, double* r, const double* p, const double* q, const double* d,
                          double* state, double* z) {
  __shared__ double alpha;
  if (threadIdx.x == 0) {
    alpha = state[1] / state[2];
    if (blockIdx.x == 0) state[0] = state[1];
  }
  __syncthreads();
  alpxr(blockIdx.x * blockDim.x + threadIdx.x, alpha, x, r, p, q, d, z);
}

__global__ void cal_betp(double* p, const double* z, const double* state) {
  __shared__ double beta;
  if (threadIdx.x == 0) beta = state[1] / state[0];
  __syncthreads();
  betp(blockIdx.x * blockDim.x + threadIdx.x, beta, p, z);
}

// A block's tree sum of s(256), halving the distance from 128 to 1.
__device__ double treesum(double* s) {
  __syncthreads();
  for (int dist = DOTBLOCK / 2; dist > 0; dist /= 2) {
    if (threadIdx.x < dist) s[threadIdx.x] += s[threadIdx.x + dist];
    __syncthreads();
  }
  return s[0];
}

__global__ void dot_p1(const double* a, const double* b, double* out) {
  extern __shared__ double s[];
  s[threadIdx.x] = dotpair(blockIdx.x, threadIdx.x, a, b);
  const double sum = treesum(s);
  if (threadIdx.x == 0) out[blockIdx.x] = sum;
}

__global__ void dot_p2(const double* in, double* out, int n) {
  extern __shared__ double s[];
  s[threadIdx.x] = dotsum(threadIdx.x, in, n);
  const double sum = treesum(s);
  if (threadIdx.x == 0) *out = sum;
}

// ---- Device operations ------------------------------------------------------------

template <class T>
void alloc(T*& p, long n) {
  void* v = nullptr;
  cudaMalloc(&v, sizeof(T) * static_cast<std::size_t>(std::max(n, 1L)));
  p = static_cast<T*>(v);
}

void setdev(int dev) { cudaSetDevice(dev); }

// The ELL arrays: pitched (the device chooses each stride) or plain (ES).
template <class T>
int ellarray(T*& dst, const std::vector<T>& src, const GPUPLAN& p) {
  const std::size_t rows = static_cast<std::size_t>(std::max(p.EW, 1));
  const std::size_t width = sizeof(T) * static_cast<std::size_t>(p.NEQ);
  if (!p.PITCHED) {
    alloc(dst, static_cast<long>(p.ES) * static_cast<long>(rows));
    if (p.EW > 0) cudaMemcpy(dst, src.data(), sizeof(T) * src.size(), cudaMemcpyHostToDevice);
    return p.ES;
  }
  void* v = nullptr;
  std::size_t pitch = 0;
  cudaMallocPitch(&v, &pitch, width, rows);
  dst = static_cast<T*>(v);
  if (p.EW > 0) cudaMemcpy2D(dst, pitch, src.data(), width, width, p.EW, cudaMemcpyHostToDevice);
  return static_cast<int>(pitch / sizeof(T));
}

template <class T>
void upvec(T*& dst, const std::vector<T>& src) {
  alloc(dst, static_cast<long>(src.size()));
  if (!src.empty()) cudaMemcpy(dst, src.data(), sizeof(T) * src.size(), cudaMemcpyHostToDevice);
}

void upload(GPUMEM& d, const GPUPLAN& p, const GPUHOST& h, const double* X, const double* F,
            const double* DINV) {
  d.PI = ellarray(d.ELLJ, h.ELLJ, p);
  d.PV = ellarray(d.ELLV, h.ELLV, p);
  const std::int32_t pitch[2] = {d.PI, d.PV};
  alloc(d.PITCH, 2);
  cudaMemcpy(d.PITCH, pitch, sizeof pitch, cudaMemcpyHostToDevice);
  upvec(d.COOR, h.COOR);
  upvec(d.COOC, h.COOC);
  upvec(d.COOV, h.COOV);
  const std::size_t vb = sizeof(double) * static_cast<std::size_t>(p.NPAD);
  for (double** v : {&d.DX, &d.DB, &d.DD, &d.DP, &d.DR, &d.DZ, &d.DQ}) {
    alloc(*v, p.NPAD);
    cudaMemset(*v, 0, vb);
  }
  const std::size_t nb = sizeof(double) * static_cast<std::size_t>(p.NEQ);
  cudaMemcpy(d.DX, X, nb, cudaMemcpyHostToDevice);
  cudaMemcpy(d.DB, F, nb, cudaMemcpyHostToDevice);
  cudaMemcpy(d.DD, DINV, nb, cudaMemcpyHostToDevice);
  alloc(d.DPART, 2560L * p.NB2);
  cudaMemset(d.DPART, 0, sizeof(double) * 2560 * static_cast<std::size_t>(p.NB2));
  alloc(d.DSTATE, 3);
  cudaMemset(d.DSTATE, 0, 3 * sizeof(double));
}

void spmv(GPUMEM& d, const GPUPLAN& p, const double* x) {
  vec_mat_ell<<<p.NBLK, GPUBLOCK>>>(d.ELLV, d.ELLJ, d.DQ, p.NEQ, p.EW, d.PITCH, x);
  if (p.NCOO == 0) return;
  if (p.NCOO < WARP) {
    spmv_coo_serial_kernel<<<1, 1>>>(d.COOR, d.COOC, d.COOV, x, d.DQ, 0, p.NCOO);
    return;
  }
  spmv_coo_flat_kernel<<<(p.WARPS + 7) / 8, FLATBLOCK>>>(d.COOR, d.COOC, d.COOV, x, d.DQ, p.TAIL,
                                                          p.INTERVAL, d.TEMPROW, d.TEMPVAL);
  if (p.TAIL < p.NCOO)
    spmv_coo_serial_kernel<<<1, 1>>>(d.COOR, d.COOC, d.COOV, x, d.DQ, p.TAIL, p.NCOO);
  spmv_coo_reduce_update_kernel<<<1, GPUBLOCK>>>(p.ACTIVE, d.TEMPROW, d.TEMPVAL, d.DQ);
}

void rpr0k(GPUMEM& d, const GPUPLAN& p) { cal_rpr0<<<p.NBLK, GPUBLOCK>>>(d.DR, d.DP, d.DZ, d.DB, d.DQ, d.DD); }

void dot(GPUMEM& d, const GPUPLAN& p, const double* a, const double* b, int slot) {
  const std::size_t sh = DOTBLOCK * sizeof(double);
  dot_p1<<<p.NBLK, DOTBLOCK, sh>>>(a, b, d.DPART);
  dot_p2<<<1, DOTBLOCK, sh>>>(d.DPART, d.DSTATE + slot - 1, p.NB2);
}

void alpxrk(GPUMEM& d, const GPUPLAN& p) {
  cal_alpxr<<<p.NBLK, GPUBLOCK>>>(d.DX, d.DR, d.DP, d.DQ, d.DD, d.DSTATE, d.DZ);
}

void betpk(GPUMEM& d, const GPUPLAN& p) { cal_betp<<<p.NBLK, GPUBLOCK>>>(d.DP, d.DZ, d.DSTATE); }

double state(GPUMEM& d, int slot) {
  double v = 0.0;
  cudaMemcpy(&v, d.DSTATE + slot - 1, sizeof v, cudaMemcpyDeviceToHost);
  return v;
}

void download(GPUMEM& d, const GPUPLAN& p, double* X) {
  cudaMemcpy(X, d.DX, sizeof(double) * static_cast<std::size_t>(p.NEQ), cudaMemcpyDeviceToHost);
}

void release(GPUMEM& d) {
  GPUARRAYS(d, [](auto*& a) { cudaFree(a), a = nullptr; });
}

void carry(GPUMEM& d, bool free) {
  if (!free) {
    alloc(d.TEMPROW, GPUMAXWARPS);
    alloc(d.TEMPVAL, GPUMAXWARPS);
    return;
  }
  cudaFree(d.TEMPROW);
  cudaFree(d.TEMPVAL);
  d.TEMPROW = nullptr;
  d.TEMPVAL = nullptr;
}

const char* error() {
  const cudaError_t e = cudaGetLastError();
  return e == cudaSuccess ? nullptr : cudaGetErrorString(e);
}

constexpr GPUOPS DEVICE = {setdev, upload, spmv, rpr0k, dot, alpxrk, betpk, state, download, release, carry, error};

}  // namespace

bool DEVLAYER() { return true; }

const GPUOPS& GPUDEVICEOPS() { return DEVICE; }

double GPUCOPYBW(long BYTES) {
  int count = 0;
  if (cudaGetDeviceCount(&count) != cudaSuccess || count == 0) {
    cudaGetLastError();
    return 0.0;
  }
  void *a = nullptr, *b = nullptr;
  cudaMalloc(&a, static_cast<std::size_t>(BYTES));
  cudaMalloc(&b, static_cast<std::size_t>(BYTES));
  cudaEvent_t e0, e1;
  cudaEventCreate(&e0);
  cudaEventCreate(&e1);
  constexpr int REPS = 20;
  cudaMemcpy(b, a, static_cast<std::size_t>(BYTES), cudaMemcpyDeviceToDevice);
  cudaEventRecord(e0);
  for (int k = 0; k < REPS; ++k) cudaMemcpy(b, a, static_cast<std::size_t>(BYTES), cudaMemcpyDeviceToDevice);
  cudaEventRecord(e1);
  cudaEventSynchronize(e1);
  float ms = 0.0f;
  cudaEventElapsedTime(&ms, e0, e1);
  cudaEventDestroy(e0);
  cudaEventDestroy(e1);
  cudaFree(a);
  cudaFree(b);
  const bool ok = cudaGetLastError() == cudaSuccess && ms > 0.0f;
  // A copy reads and writes each byte.
  return ok ? 2.0 * REPS * static_cast<double>(BYTES) / (1.0e-3 * ms) * 1.0e-9 : 0.0;
}

}  // namespace ossa::solvers
