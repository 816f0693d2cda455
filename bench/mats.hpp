// Benchmark matrices for the direct solver, in the solver's storage: rows from 1,
// diagonal first, then the strict upper half in ascending columns.
//  - tet_stiffness: linear elasticity of a box of nx*ny*nz cubes, each cut
//    into six tetrahedra, three unknowns per node, a modulus per element, the
//    bottom face held by springs so that the matrix is positive definite.
#pragma once
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace ossa::bench {

struct UpperCsr {
  int n = 0;
  std::vector<std::int32_t> IA, JA;
  std::vector<double> AV;
  long nz() const { return static_cast<long>(JA.size()); }
};

// Builds the pattern from per-row sets of upper columns (diagonal added).
inline UpperCsr csr_from_rows(std::vector<std::vector<int>>& rows) {
  UpperCsr a;
  a.n = static_cast<int>(rows.size());
  a.IA.push_back(1);
  for (int i = 0; i < a.n; ++i) {
    auto& r = rows[i];
    std::sort(r.begin(), r.end());
    r.erase(std::unique(r.begin(), r.end()), r.end());
    a.JA.push_back(i + 1);
    for (int c : r)
      if (c > i) a.JA.push_back(c + 1);
    a.IA.push_back(static_cast<std::int32_t>(a.JA.size() + 1));
  }
  a.AV.assign(a.JA.size(), 0.0);
  return a;
}

// Position (from 0) of entry (i,j), i <= j, from 0; -1 if not in the pattern.
inline long csr_find(const UpperCsr& a, int i, int j) {
  const auto b = a.JA.begin() + (a.IA[i] - 1), e = a.JA.begin() + (a.IA[i + 1] - 1);
  const auto p = std::lower_bound(b, e, j + 1);
  return p != e && *p == j + 1 ? p - a.JA.begin() : -1;
}

// Stiffness of a linear tetrahedron, 12 x 12 row-major, unknowns node by node.
inline void tet_element(const double X[4][3], double E, double nu, double K[144]) {
  double J[3][3];
  for (int a = 0; a < 3; ++a)
    for (int d = 0; d < 3; ++d) J[d][a] = X[a + 1][d] - X[0][d];
  const double det = J[0][0] * (J[1][1] * J[2][2] - J[1][2] * J[2][1]) -
                     J[0][1] * (J[1][0] * J[2][2] - J[1][2] * J[2][0]) +
                     J[0][2] * (J[1][0] * J[2][1] - J[1][1] * J[2][0]);
  // Rows of J^-1 are the gradients of the shape functions of nodes 1..3.
  double inv[3][3];
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) {
      const int r1 = (c + 1) % 3, r2 = (c + 2) % 3, c1 = (r + 1) % 3, c2 = (r + 2) % 3;
      inv[r][c] = (J[r1][c1] * J[r2][c2] - J[r1][c2] * J[r2][c1]) / det;
    }
  double g[4][3];
  for (int d = 0; d < 3; ++d) {
    g[0][d] = 0.0;
    for (int a = 1; a < 4; ++a) {
      g[a][d] = inv[a - 1][d];
      g[0][d] -= g[a][d];
    }
  }
  const double vol = std::fabs(det) / 6.0;
  const double lam = E * nu / ((1 + nu) * (1 - 2 * nu)), mu = E / (2 * (1 + nu));
  // K(a i, b j) = V (lam g_a,i g_b,j + mu g_a,j g_b,i + mu delta_ij g_a . g_b)
  for (int a = 0; a < 4; ++a)
    for (int b = 0; b < 4; ++b) {
      const double gg = g[a][0] * g[b][0] + g[a][1] * g[b][1] + g[a][2] * g[b][2];
      for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
          K[(3 * a + i) * 12 + 3 * b + j] =
              vol * (lam * g[a][i] * g[b][j] + mu * g[a][j] * g[b][i] + (i == j ? mu * gg : 0.0));
    }
}

inline UpperCsr tet_stiffness(int nx, int ny, int nz, unsigned seed = 1) {
  const int px = nx + 1, py = ny + 1, pz = nz + 1;
  const int nn = px * py * pz;
  auto node = [&](int i, int j, int k) { return i + px * (j + py * k); };
  // Six tetrahedra around the main diagonal of each cube (corners by bits x,y,z).
  static const int tets[6][4] = {{0, 1, 3, 7}, {0, 1, 5, 7}, {0, 2, 3, 7},
                                 {0, 2, 6, 7}, {0, 4, 5, 7}, {0, 4, 6, 7}};
  std::vector<std::array<int, 4>> el;
  for (int k = 0; k < nz; ++k)
    for (int j = 0; j < ny; ++j)
      for (int i = 0; i < nx; ++i)
        for (const auto& t : tets) {
          std::array<int, 4> e{};
          for (int a = 0; a < 4; ++a) e[a] = node(i + (t[a] & 1), j + ((t[a] >> 1) & 1), k + ((t[a] >> 2) & 1));
          el.push_back(e);
        }
  std::vector<std::vector<int>> nb(nn);
  for (const auto& e : el)
    for (int a : e)
      for (int b : e)
        if (b > a) nb[a].push_back(b);
  std::vector<std::vector<int>> rows(3 * nn);
  for (int a = 0; a < nn; ++a) {
    std::sort(nb[a].begin(), nb[a].end());
    for (int d = 0; d < 3; ++d) {
      for (int e = d + 1; e < 3; ++e) rows[3 * a + d].push_back(3 * a + e);
      for (int b : nb[a])
        for (int e = 0; e < 3; ++e) rows[3 * a + d].push_back(3 * b + e);
    }
  }
  UpperCsr A = csr_from_rows(rows);
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> mod(1000.0, 3000.0);
  const double nu = 0.3;
  for (const auto& e : el) {
    double x[4][3];
    for (int a = 0; a < 4; ++a) {
      const int id = e[a];
      x[a][0] = id % px;
      x[a][1] = (id / px) % py;
      x[a][2] = id / (px * py);
    }
    double K[144];
    tet_element(x, mod(g), nu, K);
    for (int a = 0; a < 4; ++a)
      for (int b = 0; b < 4; ++b)
        for (int d = 0; d < 3; ++d)
          for (int f = 0; f < 3; ++f) {
            const int i = 3 * e[a] + d, j = 3 * e[b] + f;
            if (i <= j) A.AV[csr_find(A, i, j)] += K[(3 * a + d) * 12 + 3 * b + f];
          }
  }
  for (int j = 0; j < py; ++j)
    for (int i = 0; i < px; ++i)
      for (int d = 0; d < 3; ++d) A.AV[A.IA[3 * node(i, j, 0) + d] - 1] += 3000.0;
  return A;
}

// y = A x with the upper half.
inline std::vector<double> csr_mult(const UpperCsr& A, const std::vector<double>& x) {
  std::vector<double> y(A.n, 0.0);
  for (int i = 0; i < A.n; ++i)
    for (int e = A.IA[i] - 1; e < A.IA[i + 1] - 1; ++e) {
      const int j = A.JA[e] - 1;
      y[i] += A.AV[e] * x[j];
      if (j != i) y[j] += A.AV[e] * x[i];
    }
  return y;
}

// Infinity norm of the symmetric matrix.
inline double csr_norm(const UpperCsr& A) {
  std::vector<double> s(A.n, 0.0);
  for (int i = 0; i < A.n; ++i)
    for (int e = A.IA[i] - 1; e < A.IA[i + 1] - 1; ++e) {
      const int j = A.JA[e] - 1;
      s[i] += std::fabs(A.AV[e]);
      if (j != i) s[j] += std::fabs(A.AV[e]);
    }
  return *std::max_element(s.begin(), s.end());
}

}  // namespace ossa::bench
