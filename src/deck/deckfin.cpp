// After the last card: deck numbers become positions, the yield criterion
// and the minimum modulus are settled, and each property row goes into its
// element's record. A number that names nothing stops the job with the
// card's line rather than reaching into memory it does not own.
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "deck/deck.hpp"
#include "elements/family.hpp"
#include "model/stop.hpp"

namespace ossa::deck {

namespace {

const char* kind_name(int type) {
  static const char* const NAME[] = {"", "SHELL", "SOLID", "GAP", "RUBBER", "TRUSS"};
  return type >= 1 && type <= 5 ? NAME[type] : "UNKNOWN";
}

// ---- Maps ---------------------------------------------------------------------

// Deck number to position, sized by the cards and not by the largest
// number: (number, position) pairs sorted by number, the later card kept
// where a number repeats. Numbers 1, 2, 3... in card order are found at
// their own place without a search.
using NumPair = std::pair<std::int32_t, std::int32_t>;
struct NumMap {
  std::vector<NumPair> v;
};

void seal(NumMap& map) {
  auto& v = map.v;
  auto by_id = [](const NumPair& a, const NumPair& b) { return a.first < b.first; };
  if (!std::is_sorted(v.begin(), v.end(), by_id)) std::stable_sort(v.begin(), v.end(), by_id);
  std::size_t w = 0;
  for (const NumPair& p : v) {
    if (w > 0 && v[w - 1].first == p.first) v[w - 1] = p;  // the later card wins
    else v[w++] = p;
  }
  v.resize(w);
}

// Position of `id`; 0 where no card gave it.
std::int32_t find(const NumMap& map, std::int32_t id) {
  const auto& v = map.v;
  if (v.empty()) return 0;
  const long g = static_cast<long>(id) - v.front().first;
  if (g >= 0 && g < static_cast<long>(v.size()) && v[static_cast<std::size_t>(g)].first == id)
    return v[static_cast<std::size_t>(g)].second;
  const auto it = std::lower_bound(v.begin(), v.end(), id,
                                   [](const NumPair& a, std::int32_t x) { return a.first < x; });
  return it != v.end() && it->first == id ? it->second : 0;
}

struct Maps {
  NumMap node;
  NumMap elem[6];  // by element type code 1..5
};

void node_map(Model& m, const Reader& r, NumMap& map) {
  map.v.reserve(static_cast<std::size_t>(m.NNODE()));
  for (int i = 1; i <= m.NNODE(); ++i) {
    const std::int32_t id = m.NODEID(i);
    if (id < 1)
      INPUTFAIL(m, r.LINE[K_NODE](i), "NODE NUMBER " + std::to_string(id) + " IS NOT POSITIVE.");
    map.v.emplace_back(id, i);
  }
  seal(map);
}

void elem_map(Model& m, const Reader& r, NumMap* map) {
  for (int t = 1; t <= 5; ++t) map[t].v.reserve(static_cast<std::size_t>(m.KK(12 + t)));
  for (int j = 1; j <= m.NELEM(); ++j) {
    const model::ELEMREC& e = m.ELEM(j);
    if (e.ID < 1)
      INPUTFAIL(m, r.ELEMLINE(j), "ELEMENT NUMBER " + std::to_string(e.ID) + " IS NOT POSITIVE.");
    map[e.TYPE].v.emplace_back(e.ID, e.IDX);
  }
  for (int t = 1; t <= 5; ++t) seal(map[t]);
}

// Position of node `id`, named on line `line`; 0 where no "NODE" card gave it.
std::int32_t node_pos(Model& m, const NumMap& map, std::int32_t id, long line) {
  const std::int32_t p = find(map, id);
  if (p == 0)
    INPUTFAIL(m, line, "NODE " + std::to_string(id) + " IS NOT DEFINED BY A \"NODE\" CARD.");
  return p;
}

// ---- Translation -----------------------------------------------------------

void translate(Model& m, const Reader& r, const NumMap& map) {
  auto pos = [&](std::int32_t id, long line) { return node_pos(m, map, id, line); };
  for (int j = 1; j <= m.NELEM(); ++j) {
    model::ELEMREC& e = m.ELEM(j);
    for (int k = 1; k <= e.NEN; ++k) e.NOD(k) = pos(e.NOD(k), r.ELEMLINE(j));
  }
  for (int i = 1; i <= m.KK(kk::NFORCE); ++i) m.FRCNOD(i) = pos(m.FRCNOD(i), r.LINE[K_FORCE](i));
  for (int i = 1; i <= m.KK(kk::NDISP); ++i) m.DSPNOD(i) = pos(m.DSPNOD(i), r.LINE[K_DISP](i));
  for (int i = 1; i <= m.KK(kk::NPLNK); ++i) m.PLKNOD(i) = pos(m.PLKNOD(i), r.LINE[K_PLNK](i));
  for (int i = 1; i <= m.KK(kk::NSPLNK); ++i)
    for (int k = 1; k <= 2; ++k) m.SPLPAIR(k, i) = pos(m.SPLPAIR(k, i), r.LINE[K_SPLNK](i));
  for (int i = 1; i <= m.KK(kk::NCSURF); ++i)
    for (int k = 1; k <= 3; ++k) m.CSFNOD(k, i) = pos(m.CSFNOD(k, i), r.LINE[K_CSURF](i));
}

// ---- Defaults ----------------------------------------------------------------

bool shell_or_solid(const Model& m, int row) {
  return m.RD.PROPIP(5, row) == 1 || m.RD.PROPIP(5, row) == 2;
}

// Light material with a Poisson's ratio of bone takes Drucker-Prager,
// everything else von Mises.
void yield_type(Model& m, int nrow) {
  for (int row = 1; row <= nrow; ++row) {
    if (!shell_or_solid(m, row) || m.RD.PROPIP(4, row) != 0) continue;
    const double w = m.RD.PROPFP(3, row), nu = m.RD.PROPFP(1, row);
    m.RD.PROPIP(4, row) = (w < 2.7e-6 && nu >= 0.3 && nu <= 0.4) ? 2 : 1;
  }
}

// A thousandth of the stiffest bone (of the stiffest shell or solid where
// no bone has a modulus), or the softest bone if that is softer still.
double emin(const Model& m, int nrow) {
  double most = 0.0, most_all = 0.0;
  for (int row = 1; row <= nrow; ++row) {
    if (!shell_or_solid(m, row)) continue;
    const double e = m.RD.PROPFP(2, row);
    if (e > most_all) most_all = e;
    if (m.RD.PROPIP(3, row) == 1 && e > most) most = e;
  }
  double x = 0.001 * (most == 0.0 ? most_all : most);
  for (int row = 1; row <= nrow; ++row)
    if (shell_or_solid(m, row) && m.RD.PROPIP(3, row) == 1 && m.RD.PROPFP(2, row) < x)
      x = m.RD.PROPFP(2, row);
  return x;
}

// ---- Property rows -------------------------------------------------------------

// Mass and damping: density from the row's weight density (N/mm^3 over
// g in mm/s^2), the body-load row, and the Rayleigh factors.
template <class Rec>
void mass_fields(const Model& m, int row, Rec& s) {
  s.RHO = m.RD.PROPFP(3, row) / 9806.65;
  s.BODYLOAD = m.RD.PROPIP(2, row);
  s.ALPHA = m.RD.PROPFP(7, row);
  s.BETA = m.RD.PROPFP(8, row);
}

// The fields that shells and solids share.
template <class Rec>
void bone_fields(const Model& m, int row, Rec& s) {
  s.GROUP = m.RD.PROPIP(1, row) + 10 * m.RD.PROPIP(3, row) + 1;
  s.E = m.RD.PROPFP(2, row);
  s.NU = m.RD.PROPFP(1, row);
  mass_fields(m, row, s);
  s.SIGT = m.RD.PROPFP(4, row);
  s.YTYPE = m.RD.PROPIP(4, row);
  const double et0 = m.RD.PROPFP(6, row) * s.E, et1 = 0.5 * m.RR(rr::EMIN);
  const double et = et0 > et1 ? et0 : et1;
  s.HPRIME = s.E * et / (s.E - et);
  s.ECRUSH = m.RD.PROPFP(9, row) * 1.0e-6;
}

// The law needs a positive shear modulus 2 (C1 + C2) with neither term
// negative (C2 = 0 is the neo-Hookean law), and a positive bulk modulus:
// its pressure equation divides by it.
void rubber_fields(Model& m, int row, long line, model::RUBREC& s) {
  const double c1 = m.RD.PROPFP(1, row), c2 = m.RD.PROPFP(2, row), kb = m.RD.PROPFP(4, row);
  if (!(c1 >= 0.0 && c2 >= 0.0 && c1 + c2 > 0.0 && kb > 0.0))
    INPUTFAIL(m, line, "RUBBER ELEMENT " + std::to_string(m.RD.PROPIP(6, row)) +
                           ": C1 AND C2 MUST NOT BE NEGATIVE, C1+C2 AND THE BULK MODULUS MUST BE POSITIVE.");
  s.GROUP = m.RD.PROPIP(1, row) + 1;
  s.C1 = m.RD.PROPFP(1, row);
  s.C2 = m.RD.PROPFP(2, row);
  s.KB = m.RD.PROPFP(4, row);
  mass_fields(m, row, s);
}

// The table number was checked on its card. The force law needs a segment
// and a slope on each: two points at least, strains increasing.
void truss_fields(Model& m, int row, long line, model::TRSREC& s) {
  const std::int32_t tab = m.RD.PROPIP(1, row);
  const std::int32_t n = m.RD.TRSN(tab);
  const std::string what = "TRUSS ELEMENT " + std::to_string(m.RD.PROPIP(6, row)) +
                           ": \"TRSTB\" TABLE " + std::to_string(tab);
  if (n < 2) INPUTFAIL(m, line, what + " HAS FEWER THAN TWO POINTS.");
  for (int j = 2; j <= n; ++j)
    if (!(m.RD.TRSTBL(j, 1, tab) > m.RD.TRSTBL(j - 1, 1, tab)))
      INPUTFAIL(m, line, what + ": STRAIN OF POINT " + std::to_string(j) + " DOES NOT INCREASE.");
  s.TABLE = tab;
  s.NPT = n;
  const int st = s.CURVE.allocate(n, 2) ? 0 : 1;
  model::ALLOCCHK(m, &st, 1, 0, m.UNIT(2));
  for (int j = 1; j <= n; ++j)
    for (int c = 1; c <= 2; ++c) s.CURVE(j, c) = m.RD.TRSTBL(j, c, tab);
}

// Index of the element a row names in its kind's records; every row names
// an existing element that is no gap, and no element has two rows.
int row_target(Model& m, const NumMap* elmap, int row, long line, base::Arr2<std::int32_t>& owner) {
  const std::int32_t code = m.RD.PROPIP(5, row), id = m.RD.PROPIP(6, row);
  const bool kind = code == 1 || code == 2 || code == 4 || code == 5;
  const int i = kind ? find(elmap[code], id) : 0;
  if (i == 0)
    INPUTFAIL(m, line, "\"PROPT\" NAMES " + std::string(kind_name(code)) + " ELEMENT " +
                           std::to_string(id) + ", WHICH DOES NOT EXIST.");
  if (owner(code, i) != 0)
    INPUTFAIL(m, line, "SECOND \"PROPT\" ROW FOR " + std::string(kind_name(code)) + " ELEMENT " +
                           std::to_string(id) + " (FIRST ON LINE " + std::to_string(owner(code, i)) +
                           ").");
  owner(code, i) = static_cast<std::int32_t>(line);
  return i;
}

void copy_rows(Model& m, const Reader& r, const NumMap* elmap) {
  const int nrow = r.n[K_PROPT];
  int most = 0;
  for (int k = 13; k <= 17; ++k) if (m.KK(k) > most) most = m.KK(k);
  base::Arr2<std::int32_t> owner;  // line of the row of each (kind, index), 0 none
  const int st = owner.allocate(5, most) ? 0 : 1;
  model::ALLOCCHK(m, &st, 1, 0, m.UNIT(2));
  for (int row = 1; row <= nrow; ++row) {
    const long line = r.LINE[K_PROPT](row);
    const int i = row_target(m, elmap, row, line, owner);
    switch (m.RD.PROPIP(5, row)) {
      case 1: {
        model::SHLREC& s = m.SHLREC(i);
        bone_fields(m, row, s);
        s.YIELD.fill(m.RD.PROPFP(5, row));
        break;
      }
      case 2: bone_fields(m, row, m.SOLREC(i)); m.SOLREC(i).YIELD = m.RD.PROPFP(5, row); break;
      case 4: rubber_fields(m, row, line, m.RUBREC(i)); break;
      case 5: truss_fields(m, row, line, m.TRSREC(i)); break;
      default: break;
    }
  }
  for (int j = 1; j <= m.NELEM(); ++j) {
    const model::ELEMREC& e = m.ELEM(j);
    if (elements::FAMILYOF(e.TYPE).PROPT && owner(e.TYPE, e.IDX) == 0)
      INPUTFAIL(m, r.ELEMLINE(j), std::string(kind_name(e.TYPE)) + " ELEMENT " +
                                      std::to_string(e.ID) + " HAS NO \"PROPT\" ROW.");
  }
}

// A shell must span a plane and have a thickness, and none of its nodes
// may carry the pressure of a rubber element: a shell node has no seventh
// position.
void shell_checks(Model& m, const Reader& r) {
  const std::vector<int> shells = elements::FAMILYELEMS(m, elements::F_SHELL);
  if (shells.empty()) return;
  std::vector<std::int32_t> owner(static_cast<std::size_t>(m.NNODE()) + 1, 0);
  for (int j : shells) {
    const model::ELEMREC& e = m.ELEM(j);
    if (const char* bad = elements::SHLBAD(m, e))
      INPUTFAIL(m, r.ELEMLINE(j), "SHELL ELEMENT " + std::to_string(e.ID) + " " + bad);
    for (int a = 1; a <= 3; ++a) owner[static_cast<std::size_t>(e.NOD(a))] = e.ID;
  }
  for (int j : elements::FAMILYELEMS(m, elements::F_RUBBER)) {
    const model::ELEMREC& e = m.ELEM(j);
    for (int a = 1; a <= 4; ++a)
      if (const std::int32_t sh = owner[static_cast<std::size_t>(e.NOD(a))])
        INPUTFAIL(m, r.ELEMLINE(j), "RUBBER ELEMENT " + std::to_string(e.ID) + " SHARES NODE " +
                                        std::to_string(m.NODEID(e.NOD(a))) + " WITH SHELL ELEMENT " +
                                        std::to_string(sh) + ", WHICH CANNOT CARRY ITS PRESSURE.");
  }
}

}  // namespace

void DECKFIN(Model& m, const Reader& r) {
  if (r.LDGROUP > 0) GROUPCHK(r);
  Maps maps;
  node_map(m, r, maps.node);
  elem_map(m, r, maps.elem);
  translate(m, r, maps.node);
  const int nrow = r.n[K_PROPT];
  yield_type(m, nrow);
  m.RR(rr::EMIN) = emin(m, nrow);
  copy_rows(m, r, maps.elem);
  shell_checks(m, r);
  m.RD.PROPIP.deallocate();
  m.RD.PROPFP.deallocate();
  m.RD.TRSN.deallocate();
  m.RD.TRSTBL.deallocate();
  TIMETABLE(m, r);
}

}  // namespace ossa::deck
