// The element records of the result stream EXEC.Bstr, one layout per
// family, and the values that fill them. The writer (results/resout) puts
// them out as they are; the reader and the tools read them back.
#pragma once
#include <cstdint>

#include "base/array.hpp"
#include "model/model.hpp"

namespace ossa::elements {

using model::ELEMREC;
using model::Model;
using model::RUBREC;
using model::SHLREC;
using model::SOLREC;

// Shell: values per layer at point 4 of the layer.
//   1,2 in-plane principal stresses; 3 angle of the first stress direction;
//   4,5 in-plane principal strains; 6 strain energy density; 7 angle of the
//   first strain direction; 8 equivalent stress; 9 EPEQ of the layer.
struct ShellLayerOut {
  std::int32_t STATE;
  float V[9];
};
struct ShellOut {
  std::int32_t ID;
  ShellLayerOut L[3];
};

// Solid: 1-3 principal stresses, 4-12 their unit directions (three vectors),
// 13-15 principal strains, 16 strain energy density, 17-19 PDIR,
// 20 equivalent stress, 21 EPEQ.
struct SolidOut {
  std::int32_t ID, STATE;
  float V[21];
};

// Rubber: 1-15 as the solid's, 16 strain energy density.
struct RubberOut {
  std::int32_t ID;
  float V[16];
};

// Truss: current strain and axial force.
struct TrussOut {
  std::int32_t ID;
  float V[2];
};

static_assert(sizeof(ShellOut) == 124 && sizeof(SolidOut) == 92 && sizeof(RubberOut) == 68 &&
              sizeof(TrussOut) == 12);

// Strain energy density of a point: ELASTIC (STATE 0) half the product of
// stress and strain; other states the elastic part (STRAIN - EPLAST) by the
// packed tangent D: 1/2 e.D e. n is 6 (solid) or 5 (shell).
double SEDENS(int STATE, const double* stress, const double* strain, const double* eplast,
              const double* Dpacked, int n);

// Values 1 to 15 shared by the solid and the rubber record: principal
// stresses, their directions, principal strains.
void PRINCVALS(const double* stress, const double* strain, float* v);
// Signed angle of the in-plane direction (c, s): its sign from s.
double DIRANGLE(double c, double s);

// The values of one element record, as they are written.
void SOLVAL(const Model& m, const SOLREC& r, std::int32_t id, SolidOut& o);
void SHLVAL(const Model& m, const SHLREC& r, std::int32_t id, ShellOut& o);
// The rubber element `e` needs the corner pressures (slot 7 of the current
// displacement array `u`).
void RUBVAL(const RUBREC& r, const ELEMREC& e, const base::Arr2<double>& u,
            RubberOut& o);

}  // namespace ossa::elements
