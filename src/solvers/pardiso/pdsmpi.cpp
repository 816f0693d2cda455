// The processes of the solver. Every MUMPS call is collective: rank 0 sends
// the call's JOB to the other ranks, which wait for it, make the same call on
// their own instance, and wait again. At its end, by any road (normal end,
// error stop, file stop), rank 0 sends STOP; all ranks then leave MPI, so a
// stopped job never leaves a rank waiting.
#include <mpi.h>

#include <cstdlib>
#include <ctime>

#include "solvers/pardiso/pardiso.hpp"
#include "solvers/pardiso/pdscall.hpp"

extern "C" void openblas_set_num_threads(int);

namespace ossa::solvers {

namespace {

constexpr int STOP = 100;  // not a MUMPS JOB; the codes above it are the multigrid's

// An MPI launcher gives its processes their rank in the environment: the
// only way to know, before MPI starts, whether to start it at all (a start
// costs a few tenths of a second, which a job without this solver need not
// pay).
bool launched() {
  for (const char* v : {"OMPI_COMM_WORLD_SIZE", "PMIX_RANK", "PMI_RANK", "PMI_SIZE"})
    if (std::getenv(v)) return true;
  return false;
}

int rank() {
  int r = 0;
  MPI_Comm_rank(MPI_COMM_WORLD, &r);
  return r;
}

int size() {
  int s = 1;
  MPI_Comm_size(MPI_COMM_WORLD, &s);
  return s;
}

// One JOB from rank 0 to all. The waiting ranks poll with short sleeps, so
// that a rank idle through assembly and output takes no processor.
int bcast(int job) {
  MPI_Request rq;
  MPI_Ibcast(&job, 1, MPI_INT, 0, MPI_COMM_WORLD, &rq);
  if (rank() == 0) {
    MPI_Wait(&rq, MPI_STATUS_IGNORE);
    return job;
  }
  int done = 0;
  const timespec nap{0, 500000};
  for (MPI_Test(&rq, &done, MPI_STATUS_IGNORE); !done; MPI_Test(&rq, &done, MPI_STATUS_IGNORE))
    nanosleep(&nap, nullptr);
  return job;
}

void finish() {
  int fin = 0;
  MPI_Finalized(&fin);
  if (fin) return;
  if (rank() == 0 && size() > 1) bcast(STOP);
  MPI_Finalize();
}

void mumps(DMUMPS_STRUC_C& id, int job) {
  if (job == -1) {
    id = DMUMPS_STRUC_C{};
    id.par = 1;  // the host works too
    id.sym = 2;  // symmetric, not necessarily definite
    id.comm_fortran = static_cast<MUMPS_INT>(MPI_Comm_c2f(MPI_COMM_WORLD));
  }
  id.job = job;
  dmumps_c(&id);
  if (job == -1) {
    // Standard output carries the job's progress lines: MUMPS prints nothing.
    id.icntl[0] = id.icntl[1] = id.icntl[2] = -1;
    id.icntl[3] = 0;
  }
}

}  // namespace

int PDSSTART() {
  int on = 0;
  MPI_Initialized(&on);
  if (!on) {
    MPI_Init(nullptr, nullptr);
    std::atexit(finish);
  }
  return size();
}

void PDSCALL(DMUMPS_STRUC_C& id, int JOB) {
  if (PDSSTART() > 1) bcast(JOB);
  mumps(id, JOB);
}

bool PDSWORKER(AMGSERVER serve) {
  if (!launched() || PDSSTART() == 1 || rank() == 0) return false;
  {
    DMUMPS_STRUC_C id{};
    std::shared_ptr<model::AMGPRE> amg;
    for (int job = bcast(0); job != STOP; job = bcast(0)) {
      if (job > STOP && serve) serve(job, amg);
      else mumps(id, job);
    }
  }
  MPI_Finalize();
  return true;
}

int PDSNPROC() { return PDSSTART(); }

void PDSTHREADS(int n) { openblas_set_num_threads(n); }

}  // namespace ossa::solvers
