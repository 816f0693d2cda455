// The gap family: node-to-node links across a crack, three to a triangle of
// the deck, each between a pair of solid faces: a spring along the faces'
// normal while closed, nothing while open. Small-displacement jobs only
// (input refuses gaps in a nonlinear one).
#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "base/fmt.hpp"
#include "base/kernels.hpp"
#include "elements/family.hpp"
#include "elements/truss.hpp"
#include "model/stop.hpp"

namespace ossa::elements {

using base::VSUB;
using base::VNORM;
using base::CROSS;

using model::GAPREC;
using model::SOLREC;

bool GAPK(const GAPREC& g, double* Ke) {
  if (g.GSTAT == 0) return false;
  double Q[9];
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) Q[i + 3 * j] = g.KGAP * g.NVEC(i + 1) * g.NVEC(j + 1);
  LINKK(Q, Ke);
  return true;
}

void GAPF(Arr2<double>& P, Arr2<double>& LINKV, GAPREC& g, const Arr2<double>& U,
          const std::int32_t* NOD) {
  double val = 0.0;
  for (int i = 1; i <= 3; ++i) val += g.NVEC(i) * (U(i, NOD[1]) - U(i, NOD[0]));
  g.GAPVAL = val;
  if (g.GSTAT == 0) return;
  LINKADD(P, LINKV, NOD, g.KGAP * val, g.NVEC.data());
}

void CONTITERHEAD(Model& m, int ITER3, int CNTOK, const char* heads) {
  const char* text = CNTOK == 1 ? "CONVERGED!    "
                                : (ITER3 >= m.KK(kk::CONTITER) ? "NOT CONVERGED!" : "              ");
  model::LOGLINE(m, "");
  model::LOGLINE(m, "   * CONTACT ITER. = " + base::fI(ITER3, 3) + base::fX(3) + text);
  model::LOGLINE(m, heads);
}

int GAPCHK(Model& m, int ITER3) {
  int count[2][2] = {{0, 0}, {0, 0}};  // old status by new status
  int CNTOK = 1;
  for (int k = 1; k <= m.NGAP(); ++k) {
    GAPREC& g = m.GAPREC(k);
    g.GSTAT0 = g.GSTAT;
    g.GSTAT = g.GAPVAL <= 0.0 ? 1 : 0;
    if (g.GSTAT != g.GSTAT0) CNTOK = 0;
    ++count[g.GSTAT0 != 0][g.GSTAT];
  }
  CONTITERHEAD(m, ITER3, CNTOK, "                 FREE  CONTACT");
  model::LOGLINE(m, "        FREE" + base::fI(count[0][0], 9) + base::fI(count[0][1], 7));
  model::LOGLINE(m, "     CONTACT" + base::fI(count[1][0], 9) + base::fI(count[1][1], 7));
  return CNTOK;
}

bool GAPRECOK(const Model& m, const ELEMREC& e) {
  return e.IDX >= 1 && e.IDX <= m.NGAP() && NODESOK(m, e, 2);
}

// GAPSETUP gives the links their start values once all solids have theirs.
void GAPSTART(Model&, ELEMREC&, double*) {}
double* GAPBETA(Model&, const ELEMREC&, int&) { return nullptr; }

// The nonlinear drivers have no gap branch.
bool GAPSTIFF(Model& m, const ELEMREC& e, double* Ke) {
  return m.KK(kk::GEONL) == 0 && GAPK(m.GAPREC(e.IDX), Ke);
}

void GAPFORCE(Model& m, const ELEMREC& e, Arr2<double>&, int) {
  if (m.KK(kk::GEONL) == 0) GAPF(m.P, m.LINKV, m.GAPREC(e.IDX), m.U, e.NOD.data());
}

// The status of a gap is the contact iteration's (GAPCHK), not a material
// state.
bool GAPSTATUS(Model&, const ELEMREC&) { return false; }

namespace {

// The first solid (in element order) with a face whose corners are the
// nodes (a, b, c) in any order; 0 when there is none. The gap's normal comes
// from the card's order, so the face's own orientation does not matter.
int face_owner(const Model& m, const std::vector<int>& solids, const int* tri) {
  static const int FACE[4][3] = {{1, 2, 3}, {1, 2, 4}, {2, 3, 4}, {1, 3, 4}};
  std::array<int, 3> want = {tri[0], tri[1], tri[2]};
  std::sort(want.begin(), want.end());
  for (int ie : solids) {
    const ELEMREC& e = m.ELEM(ie);
    if (!SOLRECOK(m, e)) continue;
    for (const auto& f : FACE) {
      std::array<int, 3> have = {e.NOD(f[0]), e.NOD(f[1]), e.NOD(f[2])};
      std::sort(have.begin(), have.end());
      if (have == want) return ie;
    }
  }
  return 0;
}

// The stop for a triple that is no solid face, naming the gap elements of
// its card and the nodes.
[[noreturn]] void no_face(Model& m, int first, const int* tri) {
  std::string text = "GAP ELEMENTS " + std::to_string(first) + " TO " + std::to_string(first + 2) +
                     ": NODES";
  for (int j = 0; j < 3; ++j) text.append(" ").append(std::to_string(m.NODEID(tri[j])));
  model::LOGMSG(m, text.append(" ARE NO FACE OF A SOLID ELEMENT."));
  model::FAIL(m, "STOP IN SUB. ELEM_INIT!", -1, 0);
}

}  // namespace

void GAPSETUP(Model& m) {
  const double t0 = m.clock.now();
  const int ntri = m.NGAP() / 3;
  // Directory row of each gap ordinal.
  std::vector<int> row(static_cast<std::size_t>(3 * ntri) + 1, 0);
  for (int ie : FAMILYELEMS(m, F_GAP)) {
    const ELEMREC& e = m.ELEM(ie);
    if (e.IDX >= 1 && e.IDX <= 3 * ntri) row[e.IDX] = ie;
  }
  const std::vector<int> solids = FAMILYELEMS(m, F_SOLID);
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
      const int owner = face_owner(m, solids, &tri[6 * k + 3 * side]);
      if (owner == 0) no_face(m, 3 * k - 2, &tri[6 * k + 3 * side]);
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
  m.TIMES(model::T_CPREP) += m.clock.now() - t0;
}

void GAPRES(const Model&, const ELEMREC&, const Arr2<double>&, void*) {}

int GAPSNAP(Model& m, const ELEMREC& e, SNAPITEM* ITEMS) {
  ITEMS[0] = SNAPVAL(m.GAPREC(e.IDX).GSTAT);
  return 1;
}

}  // namespace ossa::elements
