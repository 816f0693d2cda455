#include "results/resout.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "elements/family.hpp"

namespace ossa::results {

static_assert(std::endian::native == std::endian::little, "the result streams are little-endian");

namespace {

// Output buffer of one stream: records gather here and go to the file in
// groups, each flushed, so that a reader can follow a running job.
struct Out {
  std::FILE* fp;
  std::vector<char> buf;
  explicit Out(std::FILE* f) : fp(f) { buf.reserve(GROUP); }
  static constexpr std::size_t GROUP = 64 * 1024;
  void put(const void* p, std::size_t n) {
    const char* c = static_cast<const char*>(p);
    buf.insert(buf.end(), c, c + n);
    if (buf.size() >= GROUP) flush();
  }
  void flush() {
    if (fp && !buf.empty()) {
      std::fwrite(buf.data(), 1, buf.size(), fp);
      std::fflush(fp);
    }
    buf.clear();
  }
  ~Out() { flush(); }
  Out(const Out&) = delete;
  Out& operator=(const Out&) = delete;
};

void put_i(Out& o, std::int32_t v) { o.put(&v, 4); }
void put_f(Out& o, double v) {
  const float f = static_cast<float>(v);
  o.put(&f, 4);
}

// The current displacement: U, which in a dynamic job is the level n+1.
const base::Arr2<double>& current_disp(const Model& m) { return m.U; }

// Writes the records of one node section: all grid points when `all`, else
// those where `a` is non-zero.
void node_section(Out& o, const Model& m, const base::Arr2<double>& a, bool all) {
  static constexpr double zero[3] = {0.0, 0.0, 0.0};
  if (!a.allocated() && !all) return;
  for (int i = 1; i <= m.NNODE(); ++i) {
    const double* v = a.allocated() ? a.at(1, i) : zero;
    if (!all && !NONZERO(v)) continue;
    const NodeOut r{i <= m.NODEID.size() ? m.NODEID(i) : i, {static_cast<float>(v[0]), static_cast<float>(v[1]),
                                  static_cast<float>(v[2])}};
    o.put(&r, sizeof r);
  }
}

void write_dsp(Model& m, int STEP, double TIME, const std::int32_t cnt[4]) {
  Out o(m.BDSP.fp);
  put_i(o, STEP);
  put_f(o, TIME);
  put_i(o, m.NNODE());
  for (int k = 0; k < 4; ++k) put_i(o, cnt[k]);
  node_section(o, m, current_disp(m), true);
  node_section(o, m, m.F, false);
  node_section(o, m, m.REACT, false);
  node_section(o, m, m.LINKF, false);
  node_section(o, m, m.LINKV, false);
}

// The records of one family, in directory order.
void family_pass(Out& o, const Model& m, int type) {
  const elements::FAMILY& f = elements::FAMILYOF(type);
  if (f.RESBYTES == 0) return;
  const base::Arr2<double>& u = current_disp(m);
  alignas(4) unsigned char rec[elements::MAXRESBYTES];
  for (int k : elements::FAMILYELEMS(m, type)) {
    f.RESREC(m, m.ELEM(k), u, rec);
    o.put(rec, static_cast<std::size_t>(f.RESBYTES));
  }
}

void write_str(Model& m, int STEP, double TIME) {
  Out o(m.BSTR.fp);
  put_i(o, STEP);
  put_f(o, TIME);
  put_i(o, m.NSHELL());
  put_i(o, m.NSOLID());
  put_i(o, m.NRUBB());
  put_i(o, m.NTRUSS());
  for (int type = 1; type <= elements::NFAMILY; ++type) family_pass(o, m, type);
}

}  // namespace

std::int32_t NZCOUNT(const Model& m, const base::Arr2<double>& a) {
  if (!a.allocated()) return 0;
  std::int32_t n = 0;
  for (int i = 1; i <= m.NNODE(); ++i) n += NONZERO(a.at(1, i)) ? 1 : 0;
  return n;
}

void REACTADD(Model& m, const base::Arr2<double>& a, const base::Arr2<double>& b) {
  if (!m.REACT.allocated()) return;
  for (const auto* x : {&a, &b}) {
    if (!x->allocated()) continue;
    const long nn = std::min(m.REACT.extent(2), x->extent(2));
    for (long i = 1; i <= nn; ++i)
      for (int k = 1; k <= 3; ++k) m.REACT(k, i) += (*x)(k, i);
  }
}

void RESINIT(Model& m) {
  base::close_unit(m.BDSP);
  base::close_unit(m.BSTR);
  m.BDSP.name = "EXEC.Bdsp";
  m.BSTR.name = "EXEC.Bstr";
  // Creation failures are not tested: writes to a missing stream are dropped.
  m.BDSP.fp = std::fopen("EXEC.Bdsp", "wb");
  m.BSTR.fp = std::fopen("EXEC.Bstr", "wb");
  const std::int32_t one[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
  if (m.BDSP.fp) {
    std::fwrite("BDS8.0\0\0", 1, 8, m.BDSP.fp);
    std::fwrite(one, 4, 5, m.BDSP.fp);
    std::fflush(m.BDSP.fp);
  }
  if (m.BSTR.fp) {
    std::fwrite("BST8.0\0\0", 1, 8, m.BSTR.fp);
    std::fwrite(one, 4, 9, m.BSTR.fp);
    std::fflush(m.BSTR.fp);
  }
}

void RESOUT(Model& m, int STEP, double TIME) {
  const double t0 = m.clock.now();
  // The increment keeps no per-node force arrays beside P yet (P is in REACT
  // already): the two further terms are empty until the dynamic levels
  // name theirs.
  const base::Arr2<double> none;
  REACTADD(m, none, none);
  const std::int32_t cnt[4] = {NZCOUNT(m, m.F), NZCOUNT(m, m.REACT), NZCOUNT(m, m.LINKF),
                               NZCOUNT(m, m.LINKV)};
  if (!m.BDSP.fp && !m.BSTR.fp) RESINIT(m);
  write_dsp(m, STEP, TIME, cnt);
  write_str(m, STEP, TIME);
  m.TIMES(model::T_OUTPUT) += m.clock.now() - t0;
}

}  // namespace ossa::results
