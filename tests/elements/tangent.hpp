// The check the element tests share: a tangent is the derivative of its
// force, against central differences.
#pragma once
#include <algorithm>
#include <cmath>
#include <vector>

#include "base/kernels.hpp"

namespace ossa::test {

// Entry (p, q), 0-based, of a packed upper triangle of order n.
inline double packed(const double* K, int n, int p, int q) {
  return K[base::PACKIDX(std::min(p, q) + 1, std::max(p, q) + 1, n) - 1];
}

// Largest difference between K(p, q) and the central difference of force p
// along unknown q, over the largest |K|. force(q, dh, f) fills the n forces
// with unknown q moved by dh; with SYM the differences' symmetric part counts.
template <class Stiff, class Force>
double tangent_misfit(int n, Stiff K, Force force, double h, bool sym = false) {
  std::vector<double> d(static_cast<std::size_t>(n * n)), fp(n), fm(n);
  for (int q = 0; q < n; ++q) {
    force(q, h, fp.data());
    force(q, -h, fm.data());
    for (int p = 0; p < n; ++p) d[p + n * q] = (fp[p] - fm[p]) / (2 * h);
  }
  double err = 0.0, big = 0.0;
  for (int q = 0; q < n; ++q)
    for (int p = 0; p < n; ++p) {
      const double fd = sym ? 0.5 * (d[p + n * q] + d[q + n * p]) : d[p + n * q];
      err = std::max(err, std::fabs(fd - K(p, q)));
      big = std::max(big, std::fabs(K(p, q)));
    }
  return err / big;
}

}  // namespace ossa::test
