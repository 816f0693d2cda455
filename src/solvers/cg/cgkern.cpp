// Sparse kernels of the CG solver. Rows run over positions k0 (the diagonal)
// to k1 (one past the row's end), zero-based; stored columns are one-based.
// Every kernel is a single streaming pass over JA and one value array; the
// inner loops are unrolled by four with separate accumulators so that the
// indexed loads of one row overlap.
#include "solvers/cg/cgkern.hpp"

#include "solvers/cg/cg.hpp"

namespace ossa::solvers {

namespace {

// sum over positions k of V(ja(k)) * A(k), four accumulators.
inline double rowdot(const double* __restrict A, const double* __restrict V,
                     const int* __restrict ja, int k, int k1) {
  double t0 = 0.0, t1 = 0.0, t2 = 0.0, t3 = 0.0;
  for (; k + 3 < k1; k += 4) {
    t0 += A[k] * V[ja[k] - 1];
    t1 += A[k + 1] * V[ja[k + 1] - 1];
    t2 += A[k + 2] * V[ja[k + 2] - 1];
    t3 += A[k + 3] * V[ja[k + 3] - 1];
  }
  for (; k < k1; ++k) t0 += A[k] * V[ja[k] - 1];
  return (t0 + t1) + (t2 + t3);
}

// Y(ja(k)) += s * A(k) over positions k; the columns of a row are distinct.
inline void rowaxpy(double* __restrict Y, const double* __restrict A, double s,
                    const int* __restrict ja, int k, int k1) {
  for (; k + 3 < k1; k += 4) {
    Y[ja[k] - 1] += s * A[k];
    Y[ja[k + 1] - 1] += s * A[k + 1];
    Y[ja[k + 2] - 1] += s * A[k + 2];
    Y[ja[k + 3] - 1] += s * A[k + 3];
  }
  for (; k < k1; ++k) Y[ja[k] - 1] += s * A[k];
}

// Dot and scatter of one row in the same loop: returns sum A(k) V(ja(k)) and
// adds s A(k) to Y(ja(k)). Y and V are different vectors.
inline double rowdotaxpy(double* __restrict Y, const double* __restrict A,
                         const double* __restrict V, double s, const int* __restrict ja, int k,
                         int k1) {
  double t0 = 0.0, t1 = 0.0, t2 = 0.0, t3 = 0.0;
  for (; k + 3 < k1; k += 4) {
    const int c0 = ja[k] - 1, c1 = ja[k + 1] - 1, c2 = ja[k + 2] - 1, c3 = ja[k + 3] - 1;
    const double a0 = A[k], a1 = A[k + 1], a2 = A[k + 2], a3 = A[k + 3];
    t0 += a0 * V[c0];
    t1 += a1 * V[c1];
    t2 += a2 * V[c2];
    t3 += a3 * V[c3];
    Y[c0] += s * a0;
    Y[c1] += s * a1;
    Y[c2] += s * a2;
    Y[c3] += s * a3;
  }
  for (; k < k1; ++k) {
    const int c = ja[k] - 1;
    t0 += A[k] * V[c];
    Y[c] += s * A[k];
  }
  return (t0 + t1) + (t2 + t3);
}

}  // namespace

void CGSPMV(double* Y, const double* AV, const double* V, int NEQ, const int* IA, const int* JA) {
  for (int i = 0; i < NEQ; ++i) {
    const int k0 = IA[i] - 1, k1 = IA[i + 1] - 1;
    Y[i] = rowdot(AV, V, JA, k0, k1);
    rowaxpy(Y, AV, V[i], JA, k0 + 1, k1);
  }
}

void CGPRESOLVE(const double* DINV, const double* LV, double* V, double* W, int NEQ,
                const int* IA, const int* JA) {
  for (int i = 0; i < NEQ; ++i) {
    const int k0 = IA[i] - 1, k1 = IA[i + 1] - 1;
    V[i] = (V[i] - rowdot(LV, V, JA, k0 + 1, k1)) * DINV[i];
  }
  for (int i = 0; i < NEQ; ++i) W[i] = 0.0;
  for (int i = NEQ - 1; i >= 1; --i) {
    rowaxpy(W, LV, V[i], JA, IA[i], IA[i + 1] - 1);
    V[i - 1] -= DINV[i - 1] * W[i - 1];
  }
}

double CGPSPMV(double* QZ, double* P, double BETA, int FIRST, const double* AV, int NEQ,
               const int* IA, const int* JA) {
  double* __restrict q = QZ;
  double* __restrict p = P;
  double pq = 0.0;
  for (int i = 0; i < NEQ; ++i) {
    const int k0 = IA[i] - 1, k1 = IA[i + 1] - 1;
    const double pi = FIRST == 1 ? p[i] : q[i] + BETA * p[i];
    p[i] = pi;
    const double d = AV[k0] * pi;
    const double t = rowdotaxpy(q, AV, p, pi, JA, k0 + 1, k1);
    q[i] = d + t;
    pq += pi * (d + 2.0 * t);
  }
  return pq;
}

double CGUPDFWD(double* X, double* R, const double* P, double* QZ, double* W, double ALPHA,
                const double* DINV, const double* LV, int NEQ, const int* IA, const int* JA) {
  double* __restrict x = X;
  double* __restrict r = R;
  double* __restrict qz = QZ;
  double* __restrict w = W;
  double rr = 0.0;
  for (int i = 0; i < NEQ; ++i) {
    const int k0 = IA[i] - 1, k1 = IA[i + 1] - 1;
    x[i] += ALPHA * P[i];
    const double ri = r[i] - ALPHA * qz[i];
    r[i] = ri;
    rr += ri * ri;
    qz[i] = (ri - rowdot(LV, qz, JA, k0 + 1, k1)) * DINV[i];
    w[i] = 0.0;
  }
  return rr;
}

double CGBWDDOT(double* Z, double* W, const double* R, const double* DINV, const double* LV,
                int NEQ, const int* IA, const int* JA) {
  if (NEQ < 1) return 0.0;
  double* __restrict z = Z;
  double* __restrict w = W;
  double rz = z[NEQ - 1] * R[NEQ - 1];
  for (int i = NEQ - 1; i >= 1; --i) {
    rowaxpy(w, LV, z[i], JA, IA[i], IA[i + 1] - 1);
    z[i - 1] -= DINV[i - 1] * w[i - 1];
    rz += z[i - 1] * R[i - 1];
  }
  return rz;
}

}  // namespace ossa::solvers
