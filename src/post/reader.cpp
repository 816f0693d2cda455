#include "post/reader.hpp"

#include <cstdio>
#include <cstring>
#include <memory>

namespace ossa::post {

namespace {

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

long file_length(std::FILE* f) {
  if (std::fseek(f, 0, SEEK_END) != 0) return -1;
  return std::ftell(f);
}

bool read_at(std::FILE* f, long off, void* buf, std::size_t n) {
  return std::fseek(f, off, SEEK_SET) == 0 && std::fread(buf, 1, n, f) == n;
}

// Opens one stream and checks its header; returns its length in `len`.
std::string open_stream(const std::string& name, const char* magic, int nflags, FilePtr& f,
                        long& len) {
  f.reset(std::fopen(name.c_str(), "rb"));
  if (!f) return "cannot open " + name;
  len = file_length(f.get());
  char head[8 + 4 * 9];
  const std::size_t hl = 8 + 4 * static_cast<std::size_t>(nflags);
  if (len < static_cast<long>(hl) || !read_at(f.get(), 0, head, hl))
    return name + " is too short for its header";
  if (std::memcmp(head, magic, 8) != 0) return name + " is not a result file (bad magic)";
  return "";
}

// A count read from a head: it must be non-negative.
bool counts_ok(const std::int32_t* c, int n) {
  for (int k = 0; k < n; ++k)
    if (c[k] < 0) return false;
  return true;
}

// Reads the frame heads of Bdsp into idx.frames; stops at a short frame.
std::string scan_dsp(std::FILE* f, long len, ResIndex& idx) {
  long off = BDSPHEAD;
  while (off + DSPFHEAD <= len) {
    std::int32_t h[7];
    if (!read_at(f, off, h, sizeof h)) break;
    if (!counts_ok(h + 2, 5))
      return idx.DSPNAME + ": bad counts in the head of frame " +
             std::to_string(idx.frames.size() + 1);
    const long fl = DSPFLEN(h[2], h[3], h[4], h[5], h[6]);
    if (off + fl > len) break;
    FrameHead fh;
    fh.STEP = h[0];
    std::memcpy(&fh.TIME, &h[1], 4);
    fh.NNODE = h[2]; fh.NF = h[3]; fh.NR = h[4]; fh.NL = h[5]; fh.NC = h[6];
    fh.DSPOFF = off;
    idx.frames.push_back(fh);
    off += fl;
  }
  return "";
}

// Pairs the Bstr frames with the Bdsp ones; frames missing in either end
// the list.
std::string scan_str(std::FILE* f, long len, ResIndex& idx) {
  long off = BSTRHEAD;
  std::size_t n = 0;
  for (; n < idx.frames.size() && off + STRFHEAD <= len; ++n) {
    std::int32_t h[6];
    if (!read_at(f, off, h, sizeof h)) break;
    if (!counts_ok(h + 2, 4))
      return idx.STRNAME + ": bad counts in the head of frame " + std::to_string(n + 1);
    const long fl = STRFLEN(h[2], h[3], h[4], h[5]);
    if (off + fl > len) break;
    FrameHead& fh = idx.frames[n];
    if (fh.STEP != h[0] || std::memcmp(&fh.TIME, &h[1], 4) != 0)
      return "frame " + std::to_string(n + 1) + " differs in step or time between " +
             idx.DSPNAME + " and " + idx.STRNAME;
    fh.NSHELL = h[2]; fh.NSOLID = h[3]; fh.NRUBB = h[4]; fh.NTRUSS = h[5];
    fh.STROFF = off;
    off += fl;
  }
  idx.frames.resize(n);
  return "";
}

template <class R>
bool read_recs(std::FILE* f, std::vector<R>& v, std::size_t n) {
  v.resize(n);
  return n == 0 || std::fread(v.data(), sizeof(R), n, f) == n;
}

}  // namespace

std::string RESSCAN(const std::string& dir, ResIndex& idx) {
  const std::string base = dir.empty() ? std::string(".") : dir;
  idx.DSPNAME = base + "/EXEC.Bdsp";
  idx.STRNAME = base + "/EXEC.Bstr";
  idx.frames.clear();
  FilePtr d, s;
  long dl = 0, sl = 0;
  std::string err = open_stream(idx.DSPNAME, "BDS8.0\0\0", 5, d, dl);
  if (err.empty()) err = open_stream(idx.STRNAME, "BST8.0\0\0", 9, s, sl);
  if (err.empty()) err = scan_dsp(d.get(), dl, idx);
  if (err.empty()) err = scan_str(s.get(), sl, idx);
  return err;
}

std::string RESREAD(const ResIndex& idx, std::size_t n, Frame& f, int what) {
  if (n < 1 || n > idx.frames.size())
    return "no frame " + std::to_string(n) + " (the job has " +
           std::to_string(idx.frames.size()) + ")";
  f = Frame{};
  f.h = idx.frames[n - 1];
  const FrameHead& h = f.h;
  if (what & READ_NODES) {
    FilePtr d(std::fopen(idx.DSPNAME.c_str(), "rb"));
    if (!d || std::fseek(d.get(), h.DSPOFF + DSPFHEAD, SEEK_SET) != 0)
      return "cannot read " + idx.DSPNAME;
    if (!read_recs(d.get(), f.DISP, h.NNODE) || !read_recs(d.get(), f.FORCE, h.NF) ||
        !read_recs(d.get(), f.REACT, h.NR) || !read_recs(d.get(), f.LINKF, h.NL) ||
        !read_recs(d.get(), f.LINKV, h.NC))
      return idx.DSPNAME + " ends inside frame " + std::to_string(n);
  }
  if (what & READ_ELEMENTS) {
    FilePtr s(std::fopen(idx.STRNAME.c_str(), "rb"));
    if (!s || std::fseek(s.get(), h.STROFF + STRFHEAD, SEEK_SET) != 0)
      return "cannot read " + idx.STRNAME;
    if (!read_recs(s.get(), f.SHELL, h.NSHELL) || !read_recs(s.get(), f.SOLID, h.NSOLID) ||
        !read_recs(s.get(), f.RUBBER, h.NRUBB) || !read_recs(s.get(), f.TRUSS, h.NTRUSS))
      return idx.STRNAME + " ends inside frame " + std::to_string(n);
  }
  return "";
}

void SECTSUM(const std::vector<NodeOut>& s, double sum[3]) {
  sum[0] = sum[1] = sum[2] = 0.0;
  for (const NodeOut& r : s)
    for (int k = 0; k < 3; ++k) sum[k] += r.V[k];
}

}  // namespace ossa::post
