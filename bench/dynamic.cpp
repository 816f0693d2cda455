// Times dynamic increments on ORK: a block of tetrahedra (default 26 x 26 x
// 25 cells, about 100 000 tetrahedra, the size of a femur model) held at one
// face and set moving by an initial velocity, NSTEP steps (default 200).
// The pattern is analysed once for the job; each step assembles the
// effective matrix and factorises it once (the matrix changes with the
// step's factors, and no stiffness is reused). Prints the time per step and
// the shares of assembly, matrix solution (factorisation and solve) and
// force recovery. Usage: bench_dynamic [NX NY NZ [NSTEP]]
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/files.hpp"
#include "cube.hpp"
#include "elements/family.hpp"
#include "solution/dynamic.hpp"
#include "solution/incr.hpp"
#include "solution/index.hpp"
#include "solvers/solver.hpp"

using namespace ossa;

int main(int argc, char** argv) {
  const int nx = argc > 3 ? std::atoi(argv[1]) : 26, ny = argc > 3 ? std::atoi(argv[2]) : 26,
            nz = argc > 3 ? std::atoi(argv[3]) : 25;
  const int nstep = argc > 4 ? std::atoi(argv[4]) : 200;
  char dir[] = "/tmp/ossa-bench-dyn.XXXXXX";
  if (!mkdtemp(dir) || chdir(dir) != 0) return 1;
  model::Model m;
  bench::cube(m, nx, ny, nz);
  m.KK(kk::DYNAMIC) = 1;
  m.KK(kk::SOLVER) = 2;
  m.KK(kk::ITERMAX) = 10;
  m.KK(kk::MITERMAX) = 1;
  m.KK(kk::CONTITER) = 1;
  m.KK(kk::NSTEP) = nstep;
  m.RR(rr::TOLLOAD) = 1e-6;
  m.RR(rr::THIRD) = 1.0 / 3.0;
  if (!base::open_text_out(m.unit(m.UNIT(2)), "EXEC.LOG")) return 1;
  // Bone-like units (mm, N, s): E 1000, weight density 2e-5, an initial
  // velocity of 1000 mm/s across the block, the face z = 0 held.
  for (int e = 1; e <= m.NELEM(); ++e) {
    m.SOLREC(e).RHO = 2.0e-5 / 9806.65;
    m.SOLREC(e).BODYLOAD = 1;
  }
  m.KK(kk::NVEL) = 1;
  m.VELTBL.allocate(3, 1);
  m.VELTBL(1, 1) = 1000.0;
  int nheld = 0;
  for (int i = 1; i <= m.NNODE(); ++i) nheld += m.XYZ(3, i) == 0.0;
  m.KK(kk::NPLNK) = nheld;
  m.PLKNOD.allocate(nheld);
  m.PLKFLG.allocate(6, nheld);
  for (int i = 1, k = 0; i <= m.NNODE(); ++i)
    if (m.XYZ(3, i) == 0.0) {
      m.PLKNOD(++k) = i;
      for (int d = 1; d <= 3; ++d) m.PLKFLG(d, k) = 1;
    }
  m.T.allocate(base::Dim(0, nstep));
  const double dt = 1.0e-4;
  for (int k = 0; k <= nstep; ++k) m.T(k) = k * dt;
  bench::Stopwatch prep;
  model::MODELALLOC(m);
  elements::ELEM_INIT(m);
  solution::DOFINIT(m);
  solution::EQINDEX(m, 0);
  solvers::SOLVERPREP(m, 0);
  solution::DYNINIT(m, dt);
  std::printf("dynamic on ORK: %d tetrahedra, NEQ %d, NZ %d; index and analysis %.2f s wall\n", m.NELEM(),
              m.NEQ(), m.KK(kk::NZ), prep.wall());
  m.TIMES.fill(0.0);
  bench::Stopwatch sw;
  double tprev = 0.0;
  int passes = 0;
  for (int step = 1; step <= nstep; ++step) {
    solution::IncrState s;
    s.STEP = step;
    s.ISUB = 1;
    s.TPREV = tprev;
    s.TIME = m.T(step);
    s.DT = dt;
    s.DTPREV = dt;
    solution::INCR_DYNAMIC(m, s);
    passes += s.NITER;
    tprev = s.TIME;
  }
  const double wall = sw.wall(), cpu = sw.cpu();
  const double as = m.TIMES(model::T_ASSEMBLY), so = m.TIMES(model::T_SOLUTION), re = m.TIMES(model::T_RECOVERY);
  std::printf("%d steps, %d equilibrium passes: %.3f s a step wall (%.3f processor)\n", nstep, passes,
              wall / nstep, cpu / nstep);
  std::printf("  assembly %.1f %%, matrix solution (one factorisation a step) %.1f %%, recovery %.1f %%\n",
              100.0 * as / wall, 100.0 * so / wall, 100.0 * re / wall);
  std::printf("  tip velocity after %d steps: %.3f mm/s\n", nstep, m.DYN.VEL(1, m.NNODE()));
  solvers::SOLVERFREE(m);
  std::string rm = std::string("rm -rf '") + dir + "'";
  return std::system(rm.c_str()) == 0 ? 0 : 1;
}
