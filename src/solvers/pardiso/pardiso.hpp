// The third-party direct solver of selector -2: MUMPS, symmetric indefinite
// (LDL^T), on the one-based upper half of the solver frame, with METIS's
// order handed to it. One process, or several started by an MPI launcher:
// rank 0 runs the job and holds the matrix, the other ranks take their part
// in every call of the solver and do nothing else.
#pragma once
#include <cstdint>
#include <memory>

#include "model/model.hpp"

namespace ossa::solvers {

using model::Model;

// ---- Processes --------------------------------------------------------------
// For a process started by an MPI launcher: joins the launch, and on ranks
// above 0 serves the solver's calls until rank 0 ends, then returns true (the
// process should end); the call codes above 100 go to SERVE, the server of
// the CG's multigrid engine, with the rank's instance of it. Rank 0 and a
// process started alone return false; the latter starts MPI only when its job
// first needs the solver.
using AMGSERVER = void (*)(int JOB, std::shared_ptr<model::AMGPRE>& P);
bool PDSWORKER(AMGSERVER SERVE = nullptr);
// Number of processes that take part in the solver's calls (starts MPI).
int PDSNPROC();
// Hands the deck's thread count to the solver's math library.
void PDSTHREADS(int n);

// ---- The solver on a bare matrix ---------------------------------------------
// Outcome of a call, with the solver's codes mapped onto the frame's meanings.
enum PdsStatus : int {
  PDS_OK = 0,
  PDS_NOMEM = -2,    // analysis: no memory for the reordering
  PDS_ZEROPIV = -4,  // factorisation: a zero pivot (singular matrix)
  PDS_ALLOC = -5,    // factorisation or solve: the system refused memory
  PDS_FAILED = -8    // anything else the solver reports
};

// Analysis of the pattern IA/JA (one-based, diagonal first, strict upper
// half): a new instance, the METIS order, the symbolic factorisation and the
// memory estimates in p.MEMP / p.MEMN (words). AV may be null.
PdsStatus PDSANA(model::PDSDATA& p, int NEQ, const std::int32_t* IA, const std::int32_t* JA,
                 const double* AV);
// Factorises AV on the standing analysis and solves in place: X holds the
// right-hand side on entry, the solution on return. The factor is released
// before the return.
PdsStatus PDSFSOLVE(model::PDSDATA& p, const double* AV, double* X);
// Ends the instance and releases IRN and PERM.
void PDSEND(model::PDSDATA& p);

// ---- Solver frame (KK(21)=3) -----------------------------------------------
// The analysis on m.IA/m.JA and the memory test of its estimate against
// FREE. Stops: no memory for the reordering, a shortfall; error -5, NO2.
void PDSPREP(Model& m, long FREE, int NO2);
// Factorises and solves K DX(:,1) = RHS(:,1); RHS is kept. A zero pivot stops
// with the solution check's messages (-4 at ITER <= 1, -9 later).
void SOLVE_PDS(Model& m, int ITER);
// Releases everything the analysis holds.
void PDSFREE(Model& m);

}  // namespace ossa::solvers
