#include "base/kernels.hpp"

#include <string>
#include <vector>

#include "base/fmt.hpp"

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

namespace {

constexpr int MAXORDER = 2000;
constexpr double PIVMIN = 1.0000000036274937e-15;  // single-precision 1e-15
constexpr double BIG = 1.0e10;
constexpr double SMALL = 1.000000013351432e-10;    // single-precision 1e-10


// The matrix, row by row, six values a line.
void listing(Unit& u, const double* A, int n, int nd) {
  for (int i = 0; i < n; ++i) {
    std::string text;
    for (int j = 0; j < n; ++j) {
      text += fPE(A[i + static_cast<long>(j) * nd], 13, 5);
      if ((j + 1) % 6 == 0 || j == n - 1) {
        put(u, text);
        text.clear();
      }
    }
  }
}

int dump(Unit& u, bool singular, const double* A, int n, int nd, int m,
         const std::vector<int>& ipiv) {
  if (singular) put(u, "*MATRIX IS SINGULAR.*");
  put(u, "** MATINV DUMP LIST **");
  std::string text = "N,ND,M,AND IPIVOT=" + fI(n, 6) + fI(nd, 6) + fI(m, 6);
  put(u, text);
  text.clear();
  for (int j = 0; j < n; ++j) {
    text += fI(ipiv[j], 6);
    if ((j + 1) % 12 == 0 || j == n - 1) {
      put(u, text);
      text.clear();
    }
  }
  listing(u, A, n, nd);
  put(u, "*** ERROR STOP IN MATINV ***");
  return MATINV_FAILED;
}

// Swaps rows r1 and r2 of X(nd, ncol).
void swaprows(double* X, int nd, int ncol, int r1, int r2) {
  for (int j = 0; j < ncol; ++j) {
    double& a = X[r1 + static_cast<long>(j) * nd];
    double& b = X[r2 + static_cast<long>(j) * nd];
    const double t = a;
    a = b;
    b = t;
  }
}

}  // namespace

int MATINV(Unit& LOG, double* A, int n, int nd, double* B, int m, double& DET) {
  // ---- check inputs
  if (n > MAXORDER) {
    put(LOG, "0  REQUIRED DIMENSION=" + fI(n, 6) + " IS OVER 2000 IN MATINV");
    return MATINV_FAILED;
  }
  DET = 1.0;
  if (n < 1) return 0;
  if (B == nullptr) m = 0;
  // ---- workspace: pivot marks and the exchanges to undo
  std::vector<int> ipiv(n, 0), indxr(n, 0), indxc(n, 0);
  auto a = [&](int i, int j) -> double& { return A[i + static_cast<long>(j) * nd]; };

  // ---- elimination, one pivot per step
  for (int step = 0; step < n; ++step) {
    double big = -1.0;
    int irow = -1, icol = -1;
    for (int k = 0; k < n; ++k) {
      if (ipiv[k] == 1) continue;
      for (int j = 0; j < n; ++j) {
        if (ipiv[j] > 1) return dump(LOG, false, A, n, nd, m, ipiv);
        if (ipiv[j] != 0) continue;
        const double v = std::fabs(a(k, j));
        if (v > big) { big = v; irow = k; icol = j; }
      }
    }
    if (irow < 0) return dump(LOG, true, A, n, nd, m, ipiv);
    if (big < PIVMIN) {
      put(LOG, "0 PIVOT ELEMENT IN MATINV BECOMES LESS THAN " + fPE(PIVMIN, 12, 4));
      put(LOG, "ERROR OCCURRED COLUMN =" + fI(icol + 1, 6));
      put(LOG, "* MATRIX IMAGE LIST *   MATRIX SIZE=" + fI(n, 6));
      listing(LOG, A, n, nd);
      return MATINV_FAILED;
    }
    ++ipiv[icol];
    if (irow != icol) {
      swaprows(A, nd, n, irow, icol);
      if (m > 0) swaprows(B, nd, m, irow, icol);
    }
    indxr[step] = irow;
    indxc[step] = icol;
    const double piv = a(icol, icol);
    DET *= piv;
    // Only the mantissa is kept; a non-finite product has none to scale.
    while (std::isfinite(DET) && std::fabs(DET) > BIG) DET *= SMALL;
    while (DET != 0.0 && std::fabs(DET) < SMALL) DET *= BIG;

    const double pinv = 1.0 / piv;
    a(icol, icol) = 1.0;
    for (int j = 0; j < n; ++j) a(icol, j) *= pinv;
    for (int j = 0; j < m; ++j) B[icol + static_cast<long>(j) * nd] *= pinv;
    for (int r = 0; r < n; ++r) {
      if (r == icol) continue;
      const double f = a(r, icol);
      a(r, icol) = 0.0;
      for (int j = 0; j < n; ++j) a(r, j) -= a(icol, j) * f;
      for (int j = 0; j < m; ++j)
        B[r + static_cast<long>(j) * nd] -= B[icol + static_cast<long>(j) * nd] * f;
    }
  }

  // ---- undo the exchanges, as column swaps in reverse order
  for (int l = n - 1; l >= 0; --l) {
    if (indxr[l] == indxc[l]) continue;
    for (int k = 0; k < n; ++k) {
      const double t = a(k, indxr[l]);
      a(k, indxr[l]) = a(k, indxc[l]);
      a(k, indxc[l]) = t;
    }
  }
  return 0;
}

}  // namespace ossa::base
