// ORK's dense front kernels: partial L D L^T factorisation of a packed front
// with threshold pivoting, 1 by 1 and 2 by 2 pivots, and the blocked update.
//
// A front of order FO is a lower triangle packed by columns: column j holds
// rows j..FO-1 (counted from 0 inside the kernels). The factor block of a
// node is the first NP columns of its front, left in place: on the diagonal
// of a 1 by 1 pivot stands 1/d, a 2 by 2 pivot holds its inverse in its three
// positions, and the columns below stay unscaled (L times D). The last FO-NP
// columns, contiguous at the end, form the contribution block, itself a
// packed lower triangle.
#pragma once
#include <cmath>

namespace ossa::solvers {

// The pivot threshold: 0.01 as a single-precision value, widened.
inline constexpr double ORKU = static_cast<double>(0.01f);

// Threshold of the substitute row search.
inline double ORKU2(double U) { return std::sqrt(U * U * (4.0 * U + 3.0) / (2.0 * U + 1.0)); }

// Block widths of the pivot search: narrow strips for small fronts.
inline constexpr int ORKNBSMALL = 4;
inline constexpr int ORKNBLARGE = 64;
inline constexpr int ORKBIGFRONT = 256;

// Start of packed column j (from 0) in a front of order FO.
inline long ORKCS(long FO, long j) { return j * FO - j * (j - 1) / 2; }
// Base of column j such that a(i,j) = ORKCOL(F,FO,j)[i] for i >= j.
inline double* ORKCOL(double* F, long FO, long j) { return F + ORKCS(FO, j) - j; }
inline const double* ORKCOL(const double* F, long FO, long j) { return F + ORKCS(FO, j) - j; }
// Entries of a packed triangle of order n.
inline long ORKTRI(long n) { return n * (n + 1) / 2; }

// Counts a factorisation reports per node.
struct ORKDSTAT {
  int NZINV = 0;    // pivots whose reciprocal came out zero
  int NFORCED = 0;  // empty columns given a unit pivot
};

// Free reals the update may use to pack the pivot columns and their
// multipliers (the factorisation lends the unused part of ORKR). Without it,
// or when it is too small, a small array on the stack serves, more slowly.
struct ORKWORK {
  double* W = nullptr;
  long LW = 0;
};

// Partial factorisation of a front: NP0 candidate pivots, FO rows. PIVLIST
// (FO entries) follows every symmetric swap; KINDS (NP0 entries) receives 1
// for a 1 by 1 pivot and 2 for both columns of a 2 by 2 one. Returns NP, the
// pivots done; candidates left over are rows NP..NP0-1, delayed to the parent.
int ORKDENSE(double* FRONT, int NP0, int FO, int* PIVLIST, int* KINDS, double U, double U2,
             ORKDSTAT& ST, ORKWORK WK = {});

// Left-looking scan of up to NB columns from J as 1 by 1 pivots, four columns
// at a time; returns K, how many were accepted. DONE receives the count of
// columns from J that are fully updated by these K pivots: NB when all were
// accepted, otherwise the first refused column and the rest of its four.
int ORKSCAN(double* F, int FO, int J, int NB, double U, int* KINDS, ORKDSTAT& ST, int& DONE);

// Bunch-Kaufman style choice at column J with LIMIT eligible columns (columns
// J..LIMIT-1 may pair with J). Outcome 0 none, 1 pivot at J, 2 swap with R
// then pivot, 3 a 2 by 2 pivot with R. An empty column gets a unit diagonal.
int ORKPIVOT(double* F, int FO, int J, int LIMIT, double U, double U2, int& R, ORKDSTAT& ST);

// Symmetric exchange of rows and columns P < Q of the packed front.
void ORKSWAP(double* F, int FO, int P, int Q, int* PIVLIST);

// Trailing update of columns C0..C1-1, all their rows, by the K pivots
// J0..J0+K-1 (kinds in KINDS, indexed by column), in strips of four columns.
// Above four pivots the pivot columns and the multipliers are first copied
// into WK, packed for a 12 by 4 register block.
void ORKUPDATE(double* F, int FO, int J0, int K, const int* KINDS, int C0, int C1, ORKWORK WK = {});

// Forward and backward substitution with one factor block of NP pivots over a
// gathered vector W of FO entries per right-hand side (leading dimension FO).
void ORKBLKFWD(const double* F, int FO, int NP, const int* KINDS, double* W, int NRHS);
void ORKBLKBWD(const double* F, int FO, int NP, const int* KINDS, double* W, int NRHS);

}  // namespace ossa::solvers
