// Shell models in memory for the benchmarks: a curved sheet of triangles,
// and the block of tetrahedra of cube.hpp under a skin of shells on its top
// and sides (a cortical shell over a trabecular core).
#pragma once
#include <cmath>

#include "cube.hpp"
#include "elements/family.hpp"

namespace ossa::bench {

// Elastic shell record (E 1000, nu 0.3, thickness 0.1) with its start values.
inline void shell_record(model::Model& m, model::ELEMREC& e) {
  model::SHLREC& r = m.SHLREC(e.IDX);
  r.GROUP = 1;
  r.E = 1000.0;
  r.NU = 0.3;
  r.THICK = 0.1;
  double cls[elements::NCLASS + 1];
  elements::SHLSTART(m, e, cls);
}

inline void shell_elem(model::ELEMREC& r, int id, int idx, int a, int b, int c) {
  r.ID = id;
  r.IDX = idx;
  r.TYPE = elements::F_SHELL;
  r.NDF = 6;
  r.NEN = 3;
  r.NOD(1) = a;
  r.NOD(2) = b;
  r.NOD(3) = c;
}

// nx x ny cells of a cylindrical sheet, two triangles a cell. Element e
// uses record 1 + (e - 1) mod NREC: a million records would take 3.8 GB.
inline void sheet(model::Model& m, int nx, int ny, int nrec) {
  model::MODELRESET(m);
  const int nn = (nx + 1) * (ny + 1), ne = 2 * nx * ny;
  m.KK(kk::NNODE) = nn;
  m.KK(kk::NELEM) = ne;
  m.KK(kk::NSHELL) = nrec;
  m.KK(kk::MEMMB) = 8000;
  m.KK(kk::ONE) = 1;
  if (!m.XYZ.allocate(3, nn) || !m.NODEID.allocate(nn) || !m.ELEM.allocate(ne) || !m.SHLREC.allocate(nrec)) {
    std::fprintf(stderr, "bench: out of memory\n");
    std::exit(1);
  }
  auto id = [&](int i, int j) { return 1 + i + (nx + 1) * j; };
  const double R = 0.5 * nx;  // a quarter of a cylinder across x
  for (int j = 0; j <= ny; ++j)
    for (int i = 0; i <= nx; ++i) {
      const double a = 0.5 * std::acos(-1.0) * i / nx;
      m.NODEID(id(i, j)) = id(i, j);
      m.XYZ(1, id(i, j)) = R * std::sin(a);
      m.XYZ(2, id(i, j)) = j;
      m.XYZ(3, id(i, j)) = R * (1.0 - std::cos(a));
    }
  int e = 0;
  for (int j = 0; j < ny; ++j)
    for (int i = 0; i < nx; ++i) {
      const int p = id(i, j), q = id(i + 1, j), r = id(i + 1, j + 1), s = id(i, j + 1);
      ++e, shell_elem(m.ELEM(e), e, 1 + (e - 1) % nrec, p, q, r);
      ++e, shell_elem(m.ELEM(e), e, 1 + (e - 1) % nrec, p, r, s);
    }
  for (int k = 1; k <= nrec && k <= ne; ++k) shell_record(m, m.ELEM(k));
}

// The block of cube() with shells on its top and four sides, sharing the
// block's nodes; returns the number of shells.
inline int skinned_cube(model::Model& m, int n) {
  cube(m, n, n, n);
  const int nt = m.NELEM(), ns = 2 * 5 * n * n;
  base::Arr1<model::ELEMREC> all;
  if (!all.allocate(nt + ns) || !m.SHLREC.allocate(ns)) std::exit(1);
  for (int e = 1; e <= nt; ++e) all(e) = m.ELEM(e);
  auto id = [&](int i, int j, int k) { return 1 + i + (n + 1) * (j + (n + 1) * k); };
  int e = nt, s = 0;
  auto tri = [&](int p, int q, int r) {
    ++e, ++s;
    shell_elem(all(e), e, s, p, q, r);
  };
  auto quad = [&](int p, int q, int r, int t) { tri(p, q, r), tri(p, r, t); };
  for (int a = 0; a < n; ++a)
    for (int b = 0; b < n; ++b) {
      quad(id(a, b, n), id(a + 1, b, n), id(a + 1, b + 1, n), id(a, b + 1, n));              // top
      quad(id(a, 0, b), id(a + 1, 0, b), id(a + 1, 0, b + 1), id(a, 0, b + 1));              // y = 0
      quad(id(a, n, b), id(a, n, b + 1), id(a + 1, n, b + 1), id(a + 1, n, b));              // y = n
      quad(id(0, a, b), id(0, a, b + 1), id(0, a + 1, b + 1), id(0, a + 1, b));              // x = 0
      quad(id(n, a, b), id(n, a + 1, b), id(n, a + 1, b + 1), id(n, a, b + 1));              // x = n
    }
  m.ELEM = std::move(all);
  m.KK(kk::NELEM) = nt + ns;
  m.KK(kk::NSHELL) = ns;
  for (int k = nt + 1; k <= nt + ns; ++k) shell_record(m, m.ELEM(k));
  return ns;
}

}  // namespace ossa::bench
