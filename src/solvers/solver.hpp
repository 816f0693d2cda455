// Solver dispatch and matrix storage: preparation after the equation index,
// the solve of one increment, and release at the end of a job.
#pragma once
#include "model/model.hpp"

namespace ossa::solvers {

using model::Model;

// Prepares the solver chosen by KK(21) and KK(28) for the pattern IA/JA just
// built: budget tests, allocations, the memory report in the log.
// NO2 is the second error number of a memory stop.
void SOLVERPREP(Model& m, int NO2);

// Releases the solver and its arrays.
void SOLVERFREE(Model& m);

}  // namespace ossa::solvers
