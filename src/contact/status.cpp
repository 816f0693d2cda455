// CONTACT: the status pass that closes each contact iteration. From the
// converged forces it finds what every slave presses on its master, decides
// each slave's state for the next iteration, removes circular chains and
// reports whether the states have settled.
//
// The pressing vector G of a slave is the force it puts on its master (the
// reaction of P - F at its dependent translations). Face normals point into
// the master body, so G.N > 0 presses. A slave stays on an edge where the
// surface folds, a ridge or a groove alike, while G (across the edge) lies
// between the normals of the two faces: it presses both, and no face alone
// could hold it. The sign of C = (N1 x N2).T only tells a groove (C > 0)
// from a ridge; were the ridge to release every slave to a face, a row
// pressed onto a ridge would be carried by one face, the other one free.
//
// The slaves of one body are checked in parallel: each check writes only its
// own slave's state and place, so the result does not depend on the thread
// count; log lines and the fault flag go through two named critical sections.
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/fmt.hpp"
#include "base/kernels.hpp"
#include "contact/contact.hpp"
#include "elements/truss.hpp"
#include "model/stop.hpp"

namespace ossa::contact {

namespace {

using I32 = std::int32_t;

constexpr double VTOL = 1.0e-10;
constexpr const char* SMALL = "   >>> WARNING! CONTACT SURFACE IS SMALL.";

void xof(const Model& m, I32 n, double* x) {
  for (int k = 0; k < 3; ++k) x[k] = m.X(k + 1, n);
}

void diff(const Model& m, I32 from, I32 to, double* v) {
  for (int k = 0; k < 3; ++k) v[k] = m.X(k + 1, to) - m.X(k + 1, from);
}

void set(Model& m, int s, int code, int id) {
  m.CONT.SLVST(1, s) = code;
  m.CONT.SLVST(2, s) = id;
}

// A fault line of a slave check: logged once per meeting, the stop comes
// after the parallel loop.
void fault(Model& m, const char* text, int& ERRFLAG) {
#pragma omp critical(contact_log)
  {
    model::LOGMSG(m, text);
    ERRFLAG = 1;
  }
}

void small_surface(Model& m) {
#pragma omp critical(contact_log)
  model::LOGLINE(m, SMALL);
}

// Whether G points into the cone of a solid element at vertex V: the inward
// normals of the element's three faces at V all see G at or above 0.
bool vrtxsepa(Model& m, I32 V, const double* G, int& ERRFLAG) {
  const model::CONTDATA& c = m.CONT;
  for (int p = c.VERTELEM(1, V); p <= c.VERTELEM(2, V); ++p) {
    const model::ELEMREC& e = m.ELEM(c.VELEM(p));
    int at = 0;
    for (int a = 1; a <= 4; ++a)
      if (e.NOD(a) == V) at = a;
    if (at == 0) {
#pragma omp critical(contact_vrtx)
      {
        model::LOGMSG(m, "STOP IN SUB. VRTXSEPA!");
        ERRFLAG = 1;
      }
      return false;
    }
    double E[3][3], N[3][3];
    for (int i = 0; i < 3; ++i) diff(m, V, e.NOD((at + i) % 4 + 1), E[i]);
    base::CROSS(E[0], E[1], N[0]);
    if (base::DOT(N[0], E[2], 3) < 0.0) std::swap(E[0], E[1]);  // normals into the element
    bool in = true;
    for (int i = 0; i < 3; ++i) {
      base::CROSSUNIT(E[i], E[(i + 1) % 3], N[i]);
      in = in && base::DOT(G, N[i], 3) >= -VTOL;
    }
    if (in) return true;
  }
  return false;
}

// Unit inward normal N and in-plane normal P (from the edge into the face)
// of face f at the edge from node a along unit T; the face runs a -> b in its
// own order when FWD.
void side(const Model& m, int f, I32 a, I32 b, const double* T, double* N, double* P) {
  I32 third = 0;
  for (int k = 1; k <= 3; ++k)
    if (m.CSFNOD(k, f) != a && m.CSFNOD(k, f) != b) third = m.CSFNOD(k, f);
  double W[3], n[3];
  diff(m, a, third, W);
  bool fwd = false;
  for (int k = 1; k <= 3; ++k) fwd = fwd || (m.CSFNOD(k, f) == a && m.CSFNOD(k % 3 + 1, f) == b);
  base::CROSSUNIT(T, W, n);
  for (int k = 0; k < 3; ++k) N[k] = fwd ? n[k] : -n[k];
  const double t = base::DOT(W, T, 3);
  for (int k = 0; k < 3; ++k) P[k] = W[k] - t * T[k];
  base::VUNIT(P, P, 3);
}

// Whether G, across an edge with unit faces' normals N1, N2 and in-plane
// normals P1, P2, lies between N1 and N2: G = a N1 + b N2 + t T with a, b
// >= 0, where P1 is orthogonal to N1 so that G.P1 = b N2.P1, and likewise
// G.P2 = a N1.P2. On a flat pair (no fold) nothing lies between.
bool between(const double* G, const double* N1, const double* P1, const double* N2, const double* P2,
             const double* T) {
  double x[3];
  base::CROSS(N1, N2, x);
  return std::fabs(base::DOT(x, T, 3)) > VTOL && base::DOT(G, P1, 3) * base::DOT(N2, P1, 3) >= 0.0 &&
         base::DOT(G, P2, 3) * base::DOT(N1, P2, 3) >= 0.0;
}

// Cosine of the angle of face f at corner V between T and the third corner.
double corner_cos(const Model& m, int f, I32 V, I32 other, const double* T) {
  double W[3] = {1.0, 0.0, 0.0};
  for (int k = 1; k <= 3; ++k)
    if (m.CSFNOD(k, f) != V && m.CSFNOD(k, f) != other) diff(m, V, m.CSFNOD(k, f), W);
  return base::DOT(W, T, 3) / base::VNORM(W, 3);
}

// A POINT slave at vertex V: the face or edge out of V that G points along
// most (returns true), else FREE at a boundary or POINT.
bool vrtxslip(Model& m, int s, I32 V, const double* G, int& ERRFLAG) {
  const model::CONTDATA& c = m.CONT;
  double best = -1.0;
  int code = S_POINT, id = V;
  bool boundary = false;
  for (int p = c.VERTEDGE(1, V); p <= c.VERTEDGE(2, V); ++p) {
    const int e = c.VEDGE(p);
    const I32 A = c.EDGEREC(1, e), B = c.EDGEREC(2, e);
    if (V != A && V != B) {
      fault(m, "STOP IN SUB. VRTXSLIP!", ERRFLAG);
      continue;
    }
    if (c.EDGEREC(5, e) == 0) {
      small_surface(m);
      boundary = true;
      continue;
    }
    const I32 other = V == A ? B : A;
    // A1 is the face that runs out of V along the edge.
    const int A1 = V == A ? c.EDGEREC(3, e) : c.EDGEREC(5, e), A2 = V == A ? c.EDGEREC(5, e) : c.EDGEREC(3, e);
    double T[3], NA[3], PA[3], NB[3], PB[3];
    diff(m, V, other, T);
    base::VUNIT(T, T, 3);
    side(m, A1, V, other, T, NA, PA);
    side(m, A2, V, other, T, NB, PB);
    const double FT = base::DOT(G, T, 3), FN = base::DOT(G, PA, 3), M = std::sqrt(FT * FT + FN * FN);
    if (M <= VTOL) continue;
    if (base::DOT(G, NA, 3) >= 0.0 && FN > 0.0 && FT / M > corner_cos(m, A1, V, other, T) && M > best) {
      best = M;
      code = S_FACE;
      id = A1;
    }
    if (FT > 0.0 && FT > best && between(G, NA, PA, NB, PB, T)) {
      best = FT;
      code = S_EDGE;
      id = e;
    }
  }
  if (best < 0.0 && boundary) code = id = 0;
  set(m, s, code, id);
  return best >= 0.0;
}

// A slave on edge EG: off an end it goes to that vertex; otherwise G
// decides between the edge, one of its faces and FREE.
void edgeslip(Model& m, int s, int EG, const double* G, int& ERRFLAG) {
  const model::CONTDATA& c = m.CONT;
  const I32 A = c.EDGEREC(1, EG), B = c.EDGEREC(2, EG);
  const int F1 = c.EDGEREC(3, EG), F2 = c.EDGEREC(5, EG);
  set(m, s, S_FREE, 0);
  if (F1 == 0) return fault(m, "STOP IN SUB. EDGESLIP.", ERRFLAG);
  double T[3], N1[3], P1[3], N2[3], P2[3];
  diff(m, A, B, T);
  base::VUNIT(T, T, 3);
  side(m, F1, A, B, T, N1, P1);
  const double A1 = base::DOT(G, N1, 3), B1 = base::DOT(G, P1, 3);
  if (F2 == 0) {
    small_surface(m);
    if (B1 >= 0.0 && A1 >= 0.0) set(m, s, S_FACE, F1);
    return;
  }
  side(m, F2, A, B, T, N2, P2);
  const double A2 = base::DOT(G, N2, 3), B2 = base::DOT(G, P2, 3);
  double x[3];
  base::CROSS(N1, N2, x);
  if (std::fabs(base::DOT(x, T, 3)) <= VTOL) {  // flat: either face holds it
    if (A2 >= 0.0 && A1 >= 0.0) set(m, s, S_FACE, B2 >= B1 ? F2 : F1);
  } else if (between(G, N1, P1, N2, P2, T)) {
    set(m, s, S_EDGE, EG);
  } else if (A2 >= 0.0 && B2 > 0.0) {  // G leans out over one face: it slides onto it
    set(m, s, S_FACE, F2);
  } else if (A1 >= 0.0 && B1 > 0.0) {
    set(m, s, S_FACE, F1);
  }
}

}  // namespace

void EDGECHK(Model& m, int s, const double* G, int& ERRFLAG) {
  const model::CONTDATA& c = m.CONT;
  const int EG = c.SLVOLD(2, s);
  double ab[3], as[3];
  diff(m, c.EDGEREC(1, EG), c.EDGEREC(2, EG), ab);
  diff(m, c.EDGEREC(1, EG), c.SLAVE(s), as);
  const double TP = base::DOT(as, ab, 3) / base::DOT(ab, ab, 3);
  const double OV = TP > 1.0 ? TP - 1.0 : (TP < 0.0 ? TP : 0.0);
  if (std::fabs(OV) > VTOL) return set(m, s, 11, OV > 0.0 ? c.EDGEREC(2, EG) : c.EDGEREC(1, EG));
  edgeslip(m, s, EG, G, ERRFLAG);
}

// A vertex holds its slave only while nothing else fits: where G has a part
// along which the slave can slide onto a face or edge, it goes there; held
// against that, a vertex in a flat or convex surface, whose elements' cones
// fill all directions into the body, would keep every pressed slave and
// carry any tangential force, frictionless or not. With no candidate the
// slave stays while G points into an element's cone and goes FREE when it
// pulls out of the body.
void VRTXCHK(Model& m, int s, const double* G, int& ERRFLAG) {
  const I32 V = m.CONT.SLVOLD(2, s);
  if (vrtxslip(m, s, V, G, ERRFLAG)) return;
  if (vrtxsepa(m, V, G, ERRFLAG)) set(m, s, S_POINT, V);
  else set(m, s, S_FREE, 0);
}

void BACKIN(const double* B, double* B0) {
  constexpr double LO = 1.0e-6, HI = 0.999999;
  const double XI = B[0], ETA = B[1];
  auto put = [&](double a, double b, double c) { B0[0] = a; B0[1] = b; B0[2] = c; };
  if (XI >= LO && ETA >= LO && HI - XI >= ETA) put(XI, ETA, 1.0 - XI - ETA);
  else if (LO >= XI && LO >= ETA) put(LO, LO, 0.999998);
  else if (XI >= HI && XI - 1.0 + 3.0e-6 >= ETA) put(HI, LO, 1.0e-6);
  else if (ETA >= HI && ETA >= 0.999997 + XI) put(LO, HI, 1.0e-6);
  else if (LO > XI) put(LO, ETA, HI - ETA);
  else if (LO > ETA) put(XI, LO, HI - XI);
  else {
    const double XI2 = (XI + HI - ETA) * 0.5, ETA2 = HI - XI2;
    put(XI2, ETA2, 1.0 - XI2 - ETA2);
  }
}

namespace {

// The path from the slave's last place B0 on face FC to B1 leaves through an
// edge: the slave goes on to that edge, or to its end node near an end.
void faceout(Model& m, int s, int FC, const double* B1, int& ERRFLAG) {
  const model::CONTDATA& c = m.CONT;
  double b[3] = {c.SLVBARY(1, s), c.SLVBARY(2, s), c.SLVBARY(3, s)}, B0[3];
  BACKIN(b, B0);
  for (int i = 0; i < 3; ++i) {
    const int j = (i + 1) % 3;
    const double D = B0[i] - B1[i];
    if (std::fabs(D) < VTOL) continue;
    const double TT = B0[i] / D, W = (1.0 - TT) * B0[j] + B1[j] * TT;
    if (!(TT > 0.0 && TT < 1.0 && W >= 0.0 && W <= 1.0)) continue;
    const int EG = c.FACEDGE(i + 1, FC);
    // Weight of the edge's second node at the crossing.
    int k2 = 0;
    while (m.CSFNOD(k2 + 1, FC) != c.EDGEREC(2, EG)) ++k2;
    const double S = (1.0 - TT) * B0[k2] + TT * B1[k2];
    if (S < 1.0e-6) return set(m, s, 11, c.EDGEREC(1, EG));
    if (S > 0.999999) return set(m, s, 11, c.EDGEREC(2, EG));
    set(m, s, 12, EG);
    m.CONT.SLVBARY(1, s) = S;
    return;
  }
  fault(m, "STOP IN SUB. FACEOUT!", ERRFLAG);
}

void facechk(Model& m, int s, const double* G, int& ERRFLAG) {
  const int FC = m.CONT.SLVOLD(2, s);
  double P[4][3], B1[3], foot[3], h;
  for (int k = 0; k < 3; ++k) xof(m, m.CSFNOD(k + 1, FC), P[k]);
  xof(m, m.CONT.SLAVE(s), P[3]);
  TRIBARY(B1, foot, h, P);
  set(m, s, S_FREE, 0);
  if (!INSIDE3(B1, 0.001)) return faceout(m, s, FC, B1, ERRFLAG);
  double e1[3], e2[3], N[3];
  base::VSUB(P[1], P[0], e1, 3);
  base::VSUB(P[2], P[0], e2, 3);
  base::CROSSUNIT(e1, e2, N);
  if (base::DOT(G, N, 3) >= -m.CONT.TOLFORCE) set(m, s, S_FACE, FC);
}

void check_slave(Model& m, int I, int s, const FACEGRID* grid, int& ERRFLAG) {
  const I32 node = m.CONT.SLAVE(s);
  double G[3];
  for (int k = 0; k < 3; ++k) G[k] = -m.CONT.SLVFORCE(k + 1, node);
  switch (m.CONT.SLVOLD(1, s)) {
    case S_POINT: VRTXCHK(m, s, G, ERRFLAG); break;
    case S_EDGE: EDGECHK(m, s, G, ERRFLAG); break;
    case S_FACE: facechk(m, s, G, ERRFLAG); break;
    default: FREECHK(m, I, s, grid); break;
  }
}

// The slaves of body I, in parallel.
void body_pass(Model& m, int I, const FACEGRID& grid, int& ERRFLAG) {
  const int lo = I > 1 ? m.CONT.SLVEND(I - 1) + 1 : 1, hi = m.CONT.SLVEND(I);
  const int nth = std::max(1, m.NTHREAD);
#pragma omp parallel for schedule(static, 10) num_threads(nth) if (nth > 1 && !omp_in_parallel())
  for (int s = lo; s <= hi; ++s) check_slave(m, I, s, &grid, ERRFLAG);
}

}  // namespace

void CONTFORCE(Model& m) {
  model::CONTDATA& c = m.CONT;
  c.SLVFORCE.fill(0.0);
  std::vector<char> reached(3 * (static_cast<std::size_t>(m.NNODE()) + 1), 0);
  for (int L = m.KK(kk::NLEV); L >= 1; --L)
    for (int p = L > 1 ? c.LEVEND(L - 1) + 1 : 1; p <= c.LEVEND(L); ++p) {
      const int s = c.SLVORD(p);
      const I32 node = c.SLAVE(s);
      int first = 0;
      for (int d = 1; d <= 3; ++d) {
        const I32 e = c.SLVDOF(d, node);
        if (e == 0) continue;
        if (first == 0) first = e;
        const double f = m.P(d, node) - m.F(d, node) - c.SLVFORCE(d, node);
        c.SLVFORCE(d, node) = f;
        reached[3 * static_cast<std::size_t>(node) + d - 1] = 1;
        const I32 nt = c.DEPREC(4, e);
        for (I32 j = 0; j < nt; ++j) {
          const I32 t = c.DEPREC(3, e) + j, tn = c.TERMND(1, t), td = c.TERMND(2, t);
          char& r = reached[3 * static_cast<std::size_t>(tn) + td - 1];
          if (tn == node && !r) {
            c.SLVFORCE(td, tn) = 0.0;
            r = 1;
          }
          c.SLVFORCE(td, tn) -= f * c.SLVCOEF((e - first) * nt + j + 1, s);
        }
      }
    }
}

void CHAINCHK(Model& m) {
  model::CONTDATA& c = m.CONT;
  const int nn = m.NNODE(), ns = m.KK(kk::NSLV);
  std::vector<int> owner(static_cast<std::size_t>(nn) + 1, 0), stamp(owner);
  for (int s = 1; s <= ns; ++s)
    if (c.SLVST(1, s) != S_FREE) owner[c.SLAVE(s)] = s;
  std::vector<I32> cur, next;
  for (int s = 1; s <= ns; ++s) {
    if (c.SLVST(1, s) == S_FREE) continue;
    const I32 start = c.SLAVE(s);
    I32 mn[3];
    cur.assign(mn, mn + MASTERNODES(m, c.SLVST(1, s), c.SLVST(2, s), mn));
    while (!cur.empty()) {
      next.clear();
      for (I32 q : cur) {
        const int t = owner[q];
        if (t == 0 || stamp[q] == s) continue;
        stamp[q] = s;
        const int n = MASTERNODES(m, c.SLVST(1, t), c.SLVST(2, t), mn);
        if (std::find(mn, mn + n, start) != mn + n) {
          owner[q] = 0;
          set(m, t, S_FREE, 0);
          continue;
        }
        next.insert(next.end(), mn, mn + n);
      }
      cur.swap(next);
    }
  }
}

int ISTCHK(Model& m, int ITER3) {
  const model::CONTDATA& c = m.CONT;
  int count[4][4] = {};
  int CNTOK = 1;
  for (int s = 1; s <= m.KK(kk::NSLV); ++s) {
    if (c.SLVST(1, s) != c.SLVOLD(1, s)) CNTOK = 0;
    ++count[c.SLVOLD(1, s) % 10][c.SLVST(1, s) % 10];
  }
  elements::CONTITERHEAD(m, ITER3, CNTOK, "             FREE  POINT   EDGE   FACE");
  const char* rows[4] = {"      FREE", "     POINT", "      EDGE", "      FACE"};
  for (int i = 0; i < 4; ++i) {
    std::string line = rows[i];
    for (int j = 0; j < 4; ++j) line += base::fI(count[i][j], 7);
    model::LOGLINE(m, line);
  }
  return CNTOK;
}

int CONTACT(Model& m, int ITER3) {
  model::CONTDATA& c = m.CONT;
  const int ns = m.KK(kk::NSLV);
  CONTFORCE(m);
  if (ITER3 == 1) {
    double most = 0.0;
    for (int s = 1; s <= ns; ++s)
      if (c.SLVST(1, s) != S_FREE) {
        double g[3];
        for (int k = 0; k < 3; ++k) g[k] = c.SLVFORCE(k + 1, c.SLAVE(s));
        most = std::max(most, base::VNORM(g, 3));
      }
    c.TOLFORCE = 0.001 * most;
  }
  for (int s = 1; s <= ns; ++s)
    for (int k = 1; k <= 2; ++k) {
      c.SLVOLD(k, s) = c.SLVST(k, s);
      c.SLVST(k, s) = 0;
    }
  FACEGRID grid;
  GRIDBUILD(m, grid);
  int ERRFLAG = 0;
  for (int I = 1; I <= m.KK(kk::NBODY); ++I) body_pass(m, I, grid, ERRFLAG);
  if (ERRFLAG == 1) model::ERRSTOP(m, -3, 0, m.UNIT(2));
  CHAINCHK(m);
  for (int n = 1; n <= m.NNODE(); ++n)
    for (int k = 1; k <= 3; ++k) m.XOLD(k, n) = m.X(k, n);
  const int CNTOK = ISTCHK(m, ITER3);
  CONTMARK(m);
  if (m.KK(kk::FRICTION) == 1) FRICCHK(m);
  return CNTOK;
}

}  // namespace ossa::contact
