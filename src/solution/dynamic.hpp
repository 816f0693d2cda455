// Dynamic time integration: the three-level displacement form of the
// Newmark method (GAMMA = 1/2, BETA = RR(8) = 1/3), with element mass,
// Rayleigh damping ALPHA M + BETA K per element, and steps that may change
// length between increments.
//
// With levels n-1, n, n+1 (n+1 solved), DT this increment and DTAV the mean
// of DT and the one before, the increment balances
//   FEFF = BETA (F(n-1) + F(n+1)) + (1 - 2 BETA) F(n)
//   PEFF = BETA (P(n-1) + P(n+1)) + (1 - 2 BETA) P(n) + b K v(n)
//          + ALPHA M v(n) + M (v(n+1/2) - v(n-1/2)) / DTAV
// where v(n+1/2) = (U(n+1) - U(n)) / DT and v(n) is the mean of the two
// midpoint velocities. FEFF stands in F, PEFF in P for the residual check.
#pragma once
#include "model/model.hpp"

namespace ossa::solution {

using model::Model;

// The step of one dynamic increment.
struct DYNSTEP {
  double DT = 0.0, DTAV = 0.0;
};

// Set-up of a dynamic job before its first step (DT its length): levels
// cleared; the initial momentum M v0 (and ALPHA M v0) of the elements whose
// "VEL" row gives their initial velocity; the load levels at T(0), and the
// momentum taken back half a step by that load, so that a load standing at
// T(0) acts from T(0) on.
void DYNINIT(Model& m, double DT);

// External force at TIME into FN1 and the effective force FEFF into F; the
// enforced increments into DUE.
void LOADINC_DYN(Model& m, double TPREV, double TIME);

// Internal, damping and inertia forces of the present state: PEFF into P.
void FORCEREC_DYN(Model& m, int FIRST, const DYNSTEP& d);

// The increment's result at TIME, for the output: the external force at
// n+1 in F, and the reactions of the level n+1 (its elastic forces, with
// the damping and inertia forces of the step) in REACT. The balance solved
// is centred on level n; its own reactions would lag a step behind TIME.
void DYNRESULT(Model& m, const DYNSTEP& d);

// The element matrix of the dynamic tangent:
//   Ke := (BETA + b / (2 DT)) Ke + (1 / (DT DTAV) + a / (2 DT)) Me
// on the packed Ke of order n.
void DYNMIX(Model& m, const model::ELEMREC& e, const DYNSTEP& d, double* Ke, int n);

// The history shift after an increment's contact loop: level n+1 becomes n,
// n becomes n-1. Also the velocity at n+1/2 and the acceleration at n.
void DYNSHIFT(Model& m, const DYNSTEP& d);

// Marks the nodes whose elements all are crushed (trusses and gaps do not
// count): they drop out of the mass terms. Run after each increment from the
// first status change on, and after a step's state is restored.
void DEADNODES(Model& m);

// Body loads of a static job: M a of each element whose "VEL" row is its
// body acceleration, added to F.
void BODYLOADS(Model& m);

}  // namespace ossa::solution
