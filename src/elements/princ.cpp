#include "elements/princ.hpp"

#include <cmath>

#include "base/kernels.hpp"

namespace ossa::elements {

using base::DOT;
using base::SORTDESC;

namespace {

constexpr int MAXROT = 15;
// The quarter turn for equal diagonals is kept at its single-precision value.
constexpr double QUARTER = 0.78539818;
constexpr double TINY = 1.0e-21;

// Rotates rows and columns p, q (0-based) of A(3,3) by angle th and
// accumulates the rotation into Z.
void rotate(double* A, double* Z, int p, int q, double th) {
  const double c = std::cos(th), s = std::sin(th);
  for (int k = 0; k < 3; ++k) {  // columns: A := A J
    const double akp = A[k + 3 * p], akq = A[k + 3 * q];
    A[k + 3 * p] = c * akp + s * akq;
    A[k + 3 * q] = -s * akp + c * akq;
  }
  for (int k = 0; k < 3; ++k) {  // rows: A := J^T A
    const double apk = A[p + 3 * k], aqk = A[q + 3 * k];
    A[p + 3 * k] = c * apk + s * aqk;
    A[q + 3 * k] = -s * apk + c * aqk;
  }
  for (int k = 0; k < 3; ++k) {
    const double zkp = Z[k + 3 * p], zkq = Z[k + 3 * q];
    Z[k + 3 * p] = c * zkp + s * zkq;
    Z[k + 3 * q] = -s * zkp + c * zkq;
  }
}

}  // namespace

void JACOBI3(double* A, double TOL, double* EIG, double* Z) {
  for (int k = 0; k < 9; ++k) Z[k] = (k % 4 == 0) ? 1.0 : 0.0;
  static constexpr int PQ[3][2] = {{0, 1}, {0, 2}, {1, 2}};
  for (int rot = 0; rot < MAXROT; ++rot) {
    int best = 0;
    double amax = std::fabs(A[PQ[0][0] + 3 * PQ[0][1]]);
    for (int k = 1; k < 3; ++k) {
      const double v = std::fabs(A[PQ[k][0] + 3 * PQ[k][1]]);
      if (v > amax) { amax = v; best = k; }
    }
    if (amax < TOL) break;
    const int p = PQ[best][0], q = PQ[best][1];
    const double app = A[p + 3 * p], aqq = A[q + 3 * q], apq = A[p + 3 * q];
    const double th = app == aqq ? QUARTER : 0.5 * std::atan(2.0 * apq / (app - aqq));
    rotate(A, Z, p, q, th);
  }
  for (int k = 0; k < 3; ++k) EIG[k] = A[4 * k];
}

void PRINC3(const double* S, double TOL, double* EIG, double* Z) {
  if (DOT(S, S, 6) <= TINY) {
    for (int k = 0; k < 3; ++k) EIG[k] = 0.0;
    for (int k = 0; k < 9; ++k) Z[k] = (k % 4 == 0) ? 1.0 : 0.0;
    return;
  }
  double A[9] = {S[0], S[3], S[5], S[3], S[1], S[4], S[5], S[4], S[2]};
  JACOBI3(A, TOL, EIG, Z);
  SORTDESC(EIG, 3, Z, 3, 3, 1);
}

void PRINC2(const double* S, double* P, double& C, double& SN) {
  const double xx = S[0], yy = S[1], xy = S[2];
  const double mean = 0.5 * (xx + yy), h = 0.5 * (xx - yy);
  const double rad = std::sqrt(xy * xy + h * h);
  P[0] = mean + rad;
  P[1] = mean - rad;
  P[2] = 0.0;
  double th;
  if (xy != 0.0) th = std::atan((P[0] - xx) / xy);
  else th = xx >= yy ? 0.0 : 1.5707963267948966;
  C = std::cos(th);
  SN = std::sin(th);
  P[3] = C * S[3] + SN * S[4];
  P[4] = C * S[4] - SN * S[3];
}

}  // namespace ossa::elements
