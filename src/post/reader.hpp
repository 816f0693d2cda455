// Reading the result streams EXEC.Bdsp and EXEC.Bstr back.
//
// Usage:
//
//   post::ResIndex idx;
//   std::string err = post::RESSCAN("/path/to/job", idx);   // "" when good
//   post::Frame f;
//   err = post::RESREAD(idx, idx.frames.size(), f);          // the last frame
//   for (const auto& r : f.REACT) ...                           // r.ID, r.V[0..2]
//
// RESSCAN walks both files by their frame heads alone: every frame's length
// follows from its head (results/resout.hpp has the layouts). A frame cut
// short at the end of a file, as when the job is still writing it, is not
// listed; a frame of a file whose head makes no sense ends the scan with a
// message. Frames are numbered from 1 in the order they were written; frame
// n of EXEC.Bdsp belongs to frame n of EXEC.Bstr.
//
// Nothing here stops the process: every routine returns an empty string on
// success and a message otherwise.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "results/resout.hpp"

namespace ossa::post {

using results::BDSPHEAD;
using results::BSTRHEAD;
using results::DSPFHEAD;
using results::DSPFLEN;
using results::NodeOut;
using results::RubberOut;
using results::ShellOut;
using results::SolidOut;
using results::STRFHEAD;
using results::STRFLEN;
using results::TrussOut;

// The heads of one frame of both streams, and where their records start.
struct FrameHead {
  std::int32_t STEP = 0;
  float TIME = 0.0f;
  std::int32_t NNODE = 0, NF = 0, NR = 0, NL = 0, NC = 0;     // Bdsp
  std::int32_t NSHELL = 0, NSOLID = 0, NRUBB = 0, NTRUSS = 0;  // Bstr
  long DSPOFF = 0, STROFF = 0;  // byte offsets of the frame heads
};

struct ResIndex {
  std::string DSPNAME, STRNAME;  // the two file paths
  std::vector<FrameHead> frames;
};

// One frame. Node sections keep their records as written: DISP has all grid
// points in order; FORCE, REACT, LINKF, LINKV only the non-zero nodes.
struct Frame {
  FrameHead h;
  std::vector<NodeOut> DISP, FORCE, REACT, LINKF, LINKV;
  std::vector<ShellOut> SHELL;
  std::vector<SolidOut> SOLID;
  std::vector<RubberOut> RUBBER;
  std::vector<TrussOut> TRUSS;
};

// What RESREAD reads of a frame.
enum ReadWhat { READ_NODES = 1, READ_ELEMENTS = 2, READ_ALL = 3 };

// Indexes the result streams of the job directory `dir`.
std::string RESSCAN(const std::string& dir, ResIndex& idx);

// Reads frame n (1 to idx.frames.size()).
std::string RESREAD(const ResIndex& idx, std::size_t n, Frame& f, int what = READ_ALL);

// Sum of the records of a node section, per direction.
void SECTSUM(const std::vector<NodeOut>& s, double sum[3]);

}  // namespace ossa::post
