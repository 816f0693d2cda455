// Times the ORK analysis on a tetrahedral cube of about 300 000 equations and
// compares its predicted factor size and operation count with MUMPS's
// analysis of the same matrix, given the same pivot order.
#include <dmumps_c.h>
#include <metis.h>
#include <mpi.h>

#include <chrono>
#include <ctime>
#include <cstdio>
#include <vector>

#include "../tests/solvers/ork/test_orkana_pat.hpp"
#include "solvers/ork/ork.hpp"
#include "solvers/pardiso/pardiso.hpp"

namespace {

using namespace ossa::solvers;

double seconds(std::chrono::steady_clock::time_point t0) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

struct Peer {
  double entries = 0, reals = 0, flops = 0, secs = 0;
};

// MUMPS analysis (JOB=1) of the pattern with the pivot order given as the
// position of each equation (PERM_IN, ICNTL(7)=1).
Peer mumps(const orkpat::Pattern& p, std::vector<MUMPS_INT>& pos) {
  std::vector<MUMPS_INT> irn, jcn;
  irn.reserve(p.ja.size());
  jcn.reserve(p.ja.size());
  for (int i = 1; i <= p.n; ++i)
    for (int k = p.ia[i - 1]; k < p.ia[i]; ++k) {
      irn.push_back(i);
      jcn.push_back(p.ja[k - 1]);
    }
  DMUMPS_STRUC_C id{};
  id.job = -1;
  id.par = 1;
  id.sym = 1;
  ossa::solvers::PDSNPROC();  // MPI started, a world of one
  id.comm_fortran = static_cast<MUMPS_INT>(MPI_Comm_c2f(MPI_COMM_WORLD));
  dmumps_c(&id);
  id.icntl[0] = id.icntl[1] = id.icntl[2] = id.icntl[3] = 0;  // silent
  id.icntl[6] = 1;                                            // ICNTL(7): given order
  id.n = p.n;
  id.nnz = static_cast<MUMPS_INT8>(irn.size());
  id.irn = irn.data();
  id.jcn = jcn.data();
  id.perm_in = pos.data();
  id.job = 1;
  const auto t0 = std::chrono::steady_clock::now();
  dmumps_c(&id);
  Peer r;
  r.secs = seconds(t0);
  if (id.infog[0] < 0) std::printf("MUMPS analysis failed: INFOG(1)=%d INFOG(2)=%d\n", id.infog[0], id.infog[1]);
  r.entries = id.infog[19] >= 0 ? id.infog[19] : -1.0e6 * id.infog[19];  // INFOG(20)
  r.reals = id.infog[8] >= 0 ? id.infog[8] : -1.0e6 * id.infog[8];        // INFOG(9)
  r.flops = id.rinfog[0];                                                 // RINFOG(1)
  id.job = -2;
  dmumps_c(&id);
  return r;
}

// METIS_NodeND on the whole graph of the equations, as positions.
std::vector<MUMPS_INT> metisfull(const orkpat::Pattern& p) {
  std::vector<std::vector<idx_t>> adj(p.n + 1);
  for (int i = 1; i <= p.n; ++i)
    for (int k = p.ia[i - 1]; k < p.ia[i]; ++k) {
      const int j = p.ja[k - 1];
      if (j != i) { adj[i].push_back(j); adj[j].push_back(i); }
    }
  std::vector<idx_t> xadj{1}, ad;
  for (int i = 1; i <= p.n; ++i) {
    ad.insert(ad.end(), adj[i].begin(), adj[i].end());
    xadj.push_back(static_cast<idx_t>(ad.size() + 1));
  }
  idx_t options[METIS_NOPTIONS];
  METIS_SetDefaultOptions(options);
  options[METIS_OPTION_NUMBERING] = 1;
  idx_t n = p.n;
  std::vector<idx_t> perm(p.n), iperm(p.n);
  METIS_NodeND(&n, xadj.data(), ad.data(), nullptr, options, perm.data(), iperm.data());
  return std::vector<MUMPS_INT>(iperm.begin(), iperm.end());
}

}  // namespace

int main() {
  const int cells = 45;
  const orkpat::Pattern p = orkpat::tetcube(cells);
  std::printf("tetrahedral cube %d^3 cells, %d equations, %zu stored entries\n", cells, p.n, p.ja.size());
  ORKDATA o;
  const long FREE = 2000000000L;  // words; untouched pages cost nothing
  const auto t0 = std::chrono::steady_clock::now();
  const std::clock_t c0 = std::clock();
  const ORKRESULT r = ORKANAP(o, FREE, p.n, p.ia.data(), p.ja.data(), 1);
  const double tork = seconds(t0);
  const double cork = static_cast<double>(std::clock() - c0) / CLOCKS_PER_SEC;
  if (r.STATUS != ORK_OK) {
    std::printf("ORK analysis failed: status %d, short %.2f MB\n", r.STATUS, r.SHORTMB);
    return 1;
  }
  std::printf("ORK: %.3f s wall, %.3f s processor, %d compressed variables, %d nodes, largest front %d\n", tork, cork, o.NCOMP,
              o.NSUP, o.MAXFO);
  std::printf("     ISIZ %ld  RSIZIN %ld  RSIZOUT %ld  zeros from amalgamation %ld\n", o.ISIZ, o.RSIZIN,
              o.RSIZOUT, o.EXTRA);
  // ORK's own pivot order, as positions, for MUMPS.
  std::vector<MUMPS_INT> pos(p.n);
  int k = 0;
  for (int nd = 1; nd <= o.NSUP; ++nd)
    for (int i = 0; i < ORKNODE(o, nd, NPIV); ++i) pos[o.ORKI(ORKNODE(o, nd, NLIST) + i) - 1] = ++k;
  const Peer same = mumps(p, pos);
  std::vector<MUMPS_INT> full = metisfull(p);
  const Peer own = mumps(p, full);
  std::printf("\n%-36s %16s %16s %12s\n", "", "factor entries", "flops", "time (s)");
  std::printf("%-36s %16.0f %16.4e %12.3f\n", "ORK (compressed METIS + MMD replay)", static_cast<double>(o.FACT), o.OPS, tork);
  std::printf("%-36s %16.0f %16.4e %12.3f\n", "MUMPS, ORK's pivot order", same.entries, same.flops, same.secs);
  std::printf("%-36s %16.0f %16.4e %12.3f\n", "MUMPS, METIS on the full graph", own.entries, own.flops, own.secs);
  std::printf("MUMPS INFOG(9) real space: %.0f (ORK's order), %.0f (full METIS)\n", same.reals, own.reals);
  std::printf("ORK / MUMPS factor entries, same order: %.4f\n", static_cast<double>(o.FACT) / same.entries);
  return 0;
}
