// Model preparation after the solution arrays and the element start values
// exist: the constraint table, and the equation index with the sparse
// pattern of the global matrix.
#pragma once
#include <cstdint>
#include <vector>

#include "model/model.hpp"

namespace ossa::solution {

using model::Model;

// DOFTAB from the "PLNK" flags; node frames of shells in nonlinear analysis;
// the reference load FREF of a Riks job.
void DOFINIT(Model& m);

// Numbers the equations (KK(22)), finds MAXEDOF (KK(23), KK(24)), builds IA,
// JA (KK(26)) and allocates AV, RHS, DX and the arc-length vectors; the
// solver's preparation follows it. Runs again after a contact change: the
// arrays that hang on NEQ and NZ are released first. NO2 goes with a budget
// stop.
void EQINDEX(Model& m, int NO2);

// One entry of an element's degree-of-freedom list.
struct EDOFPAIR {
  std::int32_t node = 0, pos = 0;
};
inline constexpr int MAXLIST = 30;  // 5 nodes of 6 positions

// The element's list of (node, position) pairs: for each node positions 1 to
// NPOS of its family (6 for a shell, 3 for the others), then position 7 of
// the corners that carry it (a rubber element's four). Returns the count (at
// most MAXLIST).
int EDOFLIST(int TYPE, int NEN, const std::int32_t* NOD, EDOFPAIR* LIST);

// The element's list with links: LIST(0..n) followed by the independent
// targets of its dependent translations (IDOF = -2) that it does not hold
// yet, in the order met. Returns the new count.
int EDOFEXPAND(const Model& m, std::vector<EDOFPAIR>& LIST, int n);

}  // namespace ossa::solution
