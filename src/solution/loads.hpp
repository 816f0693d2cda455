// External force and enforced displacement increments of an increment.
#pragma once
#include "model/model.hpp"

namespace ossa::solution {

using model::Model;

// The table function: the first ordinate at or below the first abscissa,
// linear between points, and the last segment extended beyond the end.
double TBLVAL(double t, const double* times, const double* values, int n);

// The factor of load group g at time t.
double GROUPFAC(const Model& m, int g, double t);

// F: total external force at TIME over NNODE+NAUX nodes; DUE: enforced
// displacement increments from TPREV to TIME.
void LOADINC(Model& m, double TPREV, double TIME);

}  // namespace ossa::solution
