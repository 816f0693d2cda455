// The crossing search for free slaves: a slave comes into contact when its
// path from the last contact pass to now crosses a master face from the
// outer to the inner side; the first face crossed, in table order, wins.
//
// The search's own pruning is a distance test per face (twice the face's
// size from its centroid). Trying every face for every slave costs
// slaves x faces distances, seconds a pass on a bone-implant model, so the
// faces are put in buckets by that test's sphere and a slave tries only
// the faces of its own bucket, in table order: the same faces pass, in the
// same order, and the answer is the same.
#include <algorithm>
#include <cmath>
#include <vector>

#include "base/kernels.hpp"
#include "contact/contact.hpp"

namespace ossa::contact {

namespace {

using I32 = std::int32_t;

void corners(const base::Arr2<double>& X, const Model& m, int f, int s, double (*P)[3]) {
  for (int k = 0; k < 3; ++k)
    for (int j = 0; j < 3; ++j) P[k][j] = X(j + 1, m.CSFNOD(k + 1, f));
  for (int j = 0; j < 3; ++j) P[3][j] = X(j + 1, s);
}

void centroid(const Model& m, int f, double* c) {
  for (int j = 1; j <= 3; ++j)
    c[j - 1] = (m.X(j, m.CSFNOD(1, f)) + m.X(j, m.CSFNOD(2, f)) + m.X(j, m.CSFNOD(3, f))) / 3.0;
}

// Six times the signed volume of the tetrahedron a, b, c, d.
double vol6(const double* a, const double* b, const double* c, const double* d) {
  double u[3], v[3], w[3], x[3];
  base::VSUB(b, a, u, 3);
  base::VSUB(c, a, v, 3);
  base::VSUB(d, a, w, 3);
  base::CROSS(v, w, x);
  return base::DOT(u, x, 3);
}

// Whether XS lies in the tetrahedron of element ie, its faces included: all
// four volume coordinates above -HTOL. A slave on a face between two
// elements, or on the body's own surface, is in the body: with open
// tetrahedra it would be in none, and flush contact (a slave landing on the
// master's outline, or above an inner face of a structured mesh) would be
// missed.
bool in_tet(const Model& m, int ie, const double* XS) {
  double c[4][3];
  for (int a = 0; a < 4; ++a)
    for (int j = 0; j < 3; ++j) c[a][j] = m.X(j + 1, m.ELEM(ie).NOD(a + 1));
  const double v = vol6(c[0], c[1], c[2], c[3]);
  const double L[4] = {vol6(XS, c[1], c[2], c[3]) / v, vol6(c[0], XS, c[2], c[3]) / v,
                       vol6(c[0], c[1], XS, c[3]) / v, vol6(c[0], c[1], c[2], XS) / v};
  return L[0] > -HTOL && L[1] > -HTOL && L[2] > -HTOL && L[3] > -HTOL;
}

// Steps 2 to 8 of the search for slave node `node` and face f.
bool crosses(const Model& m, int node, int f, double* B) {
  double c[3], d[3];
  centroid(m, f, c);
  for (int j = 0; j < 3; ++j) d[j] = m.X(j + 1, node) - c[j];
  if (base::VNORM(d, 3) > 2.0 * m.CONT.FSIZE(f)) return false;
  double P[4][3], B0[3], B1[3], foot[3], H0 = 0.0, H1 = 0.0;
  corners(m.XOLD, m, f, node, P);
  TRIBARY(B0, foot, H0, P);
  corners(m.X, m, f, node, P);
  TRIBARY(B1, foot, H1, P);
  if (!(H0 <= HTOL && H1 > HTOL)) return false;
  const double T = (HTOL - H0) / (H1 - H0);
  for (int k = 0; k < 3; ++k) B[k] = (1.0 - T) * B0[k] + T * B1[k];
  if (!INSIDE3(B, HTOL)) return false;
  return EDGEOK(m, f, B, P[3]);
}

void accept(Model& m, int S, int f, const double* B) {
  m.CONT.SLVST(1, S) = 13;
  m.CONT.SLVST(2, S) = f;
  for (int k = 1; k <= 3; ++k) m.CONT.SLVBARY(k, S) = B[k - 1];
}

// Cell index along axis k of coordinate x; outside the grid: -1.
long cell_of(const FACEGRID& G, int k, double x) {
  const double t = std::floor((x - G.LO[k]) / G.H);
  return t >= 0.0 && t < static_cast<double>(G.N[k]) ? static_cast<long>(t) : -1;
}

// Range of cells along axis k that the interval [a, b] touches.
void cell_range(const FACEGRID& G, int k, double a, double b, long& i0, long& i1) {
  i0 = std::clamp(static_cast<long>(std::floor((a - G.LO[k]) / G.H)), 0L, G.N[k] - 1);
  i1 = std::clamp(static_cast<long>(std::floor((b - G.LO[k]) / G.H)), 0L, G.N[k] - 1);
}

struct Sphere {
  double c[3], r;
};

// The proximity spheres, widened a little beyond round-off so that every
// face the exact test keeps is listed.
std::vector<Sphere> spheres(const Model& m) {
  const int nf = m.KK(kk::NCSURF);
  std::vector<Sphere> s(static_cast<std::size_t>(nf));
  for (int f = 1; f <= nf; ++f) {
    Sphere& q = s[f - 1];
    centroid(m, f, q.c);
    const double big = std::max({std::fabs(q.c[0]), std::fabs(q.c[1]), std::fabs(q.c[2])});
    q.r = 2.0 * m.CONT.FSIZE(f) * (1.0 + 1.0e-6) + 1.0e-12 * big;
    // A face whose corners are no longer finite is never accepted (its
    // heights fail every test): it goes in no bucket.
    if (!std::isfinite(q.r + big)) q.r = -1.0;
  }
  return s;
}

// Cells each sphere touches, in all.
long coverage(const FACEGRID& G, const std::vector<Sphere>& s) {
  long total = 0;
  for (const Sphere& q : s) {
    if (q.r < 0.0) continue;
    long n = 1;
    for (int k = 0; k < 3; ++k) {
      long i0, i1;
      cell_range(G, k, q.c[k] - q.r, q.c[k] + q.r, i0, i1);
      n *= i1 - i0 + 1;
    }
    total += n;
  }
  return total;
}

// Cell size and counts: about four face sizes a cell, no more cells than
// twice the faces, and no more listings than 32 a face.
void shape(FACEGRID& G, const std::vector<Sphere>& s) {
  double hi[3];
  double mean = 0.0;
  for (int k = 0; k < 3; ++k) { G.LO[k] = HUGE_VAL; hi[k] = -HUGE_VAL; }
  double nf = 0.0;
  for (const Sphere& q : s) {
    if (q.r < 0.0) continue;
    nf += 1.0;
    mean += q.r;
    for (int k = 0; k < 3; ++k) {
      G.LO[k] = std::min(G.LO[k], q.c[k] - q.r);
      hi[k] = std::max(hi[k], q.c[k] + q.r);
    }
  }
  if (nf == 0.0) {
    G.LO[0] = G.LO[1] = G.LO[2] = 0.0;
    G.H = 1.0;
    G.N[0] = G.N[1] = G.N[2] = 1;
    return;
  }
  const double span = std::max({hi[0] - G.LO[0], hi[1] - G.LO[1], hi[2] - G.LO[2]});
  G.H = std::max(2.0 * mean / nf, span * 1.0e-6);
  if (!(G.H > 0.0)) G.H = 1.0;
  for (;;) {
    double cells = 1.0;
    for (int k = 0; k < 3; ++k) {
      G.N[k] = static_cast<long>(std::floor((hi[k] - G.LO[k]) / G.H)) + 1;
      cells *= static_cast<double>(G.N[k]);
    }
    if (cells <= 2.0 * nf + 64.0 && coverage(G, s) <= 32 * static_cast<long>(nf) + 1024) return;
    G.H *= cells > 2.0 * nf + 64.0 ? std::max(1.1, std::cbrt(cells / (2.0 * nf + 64.0))) : 1.5;
  }
}

}  // namespace

void TRIBARY(double* BARY, double* FOOT, double& H, const double (*P)[3]) {
  double e1[3], v13[3], n[3], e2[3], d[3];
  base::VSUB(P[1], P[0], e1, 3);
  const double L = base::VNORM(e1, 3);
  for (double& x : e1) x /= L;
  base::VSUB(P[2], P[0], v13, 3);
  base::CROSSUNIT(e1, v13, n);
  base::CROSS(n, e1, e2);
  base::VSUB(P[3], P[0], d, 3);
  H = base::DOT(d, n, 3);
  for (int k = 0; k < 3; ++k) FOOT[k] = P[3][k] - H * n[k];
  const double x = base::DOT(d, e1, 3), y = base::DOT(d, e2, 3);
  const double x3 = base::DOT(v13, e1, 3), y3 = base::DOT(v13, e2, 3);
  BARY[2] = y / y3;
  BARY[1] = (x - BARY[2] * x3) / L;
  BARY[0] = 1.0 - BARY[1] - BARY[2];
}

bool INSIDE3(const double* BARY, double TOL) {
  for (int k = 0; k < 3; ++k)
    if (!(BARY[k] > -TOL && BARY[k] < 1.0 + TOL)) return false;
  return true;
}

bool EDGEOK(const Model& m, int F, const double* B, const double* XS) {
  int i = 0;
  while (i < 3 && B[i] >= HTOL) ++i;
  if (i == 3) return true;
  const model::CONTDATA& c = m.CONT;
  for (int a : {(i + 1) % 3 + 1, (i + 2) % 3 + 1}) {
    const I32 node = m.CSFNOD(a, F);
    for (int p = c.VERTELEM(1, node); p <= c.VERTELEM(2, node); ++p)
      if (in_tet(m, c.VELEM(p), XS)) return true;
  }
  return false;
}

void GRIDBUILD(const Model& m, FACEGRID& G) {
  const int nf = m.KK(kk::NCSURF);
  G.BODY.allocate(nf);
  for (int b = 1, f = 1; b <= m.KK(kk::NBODY); ++b)
    for (; f <= m.BODYEND(b) && f <= nf; ++f) G.BODY(f) = b;
  const std::vector<Sphere> s = spheres(m);
  if (nf == 0) {
    G.N[0] = G.N[1] = G.N[2] = 0;
    G.START.allocate(1);
    G.FACE.allocate(0);
    return;
  }
  shape(G, s);
  const long ncell = G.N[0] * G.N[1] * G.N[2];
  std::vector<long> cnt(static_cast<std::size_t>(ncell) + 1, 0);
  auto each_cell = [&](const Sphere& q, auto put) {
    if (q.r < 0.0) return;
    long lo[3], hi[3];
    for (int k = 0; k < 3; ++k) cell_range(G, k, q.c[k] - q.r, q.c[k] + q.r, lo[k], hi[k]);
    for (long z = lo[2]; z <= hi[2]; ++z)
      for (long y = lo[1]; y <= hi[1]; ++y)
        for (long x = lo[0]; x <= hi[0]; ++x) put((z * G.N[1] + y) * G.N[0] + x);
  };
  for (const Sphere& q : s) each_cell(q, [&](long cell) { ++cnt[cell + 1]; });
  for (long k = 1; k <= ncell; ++k) cnt[k] += cnt[k - 1];
  G.START.allocate(ncell + 1);
  for (long k = 0; k <= ncell; ++k) G.START(k + 1) = static_cast<I32>(cnt[k]);
  G.FACE.allocate(cnt[ncell]);
  for (int f = 1; f <= nf; ++f) each_cell(s[f - 1], [&](long cell) { G.FACE(++cnt[cell]) = f; });
}

void FREECHK(Model& m, int I, int S, const FACEGRID* G) {
  model::CONTDATA& c = m.CONT;
  const int node = c.SLAVE(S);
  c.SLVST(1, S) = S_FREE;
  c.SLVST(2, S) = 0;
  double B[3];
  if (G == nullptr) {
    for (int J = 1; J <= m.KK(kk::NBODY); ++J) {
      if (m.CBPAIR(I, J) == 0) continue;
      for (int f = J > 1 ? m.BODYEND(J - 1) + 1 : 1; f <= m.BODYEND(J); ++f)
        if (crosses(m, node, f, B)) return accept(m, S, f, B);
    }
    return;
  }
  long cell = 0;
  for (int k = 2; k >= 0; --k) {
    const long i = cell_of(*G, k, m.X(k + 1, node));
    if (i < 0) return;
    cell = cell * G->N[k] + i;
  }
  for (I32 p = G->START(cell + 1) + 1; p <= G->START(cell + 2); ++p) {
    const int f = G->FACE(p);
    if (m.CBPAIR(I, G->BODY(f)) != 0 && crosses(m, node, f, B)) return accept(m, S, f, B);
  }
}

}  // namespace ossa::contact
