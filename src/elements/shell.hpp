// The shell element: 3-node flat triangle, six positions a node (three
// translations, three rotations), Reissner-Mindlin kinematics with the
// transverse shear tied at the mid-edges (MITC3). Three layers through the
// thickness, four material points a layer: points 1 to 3 integrate, point 4
// keeps the layer's status and plastic bookkeeping.
//
// Element degrees of freedom run node by node: u, v, w, thx, thy, thz.
// Element matrices are the packed upper triangle of the 18 x 18 matrix (171
// doubles). Point vectors: xx, yy, xy, xz, yz in element axes, engineering
// shears.
#pragma once
#include <cstdint>

#include "base/array.hpp"
#include "model/model.hpp"

namespace ossa::elements {

using base::Arr1;
using base::Arr2;
using base::Arr3;
using model::Model;
using model::SHLREC;

inline constexpr int SHLNE = 18;       // element degrees of freedom
inline constexpr int SHLNK = 171;      // packed element matrix

// Layers through the thickness: Gauss points and weights.
inline constexpr double SHLZETA[3] = {-0.774596669241483, 0.0, 0.774596669241483};
inline constexpr double SHLWGT[3] = {0.5555555555555556, 0.8888888888888888, 0.5555555555555556};

// The flat local frame of the small-displacement route: T (rows e1, e2, e3,
// T[3 k + i] = component i of e_(k+1)), node 3 at the origin, node 1 on the
// x axis; DET is twice the area; A, B the constant dN/dx, dN/dy.
struct SHLGEO {
  double T[9];
  double x[3], y[3];
  double DET;
  double A[3], B[3];
};
void SHLFRAME(const double* p1, const double* p2, const double* p3, SHLGEO& g);

// Rotation matrix R(3,3) (column by column) of the rotation vector TH:
// I + (sin|t|/|t|) S + 1/2 (sin(|t|/2)/(|t|/2))^2 S^2, S the skew matrix of TH.
void SHLROT(const double* TH, double* R);

// K(N,N) += W B^T D B on the upper triangle (column by column); B(5,N) by
// columns, D packed 5 x 5; N at most 18.
void SHLBTDB(const double* B, const double* Dp, double W, double* K, int N);
// Packed SK from the upper triangle of K(18,18) with the blocks of the six
// triples (three translations, three rotations a node) turned: block (p, q)
// becomes T_p^T K_pq T_q, TT[p] a 3 x 3 matrix stored row by row.
void SHLTRIPLES(const double* const* TT, const double* K, double* SK);

// Strain S(5) against the record at point PT (1..4) of layer LY, stress by
// the point's tangent; point 4 of a PLASTIC layer adds its plastic strain
// from record 3 IELEM + LY - 3 of the direct unit UNITNO.
void SHLUPDATE(Model& m, SHLREC& r, const double* S, int PT, int LY, int IELEM, int UNITNO);
// Adds the global nodal force F(18) to P(1..6) and, with IDAMP = 1, BETA F to PD.
void SHLSCATTER(Arr2<double>& P, Arr2<double>& PD, double BETA, const double* F,
                const std::int32_t* NOD, int IDAMP);

// True when points 1 to 3 of all layers share one tangent D, as the points
// of an elastic element do.
bool SHLUNIFORM(const SHLREC& r);

// Small-displacement stiffness in global axes on the reference geometry.
void SHLKLIN(const std::int32_t* NOD, const Arr2<double>& XYZ, const SHLREC& r, double* SK);

// Geometrically nonlinear tangent (degenerated solid with nodal directors);
// rotations of nodes with a frame (FRAMEFLG 1) are taken into its axes.
void SHLKNL(const std::int32_t* NOD, const Arr2<double>& XYZ, const Arr2<double>& U,
            const SHLREC& r, const Arr1<std::int32_t>& FRAMEFLG, const Arr3<double>& FRAME,
            double* SK);

// Stress update and internal force of either route. The points' strain and
// stress are updated; a PLASTIC point 4 adds its plastic strain from the
// operator in record 3 IELEM + layer - 3 of the direct unit UNITNO. The nodal
// force (global axes) is added to P(1..6), and with IDAMP = 1 BETA times it
// to PD.
void SHLFLIN(Model& m, Arr2<double>& P, Arr2<double>& PD, SHLREC& r, const Arr2<double>& XYZ,
             const Arr2<double>& U, const std::int32_t* NOD, int IELEM, int UNITNO, int IDAMP);
void SHLFNL(Model& m, Arr2<double>& P, Arr2<double>& PD, SHLREC& r, const Arr2<double>& XYZ,
            const Arr2<double>& U, const std::int32_t* NOD, int IELEM, int UNITNO, int IDAMP);

// Coefficients a0, a4, a6, a7, a8 (COEF[0..4]) that refer the transverse
// shear of the tying point (XI, ETA), at the mid-surface, to the normal of the
// mid-surface instead of the director.
void SHLCOEF(const double* X, const SHLREC& r, double XI, double ETA, double* COEF);
// The 2 x 2 transform of the covariant shears (Exi, Eeta) to (gxz, gyz) of
// the flat triangle X(3,3): TR[0..1] the gxz row, TR[2..3] the gyz row.
void SHLTRANS(const double* X, double THICK, double* TR);

}  // namespace ossa::elements
