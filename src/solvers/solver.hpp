// Solver dispatch and matrix storage: preparation after the equation index,
// the solve of one increment, and release at the end of a job.
//
// The matrix is m.IA/m.JA/m.AV in compressed rows (diagonal first, then one
// half in ascending columns: the strict lower half for KK(21) = 1, the strict
// upper half for 2 and 3). The increment solves m.RHS(:,1) into m.DX(:,1).
#pragma once
#include <initializer_list>
#include <string_view>

#include "model/model.hpp"

namespace ossa::solvers {

using model::Model;

// Prepares the solver chosen by KK(21) and KK(28) for the pattern IA/JA just
// built: budget tests, allocations, the memory report in the log (first
// preparation of the job only). NO2 is the second error number of a memory stop.
void SOLVERPREP(Model& m, int NO2);

// Solves K DX(:,c) = RHS(:,c) for both columns at once, as a Riks step
// needs, on ORK: past a limit point K is indefinite. Input gives every Riks
// job that solver.
void SOLVE2(Model& m, int ITER);

// Releases the solver and its arrays, and IA, JA, AV, RHS, DX and the
// arc-length vectors, so that the next equation index can allocate anew.
void SOLVERFREE(Model& m);

// Solves K DX(:,1) = RHS(:,1) with the solver of KK(21) and KK(28), and adds
// the time to the "   MATRIX SOLUTION     :" row. ITER is the caller's
// equilibrium iteration, which chooses the message of the direct solvers'
// solution check. RHS(:,1) is destroyed, AV too for conjugate gradients.
// Any other KK(21) passes without a solve. Failures stop the job.
void SOLVE(Model& m, int ITER);

// One "REQUIRED MEMORY ..." row of the memory report: its label and words.
struct MEMROW {
  std::string_view label;
  long words;
};

// The memory report: header with TITLE, then NEQ, TOTAL, TOTAL - FREE, FREE
// and the solver's own rows. HYCOL is the column the hyphen runs end on,
// counted from the label's start: 50 for ORK, 39 for the others.
// Printed only for the first preparation of a job (m.SOLRPT).
void MEMREPORT(Model& m, std::string_view TITLE, int HYCOL, long TOTAL, long FREE,
               std::initializer_list<MEMROW> ROWS);

}  // namespace ossa::solvers
