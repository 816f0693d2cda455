// CONTIDX: the slaves in contact as dependent translations of the equation
// index. Each dependent translation is an entry with its link terms in the
// order of the coefficients (own free directions first, then the master
// nodes by three directions); a term's target is another entry where that
// translation is itself dependent, else an independent target. Entries run
// level by level, so an entry's targets are complete before it is flattened
// onto independent targets only.
#include <algorithm>
#include <cmath>
#include <vector>

#include "base/kernels.hpp"
#include "contact/contact.hpp"
#include "model/stop.hpp"

namespace ossa::contact {

namespace {

using I32 = std::int32_t;

[[noreturn]] void constrained(Model& m) { model::FAIL(m, "SLAVE POINT IS CONSTRAINED.", -4); }

void alloc_ok(Model& m, bool ok) {
  const int st = ok ? 0 : 1;
  model::ALLOCCHK(m, &st, 1, 0, m.UNIT(2));
}

void unit_between(const Model& m, I32 a, I32 b, double* t) {
  for (int k = 1; k <= 3; ++k) t[k - 1] = m.X(k, b) - m.X(k, a);
  base::VUNIT(t, t, 3);
}

// Directions 1..3 by |V(k)|, greatest first, ties in index order.
void order(const double* V, int* o) {
  o[0] = 1; o[1] = 2; o[2] = 3;
  std::stable_sort(o, o + 3, [&](int a, int b) { return std::fabs(V[a - 1]) > std::fabs(V[b - 1]); });
}

bool free_dir(const Model& m, I32 node, int k) { return m.IDOF(k, node) == 0; }

// The dependent directions of slave s and its own free ones. Returns the
// count of dependent ones.
int directions(Model& m, int s, int* dep, int* own) {
  model::CONTDATA& c = m.CONT;
  const I32 node = c.SLAVE(s), id = c.SLVST(2, s);
  c.SLVDIR(1, s) = c.SLVDIR(2, s) = 0;
  int o[3];
  switch (c.SLVST(1, s) % 10) {
    case S_POINT:
      for (int k = 1; k <= 3; ++k)
        if (!free_dir(m, node, k)) constrained(m);
      dep[0] = 1; dep[1] = 2; dep[2] = 3;
      return 3;
    case S_EDGE: {
      double T[3];
      unit_between(m, c.EDGEREC(1, id), c.EDGEREC(2, id), T);
      order(T, o);
      for (int r : o) {
        const int d1 = r % 3 + 1, d2 = (r + 1) % 3 + 1;
        if (std::fabs(T[r - 1]) <= DIRTOL || !free_dir(m, node, d1) || !free_dir(m, node, d2)) continue;
        own[0] = r;
        dep[0] = std::min(d1, d2);
        dep[1] = std::max(d1, d2);
        c.SLVDIR(1, s) = dep[0];
        c.SLVDIR(2, s) = dep[1];
        return 2;
      }
      constrained(m);
    }
    default: {
      double e1[3], e2[3], N[3];
      for (int k = 1; k <= 3; ++k) {
        e1[k - 1] = m.X(k, m.CSFNOD(2, id)) - m.X(k, m.CSFNOD(1, id));
        e2[k - 1] = m.X(k, m.CSFNOD(3, id)) - m.X(k, m.CSFNOD(1, id));
      }
      base::CROSSUNIT(e1, e2, N);
      order(N, o);
      for (int d : o) {
        if (std::fabs(N[d - 1]) <= DIRTOL || !free_dir(m, node, d)) continue;
        dep[0] = d;
        own[0] = std::min(d % 3 + 1, (d + 1) % 3 + 1);
        own[1] = std::max(d % 3 + 1, (d + 1) % 3 + 1);
        c.SLVDIR(1, s) = d;
        return 1;
      }
      constrained(m);
    }
  }
}

struct Lists {
  std::vector<I32> dep, term;  // (node, dir, first, count) and (node, dir)
};

// The entries and terms of slave s.
void slave_terms(Model& m, int s, Lists& L) {
  model::CONTDATA& c = m.CONT;
  const I32 node = c.SLAVE(s);
  int dep[3], own[2];
  const int nd = directions(m, s, dep, own);
  I32 mn[3];
  const int nm = MASTERNODES(m, c.SLVST(1, s), c.SLVST(2, s), mn);
  for (int i = 0; i < nd; ++i) {
    const int d = dep[i];
    m.IDOF(d, node) = -2;
    c.SLVDOF(d, node) = static_cast<I32>(L.dep.size() / 4 + 1);
    const I32 first = static_cast<I32>(L.term.size() / 2 + 1);
    if (nm == 1) {
      L.term.insert(L.term.end(), {mn[0], d});
    } else {
      for (int k = 0; k < nm - 1; ++k) L.term.insert(L.term.end(), {node, own[k]});
      for (int a = 0; a < nm; ++a)
        for (int k = 1; k <= 3; ++k) L.term.insert(L.term.end(), {mn[a], k});
    }
    L.dep.insert(L.dep.end(), {node, d, first, static_cast<I32>(L.term.size() / 2 + 1) - first});
  }
}

// Term targets: dependent entries as negative numbers, others numbered as
// independent targets when first met.
std::vector<I32> translate(Model& m, const Lists& L) {
  model::CONTDATA& c = m.CONT;
  const long nt = static_cast<long>(L.term.size() / 2);
  alloc_ok(m, c.TERMND.allocate(2, nt));
  alloc_ok(m, c.TERMTGT.allocate(nt));
  std::vector<I32> ind, number(3 * static_cast<std::size_t>(m.NNODE()) + 3, 0);
  for (long t = 1; t <= nt; ++t) {
    const I32 n = L.term[2 * (t - 1)], k = L.term[2 * t - 1];
    c.TERMND(1, t) = n;
    c.TERMND(2, t) = k;
    if (c.SLVDOF(k, n) != 0) {
      c.TERMTGT(t) = -c.SLVDOF(k, n);
      continue;
    }
    I32& no = number[3 * static_cast<std::size_t>(n) + k - 1];
    if (no == 0) {
      ind.insert(ind.end(), {n, k});
      no = static_cast<I32>(ind.size() / 2);
    }
    c.TERMTGT(t) = no;
  }
  return ind;
}

// Each entry's independent targets: its own, and those of the entries it
// names, once each, in the order met.
void flatten(Model& m, int nind) {
  model::CONTDATA& c = m.CONT;
  const long ndep = c.DEPREC.extent(2);
  std::vector<I32> list, start(static_cast<std::size_t>(ndep) + 2, 0), seen(static_cast<std::size_t>(nind) + 1, 0);
  auto add = [&](I32 tgt, long e) {
    if (seen[tgt] == e) return;
    seen[tgt] = static_cast<I32>(e);
    list.push_back(tgt);
  };
  for (long e = 1; e <= ndep; ++e) {
    start[e] = static_cast<I32>(list.size());
    for (I32 t = c.DEPREC(3, e); t < c.DEPREC(3, e) + c.DEPREC(4, e); ++t) {
      const I32 g = c.TERMTGT(t);
      if (g > 0) { add(g, e); continue; }
      if (-g >= e) constrained(m);  // not a master of a lower level: the node is a slave twice
      for (I32 p = start[-g]; p < start[-g + 1]; ++p) add(list[p], e);
    }
    start[e + 1] = static_cast<I32>(list.size());
    const I32 node = c.DEPREC(1, e), d = c.DEPREC(2, e);
    m.LINKPTR(1, d, node) = start[e] + 1;
    m.LINKPTR(2, d, node) = start[e + 1] - start[e];
  }
  alloc_ok(m, c.LINKIDX.allocate(static_cast<long>(list.size())));
  std::copy(list.begin(), list.end(), c.LINKIDX.data());
  alloc_ok(m, c.LINKC.allocate(static_cast<long>(list.size())));
}

}  // namespace

void CONTIDX(Model& m) {
  model::CONTDATA& c = m.CONT;
  CONTLEV(m, -1);
  c.SLVDOF.fill(0);
  m.LINKPTR.fill(0);
  Lists L;
  const int nlev = m.KK(kk::NLEV);
  for (int p = 1; nlev > 0 && p <= c.LEVEND(nlev); ++p) slave_terms(m, c.SLVORD(p), L);
  const long ndep = static_cast<long>(L.dep.size() / 4);
  alloc_ok(m, c.DEPREC.allocate(4, ndep));
  std::copy(L.dep.begin(), L.dep.end(), c.DEPREC.data());
  const std::vector<I32> ind = translate(m, L);
  const long nind = static_cast<long>(ind.size() / 2);
  alloc_ok(m, c.INDTGT.allocate(2, nind));
  std::copy(ind.begin(), ind.end(), c.INDTGT.data());
  flatten(m, static_cast<int>(nind));
  m.KK(kk::NDEP) = static_cast<I32>(ndep);
  m.KK(kk::NTERM) = static_cast<I32>(L.term.size() / 2);
}

}  // namespace ossa::contact
