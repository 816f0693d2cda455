#include "solution/loads.hpp"

#include <cmath>

namespace ossa::solution {

double TBLVAL(double t, const double* times, const double* values, int n) {
  if (n < 1) return 0.0;
  if (n == 1 || times[0] >= t) return values[0];
  int k = n - 1;  // last segment, also beyond the end
  for (int j = 1; j < n - 1; ++j) {
    if (times[j] >= t) { k = j; break; }
  }
  const double t0 = times[k - 1], t1 = times[k];
  if (t1 == t0) return values[k];
  return values[k - 1] + (values[k] - values[k - 1]) * (t - t0) / (t1 - t0);
}

double GROUPFAC(const Model& m, int g, double t) {
  const int n = m.LOADSET(1, g);
  if (n < 1 || n > m.MAXLDT) return 0.0;
  return TBLVAL(t, m.TBL.at(1, 1, g), m.TBL.at(1, 2, g), n);
}

namespace {

void add_forces(Model& m, int first, int last, double s) {
  for (int i = first; i <= last; ++i) {
    const int nd = m.FRCNOD(i);
    for (int k = 1; k <= 6; ++k) m.F(k, nd) += s * m.FRCVAL(k, i);
  }
}

// Direction from the second to the third node of the group's first row, in
// current coordinates.
void add_directed(Model& m, int first, int last, double s) {
  double d[3];
  double len = 0.0;
  for (int j = 1; j <= 3; ++j) {
    d[j - 1] = m.X(j, m.DFCNOD(3, first)) - m.X(j, m.DFCNOD(2, first));
    len += d[j - 1] * d[j - 1];
  }
  len = std::sqrt(len);
  if (len > 0.0) for (double& x : d) x /= len;
  for (int i = first; i <= last; ++i) {
    const int nd = m.DFCNOD(1, i);
    for (int j = 1; j <= 3; ++j) m.F(j, nd) += s * m.DFCVAL(i) * d[j - 1];
  }
}

// One third of the area vector, times the pressure, to each corner.
void add_pressure(Model& m, int first, int last, double s) {
  const bool current = m.KK(kk::GEONL) == 1;
  auto x = [&](int j, int nd) { return current ? m.X(j, nd) : m.XYZ(j, nd); };
  for (int i = first; i <= last; ++i) {
    const int n1 = m.PRSNOD(1, i), n2 = m.PRSNOD(2, i), n3 = m.PRSNOD(3, i);
    double a[3], b[3];
    for (int j = 1; j <= 3; ++j) {
      a[j - 1] = x(j, n3) - x(j, n1);
      b[j - 1] = x(j, n2) - x(j, n1);
    }
    const double c = m.PRSVAL(i) / 6.0 * s;
    const double A[3] = {c * (a[1] * b[2] - a[2] * b[1]), c * (a[2] * b[0] - a[0] * b[2]),
                         c * (a[0] * b[1] - a[1] * b[0])};
    for (int nd : {n1, n2, n3})
      for (int j = 1; j <= 3; ++j) m.F(j, nd) += A[j - 1];
  }
}

void add_enforced(Model& m, int g, int first, int last, double TPREV, double TIME) {
  const double ds = GROUPFAC(m, g, TIME) - GROUPFAC(m, g, TPREV);
  for (int i = first; i <= last; ++i) {
    const int nd = m.DSPNOD(i);
    for (int k = 1; k <= 6; ++k)
      if (m.DOFTAB(k, nd) == -1) m.DUE(k, nd) += ds * m.DSPVAL(k, i);
  }
}

}  // namespace

void LOADINC(Model& m, double TPREV, double TIME) {
  m.F.fill(0.0);
  m.DUE.fill(0.0);
  for (int g = 1; g <= m.KK(kk::NLOAD); ++g) {
    const int kind = m.LOADSET(2, g), first = m.LOADSET(3, g);
    if (kind < 1 || kind > 4 || first < 1) continue;
    // The deck reader makes sure a group's cards exist; stay inside the arrays regardless.
    const int have[5] = {0, m.KK(kk::NFORCE), m.KK(kk::NDIRFC), m.KK(kk::NPRESS), m.KK(kk::NDISP)};
    const int last = m.LOADSET(4, g) < have[kind] ? m.LOADSET(4, g) : have[kind];
    if (last < first) continue;
    const double s = GROUPFAC(m, g, TIME);
    switch (kind) {
      case 1: add_forces(m, first, last, s); break;
      case 2: add_directed(m, first, last, s); break;
      case 3: add_pressure(m, first, last, s); break;
      case 4: add_enforced(m, g, first, last, TPREV, TIME); break;
      default: break;
    }
  }
}

}  // namespace ossa::solution
