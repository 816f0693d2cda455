// Conjugate gradients on a CUDA device: the device check and its report, the
// full matrix, the split into an ELL and a COO part, and the iteration, whose
// scalars stay on the device and whose r.z the host reads only now and then.
//
// All of this is plain array work on the host. What touches the device goes
// through one table of functions, GPUOPS: GPUDEVICEOPS() is the CUDA one
// (cg_gpu.cu; a build without nvcc has a stub that finds no device) and
// GPUEMUOPS() runs the same kernels on the host, in the same order of
// operations, so that the whole path is tested without a device.
#pragma once
#include <cstdio>
#include <string>
#include <vector>

#include "model/model.hpp"
#include "solvers/gpu/gpuops.hpp"

namespace ossa::solvers {

using model::Model;

// ---- Device check and report ------------------------------------------------

// Writes the report of INFO to OUT for device DEVICE and gives its NAME (at
// most NAMELEN characters). DEVICE becomes -1 when the device is absent or
// has no double precision. "\nFAILED\n" goes to the console when the count
// could not be read.
void GPUREPORT(std::FILE* OUT, const GPUINFO& INFO, int& DEVICE, std::string& NAME, int NAMELEN);

// The report of INFO to a new gpu_device.txt.
void GPUPROBE(const GPUINFO& INFO, int& DEVICE, std::string& NAME, int NAMELEN);

// The device check of KK(28) >= 0: the probe, the check's two lines in the
// log, KK(28) = -1 when the device cannot be used. With m.GPU.EMULATE the
// machine has one device, the host emulation.
void GPUCHECK(Model& m);

// The machine as the emulation presents it: one device, "Host emulation".
GPUINFO GPUEMUINFO();

// The device operations of the job: the CUDA device's, or the emulation's.
const GPUOPS& GPUJOBOPS(const Model& m);

// Whether this build has the CUDA layer.
bool DEVLAYER();

// ---- Full matrix, ELL width and split ---------------------------------------

// The full matrix from the half-stored lower one (one-based, diagonal first):
// rows in ascending columns, NFULL = 2 NZ - NEQ entries; DIAG the diagonal.
void GPUEXPAND(const int* IA, const int* JA, const double* AV, int NZ, int NEQ, int* IAF, int* JAF,
               double* AF, int NFULL, double* DIAG);

// Vector sizes, row statistics, the ELL width, the split counts, the layout
// and the COO plan of a full matrix IAF (one-based).
GPUPLAN GPUPLANOF(const int* IAF, int NEQ);

// The ELL width: the first k with NEQ > 3 C or C < 4096, C the rows longer
// than k; H(0..MAXNZ) the histogram of row lengths.
int GPUELLW(const std::vector<int>& H, int NEQ);

// The COO kernels' plan for NCOO entries (fills UNITS .. ACTIVE).
void GPUCOOPLAN(GPUPLAN& p);

// The index pass and the value pass of the split.
void GPUSPLITIDX(const GPUPLAN& p, const int* IAF, const int* JAF, GPUHOST& h);
void GPUSPLITVAL(const GPUPLAN& p, const int* IAF, const double* AF, GPUHOST& h);

// ---- Device operations -------------------------------------------------------

const GPUOPS& GPUDEVICEOPS();
const GPUOPS& GPUEMUOPS();

// ---- The iteration -----------------------------------------------------------

// Jacobi-preconditioned CG on the device from the start X until r.z falls
// below EPS^2 r0.z0, logging to gpu_solver.log. DIAG is inverted in place.
// Returns STATUS: 0 converged, 1 a device error, -1 not converged. G keeps
// the first-call marker and the carry arrays from one solve to the next.
int GPUCG(model::GPUDATA& G, const GPUOPS& OPS, const double* AF, const int* IAF, const int* JAF,
          int NEQ, double* X, const double* F, double EPS, double* DIAG, int DEVICE);

// Releases what GPUCG keeps for the job (the carry arrays).
void GPUDONE(model::GPUDATA& G, const GPUOPS& OPS);

}  // namespace ossa::solvers
