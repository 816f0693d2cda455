// Riks arc-length control: from step KK(7) on, each step of a static job is
// one arc-length increment in which the load scale LAMBDA of the reference
// load FREF is a further unknown, on the normal plane of the predictor, with
// a two-column solve (residual, reference load) in every iteration.
#pragma once
#include "model/model.hpp"
#include "solution/incr.hpp"

namespace ossa::solution {

using model::Model;

// Scaled product of two equation vectors: sum over the grid points'
// translations with an equation of a(e) b(e) / SC^2.
double RIKSDOT(const Model& m, const double* a, const double* b, double SC);

// Step start: DUPREV and UPREV, DLAMPREV and LAMPREV, the step's sums
// cleared. Enforced displacements stay where the steps before left them.
void RIKSINIT(Model& m);

// The increment DUI of iteration IT from the tangent solution DX(:,2) and
// the residual solution DX(:,1): the predictor along the arc (its sign kept
// through limit points) when IT = 1, else the corrector on the normal
// plane. Adds it to DUACC, DLAMACC and LAMBDA, and puts it in DX(:,1) for
// DISPUPD. FIRSTRIKS: the job's first Riks step.
void RIKSUPD(Model& m, int IT, bool FIRSTRIKS);

// The load scale a load-controlled step reached: the share of the
// reference load in the applied forces F, sum F FREF / sum FREF FREF (the
// tables of the deck apply there, the arc-length steps scale FREF alone).
// Left as it is without a reference load.
void RIKSSCALE(Model& m);

// One Riks step: STEP in s, TIME is set to LAMBDA T(NSTEP) on return.
// Stops with "RIKS ITERATION LOOP DID NOT CONVERGE." past KK(6) iterations.
void RIKS(Model& m, IncrState& s);

}  // namespace ossa::solution
