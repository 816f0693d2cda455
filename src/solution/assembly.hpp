// Assembly of the global tangent and right-hand side, and the internal-force
// walk over the element table.
#pragma once
#include "solution/index.hpp"
#include "model/model.hpp"

namespace ossa::solution {

using model::Model;
using base::Arr2;

// Degree of freedom of an element's list: node position and direction.
using EDOF = ossa::solution::EDOFPAIR;

// Scatter-add of a packed element matrix into AV. Stops with
// "NO ADRESS FOR [K], PROGRAM STOPPED." when the pattern lacks a position.
void ADDK(Model& m, const double* Ke, const EDOF* dofs, int n);

// Moves enforced displacement increments to the right-hand side RHS(:,1).
void ENFRHS(Model& m, const double* Ke, const EDOF* dofs, int n);

// Closes the right-hand side with W of the additional nodes.
void RHSADD(Model& m);

// Expansion of an element matrix by link constraints. Returns the new list
// length; without links the matrix and list stay as they are.
int LINKEXP(Model& m, double* Ke, EDOF* dofs, int n);

// The force estimate: OUT = START + the stiffness of each element marked by
// CONTMARK times its part of DELTA (7, N). Its cost follows the contact
// area; a tangent estimate of the forces after the move DELTA.
void CONTFORCE2(Model& m, Arr2<double>& OUT, const Arr2<double>& START, const Arr2<double>& DELTA);

// Friction tangents of the slaves that carry friction, each as an element
// of the slave and its masters, turned by the links and added to AV.
void FRICSTIF(Model& m, int FIRST);

struct DYNSTEP;

// Clears AV and walks the element table: element matrix, links, enforced
// displacements (FIRST = 1), scatter; then closes the right-hand side. With
// DYN each element matrix is the dynamic one of its step.
void STFASM(Model& m, int FIRST, const DYNSTEP* DYN = nullptr);

// Internal forces P (and link forces LINKV) of the present state. With
// IDAMP = 1 the elements also add BETA times their force to PD, the
// stiffness-damping force of a dynamic job; otherwise PD is not touched.
void FORCEREC(Model& m, Arr2<double>& PD, int IDAMP);

}  // namespace ossa::solution
