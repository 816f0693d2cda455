// Inside the driver: the MUMPS instance and the one routine through which
// rank 0 makes every call, so that the other ranks make the same call.
#pragma once
#include <dmumps_c.h>

#include <cstdint>

#include "model/solvrec.hpp"

namespace ossa::model {

// The instance and what its analysis is built from. The installed MUMPS has
// no call that gives back the factor alone, so the instance ends after each
// solve and its symbolic analysis is made again, on the same order, in front
// of the next factorisation.
struct PDSHANDLE {
  DMUMPS_STRUC_C id{};
  bool LIVE = false;                 // an instance with its analysis stands
  int N = 0;                         // equations
  long NNZ = 0;                      // stored entries
  const std::int32_t* JA = nullptr;  // columns of the stored entries
  int RELAX = 0;                     // ICNTL(14) a factorisation needed, 0 for MUMPS's own
};

}  // namespace ossa::model

namespace ossa::solvers {

// Starts MPI where it does not run yet (a process alone becomes a world of
// one); returns the number of processes.
int PDSSTART();
// Rank 0: tells the other ranks to make call JOB, then makes it. JOB = -1
// sets up a fresh instance first (symmetric indefinite, the host working,
// every process of the launch, no printing).
void PDSCALL(DMUMPS_STRUC_C& id, int JOB);

}  // namespace ossa::solvers
