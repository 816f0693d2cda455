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

// The solver's fatal message on LOGUNIT, then the error stop with NO1, 0.
[[noreturn]] void CGSTOP(model::Model& m, int LOGUNIT, std::string_view text, int NO1);

}  // namespace ossa::solvers
