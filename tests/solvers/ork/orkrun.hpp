// Test helper: analyse, factorise and solve a matrix with ORK, and measure.
#pragma once
#include <algorithm>
#include <cmath>
#include <vector>

#include "solvers/ork/ork.hpp"
#include "solvers/ork/orkfact.hpp"
#include "solvers/ork/orkmats.hpp"

namespace ossa::testing {

// Analyses A with FREE words; false if the analysis refused. The tests of the
// numeric phase order by minimum degree alone (METHOD 0), independent of METIS.
inline bool ork_analyse(solvers::ORKDATA& o, const UpperCsr& A, int nrhs, long FREE = 4000000, int method = 0) {
  solvers::ORKOPT opt;
  opt.METHOD = method;
  return solvers::ORKANAP(o, FREE, A.n, A.IA.data(), A.JA.data(), nrhs, opt).STATUS == 0;
}

// Factorises and solves for the nrhs columns of b; returns the status.
inline int ork_solve(solvers::ORKDATA& o, solvers::ORKNUM& n, const UpperCsr& A, const std::vector<double>& b,
                     int nrhs, std::vector<double>& x, base::Unit* u1 = nullptr, base::Unit* u2 = nullptr) {
  x.assign(b.size(), 0.0);
  int st = solvers::ORKFACT(o, n, A.IA.data(), A.JA.data(), A.AV.data(), u1, u2);
  if (st == 0) st = solvers::ORKSOLVE(o, n, nrhs, b.data(), x.data());
  return st;
}

// max |A x - b| / (|A| max |x|) over the columns.
inline double rel_residual(const UpperCsr& A, const std::vector<double>& x, const std::vector<double>& b, int nrhs) {
  double r = 0.0, xm = 0.0;
  for (int c = 0; c < nrhs; ++c) {
    const std::vector<double> xc(x.begin() + static_cast<long>(c) * A.n, x.begin() + static_cast<long>(c + 1) * A.n);
    const std::vector<double> y = csr_mult(A, xc);
    for (int i = 0; i < A.n; ++i) {
      r = std::max(r, std::fabs(y[i] - b[static_cast<long>(c) * A.n + i]));
      xm = std::max(xm, std::fabs(xc[i]));
    }
  }
  return r / (csr_norm(A) * std::max(xm, 1e-300));
}

inline std::vector<double> random_rhs(int n, int nrhs, unsigned seed) {
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::vector<double> b(static_cast<long>(n) * nrhs);
  for (auto& v : b) v = u(g);
  return b;
}

}  // namespace ossa::testing
