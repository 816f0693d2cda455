#include "base/kernels.hpp"

namespace ossa::base {

void SORTDESC(double* V, int n, double* C, int rs, int nc, int cs) {
  for (int i = 0; i < n - 1; ++i) {
    // The start value is the single-precision -1e30 of the original tables.
    double vmax = -1.0000000150474662e30;
    int k = i;
    for (int j = i; j < n; ++j) {
      if (V[j] >= vmax) { vmax = V[j]; k = j; }
    }
    const double t = V[i];
    V[i] = V[k];
    V[k] = t;
    for (int l = 0; l < nc; ++l) {
      double& a = C[i * rs + l * cs];
      double& b = C[k * rs + l * cs];
      const double s = a;
      a = b;
      b = s;
    }
  }
}

}  // namespace ossa::base
