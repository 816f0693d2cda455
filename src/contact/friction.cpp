// Regularised friction on slaves sliding on edges and faces: the force grows
// with the slip since the reference along an arctangent up to the
// coefficient times the normal force, and always opposes the slip.
//
// Sign reading: the normal force is the pressing force, -Q.N on a face
// (N points into the master, and Q, the force the master puts on the
// slave, points out of it while they press), and 0 where the slave pulls.
// Taken literally, Q.N would be negative when pressing and the force would
// push along the slip.
//
// Symmetry: the tangent holds the normal force, the weights and the
// directions at their present values and differentiates the law in the
// slip alone. The law is the gradient of a potential of |slip|, so that
// tangent is symmetric, and with it the matrices the solvers get; the
// neglected terms (normal force and geometry moving with the slip) are
// what would make it unsymmetric.
#include <cmath>

#include "base/kernels.hpp"
#include "contact/contact.hpp"
#include "model/stop.hpp"

namespace ossa::contact {

namespace {

using I32 = std::int32_t;

constexpr double HALFPI = 1.5707963267948966;

int body_of_slave(const Model& m, int s) {
  int b = 1;
  while (b < m.KK(kk::NBODY) && s > m.CONT.SLVEND(b)) ++b;
  return b;
}

// Unit direction of an edge, or unit normal of a face, on present coordinates.
void direction(const Model& m, int code, int id, double* v) {
  if (code == S_EDGE) {
    for (int k = 1; k <= 3; ++k) v[k - 1] = m.X(k, m.CONT.EDGEREC(2, id)) - m.X(k, m.CONT.EDGEREC(1, id));
    base::VUNIT(v, v, 3);
    return;
  }
  double e1[3], e2[3];
  for (int k = 1; k <= 3; ++k) {
    e1[k - 1] = m.X(k, m.CSFNOD(2, id)) - m.X(k, m.CSFNOD(1, id));
    e2[k - 1] = m.X(k, m.CSFNOD(3, id)) - m.X(k, m.CSFNOD(1, id));
  }
  base::CROSSUNIT(e1, e2, v);
}

// The in-plane (face) or along-edge part of v.
void project(int code, const double* d, double* v) {
  const double a = base::DOT(v, d, 3);
  for (int k = 0; k < 3; ++k) v[k] = code == S_EDGE ? a * d[k] : v[k] - a * d[k];
}

// Slip of slave s since its reference, projected.
void slip(const Model& m, int s, int code, const I32* mn, int nm, const double* d, double* sv) {
  const model::CONTDATA& c = m.CONT;
  const I32 node = c.SLAVE(s);
  for (int k = 1; k <= 3; ++k) {
    sv[k - 1] = m.U(k, node) - c.FRREF(k, 1, s);
    for (int i = 0; i < nm; ++i) sv[k - 1] -= c.FRPOS(i + 1, s) * (m.U(k, mn[i]) - c.FRREF(k, i + 2, s));
  }
  project(code, d, sv);
}

}  // namespace

void FRICLAW(const double* SV, double MU, double S0, double FN, double* FORCE, double* D) {
  const double sn = base::VNORM(SV, 3), r = sn / S0, a = MU / HALFPI * FN;
  if (r < 1.0e-10) {
    for (int k = 0; k < 3; ++k) FORCE[k] = SV[k] * a / S0;
    if (D) for (int k = 0; k < 9; ++k) D[k] = k % 4 == 0 ? a / S0 : 0.0;
    return;
  }
  const double t = std::atan(r);
  for (int k = 0; k < 3; ++k) FORCE[k] = SV[k] / sn * a * t;
  if (!D) return;
  // d(force)/d(slip): a atan(r)/|s| across the slip, a / (S0 (1 + r^2)) along it.
  const double across = a * t / sn, along = a / (S0 * (1.0 + r * r));
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      D[i + 3 * j] = (i == j ? across : 0.0) + (along - across) * (SV[i] * SV[j]) / (sn * sn);
}

void FRICCHK(Model& m) {
  model::CONTDATA& c = m.CONT;
  c.FRFLAG.fill(0);
  const int nb = m.KK(kk::NBODY);
  for (int s = 1; s <= m.KK(kk::NSLV); ++s) {
    const int code = c.SLVST(1, s), old = c.SLVOLD(1, s);
    if (code == S_EDGE || code == S_FACE) c.FRFLAG(1, s) = old == code ? 2 : 1;
    else if (code == 12 || code == 13) c.FRFLAG(1, s) = 1;
    if (c.FRFLAG(1, s) == 0) continue;
    const int id = c.SLVST(2, s);
    int J = 1;
    while (J <= nb && id > (code % 10 == S_EDGE ? c.EDGEND(J) : m.BODYEND(J))) ++J;
    if (J > nb) model::FAIL(m, "STOP IN SUB. FRICCHK!", -1);
    const int I = body_of_slave(m, s);
    c.FRPAR(1, s) = m.CBVAL(1, I, J);
    if (c.FRPAR(1, s) == 0.0) c.FRFLAG(1, s) = 0;
    if (code >= 1 && old == 0) c.FRFLAG(2, s) = 1;
    c.FRPAR(2, s) = c.SSIZE(J) * 0.01 * m.CBVAL(2, I, J);
  }
}

void FRICPREP(Model& m, int FIRST, bool DYNAMIC) {
  model::CONTDATA& c = m.CONT;
  for (int s = 1; s <= m.KK(kk::NSLV); ++s) {
    const int f = c.FRFLAG(1, s), code = c.SLVST(1, s) % 10;
    if (!(f == 1 || (DYNAMIC && FIRST == 1 && f == 2)) || (code != S_EDGE && code != S_FACE)) continue;
    I32 mn[3];
    const int nm = MASTERNODES(m, code, c.SLVST(2, s), mn);
    const I32 node = c.SLAVE(s);
    for (int k = 1; k <= 3; ++k) {
      c.FRREF(k, 1, s) = m.U(k, node);
      for (int i = 0; i < nm; ++i) c.FRREF(k, i + 2, s) = m.U(k, mn[i]);
    }
    double P[4][3];
    for (int i = 0; i < nm; ++i)
      for (int k = 0; k < 3; ++k) P[i][k] = m.X(k + 1, mn[i]);
    for (int k = 0; k < 3; ++k) P[3][k] = m.X(k + 1, node);
    if (code == S_EDGE) {
      double ab[3], as[3];
      base::VSUB(P[1], P[0], ab, 3);
      base::VSUB(P[3], P[0], as, 3);
      const double t = base::DOT(as, ab, 3) / base::DOT(ab, ab, 3);
      c.FRPOS(1, s) = 1.0 - t;
      c.FRPOS(2, s) = t;
      c.FRPOS(3, s) = 0.0;
    } else {
      double b[3], foot[3], h;
      TRIBARY(b, foot, h, P);
      for (int i = 1; i <= 3; ++i) c.FRPOS(i, s) = b[i - 1];
    }
  }
}

void FRICFORCE(Model& m, const base::Arr2<double>& EST) {
  model::CONTDATA& c = m.CONT;
  c.SLVFORCE.fill(0.0);
  c.FSUM.fill(0.0);
  for (int L = m.KK(kk::NLEV); L >= 1; --L)
    for (int p = L > 1 ? c.LEVEND(L - 1) + 1 : 1; p <= c.LEVEND(L); ++p) {
      const int s = c.SLVORD(p), code = c.SLVST(1, s) % 10;
      const I32 node = c.SLAVE(s);
      I32 mn[3];
      const int nm = MASTERNODES(m, code, c.SLVST(2, s), mn);
      double Q[3], d[3] = {0, 0, 0}, w[3] = {1.0, 0.0, 0.0};
      for (int k = 1; k <= 3; ++k) Q[k - 1] = EST(k, node) - m.F(k, node) - c.SLVFORCE(k, node);
      if (code == S_EDGE || code == S_FACE) direction(m, code, c.SLVST(2, s), d);
      if (code == S_EDGE) { w[0] = 1.0 - c.SLVBARY(1, s); w[1] = c.SLVBARY(1, s); }
      if (code == S_FACE) for (int i = 0; i < 3; ++i) w[i] = c.SLVBARY(i + 1, s);
      // What the master carries: all of Q at a vertex, the part across the
      // edge, the part along the face normal.
      double q[3] = {Q[0], Q[1], Q[2]};
      if (code == S_EDGE) { const double a = base::DOT(Q, d, 3); for (int k = 0; k < 3; ++k) q[k] -= a * d[k]; }
      if (code == S_FACE) { const double a = base::DOT(Q, d, 3); for (int k = 0; k < 3; ++k) q[k] = a * d[k]; }
      for (int i = 0; i < nm; ++i)
        for (int k = 1; k <= 3; ++k) c.SLVFORCE(k, mn[i]) -= w[i] * q[k - 1];
      if (c.FRFLAG(1, s) == 0 || (code != S_EDGE && code != S_FACE)) continue;
      double x[3];
      base::CROSS(Q, d, x);
      const double fn = code == S_EDGE ? base::VNORM(x, 3) : std::max(0.0, -base::DOT(Q, d, 3));
      c.FRPAR(3, s) = fn;
      double sv[3], f[3];
      slip(m, s, code, mn, nm, d, sv);
      FRICLAW(sv, c.FRPAR(1, s), c.FRPAR(2, s), fn, f, nullptr);
      for (int k = 1; k <= 3; ++k) {
        c.FSUM(k, node) += f[k - 1];
        for (int i = 0; i < nm; ++i) c.FSUM(k, mn[i]) -= c.FRPOS(i + 1, s) * f[k - 1];
      }
    }
  for (int n = 1; n <= m.NNODE(); ++n)
    for (int k = 1; k <= 3; ++k) {
      m.P(k, n) += c.FSUM(k, n);
      c.FSUM(k, n) = -c.FSUM(k, n);
    }
}

int FRICKE(const Model& m, int S, std::int32_t* NODES, double* KE) {
  const model::CONTDATA& c = m.CONT;
  const int code = c.SLVST(1, S) % 10;
  if (c.FRFLAG(1, S) == 0 || (code != S_EDGE && code != S_FACE)) return 0;
  I32 mn[3];
  const int nm = MASTERNODES(m, code, c.SLVST(2, S), mn);
  double d[3], sv[3], f[3], D[9];
  direction(m, code, c.SLVST(2, S), d);
  slip(m, S, code, mn, nm, d, sv);
  FRICLAW(sv, c.FRPAR(1, S), c.FRPAR(2, S), c.FRPAR(3, S), f, D);
  // The slip is P (u_slave - sum w_i u_i) with P the projector: the tangent
  // is Bt (P D P) B with B = [I, -w1 I, ...].
  double PM[9], PD[9], PDP[9];
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      const double dd = d[i] * d[j];
      PM[i + 3 * j] = code == S_EDGE ? dd : (i == j ? 1.0 : 0.0) - dd;
    }
  base::MATMUL(PM, D, PD, 3, 3, 3);
  base::MATMUL(PD, PM, PDP, 3, 3, 3);
  const int n = nm + 1;
  NODES[0] = c.SLAVE(S);
  double w[4] = {1.0, 0.0, 0.0, 0.0};
  for (int i = 0; i < nm; ++i) {
    NODES[i + 1] = mn[i];
    w[i + 1] = -c.FRPOS(i + 1, S);
  }
  for (int a = 0; a < n; ++a)
    for (int b = a; b < n; ++b)
      for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
          const int r = 3 * a + i + 1, q = 3 * b + j + 1;
          if (r <= q) KE[base::PACKIDX(r, q, 3 * n) - 1] = w[a] * w[b] * PDP[i + 3 * j];
        }
  return n;
}

}  // namespace ossa::contact
