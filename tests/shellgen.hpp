// Decks of flat shell meshes for the jobs of the tests: a rectangle of
// triangles in the plane z = 0, its cards, and line loads on its edges.
#pragma once
#include <cmath>
#include <string>
#include <vector>

#include "deckgen.hpp"

namespace ossa::test {

inline std::string shell(int id, int n1, int n2, int n3, double thick) {
  return card("SHELL%10d%10d%10d%10d%5s%10.5f", id, n1, n2, n3, "", thick);
}
// Shell row: Poisson's ratio, modulus and, for a bone row, tensile strength,
// yield stress, tangent ratio and crush strain (in 1e-6).
inline std::string propt_shell(int id, double nu, double E, int bone = 0, double sigt = 0.0, double yield = 0.0,
                               double etr = 0.0, double ecrush = 0.0) {
  if (bone == 0) return card("PROPT00001%10d%10.5f%10.3E", id, nu, E);
  return card("PROPT00101%10d%10.5f%10.3E%10.3E%10.3E%10.3E%10.4f%10.4f%10.4f%10.1f", id, nu, E, 1.8e-6, sigt,
              yield, etr, 0.0, 0.0, ecrush);
}

// The material of a mesh's rows.
struct ShellMat {
  double nu, E;
  int bone = 0;
  double sigt = 0.0, yield = 0.0, etr = 0.0, ecrush = 0.0;
};

// [0,LX] x [0,LY] in NX x NY cells, each cut in two triangles along a
// diagonal that alternates from cell to cell; nodes 1, 2, ... with x running
// fastest, elements numbered from FIRSTEL.
struct ShellMesh {
  int NX, NY;
  double LX, LY;
  std::vector<P3> xyz;
  std::vector<std::array<int, 3>> tris;
  ShellMesh(int nx, int ny, double lx, double ly) : NX(nx), NY(ny), LX(lx), LY(ly) {
    for (int j = 0; j <= NY; ++j)
      for (int i = 0; i <= NX; ++i) xyz.push_back({LX * i / NX, LY * j / NY, 0.0});
    for (int j = 0; j < NY; ++j)
      for (int i = 0; i < NX; ++i) {
        const int a = id(i, j), b = id(i + 1, j), c = id(i + 1, j + 1), d = id(i, j + 1);
        if ((i + j) % 2 == 0) tris.push_back({a, b, c}), tris.push_back({a, c, d});
        else tris.push_back({a, b, d}), tris.push_back({b, c, d});
      }
  }
  int id(int i, int j) const { return 1 + i + (NX + 1) * j; }
  // Rolls the plane onto the cylinder of radius R about the x axis: y is
  // the arc length from the crown.
  void roll(double R) {
    for (P3& p : xyz) p = {p.x, R * std::sin(p.y / R), R * std::cos(p.y / R)};
  }
  int nnode() const { return static_cast<int>(xyz.size()); }
  int ntri() const { return static_cast<int>(tris.size()); }
  // NODE cards of nodes FIRST.., SHELL and PROPT cards of elements FIRSTEL..
  std::string node_cards(int first = 1) const {
    std::string s;
    for (int n = 0; n < nnode(); ++n) s += node(first + n, xyz[n].x, xyz[n].y, xyz[n].z);
    return s;
  }
  std::string shell_cards(double thick, const ShellMat& mt, int firstel = 1) const {
    std::string s;
    for (int e = 0; e < ntri(); ++e) s += shell(firstel + e, tris[e][0], tris[e][1], tris[e][2], thick);
    for (int e = 0; e < ntri(); ++e)
      s += propt_shell(firstel + e, mt.nu, mt.E, mt.bone, mt.sigt, mt.yield, mt.etr, mt.ecrush);
    return s;
  }
  std::string shell_cards(double thick, double nu, double E) const { return shell_cards(thick, ShellMat{nu, E}); }
};

// The force cards of a total force and moment L(6) spread evenly along the
// edge x = X, and their count.
inline std::string edge_load(const ShellMesh& s, double X, const std::array<double, 6>& L, int& n) {
  std::string c;
  const int i = static_cast<int>(X / s.LX * s.NX + 0.5);
  for (int j = 0; j <= s.NY; ++j) {
    const double w = (j == 0 || j == s.NY ? 0.5 : 1.0) / s.NY;
    c += card("FORCE%10d%15.8E%15.8E%15.8E%15.8E%15.8E%15.8E", s.id(i, j), w * L[0], w * L[1], w * L[2],
              w * L[3], w * L[4], w * L[5]);
    ++n;
  }
  return c;
}

// "PLNK" cards with FLAGS for the nodes of the edge x = X, and their count.
inline std::string edge_held(const ShellMesh& s, double X, const char* flags, int& n) {
  std::string c;
  const int i = static_cast<int>(X / s.LX * s.NX + 0.5);
  for (int j = 0; j <= s.NY; ++j) c += plnk(s.id(i, j), flags), ++n;
  return c;
}

}  // namespace ossa::test
