// ORK multifrontal solver: analysis of the pattern (ordering, supernodes,
// assembly tree, sizes) and its place in the solver frame.
#pragma once
#include <cstdint>

#include "model/model.hpp"
#include "solvers/ork/orkdata.hpp"

namespace ossa::solvers {

using model::Model;

// ---- Solver frame (KK(21)=2) ------------------------------------------------
// Budget test of 5*NEQ+2*NZ words, allocation of W and PERM, ORKANA on the
// memory left, the memory report (first preparation of the job only), and
// EXEC.WK1 / EXEC.WK2 opened on UNIT(3) / UNIT(4). Memory stops use -5, NO2.
void ORKPREP(Model& m, int NO2);
// Releases ORKI, ORKR, W and PERM and deletes EXEC.WK1 and EXEC.WK2.
void ORKFREE(Model& m);
// Record length in bytes of EXEC.WK1 and EXEC.WK2: 1024 reals.
inline constexpr long ORKRECL = 8192;

// ---- Analysis ---------------------------------------------------------------
// The whole analysis on IA/JA (one-based, diagonal first, strict upper half)
// of m. FREE: free words. Fills m.ORK (ORKI, ORKR, ISIZ, RSIZIN, RSIZOUT,
// figures). A size test that fails stops the job with the shortfall in MB,
// error -5, NO2.
void ORKANA(Model& m, long FREE, int NRHS, int NO2);

// Result of the analysis without the stop, for callers that test it.
struct ORKRESULT {
  int STATUS = 0;        // status code of the first phase that failed, 0 if none
  double SHORTMB = 0.0;  // shortfall in MB when a size test failed, else 0
};
// As ORKANA, but returns instead of stopping. On a shortfall ORKI/ORKR are
// left unallocated.
ORKRESULT ORKANAP(ORKDATA& o, long FREE, int NEQ, const std::int32_t* IA, const std::int32_t* JA,
                  int NRHS);

// Analysis options, fixed by ORKANA; tests may change them.
struct ORKOPT {
  int METHOD = 1;   // 1 METIS nested dissection followed by ORKMMD; 0 free multiple minimum degree
  int PRUNE = 1;    // degree pruning on
  int ONEMAT = 1;   // one compressed matrix
  int FIXED = 0;    // no marked variables
  int AMALG = 256;  // limit of explicit zeros per node in ORKAMALG
};
ORKRESULT ORKANAP(ORKDATA& o, long FREE, int NEQ, const std::int32_t* IA, const std::int32_t* JA,
                  int NRHS, const ORKOPT& opt);

// Least scratch size in words: 4*NEQ + IA(NEQ+1) + 101.
long ORKMINWS(int NEQ, const std::int32_t* IA);

// Status codes of the analysis phases.
enum OrkStatus : int {
  ORK_OK = 0,
  ORK_WS4 = 4,      // workspace too small (compression / ordering)
  ORK_WS5 = 5,      // workspace too small (symbolic lists)
  ORK_TREE = 6,     // tree walk did not reach every node
  ORK_WS11 = 11,    // workspace too small (sizes)
  ORK_NOLIVE = 22,  // no live variable found
  ORK_BADIA = 24,   // IA decreases
  ORK_BADJA = 25,   // a row's columns out of range, not ascending, or below the diagonal
  ORK_WS26 = 26,    // scratch too small for compression
  ORK_MARK = 29,    // marked variables with marks switched off
  ORK_METIS = 30    // METIS refused the graph
};

}  // namespace ossa::solvers
