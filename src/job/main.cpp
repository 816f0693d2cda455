#include "job/job.hpp"
#include "solvers/pardiso/pardiso.hpp"

// Under an MPI launcher, ranks above 0 only serve the direct solver's calls.
int main() {
  if (ossa::solvers::PDSWORKER()) return 0;
  return ossa::job::MAIN__() == 1 ? 0 : 1;
}
