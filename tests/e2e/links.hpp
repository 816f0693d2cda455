// Decks of truss and gap jobs: free nodes, bars with their force-strain
// tables, solid blocks joined by gaps, node holds, and one load group of
// forces or enforced displacements with its table.
#pragma once
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "deckgen.hpp"

namespace ossa::test {

using Table = std::vector<std::pair<double, double>>;

struct LinkDeck {
  int geom = 0, solver = -1, iterlim = 20, kk9 = 1, riks = 0;
  double tol = 1e-8, arc = 0.0, tend = 1.0;
  int nstep = 1;
  std::string kukan;                           // a time table of its own
  std::vector<P3> xyz;                         // node n is xyz[n - 1]
  std::vector<std::array<int, 4>> tets;        // solids, card order
  double E = 1000.0, nu = 0.3;
  std::vector<std::array<int, 3>> bars;        // node, node, table
  std::vector<Table> tables;
  std::vector<std::array<int, 6>> gaps;        // two faces, node pairs a-d, b-e, c-f
  std::vector<std::pair<int, std::string>> holds;  // "PLNK" flags; 2 enforced
  Table load;                                  // time, factor
  std::vector<std::array<double, 4>> forces;   // node, fx, fy, fz
  std::vector<std::array<double, 4>> disps;    // node, ux, uy, uz

  std::string str() const {
    std::string s = cntnd(static_cast<int>(xyz.size())) +
                    card("CNTEL%10d%10d%10d%10d%10d", static_cast<int>(tets.size()), 0,
                         static_cast<int>(gaps.size()), 0, static_cast<int>(bars.size())) +
                    cntrl(geom, 0, iterlim, tol, solver) +
                    card("CNTR2%10.4f%5d%3d%3d%4d%3d", arc, riks, 1, kk9, 1, 0) + cntr3_cpu() +
                    card("PRPLT%10s%5d", "", 1) + (kukan.empty() ? test::kukan(tend, nstep) : kukan);
    for (std::size_t n = 0; n < xyz.size(); ++n)
      s += node(static_cast<int>(n + 1), xyz[n].x, xyz[n].y, xyz[n].z);
    for (std::size_t e = 0; e < tets.size(); ++e) s += solid(static_cast<int>(e + 1), tets[e]);
    for (std::size_t e = 0; e < tets.size(); ++e) s += propt_solid(static_cast<int>(e + 1), nu, E);
    for (std::size_t e = 0; e < bars.size(); ++e) {
      const int id = static_cast<int>(e + 1);
      s += card("TRUSS%10d%10d%10d", id, bars[e][0], bars[e][1]) + card("PROPT%4d5%10d", bars[e][2], id);
    }
    for (const Table& t : tables) {
      s += card("TRSTB%5s%5d", "", static_cast<int>(t.size()));
      for (const auto& [x, y] : t) s += card("%15.7E%15.7E", x, y);
    }
    for (const auto& g : gaps) s += card("GAP  %10d%10d%10d%10d%10d%10d", g[0], g[1], g[2], g[3], g[4], g[5]);
    s += ngld((forces.empty() ? 0 : 1) + (disps.empty() ? 0 : 1)) + nplnk(static_cast<int>(holds.size()));
    auto group = [&](const std::vector<std::array<double, 4>>& rows, bool enforced) {
      if (rows.empty()) return;
      s += nload(static_cast<int>(load.size()), static_cast<int>(rows.size()));
      for (const auto& [t, f] : load) s += tblld(t, f);
      for (const auto& r : rows)
        s += enforced ? disp(static_cast<int>(r[0]), r[1], r[2], r[3]) : force(static_cast<int>(r[0]), r[1], r[2], r[3]);
    };
    group(forces, false);
    group(disps, true);
    for (const auto& [nd, flags] : holds) s += plnk(nd, flags.c_str());
    return s + "END\n";
  }
};

// A shallow two-bar truss: supports at (-A, 0) and (A, 0), apex (0, H), bars
// of stiffness EA (a linear table) and a downward load P at the apex, scaled
// by the load table.
inline LinkDeck two_bar(double A, double H, double EA, double P) {
  LinkDeck d;
  d.geom = 1;
  d.xyz = {{-A, 0.0, 0.0}, {A, 0.0, 0.0}, {0.0, H, 0.0}};
  d.bars = {{1, 3, 1}, {2, 3, 1}};
  d.tables = {{{-1.0, -EA}, {1.0, EA}}};
  d.holds = {{1, "111000"}, {2, "111000"}, {3, "001000"}};
  d.forces = {{3.0, 0.0, -P, 0.0}};
  return d;
}

// Load factor of that truss at apex deflection w (downwards): the vertical
// component of the two bar forces, N = EA (L / L0 - 1).
inline double two_bar_load(double A, double H, double EA, double P, double w) {
  const double L0 = std::sqrt(A * A + H * H), L = std::sqrt(A * A + (H - w) * (H - w));
  return -2.0 * EA * (L / L0 - 1.0) * (H - w) / L / P;
}

// Two unit cubes of six tetrahedra along x: block A on [0,1], block B on
// [X0, X0+1]; nodes of A first (1-8), then of B (9-16), x running fastest.
inline LinkDeck two_blocks(double X0) {
  LinkDeck d;
  const Box b(1, 1, 1, 1.0, 1.0, 1.0);
  for (double dx : {0.0, X0})
    for (const P3& p : b.xyz) d.xyz.push_back({p.x + dx, p.y, p.z});
  for (int off : {0, b.nnode()})
    for (auto t : b.tets) {
      for (int& n : t) n += off;
      d.tets.push_back(t);
    }
  return d;
}

// Node of block (0 A, 1 B) at the unit cube's corner (i, j, k).
inline int block_node(int block, int i, int j, int k) { return 1 + i + 2 * j + 4 * k + 8 * block; }

// Two blocks on x; A held on x = 0, B's far face driven along x by the
// enforced displacement table (time, displacement); both free to contract
// sideways. `driven` gets the driven nodes.
inline LinkDeck driven_blocks(double X0, double E, const Table& delta, std::vector<int>& driven) {
  LinkDeck d = two_blocks(X0);
  d.E = E;
  d.nstep = static_cast<int>(delta.size()) - 1;
  d.tend = delta.back().first;
  d.load = delta;
  for (int j = 0; j <= 1; ++j)
    for (int k = 0; k <= 1; ++k) {
      const std::string side = std::string(j == 0 ? "1" : "0") + (k == 0 ? "1" : "0") + "000";
      d.holds.push_back({block_node(0, 0, j, k), "1" + side});
      d.holds.push_back({block_node(1, 1, j, k), "2" + side});
      d.disps.push_back({static_cast<double>(block_node(1, 1, j, k)), 1.0, 0.0, 0.0});
      driven.push_back(block_node(1, 1, j, k));
    }
  return d;
}

// The gap of two_blocks(X0): the two triangles of A's face x = 1 with those
// of B's face x = X0, ordered so that the normal points from A to B.
inline std::vector<std::array<int, 6>> block_gaps() {
  auto a = [](int j, int k) { return block_node(0, 1, j, k); };
  auto b = [](int j, int k) { return block_node(1, 0, j, k); };
  return {{a(0, 0), a(1, 0), a(1, 1), b(0, 0), b(1, 0), b(1, 1)},
          {a(0, 0), a(1, 1), a(0, 1), b(0, 0), b(1, 1), b(0, 1)}};
}

}  // namespace ossa::test
