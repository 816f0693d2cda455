// The device CG's iteration on the host side: set-up, transfers, the loop
// whose alpha and beta never leave the device, the sparse readings of r.z,
// and gpu_solver.log.
#include <chrono>
#include <cmath>
#include <cstdio>

#include "solvers/gpu/gpu.hpp"

namespace ossa::solvers {

namespace {

constexpr int MARKER = 12345;

double seconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Statistics, ELL width, split counts, layout: set-up steps 3 to 7.
GPUPLAN plan(std::FILE* log, const int* IAF, const int* JAF, const double* AF, int NEQ, GPUHOST& h) {
  const GPUPLAN p = GPUPLANOF(IAF, NEQ);
  std::fprintf(log, "maxnz = %d\n nz_per_row = %lg\n deviation = %lg\n", p.MAXNZ, p.MEAN, p.DEV);
  std::fprintf(log, "column .lt. %d > ELL\n", p.EW);
  std::fprintf(log, "nz_ell = %d, nz_ell/nz = %f\n", p.NZELL, static_cast<double>(p.NZELL) / p.NZ);
  std::fprintf(log, p.PITCHED ? "Memcpy2D\n" : "Memcpy\n");
  GPUSPLITIDX(p, IAF, JAF, h);
  const double t0 = seconds();
  GPUSPLITVAL(p, IAF, AF, h);
  const double t = seconds() - t0;
  std::fprintf(log, "time( CRS > ELL ) = %.5f time_total( CRS > ELL ) = %.5f \n", t, t);
  std::fprintf(log, "nz = %d\n", p.NZ);
  return p;
}

// The next gap between readings, by how far RZ is from the target; at most SQ.
int nextgap(int GAP, double RZ, double TARGET, int SQ) {
  if (RZ < 10.0 * TARGET) GAP = 1;
  else if (RZ < 1.0e4 * TARGET) GAP = 10;
  else if (RZ < 1.0e7 * TARGET) GAP = 100;
  else if (RZ < 1.0e10 * TARGET) GAP = 1000;
  return GAP < SQ ? GAP : SQ;
}

// "error : %s" when the device reports an error; true then.
bool failed(std::FILE* log, const GPUOPS& OPS) {
  const char* e = OPS.ERROR();
  if (e) std::fprintf(log, "error : %s\n", e);
  return e != nullptr;
}

// The iteration from the uploaded start to convergence or MAXIT = NEQ/5.
// Returns -1 when not converged, else 0; ITS receives the iterations taken.
int iterate(std::FILE* log, const GPUOPS& OPS, GPUMEM& d, const GPUPLAN& p, double EPS, int& ITS) {
  OPS.SPMV(d, p, d.DX);
  OPS.RPR0(d, p);
  std::fprintf(log, "BLOCK_SIZE=%d GRID_SIZE=%d\n", GPUBLOCK, p.NBLK);
  OPS.DOT(d, p, d.DR, d.DZ, 2);
  const double RZ0 = OPS.STATE(d, 2);
  const double TARGET = RZ0 * EPS * EPS;
  std::fprintf(log, "itr = %d, r^2 = %.10e, r0^2*eps = %.10e\n", 0, RZ0, TARGET);
  // A start that solves the system exactly (a zero load on a zero start) has
  // nothing to iterate: its first alpha would be 0/0.
  if (RZ0 == 0.0) {
    std::fprintf(log, "itr = %d, r^2 = %.10e, r0^2*eps = %.10e Converged!\n\n ", 0, RZ0, TARGET);
    return 0;
  }
  const int SQ = static_cast<int>(std::sqrt(static_cast<double>(p.NEQ)));
  // A start reading that is no finite number (a zero pivot) cannot converge.
  const int MAXIT = std::isfinite(RZ0) ? p.NEQ / 5 : 0;
  int GAP = SQ, LAST = 0, ITR = 0;
  double RZ = RZ0;  // the host's copy, until the first reading
  for (; ITR < MAXIT; ++ITR) {
    OPS.SPMV(d, p, d.DP);
    OPS.DOT(d, p, d.DP, d.DQ, 3);
    OPS.ALPXR(d, p);
    OPS.DOT(d, p, d.DR, d.DZ, 2);
    if (ITR - LAST >= GAP) {
      RZ = OPS.STATE(d, 2);
      if (TARGET > RZ) {
        std::fprintf(log, "itr = %d, r^2 = %.10e, r0^2*eps = %.10e Converged!\n\n ", ITR + 1, RZ,
                     TARGET);
        ITS = ITR + 1;
        return 0;
      }
      LAST = ITR;
      GAP = nextgap(GAP, RZ, TARGET, SQ);
    }
    OPS.BETP(d, p);
  }
  // ITR is the count of iterations taken. A reading that is no finite number
  // (a breakdown) is not converged either.
  ITS = ITR;
  if (!(std::isfinite(RZ) && RZ <= TARGET)) {
    std::fprintf(log, "not converged! itr = %d, r^2 = %.10e, r0^2*eps = %.10e\n\n ", ITR, RZ, TARGET);
    return -1;
  }
  return 0;
}

}  // namespace

int GPUCG(model::GPUDATA& G, const GPUOPS& OPS, const double* AF, const int* IAF, const int* JAF,
          int NEQ, double* X, const double* F, double EPS, double* DIAG, int DEVICE) {
  int STATUS = 1;
  std::FILE* log = std::fopen("gpu_solver.log", G.MARK == MARKER ? "a" : "w");
  if (!log) return STATUS;
  if (G.MARK != MARKER) {
    OPS.SETDEV(DEVICE);
    std::fprintf(log, "Device %d: \"%s\"\n", DEVICE, G.NAME.c_str());
    if (failed(log, OPS)) return std::fclose(log), STATUS;
    G.MARK = MARKER;
  }
  const double t0 = seconds();
  for (int i = 0; i < NEQ; ++i) DIAG[i] = 1.0 / DIAG[i];
  std::fprintf(log, "time( scalling(CPU) ) = %.5f\n", seconds() - t0);
  GPUHOST h;
  const GPUPLAN p = plan(log, IAF, JAF, AF, NEQ, h);
  GPUMEM d;
  // The carry arrays are kept for the job, at the most warps the product uses.
  if (p.NCOO >= 32 && !G.TEMPROW) {
    OPS.CARRY(d, false);
    G.TEMPROW = d.TEMPROW;
    G.TEMPVAL = d.TEMPVAL;
  }
  d.TEMPROW = static_cast<std::int32_t*>(G.TEMPROW);
  d.TEMPVAL = static_cast<double*>(G.TEMPVAL);
  OPS.UPLOAD(d, p, h, X, F, DIAG);
  std::fprintf(log, "row = %d pitch_i = %d pitch_v = %d\n", NEQ, d.PI, d.PV);
  bool err = failed(log, OPS);
  G.NITS = 0;
  if (!err) STATUS = iterate(log, OPS, d, p, EPS, G.NITS);
  if (!err) OPS.DOWNLOAD(d, p, X);
  err = err || failed(log, OPS);
  OPS.RELEASE(d);
  std::fclose(log);
  if (!err && STATUS != -1) STATUS = 0;
  return STATUS;
}

void GPUDONE(model::GPUDATA& G, const GPUOPS& OPS) {
  GPUMEM d;
  d.TEMPROW = static_cast<std::int32_t*>(G.TEMPROW);
  d.TEMPVAL = static_cast<double*>(G.TEMPVAL);
  if (d.TEMPROW) OPS.CARRY(d, true);
  G.TEMPROW = G.TEMPVAL = nullptr;
}

}  // namespace ossa::solvers
