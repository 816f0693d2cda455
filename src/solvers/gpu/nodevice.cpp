// The device layer of a build without CUDA: no device is found, so the check
// sends every job to the processor CG; the device operations are never
// reached and report an error if they are.
#include "solvers/gpu/gpu.hpp"

namespace ossa::solvers {

namespace {

constexpr const char* ERRTEXT = "no CUDA device layer in this build";
void setdev(int) {}
void upload(GPUMEM&, const GPUPLAN&, const GPUHOST&, const double*, const double*, const double*) {}
void spmv(GPUMEM&, const GPUPLAN&, const double*) {}
void vec(GPUMEM&, const GPUPLAN&) {}
void dot(GPUMEM&, const GPUPLAN&, const double*, const double*, int) {}
double state(GPUMEM&, int) { return 0.0; }
void download(GPUMEM&, const GPUPLAN&, double*) {}
void release(GPUMEM&) {}
void carry(GPUMEM&, bool) {}
// Every question after the error state is the same answer: no device.
const char* error() { return ERRTEXT; }

constexpr GPUOPS NONE = {setdev, upload, spmv, vec, dot, vec, vec, state, download, release, carry, error};

}  // namespace

bool DEVLAYER() { return false; }
GPUINFO GPUQUERY() { return {}; }
const GPUOPS& GPUDEVICEOPS() { return NONE; }
double GPUCOPYBW(long) { return 0.0; }

}  // namespace ossa::solvers
