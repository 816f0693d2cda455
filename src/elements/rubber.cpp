// The rubber family: four-node tetrahedra with an interior (bubble) node and
// position 7 of the corners for the pressure; the mixed law, its tangent, the
// condensation of the interior node and the family's row of routines.
#include "elements/rubber.hpp"

#include <cmath>
#include <cstring>
#include <string>

#include "base/files.hpp"
#include "base/fmt.hpp"
#include "base/kernels.hpp"
#include "elements/family.hpp"
#include "elements/resrec.hpp"
#include "elements/solid.hpp"
#include "model/stop.hpp"

namespace ossa::elements {

using base::PACKIDX;
using base::ZEROD;

constexpr double SIXTH = 1.0 / 6.0;
const double RUBL[RUBNPT][4] = {{0.25, 0.25, 0.25, 0.25},
                                {0.5, SIXTH, SIXTH, SIXTH},
                                {SIXTH, 0.5, SIXTH, SIXTH},
                                {SIXTH, SIXTH, 0.5, SIXTH},
                                {SIXTH, SIXTH, SIXTH, 0.5}};
const double RUBW[RUBNPT] = {-0.133333333333333, 0.075, 0.075, 0.075, 0.075};

namespace {

constexpr int NU5 = 15;  // displacements of the five nodes
constexpr int NR = 16;   // corner translations and pressures after condensation
constexpr double MINDET = 1.0e-20;

// Packed index from 0 of (i, j), counted from 0, in a matrix of order n.
inline int pk(int i, int j, int n) { return PACKIDX(i + 1, j + 1, n) - 1; }

void putrec(Model& m, int UNITNO, int IREC, const double* rec, int n) {
  base::Unit& u = m.unit(UNITNO);
  if (!base::dwrite(u, IREC, rec, sizeof(double) * static_cast<std::size_t>(n)))
    model::FILESTOP(m, "CANNOT WRITE " + u.name);
}

void getrec(Model& m, int UNITNO, int IREC, double* rec, int n) {
  base::Unit& u = m.unit(UNITNO);
  if (!base::dread(u, IREC, rec, sizeof(double) * static_cast<std::size_t>(n)))
    model::FILESTOP(m, "CANNOT READ " + u.name);
}

// X(3,5) or u(3,5) of the five nodes from slots 1-3 of A.
void gather5(const std::int32_t* NOD, const Arr2<double>& A, double* x) {
  for (int a = 0; a < 5; ++a) {
    const double* p = A.at(1, NOD[a]);
    for (int i = 0; i < 3; ++i) x[3 * a + i] = p[i];
  }
}

// Second derivatives of I2 and I3 by the engineering strain components,
// packed 6 x 6, with C(i,j) entries c11..c31.
void inv2nd(const double* c, double* d2i2, double* d2i3) {
  const double c11 = c[0], c22 = c[1], c33 = c[2], c12 = c[3], c23 = c[4], c31 = c[5];
  ZEROD(d2i2, 21);
  ZEROD(d2i3, 21);
  d2i2[pk(0, 1, 6)] = d2i2[pk(0, 2, 6)] = d2i2[pk(1, 2, 6)] = 4.0;
  for (int k = 3; k < 6; ++k) d2i2[pk(k, k, 6)] = -2.0;
  d2i3[pk(0, 1, 6)] = 4.0 * c33;
  d2i3[pk(0, 2, 6)] = 4.0 * c22;
  d2i3[pk(1, 2, 6)] = 4.0 * c11;
  d2i3[pk(0, 4, 6)] = -4.0 * c23;
  d2i3[pk(1, 5, 6)] = -4.0 * c31;
  d2i3[pk(2, 3, 6)] = -4.0 * c12;
  d2i3[pk(3, 3, 6)] = -2.0 * c33;
  d2i3[pk(4, 4, 6)] = -2.0 * c11;
  d2i3[pk(5, 5, 6)] = -2.0 * c22;
  d2i3[pk(3, 4, 6)] = 2.0 * c31;
  d2i3[pk(3, 5, 6)] = 2.0 * c23;
  d2i3[pk(4, 5, 6)] = 2.0 * c12;
}

// C = I + 2E (tensor shears = engineering strains) and its invariants with
// their first derivatives by the engineering strain components.
struct Invariants {
  double c[6], I1, I2, I3, dI1[6], dI2[6], dI3[6];
  explicit Invariants(const double* E) {
    for (int k = 0; k < 3; ++k) c[k] = 1.0 + 2.0 * E[k];
    for (int k = 3; k < 6; ++k) c[k] = E[k];
    const double c11 = c[0], c22 = c[1], c33 = c[2], c12 = c[3], c23 = c[4], c31 = c[5];
    I1 = c11 + c22 + c33;
    I2 = c11 * c22 + c22 * c33 + c33 * c11 - c12 * c12 - c23 * c23 - c31 * c31;
    I3 = c11 * c22 * c33 + 2.0 * c12 * c23 * c31 - c11 * c23 * c23 - c22 * c31 * c31 -
         c33 * c12 * c12;
    const double d1[6] = {2, 2, 2, 0, 0, 0};
    const double d2[6] = {2 * (c22 + c33), 2 * (c33 + c11), 2 * (c11 + c22), -2 * c12, -2 * c23, -2 * c31};
    const double d3[6] = {2 * (c22 * c33 - c23 * c23), 2 * (c33 * c11 - c31 * c31),
                          2 * (c11 * c22 - c12 * c12), 2 * (c23 * c31 - c33 * c12),
                          2 * (c31 * c12 - c11 * c23), 2 * (c12 * c23 - c22 * c31)};
    for (int k = 0; k < 6; ++k) dI1[k] = d1[k], dI2[k] = d2[k], dI3[k] = d3[k];
  }
};

}  // namespace

double RUBSHAPE(int G, const double* X, double* DN) {
  const double* L = RUBL[G - 1];
  // Natural coordinates (r, s, t) = (L1, L3, L2), L4 = 1 - r - s - t.
  const double b[3] = {256.0 * L[1] * L[2] * (L[3] - L[0]), 256.0 * L[0] * L[1] * (L[3] - L[2]),
                       256.0 * L[0] * L[2] * (L[3] - L[1])};
  static const double DL[4][3] = {{1, 0, 0}, {0, 0, 1}, {0, 1, 0}, {-1, -1, -1}};
  double dn[3 * 5];  // dn[3a + i] = dN_a / d(r, s, t)_i
  for (int a = 0; a < 4; ++a)
    for (int i = 0; i < 3; ++i) dn[3 * a + i] = DL[a][i] - 0.25 * b[i];
  for (int i = 0; i < 3; ++i) dn[12 + i] = b[i];
  double J[9] = {}, JI[9];  // J(i,k) = sum_a dN_a/dxi_i x_k,a, column by column
  for (int a = 0; a < 5; ++a)
    for (int i = 0; i < 3; ++i)
      for (int k = 0; k < 3; ++k) J[i + 3 * k] += dn[3 * a + i] * X[3 * a + k];
  const double det = base::INV3(J, JI);
  for (int a = 0; a < 5; ++a)
    for (int k = 0; k < 3; ++k)
      DN[3 * a + k] = JI[k] * dn[3 * a] + JI[k + 3] * dn[3 * a + 1] + JI[k + 6] * dn[3 * a + 2];
  return det;
}

double RUBENERGY(const RUBREC& r, const double* E, double p) {
  const Invariants v(E);
  const double j = std::sqrt(v.I3);
  double w = r.C1 * (v.I1 * std::pow(v.I3, -1.0 / 3.0) - 3.0) +
             r.C2 * (v.I2 * std::pow(v.I3, -2.0 / 3.0) - 3.0) - p * (j - 1.0);
  if (r.KB != 0.0) w -= p * p / (2.0 * r.KB);
  return w;
}

double RUBLAW(const RUBREC& r, const double* E, double p, double* S, double* DTAN, double* WP,
              double& h) {
  const Invariants v(E);
  if (!(v.I3 > 0.0)) return v.I3;  // inside out: the caller stops
  const double KB = r.KB, J = std::sqrt(v.I3), q = 1.0 / std::cbrt(v.I3);
  const double q2 = q * q, q4 = q2 * q2, q5 = q4 * q, q7 = q5 * q2, q8 = q4 * q4;
  // W = C1 (I1 q - 3) + C2 (I2 q^2 - 3) + KB/2 (J - 1)^2, by the invariants.
  const double W1 = r.C1 * q, W2 = r.C2 * q2;
  const double W3 = -r.C1 * v.I1 * q4 / 3.0 - 2.0 / 3.0 * r.C2 * v.I2 * q5 + 0.5 * KB * (1.0 - 1.0 / J);
  const double W13 = -r.C1 * q4 / 3.0, W23 = -2.0 / 3.0 * r.C2 * q5;
  const double W33 = 4.0 / 9.0 * r.C1 * v.I1 * q7 + 10.0 / 9.0 * r.C2 * v.I2 * q8 + 0.25 * KB / (J * J * J);
  double d2i2[21], d2i3[21];
  inv2nd(v.c, d2i2, d2i3);
  h = ((1.0 - J) * KB - p) / KB;
  double a[6];
  for (int k = 0; k < 6; ++k) {
    a[k] = -KB / (2.0 * J) * v.dI3[k];
    S[k] = W1 * v.dI1[k] + W2 * v.dI2[k] + W3 * v.dI3[k] - a[k] * h;
    WP[k] = a[k] / KB;
  }
  // -h da/dE = h KB d2J, d2J = d2I3 / (2J) - dI3 dI3 / (4 J^3).
  const double hk = h * KB;
  for (int i = 0; i < 6; ++i)
    for (int j = i; j < 6; ++j) {
      const int k = pk(i, j, 6);
      const double d2w = W2 * d2i2[k] + W3 * d2i3[k] +
                         W13 * (v.dI1[i] * v.dI3[j] + v.dI3[i] * v.dI1[j]) +
                         W23 * (v.dI2[i] * v.dI3[j] + v.dI3[i] * v.dI2[j]) + W33 * v.dI3[i] * v.dI3[j];
      const double d2j = d2i3[k] / (2.0 * J) - v.dI3[i] * v.dI3[j] / (4.0 * J * J * J);
      DTAN[k] = d2w - a[i] * a[j] / KB + hk * d2j;
    }
  return v.I3;
}

namespace {

// Shape derivatives at point g with the volume test of the reference
// geometry.
double shape_checked(Model& m, int g, const double* X, double* DN) {
  const double det = RUBSHAPE(g, X, DN);
  if (!(det >= MINDET)) model::FAIL(m, "ELEMENT VOLUME IS TOO SMALL.", -3);
  return det;
}

// det F of F = I + H. C = F^T F cannot tell a mirrored point from a sound
// one (det C = det F^2), so the sign is taken here.
double detf(const double* H) {
  const double F[9] = {1 + H[0], H[1], H[2], H[3], 1 + H[4], H[5], H[6], H[7], 1 + H[8]};
  return F[0] * (F[4] * F[8] - F[5] * F[7]) - F[3] * (F[1] * F[8] - F[2] * F[7]) +
         F[6] * (F[1] * F[5] - F[2] * F[4]);
}

// A point turned inside out (det F <= 0, or no number): a mirrored state
// would have a finite energy and a converged, wrong equilibrium.
[[noreturn]] void inverted(Model& m, std::int32_t ID, int g, double J) {
  model::FAIL(m, "RUBBER ELEMENT " + std::to_string(ID) + " IS TURNED INSIDE OUT AT POINT " +
                     std::to_string(g) + " (DET F =" + base::fPE(J, 12, 4) + ").",
              -9);
}

}  // namespace

void RUBF(Model& m, Arr2<double>& P, Arr2<double>& PD, RUBREC& r, const Arr2<double>& XYZ,
          const Arr2<double>& U, const std::int32_t* NOD, std::int32_t ID, int IREC, int UNIT1,
          int IDAMP) {
  double X[NU5], u[NU5], pc[4], f[NU5] = {}, fp[4] = {}, rec[RUB1LEN];
  gather5(NOD, XYZ, X);
  gather5(NOD, U, u);
  for (int a = 0; a < 4; ++a) pc[a] = U(7, NOD[a]);
  for (int g = 1; g <= RUBNPT; ++g) {
    const double* L = RUBL[g - 1];
    double DN[NU5], H[9], BL[6 * NU5], h;
    const double wd = RUBW[g - 1] * shape_checked(m, g, X, DN);
    DISPGRAD(DN, u, H, 5);
    const double J = detf(H);
    if (!(J > 0.0)) inverted(m, ID, g, J);
    double* E = &r.STRAIN(1, g);
    double* S = &r.STRESS(1, g);
    GLSTRAIN(H, E);
    const double p = L[0] * pc[0] + L[1] * pc[1] + L[2] * pc[2] + L[3] * pc[3];
    const double I3 = RUBLAW(r, E, p, S, rec + 21 * (g - 1), rec + 21 * RUBNPT + 6 * (g - 1), h);
    if (!(I3 > 0.0) || !std::isfinite(h)) inverted(m, ID, g, J);
    BNLMAT(DN, H, BL, 5);
    for (int q = 0; q < NU5; ++q) f[q] += wd * base::DOT(BL + 6 * q, S, 6);
    for (int a = 0; a < 4; ++a) fp[a] += wd * L[a] * h;
  }
  putrec(m, UNIT1, IREC, rec, RUB1LEN);
  for (int a = 0; a < 5; ++a) {
    double* p = P.at(1, NOD[a]);
    for (int i = 0; i < 3; ++i) p[i] += f[3 * a + i];
    if (a < 4) p[6] += fp[a];
    if (IDAMP != 1) continue;
    double* d = PD.at(1, NOD[a]);
    for (int i = 0; i < 3; ++i) d[i] += r.BETA * f[3 * a + i];
  }
}

void RUBK(Model& m, const RUBREC& r, const Arr2<double>& XYZ, const Arr2<double>& U,
          const std::int32_t* NOD, int IREC, int UNIT1, double* KUU, double* KUP, double* KPP) {
  double X[NU5], u[NU5], rec[RUB1LEN];
  gather5(NOD, XYZ, X);
  gather5(NOD, U, u);
  getrec(m, UNIT1, IREC, rec, RUB1LEN);
  ZEROD(KUU, NU5 * (NU5 + 1) / 2);
  ZEROD(KUP, NU5 * 4);
  ZEROD(KPP, 16);
  for (int g = 1; g <= RUBNPT; ++g) {
    const double* L = RUBL[g - 1];
    const double* WP = rec + 21 * RUBNPT + 6 * (g - 1);
    double DN[NU5], H[9], BL[6 * NU5], DB[6 * NU5], D[36];
    const double wd = RUBW[g - 1] * shape_checked(m, g, X, DN);
    DISPGRAD(DN, u, H, 5);
    BNLMAT(DN, H, BL, 5);
    const double* Dp = rec + 21 * (g - 1);
    for (int i = 0; i < 6; ++i)
      for (int j = 0; j < 6; ++j) D[i + 6 * j] = wd * Dp[pk(i, j, 6)];
    base::MATMUL(D, BL, DB, 6, 6, NU5);
    for (int p = 0; p < NU5; ++p) {
      const double* b = BL + 6 * p;
      for (int q = p; q < NU5; ++q) KUU[pk(p, q, NU5)] += base::DOT(b, DB + 6 * q, 6);
      const double bw = wd * base::DOT(b, WP, 6);
      for (int a = 0; a < 4; ++a) KUP[p + NU5 * a] += bw * L[a];
    }
    GEOSTIFF(DN, &r.STRESS(1, g), wd, KUU, 5);
    for (int a = 0; a < 4; ++a)
      for (int b = 0; b < 4; ++b) KPP[a + 4 * b] -= wd / r.KB * L[a] * L[b];
  }
}

void RUBCOND(Model& m, const double* KUU, const double* KUP, const double* KPP, const double* R5,
             double* KE, double* RC, std::int32_t ID, int IREC, int UNIT2) {
  // K5R(3,16): rows of the fifth node against corner translations, then
  // pressures.
  double K55[9], A[9], K5R[3 * NR], G[3 * NR], rec[RUB2LEN];
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) K55[i + 3 * j] = KUU[pk(12 + i, 12 + j, NU5)];
    for (int q = 0; q < 12; ++q) K5R[i + 3 * q] = KUU[pk(12 + i, q, NU5)];
    for (int a = 0; a < 4; ++a) K5R[i + 3 * (12 + a)] = KUP[12 + i + NU5 * a];
  }
  const double det = base::INV3(K55, A);
  if (!std::isfinite(A[0] + A[4] + A[8]) || det == 0.0)
    model::FAIL(m, "RUBBER ELEMENT " + std::to_string(ID) + ": THE STIFFNESS OF ITS INTERIOR NODE IS SINGULAR.", -9);
  base::MATMUL(A, K5R, G, 3, 3, NR);  // GU, then GP
  std::memcpy(rec, G, sizeof G);
  base::MATMUL(A, R5, rec + 3 * NR, 3, 3, 1);  // GR
  putrec(m, UNIT2, IREC, rec, RUB2LEN);
  for (int p = 0; p < NR; ++p) {
    const double* kp = K5R + 3 * p;
    RC[p] = -base::DOT(kp, rec + 3 * NR, 3);
    for (int q = p; q < NR; ++q) {
      double k;
      if (q < 12) k = KUU[pk(p, q, NU5)];
      else if (p < 12) k = KUP[p + NU5 * (q - 12)];
      else k = KPP[(p - 12) + 4 * (q - 12)];
      KE[pk(p, q, NR)] = k - base::DOT(kp, G + 3 * q, 3);
    }
  }
}

void RUBNODE5(Model& m, Arr2<double>& DU, const std::int32_t* NOD, int IREC, int UNIT2) {
  double rec[RUB2LEN], d[NR];
  getrec(m, UNIT2, IREC, rec, RUB2LEN);
  for (int a = 0; a < 4; ++a) {
    for (int i = 0; i < 3; ++i) d[3 * a + i] = DU(i + 1, NOD[a]);
    d[12 + a] = DU(7, NOD[a]);
  }
  double* d5 = DU.at(1, NOD[4]);
  for (int i = 0; i < 3; ++i) {
    double s = rec[3 * NR + i];
    for (int q = 0; q < NR; ++q) s -= rec[i + 3 * q] * d[q];
    d5[i] = s;
  }
}

void RUBMASS(const Arr2<double>& XYZ, const std::int32_t* NOD, double RHO, int OPT, double* SM) {
  double X[12], DN[12];
  for (int a = 0; a < 4; ++a)
    for (int i = 0; i < 3; ++i) X[3 * a + i] = XYZ(i + 1, NOD[a]);
  const double mass = RHO * std::fabs(TETDN(X, DN)) / 6.0;
  // Diagonal in both forms: the corners share what the interior node leaves.
  constexpr double CORNER = 0.1738095238095238, CENTRE = 0.3047619047619048;
  if (OPT == 1) {
    for (int a = 0; a < 4; ++a) SM[a] = CORNER * mass;
    SM[4] = CENTRE * mass;
    return;
  }
  ZEROD(SM, 25);
  for (int a = 0; a < 4; ++a) SM[a * 6] = CORNER * mass;
  SM[24] = CENTRE * mass;
}

// ---- The rubber's row of the family table.

// Its interior node needs a row of XYZ and NODEID.
bool RUBRECOK(const Model& m, const ELEMREC& e) {
  return e.IDX >= 1 && e.IDX <= m.NRUBB() && NODESOK(m, e, 4) &&
         m.NNODE() + e.IDX <= m.XYZ.ubound(2) && m.NNODE() + e.IDX <= m.NODEID.ubound(1);
}

// The interior node sits at the centroid, numbered after the grid points.
void RUBSTART(Model& m, ELEMREC& e, double* CLASS) {
  TETVOLCHK(m, e);
  const int node = m.NNODE() + e.IDX;
  e.NOD(5) = node;
  for (int k = 1; k <= 3; ++k) {
    double s = 0.0;
    for (int a = 1; a <= 4; ++a) s += m.XYZ(k, e.NOD(a));
    m.XYZ(k, node) = 0.25 * s;
  }
  m.NODEID(node) = -e.ID;
  const double len = AVGLEN(m, e, 4);
  if (len < m.RR(rr::MINLEN)) m.RR(rr::MINLEN) = len;
  RUBREC& r = m.RUBREC(e.IDX);
  r.STRAIN.fill(0.0);
  r.STRESS.fill(0.0);
  const double cand = len * std::sqrt(r.RHO / (6.0 * (r.C1 + r.C2)));
  if (GROUPOK(r.GROUP) && cand < CLASS[r.GROUP]) CLASS[r.GROUP] = cand;
}

double* RUBBETA(Model& m, const ELEMREC& e, int& GROUP) {
  RUBREC& r = m.RUBREC(e.IDX);
  GROUP = r.GROUP;
  return &r.BETA;
}

bool RUBMASSOF(const Model& m, const ELEMREC& e, int OPT, MASSDATA& M) {
  const RUBREC& r = m.RUBREC(e.IDX);
  RUBMASS(m.XYZ, e.NOD.data(), r.RHO, OPT, M.S);
  M.NEN = 5;
  M.ALPHA = r.ALPHA;
  M.BODYLOAD = r.BODYLOAD;
  return true;
}

namespace {

// The dynamic tangent CK K + CM M of the step, before the condensation: the
// interior node's inertia belongs to the block that is condensed, so that
// the corners feel it and RUBNODE5 moves the node with it. The mass is
// diagonal; the pressure rows are scaled with the rest to keep the matrix
// symmetric (their exact factor lacks the damping part, a tangent matter
// only).
void dynmix(const Model& m, const ELEMREC& e, double* KUU, double* KUP, double* KPP) {
  const RUBREC& r = m.RUBREC(e.IDX);
  const DYNFAC f = DYNFACTORS(m, r.ALPHA, r.BETA, m.DYN.DT, m.DYN.DTAV);
  double SM[5];
  RUBMASS(m.XYZ, e.NOD.data(), r.RHO, MASS_LUMPED, SM);
  auto scale = [&](double* a, int n) {
    for (int k = 0; k < n; ++k) a[k] *= f.CK;
  };
  scale(KUU, NU5 * (NU5 + 1) / 2);
  scale(KUP, NU5 * 4);
  scale(KPP, 16);
  for (int q = 0; q < NU5; ++q) KUU[pk(q, q, NU5)] += f.CM * SM[q / 3];
}

}  // namespace

// Condensed tangent; the interior node's residual (W) moves to the corners'
// right-hand side through W of the corners. A dynamic job's tangent comes
// whole from here (mass and factors mixed in before the condensation).
bool RUBSTIFF(Model& m, const ELEMREC& e, double* Ke) {
  double KUU[NU5 * (NU5 + 1) / 2], KUP[NU5 * 4], KPP[16], RC[NR];
  const RUBREC& r = m.RUBREC(e.IDX);
  RUBK(m, r, m.XYZ, m.U, e.NOD.data(), e.IDX, m.UNIT(8), KUU, KUP, KPP);
  if (m.KK(kk::DYNAMIC) == 1) dynmix(m, e, KUU, KUP, KPP);
  RUBCOND(m, KUU, KUP, KPP, m.W.at(1, e.NOD(5)), Ke, RC, e.ID, e.IDX, m.UNIT(9));
  for (int a = 0; a < 4; ++a) {
    double* w = m.W.at(1, e.NOD(a + 1));
    for (int i = 0; i < 3; ++i) w[i] += RC[3 * a + i];
    w[6] += RC[12 + a];
  }
  return true;
}

void RUBFORCE(Model& m, const ELEMREC& e, Arr2<double>& PD, int IDAMP) {
  RUBF(m, m.P, PD, m.RUBREC(e.IDX), m.XYZ, m.U, e.NOD.data(), e.ID, e.IDX, m.UNIT(8), IDAMP);
}

bool RUBSTATUS(Model&, const ELEMREC&) { return false; }

void RUBAUX(Model& m, const ELEMREC& e) { RUBNODE5(m, m.DU, e.NOD.data(), e.IDX, m.UNIT(9)); }

void RUBVAL(const model::RUBREC& r, const model::ELEMREC& e, const base::Arr2<double>& u,
            RubberOut& o) {
  o.ID = e.ID;
  // The centroid point (point 1) stands for the element.
  const double* s = &r.STRESS(1, 1);
  const double* g = &r.STRAIN(1, 1);
  PRINCVALS(s, g, o.V);
  double p = 0.0;
  for (int a = 1; a <= 4; ++a) {
    const int nd = e.NOD(a);
    if (u.allocated() && nd >= 1 && nd <= u.ubound(2)) p += u(7, nd);
  }
  o.V[15] = static_cast<float>(RUBENERGY(r, g, 0.25 * p));
}

void RUBRES(const Model& m, const ELEMREC& e, const Arr2<double>& U, void* REC) {
  RubberOut r;
  RUBVAL(m.RUBREC(e.IDX), e, U, r);
  std::memcpy(REC, &r, sizeof r);
}

int RUBSNAP(Model&, const ELEMREC&, SNAPITEM*) { return 0; }

}  // namespace ossa::elements
