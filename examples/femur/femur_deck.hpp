// A proximal-femur-like model for the example job and the benchmarks: shaft,
// neck at 130 degrees and head, cut from a grid of cubes of side H (mm), each
// cube split into six tetrahedra along its main diagonal so that neighbours
// conform. Every element carries its own modulus from a smooth apparent
// density field (dense cortex near the surface, trabecular bone inside)
// through a power law. The distal end is held; a stance load acts on the
// top of the head.
#pragma once
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <map>
#include <vector>

#include "../mesh/cube_tets.hpp"

namespace ossa::example {

struct FemurOptions {
  double H = 3.0;          // cube side, mm
  double LOAD = 2000.0;    // resultant on the head, N
  int NSTEP = 2;           // steps of the time table
  int SOLVER = 0;          // selector of the CNTRL card: 0 CG, -1 ORK
  int NONLINEAR = 0;       // material nonlinear (bone cracks, yields, crushes)
};

namespace femur {

constexpr double PI = 3.14159265358979323846;
constexpr double SHAFT_R = 14.0, SHAFT_L = 120.0;
constexpr double NECK_R = 12.0, NECK_L = 45.0;
constexpr double HEAD_R = 22.0;

struct V3 { double x, y, z; };

inline V3 neck_dir() {  // 130 degrees from the distal shaft axis, towards -x (medial)
  const double a = (180.0 - 130.0) * PI / 180.0;
  return {-std::sin(a), 0.0, std::cos(a)};
}

inline V3 neck_base() { return {0.0, 0.0, SHAFT_L - 15.0}; }

inline V3 head_centre() {
  const V3 d = neck_dir(), b = neck_base();
  return {b.x + NECK_L * d.x, b.y + NECK_L * d.y, b.z + NECK_L * d.z};
}

// Signed distance-like depth below the surface (positive inside), mm.
inline double depth(const V3& p) {
  double best = -1e30;
  if (p.z >= 0.0 && p.z <= SHAFT_L) best = std::max(best, SHAFT_R - std::hypot(p.x, p.y));
  const V3 d = neck_dir(), b = neck_base();
  const double s = (p.x - b.x) * d.x + (p.y - b.y) * d.y + (p.z - b.z) * d.z;
  if (s >= 0.0 && s <= NECK_L) {
    const V3 q = {p.x - b.x - s * d.x, p.y - b.y - s * d.y, p.z - b.z - s * d.z};
    best = std::max(best, NECK_R - std::sqrt(q.x * q.x + q.y * q.y + q.z * q.z));
  }
  const V3 c = head_centre();
  best = std::max(best, HEAD_R - std::sqrt((p.x - c.x) * (p.x - c.x) + (p.y - c.y) * (p.y - c.y) +
                                           (p.z - c.z) * (p.z - c.z)));
  return best;
}

// Apparent density (g/cm3): cortex within 3 mm of the surface, then a smooth
// fall to trabecular bone, with a gentle variation along the shaft.
inline double density(const V3& p) {
  const double d = std::max(0.0, depth(p));
  const double t = std::min(1.0, d / 3.0);
  const double cort = 1.8, trab = 0.35 + 0.15 * std::cos(p.z / 25.0);
  return cort + (trab - cort) * t * t * (3.0 - 2.0 * t);
}

}  // namespace femur

// Writes the deck to `f`. Returns the number of tetrahedra.
inline long write_femur_deck(std::FILE* f, const FemurOptions& o) {
  using femur::V3;
  const double H = o.H;
  const V3 c = femur::head_centre();
  const double xmin = c.x - femur::HEAD_R - H, xmax = femur::SHAFT_R + H;
  const double ymin = -femur::HEAD_R - H, ymax = femur::HEAD_R + H;
  const double zmax = c.z + femur::HEAD_R + H;
  const int nx = static_cast<int>((xmax - xmin) / H) + 1, ny = static_cast<int>((ymax - ymin) / H) + 1,
            nz = static_cast<int>(zmax / H) + 1;
  auto gp = [&](int i, int j, int k) { return V3{xmin + i * H, ymin + j * H, k * H}; };
  auto key = [&](int i, int j, int k) { return (static_cast<long>(k) * (ny + 1) + j) * (nx + 1) + i; };

  // Cubes whose centre lies inside the bone; the bottom layer starts at z = 0.
  std::vector<std::array<int, 3>> cubes;
  for (int k = 0; k < nz; ++k)
    for (int j = 0; j < ny; ++j)
      for (int i = 0; i < nx; ++i) {
        const V3 m = {xmin + (i + 0.5) * H, ymin + (j + 0.5) * H, (k + 0.5) * H};
        if (femur::depth(m) > 0.0) cubes.push_back({i, j, k});
      }
  std::map<long, int> node;  // grid point -> node number
  std::vector<V3> xyz;
  auto nodeof = [&](int i, int j, int k) {
    auto [it, fresh] = node.emplace(key(i, j, k), static_cast<int>(xyz.size()) + 1);
    if (fresh) xyz.push_back(gp(i, j, k));
    return it->second;
  };
  std::vector<std::array<int, 4>> tets;
  for (const auto& cb : cubes)
    cube_tets(cb[0], cb[1], cb[2], nodeof, [&](int n) { return xyz[n - 1]; }, tets);
  const int nnode = static_cast<int>(xyz.size());
  const long ntet = static_cast<long>(tets.size());

  // Held nodes at the distal end; loaded nodes on top of the head.
  std::vector<int> held, loaded;
  for (int n = 1; n <= nnode; ++n) {
    const V3& p = xyz[n - 1];
    if (p.z < 1e-9) held.push_back(n);
    if (p.z > c.z + femur::HEAD_R - 2.5 * H) loaded.push_back(n);
  }
  if (loaded.empty()) loaded.push_back(nnode);

  std::fprintf(f, "REMARK  PROXIMAL FEMUR, %d NODES, %ld TETRAHEDRA, CUBE %.2f MM\n", nnode, ntet, H);
  std::fprintf(f, "CNTND     %10d\n", nnode);
  std::fprintf(f, "CNTEL%10ld%10d%10d%10d%10d\n", ntet, 0, 0, 0, 0);
  std::fprintf(f, "CNTRL%1d%1d%1d%1d %3d  %10.4f%10.4f%20s%8d%10.3E%7s%1d%9.1f\n", 0, 0, o.NONLINEAR, 0,
               20, 0.001, 0.001, "", o.SOLVER, 1.0e-8, "", 1, 4000.0);
  std::fprintf(f, "CNTR2%10.4f%5d%3d%3d%4d%3d\n", 0.0, 0, 10, 1, 1, 0);
  std::fprintf(f, "CNTR3%5s%5d%5d%5d%5d%5d%5d%5d%5d\n", "", 0, 0, 0, 0, 0, 0, -1, 0);
  std::fprintf(f, "PRPLT%5s%1d%1d%3s%5d\n", "", 0, 0, "", 1);
  std::fprintf(f, "KUKAN%15.4f%10d\n", 1.0, o.NSTEP);
  for (int n = 1; n <= nnode; ++n)
    std::fprintf(f, "NODE %10d%15.6f%15.6f%15.6f\n", n, xyz[n - 1].x, xyz[n - 1].y, xyz[n - 1].z);
  for (long e = 1; e <= ntet; ++e) {
    const auto& t = tets[e - 1];
    std::fprintf(f, "SOLID%10ld%10d%10d%10d%10d\n", e, t[0], t[1], t[2], t[3]);
  }
  for (long e = 1; e <= ntet; ++e) {
    const auto& t = tets[e - 1];
    V3 m = {0, 0, 0};
    for (int a : t) {
      m.x += 0.25 * xyz[a - 1].x;
      m.y += 0.25 * xyz[a - 1].y;
      m.z += 0.25 * xyz[a - 1].z;
    }
    const double rho = femur::density(m);
    const double E = 6850.0 * std::pow(rho, 1.49);  // MPa
    const double sigt = 0.8 * 0.0075 * E, yield = 0.0085 * E;
    std::fprintf(f, "PROPT%1d%1d%1d%1d%1d%10ld%10.4f%10.1f%10.3E%10.3f%10.3f%10.4f%10.4f%10.4f%10.1f\n", 0,
                 0, 1, 0, 2, e, 0.3, E, rho * 1.0e-9 * 9806.65, sigt, yield, 0.05, 0.0, 0.0, 10000.0);
  }
  std::fprintf(f, "NGLD %5d\n", 1);
  std::fprintf(f, "NPLNK%5s%7zu\n", "", held.size());
  std::fprintf(f, "NLOAD%5s%5d%10zu\n", "", 2, loaded.size());
  std::fprintf(f, "TBLLD%15.4f%15.4f\n", 0.0, 0.0);
  std::fprintf(f, "TBLLD%15.4f%15.4f\n", 1.0, 1.0);
  // Stance: mostly downwards, partly medial to lateral and posterior.
  const double share = o.LOAD / static_cast<double>(loaded.size());
  for (int n : loaded)
    std::fprintf(f, "FORCE%10d%15.6f%15.6f%15.6f%15.6f%15.6f%15.6f\n", n, 0.35 * share, 0.10 * share,
                 -0.93 * share, 0.0, 0.0, 0.0);
  for (int n : held) std::fprintf(f, "PLNK %10d111000\n", n);
  std::fprintf(f, "END\n");
  return ntet;
}

}  // namespace ossa::example
