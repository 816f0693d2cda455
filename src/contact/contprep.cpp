// CONTPREP: slaves put on their masters before the links are taken. A slave
// on its way to a vertex, edge or face goes to the place the search or the
// status check found; one already on an edge or face goes to its foot
// there, undoing drift. A slave with a constrained translation keeps it:
// it moves along its dependent directions alone, which are free, to meet
// the edge's line or the face's plane.
#include <cmath>

#include "base/kernels.hpp"
#include "contact/contact.hpp"

namespace ossa::contact {

namespace {

using I32 = std::int32_t;

void coords(const Model& m, I32 n, double* x) {
  for (int k = 0; k < 3; ++k) x[k] = m.X(k + 1, n);
}

// Whether a translation of the slave is held: fixed or enforced.
bool held(const Model& m, I32 node, int k) {
  const I32 e = m.IDOF(k, node);
  return e != -2 && e < 1;
}

// The place on edge e (parameter t from its first node) or face f (area
// coordinates B) for slave s, and where the slave goes: the place itself,
// or with held translations the point of the line or plane reached along
// the dependent directions.
void target_edge(Model& m, int s, bool foot, double* to) {
  model::CONTDATA& c = m.CONT;
  const I32 node = c.SLAVE(s), e = c.SLVST(2, s);
  double a[3], b[3], x[3], ab[3], ax[3];
  coords(m, c.EDGEREC(1, e), a);
  coords(m, c.EDGEREC(2, e), b);
  coords(m, node, x);
  base::VSUB(b, a, ab, 3);
  base::VSUB(x, a, ax, 3);
  double t = foot ? base::DOT(ax, ab, 3) / base::DOT(ab, ab, 3) : c.SLVBARY(1, s);
  const int R = 6 - c.SLVDIR(1, s) - c.SLVDIR(2, s);
  if (held(m, node, 1) || held(m, node, 2) || held(m, node, 3)) t = (x[R - 1] - a[R - 1]) / ab[R - 1];
  for (int k = 0; k < 3; ++k) to[k] = a[k] + t * ab[k];
  c.SLVBARY(1, s) = t;
}

void target_face(Model& m, int s, bool foot, double* to) {
  model::CONTDATA& c = m.CONT;
  const I32 node = c.SLAVE(s), f = c.SLVST(2, s);
  double P[4][3], B[3], h = 0.0;
  for (int i = 0; i < 3; ++i) coords(m, m.CSFNOD(i + 1, f), P[i]);
  coords(m, node, P[3]);
  TRIBARY(B, to, h, P);
  if (held(m, node, 1) || held(m, node, 2) || held(m, node, 3)) {
    // Along the dependent direction D to the plane: h / N(D) of the way.
    double e1[3], e2[3], N[3];
    base::VSUB(P[1], P[0], e1, 3);
    base::VSUB(P[2], P[0], e2, 3);
    base::CROSSUNIT(e1, e2, N);
    const int D = c.SLVDIR(1, s);
    for (int k = 0; k < 3; ++k) to[k] = P[3][k];
    to[D - 1] -= h / N[D - 1];
    for (int k = 0; k < 3; ++k) P[3][k] = to[k];
    double foot3[3];
    TRIBARY(B, foot3, h, P);
  } else if (!foot) {
    for (int k = 0; k < 3; ++k) B[k] = c.SLVBARY(k + 1, s);
    for (int k = 0; k < 3; ++k) to[k] = B[0] * P[0][k] + B[1] * P[1][k] + B[2] * P[2][k];
  }
  for (int i = 1; i <= 3; ++i) c.SLVBARY(i, s) = B[i - 1];
}

void move(Model& m, I32 node, const double* to) {
  for (int k = 1; k <= 3; ++k) {
    const double du = to[k - 1] - m.X(k, node);
    m.CONT.DUC(k, node) += du;
    m.U(k, node) += du;
    m.X(k, node) += du;
  }
}

}  // namespace

void CONTPREP(Model& m) {
  model::CONTDATA& c = m.CONT;
  for (int n = 1; n <= m.NNODE() + m.NAUX(); ++n)
    for (int k = 1; k <= 7; ++k) c.UCI(k, n) = m.U(k, n);
  for (int n = 1; n <= m.NNODE(); ++n)
    for (int k = 1; k <= 3; ++k) c.XCI(k, n) = m.X(k, n);
  c.DUC.fill(0.0);
  const int nlev = m.KK(kk::NLEV);
  for (int p = 1; nlev > 0 && p <= c.LEVEND(nlev); ++p) {
    const int s = c.SLVORD(p), code = c.SLVST(1, s);
    if (code < 2) continue;
    double to[3];
    switch (code) {
      case 11: coords(m, c.SLVST(2, s), to); break;
      case S_EDGE: case 12: target_edge(m, s, code == S_EDGE, to); break;
      default: target_face(m, s, code == S_FACE, to); break;
    }
    move(m, c.SLAVE(s), to);
    c.SLVST(1, s) = code % 10;
  }
}

}  // namespace ossa::contact
