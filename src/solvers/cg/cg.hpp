// Preconditioned conjugate gradients on the processor.
//
// The matrix is the half-stored symmetric K of the equation index: row i holds
// its diagonal first, then the columns below i in ascending order. IA and JA
// are one-based as stored; every array argument is the address of its first
// element (entry 1), so that a column of a model array can be passed directly.
//
// The preconditioner M = (D + L) D^-1 (D + L^T) keeps L in LV on the pattern
// of K and the reciprocal pivots in DINV; the diagonal variant takes L from K
// itself, incomplete Cholesky computes it without fill.
#pragma once

#include <memory>

#include "model/model.hpp"

namespace ossa::solvers {

using model::Model;

// Iteration limit of CGSOLVE: |KK30|, and for KK30 = 0 the larger of NEQ/5
// and 50.
int CGMAXIT(int KK30, int NEQ);

// Solves K x = F on the symmetrically scaled system, starting from x = 0,
// until |r| < TOL |f| in the scaled norm.
//   AV(NZ)    the matrix; overwritten by its scaled form
//   LV(NZ)    receives the preconditioner's values
//   F(NEQ)    right-hand side; overwritten by the scaled one
//   X(NEQ)    the solution
//   CGW(NEQ,6) work: r, p, DINV, SCL, q (K p, then z), backward scratch
//   GRP(NEQ)  work: the row groups of the iteration kernels
//   KK30      iteration limit code (CGMAXIT); PRECON 0 diagonal, 2 algebraic
//             multigrid (LV unused), else IC; the product and the vector
//             updates run on the threads of "CNTR3" (CGBLOCKS); the result
//             does not depend on their number
//   VERB      1 writes the tolerance, every tenth residual and the closing
//             line to LOGUNIT; the increment routines pass 0
// Returns the iterations taken, 0 when F is zero (X is then cleared). Does not
// return on failure: a non-positive diagonal, a diagonal shift past 5.0 or the
// iteration limit stop the job through the error stop.
int CGSOLVE(Model& m, double* AV, double* LV, double* F, double* X, double* CGW, int* GRP,
            int NEQ, int NZ, const int* IA, const int* JA, int KK30, double TOL, int LOGUNIT, int PRECON,
            int VERB);

// SCL(i) = 1/sqrt(a(i,i)); a(i,j) *= SCL(i) SCL(j); F(i) *= SCL(i).
void CGSCALE(int NEQ, double* SCL, double* AV, double* F, const int* IA, const int* JA);

// XOUT(i) = SCL(i) X(i); XOUT may be X.
void CGUNSCALE(double* XOUT, const double* SCL, const double* X, int NEQ);

// Diagonal incomplete factorisation: off-diagonals of K, pivots
// a(i,i) m.CG.CGSHIFT - sum a(i,j)^2 DINV(j). A pivot below 1.0e-37 raises
// m.CG.CGSHIFT by 0.1 and starts again from row 2; past 5.0 the job stops with
// "CG METHOD FAILED." and -8 on LOGUNIT.
void CGDIAGPRE(Model& m, double* DINV, const double* AV, int NEQ, const int* IA, const int* JA,
               int LOGUNIT);

// Incomplete Cholesky with no fill: LV on the pattern of the strict lower
// half, DINV the reciprocal pivots. A pivot of zero or below is carried on.
// LV(IA(i)) receives a(i,i) and is never read.
void CGICPRE(double* DINV, const double* AV, double* LV, int NEQ, const int* IA, const int* JA);

// V := M^-1 V by a forward and a backward sweep; W (NEQ) is scratch.
void CGPRESOLVE(const double* DINV, const double* LV, double* V, double* W, int NEQ,
                const int* IA, const int* JA);

// Y = K V for the half-stored symmetric matrix.
void CGSPMV(double* Y, const double* AV, const double* V, int NEQ, const int* IA, const int* JA);

// The multigrid preconditioner of the CG, an engine's instance kept in
// m.CG.AMG. CGAMGSETUP takes the unscaled K (before CGSCALE) and the node
// equations of m (IDOF), which group the unknowns by node, and returns the
// kept instance where it still serves (same equations, the last solve on it
// not much longer than the first), a new one otherwise; CGAMGCOUNT records
// the iterations of a solve on it; CGAMGAPPLY gives Z = M^-1 R for the scaled
// system, one V-cycle from zero.
using model::AMGPRE;
AMGPRE& CGAMGSETUP(Model& m, const double* AV, int NEQ, const int* IA, const int* JA);
void CGAMGCOUNT(AMGPRE& p, int ITC);
void CGAMGAPPLY(AMGPRE& p, const double* SCL, const double* R, double* Z, int NEQ);

// Under an MPI launcher the engine spans every process. Rank 0 sends the
// other ranks these call codes (above the direct solver's); a waiting rank
// hands each to CGAMGSERVE, which takes its part in the call on the rank's
// own instance P.
enum AMGCALL : int { AMG_SETUP = 201, AMG_APPLY = 202 };
void CGAMGSERVE(int JOB, std::shared_ptr<AMGPRE>& P);

// The progress seam of the iteration: FRAC is the fraction of the way, on a
// logarithmic scale, from the residual at iteration 10 to the target.
inline void CGPROGRESS(double FRAC) { (void)FRAC; }

}  // namespace ossa::solvers
