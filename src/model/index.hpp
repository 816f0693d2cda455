// Model preparation after the solution arrays exist: element start values
// and damping defaults, the constraint table, and the equation index with
// the sparse pattern of the global matrix.
#pragma once
#include <cstdint>

#include "model/model.hpp"

namespace ossa::model {

// Geometric start values, elastic matrices and zeroed states of the element
// records, the interior nodes of rubber elements, the class defaults of the
// stiffness-proportional damping (with their log block) and the gap links.
// Stops with "STOP IN SUB. ELEM_INIT!" when a gap triple is no solid face.
void ELEM_INIT(Model& m);

// DOFTAB from the "PLNK" flags; node frames of shells in nonlinear analysis;
// the reference load FREF of a Riks job.
void DOFINIT(Model& m);

// Numbers the equations (KK(22)), finds MAXEDOF (KK(23), KK(24)), builds IA,
// JA (KK(26)) and allocates AV, RHS, DX and the arc-length vectors, then
// prepares the solver. Runs again after a contact change: the arrays that
// hang on NEQ and NZ are released first. NO2 goes with a budget stop.
void EQINDEX(Model& m, int NO2);

// One entry of an element's degree-of-freedom list.
struct EDOFPAIR {
  std::int32_t node = 0, pos = 0;
};
inline constexpr int MAXLIST = 30;  // 5 nodes of 6 positions

// The element's list of (node, position) pairs: for each node positions 1 to 6
// for a shell (TYPE 1), 1 to 3 for the others; a rubber element (TYPE 4) then
// adds position 7 of its four corners. Returns the count (at most MAXLIST).
int EDOFLIST(int TYPE, int NEN, const std::int32_t* NOD, EDOFPAIR* LIST);

}  // namespace ossa::model
