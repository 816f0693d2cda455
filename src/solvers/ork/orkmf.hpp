// The state of ORK's multifrontal loop, shared by the loop over the nodes and
// the threaded factorisation of independent subtrees.
#pragma once
#include <cstdint>
#include <vector>

#include "solvers/ork/orkfact.hpp"

namespace ossa::solvers {

// ---- One factorisation context ----------------------------------------------
// A thread working a subtree has its own: its share of ORKR, its own maps of
// the equations and its own room for the actual and kind lists; the plan
// (node table, planned lists) is shared, each node written by one thread.
struct ORKCTX {
  ORKDATA& o;
  ORKNUM& n;
  const std::int32_t* IA;
  const std::int32_t* JA;
  const double* AV;
  double* R;             // real position 1
  std::int32_t* LOC;     // by equation - 1
  std::int32_t* STAMP;   // by equation - 1
  std::int32_t* L;       // position 1 of the actual and kind lists
  long HFREE = 0;
  long ACT = 0, ACTEND = 0;  // next free position of the actual lists, and their limit
  long KIND = 0;             // next free position of the kind lists
  int stamp = 0;
  // The current node.
  int FO = 0, NP0 = 0, NDEL = 0;
  std::int32_t* list = nullptr;

  double* at(long p) { return R + (p - 1); }
  std::int32_t* lst(long p) { return L + (p - 1); }
  std::int32_t& node(int k, int f) { return ORKNODE(o, k, f); }
  long pos(int k, int f) const { return ORKPOS(o, k, f); }
  void setpos(int k, int f, long v) { ORKSETPOS(o, k, f, v); }
  double* buf1() { return at(o.ORKI(HBUF1)); }
  double* buf2() { return at(o.ORKI(HBUF2)); }
};

// ---- Steps --------------------------------------------------------------------
//   ORKSTEP      node k: list, room, assembly, partial factorisation, factor
//                block, push of the contribution block (none for node nsup);
//                maxblk grows to the largest factor block. Returns 0 or a status.
//   ORKRESET     node table back to the plan: no delays, no parked blocks.
//   ORKSUBTREES  with more than one thread, factorises independent subtrees
//                on the threads in batches that fit the room left, closes
//                their factors up after those before (on EXEC.WK1 once the
//                factors spill: between batches they go there), parks their
//                roots' blocks at the top of the stack, and marks their nodes
//                in done (1..NSUP). A batch that does not fit its shares
//                (delays) goes back to the plan for the loop to do. Besides
//                ORKR it takes, for a while, two maps of the equations and
//                list room per thread and, where they cannot move in place, a
//                copy of the parked blocks. Returns 0 or a write's status.
//   ORKSPILLF    the factors so far to EXEC.WK1 (once); the fronts start at
//                position 1 from then on. Returns 0 or a status.
//   ORKSPLIT     the subtrees ORKSUBTREES would give T threads: their roots
//                by thread, and the first node (postorder) of each node's
//                subtree, 1..NSUP.
int ORKSTEP(ORKCTX& c, int k, int nsup, long& maxblk);
void ORKSPLIT(const ORKDATA& o, int T, std::vector<std::vector<int>>& roots, std::vector<int>& first);
void ORKRESET(ORKDATA& o);
int ORKSUBTREES(ORKCTX& c, std::vector<char>& done, long& maxblk);
int ORKSPILLF(ORKCTX& c);

}  // namespace ossa::solvers
