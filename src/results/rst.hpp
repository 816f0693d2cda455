// The snapshot files: the whole changing state of a job, the model itself
// coming from the deck again.
//
//   EXEC.RST  (UNIT(5))  the repeat snapshot: written before each step while
//                        the first status change may still come, read back
//                        to run that step again with more substeps.
//   EXEC.RST2 (UNIT(11)) the restart snapshot, written at each result output
//                        when KK(20) = 1; EXEC.RST1 (UNIT(10)) is the same
//                        file under the name that a restart run (KK(19) = 1)
//                        reads.
//
// Records, each a list of whole arrays in memory order (an array of extent 0
// is an empty item):
//   EXEC.RST2: the mark "R2S6.2  "; NSUB, FIRSTCHG (dynamic: DTPREV first);
//   EXEC.RST:  STEP, NSTEPC, LAMBDA, FNRM(3), ARCS(2), NSUB, FIRSTCHG
//              (dynamic: STEP, DTPREV, NSTEPC, LAMBDA, NSUB, FIRSTCHG);
//   both then: the nodal state, static U (EXEC.RST: and UPREV), X, XPREV,
//              FRAME; dynamic X, XPREV, FRAME, all level arrays, MVN, MVO,
//              AMVN, AMVO; then the contact slaves' SLVST, SLVBARY, SLVDIR,
//              SLVOFF, (static) SLVCOEF, SLVFORCE, SLVLEV, SLVOLD and the
//              friction state FRFLAG, FRPAR, FRREF, FRPOS;
//              one record per element of the table by its family (shell,
//              solid, gap; the others keep nothing); EXEC.RST2 of a material
//              nonlinear job: the plastic operators of EXEC.SHL and EXEC.SOL,
//              whole, in records of up to 4096 of theirs; in a static job the
//              arc-length record (EXEC.RST2: the Riks step count, LAMBDA,
//              LAMPREV, UNORM(3), FNRM(3) and UPREV), FREF and the arc
//              vectors; last the check record. The head of EXEC.RST takes
//              NSTEPC = the Riks step count, ARCS = LAMPREV, UNORM(1).
//
// The check record holds the number of records before it, their bytes, a
// 64-bit check over their lengths and bytes, and a check of the model (node
// numbers and coordinates, the element table, the contact surfaces). A
// reader refuses, naming the record, a mark other than "R2S6.2  " (another
// version), a file that ends early or has broken record marks, a record whose
// length is not this job's (another analysis kind or a deck of another
// size), a check that fails (a corrupted file), another model's check or
// anything after the check record. EXEC.RST2 is written under a temporary
// name, handed to the disk and renamed over the old one, so that a job
// killed at any moment leaves either the previous or the new snapshot.
#pragma once
#include <cstdint>

#include "model/model.hpp"

namespace ossa::results {

using model::Model;

// The driver's counters and the scalars of the arc-length control (EXEC.RST2
// takes those from m.RIKS); DTPREV lives with the dynamic arrays (m.DYN).
// The fields are in the file's own types.
struct RstHead {
  std::int32_t STEP = 0, NSTEPC = 0;
  double LAMBDA = 0.0;
  double FNRM[3] = {0.0, 0.0, 0.0};
  double ARCS[2] = {0.0, 0.0};
  std::int32_t NSUB = 1, FIRSTCHG = 0;
};

inline constexpr char RSTMARK[] = "R2S6.2  ";
inline constexpr const char* RSTTEMP = "EXEC.RST2.TMP";  // EXEC.RST2 while it is written

// Rewrites EXEC.RST with the present state.
void RSTSAVE(Model& m, const RstHead& h);

// Restores the state saved by RSTSAVE.
void RSTLOAD(Model& m, RstHead& h);

// Writes EXEC.RST2 with the present state.
void RSTWRITE(Model& m, const RstHead& h);

// Reads EXEC.RST1 into the state (STEP of the head is not in the file).
// A missing, short, corrupted or foreign file stops the job through the
// file layer with a message naming the record.
void RSTREAD(Model& m, RstHead& h);

}  // namespace ossa::results
