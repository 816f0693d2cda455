// The rubber element: a four-node tetrahedron with a displacement bubble
// (the interior fifth node) and a linear nodal pressure, total Lagrangian,
// for nearly incompressible Mooney-Rivlin material.
//
// Element displacements run node by node, x, y, z, over the five nodes (15);
// the pressure is slot 7 of the four corners. After condensation of the fifth
// node the element matrix is the packed 16 x 16 of the corners' twelve
// translations followed by their four pressures, the order of the element's
// degree-of-freedom list.
#pragma once
#include <cstdint>

#include "base/array.hpp"
#include "model/model.hpp"

namespace ossa::elements {

using base::Arr2;
using model::Model;
using model::RUBREC;

// The five integration points: volume coordinates and weights (the factor
// 1/6 of the tetrahedron included; the first weight is negative).
inline constexpr int RUBNPT = 5;
extern const double RUBL[RUBNPT][4];
extern const double RUBW[RUBNPT];

// Record lengths of the two work files, in doubles: DTAN(21,5) and WP(6,5);
// GU(3,12), GP(3,4) and GR(3).
inline constexpr int RUB1LEN = 21 * RUBNPT + 6 * RUBNPT;
inline constexpr int RUB2LEN = 36 + 12 + 3;

// Derivatives DN(3,5) with respect to x, y, z of the five shape functions at
// point G (1..5), for the reference coordinates X(3,5); returns det J, 6V for
// the straight tetrahedron.
double RUBSHAPE(int G, const double* X, double* DN);

// Strain energy density of the mixed form at strain E(6) and pressure p:
// the deviatoric part and -p (J - 1) - p^2 / (2 KB).
double RUBENERGY(const RUBREC& r, const double* E, double p);

// The material law at a point: strain E(6), interpolated pressure p. Gives
// the second Piola-Kirchhoff stress S(6), the packed tangent DTAN(21), WP(6)
// = a / KB and h = (1 - J) - p / KB; returns I3 = det C.
double RUBLAW(const RUBREC& r, const double* E, double p, double* S, double* DTAN, double* WP,
              double& h);

// Stress update and internal force of the element with nodes NOD(5) at the
// displacements U: strain and stress of the record at the five points,
// forces into slots 1-3 of P at the five nodes and the pressure residual
// into slot 7 of the corners (BETA times the forces into PD with IDAMP = 1);
// DTAN and WP to record IREC of the direct unit UNIT1. Stops on a volume
// below 1e-20 at input geometry, and on a point turned inside out (J <= 0).
void RUBF(Model& m, Arr2<double>& P, Arr2<double>& PD, RUBREC& r, const Arr2<double>& XYZ,
          const Arr2<double>& U, const std::int32_t* NOD, std::int32_t ID, int IREC, int UNIT1,
          int IDAMP);

// Element matrices from record IREC of UNIT1: KUU packed 15 x 15 (120),
// KUP(15,4), KPP(4,4).
void RUBK(Model& m, const RUBREC& r, const Arr2<double>& XYZ, const Arr2<double>& U,
          const std::int32_t* NOD, int IREC, int UNIT1, double* KUU, double* KUP, double* KPP);

// Condensation of the fifth node with its residual R5(3): the packed 16 x 16
// matrix KE (136) and RC(16), what the fifth node's residual adds to the
// corners' right-hand side; GU, GP, GR to record IREC of UNIT2. Stops when
// the fifth node's block is singular.
void RUBCOND(Model& m, const double* KUU, const double* KUP, const double* KPP, const double* R5,
             double* KE, double* RC, std::int32_t ID, int IREC, int UNIT2);

// Increment DU of the fifth node from those of the corners (slots 1-3 and 7
// of DU), by record IREC of UNIT2.
void RUBNODE5(Model& m, Arr2<double>& DU, const std::int32_t* NOD, int IREC, int UNIT2);

}  // namespace ossa::elements
