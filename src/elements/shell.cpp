// The shell family's row: start values, the small-displacement route in
// the element's flat local frame, status points, result and snapshot
// records, the mass, and the checks of a shell card.
#include "elements/shell.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/kernels.hpp"
#include "elements/family.hpp"
#include "elements/material.hpp"
#include "elements/princ.hpp"
#include "elements/resrec.hpp"
#include "elements/solid.hpp"
#include "elements/status.hpp"

namespace ossa::elements {

using base::PACKIDX;
using base::VSUB;
using base::VNORM;
using base::VUNIT;
using base::CROSS;
using base::CROSSUNIT;
using base::DOT;
using base::ZEROD;
using base::MATMUL;
using base::SYMMUL;
using base::DPLANE;

using model::SHLREC;

namespace {

constexpr int NE = SHLNE;

// Points of the small-displacement route: mid-edges; point 4 carries the
// mean of their shear.
constexpr double PTLIN[3][2] = {{0.5, 0.5}, {0.0, 0.5}, {0.5, 0.0}};

// v_local = T v for each triple of a node vector of 18.
void to_local(const double* T, const double* vg, double* vl) {
  for (int t = 0; t < 6; ++t)
    for (int k = 0; k < 3; ++k) vl[3 * t + k] = DOT(T + 3 * k, vg + 3 * t, 3);
}

// v_global = T^T v for each triple.
void to_global(const double* T, const double* vl, double* vg) {
  for (int t = 0; t < 6; ++t)
    for (int i = 0; i < 3; ++i)
      vg[3 * t + i] = T[i] * vl[3 * t] + T[3 + i] * vl[3 * t + 1] + T[6 + i] * vl[3 * t + 2];
}

// Covariant shear rows over the 18 local variables at (p, q): along xi (the
// edge 3-1, ALONG = 0) or along eta (edge 3-2, ALONG = 1).
void covrow(const SHLGEO& g, int ALONG, double p, double q, double* row) {
  const double X = g.x[ALONG] - g.x[2], Y = g.y[ALONG] - g.y[2];
  const double N[3] = {p, q, 1.0 - p - q};
  ZEROD(row, NE);
  for (int a = 0; a < 3; ++a) {
    row[6 * a + 2] = a == ALONG ? 1.0 : (a == 2 ? -1.0 : 0.0);
    row[6 * a + 3] = -Y * N[a];
    row[6 * a + 4] = X * N[a];
  }
}

// The tied (gxz, gyz) rows at the three points of the route, BS[i][0..1].
void shear_rows(const SHLGEO& g, double BS[3][2][NE]) {
  double xa[NE], xb[NE], ea[NE], eb[NE];
  covrow(g, 0, 0.5, 0.0, xa);  // Exi(0.5, 0)
  covrow(g, 0, 0.5, 0.5, xb);  // Exi(0.5, 0.5)
  covrow(g, 1, 0.0, 0.5, ea);  // Eeta(0, 0.5)
  covrow(g, 1, 0.5, 0.5, eb);  // Eeta(0.5, 0.5)
  const double X1 = g.x[0] - g.x[2], Y1 = g.y[0] - g.y[2];
  const double X2 = g.x[1] - g.x[2], Y2 = g.y[1] - g.y[2];
  const double rj = 1.0 / (X1 * Y2 - X2 * Y1);
  for (int i = 0; i < 3; ++i) {
    const double xi = PTLIN[i][0], eta = PTLIN[i][1];
    for (int c = 0; c < NE; ++c) {
      const double C = xb[c] - xa[c] + ea[c] - eb[c];
      const double gxi = xa[c] + eta * C, geta = ea[c] - xi * C;
      BS[i][0][c] = rj * (Y2 * gxi - Y1 * geta);
      BS[i][1][c] = rj * (-X2 * gxi + X1 * geta);
    }
  }
}

// Membrane rows BM and curvature rows BK (3 x 18 each, row by row).
void plane_rows(const SHLGEO& g, double BM[3][NE], double BK[3][NE]) {
  for (int r = 0; r < 3; ++r) ZEROD(BM[r], NE), ZEROD(BK[r], NE);
  for (int a = 0; a < 3; ++a) {
    const double ax = g.A[a], by = g.B[a];
    BM[0][6 * a] = ax;
    BM[1][6 * a + 1] = by;
    BM[2][6 * a] = by;
    BM[2][6 * a + 1] = ax;
    BK[0][6 * a + 4] = -ax;
    BK[1][6 * a + 3] = by;
    BK[2][6 * a + 3] = ax;
    BK[2][6 * a + 4] = -by;
  }
}

// B(5,18), column by column, at the thickness coordinate c and point PT
// (0-based, 0..2); with NCOL = 15 the thz columns, which are empty, are left
// out.
constexpr int NL15 = 15;
void bmat(const double BM[3][NE], const double BK[3][NE], const double BS[3][2][NE], double c,
          int PT, double* B, int NCOL = NE) {
  for (int k = 0; k < NCOL; ++k) {
    const int col = NCOL == NE ? k : k + k / 5;
    double* b = B + 5 * k;
    for (int r = 0; r < 3; ++r) b[r] = BM[r][col] + c * BK[r][col];
    b[3] = BS[PT][0][col];
    b[4] = BS[PT][1][col];
  }
}


void unpack5(const double* Dp, double* D) {
  for (int i = 1; i <= 5; ++i)
    for (int j = 1; j <= 5; ++j) D[(i - 1) + 5 * (j - 1)] = Dp[PACKIDX(i, j, 5) - 1];
}

}  // namespace

void SHLBTDB(const double* B, const double* Dp, double w, double* K, int n) {
  double D[25], DB[5 * NE];
  unpack5(Dp, D);
  MATMUL(D, B, DB, 5, 5, n);
  for (int q = 0; q < n; ++q) {
    const double* d = DB + 5 * q;
    for (int p = 0; p <= q; ++p) {
      const double* b = B + 5 * p;
      K[p + n * q] += w * (b[0] * d[0] + b[1] * d[1] + b[2] * d[2] + b[3] * d[3] + b[4] * d[4]);
    }
  }
}

void SHLTRIPLES(const double* const* TT, const double* K, double* SK) {
  double G[NE * NE];
  for (int bq = 0; bq < 6; ++bq)
    for (int bp = 0; bp <= bq; ++bp) {
      const double* T = TT[bq];
      const double* Tp = TT[bp];
      double blk[9], tmp[9];  // the block, then Tp^T blk Tq
      for (int l = 0; l < 3; ++l)
        for (int k = 0; k < 3; ++k) {
          const int p = 3 * bp + k, q = 3 * bq + l;
          blk[k + 3 * l] = p <= q ? K[p + NE * q] : K[q + NE * p];
        }
      for (int j = 0; j < 3; ++j)
        for (int k = 0; k < 3; ++k)
          tmp[k + 3 * j] = blk[k] * T[j] + blk[k + 3] * T[3 + j] + blk[k + 6] * T[6 + j];
      for (int j = 0; j < 3; ++j)
        for (int i = 0; i < 3; ++i)
          G[(3 * bp + i) + NE * (3 * bq + j)] =
              Tp[i] * tmp[3 * j] + Tp[3 + i] * tmp[1 + 3 * j] + Tp[6 + i] * tmp[2 + 3 * j];
    }
  int n = 0;
  for (int p = 0; p < NE; ++p)
    for (int q = p; q < NE; ++q) SK[n++] = G[p + NE * q];
}

void SHLFRAME(const double* p1, const double* p2, const double* p3, SHLGEO& g) {
  double a[3], b[3], n[3];
  VSUB(p1, p3, a, 3);
  VSUB(p2, p3, b, 3);
  VUNIT(a, g.T, 3);
  CROSSUNIT(a, b, g.T + 6);
  CROSSUNIT(g.T + 6, g.T, n);
  for (int k = 0; k < 3; ++k) g.T[3 + k] = n[k];
  g.x[0] = DOT(a, g.T, 3), g.y[0] = 0.0;
  g.x[1] = DOT(b, g.T, 3), g.y[1] = DOT(b, g.T + 3, 3);
  g.x[2] = 0.0, g.y[2] = 0.0;
  const double* x = g.x;
  const double* y = g.y;
  g.DET = x[0] * (y[1] - y[2]) + y[0] * (x[2] - x[1]) + x[1] * y[2] - x[2] * y[1];
  const double r = 1.0 / g.DET;
  g.A[0] = (y[1] - y[2]) * r, g.A[1] = (y[2] - y[0]) * r, g.A[2] = (y[0] - y[1]) * r;
  g.B[0] = (x[2] - x[1]) * r, g.B[1] = (x[0] - x[2]) * r, g.B[2] = (x[1] - x[0]) * r;
}

void SHLROT(const double* TH, double* R) {
  const double t = VNORM(TH, 3);
  const double S[9] = {0.0, TH[2], -TH[1], -TH[2], 0.0, TH[0], TH[1], -TH[0], 0.0};
  double S2[9];
  MATMUL(S, S, S2, 3, 3, 3);
  const double h = 0.5 * t;
  const double c1 = t > 0.0 ? std::sin(t) / t : 1.0;
  const double sh = h > 0.0 ? std::sin(h) / h : 1.0;
  const double c2 = 0.5 * sh * sh;
  for (int k = 0; k < 9; ++k) R[k] = c1 * S[k] + c2 * S2[k] + (k % 4 == 0 ? 1.0 : 0.0);
}

namespace {

void shl_geo(const std::int32_t* NOD, const Arr2<double>& XYZ, SHLGEO& g) {
  SHLFRAME(XYZ.at(1, NOD[0]), XYZ.at(1, NOD[1]), XYZ.at(1, NOD[2]), g);
}

// The thickness coordinate of layer j in the small route.
double layer_c(const SHLREC& r, int j) { return -0.5 * r.THICK * SHLZETA[j]; }

}  // namespace

bool SHLUNIFORM(const SHLREC& r) {
  for (int j = 1; j <= 3; ++j)
    for (int i = 1; i <= 3; ++i)
      if (std::memcmp(&r.D(1, i, j), &r.D(1, 1, 1), 15 * sizeof(double)) != 0) return false;
  return true;
}

void SHLKLIN(const std::int32_t* NOD, const Arr2<double>& XYZ, const SHLREC& r, double* SK) {
  SHLGEO g;
  shl_geo(NOD, XYZ, g);
  double BM[3][NE], BK[3][NE], BS[3][2][NE], B[5 * NL15], K15[NL15 * NL15], K[NE * NE];
  plane_rows(g, BM, BK);
  shear_rows(g, BS);
  ZEROD(K15, NL15 * NL15);
  const double f = r.THICK * g.DET / 12.0;
  if (SHLUNIFORM(r)) {
    // One tangent through the thickness: the integrand is quadratic in the
    // thickness coordinate, and two Gauss points give the three layers' sum.
    const double c = 0.5 * r.THICK / std::sqrt(3.0);
    for (double cj : {-c, c})
      for (int i = 0; i < 3; ++i) {
        bmat(BM, BK, BS, cj, i, B, NL15);
        SHLBTDB(B, &r.D(1, 1, 1), f, K15, NL15);
      }
  } else {
    for (int j = 0; j < 3; ++j)
      for (int i = 0; i < 3; ++i) {
        bmat(BM, BK, BS, layer_c(r, j), i, B, NL15);
        SHLBTDB(B, &r.D(1, i + 1, j + 1), f * SHLWGT[j], K15, NL15);
      }
  }
  ZEROD(K, NE * NE);
  for (int q = 0; q < NL15; ++q)
    for (int p = 0; p <= q; ++p) K[(p + p / 5) + NE * (q + q / 5)] = K15[p + NL15 * q];
  // The drilling rotation meets its own small spring and nothing else.
  for (int a = 0; a < 3; ++a) K[(6 * a + 5) * (NE + 1)] = r.DRILL;
  const double* T[6] = {g.T, g.T, g.T, g.T, g.T, g.T};
  SHLTRIPLES(T, K, SK);
}

void SHLUPDATE(Model& m, SHLREC& r, const double* s, int PT, int LY, int IELEM, int UNITNO) {
  double ds[5], dsig[5];
  for (int k = 0; k < 5; ++k) {
    ds[k] = s[k] - r.STRAIN(k + 1, PT, LY);
    r.STRAIN(k + 1, PT, LY) = s[k];
  }
  SYMMUL(&r.D(1, PT, LY), ds, dsig, 5, 1);
  for (int k = 0; k < 5; ++k) r.STRESS(k + 1, PT, LY) += dsig[k];
  if (PT != 4 || r.STATE(4, LY) != PLASTIC) return;
  // WPL(5), then MPL(5,5) column by column.
  double rec[30], dp[5];
  PLREAD(m, UNITNO, 3 * IELEM + LY - 3, rec, 30);
  r.EPEQ(LY) += DOT(rec, ds, 5);
  MATMUL(rec + 5, ds, dp, 5, 5, 1);
  for (int k = 0; k < 5; ++k) r.EPLAST(k + 1, LY) += dp[k];
}

void SHLSCATTER(Arr2<double>& P, Arr2<double>& PD, double BETA, const double* f,
                 const std::int32_t* NOD, int IDAMP) {
  for (int a = 0; a < 3; ++a) {
    double* p = P.at(1, NOD[a]);
    for (int k = 0; k < 6; ++k) p[k] += f[6 * a + k];
    if (IDAMP != 1) continue;
    double* d = PD.at(1, NOD[a]);
    for (int k = 0; k < 6; ++k) d[k] += BETA * f[6 * a + k];
  }
}

namespace {

// The element's 18 displacements (global), node by node.
void gather_u6(const std::int32_t* NOD, const Arr2<double>& U, double* u) {
  for (int a = 0; a < 3; ++a)
    for (int k = 0; k < 6; ++k) u[6 * a + k] = U(k + 1, NOD[a]);
}

}  // namespace

void SHLFLIN(Model& m, Arr2<double>& P, Arr2<double>& PD, SHLREC& r, const Arr2<double>& XYZ,
             const Arr2<double>& U, const std::int32_t* NOD, int IELEM, int UNITNO, int IDAMP) {
  SHLGEO g;
  shl_geo(NOD, XYZ, g);
  double ug[NE], ul[NE], BM[3][NE], BK[3][NE], BS[3][2][NE], B[5 * NE];
  gather_u6(NOD, U, ug);
  to_local(g.T, ug, ul);
  plane_rows(g, BM, BK);
  shear_rows(g, BS);
  double em[3], ek[3], gam[4][2];
  for (int k = 0; k < 3; ++k) em[k] = DOT(BM[k], ul, NE), ek[k] = DOT(BK[k], ul, NE);
  for (int i = 0; i < 3; ++i)
    for (int k = 0; k < 2; ++k) gam[i][k] = DOT(BS[i][k], ul, NE);
  for (int k = 0; k < 2; ++k) gam[3][k] = (gam[0][k] + gam[1][k] + gam[2][k]) / 3.0;
  double fl[NE] = {};
  const double f = r.THICK * g.DET / 12.0;
  for (int j = 0; j < 3; ++j) {
    const double c = layer_c(r, j);
    for (int i = 0; i < 4; ++i) {
      const double s[5] = {em[0] + c * ek[0], em[1] + c * ek[1], em[2] + c * ek[2], gam[i][0], gam[i][1]};
      SHLUPDATE(m, r, s, i + 1, j + 1, IELEM, UNITNO);
      if (i == 3) continue;
      bmat(BM, BK, BS, c, i, B);
      const double* sig = &r.STRESS(1, i + 1, j + 1);
      for (int col = 0; col < NE; ++col) fl[col] += f * SHLWGT[j] * DOT(B + 5 * col, sig, 5);
    }
  }
  for (int a = 0; a < 3; ++a) fl[6 * a + 5] = r.DRILL * ul[6 * a + 5];
  double fg[NE];
  to_global(g.T, fl, fg);
  SHLSCATTER(P, PD, r.BETA, fg, NOD, IDAMP);
}

bool SHLRECOK(const Model& m, const ELEMREC& e) {
  return e.IDX >= 1 && e.IDX <= m.NSHELL() && NODESOK(m, e, 3);
}

void SHLSTART(Model& m, ELEMREC& e, double* CLASS) {
  SHLREC& r = m.SHLREC(e.IDX);
  r.AVGLEN = AVGLEN(m, e, 3);
  double a[3], b[3], n[3];
  VSUB(m.XYZ.at(1, e.NOD(1)), m.XYZ.at(1, e.NOD(3)), a, 3);
  VSUB(m.XYZ.at(1, e.NOD(2)), m.XYZ.at(1, e.NOD(3)), b, 3);
  CROSS(a, b, n);
  const double len = VNORM(n, 3);
  const double area = 0.5 * len;
  const double E = r.E, nu = r.NU, th = r.THICK;
  r.GS = 1.0 / (2.0 * (1.0 + nu) / E + std::sqrt(3.0) * (1.0 - nu * nu) * area / (E * th * th));
  double D[15];
  DPLANE(E, nu, D);
  D[PACKIDX(4, 4, 5) - 1] = r.GS;
  D[PACKIDX(5, 5, 5) - 1] = r.GS;
  for (int j = 1; j <= 3; ++j)
    for (int i = 1; i <= 4; ++i)
      for (int k = 1; k <= 15; ++k) r.D(k, i, j) = D[k - 1];
  r.DRILL = 1.0e-5 * E * th * th * th;
  for (int a3 = 1; a3 <= 3; ++a3) {
    r.TNODE(a3) = th;
    for (int k = 1; k <= 3; ++k) r.V0(k, a3) = r.V(k, a3) = r.VC(k, a3) = n[k - 1] / len;
  }
  CLASSRULE(m, CLASS, r.GROUP, E, r.RHO, r.AVGLEN);
}

double* SHLBETA(Model& m, const ELEMREC& e, int& GROUP) {
  SHLREC& r = m.SHLREC(e.IDX);
  GROUP = r.GROUP;
  return &r.BETA;
}

bool SHLSTIFF(Model& m, const ELEMREC& e, double* Ke) {
  const SHLREC& r = m.SHLREC(e.IDX);
  if (m.KK(kk::GEONL) == 0) SHLKLIN(e.NOD.data(), m.XYZ, r, Ke);
  else SHLKNL(e.NOD.data(), m.XYZ, m.U, r, m.FRAMEFLG, m.FRAME, Ke);
  return true;
}

void SHLFORCE(Model& m, const ELEMREC& e, Arr2<double>& PD, int IDAMP) {
  SHLREC& r = m.SHLREC(e.IDX);
  const int unitshl = m.UNIT(6);
  if (m.KK(kk::GEONL) == 0) SHLFLIN(m, m.P, PD, r, m.XYZ, m.U, e.NOD.data(), e.IDX, unitshl, IDAMP);
  else SHLFNL(m, m.P, PD, r, m.XYZ, m.U, e.NOD.data(), e.IDX, unitshl, IDAMP);
}

namespace {

// One point by its state; true when an ELASTIC point changed state.
bool shlpoint(Model& m, SHLREC& r, int PT, int LY, int IREC) {
  const int st = r.STATE(PT, LY);
  if (st == ELASTIC) {
    SHLST0(m, r, PT, LY, IREC);
    return r.STATE(PT, LY) != ELASTIC;
  }
  if (st == PLASTIC) SHLST2(m, r, PT, LY, IREC);
  return false;
}

}  // namespace

bool SHLSTATUS(Model& m, const ELEMREC& e) {
  bool changed = false;
  SHLREC& r = m.SHLREC(e.IDX);
  for (int ly = 1; ly <= 3; ++ly)
    for (int pt = 1; pt <= 4; ++pt)
      if (shlpoint(m, r, pt, ly, 3 * e.IDX + ly - 3)) changed = true;
  return changed;
}

void SHLVAL(const Model& m, const model::SHLREC& r, std::int32_t id, ShellOut& o) {
  o.ID = id;
  for (int l = 1; l <= 3; ++l) {
    ShellLayerOut& L = o.L[l - 1];
    const double* s = &r.STRESS(1, 4, l);
    const double* e = &r.STRAIN(1, 4, l);
    L.STATE = r.STATE(4, l);
    double p[5], c, sn;
    PRINC2(s, p, c, sn);
    L.V[0] = static_cast<float>(p[0]);
    L.V[1] = static_cast<float>(p[1]);
    L.V[2] = static_cast<float>(DIRANGLE(c, sn));
    const double eh[5] = {e[0], e[1], 0.5 * e[2], 0.5 * e[3], 0.5 * e[4]};
    PRINC2(eh, p, c, sn);
    L.V[3] = static_cast<float>(p[0]);
    L.V[4] = static_cast<float>(p[1]);
    L.V[5] = static_cast<float>(SEDENS(L.STATE, s, e, &r.EPLAST(1, l), &r.D(1, 4, l), 5));
    L.V[6] = static_cast<float>(DIRANGLE(c, sn));
    L.V[7] = static_cast<float>(EQVSTR2(s, r.YTYPE, m.RR(rr::DPALPHA)));
    L.V[8] = static_cast<float>(r.EPEQ(l));
  }
}

void SHLRES(const Model& m, const ELEMREC& e, const Arr2<double>&, void* REC) {
  ShellOut r;
  SHLVAL(m, m.SHLREC(e.IDX), e.ID, r);
  std::memcpy(REC, &r, sizeof r);
}

int SHLSNAP(Model& m, const ELEMREC& e, SNAPITEM* ITEMS) {
  SHLREC& h = m.SHLREC(e.IDX);
  const SNAPITEM items[] = {SNAPARR(h.V),      SNAPARR(h.D),       SNAPARR(h.STRAIN),
                            SNAPARR(h.EPLAST), SNAPARR(h.EPEQ),    SNAPARR(h.STRESS),
                            SNAPARR(h.STRESS0), SNAPARR(h.PDIR),   SNAPARR(h.STATE),
                            SNAPARR(h.YIELD)};
  return SNAPLIST(items, ITEMS);
}

void SHLMASS(const Model& m, const ELEMREC& e, int LUMPED, double* MS) {
  const SHLREC& r = m.SHLREC(e.IDX);
  double a[3], b[3];
  VSUB(m.XYZ.at(1, e.NOD(1)), m.XYZ.at(1, e.NOD(3)), a, 3);
  VSUB(m.XYZ.at(1, e.NOD(2)), m.XYZ.at(1, e.NOD(3)), b, 3);
  const double mass = r.RHO * r.THICK * 0.5 * base::CROSSLEN(a, b);
  if (LUMPED == 1) {
    for (int k = 0; k < 3; ++k) MS[k] = mass / 3.0;
    return;
  }
  for (int j = 0; j < 3; ++j)
    for (int i = 0; i < 3; ++i) MS[i + 3 * j] = i == j ? mass / 6.0 : mass / 12.0;
}

const char* SHLBAD(const Model& m, const ELEMREC& e) {
  const SHLREC& r = m.SHLREC(e.IDX);
  if (!(r.THICK > 0.0)) return "HAS A THICKNESS THAT IS NOT ABOVE ZERO.";
  if (e.NOD(1) == e.NOD(2) || e.NOD(2) == e.NOD(3) || e.NOD(3) == e.NOD(1))
    return "NAMES ONE NODE TWICE.";
  double a[3], b[3], c[3];
  const double* p1 = m.XYZ.at(1, e.NOD(1));
  const double* p2 = m.XYZ.at(1, e.NOD(2));
  const double* p3 = m.XYZ.at(1, e.NOD(3));
  VSUB(p1, p3, a, 3);
  VSUB(p2, p3, b, 3);
  VSUB(p2, p1, c, 3);
  // Twice the area against the square of the longest edge: a sliver this
  // thin has no plane of its own.
  const double big = std::max({DOT(a, a, 3), DOT(b, b, 3), DOT(c, c, 3)});
  if (!(base::CROSSLEN(a, b) > 1.0e-10 * big)) return "HAS NO AREA: ITS NODES LIE ON ONE LINE.";
  return nullptr;
}

}  // namespace ossa::elements
