// CONTPRE: the static contact tables, built once before the first step, and
// CONTLEV, the levels of the slaves in contact.
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "base/kernels.hpp"
#include "contact/contact.hpp"
#include "elements/family.hpp"
#include "model/stop.hpp"

namespace ossa::contact {

namespace {

using I32 = std::int32_t;

std::string nid(const Model& m, int node) {
  return std::to_string(m.NODEID.allocated() && node <= m.NODEID.size() ? m.NODEID(node) : node);
}

[[noreturn]] void card_fail(Model& m, const char* card, int i, const std::string& what) {
  model::FAIL(m, std::string("\"") + card + "\" CARD " + std::to_string(i) + ": " + what, -2);
}

void alloc_ok(Model& m, bool ok) {
  const int st = ok ? 0 : 1;
  model::ALLOCCHK(m, &st, 1, 0, m.UNIT(2));
}

std::string face_nodes(const Model& m, int f) {
  return nid(m, m.CSFNOD(1, f)) + " " + nid(m, m.CSFNOD(2, f)) + " " + nid(m, m.CSFNOD(3, f));
}

int first_face(const Model& m, int b) { return b > 1 ? m.BODYEND(b - 1) + 1 : 1; }

// Ranges per node over a list: counts first, then the list in order.
template <class Each>
void node_ranges(Model& m, int nn, base::Arr2<I32>& range, base::Arr1<I32>& list, Each each) {
  std::vector<I32> cnt(static_cast<std::size_t>(nn) + 2, 0);
  each([&](int node, int) { ++cnt[node]; });
  alloc_ok(m, range.allocate(2, nn));
  long pos = 1;
  for (int n = 1; n <= nn; ++n) {
    range(1, n) = static_cast<I32>(pos);
    pos += cnt[n];
    range(2, n) = static_cast<I32>(pos - 1);
  }
  alloc_ok(m, list.allocate(pos - 1));
  std::vector<I32> next(cnt.size());
  for (int n = 1; n <= nn; ++n) next[n] = range(1, n);
  each([&](int node, int item) { list(next[node]++) = item; });
}

void check_bodies(Model& m) {
  const int nn = m.NNODE();
  for (int b = 1; b <= m.KK(kk::NBODY); ++b)
    if (m.BODYEND(b) < first_face(m, b))
      card_fail(m, "BODY", b, "BODY " + std::to_string(b) + " HAS NO CONTACT SURFACE.");
  if (m.KK(kk::NBODY) > 0 && m.BODYEND(m.KK(kk::NBODY)) != m.KK(kk::NCSURF))
    model::FAIL(m, "THE \"BODY\" COUNTS DO NOT ADD UP TO THE \"CSURF\" CARDS.", -2);
  for (int f = 1; f <= m.KK(kk::NCSURF); ++f) {
    const I32 a = m.CSFNOD(1, f), b = m.CSFNOD(2, f), c = m.CSFNOD(3, f);
    if (std::min({a, b, c}) < 1 || std::max({a, b, c}) > nn)
      card_fail(m, "CSURF", f, "A NODE IS NOT DEFINED.");
    double e1[3], e2[3], n[3];
    for (int k = 0; k < 3; ++k) {
      e1[k] = m.XYZ(k + 1, b) - m.XYZ(k + 1, a);
      e2[k] = m.XYZ(k + 1, c) - m.XYZ(k + 1, a);
    }
    base::CROSS(e1, e2, n);
    if (a == b || b == c || a == c || !(base::DOT(n, n, 3) > 0.0))
      card_fail(m, "CSURF", f, "NODES " + face_nodes(m, f) + " DO NOT FORM A TRIANGLE.");
  }
}

// NODEELEM for all elements; VERTELEM for the solids at nodes of faces.
void element_ranges(Model& m) {
  model::CONTDATA& c = m.CONT;
  const int nn = m.NNODE();
  node_ranges(m, nn, c.NODEELEM, c.NELEMS, [&](auto put) {
    for (int ie = 1; ie <= m.NELEM(); ++ie) {
      const model::ELEMREC& e = m.ELEM(ie);
      for (int a = 1; a <= std::clamp(static_cast<int>(e.NEN), 0, 5); ++a)
        if (e.NOD(a) >= 1 && e.NOD(a) <= nn) put(e.NOD(a), ie);
    }
  });
  std::vector<char> vertex(static_cast<std::size_t>(nn) + 1, 0);
  for (int f = 1; f <= m.KK(kk::NCSURF); ++f)
    for (int k = 1; k <= 3; ++k) vertex[m.CSFNOD(k, f)] = 1;
  const std::vector<int> solids = elements::FAMILYELEMS(m, elements::F_SOLID);
  node_ranges(m, nn, c.VERTELEM, c.VELEM, [&](auto put) {
    for (int ie : solids)
      for (int a = 1; a <= 4; ++a) {
        const int node = m.ELEM(ie).NOD(a);
        if (node >= 1 && node <= nn && vertex[node]) put(node, ie);
      }
  });
}

// Each face is a face of a solid element whose fourth corner lies on the
// face's inner side: the corner order turns the normal into the body.
void check_faces_on_solids(Model& m) {
  const model::CONTDATA& c = m.CONT;
  for (int f = 1; f <= m.KK(kk::NCSURF); ++f) {
    const I32 a = m.CSFNOD(1, f);
    bool on_solid = false, inward = false;
    for (int p = c.VERTELEM(1, a); p <= c.VERTELEM(2, a) && !inward; ++p) {
      const model::ELEMREC& e = m.ELEM(c.VELEM(p));
      int hit = 0, other = 0;
      for (int k = 1; k <= 4; ++k) {
        const I32 n = e.NOD(k);
        if (n == a || n == m.CSFNOD(2, f) || n == m.CSFNOD(3, f)) ++hit;
        else other = n;
      }
      if (hit != 3) continue;
      on_solid = true;
      double P[4][3], bary[3], foot[3], h = 0.0;
      for (int k = 0; k < 4; ++k)
        for (int j = 0; j < 3; ++j) P[k][j] = m.XYZ(j + 1, k < 3 ? m.CSFNOD(k + 1, f) : other);
      TRIBARY(bary, foot, h, P);
      inward = h > 0.0;
    }
    if (!on_solid)
      card_fail(m, "CSURF", f, "NODES " + face_nodes(m, f) + " ARE NO FACE OF A SOLID ELEMENT.");
    if (!inward)
      card_fail(m, "CSURF", f,
                "NODES " + face_nodes(m, f) + " TURN THE NORMAL OUT OF THE BODY; REVERSE THEIR ORDER.");
  }
}

// Edges of body b: one per node pair of its faces, numbered as they are first
// met (faces in order, corners in order) and oriented as in that first face.
void body_edges(Model& m, int b, std::vector<I32>& rec, std::vector<int>& fedge) {
  struct Side {
    I32 lo, hi;
    int idx;  // 3 (face - first) + corner - 1
  };
  const int f0 = first_face(m, b), f1 = m.BODYEND(b);
  std::vector<Side> s;
  s.reserve(3 * static_cast<std::size_t>(f1 - f0 + 1));
  for (int f = f0; f <= f1; ++f)
    for (int i = 1; i <= 3; ++i) {
      const I32 p = m.CSFNOD(i % 3 + 1, f), q = m.CSFNOD((i + 1) % 3 + 1, f);
      s.push_back({std::min(p, q), std::max(p, q), 3 * (f - f0) + i - 1});
    }
  std::sort(s.begin(), s.end(), [](const Side& x, const Side& y) {
    return x.lo != y.lo ? x.lo < y.lo : (x.hi != y.hi ? x.hi < y.hi : x.idx < y.idx);
  });
  std::vector<std::pair<int, std::size_t>> groups;  // first side, position in s
  for (std::size_t k = 0; k < s.size();) {
    std::size_t e = k + 1;
    while (e < s.size() && s[e].lo == s[k].lo && s[e].hi == s[k].hi) ++e;
    if (e - k > 2)
      card_fail(m, "CSURF", f0 + s[k + 2].idx / 3,
                "EDGE " + nid(m, s[k].lo) + "-" + nid(m, s[k].hi) + " HAS A THIRD FACE.");
    groups.emplace_back(s[k].idx, k);
    k = e;
  }
  std::sort(groups.begin(), groups.end());
  for (const auto& g : groups) {
    const Side& a = s[g.second];
    const bool two = g.second + 1 < s.size() && s[g.second + 1].lo == a.lo && s[g.second + 1].hi == a.hi;
    const int fa = f0 + a.idx / 3, ia = a.idx % 3 + 1;
    const int fb = two ? f0 + s[g.second + 1].idx / 3 : 0, ib = two ? s[g.second + 1].idx % 3 + 1 : 0;
    rec.insert(rec.end(), {m.CSFNOD(ia % 3 + 1, fa), m.CSFNOD((ia + 1) % 3 + 1, fa), fa, ia, fb, ib});
    const int edge = static_cast<int>(rec.size() / 6);
    fedge[3 * (fa - 1) + ia - 1] = edge;
    if (two) fedge[3 * (fb - 1) + ib - 1] = edge;
  }
}

void edges(Model& m) {
  model::CONTDATA& c = m.CONT;
  const int nb = m.KK(kk::NBODY), nf = m.KK(kk::NCSURF);
  std::vector<I32> rec;
  std::vector<int> fedge(3 * static_cast<std::size_t>(nf), 0);
  alloc_ok(m, c.EDGEND.allocate(nb));
  for (int b = 1; b <= nb; ++b) {
    body_edges(m, b, rec, fedge);
    c.EDGEND(b) = static_cast<I32>(rec.size() / 6);
  }
  const int ne = static_cast<int>(rec.size() / 6);
  m.KK(kk::NEDGE) = ne;
  alloc_ok(m, c.EDGEREC.allocate(6, ne));
  std::copy(rec.begin(), rec.end(), c.EDGEREC.data());
  alloc_ok(m, c.FACEDGE.allocate(3, nf));
  std::copy(fedge.begin(), fedge.end(), c.FACEDGE.data());
  node_ranges(m, m.NNODE(), c.VERTEDGE, c.VEDGE, [&](auto put) {
    for (int e = 1; e <= ne; ++e) {
      put(c.EDGEREC(1, e), e);
      put(c.EDGEREC(2, e), e);
    }
  });
}

// The nodes of a body's faces, ascending, body by body.
void slaves(Model& m) {
  model::CONTDATA& c = m.CONT;
  const int nb = m.KK(kk::NBODY);
  std::vector<I32> all;
  alloc_ok(m, c.SLVEND.allocate(nb));
  for (int b = 1; b <= nb; ++b) {
    std::vector<I32> s;
    for (int f = first_face(m, b); f <= m.BODYEND(b); ++f)
      for (int k = 1; k <= 3; ++k) s.push_back(m.CSFNOD(k, f));
    std::sort(s.begin(), s.end());
    s.erase(std::unique(s.begin(), s.end()), s.end());
    all.insert(all.end(), s.begin(), s.end());
    c.SLVEND(b) = static_cast<I32>(all.size());
  }
  const int ns = static_cast<int>(all.size());
  m.KK(kk::NSLV) = ns;
  int st[20] = {};
  int k = 0;
  auto a = [&](bool ok) { st[k++] = ok ? 0 : 1; };
  a(c.SLAVE.allocate(ns));
  a(c.SLVLEV.allocate(ns));
  a(c.SLVORD.allocate(ns));
  a(c.LEVEND.allocate(ns));
  a(c.SLVST.allocate(2, ns));
  a(c.SLVOLD.allocate(2, ns));
  a(c.SLVDIR.allocate(2, ns));
  a(c.SLVBARY.allocate(3, ns));
  a(c.SLVOFF.allocate(3, ns));
  a(c.SLVCOEF.allocate(14, ns));
  a(c.SLVFORCE.allocate(3, m.NNODE()));
  a(c.SLVDOF.allocate(3, m.NNODE()));
  a(c.FRFLAG.allocate(2, ns));
  a(c.FRPAR.allocate(3, ns));
  a(c.FRREF.allocate(3, 4, ns));
  a(c.FRPOS.allocate(3, ns));
  a(c.FSUM.allocate(3, m.NNODE()));
  a(c.DUC.allocate(7, m.NNODE()));
  a(c.ELMARK.allocate(m.NELEM()));
  model::ALLOCCHK(m, st, k, 0, m.UNIT(2));
  std::copy(all.begin(), all.end(), c.SLAVE.data());
}

double dist(const Model& m, int p, int q) {
  double s = 0.0;
  for (int k = 1; k <= 3; ++k) s += (m.XYZ(k, p) - m.XYZ(k, q)) * (m.XYZ(k, p) - m.XYZ(k, q));
  return std::sqrt(s);
}

void sizes(Model& m) {
  model::CONTDATA& c = m.CONT;
  const int nf = m.KK(kk::NCSURF), nb = m.KK(kk::NBODY);
  alloc_ok(m, c.FSIZE.allocate(nf));
  for (int f = 1; f <= nf; ++f) {
    double g[3];
    for (int k = 1; k <= 3; ++k)
      g[k - 1] = (m.XYZ(k, m.CSFNOD(1, f)) + m.XYZ(k, m.CSFNOD(2, f)) + m.XYZ(k, m.CSFNOD(3, f))) / 3.0;
    for (int i = 1; i <= 3; ++i) {
      double s = 0.0;
      for (int k = 1; k <= 3; ++k) s += (m.XYZ(k, m.CSFNOD(i, f)) - g[k - 1]) * (m.XYZ(k, m.CSFNOD(i, f)) - g[k - 1]);
      c.FSIZE(f) = std::max(c.FSIZE(f), std::sqrt(s));
    }
  }
  alloc_ok(m, c.SSIZE.allocate(nb));
  for (int b = 1; b <= nb; ++b) {
    const int e0 = b > 1 ? c.EDGEND(b - 1) + 1 : 1;
    double s = 0.0;
    for (int e = e0; e <= c.EDGEND(b); ++e) s += dist(m, c.EDGEREC(1, e), c.EDGEREC(2, e));
    c.SSIZE(b) = c.EDGEND(b) >= e0 ? s / (c.EDGEND(b) - e0 + 1) : 0.0;
  }
}

// Each "SPLNK" pair holds a slave on a master node from the start.
void initial_points(Model& m) {
  model::CONTDATA& c = m.CONT;
  const int ns = m.KK(kk::NSLV);
  for (int i = 1; i <= m.KK(kk::NSPLNK); ++i) {
    const I32 sn = m.SPLPAIR(1, i), mn = m.SPLPAIR(2, i);
    const I32* p = std::find(c.SLAVE.begin(), c.SLAVE.end(), sn);
    if (p == c.SLAVE.end())
      card_fail(m, "SPLNK", i, "NODE " + nid(m, sn) + " IS NO NODE OF A CONTACT SURFACE.");
    if (mn < 1 || mn > m.NNODE() || c.VERTEDGE(2, mn) < c.VERTEDGE(1, mn))
      card_fail(m, "SPLNK", i, "MASTER NODE " + nid(m, mn) + " IS NO NODE OF A CONTACT SURFACE.");
    if (mn == sn) card_fail(m, "SPLNK", i, "NODE " + nid(m, sn) + " IS ITS OWN MASTER.");
    const int s = static_cast<int>(p - c.SLAVE.begin()) + 1;
    if (s <= ns) {
      c.SLVST(1, s) = S_POINT;
      c.SLVST(2, s) = mn;
    }
  }
}

}  // namespace

void CONTPRE(Model& m) {
  const double t0 = m.clock.now();
  check_bodies(m);
  element_ranges(m);
  check_faces_on_solids(m);
  edges(m);
  slaves(m);
  sizes(m);
  initial_points(m);
  CONTLEV(m, -2);
  m.KK(kk::FRICTION) = 0;
  for (int i = 1; i <= m.KK(kk::NBODY); ++i)
    for (int j = 1; j <= m.KK(kk::NBODY); ++j)
      if (m.CBVAL(1, i, j) > 0.0) m.KK(kk::FRICTION) = 1;
  m.TIMES(model::T_CPREP) += m.clock.now() - t0;
}

int MASTERNODES(const Model& m, int CODE, int ID, I32* NODES) {
  switch (CODE % 10) {
    case S_POINT: NODES[0] = ID; return 1;
    case S_EDGE: NODES[0] = m.CONT.EDGEREC(1, ID); NODES[1] = m.CONT.EDGEREC(2, ID); return 2;
    case S_FACE:
      for (int k = 0; k < 3; ++k) NODES[k] = m.CSFNOD(k + 1, ID);
      return 3;
    default: return 0;
  }
}

void CONTMARK(Model& m) {
  model::CONTDATA& c = m.CONT;
  c.ELMARK.fill(0);
  for (int s = 1; s <= m.KK(kk::NSLV); ++s) {
    if (c.SLVST(1, s) == S_FREE) continue;
    const I32 n = c.SLAVE(s);
    for (int p = c.NODEELEM(1, n); p <= c.NODEELEM(2, n); ++p) c.ELMARK(c.NELEMS(p)) = 1;
  }
}

int FACEBODY(const Model& m, int F) {
  const I32* e = m.BODYEND.data();
  return static_cast<int>(std::lower_bound(e, e + m.KK(kk::NBODY), F) - e) + 1;
}

void CONTLEV(Model& m, int NO1) {
  model::CONTDATA& c = m.CONT;
  const int ns = m.KK(kk::NSLV);
  std::vector<char> mark(static_cast<std::size_t>(m.NNODE()) + 1, 1);
  int left = 0;
  for (int s = 1; s <= ns; ++s) {
    c.SLVLEV(s) = 0;
    if (c.SLVST(1, s) != S_FREE) {
      mark[c.SLAVE(s)] = 0;
      ++left;
    }
  }
  int pos = 0, L = 0;
  std::vector<int> got;
  while (left > 0) {
    ++L;
    got.clear();
    for (int s = 1; s <= ns; ++s) {
      if (c.SLVST(1, s) == S_FREE || c.SLVLEV(s) != 0) continue;
      I32 nodes[3];
      const int n = MASTERNODES(m, c.SLVST(1, s), c.SLVST(2, s), nodes);
      bool ready = true;
      for (int k = 0; k < n; ++k) ready = ready && mark[nodes[k]];
      if (ready) got.push_back(s);
    }
    if (got.empty()) model::FAIL(m, "CONTACT SLAVES FORM A CIRCULAR CHAIN OF MASTERS.", NO1);
    for (int s : got) {
      c.SLVLEV(s) = L;
      mark[c.SLAVE(s)] = 1;
      c.SLVORD(++pos) = s;
    }
    c.LEVEND(L) = pos;
    left -= static_cast<int>(got.size());
  }
  m.KK(kk::NLEV) = L;
}

}  // namespace ossa::contact
