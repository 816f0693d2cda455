// The layout of ORK's packed analysis ORKI and its node table.
#pragma once
#include <cstdint>

#include "model/solvrec.hpp"

namespace ossa::solvers {

using model::ORKDATA;

// Header of ORKI: entries 1..ORKHDR hold the order, counts and the positions
// (in ORKI, or in ORKR for the buffers) of every section.
inline constexpr int ORKHDR = 140;
enum OrkHeader : int {
  HN = 1,       // order of the matrix, NEQ
  HNSUP = 2,    // nodes of the assembly tree after amalgamation
  HISIZ = 3,    // declared length of ORKI
  HRSIZ = 4,    // declared length of ORKR
  HFREE = 5,    // ORKR: top of the contribution stack (it grows downward from here)
  HIFREE = 6,   // ORKI: free entries after the last fixed section
  HTREE = 7,    // ORKI: position of the node table ORKNODE
  HIDX = 8,     // ORKI: position of the planned index lists (all nodes, postorder)
  HACT = 9,     // ORKI: position of the actual index lists (room up to HISIZ)
  HKIND = 10,   // ORKI: position of the pivot-kind lists, NEQ entries
  HPOS = 11,    // ORKI: per-equation map LOC (local row in the current front), NEQ entries
  HPIV = 12,    // ORKI: per-equation map STAMP (last front that listed it), NEQ entries
  HBUF1 = 13,   // ORKR: buffer of EXEC.WK1, 1026 entries
  HBUF2 = 14,   // ORKR: buffer of EXEC.WK2, 1026 entries up to the end
  HCOMP = 15,   // variables after compression
  HFIXED = 16,  // 1 if some variables were marked to go last (never, here)
  HNFIX = 17,   // count of variables marked to go last
  HLIDX = 18,   // total length of the planned index lists
  HMAXFO = 19,  // largest front order
  HMAXBLK = 20  // largest factor block, if it fits 32 bits (else 2147483647)
};

// Node table: 20 integers a node, nodes numbered 1..HNSUP in postorder.
inline constexpr int ORKNW = 20;
enum OrkNode : int {
  NOLD = 0,    // number of the node before the postorder
  NPIV = 1,    // planned pivots
  NBRD = 2,    // planned border rows
  NPIVA = 3,   // pivots actually done (numeric phase), at first = NPIV
  NBRDA = 4,   // border rows actually left, at first = NBRD
  NPAR = 5,    // parent, 0 for a root
  NCHILD = 6,  // first child, 0 for none
  NSIB = 7,    // next sibling, 0 for none
  NFPOS = 8,   // position of the factor block in the factor space (low 31 bits; high part in NFPOSH)
  NSPOS = 9,   // position of the contribution block on the stack (low 31 bits; high part in NSPOSH)
  NLIST = 10,  // ORKI position of the node's planned list (pivots, then border)
  NLISTA = 11, // ORKI position of the node's actual list
  NKIND = 12,  // ORKI position of the node's pivot-kind list
  NFPOSH = 13, // high part of NFPOS: factors on file pass 2^31 reals
  NZPIV = 14,  // pivots whose reciprocal is zero
  NUPIV = 15,  // columns forced to a unit pivot
  NPARK = 16,  // 1: its contribution block lies parked above the stack, never popped
  NSPOSH = 17  // high part of NSPOS
};

// Entry f of node k of the node table.
inline std::int32_t& ORKNODE(ORKDATA& o, int k, int f) {
  return o.ORKI(o.ORKI(HTREE) + ORKNW * (k - 1) + f);
}
inline std::int32_t ORKNODE(const ORKDATA& o, int k, int f) {
  return o.ORKI(o.ORKI(HTREE) + ORKNW * (k - 1) + f);
}

// A position kept in the node table as two entries (NFPOS/NFPOSH or
// NSPOS/NSPOSH): low 31 bits, and the rest, signed.
inline long ORKPOS(const ORKDATA& o, int k, int f) {
  const int h = f == NFPOS ? NFPOSH : NSPOSH;
  return static_cast<long>(ORKNODE(o, k, h)) * 2147483648L + ORKNODE(o, k, f);
}
inline void ORKSETPOS(ORKDATA& o, int k, int f, long v) {
  const int h = f == NFPOS ? NFPOSH : NSPOSH;
  const long hi = v >= 0 ? v / 2147483648L : -((-v + 2147483647L) / 2147483648L);
  ORKNODE(o, k, h) = static_cast<std::int32_t>(hi);
  ORKNODE(o, k, f) = static_cast<std::int32_t>(v - hi * 2147483648L);
}

}  // namespace ossa::solvers
