#include "results/rst.hpp"

#include <cstring>
#include <type_traits>
#include <string>
#include <vector>

#include "base/files.hpp"
#include "elements/family.hpp"
#include "model/stop.hpp"

namespace ossa::results {

namespace {

using Buf = std::vector<unsigned char>;

// Items are whole arrays in memory order, one after the other.
struct Out {
  Buf b;
  template <class T>
  void put(const T* p, long n) {
    if (n <= 0) return;
    const auto* c = reinterpret_cast<const unsigned char*>(p);
    b.insert(b.end(), c, c + n * static_cast<long>(sizeof(T)));
  }
  template <class T>
  void items(const T* p, long n) { put(p, n); }
  template <class T>
  void val(const T& v) { put(&v, 1); }
  template <class A>
  void arr(const A& a) { put(a.data(), a.size()); }
};

struct In {
  Buf b;
  std::size_t pos = 0;
  bool ok = true;
  template <class T>
  void get(T* p, long n) {
    if (n <= 0) return;
    const std::size_t bytes = static_cast<std::size_t>(n) * sizeof(T);
    if (pos + bytes > b.size()) { ok = false; return; }
    std::memcpy(p, b.data() + pos, bytes);
    pos += bytes;
  }
  template <class T>
  void items(T* p, long n) { get(p, n); }
  template <class T>
  void val(T& v) { get(&v, 1); }
  template <class A>
  void arr(A& a) { get(a.data(), a.size()); }
};

const char* NAME = "EXEC.RST";

void write(Model& m, base::Unit& u, const Out& o) {
  if (!base::swrite(u, o.b.data(), o.b.size())) model::FILESTOP(m, std::string("CANNOT WRITE ") + NAME);
}

// Reads the next record, which must hold exactly `expect` bytes.
void read(Model& m, base::Unit& u, In& in, std::size_t expect) {
  in.b.assign(expect + 1, 0);
  in.pos = 0;
  const long n = base::sread(u, in.b.data(), in.b.size());
  if (n < 0 || static_cast<std::size_t>(n) != expect)
    model::FILESTOP(m, std::string("END OF FILE OR WRONG RECORD LENGTH ON ") + NAME);
  in.b.resize(expect);
}

// Nodal state of a static job. The contact arrays (slave states, positions,
// links and forces) follow FRAME as empty items in a job without contact.
// A dynamic job keeps its levels instead: the displacements at n+1 and n,
// then X, XPREV, FRAME, then the forces and momenta of levels n and n-1.
template <class IO, class M>
void nodal(IO& io, M& m) {
  if (m.KK(kk::DYNAMIC) == 1) {
    auto& d = m.DYN;
    io.arr(m.U); io.arr(d.UO); io.arr(m.X); io.arr(m.XOLD); io.arr(m.FRAME);
    for (auto* a : {&d.FN, &d.FO, &d.PN, &d.PO, &d.CUO, &d.CVO, &d.MVO, &d.AMVO}) io.arr(*a);
    return;
  }
  io.arr(m.U); io.arr(m.UPREV); io.arr(m.X); io.arr(m.XOLD); io.arr(m.FRAME);
}

// The head: static STEP, NSTEPC, LAMBDA, FNRM, ARCS, NSUB, FIRSTCHG; dynamic
// STEP, DTPREV, NSTEPC, LAMBDA, NSUB, FIRSTCHG.
template <class IO, class H>
void head(IO& io, H& h, bool dynamic) {
  std::int32_t i[4] = {h.STEP, h.NSTEPC, h.NSUB, h.FIRSTCHG};
  io.val(i[0]);
  if (dynamic) io.val(h.DTPREV);
  io.val(i[1]);
  io.val(h.LAMBDA);
  if (!dynamic) {
    io.items(h.FNRM, 3);
    io.items(h.ARCS, 2);
  }
  io.val(i[2]);
  io.val(i[3]);
  if constexpr (!std::is_const_v<H>) {
    h.STEP = i[0]; h.NSTEPC = i[1]; h.NSUB = i[2]; h.FIRSTCHG = i[3];
  }
}

std::size_t size_of(const Out& o) { return o.b.size(); }

}  // namespace

void RSTELEMOUT(Model& m, base::Unit& u) {
  elements::SNAPITEM items[elements::MAXSNAP];
  for (int i = 1; i <= m.NELEM(); ++i) {
    const model::ELEMREC& e = m.ELEM(i);
    const int n = elements::FAMILYOF(e.TYPE).SNAP(m, e, items);
    if (n == 0) continue;
    Out o;
    for (int k = 0; k < n; ++k)
      o.put(static_cast<const unsigned char*>(items[k].P), static_cast<long>(items[k].BYTES));
    write(m, u, o);
  }
}

void RSTELEMIN(Model& m, base::Unit& u) {
  elements::SNAPITEM items[elements::MAXSNAP];
  for (int i = 1; i <= m.NELEM(); ++i) {
    const model::ELEMREC& e = m.ELEM(i);
    const int n = elements::FAMILYOF(e.TYPE).SNAP(m, e, items);
    if (n == 0) continue;
    std::size_t expect = 0;  // the record's length
    for (int k = 0; k < n; ++k) expect += items[k].BYTES;
    In in;
    read(m, u, in, expect);
    for (int k = 0; k < n; ++k)
      in.get(static_cast<unsigned char*>(items[k].P), static_cast<long>(items[k].BYTES));
  }
}

void RSTSAVE(Model& m, const RstHead& h) {
  base::Unit& u = m.unit(m.UNIT(5));
  base::close_unit(u);
  if (!base::open_seq_out(u, NAME)) model::FILESTOP(m, std::string("CANNOT OPEN ") + NAME);
  Out o;
  head(o, h, m.KK(kk::DYNAMIC) == 1);
  write(m, u, o);
  Out n;
  nodal(n, m);
  write(m, u, n);
  RSTELEMOUT(m, u);
  base::flush_unit(u);
}

void RSTLOAD(Model& m, RstHead& h) {
  base::Unit& u = m.unit(m.UNIT(5));
  base::close_unit(u);
  if (!base::open_seq_in(u, NAME)) model::FILESTOP(m, std::string("CANNOT OPEN ") + NAME);
  const bool dynamic = m.KK(kk::DYNAMIC) == 1;
  Out hs;
  head(hs, h, dynamic);
  In in;
  read(m, u, in, size_of(hs));
  head(in, h, dynamic);
  Out sz;
  nodal(sz, m);
  read(m, u, in, size_of(sz));
  nodal(in, m);
  RSTELEMIN(m, u);
  base::close_unit(u);
}

}  // namespace ossa::results
