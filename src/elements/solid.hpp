// The solid element: 4-node linear tetrahedron, three translations a node,
// one constant strain state. Small-displacement and total Lagrangian routes.
//
// Element degrees of freedom run node by node, x, y, z. Element matrices are
// the packed upper triangle of the 12 x 12 matrix (78 doubles). Global vectors
// are (7, N): slots 1 to 3 of a node are its translations.
#pragma once
#include <cstdint>

#include "base/array.hpp"
#include "model/model.hpp"

namespace ossa::elements {

using base::Arr2;
using model::Model;
using model::SOLREC;

// X(3,4): corner coordinates. DN(3,4): DN(j,a) = dN_a/dx_j, by cofactors with
// node 4 as origin. Returns 6V, positive when nodes 1, 2, 3 turn
// counter-clockwise seen from node 4; neither its sign nor its size is tested.
double TETDN(const double* X, double* DN);

// B(6,12), the small-strain operator (rows xx, yy, zz, xy, yz, zx); returns 6V.
double TETB(const double* X, double* B);

// Green-Lagrange strain E(6) with engineering shears from the displacement
// gradient H(3,3), H(i,j) = du_i/dX_j.
void GLSTRAIN(const double* H, double* E);

// Displacement gradient H(3,3), H(i,j) = sum over the NN nodes of
// u(i,a) DN(j,a), from u(3,NN) and DN(3,NN).
void DISPGRAD(const double* DN, const double* u, double* H, int NN = 4);

// BL(6,3 NN) = B0 + B1(H), the variation of GLSTRAIN, over NN nodes.
void BNLMAT(const double* DN, const double* H, double* BL, int NN = 4);

// G(9,3 NN): rows 1-3 act on the x translations, 4-6 on y, 7-9 on z.
void GMAT9(const double* DN, double* G, int NN = 4);

// Adds the initial-stress stiffness v G^T S~ G of the stress S(6) to the
// packed matrix SK of order 3 NN.
void GEOSTIFF(const double* DN, const double* S, double v, double* SK, int NN = 4);

// ST(9,9): three diagonal blocks of the stress tensor of S(6).
void SMAT9(const double* S, double* ST);

// Reads the plastic operator record IREC (n doubles) of the direct unit
// UNITNO; a record the status pass never wrote stops the job.
void PLREAD(Model& m, int UNITNO, int IREC, double* rec, int n);

// Small-displacement stiffness (6V/6) B^T D B, D packed (21).
void SOLKLIN(const std::int32_t* NOD, const Arr2<double>& XYZ, const double* D, double* SK);

// Total Lagrangian tangent (6V/6) (BL^T D BL + G^T S~ G) at the displacements
// U and the stress STRESS(6).
void SOLKNL(const std::int32_t* NOD, const Arr2<double>& XYZ, const Arr2<double>& U,
            const double* D, const double* STRESS, double* SK);

// Stress update and internal force. The element's strain, stress and, for a
// PLASTIC element, its plastic strain (operator read from record IREC of the
// direct unit UNITNO) are updated; the nodal force is added to P, and with
// IDAMP = 1 also BETA times it to PD.
void SOLFLIN(Model& m, Arr2<double>& P, Arr2<double>& PD, SOLREC& r, const Arr2<double>& XYZ,
             const Arr2<double>& U, const std::int32_t* NOD, int IREC, int UNITNO, int IDAMP);
void SOLFNL(Model& m, Arr2<double>& P, Arr2<double>& PD, SOLREC& r, const Arr2<double>& XYZ,
            const Arr2<double>& U, const std::int32_t* NOD, int IREC, int UNITNO, int IDAMP);

}  // namespace ossa::elements
