// The result streams EXEC.Bdsp (nodal values) and EXEC.Bstr (element values).
//
// Both are plain little-endian byte streams of four-byte fields without
// record markers. A header at the first output of the run, then one frame
// per output, appended. The layouts of the header, the frame heads and the
// node records are fixed here, those of the element records in
// elements/resrec.hpp; the reader (post/reader.hpp) follows them.
//
//   EXEC.Bdsp head:  "BDS8.0\0\0", five int32 1
//   EXEC.Bdsp frame: STEP int32, TIME real32, NNODE, NF, NR, NL, NC int32,
//                    then NNODE + NF + NR + NL + NC node records of 16 bytes
//   EXEC.Bstr head:  "BST8.0\0\0", nine int32 1
//   EXEC.Bstr frame: STEP int32, TIME real32, NSHELL, NSOLID, NRUBB, NTRUSS
//                    int32, then the records of the four families in turn
#pragma once
#include <cstdint>

#include "elements/resrec.hpp"
#include "model/model.hpp"

namespace ossa::results {

using model::Model;

inline constexpr long BDSPHEAD = 28;   // bytes of the EXEC.Bdsp header
inline constexpr long BSTRHEAD = 44;   // bytes of the EXEC.Bstr header
inline constexpr long DSPFHEAD = 28;   // bytes of a Bdsp frame head
inline constexpr long STRFHEAD = 24;   // bytes of a Bstr frame head

// Node record of every Bdsp section: deck node number and three values.
struct NodeOut {
  std::int32_t ID;
  float V[3];
};

// The element records (ShellOut, SolidOut, RubberOut, TrussOut) and their
// values belong to the element families: elements/resrec.hpp.
using elements::RubberOut;
using elements::ShellLayerOut;
using elements::ShellOut;
using elements::SolidOut;
using elements::TrussOut;
using elements::SEDENS;
using elements::SOLVAL;
using elements::SHLVAL;
using elements::RUBVAL;

static_assert(sizeof(NodeOut) == 16);

// Byte lengths of the two frames, from the counts of their heads.
inline long DSPFLEN(long nnode, long nf, long nr, long nl, long nc) {
  return DSPFHEAD + 16 * (nnode + nf + nr + nl + nc);
}
inline long STRFLEN(long nshell, long nsolid, long nrubb, long ntruss) {
  return STRFHEAD + 124 * nshell + 92 * nsolid + 68 * nrubb + 12 * ntruss;
}

// A node counts as non-zero when one of its three components is below or
// above zero, or is not a number.
inline bool NONZERO(const double* v) { return !(v[0] == 0.0 && v[1] == 0.0 && v[2] == 0.0); }
// Nodes of the NNODE grid points whose components 1 to 3 of `a` (7 a node)
// are non-zero; 0 when `a` is not allocated.
std::int32_t NZCOUNT(const Model& m, const base::Arr2<double>& a);

// Adds components 1 to 3 of the further force arrays `a` and `b` (7 a node;
// either may be unallocated) to REACT over its nodes.
void REACTADD(Model& m, const base::Arr2<double>& a, const base::Arr2<double>& b);

// Creates EXEC.Bdsp and EXEC.Bstr anew in the working directory and writes
// their headers. Called by RESOUT at the first output of the run.
void RESINIT(Model& m);

// Appends one frame to both streams: REACT first takes the further force
// arrays, the headers go first at the first output, and the time goes to
// the output clock TIMES(8). The streams stay open to the end of the process.
void RESOUT(Model& m, int STEP, double TIME);

}  // namespace ossa::results
