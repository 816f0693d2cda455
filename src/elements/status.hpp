// The status pass of the bone material: each material point of the solids
// and shells is looked at, changes state (ELASTIC, CRACKED, PLASTIC,
// CRUSHED), has its stress corrected and gets a new tangent for the next
// assembly. PLASTIC points write their plastic operator to the work files
// (solids: unit UNIT(7), record = ordinal in the family; shells: unit
// UNIT(6), record 3 (ordinal) + layer - 3, written at point 4 only).
#pragma once
#include "model/model.hpp"

namespace ossa::elements {

using model::Model;
using model::SHLREC;
using model::SOLREC;

enum MatState { ELASTIC = 0, CRACKED = 1, PLASTIC = 2, CRUSHED = 3 };

// One solid point in state ELASTIC (SOLST0) or PLASTIC (SOLST2); IREC is the
// element's record in EXEC.SOL.
void SOLST0(Model& m, SOLREC& r, int IREC);
void SOLST2(Model& m, SOLREC& r, int IREC);

// Point PT (1..4) of layer LY (1..3) of a shell; IREC is the layer's record
// in EXEC.SHL.
void SHLST0(Model& m, SHLREC& r, int PT, int LY, int IREC);
void SHLST2(Model& m, SHLREC& r, int PT, int LY, int IREC);

// Counts of the four states: solids, and shell layers at point 4.
struct StatCounts {
  int SOL[4] = {0, 0, 0, 0};
  int SHL[4] = {0, 0, 0, 0};
};
StatCounts STATCOUNT(const Model& m);

// The status pass over all elements in table order. ITYPE is the iteration
// type KK(34) (0 to 3), ITER the counter of the calling loop and ITERMAX its
// limit; SKIP = 1 with type 1 only counts and logs. FIRSTCHG is set to 1 when
// a point left ELASTIC, else left as it was; STOPFLAG is set to 1 when a
// limit of STAT_LIMIT is reached. Returns CONVERGED (1 or 0).
int ELSTAT(Model& m, int ITER, int ITERMAX, int ITYPE, int SKIP, int& FIRSTCHG, int& STOPFLAG);

}  // namespace ossa::elements
