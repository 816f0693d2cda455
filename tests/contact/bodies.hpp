// Contact models built in memory: boxes of unit-free cubes, each cube cut
// into six tetrahedra along its main diagonal (a conforming cut), their
// surface triangles turned so that the normal points into the body, and
// the contact records the deck would give.
#pragma once
#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <vector>

#include "../examples/mesh/cube_tets.hpp"
#include "contact/contact.hpp"
#include "../mesh.hpp"

namespace ossa::testing {

using P3 = std::array<double, 3>;
using Tri = std::array<int, 3>;
struct XYZ { double x, y, z; };

struct Mesh {
  std::vector<P3> xyz;
  std::vector<Elem> el;
};

// A box of nx x ny x nz cubes of edge h from corner o; returns its tetrahedra
// (element positions, 1-based).
inline std::vector<int> box(Mesh& g, int nx, int ny, int nz, P3 o, P3 h) {
  const int base = static_cast<int>(g.xyz.size());
  auto id = [&](int i, int j, int k) { return base + 1 + i + (nx + 1) * (j + (ny + 1) * k); };
  for (int k = 0; k <= nz; ++k)
    for (int j = 0; j <= ny; ++j)
      for (int i = 0; i <= nx; ++i) g.xyz.push_back({o[0] + i * h[0], o[1] + j * h[1], o[2] + k * h[2]});
  std::vector<int> tets;
  auto at = [&](int n) { const P3& p = g.xyz[n - 1]; return XYZ{p[0], p[1], p[2]}; };
  for (int k = 0; k < nz; ++k)
    for (int j = 0; j < ny; ++j)
      for (int i = 0; i < nx; ++i) {
        std::vector<std::array<int, 4>> six;
        example::cube_tets(i, j, k, id, at, six);
        // Nodes 2 and 3 swapped, as the deck reader leaves a card: 1, 2, 3
        // then turn counter-clockwise seen from node 4.
        for (const auto& t : six) {
          g.el.push_back({2, {t[0], t[2], t[1], t[3]}});
          tets.push_back(static_cast<int>(g.el.size()));
        }
      }
  return tets;
}

// The boundary triangles of the tetrahedra `tets` whose centroid `keep`
// accepts, each turned so that its normal points into its tetrahedron.
inline std::vector<Tri> surface(const Mesh& g, const std::vector<int>& tets,
                                const std::function<bool(const P3&)>& keep = nullptr) {
  std::map<std::array<int, 3>, int> count;
  auto key = [](std::array<int, 3> t) { std::sort(t.begin(), t.end()); return t; };
  for (int e : tets) {
    const auto& n = g.el[e - 1].NOD;
    for (int skip = 0; skip < 4; ++skip) {
      std::array<int, 3> t{};
      for (int a = 0, q = 0; a < 4; ++a) if (a != skip) t[q++] = n[a];
      ++count[key(t)];
    }
  }
  std::vector<Tri> out;
  auto x = [&](int node) { return g.xyz[node - 1]; };
  for (int e : tets) {
    const auto& n = g.el[e - 1].NOD;
    for (int skip = 0; skip < 4; ++skip) {
      Tri t{};
      for (int a = 0, q = 0; a < 4; ++a) if (a != skip) t[q++] = n[a];
      if (count[key(t)] != 1) continue;
      P3 u, v, w, c;
      for (int k = 0; k < 3; ++k) {
        u[k] = x(t[1])[k] - x(t[0])[k];
        v[k] = x(t[2])[k] - x(t[0])[k];
        w[k] = x(n[skip])[k] - x(t[0])[k];
        c[k] = (x(t[0])[k] + x(t[1])[k] + x(t[2])[k]) / 3.0;
      }
      const double s = (u[1] * v[2] - u[2] * v[1]) * w[0] + (u[2] * v[0] - u[0] * v[2]) * w[1] +
                       (u[0] * v[1] - u[1] * v[0]) * w[2];
      if (s < 0.0) std::swap(t[1], t[2]);
      if (!keep || keep(c)) out.push_back(t);
    }
  }
  return out;
}

// The contact records of `bodies` (their triangles in order), the ordered
// pairs that may touch and the "SPLNK" pairs; the solution arrays, present
// and old coordinates at the reference ones, then CONTPRE. Solver ORK.
inline void contact_model(model::Model& m, const Mesh& g, const std::vector<std::vector<Tri>>& bodies,
                          const std::vector<std::pair<int, int>>& pairs,
                          const std::vector<std::pair<int, int>>& splnk = {}) {
  build(m, g.xyz, g.el, 2);
  const int nb = static_cast<int>(bodies.size());
  int nf = 0;
  for (const auto& b : bodies) nf += static_cast<int>(b.size());
  m.KK(kk::NBODY) = nb;
  m.KK(kk::NCSURF) = nf;
  m.KK(kk::CONTACT) = 1;
  m.KK(kk::NSPLNK) = static_cast<int>(splnk.size());
  m.BODYEND.allocate(nb);
  m.CSFNOD.allocate(3, nf);
  m.CBPAIR.allocate(nb, nb);
  m.CBVAL.allocate(2, nb, nb);
  m.SPLPAIR.allocate(2, static_cast<long>(splnk.size()));
  int f = 0;
  for (int b = 1; b <= nb; ++b) {
    for (const Tri& t : bodies[b - 1]) {
      ++f;
      for (int k = 1; k <= 3; ++k) m.CSFNOD(k, f) = t[k - 1];
    }
    m.BODYEND(b) = f;
  }
  for (const auto& [i, j] : pairs) m.CBPAIR(i, j) = 1;
  for (std::size_t i = 0; i < splnk.size(); ++i) {
    m.SPLPAIR(1, static_cast<long>(i) + 1) = splnk[i].first;
    m.SPLPAIR(2, static_cast<long>(i) + 1) = splnk[i].second;
  }
  model::MODELALLOC(m);
  for (int i = 1; i <= m.NNODE(); ++i)
    for (int k = 1; k <= 3; ++k) m.X(k, i) = m.XOLD(k, i) = m.XYZ(k, i);
  contact::CONTPRE(m);
}

// Slave index of node n.
inline int slave_of(const model::Model& m, int n) {
  for (int s = 1; s <= m.KK(kk::NSLV); ++s)
    if (m.CONT.SLAVE(s) == n) return s;
  return 0;
}

// The first contact face with node n among its corners; the edge from a to b
// either way. 0 where there is none.
inline int face_with(const model::Model& m, int n) {
  for (int f = 1; f <= m.KK(kk::NCSURF); ++f)
    for (int i = 1; i <= 3; ++i)
      if (m.CSFNOD(i, f) == n) return f;
  return 0;
}
inline int edge_of(const model::Model& m, int a, int b) {
  for (int e = 1; e <= m.KK(kk::NEDGE); ++e)
    if ((m.CONT.EDGEREC(1, e) == a && m.CONT.EDGEREC(2, e) == b) || (m.CONT.EDGEREC(1, e) == b && m.CONT.EDGEREC(2, e) == a))
      return e;
  return 0;
}

}  // namespace ossa::testing
