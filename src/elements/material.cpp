#include "elements/material.hpp"

#include <cmath>

#include "base/fmt.hpp"
#include "base/kernels.hpp"
#include "model/stop.hpp"

namespace ossa::elements {

using base::PACKIDX;
using base::SYMMUL;
using base::MULSYM;
using base::PACKMULT;
using base::DOT;
using base::CYCDOT;
using base::VSUM;
using base::VSUB;
using base::ZEROD;

namespace {

// J2 of the normal parts N(3) and shear parts T(3).
double j2(const double* N, const double* T) {
  const double a = N[0] - N[1], b = N[1] - N[2], c = N[2] - N[0];
  return (a * a + b * b + c * c + 6.0 * DOT(T, T, 3)) / 6.0;
}

double eqv(const double* N, const double* T, int YTYPE, double ALPHA) {
  const double J2 = j2(N, T);
  if (YTYPE != 2) return std::sqrt(3.0 * J2);
  return (ALPHA * VSUM(N, 3) + std::sqrt(J2)) / (DPC - ALPHA);
}

// Flow vector on normal parts N(3) and shears T(3) into AN(3) and AT(3).
void flow(const double* N, const double* T, int YTYPE, double ALPHA, double* AN, double* AT) {
  const double q = std::sqrt(3.0 * j2(N, T));
  const double rq = q > 0.0 ? 1.0 / q : 0.0;
  for (int i = 0; i < 3; ++i) {
    AN[i] = (N[i] - 0.5 * (N[(i + 1) % 3] + N[(i + 2) % 3])) * rq;
    AT[i] = 3.0 * T[i] * rq;
  }
  if (YTYPE != 2) return;
  const double r = 1.0 / (DPC - ALPHA);
  for (int i = 0; i < 3; ++i) {
    AN[i] = (ALPHA + DPC * AN[i]) * r;
    AT[i] = DPC * AT[i] * r;
  }
}

// The quadratic of the crossing ratio on solid-ordered vectors.
double crossing(const double* S0, const double* S, double Y, int YTYPE, double ALPHA) {
  const double al = YTYPE == 2 ? ALPHA : 0.0;
  double ds[6];
  VSUB(S, S0, ds, 6);
  const double p = al * al - 1.0 / 3.0, q = 2.0 * al * al + 1.0 / 3.0;
  const double k = (DPC - al) * Y, mm = 2.0 * al * k;
  const double a2 = p * DOT(ds, ds, 3) - DOT(ds + 3, ds + 3, 3) + q * CYCDOT(ds, ds);
  const double a1 = 2.0 * p * DOT(S0, ds, 3) - 2.0 * DOT(S0 + 3, ds + 3, 3) +
                    q * (CYCDOT(S0, ds) + CYCDOT(ds, S0)) - mm * VSUM(ds, 3);
  const double a0 = p * DOT(S0, S0, 3) - DOT(S0 + 3, S0 + 3, 3) + k * k + q * CYCDOT(S0, S0) -
                    mm * VSUM(S0, 3);
  return (-a1 - std::sqrt(a1 * a1 - 4.0 * a2 * a0)) / (2.0 * a2);
}

double checked(model::Model& m, double r, const char* text) {
  if (r < -1.0e-6 || r > 1.000001) model::FAIL(m, text + base::fPE(r, 15, 7), -1, 0);
  return r;
}

// Shell vector (xx, yy, xy, xz, yz) in solid order with zz = 0.
void widen(const double* S5, double* S6) {
  const double v[6] = {S5[0], S5[1], 0.0, S5[2], S5[3], S5[4]};
  for (int i = 0; i < 6; ++i) S6[i] = v[i];
}

}  // namespace

double EQVSTR(const double* S, int YTYPE, double ALPHA) { return eqv(S, S + 3, YTYPE, ALPHA); }

double EQVSTR2(const double* S, int YTYPE, double ALPHA) {
  const double N[3] = {S[0], S[1], 0.0};
  return eqv(N, S + 2, YTYPE, ALPHA);
}

void FLOWV(const double* S, int YTYPE, double ALPHA, double* A) {
  flow(S, S + 3, YTYPE, ALPHA, A, A + 3);
}

void FLOWV2(const double* S, int YTYPE, double ALPHA, double* A) {
  const double N[3] = {S[0], S[1], 0.0};
  double AN[3];
  flow(N, S + 2, YTYPE, ALPHA, AN, A + 2);
  A[0] = AN[0];
  A[1] = AN[1];
}

void TRANS6(const double* Z, double* T) {
  // Components: normal k -> axis pair (k,k); shears 12, 23, 31.
  static constexpr int I[6] = {0, 1, 2, 0, 1, 2}, J[6] = {0, 1, 2, 1, 2, 0};
  auto q = [Z](int i, int k) { return Z[i + 3 * k]; };
  for (int c = 0; c < 6; ++c)
    for (int r = 0; r < 6; ++r) {
      const int i = I[r], j = J[r], k = I[c], l = J[c];
      T[r + 6 * c] = c < 3 ? q(i, k) * q(j, k) : q(i, k) * q(j, l) + q(i, l) * q(j, k);
    }
}

void TRANS5(double C, double SN, double* T) {
  ZEROD(T, 25);
  const double cc = C * C, ss = SN * SN, cs = C * SN;
  T[0] = cc, T[1] = ss, T[2] = cs;                  // column 1
  T[5] = ss, T[6] = cc, T[7] = -cs;                 // column 2
  T[10] = -2.0 * cs, T[11] = 2.0 * cs, T[12] = cc - ss;  // column 3
  T[18] = C, T[19] = SN;                            // column 4
  T[23] = -SN, T[24] = C;                           // column 5
}

void DCRACK(double E, double NU, double EMIN, double* D) {
  ZEROD(D, 21);
  const double g = E / (2.0 * (1.0 + NU)), d22 = E / (1.0 - NU * NU);
  D[PACKIDX(1, 1, 6) - 1] = EMIN;
  D[PACKIDX(2, 2, 6) - 1] = d22;
  D[PACKIDX(3, 3, 6) - 1] = d22;
  D[PACKIDX(2, 3, 6) - 1] = NU * d22;
  D[PACKIDX(4, 4, 6) - 1] = 0.25 * g;
  D[PACKIDX(5, 5, 6) - 1] = g;
  D[PACKIDX(6, 6, 6) - 1] = 0.25 * g;
}

void DCRACK2(double E, double NU, double GS, double EMIN, double* D) {
  ZEROD(D, 15);
  const double g = E / (2.0 * (1.0 + NU));
  D[PACKIDX(1, 1, 5) - 1] = EMIN;
  D[PACKIDX(2, 2, 5) - 1] = E;
  D[PACKIDX(3, 3, 5) - 1] = 0.25 * g;
  D[PACKIDX(4, 4, 5) - 1] = 0.001 * GS;
  D[PACKIDX(5, 5, 5) - 1] = GS;
}

void ROTPACK(const double* T, const double* P, double* DP, int n) {
  double TP[36];
  MULSYM(T, P, TP, n, n);
  PACKMULT(TP, T, DP, n, n);
}

double RCAL(model::Model& m, const double* S0, const double* S, double Y, int YTYPE,
            double ALPHA) {
  return checked(m, crossing(S0, S, Y, YTYPE, ALPHA), "STOP IN SUB. RCAL!  R =");
}

double RCAL2(model::Model& m, const double* S0, const double* S, double Y, int YTYPE,
             double ALPHA) {
  double a[6], b[6];
  widen(S0, a);
  widen(S, b);
  return checked(m, crossing(a, b, Y, YTYPE, ALPHA), "STOP IN SUB. RCAL2!  R =");
}

void PLTAN(const double* DE, const double* A, double HPRIME, int n, double* D, double* REC) {
  double da[6];
  SYMMUL(DE, A, da, n, 1);
  const double AA = DOT(A, da, n) + HPRIME;
  double* WPL = REC;
  double* MPL = REC + n;
  for (int i = 0; i < n; ++i) WPL[i] = da[i] / AA;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) MPL[i + n * j] = A[i] * WPL[j];
  // DE MPL = (DE a) WPL^T = AA WPL WPL^T, symmetric.
  int p = 0;
  for (int i = 0; i < n; ++i)
    for (int j = i; j < n; ++j, ++p) D[p] = DE[p] - da[i] * WPL[j];
}

}  // namespace ossa::elements
