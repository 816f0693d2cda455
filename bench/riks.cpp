// Times the arc-length update of one Riks iteration on a million equations
// (333 334 nodes of three translations): the predictor (two scaled
// products) and the corrector (two more), each with the sums it keeps.
// The solve of the same iteration costs far more; this is what Riks adds.
#include <cmath>
#include <cstdio>

#include "cube.hpp"
#include "solution/riks.hpp"

int main(int argc, char** argv) {
  const int nn = argc > 1 ? std::atoi(argv[1]) : 333334, neq = 3 * nn;
  ossa::model::Model m;
  ossa::model::MODELRESET(m);
  m.KK(ossa::kk::NNODE) = nn;
  m.KK(ossa::kk::NEQ) = neq;
  m.RR(ossa::rr::ARC) = 0.1;
  if (!m.IDOF.allocate(7, nn) || !m.DX.allocate(neq, 2)) return 1;
  for (auto& v : m.RIKS.ARCV)
    if (!v.allocate(neq)) return 1;
  for (int nd = 1; nd <= nn; ++nd)
    for (int k = 1; k <= 3; ++k) m.IDOF(k, nd) = 3 * (nd - 1) + k;
  for (int e = 1; e <= neq; ++e) {
    m.DX(e, 1) = 1e-6 * std::sin(0.01 * e);
    m.DX(e, 2) = 1e-3 * std::cos(0.002 * e);
  }
  m.RIKS.UNORM[0] = 1.0;
  const int reps = 20;
  for (int it : {1, 2}) {
    const ossa::bench::Stopwatch sw;
    for (int r = 0; r < reps; ++r) ossa::solution::RIKSUPD(m, it, false);
    std::printf("RIKSUPD %s %d equations: %.2f ms each  (check %.6e)\n", it == 1 ? "predictor" : "corrector",
                neq, 1e3 * sw.wall() / reps, m.RIKS.LAMBDA);
  }
  return 0;
}
