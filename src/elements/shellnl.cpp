// The shell's geometrically nonlinear route: a degenerated solid on the
// initial geometry with nodal directors, Green-Lagrange strains, the
// transverse shear tied at the mid-edges of the mid-surface; node frames
// of the shell nodes and the update of the directors by the rotations.
//
// Every strain of the element is a fixed linear combination of the changes
// of sixteen dot products of base vectors (three for each layer's in-plane
// metric, seven of the mid-surface for the tied shear); each base vector is
// linear in the node positions and directors. So the strains, their first
// variation B and the geometric stiffness all come from the products' values,
// gradients and second variations.
#include <array>
#include <cmath>
#include <vector>

#include "base/kernels.hpp"
#include "elements/family.hpp"
#include "elements/shell.hpp"

namespace ossa::elements {

using base::CROSS;
using base::PACKIDX;
using base::CROSSUNIT;
using base::DOT;
using base::VNORM;
using base::VSUB;
using base::VUNIT;
using base::ZEROD;

namespace {

constexpr int NE = SHLNE;
constexpr int NQ = 16;  // dot products behind the strains

// Points of the nonlinear route: mid-edges in this order, then the centroid.
constexpr double PTNL[4][2] = {{0.5, 0.0}, {0.5, 0.5}, {0.0, 0.5}, {1.0 / 3.0, 1.0 / 3.0}};
// Factors of C in (gxi, geta) at points 1 to 3.
constexpr double KXI[3] = {0.0, 0.5, 0.5}, KETA[3] = {0.5, 0.5, 0.0};

// A vector of the element, linear in the node positions x_a and the
// directors V_a: sum over a of AL[a] x_a + BE[a] V_a.
struct LinVec {
  double AL[3], BE[3];
};

LinVec base_g(int r, double zeta, const double* t) {
  // r = 0: along xi (nodes 1 and 3), 1: along eta (nodes 2 and 3).
  LinVec g{{0.0, 0.0, -1.0}, {0.0, 0.0, -0.5 * zeta * t[2]}};
  g.AL[r] = 1.0;
  g.BE[r] = 0.5 * zeta * t[r];
  return g;
}

LinVec base_g3(double xi, double eta, const double* t) {
  return {{0.0, 0.0, 0.0}, {0.5 * xi * t[0], 0.5 * eta * t[1], 0.5 * (1.0 - xi - eta) * t[2]}};
}

void lv_eval(const LinVec& l, const double* x, const double* V, double* out) {
  for (int k = 0; k < 3; ++k) out[k] = 0.0;
  for (int a = 0; a < 3; ++a)
    for (int k = 0; k < 3; ++k) out[k] += l.AL[a] * x[3 * a + k] + l.BE[a] * V[3 * a + k];
}

// The element's state: initial node positions and directors, the
// displacements and the directors' changes, and the current directors.
struct NLState {
  double X0[9], U[9], V0[9], DV[9], V[9], t[3];
  double THICK;
};

// The sixteen products: per layer j (3j, 3j+1, 3j+2) g1.g1, g2.g2, g1.g2;
// then on the mid-surface g1.g1, g2.g2, g1.g2, g1.g3(0.5,0), g1.g3(0.5,0.5),
// g2.g3(0,0.5), g2.g3(0.5,0.5).
struct Products {
  LinVec v[NQ], w[NQ];
};

Products products(const double* t) {
  Products p;
  for (int j = 0; j < 3; ++j) {
    const LinVec g1 = base_g(0, SHLZETA[j], t), g2 = base_g(1, SHLZETA[j], t);
    p.v[3 * j] = g1, p.w[3 * j] = g1;
    p.v[3 * j + 1] = g2, p.w[3 * j + 1] = g2;
    p.v[3 * j + 2] = g1, p.w[3 * j + 2] = g2;
  }
  const LinVec m1 = base_g(0, 0.0, t), m2 = base_g(1, 0.0, t);
  p.v[9] = m1, p.w[9] = m1;
  p.v[10] = m2, p.w[10] = m2;
  p.v[11] = m1, p.w[11] = m2;
  p.v[12] = m1, p.w[12] = base_g3(0.5, 0.0, t);
  p.v[13] = m1, p.w[13] = base_g3(0.5, 0.5, t);
  p.v[14] = m2, p.w[14] = base_g3(0.0, 0.5, t);
  p.v[15] = m2, p.w[15] = base_g3(0.5, 0.5, t);
  return p;
}

// The linear map from the products' changes to the strains of every layer
// and point, and the weights w_j det / 6 of points 1 to 3, det being the
// volume Jacobian (G1 x G2).G3 of the solid, which carries the thickness.
struct StrainMap {
  double L[3][4][5][NQ];
  double WDET[3][3];
};

// Rows of the in-plane transform of layer j: (e11, e22, g12) to (exx, eyy,
// gxy). It is built on the initial base vectors of the layer, so that the
// strain stays a Green-Lagrange strain of the reference state, work-conjugate
// to the second Piola-Kirchhoff stress, and its variations stay those of the
// covariant components alone.
void plane_transform(const double* G1, const double* G2, double* M) {
  double e1[3], e3[3], e2[3], n[3], G1c[3], G2c[3];
  VUNIT(G1, e1, 3);
  CROSSUNIT(G1, G2, e3);
  CROSS(e3, e1, e2);
  CROSS(G1, G2, n);
  const double d = DOT(n, e3, 3);
  CROSS(G2, e3, G1c);  // contravariant vectors of the layer's plane
  CROSS(e3, G1, G2c);
  const double p = DOT(G1c, e1, 3) / d, q = DOT(G2c, e1, 3) / d;
  const double r = DOT(G1c, e2, 3) / d, s = DOT(G2c, e2, 3) / d;
  const double rows[9] = {p * p, q * q, p * q, r * r, s * s, r * s, 2 * p * r, 2 * q * s, q * r + p * s};
  for (int k = 0; k < 9; ++k) M[k] = rows[k];
}

// The tied transverse shears (gxz, gyz) of points 1 to 4, SH[i][k], as
// combinations of the products' changes.
void tied_shear(const NLState& s, const SHLREC& r, double SH[4][2][NQ]) {
  // Covariant shears at the tying points: Exi(0.5,0), Exi(0.5,0.5),
  // Eeta(0,0.5), Eeta(0.5,0.5); 2 a6 e11 + a7 g12 + a8 g13 along xi,
  // 2 a7 e22 + a6 g12 + a8 g23 along eta, e11 being half its product's change.
  double tie[4][NQ];
  for (auto& c : tie) ZEROD(c, NQ);
  static const double TP[4][2] = {{0.5, 0.0}, {0.5, 0.5}, {0.0, 0.5}, {0.5, 0.5}};
  for (int k = 0; k < 4; ++k) {
    double c[5];
    SHLCOEF(s.X0, r, TP[k][0], TP[k][1], c);
    const bool xi = k < 2;
    const double a = xi ? c[0] : c[1];
    tie[k][xi ? 9 : 10] = a * (xi ? c[2] : c[3]);
    tie[k][11] = a * (xi ? c[3] : c[2]);
    tie[k][12 + k] = a * c[4];
  }
  double TR[4];
  SHLTRANS(s.X0, r.THICK, TR);
  for (int q = 0; q < NQ; ++q) {
    const double C = tie[1][q] - tie[0][q] + tie[2][q] - tie[3][q];
    for (int i = 0; i < 3; ++i) {
      const double gxi = tie[0][q] + KXI[i] * C, geta = tie[2][q] - KETA[i] * C;
      SH[i][0][q] = TR[0] * gxi + TR[1] * geta;
      SH[i][1][q] = TR[2] * gxi + TR[3] * geta;
    }
    for (int k = 0; k < 2; ++k) SH[3][k][q] = (SH[0][k][q] + SH[1][k][q] + SH[2][k][q]) / 3.0;
  }
}

StrainMap strain_map(const NLState& s, const SHLREC& r) {
  StrainMap sm;
  for (auto& a : sm.L)
    for (auto& b : a)
      for (auto& c : b) ZEROD(c, NQ);
  double sh[4][2][NQ];
  tied_shear(s, r, sh);
  const Products pr = products(s.t);
  for (int j = 0; j < 3; ++j) {
    double G1[3], G2[3], M[9], n[3];
    lv_eval(pr.v[3 * j], s.X0, s.V0, G1);
    lv_eval(pr.w[3 * j + 1], s.X0, s.V0, G2);
    plane_transform(G1, G2, M);
    CROSS(G1, G2, n);
    for (int i = 0; i < 4; ++i) {
      for (int k = 0; k < 3; ++k) {
        sm.L[j][i][k][3 * j] = 0.5 * M[3 * k];
        sm.L[j][i][k][3 * j + 1] = 0.5 * M[3 * k + 1];
        sm.L[j][i][k][3 * j + 2] = M[3 * k + 2];
      }
      for (int k = 0; k < 2; ++k)
        for (int q = 0; q < NQ; ++q) sm.L[j][i][3 + k][q] = sh[i][k][q];
      if (i == 3) continue;
      double G3[3];
      lv_eval(base_g3(PTNL[i][0], PTNL[i][1], s.t), s.X0, s.V0, G3);
      sm.WDET[j][i] = SHLWGT[j] * DOT(n, G3, 3) / 6.0;
    }
  }
  return sm;
}

// Values (current and initial) and gradients over the 18 variables of the
// products; a rotation theta of node a moves its director by theta x V_a.
struct ProdVals {
  double CHG[NQ], DP[NQ][NE];   // the change of each product, its gradient
  double vv[NQ][3], ww[NQ][3];  // the current vectors
};

// A product's change is taken from the vectors' own changes, G.d + d.G +
// d.d: its difference from the initial product would lose to rounding all
// that the coordinates' size hides of a small strain.
ProdVals prod_vals(const Products& pr, const NLState& s) {
  ProdVals o;
  for (int q = 0; q < NQ; ++q) {
    double v0[3], w0[3], dv[3], dw[3];
    lv_eval(pr.v[q], s.X0, s.V0, v0);
    lv_eval(pr.w[q], s.X0, s.V0, w0);
    lv_eval(pr.v[q], s.U, s.DV, dv);
    lv_eval(pr.w[q], s.U, s.DV, dw);
    for (int k = 0; k < 3; ++k) o.vv[q][k] = v0[k] + dv[k], o.ww[q][k] = w0[k] + dw[k];
    o.CHG[q] = DOT(v0, dw, 3) + DOT(dv, w0, 3) + DOT(dv, dw, 3);
    const LinVec &lv = pr.v[q], &lw = pr.w[q];
    for (int a = 0; a < 3; ++a) {
      double cv[3], cw[3];
      CROSS(s.V + 3 * a, o.ww[q], cw);
      CROSS(s.V + 3 * a, o.vv[q], cv);
      for (int k = 0; k < 3; ++k) {
        o.DP[q][6 * a + k] = lv.AL[a] * o.ww[q][k] + lw.AL[a] * o.vv[q][k];
        o.DP[q][6 * a + 3 + k] = lv.BE[a] * cw[k] + lw.BE[a] * cv[k];
      }
    }
  }
  return o;
}

// [V]x, the skew matrix of V, column by column.
void skew(const double* V, double* S) {
  const double s[9] = {0.0, V[2], -V[1], -V[2], 0.0, V[0], V[1], -V[0], 0.0};
  for (int k = 0; k < 9; ++k) S[k] = s[k];
}

// K(18,18) full += c times the second variation of the product q.
void prod_hess(const Products& pr, const ProdVals& o, const NLState& s, int q, double c, double* K) {
  const LinVec &lv = pr.v[q], &lw = pr.w[q];
  double Sk[3][9];
  for (int a = 0; a < 3; ++a) skew(s.V + 3 * a, Sk[a]);
  auto add = [&](int p0, int q0, const double* blk, double f) {  // blk column by column
    if (f == 0.0) return;
    for (int l = 0; l < 3; ++l)
      for (int k = 0; k < 3; ++k) K[(p0 + k) + NE * (q0 + l)] += f * blk[k + 3 * l];
  };
  static const double I3[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  for (int a = 0; a < 3; ++a)
    for (int b = 0; b < 3; ++b) {
      add(6 * a, 6 * b, I3, c * (lv.AL[a] * lw.AL[b] + lw.AL[a] * lv.AL[b]));
      const double fut = -c * (lv.AL[a] * lw.BE[b] + lw.AL[a] * lv.BE[b]);
      if (fut != 0.0) {
        double St[9];  // -(V_b)x on (u_a, theta_b), its transpose on (theta_b, u_a)
        for (int k = 0; k < 3; ++k)
          for (int l = 0; l < 3; ++l) St[k + 3 * l] = Sk[b][l + 3 * k];
        add(6 * a, 6 * b + 3, Sk[b], fut);
        add(6 * b + 3, 6 * a, St, fut);
      }
      const double ftt = c * (lv.BE[a] * lw.BE[b] + lw.BE[a] * lv.BE[b]);
      if (ftt != 0.0) {
        double SS[9];  // (theta x V_a).(phi x V_b) = -theta^T (V_a)x (V_b)x phi
        base::MATMUL(Sk[a], Sk[b], SS, 3, 3, 3);
        add(6 * a + 3, 6 * b + 3, SS, -ftt);
      }
    }
  // The directors' own second variation, 1/2 (th x (ph x V) + ph x (th x V)).
  for (int a = 0; a < 3; ++a) {
    if (lv.BE[a] == 0.0 && lw.BE[a] == 0.0) continue;
    double w[3], H[9];
    for (int k = 0; k < 3; ++k) w[k] = lw.BE[a] * o.vv[q][k] + lv.BE[a] * o.ww[q][k];
    const double* V = s.V + 3 * a;
    const double wv = DOT(w, V, 3);
    for (int l = 0; l < 3; ++l)
      for (int k = 0; k < 3; ++k) H[k + 3 * l] = 0.5 * (V[k] * w[l] + w[k] * V[l]) - (k == l ? wv : 0.0);
    add(6 * a + 3, 6 * a + 3, H, c);
  }
}

NLState nlstate(const std::int32_t* NOD, const Arr2<double>& XYZ, const Arr2<double>& U, const SHLREC& r) {
  NLState s;
  for (int a = 0; a < 3; ++a) {
    for (int k = 0; k < 3; ++k) {
      s.X0[3 * a + k] = XYZ(k + 1, NOD[a]);
      s.U[3 * a + k] = U(k + 1, NOD[a]);
      s.V0[3 * a + k] = r.V0(k + 1, a + 1);
      s.V[3 * a + k] = r.V(k + 1, a + 1);
      s.DV[3 * a + k] = s.V[3 * a + k] - s.V0[3 * a + k];
    }
    s.t[a] = r.TNODE(a + 1);
  }
  s.THICK = r.THICK;
  return s;
}

// Strain vector of (layer j, point i) from the products' changes.
void point_strain(const StrainMap& sm, const ProdVals& o, int j, int i, double* e) {
  for (int k = 0; k < 5; ++k) e[k] = DOT(sm.L[j][i][k], o.CHG, NQ);
}

// The first variations of the strains: a layer's in-plane rows P[j] are
// the same at its four points, a point's shear rows S[i] the same in the
// three layers.
struct BRows {
  double P[3][3][NE], S[3][2][NE];
};

BRows brows(const StrainMap& sm, const ProdVals& o) {
  BRows br;
  auto row = [&](const double* l, double* b) {
    ZEROD(b, NE);
    for (int q = 0; q < NQ; ++q)
      if (l[q] != 0.0)  // an in-plane row uses its layer's three products
        for (int c = 0; c < NE; ++c) b[c] += l[q] * o.DP[q][c];
  };
  for (int j = 0; j < 3; ++j)
    for (int k = 0; k < 3; ++k) row(sm.L[j][0][k], br.P[j][k]);
  for (int i = 0; i < 3; ++i)
    for (int k = 0; k < 2; ++k) row(sm.L[0][i][3 + k], br.S[i][k]);
  return br;
}

// B(5,18) by columns of (layer j, point i).
void bpoint(const BRows& br, int j, int i, double* B) {
  for (int c = 0; c < NE; ++c) {
    for (int k = 0; k < 3; ++k) B[k + 5 * c] = br.P[j][k][c];
    for (int k = 0; k < 2; ++k) B[3 + k + 5 * c] = br.S[i][k][c];
  }
}

// K(18,18) upper += W R^T D R for NR rows R (row by row) and D(NR,NR) taken
// from the packed 5 x 5 DP at offset OFF (0 in-plane block, 3 shear block).
void btdb_rows(const double (*R)[NE], int NR, const double* DP, int OFF, double W, double* K) {
  double DR[3][NE];
  for (int k = 0; k < NR; ++k)
    for (int c = 0; c < NE; ++c) {
      double v = 0.0;
      for (int l = 0; l < NR; ++l) v += DP[PACKIDX(OFF + k + 1, OFF + l + 1, 5) - 1] * R[l][c];
      DR[k][c] = W * v;
    }
  for (int q = 0; q < NE; ++q)
    for (int p = 0; p <= q; ++p) {
      double v = 0.0;
      for (int k = 0; k < NR; ++k) v += R[k][p] * DR[k][q];
      K[p + NE * q] += v;
    }
}

// True when no in-plane strain meets a shear stress in D (packed 5 x 5).
bool splits(const double* D) {
  return D[3] == 0.0 && D[4] == 0.0 && D[7] == 0.0 && D[8] == 0.0 && D[10] == 0.0 && D[11] == 0.0;
}

// The material part of the tangent. With one tangent at all points that
// does not couple in-plane and shear, the layers' in-plane rows and the
// points' shear rows are integrated each once, with their summed weights.
void material_k(const SHLREC& r, const StrainMap& sm, const BRows& br, double* K) {
  if (SHLUNIFORM(r) && splits(&r.D(1, 1, 1))) {
    for (int j = 0; j < 3; ++j)
      btdb_rows(br.P[j], 3, &r.D(1, 1, 1), 0, sm.WDET[j][0] + sm.WDET[j][1] + sm.WDET[j][2], K);
    for (int i = 0; i < 3; ++i)
      btdb_rows(br.S[i], 2, &r.D(1, 1, 1), 3, sm.WDET[0][i] + sm.WDET[1][i] + sm.WDET[2][i], K);
    return;
  }
  double B[5 * NE];
  for (int j = 0; j < 3; ++j)
    for (int i = 0; i < 3; ++i) {
      bpoint(br, j, i, B);
      SHLBTDB(B, &r.D(1, i + 1, j + 1), sm.WDET[j][i], K, NE);
    }
}

}  // namespace

void SHLCOEF(const double* X, const SHLREC& r, double XI, double ETA, double* COEF) {
  const double N[3] = {XI, ETA, 1.0 - XI - ETA};
  double G1[3], G2[3], G3[3] = {0.0, 0.0, 0.0}, h[3];
  VSUB(X, X + 6, G1, 3);
  VSUB(X + 3, X + 6, G2, 3);
  for (int a = 0; a < 3; ++a)
    for (int k = 0; k < 3; ++k) G3[k] += 0.5 * N[a] * r.TNODE(a + 1) * r.V0(k + 1, a + 1);
  double c12[3], c23[3], c31[3];
  CROSS(G1, G2, c12);
  CROSS(G2, G3, c23);
  CROSS(G3, G1, c31);
  const double D = DOT(c12, G3, 3);
  CROSSUNIT(G1, G2, h);
  for (double& v : h) v *= 0.5 * r.THICK;
  COEF[0] = DOT(G1, c23, 3) / D;
  COEF[1] = DOT(G2, c31, 3) / D;
  COEF[2] = DOT(c23, h, 3) / D;
  COEF[3] = DOT(c31, h, 3) / D;
  COEF[4] = DOT(c12, h, 3) / D;
}

void SHLTRANS(const double* X, double THICK, double* TR) {
  double A[3], B[3], H[3], AB[3], G1[3], G2[3], e1[3], e2[3], e3[3];
  VSUB(X, X + 6, A, 3);
  VSUB(X + 3, X + 6, B, 3);
  CROSS(A, B, AB);
  VUNIT(AB, H, 3);
  for (double& v : H) v *= 0.5 * THICK;
  const double D = DOT(AB, H, 3);
  CROSS(B, H, G1);
  CROSS(H, A, G2);
  for (int k = 0; k < 3; ++k) G1[k] /= D, G2[k] /= D;
  VUNIT(A, e1, 3);
  VUNIT(G2, e2, 3);
  VUNIT(H, e3, 3);
  const double c = DOT(AB, e3, 3) / D;
  TR[0] = c * DOT(G1, e1, 3);
  TR[1] = c * DOT(G2, e1, 3);
  TR[2] = c * DOT(G1, e2, 3);
  TR[3] = c * DOT(G2, e2, 3);
}

void SHLKNL(const std::int32_t* NOD, const Arr2<double>& XYZ, const Arr2<double>& U,
            const SHLREC& r, const Arr1<std::int32_t>& FRAMEFLG, const Arr3<double>& FRAME,
            double* SK) {
  const NLState s = nlstate(NOD, XYZ, U, r);
  const Products pr = products(s.t);
  const StrainMap sm = strain_map(s, r);
  const ProdVals o = prod_vals(pr, s);
  double K[NE * NE], cq[NQ] = {};
  ZEROD(K, NE * NE);
  material_k(r, sm, brows(sm, o), K);
  // The geometric part: each product's second variation times the stress
  // that its change carries.
  for (int j = 0; j < 3; ++j)
    for (int i = 0; i < 3; ++i)
      for (int k = 0; k < 5; ++k) {
        const double ws = sm.WDET[j][i] * r.STRESS(k + 1, i + 1, j + 1);
        for (int q = 0; q < NQ; ++q) cq[q] += ws * sm.L[j][i][k][q];
      }
  for (int q = 0; q < NQ; ++q)
    if (cq[q] != 0.0) prod_hess(pr, o, s, q, cq[q], K);
  // Rotations of a node with a frame go into its axes: K := F K F^T.
  static const double I3[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  double F[3][9];
  const double* T[6];
  for (int a = 0; a < 3; ++a) {
    T[2 * a] = I3;
    T[2 * a + 1] = I3;
    const int nd = NOD[a];
    if (!FRAMEFLG.allocated() || FRAMEFLG(nd) != 1) continue;
    for (int i = 0; i < 3; ++i)
      for (int k = 0; k < 3; ++k) F[a][3 * k + i] = FRAME(i + 1, k + 1, nd);
    T[2 * a + 1] = F[a];
  }
  SHLTRIPLES(T, K, SK);
}

void SHLFNL(Model& m, Arr2<double>& P, Arr2<double>& PD, SHLREC& r, const Arr2<double>& XYZ,
            const Arr2<double>& U, const std::int32_t* NOD, int IELEM, int UNITNO, int IDAMP) {
  const NLState s = nlstate(NOD, XYZ, U, r);
  const Products pr = products(s.t);
  const StrainMap sm = strain_map(s, r);
  const ProdVals o = prod_vals(pr, s);
  double e[5];
  for (int j = 0; j < 3; ++j)
    for (int i = 0; i < 4; ++i) {
      point_strain(sm, o, j, i, e);
      SHLUPDATE(m, r, e, i + 1, j + 1, IELEM, UNITNO);
    }
  // f = sum of w det / 6 B^T STRESS over points 1 to 3 of each layer, by the
  // shared rows.
  const BRows br = brows(sm, o);
  double f[NE] = {};
  for (int j = 0; j < 3; ++j)
    for (int k = 0; k < 3; ++k) {
      double c = 0.0;
      for (int i = 0; i < 3; ++i) c += sm.WDET[j][i] * r.STRESS(k + 1, i + 1, j + 1);
      for (int q = 0; q < NE; ++q) f[q] += c * br.P[j][k][q];
    }
  for (int i = 0; i < 3; ++i)
    for (int k = 0; k < 2; ++k) {
      double c = 0.0;
      for (int j = 0; j < 3; ++j) c += sm.WDET[j][i] * r.STRESS(k + 4, i + 1, j + 1);
      for (int q = 0; q < NE; ++q) f[q] += c * br.S[i][k][q];
    }
  SHLSCATTER(P, PD, r.BETA, f, NOD, IDAMP);
}

// ---- Node frames and directors.

namespace {

// The unit normal of shell `e` from its reference corners.
void shell_normal(const Model& m, const ELEMREC& e, double* n) {
  double a[3], b[3];
  VSUB(m.XYZ.at(1, e.NOD(1)), m.XYZ.at(1, e.NOD(3)), a, 3);
  VSUB(m.XYZ.at(1, e.NOD(2)), m.XYZ.at(1, e.NOD(3)), b, 3);
  CROSSUNIT(a, b, n);
}

// The triad of director V: a1, a2, V as the rows of F (F[3 i + k]).
void triad(const double* V, double* F) {
  int k = std::fabs(V[1]) < std::fabs(V[0]) ? 1 : 0;
  if (std::fabs(V[k]) > std::fabs(V[2])) k = 2;
  const double ek[3] = {k == 0 ? 1.0 : 0.0, k == 1 ? 1.0 : 0.0, k == 2 ? 1.0 : 0.0};
  CROSSUNIT(V, ek, F + 3);
  CROSSUNIT(F + 3, V, F);
  for (int i = 0; i < 3; ++i) F[6 + i] = V[i];
}

}  // namespace

namespace {

using Normals = std::vector<std::vector<std::array<double, 3>>>;

// The normals of the shells at each node, in element order, each later one
// turned to the first one's side.
Normals gather_normals(const Model& m, const std::vector<int>& shells) {
  Normals at(static_cast<std::size_t>(m.NNODE()) + 1);
  for (int ie : shells) {
    const ELEMREC& e = m.ELEM(ie);
    if (!SHLRECOK(m, e)) continue;
    std::array<double, 3> n;
    shell_normal(m, e, n.data());
    for (int a = 1; a <= 3; ++a) {
      auto& list = at[static_cast<std::size_t>(e.NOD(a))];
      std::array<double, 3> v = n;
      if (!list.empty() && DOT(list.front().data(), v.data(), 3) < 0.0)
        for (double& x : v) x = -x;
      list.push_back(v);
    }
  }
  return at;
}

// The node's frame when no two of its normals part by more than the angle
// whose cosine is CMIN: the director is their mean.
bool node_frame(const std::vector<std::array<double, 3>>& list, double cmin, double* F) {
  if (list.empty()) return false;
  double sum[3] = {0.0, 0.0, 0.0};
  for (std::size_t i = 0; i < list.size(); ++i) {
    for (std::size_t j = i + 1; j < list.size(); ++j)
      if (DOT(list[i].data(), list[j].data(), 3) < cmin) return false;
    for (int k = 0; k < 3; ++k) sum[k] += list[i][k];
  }
  double V[3];
  VUNIT(sum, V, 3);
  triad(V, F);
  return true;
}

}  // namespace

void SHLFRAMES(Model& m) {
  const std::vector<int> shells = FAMILYELEMS(m, F_SHELL);
  const Normals at = gather_normals(m, shells);
  const double cmin = std::cos(m.RR(rr::PI3));
  for (int nd = 1; nd <= m.NNODE(); ++nd) {
    double F[9];
    m.FRAMEFLG(nd) = node_frame(at[static_cast<std::size_t>(nd)], cmin, F) ? 1 : 0;
    if (m.FRAMEFLG(nd) == 0) continue;
    for (int i = 0; i < 3; ++i)
      for (int k = 0; k < 3; ++k) m.FRAME(i + 1, k + 1, nd) = F[3 * i + k];
  }
  // Each element's directors at framed nodes: the nodal director, turned to
  // the element's side, with the thickness measured along it.
  for (int ie : shells) {
    const ELEMREC& e = m.ELEM(ie);
    if (!SHLRECOK(m, e)) continue;
    SHLREC& r = m.SHLREC(e.IDX);
    for (int a = 1; a <= 3; ++a) {
      const int nd = e.NOD(a);
      if (m.FRAMEFLG(nd) != 1) continue;
      double s = 0.0;
      for (int k = 1; k <= 3; ++k) s += r.V0(k, a) * m.FRAME(3, k, nd);
      const double c = s < 0.0 ? -1.0 : 1.0;
      r.TNODE(a) = r.THICK / (c * s);
      for (int k = 1; k <= 3; ++k) r.V0(k, a) = r.V(k, a) = r.VC(k, a) = c * m.FRAME(3, k, nd);
    }
  }
}

void SHLVUPD(Model& m) {
  for (int ie : FAMILYELEMS(m, F_SHELL)) {
    const ELEMREC& e = m.ELEM(ie);
    if (!SHLRECOK(m, e)) continue;
    SHLREC& r = m.SHLREC(e.IDX);
    for (int a = 1; a <= 3; ++a) {
      const double* th = m.DU.at(4, e.NOD(a));
      if (VNORM(th, 3) == 0.0) continue;
      double R[9], v[3];
      SHLROT(th, R);
      base::MATMUL(R, &r.V(1, a), v, 3, 3, 1);
      for (int k = 0; k < 3; ++k) r.V(k + 1, a) = v[k];
    }
  }
  for (int nd = 1; nd <= m.NNODE(); ++nd) {
    if (m.FRAMEFLG(nd) != 1) continue;
    const double* th = m.DU.at(4, nd);
    if (VNORM(th, 3) == 0.0) continue;
    double R[9];
    SHLROT(th, R);
    for (int i = 1; i <= 3; ++i) {
      double ax[3], v[3];
      for (int k = 0; k < 3; ++k) ax[k] = m.FRAME(i, k + 1, nd);
      base::MATMUL(R, ax, v, 3, 3, 1);
      for (int k = 0; k < 3; ++k) m.FRAME(i, k + 1, nd) = v[k];
    }
  }
}

}  // namespace ossa::elements
