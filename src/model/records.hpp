// The element directory and the five element records, fields in their order.
#pragma once
#include <cstdint>

#include "base/array.hpp"

namespace ossa::model {

using base::Fix;

// Element directory entry. TYPE: 1 shell, 2 solid, 3 gap, 4 rubber, 5 truss.
struct ELEMREC {
  std::int32_t ID = 0, IDX = 0, TYPE = 0, NDF = 0, NEN = 0;
  Fix<std::int32_t, 5> NOD;
};

struct SOLREC {
  std::int32_t GROUP = 0;
  double E = 0, NU = 0, RHO = 0;
  std::int32_t BODYLOAD = 0;
  double ALPHA = 0, BETA = 0;
  Fix<double, 21> D;
  Fix<double, 6> STRAIN, EPLAST;
  double EPEQ = 0;
  Fix<double, 6> STRESS, STRESS0;
  Fix<double, 3> PDIR;
  std::int32_t STATE = 0, STATE0 = 0;
  double SIGT = 0;
  std::int32_t YTYPE = 0;
  double YIELD = 0, HPRIME = 0, ECRUSH = 0, AVGLEN = 0;
};

struct SHLREC {
  std::int32_t GROUP = 0;
  double E = 0, NU = 0, GS = 0, RHO = 0;
  std::int32_t BODYLOAD = 0;
  double ALPHA = 0, BETA = 0, THICK = 0;
  Fix<double, 3> TNODE;
  Fix<double, 3, 3> V0, V, VC;
  Fix<double, 15, 4, 3> D;
  Fix<double, 5, 4, 3> STRAIN;
  Fix<double, 5, 3> EPLAST;
  Fix<double, 3> EPEQ;
  Fix<double, 5, 4, 3> STRESS, STRESS0;
  Fix<double, 2, 4, 3> PDIR;
  Fix<std::int32_t, 4, 3> STATE, STATE0;
  double SIGT = 0;
  std::int32_t YTYPE = 0;
  Fix<double, 4, 3> YIELD;
  double HPRIME = 0, ECRUSH = 0, AVGLEN = 0, DRILL = 0;
};

struct RUBREC {
  std::int32_t GROUP = 0;
  double C1 = 0, C2 = 0, KB = 0, RHO = 0;
  std::int32_t BODYLOAD = 0;
  double ALPHA = 0, BETA = 0;
  Fix<double, 6, 5> STRAIN, STRESS;
};

struct GAPREC {
  double KGAP = 0;
  Fix<double, 3> NVEC;
  double GAPVAL = 0;
  std::int32_t GSTAT = 0, GSTAT0 = 0;
};

struct TRSREC {
  std::int32_t TABLE = 0, NPT = 0;
  base::Arr2<double> CURVE;  // (NPT, 2): strains, then forces
  double SLOPE = 0, STRAINV = 0, FORCE = 0;
};

}  // namespace ossa::model
