// Sparse patterns for the ORK analysis: one-based compressed rows, diagonal
// first, then the strict upper half in ascending order.
#pragma once
#include <algorithm>
#include <cstdint>
#include <random>
#include <set>
#include <vector>

namespace orkpat {

struct Pattern {
  int n = 0;
  std::vector<std::int32_t> ia, ja;
};

// From the strict upper neighbours of each row (zero-based sets of columns).
inline Pattern fromsets(const std::vector<std::set<int>>& up) {
  Pattern p;
  p.n = static_cast<int>(up.size());
  p.ia.push_back(1);
  for (int i = 0; i < p.n; ++i) {
    p.ja.push_back(i + 1);
    for (int j : up[i]) p.ja.push_back(j + 1);
    p.ia.push_back(static_cast<std::int32_t>(p.ja.size() + 1));
  }
  return p;
}

// Random symmetric pattern: each pair with probability prob.
inline Pattern random(int n, double prob, unsigned seed) {
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  std::vector<std::set<int>> up(n);
  for (int i = 0; i < n; ++i)
    for (int j = i + 1; j < n; ++j)
      if (u(g) < prob) up[i].insert(j);
  return fromsets(up);
}

// A cube of m x m x m cells cut into six tetrahedra each (every cell split
// along its main diagonal), three dofs per node: node v couples with v + d
// for every nonzero d in {0,1}^3 and with the negatives of these.
inline Pattern tetcube(int m) {
  const int k = m + 1;
  const long nn = static_cast<long>(k) * k * k;
  Pattern p;
  p.n = static_cast<int>(3 * nn);
  p.ia.reserve(p.n + 1);
  p.ja.reserve(static_cast<std::size_t>(p.n) * 24);
  p.ia.push_back(1);
  std::vector<long> nb;
  for (long v = 0; v < nn; ++v) {
    const int x = static_cast<int>(v % k), y = static_cast<int>((v / k) % k),
              z = static_cast<int>(v / (static_cast<long>(k) * k));
    nb.clear();
    for (int d = 1; d < 8; ++d) {
      const int dx = d & 1, dy = (d >> 1) & 1, dz = (d >> 2) & 1;
      if (x + dx < k && y + dy < k && z + dz < k) nb.push_back(v + dx + static_cast<long>(k) * (dy + static_cast<long>(k) * dz));
    }
    std::sort(nb.begin(), nb.end());
    for (int a = 0; a < 3; ++a) {
      for (int b = a; b < 3; ++b) p.ja.push_back(static_cast<std::int32_t>(3 * v + b + 1));
      for (long w : nb)
        for (int b = 0; b < 3; ++b) p.ja.push_back(static_cast<std::int32_t>(3 * w + b + 1));
      p.ia.push_back(static_cast<std::int32_t>(p.ja.size() + 1));
    }
  }
  return p;
}

}  // namespace orkpat
