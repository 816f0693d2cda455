// Kernels of one conjugate-gradient iteration, fused so that each pass
// streams the matrix once and touches every vector it needs in the same
// sweep. Internal to the CG solver; arrays as in cg.hpp (address of entry 1).
//
// One iteration is three passes over the pattern:
//   CGPSPMV   p = z + BETA p, q = K p, and p.q, in one ascending row pass
//   CGUPDFWD  x += ALPHA p, r -= ALPHA q, r.r, and the forward sweep z = (D+L)^-1 r
//   CGBWDDOT  the backward sweep of M^-1 and z.r
// z lives in q's column: each pass reads q(i) or z(i) of a row before it
// writes that row, and scatters only into rows already passed.
//
// Rows are taken in groups (CGGROUP): the equations of one node have the
// same columns below the node, so up to three consecutive rows share one
// walk of those columns, one read of JA and one gather of the vector.
#pragma once
#include <string_view>
#include <vector>

#include "model/model.hpp"

namespace ossa::solvers {

// Largest group of rows that share their columns.
inline constexpr int CGMAXGRP = 3;

// Marks row groups in GRP(NEQ): the first row of a group of g rows holds g,
// the j-th row after it holds -j. Row i+1 joins the group of row i when its
// columns are those of row i followed by i itself. Returns the groups.
int CGGROUP(int* GRP, int NEQ, const int* IA, const int* JA);

// p(i) = Z(i) + BETA p(i) (p kept as it is when FIRST is 1), then Q = K p.
// Z and Q share QZ. Returns p.K p, formed from the stored half as
// sum p(i) (a(i,i) p(i) + 2 sum_{j<i} a(i,j) p(j)).
double CGPSPMV(double* QZ, double* P, double BETA, int FIRST, const double* AV, int NEQ,
               const int* IA, const int* JA, const int* GRP);

// X += ALPHA P; R -= ALPHA Q; then the forward sweep of M^-1 on R into QZ,
// and W cleared for the backward sweep. Returns R.R after the update.
double CGUPDFWD(double* X, double* R, const double* P, double* QZ, double* W, double ALPHA,
                const double* DINV, const double* LV, int NEQ, const int* IA, const int* JA,
                const int* GRP);

// The backward sweep of M^-1 on Z with W as accumulator (cleared on entry).
// Returns Z.R, summed from row NEQ down.
double CGBWDDOT(double* Z, double* W, const double* R, const double* DINV, const double* LV,
                int NEQ, const int* IA, const int* JA, const int* GRP);

// ---- Threads. The rows are cut into blocks of about equal entries, one a
// thread, at group boundaries. A block's rows scatter into its own rows only;
// the terms a row gets from later blocks are added afterwards, row by row in
// ascending order of their groups: every entry of q is summed in the order of
// the one-thread pass, so the product is bit for bit that of CGPSPMV for any
// thread count.
struct CGPLAN {
  int nb = 1;             // blocks
  std::vector<int> lo;    // first row of each block, then NEQ
  std::vector<int> dptr;  // NEQ+1: each row's terms from later blocks
  std::vector<int> dsrc;  // the group each comes from
  std::vector<int> dpos;  // and its position among the group's shared columns
};

// Rows a thread should have before a second one pays, and the fixed chunk of
// the threaded sums (their partial sums are added in chunk order, so they
// do not depend on the thread count either).
inline constexpr int CGROWSPERTHREAD = 20000;
inline constexpr int CGCHUNK = 4096;

// Blocks for NEQ rows: the threads of "CNTR3" (0: all), at most one for
// every CGROWSPERTHREAD rows and one for each processor idle now, at least
// one.
int CGBLOCKS(const model::Model& m, int NEQ);

// The plan of NB blocks for the pattern and its row groups (CGGROUP).
CGPLAN CGPLANMAKE(int NB, int NEQ, const int* IA, const int* JA, const int* GRP);

// CGPSPMV on the plan's threads; PQV (NEQ) is scratch.
double CGPSPMVPAR(double* QZ, double* P, double BETA, int FIRST, const double* AV, int NEQ,
                  const int* IA, const int* JA, const int* GRP, const CGPLAN& PL, double* PQV);

// A.B in chunks on NB threads.
double CGDOTPAR(const double* A, const double* B, int N, int NB);

// X += ALPHA P, R -= ALPHA Q on NB threads; returns R.R in chunks.
double CGUPDPAR(double* X, double* R, const double* P, const double* Q, double ALPHA, int N, int NB);

// P = Z + BETA P on NB threads.
void CGXPBYPAR(double* P, const double* Z, double BETA, int N, int NB);

// The solver's fatal message on LOGUNIT, then the error stop with NO1, 0.
[[noreturn]] void CGSTOP(model::Model& m, int LOGUNIT, std::string_view text, int NO1);

}  // namespace ossa::solvers
