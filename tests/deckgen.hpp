// Cards of a deck in their columns, a box of tetrahedra and the frames of
// the result files, for tests that run whole jobs.
#pragma once
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../examples/mesh/cube_tets.hpp"
#include "post/reader.hpp"

namespace ossa::test {

template <class... A>
std::string card(const char* fmt, A... a) {
  char buf[256];
  std::snprintf(buf, sizeof buf, fmt, a...);
  return std::string(buf) + "\n";
}

inline std::string cntnd(int n) { return card("CNTND     %10d", n); }
inline std::string cntel(int nsol, int nshl = 0, int ngap = 0, int nrub = 0, int ntrs = 0) {
  return card("CNTEL%10d%10d%10d%10d%10d", nsol, nshl, ngap, nrub, ntrs);
}
// Analysis digits (restart, geometric, material, dynamic), iteration limit,
// load tolerance, solver selector, CG tolerance, preconditioner code.
inline std::string cntrl(int geom, int mat, int iterlim, double tol, int solver = 0,
                         double cgtol = 1e-10, int pre = 1) {
  return card("CNTRL0%1d%1d0 %3d  %10.3E%10.3E%20s%8d%10.3E%7s%1d%9.1f", geom, mat, iterlim, tol, tol, "",
              solver, cgtol, "", pre, 2000.0);
}
inline std::string cntr2(int kk35, int kk9, int kk5 = 1, int kk34 = 0) {
  return card("CNTR2%10.4f%5d%3d%3d%4d%3d", 0.0, 0, kk35, kk9, kk5, kk34);
}
inline std::string cntr3_cpu() { return card("CNTR3%5s%30s%5d%5d", "", "", -1, 0); }
inline std::string kukan(double tend, int n) { return card("KUKAN%15.6f%10d", tend, n); }
inline std::string node(int id, double x, double y, double z) {
  return card("NODE %10d%15.8f%15.8f%15.8f", id, x, y, z);
}
inline std::string solid(int id, const std::array<int, 4>& n) {
  return card("SOLID%10d%10d%10d%10d%10d", id, n[0], n[1], n[2], n[3]);
}
// Plain solid row: Poisson's ratio, modulus, no strength data.
inline std::string propt_solid(int id, double nu, double E, int bone = 0, double sigt = 0.0,
                               double yield = 0.0, double etr = 0.0, double ecrush = 0.0, double rho = 0.0) {
  return card("PROPT0%1d%1d%1d2%10d%10.5f%10.3E%10.3E%10.3E%10.3E%10.4f%10.4f%10.4f%10.1f", 0, bone, 0, id,
              nu, E, rho, sigt, yield, etr, 0.0, 0.0, ecrush);
}
// Solid row of a dynamic job: weight density, Rayleigh factors and the row
// of the "VEL" table.
inline std::string propt_dyn(int id, double nu, double E, double weight, double alpha, double beta,
                             int vel = 0) {
  return card("PROPT0%1d002%10d%10.5f%10.3E%10.3E%30s%10.3E%10.3E", vel, id, nu, E, weight, "", alpha, beta);
}
// Rubber card and row: Mooney-Rivlin C1, C2, bulk modulus KB; for a dynamic
// job weight density, Rayleigh factors and the "VEL" row.
inline std::string rubb(int id, const std::array<int, 4>& n) { return solid(id, n).replace(0, 5, "RUBB "); }
inline std::string propt_rubber(int id, double c1, double c2, double kb, double weight = 0.0, double alpha = 0.0,
                                double beta = 0.0, int vel = 0) {
  return card("PROPT0%1d004%10d%10.5f%10.5f%10.3E%10.3E%20s%10.3E%10.3E", vel, id, c1, c2, weight, kb, "", alpha,
              beta);
}
inline std::string ngld(int n) { return card("NGLD %5d", n); }
inline std::string nplnk(int n) { return card("NPLNK%5s%7d", "", n); }
inline std::string plnk(int nd, const char* flags) { return card("PLNK %10d%-6s", nd, flags); }
inline std::string nload(int npts, int ncards) { return card("NLOAD%5s%5d%10d", "", npts, ncards); }
inline std::string tblld(double t, double f) { return card("TBLLD%15.6f%15.6f", t, f); }
inline std::string force(int nd, double fx, double fy, double fz) {
  return card("FORCE%10d%15.8E%15.8E%15.8E%15.8E%15.8E%15.8E", nd, fx, fy, fz, 0.0, 0.0, 0.0);
}
inline std::string disp(int nd, double ux, double uy, double uz) {
  return card("DISP %10d%15.8E%15.8E%15.8E%15.8E%15.8E%15.8E", nd, ux, uy, uz, 0.0, 0.0, 0.0);
}

// The cards before the mesh of a job that writes every step: counts,
// CNTRL, plain CNTR2 and CNTR3, NSTEP steps to time 1.
inline std::string job_head(int nnode, int nsol, int nshl, const std::string& cntrl_card, int nstep, int nrub = 0) {
  return cntnd(nnode) + cntel(nsol, nshl, 0, nrub) + cntrl_card + cntr2(1, 1) + cntr3_cpu() + card("PRPLT%10s%5d", "", 1) +
         kukan(1.0, nstep);
}
// One load group of NCARDS data cards on the ramp from 0 at time 0 to 1 at
// time 1, after the count of NHELD "PLNK" cards.
inline std::string ramp_group(int nheld, int ncards) {
  return ngld(1) + nplnk(nheld) + nload(2, ncards) + tblld(0.0, 0.0) + tblld(1.0, 1.0);
}

struct P3 { double x, y, z; };

// A box [0,LX] x [0,LY] x [0,LZ] of NX x NY x NZ cubes, six tetrahedra each;
// nodes numbered 1, 2, ... with x running fastest.
struct Box {
  int NX = 1, NY = 1, NZ = 1;
  double LX = 1, LY = 1, LZ = 1;
  std::vector<P3> xyz;
  std::vector<std::array<int, 4>> tets;
  Box(int nx, int ny, int nz, double lx, double ly, double lz) : NX(nx), NY(ny), NZ(nz), LX(lx), LY(ly), LZ(lz) {
    for (int k = 0; k <= NZ; ++k)
      for (int j = 0; j <= NY; ++j)
        for (int i = 0; i <= NX; ++i) xyz.push_back({LX * i / NX, LY * j / NY, LZ * k / NZ});
    for (int k = 0; k < NZ; ++k)
      for (int j = 0; j < NY; ++j)
        for (int i = 0; i < NX; ++i)
          example::cube_tets(i, j, k, [&](int a, int b, int c) { return id(a, b, c); },
                             [&](int n) { return xyz[n - 1]; }, tets);
  }
  int id(int i, int j, int k) const { return 1 + i + (NX + 1) * (j + (NY + 1) * k); }
  int nnode() const { return static_cast<int>(xyz.size()); }
  int ntet() const { return static_cast<int>(tets.size()); }
  std::string node_cards() const {
    std::string s;
    for (int n = 1; n <= nnode(); ++n) s += node(n, xyz[n - 1].x, xyz[n - 1].y, xyz[n - 1].z);
    return s;
  }
  // NODE, SOLID and PROPT cards, the row of element e from row(e).
  template <class Row>
  std::string mesh_rows(Row row) const {
    std::string s = node_cards();
    for (int e = 1; e <= ntet(); ++e) s += solid(e, tets[e - 1]);
    for (int e = 1; e <= ntet(); ++e) s += row(e);
    return s;
  }
  // The same for one plain material.
  std::string mesh_cards(double nu, double E) const {
    return mesh_rows([&](int e) { return propt_solid(e, nu, E); });
  }
};

// Consistent nodal forces (index: node number) of a uniform traction T
// along x on the face x = X: a third of each boundary triangle's share to
// its corners.
inline std::vector<double> face_forces(const Box& b, double X, double T) {
  std::vector<double> f(b.nnode() + 1, 0.0);
  for (const auto& t : b.tets)
    for (int skip = 0; skip < 4; ++skip) {
      int n[3], k = 0;
      for (int a = 0; a < 4; ++a)
        if (a != skip) n[k++] = t[a];
      bool on = true;
      for (int a : n) on = on && std::fabs(b.xyz[a - 1].x - X) < 1e-12;
      if (!on) continue;
      const P3 p = b.xyz[n[0] - 1], q = b.xyz[n[1] - 1], r = b.xyz[n[2] - 1];
      const double area = 0.5 * std::fabs((q.y - p.y) * (r.z - p.z) - (q.z - p.z) * (r.y - p.y));
      for (int a : n) f[a] += T * area / 3.0;
    }
  return f;
}

// The "FORCE" cards of face_forces, and their count.
inline std::string face_force_cards(const Box& b, double X, double T, int& n) {
  const std::vector<double> f = face_forces(b, X, T);
  std::string s;
  for (int i = 1; i <= b.nnode(); ++i)
    if (f[i] != 0.0) s += force(i, f[i], 0.0, 0.0), ++n;
  return s;
}

// Those cards as one load group: a table of two points, 0 at time 0 to the
// full load at time TEND.
inline std::string end_traction(const Box& b, double X, double T, double TEND = 1.0) {
  int n = 0;
  const std::string forces = face_force_cards(b, X, T, n);
  return nload(2, n) + tblld(0.0, 0.0) + tblld(TEND, 1.0) + forces;
}

// The face x = 0 held along x, and across only on the edges y = 0 and
// z = 0: no rigid motion, and the section free to contract.
inline std::string hold_free_section(const Box& b, int& count) {
  std::string s;
  for (int i = 1; i <= b.nnode(); ++i) {
    const P3& p = b.xyz[i - 1];
    if (p.x != 0.0) continue;
    const std::string flags = std::string("1") + (p.y == 0.0 ? "1" : "0") + (p.z == 0.0 ? "1" : "0");
    s += plnk(i, flags.c_str());
    ++count;
  }
  return s;
}

// "PLNK" cards with the same flags for every node on the plane x = X.
inline std::string hold_plane(const Box& b, double X, const char* flags, int& count) {
  std::string s;
  for (int i = 1; i <= b.nnode(); ++i)
    if (std::fabs(b.xyz[i - 1].x - X) < 1e-12) {
      s += plnk(i, flags);
      ++count;
    }
  return s;
}

// Control cards (ORK, output each step), time table, nodes and elements of a box
// (solids E 1000, nu 0.3, or nonlinear rubber): weight GAM, Rayleigh, "VEL" row.
inline std::string dyn_head(const Box& b, const std::string& kukan, bool dynamic, double gam, double alpha,
                            double beta, int vel, bool rubber = false) {
  const int nt = b.ntet();
  std::string d = cntnd(b.nnode()) + cntel(rubber ? 0 : nt, 0, 0, rubber ? nt : 0) +
                  cntrl(rubber ? 1 : 0, 0, 10, 1e-6, -1) + cntr2(1, 1) + cntr3_cpu() + card("PRPLT%10s%5d", "", 1) +
                  kukan + b.node_cards();
  d[d.find("CNTRL") + 8] = dynamic ? '1' : '0';
  for (int e = 1; e <= nt; ++e)
    d += rubber ? rubb(e, b.tets[e - 1]) + propt_rubber(e, 500.0, 100.0, 1e5, gam, alpha, beta, vel)
                : solid(e, b.tets[e - 1]) + propt_dyn(e, 0.3, 1000.0, gam, alpha, beta, vel);
  return d;
}

// A bone bar (E 1000, yield 10, Et/E 0.1, substeps 4 after the first change)
// pulled along its axis past yield and partly let back: the end traction is
// 21 times a factor that rises as 2t to 1 at t = 0.5 and falls as 1.5 - t to
// 0.5 at t = 1. The deck holds the piece of that history from station TS to
// TE in NSTEP steps, its own times starting at 0. All times and factors are
// binary fractions, so that a piece computes the loads of the whole to the
// last bit.
struct BarPiece {
  double TS = 0.0, TE = 1.0;
  int NSTEP = 16, OUTSTEP = 0;
  bool RESTART = false, RSTOUT = true;
};
// The "TBLLD" cards of the piece's load factor, and their count.
inline std::string piece_table(const BarPiece& p, int& npt) {
  std::string table = tblld(0.0, p.TS <= 0.5 ? 2.0 * p.TS : 1.5 - p.TS);
  npt = 1;
  for (const double t : {0.5, 1.0})
    if (t > p.TS) table += tblld(t - p.TS, t == 0.5 ? 1.0 : 0.5), ++npt;
  return table;
}
// The control cards of the piece: material nonlinear on the route GEONL.
inline std::string piece_controls(const BarPiece& p, int geonl) {
  std::string ctl = cntrl(geonl, 1, 30, 1e-6);
  ctl[5] = p.RESTART ? '1' : '0';
  return ctl + cntr2(10, 1, 4, 0) + card("CNTR3%5s%25d%5d%5d%5d", "", 0, 0, -1, 0) +
         card("PRPLT%10s%5d", "", p.OUTSTEP) + card("PRPL2%25s%3d", "", p.RSTOUT ? 1 : 0) +
         kukan(p.TE - p.TS, p.NSTEP);
}
inline std::string bone_bar_deck(const Box& bar, const BarPiece& p) {
  const std::string mesh =
      bar.mesh_rows([](int e) { return propt_solid(e, 0.0, 1000.0, 1, 1.0e6, 10.0, 0.1, 1.0e5, 1.8e-6); });
  int npt = 0;
  const std::string table = piece_table(p, npt);
  int nf = 0;
  const std::string forces = face_force_cards(bar, bar.LX, 21.0, nf);
  int nheld = 0;
  const std::string held = hold_free_section(bar, nheld);
  return cntnd(bar.nnode()) + cntel(bar.ntet()) + piece_controls(p, 0) + mesh + ngld(1) + nplnk(nheld) +
         nload(npt, nf) + table + forces + held + "END\n";
}

// The number of frames in the result files of the working directory, and
// frame k of them; a file that cannot be read fails the test.
inline std::size_t result_frames() {
  post::ResIndex idx;
  EXPECT_EQ(post::RESSCAN(".", idx), "");
  return idx.frames.size();
}
inline post::Frame result_frame(std::size_t k) {
  post::ResIndex idx;
  post::Frame f;
  EXPECT_EQ(post::RESSCAN(".", idx), "");
  EXPECT_EQ(post::RESREAD(idx, k, f), "");
  return f;
}

// The displacements of frame K, or of every frame (K = 0), node by node.
inline std::vector<double> frame_disps(std::size_t k = 0) {
  std::vector<double> u;
  const std::size_t last = k ? k : result_frames();
  for (std::size_t f = k ? k : 1; f <= last; ++f)
    for (const auto& d : result_frame(f).DISP) u.insert(u.end(), d.V, d.V + 3);
  return u;
}

// The largest difference of two lists against the largest entry of the
// first: 1 where their lengths differ or the first is all zeros.
inline double mismatch(const std::vector<double>& a, const std::vector<double>& b) {
  double d = 0.0, s = 0.0;
  for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i)
    d = std::max(d, std::fabs(a[i] - b[i])), s = std::max(s, std::fabs(a[i]));
  return a.size() == b.size() && s > 0.0 ? d / s : 1.0;
}

}  // namespace ossa::test
