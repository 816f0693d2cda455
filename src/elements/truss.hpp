// The two-node links: the truss, a bar with a tabulated force-strain law,
// and the gap, a unilateral spring between two solid faces. Both have three
// translations a node; their element matrices are the packed upper triangle
// of the 6 x 6 matrix (21 doubles), [Q, -Q; -Q, Q] for a 3 x 3 block Q.
// Global vectors are (7, N); their forces go into P and, with the opposite
// sign, into the link-force vector LINKV.
#pragma once
#include <cstdint>

#include "base/array.hpp"
#include "model/model.hpp"

namespace ossa::elements {

using base::Arr2;
using model::GAPREC;
using model::Model;
using model::TRSREC;

// Piecewise-linear lookup in the table x = T(1..n,1), y = T(1..n,2): the
// segment of the first k in 2..n-1 with v < x(k), else the last one, so
// that both ends extrapolate linearly. Returns the value; SLOPE gets the
// segment's slope. The table has at least two points with increasing x.
double CURVEAT(const Arr2<double>& T, int n, double v, double& SLOPE);

// [Q, -Q; -Q, Q] packed, Q(3,3) symmetric by columns.
void LINKK(const double* Q, double* Ke);
// A link's axial force F along n: -F n to node NOD[0] and +F n to NOD[1] of
// P, the opposite into LINKV.
void LINKADD(Arr2<double>& P, Arr2<double>& LINKV, const std::int32_t* NOD, double F, const double* n);

// Small-displacement truss: SLOPE n n^T on the reference axis.
void TRSK(const std::int32_t* NOD, const Arr2<double>& XYZ, double SLOPE, double* Ke);
// Nonlinear truss: Q = SLOPE n n^T + FORCE/L (I - n n^T) on the current axis.
void TRSKNL(const std::int32_t* NOD, const Arr2<double>& XYZ, const Arr2<double>& U, double SLOPE,
            double FORCE, double* Ke);
// Strain, force and slope per unit length of the record at the displacements
// U, the axial force into P and LINKV. TRSF: strain along the reference
// axis; TRSFNL: stretch of the current length less one.
void TRSF(Arr2<double>& P, Arr2<double>& LINKV, TRSREC& r, const Arr2<double>& XYZ,
          const Arr2<double>& U, const std::int32_t* NOD);
void TRSFNL(Arr2<double>& P, Arr2<double>& LINKV, TRSREC& r, const Arr2<double>& XYZ,
            const Arr2<double>& U, const std::int32_t* NOD);

// Gap: KGAP [n n^T ...] while closed (GSTAT 1); false while open.
bool GAPK(const GAPREC& g, double* Ke);
// GAPVAL = n.(u2 - u1); a closed gap adds KGAP GAPVAL along n to P and LINKV.
void GAPF(Arr2<double>& P, Arr2<double>& LINKV, GAPREC& g, const Arr2<double>& U,
          const std::int32_t* NOD);
// The gap status check of a contact iteration: a gap with GAPVAL <= 0.0 is
// closed, any other open. Writes the status table of pass ITER3 and returns
// 1 when no gap changed (CNTOK).
int GAPCHK(Model& m, int ITER3);

// The head of a contact-iteration table: counter, "CONVERGED!" (CNTOK = 1),
// "NOT CONVERGED!" in the last pass, blanks otherwise, then the column heads.
void CONTITERHEAD(Model& m, int ITER3, int CNTOK, const char* heads);

}  // namespace ossa::elements
