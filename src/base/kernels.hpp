// Small dense kernels shared by the model, element, material and result
// routines.
//
// Matrices are plain double arrays stored column by column; dimensions are
// explicit arguments. A symmetric matrix of order n in packed form is its
// upper triangle row by row, n (n + 1) / 2 entries. Nothing here allocates
// or stops.
#pragma once
#include <cmath>

#include "base/files.hpp"

namespace ossa::base {

// Packed position (1-based) of entry (i, j) of a symmetric matrix of order n,
// for either order of i and j: the one packed index of the code.
constexpr int PACKIDX(int i, int j, int n) {
  if (i > j) { const int t = i; i = j; j = t; }
  return (i - 1) * (2 * n - i + 2) / 2 + j - i + 1;
}

// C(m,n) = A(m,k) B(k,n)
inline void MATMUL(const double* A, const double* B, double* C, int m, int k, int n) {
  for (int j = 0; j < n; ++j) {
    double* c = C + j * m;
    for (int i = 0; i < m; ++i) c[i] = 0.0;
    for (int l = 0; l < k; ++l) {
      const double b = B[l + j * k];
      const double* a = A + l * m;
      for (int i = 0; i < m; ++i) c[i] += a[i] * b;
    }
  }
}

// C(m,n) = A(k,m)^T B(k,n)
inline void MATTMUL(const double* A, const double* B, double* C, int m, int k, int n) {
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) {
      double s = 0.0;
      for (int l = 0; l < k; ++l) s += A[l + i * k] * B[l + j * k];
      C[i + j * m] = s;
    }
}

// C(m,n) = A(m,k) B(n,k)^T
inline void MATMULT(const double* A, const double* B, double* C, int m, int k, int n) {
  for (int j = 0; j < n; ++j) {
    double* c = C + j * m;
    for (int i = 0; i < m; ++i) c[i] = 0.0;
    for (int l = 0; l < k; ++l) {
      const double b = B[j + l * n];
      const double* a = A + l * m;
      for (int i = 0; i < m; ++i) c[i] += a[i] * b;
    }
  }
}

// C(m,n) = P(m) B(m,n), P packed of order m.
inline void SYMMUL(const double* P, const double* B, double* C, int m, int n) {
  for (int j = 0; j < n; ++j)
    for (int i = 1; i <= m; ++i) {
      double s = 0.0;
      for (int l = 1; l <= m; ++l) s += P[PACKIDX(i, l, m) - 1] * B[(l - 1) + j * m];
      C[(i - 1) + j * m] = s;
    }
}

// C(m,k) = A(m,k) P(k), P packed of order k.
inline void MULSYM(const double* A, const double* P, double* C, int m, int k) {
  for (int j = 1; j <= k; ++j)
    for (int i = 0; i < m; ++i) {
      double s = 0.0;
      for (int l = 1; l <= k; ++l) s += A[i + (l - 1) * m] * P[PACKIDX(l, j, k) - 1];
      C[i + (j - 1) * m] = s;
    }
}

// Packed C(n) = A(k,n)^T B(k,n), for a product known to be symmetric.
inline void PACKTMUL(const double* A, const double* B, double* C, int k, int n) {
  int p = 0;
  for (int i = 0; i < n; ++i)
    for (int j = i; j < n; ++j) {
      double s = 0.0;
      for (int l = 0; l < k; ++l) s += A[l + i * k] * B[l + j * k];
      C[p++] = s;
    }
}

// Packed C(n) = A(n,k) B(n,k)^T
inline void PACKMULT(const double* A, const double* B, double* C, int n, int k) {
  int p = 0;
  for (int i = 0; i < n; ++i)
    for (int j = i; j < n; ++j) {
      double s = 0.0;
      for (int l = 0; l < k; ++l) s += A[i + l * n] * B[j + l * n];
      C[p++] = s;
    }
}

inline double DOT(const double* a, const double* b, int n) {
  double s = 0.0;
  for (int i = 0; i < n; ++i) s += a[i] * b[i];
  return s;
}

// a1 b2 + a2 b3 + a3 b1
inline double CYCDOT(const double* a, const double* b) {
  return a[0] * b[1] + a[1] * b[2] + a[2] * b[0];
}

inline double VSUM(const double* a, int n) {
  double s = 0.0;
  for (int i = 0; i < n; ++i) s += a[i];
  return s;
}

// c = a - b
inline void VSUB(const double* a, const double* b, double* c, int n) {
  for (int i = 0; i < n; ++i) c[i] = a[i] - b[i];
}

inline double VNORM(const double* a, int n) { return std::sqrt(DOT(a, a, n)); }

// u = a / |a|; a zero vector divides by zero, callers must not pass one.
inline void VUNIT(const double* a, double* u, int n) {
  const double r = 1.0 / VNORM(a, n);
  for (int i = 0; i < n; ++i) u[i] = a[i] * r;
}

// c = a x b (c must not alias a or b)
inline void CROSS(const double* a, const double* b, double* c) {
  c[0] = a[1] * b[2] - a[2] * b[1];
  c[1] = a[2] * b[0] - a[0] * b[2];
  c[2] = a[0] * b[1] - a[1] * b[0];
}

inline void CROSSUNIT(const double* a, const double* b, double* c) {
  double t[3];
  CROSS(a, b, t);
  VUNIT(t, c, 3);
}

inline double CROSSLEN(const double* a, const double* b) {
  double t[3];
  CROSS(a, b, t);
  return VNORM(t, 3);
}

inline void ZEROD(double* a, int n) {
  for (int i = 0; i < n; ++i) a[i] = 0.0;
}

// Closed-form inverse of A(3,3) by cofactors; returns the determinant. The
// determinant is not tested: a singular A gives infinities.
inline double INV3(const double* A, double* AI) {
  const double c11 = A[4] * A[8] - A[7] * A[5];
  const double c21 = A[7] * A[2] - A[1] * A[8];
  const double c31 = A[1] * A[5] - A[4] * A[2];
  const double det = A[0] * c11 + A[3] * c21 + A[6] * c31;
  const double r = 1.0 / det;
  AI[0] = c11 * r;
  AI[1] = c21 * r;
  AI[2] = c31 * r;
  AI[3] = (A[6] * A[5] - A[3] * A[8]) * r;
  AI[4] = (A[0] * A[8] - A[6] * A[2]) * r;
  AI[5] = (A[3] * A[2] - A[0] * A[5]) * r;
  AI[6] = (A[3] * A[7] - A[6] * A[4]) * r;
  AI[7] = (A[6] * A[1] - A[0] * A[7]) * r;
  AI[8] = (A[0] * A[4] - A[3] * A[1]) * r;
  return det;
}

// Isotropic elastic matrix of the solid, packed 6 x 6 (21 entries).
inline void DELAS(double E, double NU, double* D) {
  ZEROD(D, 21);
  const double d11 = E * (1.0 - NU) / ((1.0 + NU) * (1.0 - 2.0 * NU));
  const double d12 = d11 * NU / (1.0 - NU);
  const double d44 = d11 * (1.0 - 2.0 * NU) / (2.0 * (1.0 - NU));
  for (int i = 1; i <= 3; ++i) {
    D[PACKIDX(i, i, 6) - 1] = d11;
    for (int j = i + 1; j <= 3; ++j) D[PACKIDX(i, j, 6) - 1] = d12;
    D[PACKIDX(i + 3, i + 3, 6) - 1] = d44;
  }
}

// Plane elastic matrix of a shell point, packed 5 x 5 (15 entries).
inline void DPLANE(double E, double NU, double* D) {
  ZEROD(D, 15);
  const double d11 = E / (1.0 - NU * NU);
  const double g = E / (2.0 * (1.0 + NU));
  D[0] = d11;             // (1,1)
  D[1] = NU * d11;        // (1,2)
  D[5] = d11;             // (2,2)
  D[9] = g;               // (3,3)
  D[12] = g;              // (4,4)
  D[14] = g;              // (5,5)
}

// Selection sort of V(1..n) in descending order. Row i of the companion
// array, entries C[(i-1)*rs + (k-1)*cs] for k = 1..nc, follows V(i): rows of
// a C(ld,nc) have rs = 1, cs = ld; columns of a Z(ld,n) have rs = ld, cs = 1.
// A tie takes the later entry, so equal values are exchanged.
void SORTDESC(double* V, int n, double* C, int rs, int nc, int cs);

}  // namespace ossa::base
