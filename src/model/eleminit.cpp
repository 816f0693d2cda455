// ELEM_INIT: element start values, rubber interior nodes, the class defaults
// of stiffness-proportional damping and the gap links.
#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "base/fmt.hpp"
#include "elements/kernels.hpp"
#include "model/stop.hpp"
#include "model/index.hpp"

namespace ossa::model {

namespace {

using elements::CROSS;
using elements::VNORM;
using elements::VSUB;

constexpr double NOVALUE = 1.0e10;  // empty table entry, and RR(11) at start
constexpr int NCLASS = 20;

// One default per GROUP, for each family that has them.
struct DampTables {
  double shell[NCLASS + 1], solid[NCLASS + 1], rubber[NCLASS + 1];
  DampTables() {
    for (int g = 0; g <= NCLASS; ++g) shell[g] = solid[g] = rubber[g] = NOVALUE;
  }
};

bool group_ok(int g) { return g >= 1 && g <= NCLASS; }

// All of the element's first k nodes are grid points.
bool nodes_ok(const Model& m, const ELEMREC& e, int k) {
  for (int a = 1; a <= k; ++a)
    if (e.NOD(a) < 1 || e.NOD(a) > m.NNODE()) return false;
  return true;
}

double edge(const Model& m, int n1, int n2) {
  double d[3];
  VSUB(m.XYZ.at(1, n1), m.XYZ.at(1, n2), d, 3);
  return VNORM(d, 3);
}

// Mean edge length: six edges of a tetrahedron, three of a triangle.
double avglen(const Model& m, const ELEMREC& e, int ncorner) {
  static const int TET[6][2] = {{1, 2}, {2, 3}, {3, 1}, {1, 4}, {2, 4}, {3, 4}};
  static const int TRI[3][2] = {{3, 2}, {1, 3}, {2, 1}};
  double s = 0.0;
  if (ncorner == 4) {
    for (const auto& p : TET) s += edge(m, e.NOD(p[0]), e.NOD(p[1]));
    return s / 6.0;
  }
  for (const auto& p : TRI) s += edge(m, e.NOD(p[0]), e.NOD(p[1]));
  return s / 3.0;
}

// Bone elements at the floor of the modulus range stand for failed or empty
// material and must not drive their class's default.
void class_rule(const Model& m, double* table, int group, double E, double rho, double len) {
  if (!group_ok(group)) return;
  if (group < 11 || E > 10.0 * m.RR(6)) {
    const double cand = len * std::sqrt(rho / E);
    if (cand < table[group]) table[group] = cand;
  }
}

void shell_start(Model& m, const ELEMREC& e, DampTables& t) {
  SHLREC& r = m.SHLREC(e.IDX);
  r.AVGLEN = avglen(m, e, 3);
  double a[3], b[3], n[3];
  VSUB(m.XYZ.at(1, e.NOD(1)), m.XYZ.at(1, e.NOD(3)), a, 3);
  VSUB(m.XYZ.at(1, e.NOD(2)), m.XYZ.at(1, e.NOD(3)), b, 3);
  CROSS(a, b, n);
  const double len = VNORM(n, 3);
  const double area = 0.5 * len;
  const double E = r.E, nu = r.NU, th = r.THICK;
  r.GS = 1.0 / (2.0 * (1.0 + nu) / E + std::sqrt(3.0) * (1.0 - nu * nu) * area / (E * th * th));
  double D[15];
  elements::DPLANE(E, nu, D);
  D[elements::PACKIDX(4, 4, 5) - 1] = r.GS;
  D[elements::PACKIDX(5, 5, 5) - 1] = r.GS;
  for (int j = 1; j <= 3; ++j)
    for (int i = 1; i <= 4; ++i)
      for (int k = 1; k <= 15; ++k) r.D(k, i, j) = D[k - 1];
  r.DRILL = 1.0e-5 * E * th * th * th;
  for (int a3 = 1; a3 <= 3; ++a3) {
    r.TNODE(a3) = th;
    for (int k = 1; k <= 3; ++k) r.V0(k, a3) = r.V(k, a3) = r.VC(k, a3) = n[k - 1] / len;
  }
  class_rule(m, t.shell, r.GROUP, E, r.RHO, r.AVGLEN);
}

void solid_start(Model& m, const ELEMREC& e, DampTables& t) {
  SOLREC& r = m.SOLREC(e.IDX);
  r.AVGLEN = avglen(m, e, 4);
  if (r.AVGLEN < m.RR(11)) m.RR(11) = r.AVGLEN;
  elements::DELAS(r.E, r.NU, r.D.data());
  class_rule(m, t.solid, r.GROUP, r.E, r.RHO, r.AVGLEN);
  r.STRAIN.fill(0.0);
  r.EPLAST.fill(0.0);
  r.EPEQ = 0.0;
  r.STRESS.fill(0.0);
  r.STRESS0.fill(0.0);
  r.PDIR.fill(0.0);
  r.STATE = 0;
  r.STATE0 = 0;
}

// The interior node sits at the centroid, numbered after the grid points.
void rubber_start(Model& m, ELEMREC& e, DampTables& t) {
  const int node = m.NNODE() + e.IDX;
  e.NOD(5) = node;
  for (int k = 1; k <= 3; ++k) {
    double s = 0.0;
    for (int a = 1; a <= 4; ++a) s += m.XYZ(k, e.NOD(a));
    m.XYZ(k, node) = 0.25 * s;
  }
  m.NODEID(node) = -e.ID;
  const double len = avglen(m, e, 4);
  if (len < m.RR(11)) m.RR(11) = len;
  const RUBREC& r = m.RUBREC(e.IDX);
  const double cand = len * std::sqrt(r.RHO / (6.0 * (r.C1 + r.C2)));
  if (group_ok(r.GROUP) && cand < t.rubber[r.GROUP]) t.rubber[r.GROUP] = cand;
}

bool record_ok(const Model& m, const ELEMREC& e) {
  switch (e.TYPE) {
    case 1: return e.IDX >= 1 && e.IDX <= m.NSHELL() && nodes_ok(m, e, 3);
    case 2: return e.IDX >= 1 && e.IDX <= m.NSOLID() && nodes_ok(m, e, 4);
    case 4:  // its interior node needs a row of XYZ and NODEID
      return e.IDX >= 1 && e.IDX <= m.NRUBB() && nodes_ok(m, e, 4) &&
             m.NNODE() + e.IDX <= m.XYZ.ubound(2) && m.NNODE() + e.IDX <= m.NODEID.ubound(1);
    default: return false;
  }
}

void fill_beta(double& beta, const double* table, int group) {
  if (beta == 0.0 && group_ok(group)) beta = table[group];
}

void damping_log(Model& m, const DampTables& t) {
  model::LOGLINE(m, "     DEFAULT STIFFNESS PROPORTIONAL DAMPING");
  auto rows = [&](const char* label, const double* table, int first) {
    for (int row = 1; row <= 10; ++row) {
      const double v = table[first + row - 1];
      if (v < NOVALUE)
        model::LOGLINE(m, std::string(label) + base::fI(row, 2) + " : " + base::fPE(v, 10, 4));
    }
  };
  rows("                             SOLID(BONE) ", t.solid, 11);
  rows("                             SOLID       ", t.solid, 1);
  rows("                             SHELL(BONE) ", t.shell, 11);
  rows("                             SHELL       ", t.shell, 1);
  rows("                             RUBBER      ", t.rubber, 1);
}

// ---- gap links --------------------------------------------------------------

// The first solid (in element order) with a face whose corners are the
// nodes (a, b, c) in any order; 0 when there is none. The gap's normal comes
// from the card's order, so the face's own orientation does not matter.
int face_owner(const Model& m, const int* tri) {
  static const int FACE[4][3] = {{1, 2, 3}, {1, 2, 4}, {2, 3, 4}, {1, 3, 4}};
  std::array<int, 3> want = {tri[0], tri[1], tri[2]};
  std::sort(want.begin(), want.end());
  for (int ie = 1; ie <= m.NELEM(); ++ie) {
    const ELEMREC& e = m.ELEM(ie);
    if (e.TYPE != 2 || !record_ok(m, e)) continue;
    for (const auto& f : FACE) {
      std::array<int, 3> have = {e.NOD(f[0]), e.NOD(f[1]), e.NOD(f[2])};
      std::sort(have.begin(), have.end());
      if (have == want) return ie;
    }
  }
  return 0;
}

void gap_setup(Model& m) {
  const double t0 = m.clock.now();
  const int ntri = m.NGAP() / 3;
  // Directory row of each gap ordinal.
  std::vector<int> row(static_cast<std::size_t>(3 * ntri) + 1, 0);
  for (int ie = 1; ie <= m.NELEM(); ++ie) {
    const ELEMREC& e = m.ELEM(ie);
    if (e.TYPE == 3 && e.IDX >= 1 && e.IDX <= 3 * ntri) row[e.IDX] = ie;
  }
  double emax = 0.0, lsum = 0.0;
  std::vector<int> tri(static_cast<std::size_t>(6 * ntri) + 6, 0);
  for (int k = 1; k <= ntri; ++k) {
    for (int j = 0; j < 3; ++j) {
      const int ie = row[3 * k - 2 + j];
      if (ie == 0) model::FAIL(m, "STOP IN SUB. ELEM_INIT!", -1, 0);
      tri[6 * k + j] = m.ELEM(ie).NOD(1);
      tri[6 * k + 3 + j] = m.ELEM(ie).NOD(2);
    }
    for (int side = 0; side < 2; ++side) {
      const int owner = face_owner(m, &tri[6 * k + 3 * side]);
      if (owner == 0) model::FAIL(m, "STOP IN SUB. ELEM_INIT!", -1, 0);
      const SOLREC& s = m.SOLREC(m.ELEM(owner).IDX);
      if (s.E > emax) emax = s.E;
      lsum += s.AVGLEN;
    }
  }
  const double lmean = lsum / (2.0 * ntri);
  for (int k = 1; k <= ntri; ++k) {
    double ab[3], ac[3], n[3];
    const int* t = &tri[6 * k];
    VSUB(m.XYZ.at(1, t[1]), m.XYZ.at(1, t[0]), ab, 3);
    VSUB(m.XYZ.at(1, t[2]), m.XYZ.at(1, t[0]), ac, 3);
    CROSS(ab, ac, n);
    const double len = VNORM(n, 3);
    const double kgap = 0.5 * len * (emax / lmean) / 3.0;
    for (int j = 0; j < 3; ++j) {
      GAPREC& g = m.GAPREC(3 * k - 2 + j);
      g.KGAP = kgap;
      for (int i = 1; i <= 3; ++i) g.NVEC(i) = n[i - 1] / len;
      g.GSTAT = 1;
    }
  }
  m.TIMES(T_CPREP) += m.clock.now() - t0;
}

}  // namespace

void ELEM_INIT(Model& m) {
  DampTables t;
  m.RR(11) = NOVALUE;
  // ---- first walk: start values and the class defaults
  for (int ie = 1; ie <= m.NELEM(); ++ie) {
    ELEMREC& e = m.ELEM(ie);
    if (!record_ok(m, e)) continue;
    if (e.TYPE == 1) shell_start(m, e, t);
    else if (e.TYPE == 2) solid_start(m, e, t);
    else if (e.TYPE == 4) rubber_start(m, e, t);
  }
  // ---- second walk: a deck BETA of exactly 0.0 takes the class default
  for (int ie = 1; ie <= m.NELEM(); ++ie) {
    const ELEMREC& e = m.ELEM(ie);
    if (!record_ok(m, e)) continue;
    if (e.TYPE == 1) fill_beta(m.SHLREC(e.IDX).BETA, t.shell, m.SHLREC(e.IDX).GROUP);
    else if (e.TYPE == 2) fill_beta(m.SOLREC(e.IDX).BETA, t.solid, m.SOLREC(e.IDX).GROUP);
    else if (e.TYPE == 4) fill_beta(m.RUBREC(e.IDX).BETA, t.rubber, m.RUBREC(e.IDX).GROUP);
  }
  damping_log(m, t);
  if (m.NGAP() > 0) gap_setup(m);
}

}  // namespace ossa::model
