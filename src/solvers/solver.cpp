#include "solvers/solver.hpp"

namespace ossa::solvers {

// The CG, ORK and third-party branches are added with their solvers.
void SOLVERPREP(Model& m, int NO2) { (void)m; (void)NO2; }
void SOLVERFREE(Model& m) { (void)m; }

}  // namespace ossa::solvers
