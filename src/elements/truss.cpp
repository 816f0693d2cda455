// The truss family: two-node bars with a force-strain table. Not built yet:
// input refuses truss elements before a job reaches these routines, which
// leave the element alone.
#include "elements/family.hpp"

namespace ossa::elements {

bool TRSRECOK(const Model&, const ELEMREC&) { return false; }
void TRSSTART(Model&, ELEMREC&, double*) {}
double* TRSBETA(Model&, const ELEMREC&, int&) { return nullptr; }
bool TRSSTIFF(Model&, const ELEMREC&, double*) { return false; }
void TRSFORCE(Model&, const ELEMREC&, Arr2<double>&, int) {}
bool TRSSTATUS(Model&, const ELEMREC&) { return false; }

}  // namespace ossa::elements
