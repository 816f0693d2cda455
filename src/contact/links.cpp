// CONTCOEF and CONTLINK: the coefficients of each slave's links from the
// present geometry, then the links flattened onto independent degrees of
// freedom; and the two ways the equations use them, gathering values of
// the targets and spreading a value onto them.
#include <cmath>

#include "base/kernels.hpp"
#include "contact/contact.hpp"

namespace ossa::contact {

namespace {

using I32 = std::int32_t;

// FACE: N . (u(slave) - sum Wi u(i)) = 0, solved for the dependent
// direction D: own terms -N(A)/N(D), -N(B)/N(D), then Wi N(k)/N(D).
void face_coef(Model& m, int s) {
  model::CONTDATA& c = m.CONT;
  const int f = c.SLVST(2, s), D = c.SLVDIR(1, s);
  double e1[3], e2[3], N[3];
  for (int k = 1; k <= 3; ++k) {
    e1[k - 1] = m.X(k, m.CSFNOD(2, f)) - m.X(k, m.CSFNOD(1, f));
    e2[k - 1] = m.X(k, m.CSFNOD(3, f)) - m.X(k, m.CSFNOD(1, f));
  }
  base::CROSSUNIT(e1, e2, N);
  const int A = std::min(D % 3 + 1, (D + 1) % 3 + 1), B = std::max(D % 3 + 1, (D + 1) % 3 + 1);
  int j = 1;
  c.SLVCOEF(j++, s) = -N[A - 1] / N[D - 1];
  c.SLVCOEF(j++, s) = -N[B - 1] / N[D - 1];
  for (int i = 1; i <= 3; ++i)
    for (int k = 1; k <= 3; ++k) c.SLVCOEF(j++, s) = c.SLVBARY(i, s) * N[k - 1] / N[D - 1];
}

// EDGE: the slave's motion relative to its foot (weights 1-t and t) stays
// along the edge. The two normals of the edge are any pair across T, so
// the two conditions say V(d) = T(d)/T(R) V(R) for the dependent d and the
// free R: one own term, then the two nodes by three directions.
void edge_coef(Model& m, int s) {
  model::CONTDATA& c = m.CONT;
  const int e = c.SLVST(2, s);
  const double t = c.SLVBARY(1, s);
  double T[3];
  for (int k = 1; k <= 3; ++k) T[k - 1] = m.X(k, c.EDGEREC(2, e)) - m.X(k, c.EDGEREC(1, e));
  const int d1 = c.SLVDIR(1, s), d2 = c.SLVDIR(2, s), R = 6 - d1 - d2;
  int j = 1;
  for (int d : {d1, d2}) {
    const double q = T[d - 1] / T[R - 1];
    c.SLVCOEF(j++, s) = q;
    for (double w : {1.0 - t, t})
      for (int k = 1; k <= 3; ++k) c.SLVCOEF(j++, s) = w * ((k == d ? 1.0 : 0.0) - (k == R ? q : 0.0));
  }
}

}  // namespace

void CONTCOEF(Model& m) {
  model::CONTDATA& c = m.CONT;
  const int nlev = m.KK(kk::NLEV);
  for (int p = 1; nlev > 0 && p <= c.LEVEND(nlev); ++p) {
    const int s = c.SLVORD(p);
    switch (c.SLVST(1, s) % 10) {
      case S_POINT:
        for (int k = 1; k <= 3; ++k) c.SLVCOEF(k, s) = 1.0;
        break;
      case S_EDGE: edge_coef(m, s); break;
      case S_FACE: face_coef(m, s); break;
      default: break;
    }
  }
}

void CONTLINK(Model& m) {
  model::CONTDATA& c = m.CONT;
  c.LINKC.fill(0.0);
  // Entries run slave by slave in level order, as CONTIDX numbered them.
  const int ndep = m.KK(kk::NDEP);
  int s = 0, rank = 0, pos = 0;
  for (int e = 1; e <= ndep; ++e) {
    const I32 node = c.DEPREC(1, e), d = c.DEPREC(2, e);
    if (s == 0 || ++rank == 4 - c.SLVST(1, s) % 10) {
      s = c.SLVORD(++pos);
      rank = 0;
    }
    const I32 first = m.LINKPTR(1, d, node), last = first + m.LINKPTR(2, d, node) - 1;
    auto add = [&](I32 tgt, double v) {
      for (I32 p = first; p <= last; ++p)
        if (c.LINKIDX(p) == tgt) { c.LINKC(p) += v; return; }
    };
    const I32 nt = c.DEPREC(4, e);
    for (I32 j = 0; j < nt; ++j) {
      const double coef = c.SLVCOEF(rank * nt + j + 1, s);
      const I32 g = c.TERMTGT(c.DEPREC(3, e) + j);
      if (g > 0) {
        add(g, coef);
        continue;
      }
      const I32 gn = c.DEPREC(1, -g), gd = c.DEPREC(2, -g);
      for (I32 p = m.LINKPTR(1, gd, gn); p < m.LINKPTR(1, gd, gn) + m.LINKPTR(2, gd, gn); ++p)
        add(c.LINKIDX(p), coef * c.LINKC(p));
    }
  }
}

double LINKSUM(const Model& m, const base::Arr2<double>& V, int K, int NODE) {
  const model::CONTDATA& c = m.CONT;
  double sum = 0.0;
  for (I32 p = m.LINKPTR(1, K, NODE); p < m.LINKPTR(1, K, NODE) + m.LINKPTR(2, K, NODE); ++p)
    sum += c.LINKC(p) * V(c.INDTGT(2, c.LINKIDX(p)), c.INDTGT(1, c.LINKIDX(p)));
  return sum;
}

void LINKSPREAD(const Model& m, base::Arr2<double>& V, int K, int NODE, double F) {
  const model::CONTDATA& c = m.CONT;
  for (I32 p = m.LINKPTR(1, K, NODE); p < m.LINKPTR(1, K, NODE) + m.LINKPTR(2, K, NODE); ++p)
    V(c.INDTGT(2, c.LINKIDX(p)), c.INDTGT(1, c.LINKIDX(p))) -= F * c.LINKC(p);
}

}  // namespace ossa::contact
