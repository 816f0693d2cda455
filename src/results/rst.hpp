// The repeat snapshot EXEC.RST (unit UNIT(5)): the whole changing state of a
// job, written before each step while the first status change may
// still come, and read back to run that step again with more substeps.
//
// Record 1 is the head below; record 2 the nodal state (U, UPREV, X, XPREV,
// FRAME and the contact arrays); then one record per element of the table by
// its type (shell, solid, gap; rubber and truss keep nothing here).
#pragma once
#include "model/model.hpp"

namespace ossa::results {

using model::Model;

// The driver's counters and the scalars of the arc-length control.
struct RstHead {
  int STEP = 0, NSTEPC = 0;
  double LAMBDA = 0.0;
  double FNRM[3] = {0.0, 0.0, 0.0};
  double ARCS[2] = {0.0, 0.0};
  int NSUB = 1, FIRSTCHG = 0;
  double DTPREV = 0.0;  // dynamic jobs: the increment before the step
};

// Rewrites EXEC.RST with the present state.
void RSTSAVE(Model& m, const RstHead& h);

// Restores the state saved by RSTSAVE. A missing, short or foreign file stops
// the job through the file layer.
void RSTLOAD(Model& m, RstHead& h);

// The element records, shared with the restart files: writes (or reads) one
// record per element of the table on an open sequential unit.
void RSTELEMOUT(Model& m, base::Unit& u);
void RSTELEMIN(Model& m, base::Unit& u);

}  // namespace ossa::results
