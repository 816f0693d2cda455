// The records shared by the host side and the device code of the device CG:
// the device report, the plan of one solve, the split matrix, the device
// arrays and the table of device operations. Free of the Model, so that the
// device code (nvcc) compiles against this header alone.
#pragma once
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace ossa::solvers {

// ---- Device check and report ------------------------------------------------

// One device's properties, as far as the report prints them.
struct GPUPROPS {
  std::string name;
  int major = 0, minor = 0;
  unsigned long long globalmem = 0;
  unsigned constmem = 0, sharedperblock = 0, mempitch = 0, texalign = 0;
  int regsperblock = 0, warpsize = 0, maxthreads = 0;
  int blockdim[3] = {0, 0, 0}, griddim[3] = {0, 0, 0};
  int clockkhz = 0;
  int overlap = 0, timeout = 0, integrated = 0, maphost = 0, computemode = 0, concurrent = 0,
      ecc = 0, tcc = 0;
};

// What the runtime says about the machine's devices.
struct GPUINFO {
  bool countok = true;  // the device count could be read
  int count = 0;
  int driver = 0, runtime = 0;  // versions, 1000 major + 10 minor
  std::vector<GPUPROPS> props;  // one per device
};

// Asks the runtime (a build without CUDA finds nothing).
GPUINFO GPUQUERY();

// Threads of a block of the vector kernels; most warps of the flat COO kernel.
inline constexpr int GPUBLOCK = 512;
inline constexpr int GPUMAXWARPS = 480;

// The sizes of one solve.
struct GPUPLAN {
  int NEQ = 0, NBLK = 0, NPAD = 0, NB2 = 0;
  int NZ = 0, MAXNZ = 0;
  double MEAN = 0.0, DEV = 0.0;   // row length: mean and standard deviation
  int EW = 0, ES = 0;             // ELL width and the host's stride
  bool PITCHED = false;           // pitched transfer (else plain, ES on both sides)
  int NZELL = 0, NCOO = 0;
  // The flat COO product: entries in warps of 32, WARPS warps of INTERVAL
  // entries up to TAIL; the rest goes to the serial kernel.
  int UNITS = 0, WARPS = 0, ITERS = 0, INTERVAL = 0, TAIL = 0, ACTIVE = 0;
};

// Host arrays of the split: ELL slot k of row r at k ES + r, zero-based
// columns, empty slots 0.0 and column 0; COO in ascending rows.
struct GPUHOST {
  std::vector<double> ELLV, COOV;
  std::vector<std::int32_t> ELLJ, COOR, COOC;
};

// ---- Device operations -------------------------------------------------------

// Addresses of one solve's device arrays (host addresses in the emulation),
// with the strides of ELLJ and ELLV in entries.
struct GPUMEM {
  double* ELLV = nullptr;
  std::int32_t* ELLJ = nullptr;
  std::int32_t* PITCH = nullptr;  // on the device: the two strides
  std::int32_t *COOR = nullptr, *COOC = nullptr;
  double* COOV = nullptr;
  double *DX = nullptr, *DB = nullptr, *DD = nullptr, *DP = nullptr, *DR = nullptr,
         *DZ = nullptr, *DQ = nullptr, *DPART = nullptr, *DSTATE = nullptr;
  std::int32_t* TEMPROW = nullptr;
  double* TEMPVAL = nullptr;
  int PI = 0, PV = 0;  // host copies of the strides
};

// F on each array of one solve but the carry arrays (their addresses' owners).
template <class F>
void GPUARRAYS(GPUMEM& d, F&& f) {
  f(d.ELLV), f(d.ELLJ), f(d.PITCH), f(d.COOR), f(d.COOC), f(d.COOV);
  for (double** v : {&d.DX, &d.DB, &d.DD, &d.DP, &d.DR, &d.DZ, &d.DQ, &d.DPART, &d.DSTATE}) f(*v);
}

// What the iteration asks of a device. Each call is one or a few kernel
// launches or copies; ERROR gives the last error's text and clears it
// (nullptr when there was none).
struct GPUOPS {
  void (*SETDEV)(int DEVICE);
  // Allocation and all uploads of set-up steps 8 and 9; fills the strides.
  void (*UPLOAD)(GPUMEM& d, const GPUPLAN& p, const GPUHOST& h, const double* X, const double* F,
                 const double* DINV);
  void (*SPMV)(GPUMEM& d, const GPUPLAN& p, const double* V);  // DQ = K V
  void (*RPR0)(GPUMEM& d, const GPUPLAN& p);
  void (*DOT)(GPUMEM& d, const GPUPLAN& p, const double* A, const double* B, int SLOT);
  void (*ALPXR)(GPUMEM& d, const GPUPLAN& p);
  void (*BETP)(GPUMEM& d, const GPUPLAN& p);
  double (*STATE)(GPUMEM& d, int SLOT);                   // DSTATE(SLOT) to the host
  void (*DOWNLOAD)(GPUMEM& d, const GPUPLAN& p, double* X);  // NEQ entries of DX
  void (*RELEASE)(GPUMEM& d);                             // all but the carry arrays
  void (*CARRY)(GPUMEM& d, bool FREE);                    // the carry arrays, GPUMAXWARPS each
  const char* (*ERROR)();
};

// The device's copy bandwidth in GB/s over BYTES (0 without a device), for
// the benchmark's reference.
double GPUCOPYBW(long BYTES);

}  // namespace ossa::solvers
