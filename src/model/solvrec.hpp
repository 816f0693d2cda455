// The solvers' own records, members of the Model: ORK's arrays and scalars
// (the packed analysis in ORKI, the real work array ORKR, the solve's work
// vectors and the figures of the analysis), the third-party solver's, the
// processor CG's and the device CG's arrays.
// The solvers fill and use them; the Model only owns and counts them.
#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/array.hpp"

namespace ossa::model {

struct ORKDATA {
  base::Arr1<std::int32_t> ORKI;   // packed analysis: header, node table, lists, maps
  base::Arr1<double> ORKR;         // factors, fronts, stack, file buffers: all memory left
  base::Arr2<double> W;            // NEQ x 2: residual of each right-hand side
  base::Arr1<std::int32_t> PERM;   // NEQ: marks of variables to go last (cleared, unused)
  long ISIZ = 0;                   // length of ORKI, margin included
  long RSIZIN = 0;                 // reals needed with everything in core, margin included
  long RSIZOUT = 0;                // reals needed with factors and stack on file, margin included
  long AVAIL = 0;                  // length of ORKR
  int NRHS = 1;                    // right-hand sides the sizes were planned for
  int ERRSTATE = 0;                // status word of the last ORK phase
  int NPREP = 0;                   // preparations so far in this job (the report comes once)
  // Figures of the analysis, for reports and checks.
  int NCOMP = 0;                   // variables after compression
  int NSUP = 0;                    // nodes after amalgamation
  int MAXFO = 0;                   // largest front order
  long FACT = 0;                   // planned factor entries, explicit zeros included
  long EXTRA = 0;                  // explicit zeros added by amalgamation
  long MAXBLK = 0;                 // largest factor block
  long PEAK = 0;                   // in-core peak of factors + stack + front
  long PEAK2 = 0;                  // largest front + contributions being assembled into it
  double OPS = 0.0;                // planned flops of the factorisation (no delays)
  std::vector<std::string> LOG;    // lines of the last analysis for the log, each message after its empty line
};

// The multigrid preconditioner's instance: a type its engine's driver alone
// knows.
struct AMGPRE;

// Processor CG: the preconditioner's off-diagonal values and the six work
// vectors (see CGSOLVE).
struct CGDATA {
  base::Arr1<double> LV;           // NZ
  base::Arr2<double> CGW;          // NEQ, 6
  base::Arr1<std::int32_t> CGGRP;  // NEQ: row groups of the iteration kernels
  // Shift of the diagonal preconditioner; once raised it stays for the job.
  double CGSHIFT = 1.5;
  // Iterations of the last solve, for the residual table of the log.
  int NITS = 0;
  // The multigrid set-up, kept from one solve to the next while it stays a
  // good preconditioner of the matrix at hand.
  std::shared_ptr<AMGPRE> AMG;
};

// Device CG: the full matrix and the diagonal handed to the device, and what
// outlives one solve: the device's name from the check, the first-call
// marker, and the carry arrays of the COO product (device addresses), which
// are allocated once a job at their largest size.
struct GPUDATA {
  base::Arr1<std::int32_t> IAF;    // NEQ+1
  base::Arr1<std::int32_t> JAF;    // 2 NZ - NEQ
  base::Arr1<double> AF;           // 2 NZ - NEQ
  base::Arr1<double> DIAG;         // NEQ
  std::string NAME;                // the checked device's name
  bool CHECKED = false;            // the device check has run in this job
  bool EMULATE = false;            // the device is the host emulation (set by tests, not decks)
  int MARK = 0;                    // 12345 once the device has been set up
  int NITS = 0;                    // iterations of the last solve
  void* TEMPROW = nullptr;         // carry rows of the COO warps
  void* TEMPVAL = nullptr;         // carry values of the COO warps
};

// The third-party direct solver's instance: a type its driver alone knows.
struct PDSHANDLE;

// The third-party direct solver (KK(21)=3): its instance while an analysis
// stands, the coordinate rows and the fill-reducing order it is handed, and
// its memory estimates after the analysis.
struct PDSDATA {
  PDSHANDLE* PT = nullptr;         // the instance; null when no analysis stands
  base::Arr1<std::int32_t> IRN;    // NZ: row of each stored entry (columns are JA)
  base::Arr1<std::int32_t> PERM;   // NEQ: position of each equation in the pivot order
  long MEMP = 0;                   // words of the process with the largest share
  long MEMN = 0;                   // words of all other processes
  int INFO1 = 0, INFO2 = 0;        // the solver's status pair after its last call
  int NULLPIV = 0;                 // null pivots found by the last factorisation
};

// Four-byte words held by ORK's arrays, for the budget sum.
inline long ORKWORDS(const ORKDATA& o) {
  return o.ORKI.size() + 2 * o.ORKR.size() + 2 * o.W.size() + o.PERM.size();
}

// Four-byte words held by the third-party solver's arrays on this side.
inline long PDSWORDS(const PDSDATA& p) { return p.IRN.size() + p.PERM.size(); }

// Four-byte words held by the processor CG's arrays.
inline long CGWORDS(const CGDATA& c) { return 2 * c.LV.size() + 2 * c.CGW.size() + c.CGGRP.size(); }

// Four-byte words held by the device CG's host arrays.
inline long GPUWORDS(const GPUDATA& g) {
  return g.IAF.size() + g.JAF.size() + 2 * g.AF.size() + 2 * g.DIAG.size();
}

}  // namespace ossa::model
