// ORK multifrontal solver: analysis of the pattern (ordering, supernodes,
// assembly tree, sizes) and its place in the solver frame.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

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
// error -5, NO2. The analysis's own messages go to the log first.
void ORKANA(Model& m, long FREE, int NRHS, int NO2);

// Result of the analysis without the stop, for callers that test it.
struct ORKRESULT {
  int STATUS = 0;        // status code of the first phase that failed, 0 if none
  double SHORTMB = 0.0;  // shortfall in MB when a size test failed, else 0
};
// As ORKANA, but returns instead of stopping, and leaves the analysis's
// messages in o.LOG. On a shortfall ORKI/ORKR are left unallocated.
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

// ---- Phases of the analysis --------------------------------------------------
// All of them work inside one scratch integer array. A section of n entries
// is taken as a pointer p with p[1..n] valid (p[0] unused).
struct ORKWS {
  std::int32_t* S = nullptr;  // the scratch array
  long LEN = 0;               // its entries (HALF)
  long TOP = 0;               // entries taken
  long NEED = 0;              // most entries any phase asked for
  // Records the need and tells whether n more entries (a section of n-1) fit.
  bool fits(long n) {
    if (TOP + n > NEED) NEED = TOP + n;
    return TOP + n <= LEN;
  }
  std::int32_t* take(long n) {
    std::int32_t* p = S + TOP;
    TOP += n + 1;
    return p;
  }
};

// State handed from phase to phase; every array lies in the scratch.
struct ORKAN {
  ORKWS ws;
  ORKOPT opt;
  int N = 0;                        // equations
  const std::int32_t* IA = nullptr;  // IA[0..N], one-based values
  const std::int32_t* JA = nullptr;  // JA[0..NZ-1]
  int NRHS = 1;
  // ORKCOMPRESS
  std::int32_t *TX = nullptr, *TA = nullptr;  // transpose of the strict upper half
  std::int32_t* NEXTV = nullptr;    // follower chain of equations behind their head, 0 ends
  std::int32_t* EQV = nullptr;      // compressed variable of each equation
  std::int32_t* CHEAD = nullptr;    // head equation of each compressed variable
  std::int32_t* CW = nullptr;       // equations in each compressed variable
  int NC = 0;                       // compressed variables
  long NNZC = 0;                    // entries of the compressed graph, both halves
  // ORKORDER
  std::int32_t *XADJ = nullptr, *ADJ = nullptr;  // compressed graph, XADJ[1] = 1
  std::int32_t* ORD = nullptr;      // ORD[k]: k-th variable of the METIS order
  // ORKMMD, then ORKAMALG: nodes 1..NSUP in elimination order
  int NSUP = 0;
  std::int32_t* FNEXT = nullptr;    // compressed follower chain of a node's principal
  std::int32_t* FTAIL = nullptr;    // last variable of that chain
  std::int32_t* SPRIN = nullptr;    // principal variable of each node
  std::int32_t* SP = nullptr;       // pivots (equations)
  std::int32_t* SB = nullptr;       // border rows (equations)
  std::int32_t* SPAR = nullptr;     // parent node, 0 for a root
  std::int32_t* FCH = nullptr;      // first child (ORKSYM on), 0 for none
  std::int32_t* SIB = nullptr;      // next sibling (ORKSYM on), 0 for none
  long EXTRA = 0;                   // explicit zeros added by amalgamation
  // ORKSYM
  std::int32_t* LSTART = nullptr;   // node k's list: LIST[LSTART[k] .. LSTART[k+1]-1]
  std::int32_t* LIST = nullptr;
  std::int32_t* PNEW = nullptr;     // postorder number of each node
  int MAXFO = 0;
  // ORKPOST: the packed analysis (header, node table, planned lists), ready to copy
  std::int32_t* PACK = nullptr;
  long PACKLEN = 0;
  // ORKSIZE
  long SIZES[5] = {};               // ISIZ and the four real sizes
  long FACT = 0, MAXBLK = 0, PEAK = 0, PEAK2 = 0;
  double OPS = 0.0;
  std::vector<std::string> LOG;     // lines for the log, each message after its empty line
};

int ORKCOMPRESS(ORKAN& a);
int ORKORDER(ORKAN& a);
// Builds the compressed symmetric graph (both halves, no diagonal) into XADJ/ADJ.
int ORKADJ(ORKAN& a);
// Quotient-graph elimination: MODE 1 follows ORD, MODE 0 is free multiple
// minimum degree. Fills the nodes, FNEXT/FTAIL and the parents.
int ORKMMD(ORKAN& a, int MODE);
int ORKAMALG(ORKAN& a, int LIMIT);
int ORKSYM(ORKAN& a);
int ORKTREE(ORKAN& a);
int ORKPOST(ORKAN& a);
int ORKSIZE(ORKAN& a);
// Lays the final workspace over ORKI (ISIZ entries) and ORKR (AVAIL entries).
void ORKSET(ORKDATA& o, long ISIZ, long AVAIL);

}  // namespace ossa::solvers
