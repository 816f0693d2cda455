#include "solution/assembly.hpp"

#include <algorithm>
#include <vector>

#include "base/kernels.hpp"
#include "contact/contact.hpp"
#include "elements/family.hpp"
#include "model/stop.hpp"
#include "solution/dynamic.hpp"

namespace ossa::solution {

namespace {

// Position of column `col` in row `row` of the pattern, 0 if absent. The
// diagonal comes first, then ascending columns.
long position(const Model& m, int row, int col) {
  const long first = m.IA(row), last = m.IA(row + 1) - 1;
  if (first > last) return 0;
  if (m.JA(first) == col) return first;
  const std::int32_t* ja = m.JA.data();
  const std::int32_t* lo = ja + first;  // 0-based pointer to entry first+1
  const std::int32_t* hi = ja + last;   // one past entry last
  const std::int32_t* p = std::lower_bound(lo, hi, col);
  return (p != hi && *p == col) ? (p - ja) + 1 : 0;
}

}  // namespace

void ADDK(Model& m, const double* Ke, const EDOF* dofs, int n) {
  const bool lower = m.KK(kk::SOLVER) == 1;
  // The equations of the element, and for each the position last found in
  // its row: the equations of a node follow one another, so the next column
  // sought in that row is mostly the next one stored.
  constexpr int LOCAL = 64;
  int eqs[LOCAL];
  long last[LOCAL];
  std::vector<int> eqv;
  std::vector<long> lastv;
  if (n > LOCAL) {
    eqv.resize(n);
    lastv.resize(n);
  }
  int* eq = n > LOCAL ? eqv.data() : eqs;
  long* hint = n > LOCAL ? lastv.data() : last;
  for (int a = 0; a < n; ++a) {
    eq[a] = m.IDOF(dofs[a].pos, dofs[a].node);
    hint[a] = 0;
  }
  for (int a = 1; a <= n; ++a) {
    const int ea = eq[a - 1];
    if (ea <= 0) continue;
    for (int b = a; b <= n; ++b) {
      const int eb = eq[b - 1];
      if (eb <= 0) continue;
      const bool arow = lower ? ea >= eb : ea <= eb;
      const int row = arow ? ea : eb, col = arow ? eb : ea;
      long& h = hint[arow ? a - 1 : b - 1];
      long p = h;
      if (p == 0 || p + 1 >= m.IA(row + 1) || m.JA(p + 1) != col) p = position(m, row, col);
      else ++p;
      if (p == 0) model::FAIL(m, "NO ADRESS FOR [K], PROGRAM STOPPED.", -1);
      h = p;
      m.AV(p) += Ke[base::PACKIDX(a, b, n) - 1];
    }
  }
}

void ENFRHS(Model& m, const double* Ke, const EDOF* dofs, int n) {
  for (int a = 1; a <= n; ++a) {
    const EDOF& da = dofs[a - 1];
    if (m.IDOF(da.pos, da.node) != -1 || da.pos > 6) continue;
    const double due = m.DUE(da.pos, da.node);
    if (due == 0.0) continue;
    for (int b = 1; b <= n; ++b) {
      const int eb = m.IDOF(dofs[b - 1].pos, dofs[b - 1].node);
      if (eb <= 0) continue;
      const long k = base::PACKIDX(a, b, n);
      m.RHS(eb, 1) -= due * Ke[k - 1];
    }
  }
}

void RHSADD(Model& m) {
  const int nn = m.NNODE();
  for (int nd = 1; nd <= nn; ++nd)
    for (int k = 1; k <= 7; ++k) {
      const int e = m.IDOF(k, nd);
      if (e > 0) m.RHS(e, 1) += m.W(k, nd);
    }
}

int LINKEXP(Model& m, double* Ke, EDOF* dofs, int n) {
  if (m.KK(kk::CONTACT) != 1) return n;
  auto dependent = [&](const EDOF& d) { return d.pos <= 3 && m.IDOF(d.pos, d.node) == -2; };
  if (std::none_of(dofs, dofs + n, dependent)) return n;
  std::vector<EDOF> list(dofs, dofs + n);
  const int nx = EDOFEXPAND(m, list, n);
  // T (n x nx), row by row as (column, value) lists: the identity on an
  // independent entry, the link coefficients on a dependent one. Then
  // Ke := Tt Ke T, by the rows' entries alone.
  std::vector<int> first(static_cast<std::size_t>(n) + 1, 0), col;
  std::vector<double> val;
  const model::CONTDATA& c = m.CONT;
  for (int a = 0; a < n; ++a) {
    if (!dependent(dofs[a])) {
      col.push_back(a);
      val.push_back(1.0);
    } else {
      const int p0 = m.LINKPTR(1, dofs[a].pos, dofs[a].node);
      for (int p = p0; p < p0 + m.LINKPTR(2, dofs[a].pos, dofs[a].node); ++p) {
        const EDOF t{c.INDTGT(1, c.LINKIDX(p)), c.INDTGT(2, c.LINKIDX(p))};
        int j = 0;
        while (list[j].node != t.node || list[j].pos != t.pos) ++j;
        col.push_back(j);
        val.push_back(c.LINKC(p));
      }
    }
    first[a + 1] = static_cast<int>(col.size());
  }
  std::vector<double> KT(static_cast<std::size_t>(n) * nx, 0.0), out(static_cast<std::size_t>(nx) * nx, 0.0);
  for (int a = 0; a < n; ++a)
    for (int b = 0; b < n; ++b) {
      const double k = Ke[base::PACKIDX(a + 1, b + 1, n) - 1];
      for (int q = first[b]; q < first[b + 1]; ++q) KT[a * nx + col[q]] += k * val[q];
    }
  for (int a = 0; a < n; ++a)
    for (int q = first[a]; q < first[a + 1]; ++q)
      for (int j = 0; j < nx; ++j) out[col[q] * nx + j] += val[q] * KT[a * nx + j];
  for (int i = 0; i < nx; ++i)
    for (int j = i; j < nx; ++j) Ke[base::PACKIDX(i + 1, j + 1, nx) - 1] = out[i * nx + j];
  std::copy(list.begin(), list.end(), dofs);
  return nx;
}

}  // namespace ossa::solution

namespace ossa::solution {

void STFASM(Model& m, int FIRST, const DYNSTEP* dyn) {
  m.AV.fill(0.0);
  const int maxedof = m.KK(kk::MAXEDOF) > 0 ? m.KK(kk::MAXEDOF) : 1;
  std::vector<double> Ke(static_cast<std::size_t>(maxedof) * (maxedof + 1) / 2);
  std::vector<EDOF> dofs(static_cast<std::size_t>(maxedof > ossa::solution::MAXLIST ? maxedof : ossa::solution::MAXLIST));
  for (int ie = 1; ie <= m.NELEM(); ++ie) {
    const model::ELEMREC& e = m.ELEM(ie);
    if (!elements::FAMILYOF(e.TYPE).STIFF(m, e, Ke.data())) continue;
    int n = ossa::solution::EDOFLIST(e.TYPE, e.NEN, e.NOD.data(), dofs.data());
    if (dyn) DYNMIX(m, e, *dyn, Ke.data(), n);
    n = LINKEXP(m, Ke.data(), dofs.data(), n);
    if (FIRST == 1) ENFRHS(m, Ke.data(), dofs.data(), n);
    ADDK(m, Ke.data(), dofs.data(), n);
  }
  if (m.KK(kk::FRICTION) == 1) FRICSTIF(m, FIRST);
  RHSADD(m);
}

void CONTFORCE2(Model& m, Arr2<double>& OUT, const Arr2<double>& START, const Arr2<double>& DELTA) {
  for (long k = 0; k < OUT.size(); ++k) OUT.data()[k] = START.data()[k];
  const int maxedof = std::max(m.KK(kk::MAXEDOF), MAXLIST);
  std::vector<double> Ke(static_cast<std::size_t>(maxedof) * (maxedof + 1) / 2);
  EDOF dofs[MAXLIST];
  for (int ie = 1; ie <= m.NELEM(); ++ie) {
    if (m.CONT.ELMARK(ie) == 0) continue;
    const model::ELEMREC& e = m.ELEM(ie);
    if (!elements::FAMILYOF(e.TYPE).STIFF(m, e, Ke.data())) continue;
    const int n = EDOFLIST(e.TYPE, e.NEN, e.NOD.data(), dofs);
    for (int a = 1; a <= n; ++a) {
      double f = 0.0;
      for (int b = 1; b <= n; ++b) f += Ke[base::PACKIDX(a, b, n) - 1] * DELTA(dofs[b - 1].pos, dofs[b - 1].node);
      OUT(dofs[a - 1].pos, dofs[a - 1].node) += f;
    }
  }
}

void FRICSTIF(Model& m, int FIRST) {
  for (int s = 1; s <= m.KK(kk::NSLV); ++s) {
    std::int32_t nodes[4];
    double ke[78];
    const int nn = contact::FRICKE(m, s, nodes, ke);
    if (nn == 0) continue;
    std::vector<EDOF> dofs;
    for (int a = 0; a < nn; ++a)
      for (int k = 1; k <= 3; ++k) dofs.push_back({nodes[a], k});
    int n = 3 * nn;
    dofs.resize(static_cast<std::size_t>(EDOFEXPAND(m, dofs, n)));
    std::vector<double> Ke(dofs.size() * (dofs.size() + 1) / 2);
    std::copy(ke, ke + n * (n + 1) / 2, Ke.begin());
    n = LINKEXP(m, Ke.data(), dofs.data(), n);
    if (FIRST == 1) ENFRHS(m, Ke.data(), dofs.data(), n);
    ADDK(m, Ke.data(), dofs.data(), n);
  }
}

void FORCEREC(Model& m, Arr2<double>& PD, int IDAMP) {
  m.P.fill(0.0);
  m.LINKV.fill(0.0);
  if (IDAMP == 1) PD.fill(0.0);
  for (int ie = 1; ie <= m.NELEM(); ++ie) {
    const model::ELEMREC& e = m.ELEM(ie);
    elements::FAMILYOF(e.TYPE).FORCE(m, e, PD, IDAMP);
  }
}

}  // namespace ossa::solution
