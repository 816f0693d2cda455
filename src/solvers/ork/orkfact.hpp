// ORK numeric phase: multifrontal L D L^T along the assembly tree of the
// analysis, with the factors and the contribution stack spilling to
// EXEC.WK1 and EXEC.WK2 when ORKR runs out, then the solve and its check.
#pragma once
#include <cstdint>

#include "base/files.hpp"
#include "model/model.hpp"
#include "solvers/ork/orkdata.hpp"

namespace ossa::solvers {

using model::Model;

// Reals per record of the spill files (8192 bytes).
inline constexpr long ORKREC = 1024;

// State of one spill file's buffer.
struct ORKFILE {
  int BUFVALID = 0;  // the buffer holds record BUFREC
  int BUFREC = 0;
  int BUFDIRTY = 0;  // the buffer must reach the file before it is reused
};

// Status codes of the numeric phase, passed up and never printed.
enum OrkNumStatus : int {
  ORK_SPILLF = 7,     // factors must go to file (handled)
  ORK_RSMALL = 11,    // integer or real area too small at entry
  ORK_LISTFULL = 13,  // integer list space exhausted by delayed pivots
  ORK_SPILLS = 14,    // the stack must go to file (handled)
  ORK_FRONTBIG = 15,  // front larger than memory
  ORK_COLBIG = 16,    // not one column of a stacked block fits
  ORK_READ = 17,
  ORK_WRITE = 18,
  ORK_NOSOLVE = 19,   // no room for the solve
  ORK_UNITS = 20,     // file units inconsistent
  ORK_DELAYU0 = 21,   // delayed pivots with U = 0
  ORK_ROOTDELAY = 666 // delayed pivots at a root
};

// Writes COUNT reals at file position POS (from 1) through the buffer BUF of
// ORKREC reals; LAST=1 flushes the buffer at the end. Returns 0 or 18 (17
// when a partly covered record cannot be read first).
int ORKPUT(base::Unit& u, long POS, long COUNT, const double* DATA, ORKFILE& ST, double* BUF, int LAST);
// Reads them back, from the last record to the first; the buffer keeps the
// first record. Returns 0, 17 or 18.
int ORKGET(base::Unit& u, long POS, long COUNT, double* DATA, ORKFILE& ST, double* BUF);

// State of one factorisation, handed from ORKFACT to ORKSOLVE.
struct ORKNUM {
  double U = 0.0, U2 = 0.0;  // pivot thresholds
  long FPOS = 1;             // next free position of the factor space
  long FBASE = 1;            // ORKR position where the front starts
  long SBOT = 0;             // lowest occupied position of the in-core stack
  long STOP = 0;             // reals on the file stack
  long FLEN = 0;             // factor length, or the largest block when on file
  int FSPILL = 0, SSPILL = 0;
  int NFORCED = 0, NZINV = 0;  // totals over the nodes (ORKTOTALS)
  int MAXFO = 0;               // largest actual front
  int NSUBT = 0;               // subtrees factorised on threads of their own
  ORKFILE F1, F2;
  base::Unit* WK1 = nullptr;
  base::Unit* WK2 = nullptr;
};

// Factorises AV (upper half, diagonal first) along the analysis in O.
// U1/U2 are the units of EXEC.WK1/EXEC.WK2 (nullptr: no file, the run ends
// when memory runs out). Returns 0 or a status above. It runs on the
// parallel runtime's threads (independent subtrees, then the updates of
// large fronts shared by columns); the factors are the same bits for any
// number of threads.
int ORKFACT(ORKDATA& O, ORKNUM& N, const std::int32_t* IA, const std::int32_t* JA, const double* AV,
            base::Unit* U1, base::Unit* U2, double U = 0.009999999776482582);
// Solves for NRHS columns of F (leading dimension NEQ) into X. Returns 0 or a status.
int ORKSOLVE(ORKDATA& O, ORKNUM& N, int NRHS, const double* F, double* X);
// Largest absolute component of K X - F over NRHS columns; W receives K X - F.
double ORKRESID(int NEQ, const std::int32_t* IA, const std::int32_t* JA, const double* AV, int NRHS,
                const double* X, const double* F, double* W);

// Factorises m.AV, solves for the NRHS columns of m.RHS into m.DX and checks
// the residual: above 0.1 the job stops, with "CONSTRAINT CONDITION MIGHT BE
// WRONG." (-4) when ITER <= 1, else "NONLINEAR CALCULATION DISPERSE." (-9).
void SOLVE_ORK(Model& m, int NRHS, int ITER);
inline void SOLVE_ORK(Model& m, int ITER) { SOLVE_ORK(m, 1, ITER); }

}  // namespace ossa::solvers
