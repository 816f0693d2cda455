// The residual check at the head of every equilibrium pass.
#pragma once
#include "model/model.hpp"

namespace ossa::solution {

using model::Model;

// What one residual check found, for the row of the step table.
struct ResRow {
  double MAXRES = 0.0, MAXRFC = 0.0, RELM = 0.0, RESNRM = 0.0, RHVNRM = 0.0, RELN = 0.0;
  int RESNODE = 0, RESDIR = 0, RFCNODE = 0, RFCDIR = 0;
};

// Builds the right-hand side RHS(:,1) = F - P + LINKF over the equations,
// the reactions REACT, W for the additional nodes, the norms and the
// decision, and writes the heading and the row of the step table.
// ITC is the iteration count (ITER-1); FNRM the load norms of the first
// pass; TSOLVE the wall time of the last solve. Returns CONVD.
// REACT = P - F - LINKF at the held and enforced positions of the grid
// points (rotations in their node frames).
void REACTIONS(Model& m);

int RESCHK(Model& m, int ITC, int FIRST, int STEP, int ISUB, double TIME, const double FNRM[3],
           double TSOLVE, ResRow* row = nullptr);

}  // namespace ossa::solution
