// Times a mixed job's passes on the block of tetrahedra of cube.hpp under a
// skin of shells (top and sides): equation index, assembly (STFASM) and
// internal forces (FORCEREC) on both routes, with the node frames of the
// nonlinear one, beside the same block without its skin.
#include <cstdio>

#include "shells.hpp"
#include "solution/assembly.hpp"
#include "solution/index.hpp"

namespace {

void job(int n, bool skin, int geonl) {
  ossa::model::Model m;
  const int ns = skin ? ossa::bench::skinned_cube(m, n) : (ossa::bench::cube(m, n, n, n), 0);
  m.KK(ossa::kk::SOLVER) = 2;
  m.KK(ossa::kk::GEONL) = geonl;
  m.RR(ossa::rr::PI3) = 1.0471975511965976;
  ossa::model::MODELALLOC(m);
  ossa::bench::Stopwatch sw;
  if (geonl == 1) ossa::elements::SHLFRAMES(m);
  ossa::solution::DOFINIT(m);
  ossa::solution::EQINDEX(m, 0);
  const double tindex = sw.cpu();
  for (int i = 1; i <= m.NNODE(); ++i) m.U(1, i) = 1e-3 * m.XYZ(2, i);  // a shear field
  sw = ossa::bench::Stopwatch();
  ossa::base::Arr2<double> nodamp;
  ossa::solution::FORCEREC(m, nodamp, 0);
  const double tforce = sw.cpu();
  sw = ossa::bench::Stopwatch();
  ossa::solution::STFASM(m, 1);
  std::printf("%-9s %-9s %d tetrahedra + %6d shells, NEQ %8d, NZ %9d: index %.3f s, FORCEREC %.3f s, "
              "STFASM %.3f s processor\n",
              skin ? "mixed" : "solid", geonl ? "nonlinear" : "linear", m.NELEM() - ns, ns, m.NEQ(),
              m.KK(ossa::kk::NZ), tindex, tforce, sw.cpu());
}

}  // namespace

int main(int argc, char** argv) {
  const int n = argc > 1 ? std::atoi(argv[1]) : 40;
  for (int geonl : {0, 1}) {
    job(n, false, geonl);
    job(n, true, geonl);
  }
  return 0;
}
