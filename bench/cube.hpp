// A structured block of nx x ny x nz unit cells, each split into six
// tetrahedra around its main diagonal, as a model of solids in memory.
#pragma once
#include <chrono>
#include <ctime>
#include <cstdio>
#include <cstdlib>

#include "elements/kernels.hpp"
#include "elements/solid.hpp"
#include "model/model.hpp"

namespace ossa::bench {

// Wall and processor seconds of a piece of work: on a shared machine the
// processor time is the steadier figure.
struct Stopwatch {
  std::chrono::steady_clock::time_point w0 = std::chrono::steady_clock::now();
  std::clock_t c0 = std::clock();
  double wall() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - w0).count();
  }
  double cpu() const { return static_cast<double>(std::clock() - c0) / CLOCKS_PER_SEC; }
};

// Fills nodes, the element directory and the solid records (elastic, E 1000,
// nu 0.3). Every tetrahedron is ordered so that its 6V is positive.
inline void cube(model::Model& m, int nx, int ny, int nz) {
  model::MODELRESET(m);
  const int nn = (nx + 1) * (ny + 1) * (nz + 1);
  const int ne = 6 * nx * ny * nz;
  m.KK(3) = 0;
  m.KK(11) = nn;
  m.KK(12) = ne;
  m.KK(14) = ne;
  m.KK(25) = 45;
  m.KK(27) = 8000;
  m.KK(28) = -1;
  m.KK(32) = 1;
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
  static const int PERM[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
  double D[21];
  elements::DELAS(1000.0, 0.3, D);
  int e = 0;
  for (int k = 0; k < nz; ++k)
    for (int j = 0; j < ny; ++j)
      for (int i = 0; i < nx; ++i)
        for (const auto& p : PERM) {
          int c[3] = {i, j, k};
          std::int32_t nod[4];
          nod[0] = id(c[0], c[1], c[2]);
          ++c[p[0]];
          nod[1] = id(c[0], c[1], c[2]);
          ++c[p[1]];
          nod[2] = id(c[0], c[1], c[2]);
          nod[3] = id(i + 1, j + 1, k + 1);
          double X[12], DN[12];
          for (int a = 0; a < 4; ++a)
            for (int d = 0; d < 3; ++d) X[3 * a + d] = m.XYZ(d + 1, nod[a]);
          if (elements::TETDN(X, DN) < 0.0) std::swap(nod[0], nod[1]);
          model::ELEMREC& r = m.ELEM(++e);
          r.ID = e;
          r.IDX = e;
          r.TYPE = 2;
          r.NDF = 3;
          r.NEN = 4;
          for (int a = 0; a < 4; ++a) r.NOD(a + 1) = nod[a];
          model::SOLREC& s = m.SOLREC(e);
          s.GROUP = 1;
          s.E = 1000.0;
          s.NU = 0.3;
          for (int q = 1; q <= 21; ++q) s.D(q) = D[q - 1];
        }
}

}  // namespace ossa::bench
