// A structured block of nx x ny x nz unit cells, each split into six
// tetrahedra around its main diagonal, as a model of solids in memory.
#pragma once
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <array>
#include <vector>

#include "../examples/mesh/cube_tets.hpp"
#include "clock.hpp"
#include "base/kernels.hpp"
#include "elements/solid.hpp"
#include "model/model.hpp"

namespace ossa::bench {

// Runs one pass over `ne` elements and prints its times; the pass returns a
// value that depends on its work, printed so that none is optimised away.
template <class F>
void timed(const char* what, int ne, F pass) {
  const Stopwatch sw;
  const double check = pass();
  std::printf("%-8s %d elements: %.3f s wall, %.3f s processor, %.3f us an element  (check %.6e)\n", what,
              ne, sw.wall(), sw.cpu(), 1e6 * sw.cpu() / ne, check);
}

// Fills nodes, the element directory and the solid records (elastic, E 1000,
// nu 0.3). Every tetrahedron is ordered so that its 6V is positive.
inline void cube(model::Model& m, int nx, int ny, int nz) {
  model::MODELRESET(m);
  const int nn = (nx + 1) * (ny + 1) * (nz + 1);
  const int ne = 6 * nx * ny * nz;
  m.KK(ossa::kk::DYNAMIC) = 0;
  m.KK(ossa::kk::NNODE) = nn;
  m.KK(ossa::kk::NELEM) = ne;
  m.KK(ossa::kk::NSOLID) = ne;
  m.KK(ossa::kk::BLOCKW) = 45;
  m.KK(ossa::kk::MEMMB) = 8000;
  m.KK(ossa::kk::DEVICE) = -1;
  m.KK(ossa::kk::ONE) = 1;
  if (!m.XYZ.allocate(3, nn) || !m.NODEID.allocate(nn) || !m.ELEM.allocate(ne) ||
      !m.SOLREC.allocate(ne)) {
    std::fprintf(stderr, "bench: out of memory\n");
    std::exit(1);
  }
  auto id = [&](int i, int j, int k) { return 1 + i + (nx + 1) * (j + (ny + 1) * k); };
  for (int k = 0; k <= nz; ++k)
    for (int j = 0; j <= ny; ++j)
      for (int i = 0; i <= nx; ++i) {
        const int n = id(i, j, k);
        m.NODEID(n) = n;
        m.XYZ(1, n) = i;
        m.XYZ(2, n) = j;
        m.XYZ(3, n) = k;
      }
  double D[21];
  base::DELAS(1000.0, 0.3, D);
  struct P { double x, y, z; };
  auto coord = [&](int n) { return P{m.XYZ(1, n), m.XYZ(2, n), m.XYZ(3, n)}; };
  std::vector<std::array<int, 4>> tets;
  tets.reserve(static_cast<std::size_t>(ne));
  for (int k = 0; k < nz; ++k)
    for (int j = 0; j < ny; ++j)
      for (int i = 0; i < nx; ++i) example::cube_tets(i, j, k, id, coord, tets);
  for (int e = 1; e <= ne; ++e) {
    // Stored as the deck reader stores a card: nodes 1, 3, 2, 4.
    const auto& t = tets[static_cast<std::size_t>(e - 1)];
    model::ELEMREC& r = m.ELEM(e);
    r.ID = e;
    r.IDX = e;
    r.TYPE = 2;
    r.NDF = 3;
    r.NEN = 4;
    r.NOD(1) = t[0];
    r.NOD(2) = t[2];
    r.NOD(3) = t[1];
    r.NOD(4) = t[3];
    model::SOLREC& s = m.SOLREC(e);
    s.GROUP = 1;
    s.E = 1000.0;
    s.NU = 0.3;
    for (int q = 1; q <= 21; ++q) s.D(q) = D[q - 1];
  }
}

}  // namespace ossa::bench
