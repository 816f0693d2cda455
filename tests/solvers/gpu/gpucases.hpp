// Matrices for the device CG's tests: full matrices of given row lengths,
// whose splits reach every branch of the ELL width rule, the layouts and the
// COO kernels, and a shifted grid Laplacian with one long row, a symmetric
// positive definite system that uses both the ELL and the COO product.
#pragma once
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include "deckgen.hpp"
#include "model/model.hpp"
#include "solvers/gpu/gpu.hpp"
#include "solvers/sysmat.hpp"
#include "testutil.hpp"

namespace ossa::test {

struct Full {
  int n = 0;
  std::vector<int> IAF, JAF;
  std::vector<double> AF;
};

// GROUPS of {rows, length}: rows of that many random entries, one-based.
inline Full rows_of(const std::vector<std::pair<int, int>>& groups, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  Full f;
  for (const auto& g : groups) f.n += g.first;
  f.IAF.push_back(1);
  for (const auto& g : groups)
    for (int r = 0; r < g.first; ++r) {
      for (int k = 0; k < g.second; ++k) {
        f.JAF.push_back(static_cast<int>(gen() % f.n) + 1);
        f.AF.push_back(u(gen));
      }
      f.IAF.push_back(static_cast<int>(f.JAF.size()) + 1);
    }
  return f;
}

// y = A x with the full matrix, row by row.
inline std::vector<double> product(const Full& f, const std::vector<double>& x) {
  std::vector<double> y(f.n, 0.0);
  for (int r = 0; r < f.n; ++r)
    for (int e = f.IAF[r] - 1; e < f.IAF[r + 1] - 1; ++e) y[r] += f.AF[e] * x[f.JAF[e] - 1];
  return y;
}

// One product through OPS (the device or its emulation): uploads, DQ = A x,
// and returns all NPAD entries of DQ.
inline std::vector<double> ops_product(const solvers::GPUOPS& ops, const Full& f, const std::vector<double>& x,
                                       solvers::GPUPLAN& p, solvers::GPUHOST& h) {
  p = solvers::GPUPLANOF(f.IAF.data(), f.n);
  solvers::GPUSPLITIDX(p, f.IAF.data(), f.JAF.data(), h);
  solvers::GPUSPLITVAL(p, f.IAF.data(), f.AF.data(), h);
  solvers::GPUMEM d;
  ops.CARRY(d, false);
  ops.UPLOAD(d, p, h, x.data(), x.data(), x.data());
  ops.SPMV(d, p, d.DX);
  std::vector<double> y(static_cast<std::size_t>(p.NPAD));
  solvers::GPUMEM q = d;  // DQ fetched as DOWNLOAD fetches DX
  q.DX = d.DQ;
  solvers::GPUPLAN all = p;
  all.NEQ = p.NPAD;
  ops.DOWNLOAD(q, all, y.data());
  ops.RELEASE(d);
  ops.CARRY(d, true);
  return y;
}

// The full matrix of a stored half (GPUEXPAND); DIAG of its diagonal.
inline Full expand(const Csr& c, std::vector<double>& diag) {
  const int nz = static_cast<int>(c.JA.size()), nfull = 2 * nz - c.n;
  Full f;
  f.n = c.n;
  f.IAF.resize(c.n + 1);
  f.JAF.resize(nfull);
  f.AF.resize(nfull);
  diag.resize(c.n);
  solvers::GPUEXPAND(c.IA.data(), c.JA.data(), c.AV.data(), nz, c.n, f.IAF.data(), f.JAF.data(), f.AF.data(), nfull,
                     diag.data());
  return f;
}

// GPUCG through OPS on the system C from X; returns STATUS.
inline int gpucg(model::GPUDATA& g, const solvers::GPUOPS& ops, const Csr& c, std::vector<double>& x,
                 const std::vector<double>& f, double eps) {
  std::vector<double> diag;
  const Full a = expand(c, diag);
  return solvers::GPUCG(g, ops, a.AF.data(), a.IAF.data(), a.JAF.data(), c.n, x.data(), f.data(), eps, diag.data(), 0);
}

// The femur deck in EXEC.INP with the device field of its CNTR3 card
// (columns 41-45) set to DEVICE.
inline void set_device(int device) {
  std::string deck = read_file("EXEC.INP");
  char field[6];
  std::snprintf(field, sizeof field, "%5d", device);
  deck.replace(deck.find("\nCNTR3") + 41, 5, field);
  write_file("EXEC.INP", deck);
}

// The shifted 5-point Laplacian of an N x N grid (4 + SHIFT on the
// diagonal), with node 1 weakly tied to every tenth node: its row runs far
// past the ELL width and across the COO warps' intervals. Lower half, as the
// processor CG stores it.
inline Csr grid(int N, double shift) {
  const int n = N * N;
  auto tied = [N](int i) { return i % 10 == 0 && i > 0 && i != N; };
  int ntied = 0;
  for (int i = 0; i < n; ++i) ntied += tied(i) ? 1 : 0;
  Csr c;
  c.n = n;
  c.IA.push_back(1);
  for (int i = 0; i < n; ++i) {
    // Diagonal first, then ascending: 1 < i-N+1 < i (i != N where both are 1).
    c.JA.push_back(i + 1);
    c.AV.push_back(4.0 + shift + (i == 0 ? 0.01 * ntied : tied(i) ? 0.01 : 0.0));
    if (tied(i)) c.JA.push_back(1), c.AV.push_back(-0.01);
    if (i >= N) c.JA.push_back(i - N + 1), c.AV.push_back(-1.0);
    if (i % N > 0) c.JA.push_back(i), c.AV.push_back(-1.0);
    c.IA.push_back(static_cast<int>(c.JA.size()) + 1);
  }
  return c;
}

}  // namespace ossa::test
