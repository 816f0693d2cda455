#include "elements/solid.hpp"

#include <cmath>
#include <cstring>
#include <string>

#include "base/files.hpp"
#include "base/kernels.hpp"
#include "elements/family.hpp"
#include "elements/material.hpp"
#include "elements/resrec.hpp"
#include "elements/status.hpp"
#include "model/stop.hpp"

namespace ossa::elements {

using base::PACKIDX;
using base::MATMUL;
using base::MATTMUL;
using base::SYMMUL;
using base::DOT;
using base::VSUB;
using base::CROSS;
using base::ZEROD;
using base::DELAS;

namespace {

constexpr int NE = 12;  // element degrees of freedom


void gather_x(const std::int32_t* NOD, const Arr2<double>& XYZ, double* X) {
  for (int a = 0; a < 4; ++a) {
    const double* p = XYZ.at(1, NOD[a]);
    X[3 * a] = p[0];
    X[3 * a + 1] = p[1];
    X[3 * a + 2] = p[2];
  }
}

void gather_u(const std::int32_t* NOD, const Arr2<double>& U, double* u) {
  for (int a = 0; a < 4; ++a) {
    const double* p = U.at(1, NOD[a]);
    u[3 * a] = p[0];
    u[3 * a + 1] = p[1];
    u[3 * a + 2] = p[2];
  }
}

void unpack6(const double* Dp, double* D) {
  for (int i = 1; i <= 6; ++i)
    for (int j = 1; j <= 6; ++j) D[(i - 1) + 6 * (j - 1)] = Dp[PACKIDX(i, j, 6) - 1];
}

// SK = v B^T D B, packed; B(6,12), D packed 6 x 6.
void btdb(const double* B, const double* Dp, double v, double* SK) {
  double D[36], DB[6 * NE];
  unpack6(Dp, D);
  MATMUL(D, B, DB, 6, 6, NE);
  for (int q = 0; q < NE; ++q)
    for (int k = 0; k < 6; ++k) DB[k + 6 * q] *= v;
  for (int p = 0; p < NE; ++p) {
    const double* b = B + 6 * p;
    for (int q = p; q < NE; ++q) {
      const double* d = DB + 6 * q;
      SK[PACKIDX(p + 1, q + 1, NE) - 1] =
          b[0] * d[0] + b[1] * d[1] + b[2] * d[2] + b[3] * d[3] + b[4] * d[4] + b[5] * d[5];
    }
  }
}

// The same product for the small-strain B of DN, which has three nonzero
// entries a column: rows (xx, xy, zx), (yy, xy, yz), (zz, yz, zx) for x, y, z.
void btdb_small(const double* DN, const double* Dp, double v, double* SK) {
  static const int ROW[3][3] = {{0, 3, 5}, {1, 3, 4}, {2, 4, 5}};
  double D[36], DB[6 * NE], val[NE][3];
  unpack6(Dp, D);
  for (int a = 0; a < 4; ++a) {
    const double ax = DN[3 * a], ay = DN[3 * a + 1], az = DN[3 * a + 2];
    const double w[3][3] = {{ax, ay, az}, {ay, ax, az}, {az, ay, ax}};
    for (int i = 0; i < 3; ++i) {
      const int q = 3 * a + i;
      for (int t = 0; t < 3; ++t) val[q][t] = w[i][t];
      const double* d1 = D + 6 * ROW[i][0];
      const double* d2 = D + 6 * ROW[i][1];
      const double* d3 = D + 6 * ROW[i][2];
      for (int k = 0; k < 6; ++k) DB[k + 6 * q] = v * (d1[k] * w[i][0] + d2[k] * w[i][1] + d3[k] * w[i][2]);
    }
  }
  for (int p = 0; p < NE; ++p) {
    const int* r = ROW[p % 3];
    const double* b = val[p];
    for (int q = p; q < NE; ++q) {
      const double* d = DB + 6 * q;
      SK[PACKIDX(p + 1, q + 1, NE) - 1] = b[0] * d[r[0]] + b[1] * d[r[1]] + b[2] * d[r[2]];
    }
  }
}

// The strain increment against the record, the stress integrated with the
// record's tangent and, for a PLASTIC element, the plastic strain.
void update(Model& m, SOLREC& r, const double* e, int IREC, int UNITNO) {
  double de[6], ds[6];
  for (int k = 0; k < 6; ++k) {
    de[k] = e[k] - r.STRAIN(k + 1);
    r.STRAIN(k + 1) = e[k];
  }
  SYMMUL(r.D.data(), de, ds, 6, 1);
  for (int k = 0; k < 6; ++k) r.STRESS(k + 1) += ds[k];
  if (r.STATE != 2) return;
  // WPL(6), then MPL(6,6) column by column.
  double rec[42];
  PLREAD(m, UNITNO, IREC, rec, 42);
  r.EPEQ += DOT(rec, de, 6);
  double dp[6];
  MATMUL(rec + 6, de, dp, 6, 6, 1);
  for (int k = 0; k < 6; ++k) r.EPLAST(k + 1) += dp[k];
}

// f = v B^T STRESS into P, and BETA f into PD when damping forces are kept.
void scatter(Arr2<double>& P, Arr2<double>& PD, const SOLREC& r, const double* B, double v,
             const std::int32_t* NOD, int IDAMP) {
  double f[NE];
  MATTMUL(B, r.STRESS.data(), f, NE, 6, 1);
  for (int a = 0; a < 4; ++a) {
    double* p = P.at(1, NOD[a]);
    for (int i = 0; i < 3; ++i) p[i] += v * f[3 * a + i];
    if (IDAMP != 1) continue;
    double* d = PD.at(1, NOD[a]);
    for (int i = 0; i < 3; ++i) d[i] += r.BETA * v * f[3 * a + i];
  }
}

}  // namespace

void PLREAD(Model& m, int UNITNO, int IREC, double* rec, int n) {
  base::Unit& u = m.unit(UNITNO);
  if (!base::dread(u, IREC, rec, sizeof(double) * static_cast<std::size_t>(n)))
    model::FILESTOP(m, "CANNOT READ " + u.name);
  // WPL is never zero in a written record: the flow direction is not.
  for (int k = 0; k < n; ++k)
    if (rec[k] != 0.0) return;
  model::FILESTOP(m, "RECORD " + std::to_string(IREC) + " OF " + u.name + " WAS NEVER WRITTEN.");
}

double TETDN(const double* X, double* DN) {
  double d1[3], d2[3], d3[3], c1[3], c2[3], c3[3];
  VSUB(X, X + 9, d1, 3);
  VSUB(X + 3, X + 9, d2, 3);
  VSUB(X + 6, X + 9, d3, 3);
  CROSS(d2, d3, c1);
  CROSS(d3, d1, c2);
  CROSS(d1, d2, c3);
  const double det = DOT(d1, c1, 3);  // triple product; 6V is its negative
  const double r = 1.0 / det;
  for (int j = 0; j < 3; ++j) {
    DN[j] = c1[j] * r;
    DN[3 + j] = c2[j] * r;
    DN[6 + j] = c3[j] * r;
    DN[9 + j] = -(DN[j] + DN[3 + j] + DN[6 + j]);
  }
  return -det;
}

double TETB(const double* X, double* B) {
  double DN[12];
  const double v6 = TETDN(X, DN);
  ZEROD(B, 6 * NE);
  for (int a = 0; a < 4; ++a) {
    const double ax = DN[3 * a], ay = DN[3 * a + 1], az = DN[3 * a + 2];
    double* bx = B + 6 * (3 * a);
    double* by = bx + 6;
    double* bz = by + 6;
    bx[0] = ax; bx[3] = ay; bx[5] = az;
    by[1] = ay; by[3] = ax; by[4] = az;
    bz[2] = az; bz[4] = ay; bz[5] = ax;
  }
  return v6;
}

void GLSTRAIN(const double* H, double* E) {
  auto h = [H](int i, int j) { return H[(i - 1) + 3 * (j - 1)]; };
  E[0] = h(1, 1) + 0.5 * (h(1, 1) * h(1, 1) + h(2, 1) * h(2, 1) + h(3, 1) * h(3, 1));
  E[1] = h(2, 2) + 0.5 * (h(1, 2) * h(1, 2) + h(2, 2) * h(2, 2) + h(3, 2) * h(3, 2));
  E[2] = h(3, 3) + 0.5 * (h(1, 3) * h(1, 3) + h(2, 3) * h(2, 3) + h(3, 3) * h(3, 3));
  E[3] = h(1, 2) + h(2, 1) + h(1, 1) * h(1, 2) + h(2, 1) * h(2, 2) + h(3, 1) * h(3, 2);
  E[4] = h(2, 3) + h(3, 2) + h(1, 2) * h(1, 3) + h(2, 2) * h(2, 3) + h(3, 2) * h(3, 3);
  E[5] = h(3, 1) + h(1, 3) + h(1, 1) * h(1, 3) + h(2, 1) * h(2, 3) + h(3, 1) * h(3, 3);
}

void DISPGRAD(const double* DN, const double* u, double* H, int NN) {
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      double s = 0.0;
      for (int a = 0; a < NN; ++a) s += u[3 * a + i] * DN[3 * a + j];
      H[i + 3 * j] = s;
    }
}

void BNLMAT(const double* DN, const double* H, double* BL, int NN) {
  // With F = I + H the rows are those of the small-strain B with F(i,j) in
  // place of the Kronecker delta.
  for (int a = 0; a < NN; ++a) {
    const double ax = DN[3 * a], ay = DN[3 * a + 1], az = DN[3 * a + 2];
    for (int i = 0; i < 3; ++i) {
      const double f1 = H[i] + (i == 0 ? 1.0 : 0.0);
      const double f2 = H[i + 3] + (i == 1 ? 1.0 : 0.0);
      const double f3 = H[i + 6] + (i == 2 ? 1.0 : 0.0);
      double* b = BL + 6 * (3 * a + i);
      b[0] = f1 * ax;
      b[1] = f2 * ay;
      b[2] = f3 * az;
      b[3] = f1 * ay + f2 * ax;
      b[4] = f2 * az + f3 * ay;
      b[5] = f1 * az + f3 * ax;
    }
  }
}

void GMAT9(const double* DN, double* G, int NN) {
  ZEROD(G, 27 * NN);
  for (int a = 0; a < NN; ++a)
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) G[(3 * i + j) + 9 * (3 * a + i)] = DN[3 * a + j];
}

void SMAT9(const double* S, double* ST) {
  const double t[9] = {S[0], S[3], S[5], S[3], S[1], S[4], S[5], S[4], S[2]};
  ZEROD(ST, 81);
  for (int blk = 0; blk < 3; ++blk)
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) ST[(3 * blk + i) + 9 * (3 * blk + j)] = t[i + 3 * j];
}

void SOLKLIN(const std::int32_t* NOD, const Arr2<double>& XYZ, const double* D, double* SK) {
  double X[12], DN[12];
  gather_x(NOD, XYZ, X);
  const double v6 = TETDN(X, DN);
  btdb_small(DN, D, v6 / 6.0, SK);
}

void SOLKNL(const std::int32_t* NOD, const Arr2<double>& XYZ, const Arr2<double>& U,
            const double* D, const double* STRESS, double* SK) {
  double X[12], u[12], DN[12], H[9], BL[6 * NE];
  gather_x(NOD, XYZ, X);
  gather_u(NOD, U, u);
  const double v = TETDN(X, DN) / 6.0;
  DISPGRAD(DN, u, H);
  BNLMAT(DN, H, BL);
  btdb(BL, D, v, SK);
  GEOSTIFF(DN, STRESS, v, SK);
}

void GEOSTIFF(const double* DN, const double* S, double v, double* SK, int NN) {
  // G^T S~ G: the same scalar dN_a . S dN_b on the three translation pairs
  // of nodes a and b.
  const int n = 3 * NN;
  for (int a = 0; a < NN; ++a) {
    const double* p = DN + 3 * a;
    const double sp[3] = {S[0] * p[0] + S[3] * p[1] + S[5] * p[2],
                          S[3] * p[0] + S[1] * p[1] + S[4] * p[2],
                          S[5] * p[0] + S[4] * p[1] + S[2] * p[2]};
    for (int b = a; b < NN; ++b) {
      const double* q = DN + 3 * b;
      const double g = v * (sp[0] * q[0] + sp[1] * q[1] + sp[2] * q[2]);
      for (int i = 0; i < 3; ++i) SK[PACKIDX(3 * a + i + 1, 3 * b + i + 1, n) - 1] += g;
    }
  }
}

void SOLFLIN(Model& m, Arr2<double>& P, Arr2<double>& PD, SOLREC& r, const Arr2<double>& XYZ,
             const Arr2<double>& U, const std::int32_t* NOD, int IREC, int UNITNO, int IDAMP) {
  double X[12], u[12], B[6 * NE], e[6];
  gather_x(NOD, XYZ, X);
  gather_u(NOD, U, u);
  const double v6 = TETB(X, B);
  MATMUL(B, u, e, 6, NE, 1);
  update(m, r, e, IREC, UNITNO);
  scatter(P, PD, r, B, v6 / 6.0, NOD, IDAMP);
}

void SOLFNL(Model& m, Arr2<double>& P, Arr2<double>& PD, SOLREC& r, const Arr2<double>& XYZ,
            const Arr2<double>& U, const std::int32_t* NOD, int IREC, int UNITNO, int IDAMP) {
  double X[12], u[12], DN[12], H[9], E[6], BL[6 * NE];
  gather_x(NOD, XYZ, X);
  gather_u(NOD, U, u);
  const double v6 = TETDN(X, DN);
  DISPGRAD(DN, u, H);
  GLSTRAIN(H, E);
  update(m, r, E, IREC, UNITNO);
  BNLMAT(DN, H, BL);
  scatter(P, PD, r, BL, v6 / 6.0, NOD, IDAMP);
}

// ---- The solid's row of the family table.

bool SOLRECOK(const Model& m, const ELEMREC& e) {
  return e.IDX >= 1 && e.IDX <= m.NSOLID() && NODESOK(m, e, 4);
}

void SOLSTART(Model& m, ELEMREC& e, double* CLASS) {
  TETVOLCHK(m, e);
  SOLREC& r = m.SOLREC(e.IDX);
  r.AVGLEN = AVGLEN(m, e, 4);
  if (r.AVGLEN < m.RR(rr::MINLEN)) m.RR(rr::MINLEN) = r.AVGLEN;
  DELAS(r.E, r.NU, r.D.data());
  CLASSRULE(m, CLASS, r.GROUP, r.E, r.RHO, r.AVGLEN);
  r.STRAIN.fill(0.0);
  r.EPLAST.fill(0.0);
  r.EPEQ = 0.0;
  r.STRESS.fill(0.0);
  r.STRESS0.fill(0.0);
  r.PDIR.fill(0.0);
  r.STATE = 0;
  r.STATE0 = 0;
}

double* SOLBETA(Model& m, const ELEMREC& e, int& GROUP) {
  SOLREC& r = m.SOLREC(e.IDX);
  GROUP = r.GROUP;
  return &r.BETA;
}

bool SOLSTIFF(Model& m, const ELEMREC& e, double* Ke) {
  SOLREC& r = m.SOLREC(e.IDX);
  if (m.KK(kk::GEONL) == 0) SOLKLIN(e.NOD.data(), m.XYZ, r.D.data(), Ke);
  else SOLKNL(e.NOD.data(), m.XYZ, m.U, r.D.data(), r.STRESS.data(), Ke);
  return true;
}

void SOLFORCE(Model& m, const ELEMREC& e, Arr2<double>& PD, int IDAMP) {
  SOLREC& r = m.SOLREC(e.IDX);
  const int unitsol = m.UNIT(7);
  if (m.KK(kk::GEONL) == 0) SOLFLIN(m, m.P, PD, r, m.XYZ, m.U, e.NOD.data(), e.IDX, unitsol, IDAMP);
  else SOLFNL(m, m.P, PD, r, m.XYZ, m.U, e.NOD.data(), e.IDX, unitsol, IDAMP);
}

// Mass RHO V on the initial geometry: the consistent matrix of the linear
// tetrahedron (m/10 on the diagonal, m/20 off it) or a quarter to each node.
bool SOLMASS(const Model& m, const ELEMREC& e, int OPT, MASSDATA& M) {
  const SOLREC& r = m.SOLREC(e.IDX);
  double X[12], DN[12];
  gather_x(e.NOD.data(), m.XYZ, X);
  const double mass = r.RHO * std::fabs(TETDN(X, DN)) / 6.0;
  M.NEN = 4;
  if (OPT == MASS_LUMPED)
    for (int a = 0; a < 4; ++a) M.S[a] = 0.25 * mass;
  else
    for (int a = 0; a < 4; ++a)
      for (int b = 0; b < 4; ++b) M.S[a + 4 * b] = (a == b ? 0.1 : 0.05) * mass;
  M.ALPHA = r.ALPHA;
  M.BODYLOAD = r.BODYLOAD;
  return true;
}

bool SOLALIVE(const Model& m, const ELEMREC& e) { return m.SOLREC(e.IDX).STATE != CRUSHED; }

// The single point by its state; true when an ELASTIC point changed state.
bool SOLSTATUS(Model& m, const ELEMREC& e) {
  SOLREC& r = m.SOLREC(e.IDX);
  if (r.STATE == ELASTIC) {
    SOLST0(m, r, e.IDX);
    return r.STATE != ELASTIC;
  }
  if (r.STATE == PLASTIC) SOLST2(m, r, e.IDX);
  return false;
}

void SOLVAL(const Model& m, const model::SOLREC& r, std::int32_t id, SolidOut& o) {
  o.ID = id;
  o.STATE = r.STATE;
  PRINCVALS(r.STRESS.data(), r.STRAIN.data(), o.V);
  o.V[15] = static_cast<float>(
      SEDENS(r.STATE, r.STRESS.data(), r.STRAIN.data(), r.EPLAST.data(), r.D.data(), 6));
  for (int k = 0; k < 3; ++k) o.V[16 + k] = static_cast<float>(r.PDIR(k + 1));
  o.V[19] = static_cast<float>(EQVSTR(r.STRESS.data(), r.YTYPE, m.RR(rr::DPALPHA)));
  o.V[20] = static_cast<float>(r.EPEQ);
}

void SOLRES(const Model& m, const ELEMREC& e, const Arr2<double>&, void* REC) {
  SolidOut r;
  SOLVAL(m, m.SOLREC(e.IDX), e.ID, r);
  std::memcpy(REC, &r, sizeof r);
}

int SOLSNAP(Model& m, const ELEMREC& e, SNAPITEM* ITEMS) {
  SOLREC& s = m.SOLREC(e.IDX);
  const SNAPITEM items[] = {SNAPARR(s.D),       SNAPARR(s.STRAIN),  SNAPARR(s.EPLAST),
                            SNAPVAL(s.EPEQ),    SNAPARR(s.STRESS),  SNAPARR(s.STRESS0),
                            SNAPARR(s.PDIR),    SNAPVAL(s.STATE),   SNAPVAL(s.YIELD)};
  return SNAPLIST(items, ITEMS);
}

}  // namespace ossa::elements
