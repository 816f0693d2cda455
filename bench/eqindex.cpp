// Times the equation index on a block of about a million tetrahedra, for the
// lower half (conjugate gradients) and for the upper half.
#include <cstdio>

#include "cube.hpp"
#include "solution/index.hpp"

int main(int argc, char** argv) {
  const int n = argc > 1 ? std::atoi(argv[1]) : 55;
  for (int solver : {1, 3}) {
    ossa::model::Model m;
    ossa::bench::cube(m, n, n, n);
    m.KK(ossa::kk::SOLVER) = solver;
    ossa::model::MODELALLOC(m);
    ossa::solution::DOFINIT(m);
    const ossa::bench::Stopwatch sw;
    ossa::solution::EQINDEX(m, 0);
    std::printf("EQINDEX %-5s half: %d tetrahedra, NEQ %d, NZ %d: %.3f s wall, %.3f s processor\n",
                solver == 1 ? "lower" : "upper", m.NELEM(), m.NEQ(), m.KK(ossa::kk::NZ), sw.wall(), sw.cpu());
  }
  return 0;
}
