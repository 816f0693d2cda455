// Six tetrahedra of a grid cube, one per order of the axes along the
// diagonal from its lower to its upper corner, so that neighbouring cubes
// conform. Each comes in the card order the solid expects: the determinant
// of (p1-p4, p2-p4, p3-p4) is positive.
#pragma once
#include <array>
#include <utility>
#include <vector>

namespace ossa::example {

// NODEOF(i, j, k) gives the node number of a grid point, COORD(n) its
// coordinates as something with .x, .y, .z.
template <class NodeOf, class Coord>
void cube_tets(int i, int j, int k, NodeOf&& NODEOF, Coord&& COORD, std::vector<std::array<int, 4>>& out) {
  static const int PERM[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
  for (const auto& p : PERM) {
    int v[3] = {i, j, k};
    std::array<int, 4> t{};
    t[0] = NODEOF(v[0], v[1], v[2]);
    for (int s = 0; s < 3; ++s) {
      ++v[p[s]];
      t[s + 1] = NODEOF(v[0], v[1], v[2]);
    }
    const auto a = COORD(t[0]), b = COORD(t[1]), c = COORD(t[2]), d = COORD(t[3]);
    const double ax = a.x - d.x, ay = a.y - d.y, az = a.z - d.z, bx = b.x - d.x, by = b.y - d.y,
                 bz = b.z - d.z, cx = c.x - d.x, cy = c.y - d.y, cz = c.z - d.z;
    const double det = ax * (by * cz - bz * cy) - ay * (bx * cz - bz * cx) + az * (bx * cy - by * cx);
    if (det < 0.0) std::swap(t[1], t[2]);
    out.push_back(t);
  }
}

}  // namespace ossa::example
