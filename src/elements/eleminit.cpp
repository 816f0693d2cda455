// ELEM_INIT: element start values by family, the class defaults of
// stiffness-proportional damping and the gap links.
#include <cmath>
#include <string>

#include "base/fmt.hpp"
#include "base/kernels.hpp"
#include "elements/family.hpp"
#include "model/stop.hpp"

namespace ossa::elements {

using base::VSUB;
using base::VNORM;

namespace {

constexpr double NOVALUE = 1.0e10;  // empty table entry, and RR(11) at start

// One table of class defaults per family, by GROUP.
struct DampTables {
  double cls[NFAMILY + 1][NCLASS + 1];
  DampTables() {
    for (auto& t : cls)
      for (double& v : t) v = NOVALUE;
  }
};

double edge(const Model& m, int n1, int n2) {
  double d[3];
  VSUB(m.XYZ.at(1, n1), m.XYZ.at(1, n2), d, 3);
  return VNORM(d, 3);
}

// A class that no element could set (all its bone at the modulus floor)
// gives no default: a damping time of 1.0e10 would lock failed material into
// a rigid damper in a dynamic job.
void fill_beta(double& beta, const double* table, int group) {
  if (beta == 0.0 && GROUPOK(group) && table[group] < NOVALUE) beta = table[group];
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
  rows("                             SOLID(BONE) ", t.cls[F_SOLID], 11);
  rows("                             SOLID       ", t.cls[F_SOLID], 1);
  rows("                             SHELL(BONE) ", t.cls[F_SHELL], 11);
  rows("                             SHELL       ", t.cls[F_SHELL], 1);
  rows("                             RUBBER      ", t.cls[F_RUBBER], 1);
}

// Row of the damping tables: the family's own, row 0 for a TYPE that names
// none (its routines leave it alone).
int table_row(int TYPE) { return TYPE >= 1 && TYPE <= NFAMILY ? TYPE : 0; }

}  // namespace

bool NODESOK(const Model& m, const ELEMREC& e, int k) {
  for (int a = 1; a <= k; ++a)
    if (e.NOD(a) < 1 || e.NOD(a) > m.NNODE()) return false;
  return true;
}

double AVGLEN(const Model& m, const ELEMREC& e, int NCORNER) {
  static const int TET[6][2] = {{1, 2}, {2, 3}, {3, 1}, {1, 4}, {2, 4}, {3, 4}};
  static const int TRI[3][2] = {{3, 2}, {1, 3}, {2, 1}};
  double s = 0.0;
  if (NCORNER == 4) {
    for (const auto& p : TET) s += edge(m, e.NOD(p[0]), e.NOD(p[1]));
    return s / 6.0;
  }
  for (const auto& p : TRI) s += edge(m, e.NOD(p[0]), e.NOD(p[1]));
  return s / 3.0;
}

// Six times the volume with the solid's sign (nodes 1, 2, 3 counter-clockwise
// seen from node 4). A tetrahedron inside out or flat would give a negative
// or singular stiffness that no later step reports by name, so it stops here.
void TETVOLCHK(Model& m, const ELEMREC& e) {
  double d1[3], d2[3], d3[3], c[3];
  VSUB(m.XYZ.at(1, e.NOD(1)), m.XYZ.at(1, e.NOD(4)), d1, 3);
  VSUB(m.XYZ.at(1, e.NOD(2)), m.XYZ.at(1, e.NOD(4)), d2, 3);
  VSUB(m.XYZ.at(1, e.NOD(3)), m.XYZ.at(1, e.NOD(4)), d3, 3);
  base::CROSS(d2, d3, c);
  const double v = -base::DOT(d1, c, 3) / 6.0, len = AVGLEN(m, e, 4);
  if (v > 1.0e-14 * len * len * len) return;
  model::LOGMSG(m, std::string(FAMILYOF(e.TYPE).NAME) + " ELEMENT " + std::to_string(e.ID) +
                       ": VOLUME" + base::fPE(v, 12, 4) +
                       ", CORNERS IN THE WRONG ORDER OR IN ONE PLANE.");
  model::FAIL(m, "ELEMENT VOLUME IS TOO SMALL.", -3);
}

void CLASSRULE(const Model& m, double* CLASS, int GROUP, double E, double RHO, double LEN) {
  if (!GROUPOK(GROUP)) return;
  if (GROUP < 11 || E > 10.0 * m.RR(rr::EMIN)) {
    const double cand = LEN * std::sqrt(RHO / E);
    if (cand < CLASS[GROUP]) CLASS[GROUP] = cand;
  }
}

void ELEM_INIT(Model& m) {
  DampTables t;
  m.RR(rr::MINLEN) = NOVALUE;
  // ---- first walk: start values and the class defaults
  for (int ie = 1; ie <= m.NELEM(); ++ie) {
    ELEMREC& e = m.ELEM(ie);
    const FAMILY& f = FAMILYOF(e.TYPE);
    if (!f.RECOK(m, e)) continue;
    f.START(m, e, t.cls[table_row(e.TYPE)]);
  }
  // ---- second walk: a deck BETA of exactly 0.0 takes the class default
  for (int ie = 1; ie <= m.NELEM(); ++ie) {
    const ELEMREC& e = m.ELEM(ie);
    const FAMILY& f = FAMILYOF(e.TYPE);
    if (!f.RECOK(m, e)) continue;
    int group = 0;
    if (double* beta = f.BETA(m, e, group)) fill_beta(*beta, t.cls[table_row(e.TYPE)], group);
  }
  damping_log(m, t);
  if (m.NGAP() > 0) GAPSETUP(m);
}

}  // namespace ossa::elements
