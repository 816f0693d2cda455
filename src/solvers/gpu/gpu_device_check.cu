// The runtime's answers for the device report: count, versions and each
// device's properties. Properties that the toolkit no longer keeps in its
// property record (clock, overlap, run time limit, compute mode) are asked
// for one by one.
#include <cuda_runtime.h>

#include "solvers/gpu/gpuops.hpp"

namespace ossa::solvers {

namespace {

int attr(cudaDeviceAttr a, int dev) {
  int v = 0;
  cudaDeviceGetAttribute(&v, a, dev);
  return v;
}

GPUPROPS propsof(int dev) {
  cudaDeviceProp d{};
  cudaGetDeviceProperties(&d, dev);
  GPUPROPS p;
  p.name = d.name;
  p.major = d.major;
  p.minor = d.minor;
  p.globalmem = d.totalGlobalMem;
  p.constmem = static_cast<unsigned>(d.totalConstMem);
  p.sharedperblock = static_cast<unsigned>(d.sharedMemPerBlock);
  p.mempitch = static_cast<unsigned>(d.memPitch);
  p.texalign = static_cast<unsigned>(d.textureAlignment);
  p.regsperblock = d.regsPerBlock;
  p.warpsize = d.warpSize;
  p.maxthreads = d.maxThreadsPerBlock;
  for (int k = 0; k < 3; ++k) {
    p.blockdim[k] = d.maxThreadsDim[k];
    p.griddim[k] = d.maxGridSize[k];
  }
  p.clockkhz = attr(cudaDevAttrClockRate, dev);
  p.overlap = attr(cudaDevAttrGpuOverlap, dev);
  p.timeout = attr(cudaDevAttrKernelExecTimeout, dev);
  p.integrated = d.integrated;
  p.maphost = d.canMapHostMemory;
  p.computemode = attr(cudaDevAttrComputeMode, dev);
  p.concurrent = d.concurrentKernels;
  p.ecc = d.ECCEnabled;
  p.tcc = d.tccDriver;
  return p;
}

}  // namespace

GPUINFO GPUQUERY() {
  GPUINFO info;
  int count = 0;
  if (cudaGetDeviceCount(&count) != cudaSuccess) {
    info.countok = false;
    count = 0;
  }
  info.count = count;
  cudaDriverGetVersion(&info.driver);
  cudaRuntimeGetVersion(&info.runtime);
  for (int dev = 0; dev < count; ++dev) info.props.push_back(propsof(dev));
  cudaGetLastError();  // the check's errors are reported, not carried into the solve
  return info;
}

}  // namespace ossa::solvers
