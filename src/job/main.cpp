#include "job/job.hpp"
#include "solvers/cg/cg.hpp"
#include "solvers/pardiso/pardiso.hpp"

// Under an MPI launcher, ranks above 0 only serve the calls of the direct
// solver and of the CG's multigrid engine.
int main() {
  if (ossa::solvers::PDSWORKER(ossa::solvers::CGAMGSERVE)) return 0;
  return ossa::job::MAIN__() == 1 ? 0 : 1;
}
