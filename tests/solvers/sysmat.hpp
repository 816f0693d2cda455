// Symmetric test systems for the equation solvers: held densely, handed over
// in either half of the compressed rows (diagonal first, then the lower
// columns for CG, the upper ones for ORK), and judged by their residual.
#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace ossa::test {

struct Sym {
  int n = 0;
  std::vector<double> a;  // n x n
  double& at(int i, int j) { return a[static_cast<std::size_t>(i) * n + j]; }
  double at(int i, int j) const { return a[static_cast<std::size_t>(i) * n + j]; }
};

struct Csr {
  int n = 0;
  std::vector<std::int32_t> IA, JA;
  std::vector<double> AV;
};

// The stored half: the diagonal, then the nonzero columns below (lower) or
// above it, ascending.
inline Csr half(const Sym& s, bool lower) {
  Csr c;
  c.n = s.n;
  c.IA.push_back(1);
  for (int i = 0; i < s.n; ++i) {
    c.JA.push_back(i + 1);
    c.AV.push_back(s.at(i, i));
    for (int j = lower ? 0 : i + 1; j < (lower ? i : s.n); ++j)
      if (s.at(i, j) != 0.0) c.JA.push_back(j + 1), c.AV.push_back(s.at(i, j));
    c.IA.push_back(static_cast<std::int32_t>(c.JA.size()) + 1);
  }
  return c;
}

// Three unknowns a node, as a solid mesh numbers them: 6 x 6 blocks
// G^T W G on pairs of neighbours in a cube of nodes, W = I (positive definite) or a random
// sign each (indefinite); every seventh node is left in no block. `diag` is
// added to the diagonal.
inline Sym node_blocks(int nnode, bool definite, double diag, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  Sym s{3 * nnode, std::vector<double>(9L * nnode * nnode, 0.0)};
  const int m = static_cast<int>(std::cbrt(nnode) + 0.5);  // nodes on a grid of m a side
  for (int e = 0; e < 3 * nnode; ++e) {
    const int d[] = {1, m, m * m, 1 + m, 1 + m * m, m + m * m, 1 + m + m * m};
    const int na = static_cast<int>(gen() % nnode), nb = na + d[gen() % 7];
    if (nb >= nnode) continue;
    if (na % 7 == 3 || nb % 7 == 3) continue;
    double g[36], w[6];
    for (double& x : g) x = u(gen);
    for (double& x : w) x = definite || u(gen) > 0.0 ? 1.0 : -1.0;
    for (int r = 0; r < 6; ++r)
      for (int c = 0; c < 6; ++c) {
        double t = 0.0;
        for (int k = 0; k < 6; ++k) t += g[6 * k + r] * w[k] * g[6 * k + c];
        s.at(3 * (r < 3 ? na : nb) + r % 3, 3 * (c < 3 ? na : nb) + c % 3) += t;
      }
  }
  for (int i = 0; i < s.n; ++i) s.at(i, i) += i / 3 % 7 == 3 ? 1.0 : diag;
  return s;
}

inline std::vector<double> random_vec(int n, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::vector<double> v(n);
  for (double& x : v) x = u(gen);
  return v;
}

// max |A x - b| / (|A| max |x|), |A| the largest row sum: the backward
// error of a solution.
inline double backward_error(const Sym& s, const double* x, const double* b) {
  double r = 0.0, an = 0.0, xm = 0.0;
  for (int i = 0; i < s.n; ++i) {
    double y = -b[i], row = 0.0;
    for (int j = 0; j < s.n; ++j) y += s.at(i, j) * x[j], row += std::fabs(s.at(i, j));
    r = std::max(r, std::fabs(y));
    an = std::max(an, row);
    xm = std::max(xm, std::fabs(x[i]));
  }
  return r / (an * xm);
}

}  // namespace ossa::test
