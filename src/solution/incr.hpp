// One increment of a static or dynamic job: the four nested loops of element status,
// contact or gap status, status within a fixed contact state, and force
// equilibrium.
#pragma once
#include "model/model.hpp"

namespace ossa::solution {

using model::Model;

// What the increment routine keeps across its loops and hands back.
struct IncrState {
  int STEP = 0, ISUB = 0;
  double TPREV = 0.0, TIME = 0.0;
  double FNRM[3] = {0.0, 0.0, 0.0};  // load norms of the first pass
  int FIRSTCHG = 0, STOPFLAG = 0;
  int NITER = 0;  // equilibrium passes made in the last ITER loop
  double DT = 0.0, DTPREV = 0.0;     // dynamic: this increment and the one before
};

// Runs one increment from TPREV to TIME.
void INCR_STATIC(Model& m, IncrState& s);

// Euclidean norms of the equation vector v over the grid points' free
// translations, rotations and seventh directions.
void EQNORMS(const Model& m, const double* v, double N[3]);

// The same as INCR_STATIC for a dynamic job (solution/dynamic.hpp), with its
// step DT and the step before, DTPREV.
void INCR_DYNAMIC(Model& m, IncrState& s);

// Adds the solution DX(:,1) (and, with FIRST = 1, the enforced increments)
// to the displacements and updates the current coordinates.
void DISPUPD(Model& m, int FIRST);

}  // namespace ossa::solution
