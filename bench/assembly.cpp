// Times the assembly walk (STFASM) and the internal-force walk (FORCEREC) on
// a block of about a million tetrahedra, for both halves of the pattern.
#include <cstdio>

#include "cube.hpp"
#include "solution/index.hpp"
#include "solution/assembly.hpp"

int main(int argc, char** argv) {
  const int n = argc > 1 ? std::atoi(argv[1]) : 55;
  for (int solver : {1, 3}) {
    ossa::model::Model m;
    ossa::bench::cube(m, n, n, n);
    m.KK(ossa::kk::SOLVER) = solver;
    ossa::model::MODELALLOC(m);
    ossa::solution::DOFINIT(m);
    ossa::solution::EQINDEX(m, 0);
    for (int i = 1; i <= m.NNODE(); ++i) m.U(1, i) = 1e-3 * m.XYZ(2, i);  // a shear field
    ossa::bench::Stopwatch sw;
    ossa::solution::STFASM(m, 1);
    std::printf("STFASM   %-5s half: %d tetrahedra, NEQ %d, NZ %d: %.3f s wall, %.3f s processor"
                "  (target 2 s)\n",
                solver == 1 ? "lower" : "upper", m.NELEM(), m.NEQ(), m.KK(ossa::kk::NZ), sw.wall(), sw.cpu());
    sw = ossa::bench::Stopwatch();
    ossa::base::Arr2<double> nodamp;
    ossa::solution::FORCEREC(m, nodamp, 0);
    std::printf("FORCEREC            : %.3f s wall, %.3f s processor\n", sw.wall(), sw.cpu());
  }
  return 0;
}
