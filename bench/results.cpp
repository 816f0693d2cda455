// Result output at scale: one frame of 1 000 000 solids on 200 000 nodes
// written by RESOUT, then read back and converted to a VTU file; the restart
// snapshot of the same state written (to the disk, and renamed) and read
// back (with the plastic operators of its work files), and the check it
// carries over bytes in memory.
// Targets: the frame under 1 s, the conversion under 3 s.
#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "../examples/mesh/cube_tets.hpp"
#include "clock.hpp"
#include "model/model.hpp"
#include "post/reader.hpp"
#include "results/resout.hpp"
#include "results/rst.hpp"
#include "post/vtu.hpp"

using namespace ossa;
using bench::now;

namespace {

struct P3 { double x, y, z; };

// A 100 x 100 x 20 grid of points; its first million tetrahedra, with
// stress and strain states that vary from element to element.
void build(model::Model& m, int NX, int NY, int NZ, int NSOL) {
  model::MODELRESET(m);
  const int nn = NX * NY * NZ;
  m.KK(kk::DYNAMIC) = 0;
  m.KK(kk::NSTEP) = 1;
  m.KK(kk::NNODE) = nn;
  m.KK(kk::NELEM) = NSOL;
  m.KK(kk::NSOLID) = NSOL;
  m.NODEID.allocate(nn);
  m.XYZ.allocate(3, nn);
  auto id = [&](int i, int j, int k) { return 1 + i + NX * (j + NY * k); };
  auto xyz = [&](int n) {
    return P3{m.XYZ(1, n), m.XYZ(2, n), m.XYZ(3, n)};
  };
  for (int k = 0; k < NZ; ++k)
    for (int j = 0; j < NY; ++j)
      for (int i = 0; i < NX; ++i) {
        const int n = id(i, j, k);
        m.NODEID(n) = n;
        m.XYZ(1, n) = i;
        m.XYZ(2, n) = j;
        m.XYZ(3, n) = k;
      }
  std::vector<std::array<int, 4>> tets;
  tets.reserve(static_cast<std::size_t>(NSOL) + 6);
  for (int k = 0; k + 1 < NZ && static_cast<int>(tets.size()) < NSOL; ++k)
    for (int j = 0; j + 1 < NY && static_cast<int>(tets.size()) < NSOL; ++j)
      for (int i = 0; i + 1 < NX && static_cast<int>(tets.size()) < NSOL; ++i)
        example::cube_tets(i, j, k, id, xyz, tets);
  m.ELEM.allocate(NSOL);
  m.SOLREC.allocate(NSOL);
  for (int e = 1; e <= NSOL; ++e) {
    model::ELEMREC& r = m.ELEM(e);
    r.ID = e; r.IDX = e; r.TYPE = 2; r.NDF = 3; r.NEN = 4;
    for (int a = 1; a <= 4; ++a) r.NOD(a) = tets[static_cast<std::size_t>(e - 1)][a - 1];
    model::SOLREC& s = m.SOLREC(e);
    s.YTYPE = 1 + e % 2;
    s.STATE = e % 7 == 0 ? 2 : 0;
    for (int c = 1; c <= 6; ++c) {
      s.STRESS(c) = 10.0 * std::sin(0.37 * e + c);
      s.STRAIN(c) = 1e-3 * std::cos(0.11 * e + 2 * c);
      s.EPLAST(c) = 1e-5 * c;
    }
    for (int c = 1; c <= 21; ++c) s.D(c) = c % 7 == 1 ? 1000.0 : 10.0;
  }
  m.T.allocate(base::Dim(0, 1));
  m.T(1) = 1.0;
  model::MODELALLOC(m);
  for (int n = 1; n <= nn; ++n)
    for (int c = 1; c <= 3; ++c) m.U(c, n) = 1e-3 * std::sin(n * 0.01 * c);
  for (int n = 1; n <= NX * NY; ++n) m.REACT(3, n) = -1.0;
  for (int n = nn - NX * NY + 1; n <= nn; ++n) m.F(3, n) = 1.0;
}

// EXEC.RST2 of the model, material nonlinear with its work files,
// written and read back as EXEC.RST1.
void snapshots(model::Model& m) {
  m.KK(kk::MATNL) = 1;
  const bool opened = base::open_direct(m.unit(m.UNIT(6)), "EXEC.SHL", 240) &&
                      base::open_direct(m.unit(m.UNIT(7)), "EXEC.SOL", 336) &&
                      base::dwrite(m.unit(m.UNIT(7)), m.NSOLID() + 1, nullptr, 0);
  if (!opened) return;
  results::RstHead h;
  double t = now();
  results::RSTWRITE(m, h);
  const double tw = now() - t;
  std::FILE* f = std::fopen("EXEC.RST2", "rb");
  long size = 0;
  if (f) {
    std::fseek(f, 0, SEEK_END);
    size = std::ftell(f);
    std::fclose(f);
  }
  if (std::rename("EXEC.RST2", "EXEC.RST1") != 0) return;
  t = now();
  results::RSTREAD(m, h);
  const double tr = now() - t;
  std::vector<unsigned char> buf(static_cast<std::size_t>(size), 1);
  t = now();
  const std::uint64_t c = base::CHECK64(base::CHECKSEED, buf.data(), buf.size());
  const double tc = now() - t;
  std::printf("restart snapshot %.1f MB: RSTWRITE %.3f s (%.0f MB/s, with fsync), RSTREAD %.3f s (%.0f MB/s)\n",
              1e-6 * size, tw, 1e-6 * size / tw, tr, 1e-6 * size / tr);
  std::printf("its check over the same bytes in memory: %.3f s (%.0f MB/s) [%llx]\n", tc, 1e-6 * size / tc,
              static_cast<unsigned long long>(c & 0xff));
}

}  // namespace

int main() {
  char tmpl[] = "/tmp/ossa-bench-results.XXXXXX";
  const char* dir = mkdtemp(tmpl);
  if (dir == nullptr || chdir(dir) != 0) return 1;
  const int NSOL = 1000000;
  model::Model m;
  double t = now();
  build(m, 100, 100, 20, NSOL);
  std::printf("model: %d nodes, %d solids, built in %.2f s\n", m.NNODE(), m.NSOLID(), now() - t);

  t = now();
  results::RESOUT(m, 1, 1.0);
  const double tw = now() - t;
  t = now();
  results::RESOUT(m, 2, 2.0);
  const double tw2 = now() - t;
  base::close_unit(m.BDSP);
  base::close_unit(m.BSTR);
  std::printf("RESOUT, one frame (first, with the headers): %.3f s   (target < 1 s)\n", tw);
  std::printf("RESOUT, one frame (appended):                %.3f s\n", tw2);

  t = now();
  post::ResIndex idx;
  std::string err = post::RESSCAN(".", idx);
  post::Frame f;
  if (err.empty()) err = post::RESREAD(idx, 2, f);
  const double tr = now() - t;
  t = now();
  if (err.empty()) err = post::VTUWRITE(m, f, "EXEC_0002.vtu");
  const double tv = now() - t;
  if (!err.empty()) {
    std::printf("error: %s\n", err.c_str());
    return 1;
  }
  std::printf("read the frame back:                         %.3f s\n", tr);
  std::printf("write the VTU file:                          %.3f s\n", tv);
  std::printf("conversion to VTU (read + write):            %.3f s   (target < 3 s)\n", tr + tv);
  std::printf("sizes: EXEC.Bdsp %.1f MB, EXEC.Bstr %.1f MB, VTU %.1f MB\n",
              1e-6 * static_cast<double>(results::DSPFLEN(f.h.NNODE, f.h.NF, f.h.NR, f.h.NL, f.h.NC)),
              1e-6 * static_cast<double>(results::STRFLEN(0, NSOL, 0, 0)),
              1e-6 * static_cast<double>([&] {
                std::FILE* v = std::fopen("EXEC_0002.vtu", "rb");
                if (!v) return 0L;
                std::fseek(v, 0, SEEK_END);
                const long n = std::ftell(v);
                std::fclose(v);
                return n;
              }()));
  snapshots(m);
  const std::string rm = std::string("rm -rf '") + dir + "'";
  return std::system(rm.c_str()) == 0 ? 0 : 1;
}
