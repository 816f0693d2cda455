// The bone material's kernels: equivalent stress and flow vector of the two
// yield criteria, stress transformations from principal axes, the cracked
// matrices, the crossing ratio of the yield surface and the plastic tangent.
//
// Solid vectors: xx, yy, zz, xy, yz, zx. Shell-point vectors: xx, yy, xy, xz,
// yz with zz = 0. Criteria: YTYPE 1 von Mises, 2 Drucker-Prager with ALPHA,
// scaled to meet uniaxial tension at the yield stress.
#pragma once

namespace ossa::model { struct Model; }

namespace ossa::elements {

// 1/sqrt(3): the Drucker-Prager scale.
inline constexpr double DPC = 0.5773502691896258;

double EQVSTR(const double* S, int YTYPE, double ALPHA);
double EQVSTR2(const double* S, int YTYPE, double ALPHA);

// Gradient of EQVSTR (6) and EQVSTR2 (5). A purely hydrostatic stress has
// no deviatoric direction; its deviatoric part is taken as zero.
void FLOWV(const double* S, int YTYPE, double ALPHA, double* A);
void FLOWV2(const double* S, int YTYPE, double ALPHA, double* A);

// T(6,6): principal-axis stress (11, 22, 33, 12, 23, 31) to global axes; the
// principal axes are the columns of Z(3,3).
void TRANS6(const double* Z, double* T);
// T(5,5): the same for a rotation about the shell normal by (C, SN), the
// direction of principal axis 1 in element axes.
void TRANS5(double C, double SN, double* T);

// Cracked matrices in principal axes, direction 1 the crack normal; packed.
void DCRACK(double E, double NU, double EMIN, double* D);          // 21
void DCRACK2(double E, double NU, double GS, double EMIN, double* D); // 15

// Packed DP(n) := T(n,n) P(n) T^T for a packed P.
void ROTPACK(const double* T, const double* P, double* DP, int n);

// Crossing ratio r: STRESS0 + r (STRESS - STRESS0) lies on the surface of
// yield stress Y. A ratio outside [-1e-6, 1.000001] stops the job with
// "STOP IN SUB. RCAL!  R =" (RCAL2: "STOP IN SUB. RCAL2!  R =").
double RCAL(model::Model& m, const double* S0, const double* S, double Y, int YTYPE,
            double ALPHA);
double RCAL2(model::Model& m, const double* S0, const double* S, double Y, int YTYPE,
             double ALPHA);

// Plastic tangent of order n (6 solid, 5 shell point) at the flow vector
// A(n), elastic DE(packed) and hardening HPRIME: D := DE - DE MPL (packed),
// and REC gets WPL(n), then MPL(n,n) column by column, the work-file record.
void PLTAN(const double* DE, const double* A, double HPRIME, int n, double* D, double* REC);

}  // namespace ossa::elements
