// The truss family: two-node bars with a force-strain table, on the
// small-displacement and the nonlinear route. Ligaments and tendons are
// bars whose table is slack (zero force) in compression.
#include "elements/truss.hpp"

#include <cstring>
#include <string>

#include "base/kernels.hpp"
#include "elements/family.hpp"
#include "elements/resrec.hpp"
#include "model/stop.hpp"

namespace ossa::elements {

using base::PACKIDX;
using base::VNORM;
using base::VSUB;

namespace {

// Axis from node 1 to node 2 of the points x1, x2: unit n, returns the length.
double axis(const double* x1, const double* x2, double* n) {
  VSUB(x2, x1, n, 3);
  const double L = VNORM(n, 3);
  for (int i = 0; i < 3; ++i) n[i] /= L;
  return L;
}

// Current position x = XYZ + U of a node.
void current(const Arr2<double>& XYZ, const Arr2<double>& U, int node, double* x) {
  for (int i = 1; i <= 3; ++i) x[i - 1] = XYZ(i, node) + U(i, node);
}

void tabulate(TRSREC& r, double strain, double L) {
  double slope = 0.0;
  r.STRAINV = strain;
  r.FORCE = CURVEAT(r.CURVE, r.NPT, strain, slope);
  r.SLOPE = slope / L;
}

}  // namespace

double CURVEAT(const Arr2<double>& T, int n, double v, double& SLOPE) {
  int k = n;
  for (int j = 2; j <= n - 1; ++j)
    if (v < T(j, 1)) {
      k = j;
      break;
    }
  SLOPE = (T(k, 2) - T(k - 1, 2)) / (T(k, 1) - T(k - 1, 1));
  return T(k - 1, 2) + (v - T(k - 1, 1)) * SLOPE;
}

void LINKADD(Arr2<double>& P, Arr2<double>& LINKV, const std::int32_t* NOD, double F, const double* n) {
  for (int i = 1; i <= 3; ++i) {
    const double f = F * n[i - 1];
    P(i, NOD[0]) -= f;
    P(i, NOD[1]) += f;
    LINKV(i, NOD[0]) += f;
    LINKV(i, NOD[1]) -= f;
  }
}

void LINKK(const double* Q, double* Ke) {
  for (int a = 1; a <= 6; ++a)
    for (int b = a; b <= 6; ++b) {
      const double q = Q[(a - 1) % 3 + 3 * ((b - 1) % 3)];
      Ke[PACKIDX(a, b, 6) - 1] = (a <= 3) == (b <= 3) ? q : -q;
    }
}

void TRSK(const std::int32_t* NOD, const Arr2<double>& XYZ, double SLOPE, double* Ke) {
  double n[3], Q[9];
  axis(XYZ.at(1, NOD[0]), XYZ.at(1, NOD[1]), n);
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) Q[i + 3 * j] = SLOPE * n[i] * n[j];
  LINKK(Q, Ke);
}

void TRSKNL(const std::int32_t* NOD, const Arr2<double>& XYZ, const Arr2<double>& U, double SLOPE,
            double FORCE, double* Ke) {
  double x1[3], x2[3], n[3], Q[9];
  current(XYZ, U, NOD[0], x1);
  current(XYZ, U, NOD[1], x2);
  const double g = FORCE / axis(x1, x2, n);
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) Q[i + 3 * j] = (SLOPE - g) * n[i] * n[j] + (i == j ? g : 0.0);
  LINKK(Q, Ke);
}

void TRSF(Arr2<double>& P, Arr2<double>& LINKV, TRSREC& r, const Arr2<double>& XYZ,
          const Arr2<double>& U, const std::int32_t* NOD) {
  double n[3], du[3];
  const double L = axis(XYZ.at(1, NOD[0]), XYZ.at(1, NOD[1]), n);
  VSUB(U.at(1, NOD[1]), U.at(1, NOD[0]), du, 3);
  tabulate(r, base::DOT(n, du, 3) / L, L);
  LINKADD(P, LINKV, NOD, r.FORCE, n);
}

void TRSFNL(Arr2<double>& P, Arr2<double>& LINKV, TRSREC& r, const Arr2<double>& XYZ,
            const Arr2<double>& U, const std::int32_t* NOD) {
  double x1[3], x2[3], n[3];
  const double L0 = axis(XYZ.at(1, NOD[0]), XYZ.at(1, NOD[1]), n);
  current(XYZ, U, NOD[0], x1);
  current(XYZ, U, NOD[1], x2);
  const double L = axis(x1, x2, n);
  tabulate(r, L / L0 - 1.0, L0);
  LINKADD(P, LINKV, NOD, r.FORCE, n);
}

// ---- The truss's row of the family table.

// The deck reader gives every truss a table of two or more points with
// increasing strains.
bool TRSRECOK(const Model& m, const ELEMREC& e) {
  return e.IDX >= 1 && e.IDX <= m.NTRUSS() && NODESOK(m, e, 2) && m.TRSREC(e.IDX).NPT >= 2 &&
         m.TRSREC(e.IDX).CURVE.allocated();
}

// A bar of zero length has no axis: a stop naming it, rather than a force
// along a direction made of 0/0.
void TRSSTART(Model& m, ELEMREC& e, double*) {
  double n[3];
  const double L = axis(m.XYZ.at(1, e.NOD(1)), m.XYZ.at(1, e.NOD(2)), n);
  if (!(L > 0.0))
    model::FAIL(m, "TRUSS ELEMENT " + std::to_string(e.ID) + " HAS ZERO LENGTH.", -3);
  tabulate(m.TRSREC(e.IDX), 0.0, L);
}

double* TRSBETA(Model&, const ELEMREC&, int&) { return nullptr; }

bool TRSSTIFF(Model& m, const ELEMREC& e, double* Ke) {
  const TRSREC& r = m.TRSREC(e.IDX);
  if (m.KK(kk::GEONL) == 0) TRSK(e.NOD.data(), m.XYZ, r.SLOPE, Ke);
  else TRSKNL(e.NOD.data(), m.XYZ, m.U, r.SLOPE, r.FORCE, Ke);
  return true;
}

// A truss has no damping factor: nothing goes to the damping forces.
void TRSFORCE(Model& m, const ELEMREC& e, Arr2<double>&, int) {
  TRSREC& r = m.TRSREC(e.IDX);
  if (m.KK(kk::GEONL) == 0) TRSF(m.P, m.LINKV, r, m.XYZ, m.U, e.NOD.data());
  else TRSFNL(m.P, m.LINKV, r, m.XYZ, m.U, e.NOD.data());
}

bool TRSSTATUS(Model&, const ELEMREC&) { return false; }

void TRSRES(const Model& m, const ELEMREC& e, const Arr2<double>&, void* REC) {
  const model::TRSREC& t = m.TRSREC(e.IDX);
  const TrussOut r{e.ID, {static_cast<float>(t.STRAINV), static_cast<float>(t.FORCE)}};
  std::memcpy(REC, &r, sizeof r);
}

// The bar's state follows from the displacements alone.
int TRSSNAP(Model&, const ELEMREC&, SNAPITEM*) { return 0; }

}  // namespace ossa::elements
