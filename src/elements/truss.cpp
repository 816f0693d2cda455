// The truss family: two-node bars with a force-strain table. Not built yet:
// input refuses truss elements before a job reaches these routines, which
// leave the element alone.
#include <cstring>

#include "elements/family.hpp"
#include "elements/resrec.hpp"

namespace ossa::elements {

bool TRSRECOK(const Model&, const ELEMREC&) { return false; }
void TRSSTART(Model&, ELEMREC&, double*) {}
double* TRSBETA(Model&, const ELEMREC&, int&) { return nullptr; }
bool TRSSTIFF(Model&, const ELEMREC&, double*) { return false; }
void TRSFORCE(Model&, const ELEMREC&, Arr2<double>&, int) {}
bool TRSSTATUS(Model&, const ELEMREC&) { return false; }

void TRSRES(const Model& m, const ELEMREC& e, const Arr2<double>&, void* REC) {
  const model::TRSREC& t = m.TRSREC(e.IDX);
  const TrussOut r{e.ID, {static_cast<float>(t.STRAINV), static_cast<float>(t.FORCE)}};
  std::memcpy(REC, &r, sizeof r);
}

int TRSSNAP(Model&, const ELEMREC&, SNAPITEM*) { return 0; }

}  // namespace ossa::elements
