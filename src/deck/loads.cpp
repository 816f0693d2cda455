// Load groups and their data cards, links and initial velocities, and the
// contact cards.
#include <string>

#include "deck/deck.hpp"

namespace ossa::deck {

namespace {

std::int32_t I(const Reader& r, int c1, int c2) {
  return static_cast<std::int32_t>(IFIELD(r.m, r.card, c1, c2));
}
double R(const Reader& r, int c1, int c2) { return RFIELD(r.m, r.card, c1, c2); }

std::string quoted(Key k) {
  std::string q(1, '"');
  q += KEYNAME(k);
  q += '"';
  return q;
}

// Cards of a group need the group's "NLOAD" before them.
void need_group(Reader& r) {
  if (r.LDGROUP == 0)
    INPUTFAIL(r.m, r.card.line, quoted(r.card.key) + " CARD BEFORE THE FIRST \"NLOAD\" CARD.");
}

// The first data card of a group fixes its kind and the index range of its
// n cards; later cards count only for their own arrays.
void join_group(Reader& r, int kind, int i) {
  Model& m = r.m;
  const int g = r.LDGROUP;
  if (m.LOADSET(2, g) != 0) return;
  m.LOADSET(2, g) = kind;
  m.LOADSET(3, g) = i;
  m.LOADSET(4, g) = i + m.LOADSET(4, g) - 1;
}

void nload_card(Reader& r) {
  Model& m = r.m;
  if (r.LDGROUP > 0) GROUPCHK(r);
  const int g = ++r.LDGROUP;
  r.NTBL = 0;
  m.LOADSET(1, g) = I(r, 11, 15);
  m.LOADSET(4, g) = I(r, 16, 25);
}

void tblld_card(Reader& r) {
  Model& m = r.m;
  need_group(r);
  if (r.NTBL >= m.MAXLDT)
    INPUTFAIL(m, r.card.line, "MORE \"TBLLD\" CARDS IN GROUP " + std::to_string(r.LDGROUP) +
                                  " THAN THE LARGEST \"NLOAD\" TABLE (" +
                                  std::to_string(m.MAXLDT) + ").");
  const int k = ++r.NTBL;
  m.TBL(k, 1, r.LDGROUP) = R(r, 6, 20);
  m.TBL(k, 2, r.LDGROUP) = R(r, 21, 35);
}

// "FORCE" and "DISP": a node and six values from column 16 on.
void six_values(Reader& r, base::Arr1<std::int32_t>& nod, base::Arr2<double>& val, int kind) {
  need_group(r);
  const int i = r.n[r.card.key] + 1;
  nod(i) = I(r, 6, 15);
  for (int k = 1; k <= 6; ++k) val(k, i) = R(r, 1 + 15 * k, 15 + 15 * k);
  join_group(r, kind, i);
}

// "DIRFC" and "PRESS": three nodes and one value. Their node numbers are
// positions in the node list as they stand, so each must be one.
void three_nodes(Reader& r, base::Arr2<std::int32_t>& nod, base::Arr1<double>& val, int kind) {
  need_group(r);
  const int i = r.n[r.card.key] + 1;
  for (int k = 1; k <= 3; ++k)
    nod(k, i) = IRANGE(r.m, r.card, 6 + 10 * (k - 1), 15 + 10 * (k - 1), 1, r.m.KK(kk::NNODE), "NODE POSITION");
  val(i) = R(r, 36, 50);
  join_group(r, kind, i);
}

}  // namespace

// The group just closed (by the next "NLOAD" or by "END") has as many table
// rows as its "NLOAD" states, and its data cards exist.
void GROUPCHK(const Reader& r) {
  Model& m = r.m;
  const int g = r.LDGROUP;
  const Card nl{{}, r.LINE[K_NLOAD](g), K_NLOAD};
  const int npt = m.LOADSET(1, g) > 0 ? m.LOADSET(1, g) : 0;
  if (r.NTBL != npt)
    FIELDFAIL(m, nl, 11, 15, "GROUP " + std::to_string(g) + " STATES " + std::to_string(npt) +
                                 " TABLE POINTS, BUT " + std::to_string(r.NTBL) + " \"TBLLD\" CARDS FOLLOW.");
  static constexpr Key KIND[] = {K_NONE, K_FORCE, K_DIRFC, K_PRESS, K_DISP};
  const int kind = m.LOADSET(2, g);
  if (kind < 1 || kind > 4) return;
  const Key k = KIND[kind];
  if (m.LOADSET(4, g) > r.n[k])
    FIELDFAIL(m, nl, 16, 25, "GROUP " + std::to_string(g) + " TAKES \"" + KEYNAME(k) + "\" CARDS " +
                                 std::to_string(m.LOADSET(3, g)) + " TO " + std::to_string(m.LOADSET(4, g)) +
                                 ", BUT THE DECK HAS " + std::to_string(r.n[k]) + ".");
}

void LOADCARD(Reader& r) {
  Model& m = r.m;
  switch (r.card.key) {
    case K_NLOAD: nload_card(r); break;
    case K_TBLLD: tblld_card(r); break;
    case K_FORCE: six_values(r, m.FRCNOD, m.FRCVAL, 1); break;
    case K_DIRFC: three_nodes(r, m.DFCNOD, m.DFCVAL, 2); break;
    case K_PRESS: three_nodes(r, m.PRSNOD, m.PRSVAL, 3); break;
    case K_DISP: six_values(r, m.DSPNOD, m.DSPVAL, 4); break;
    default: break;
  }
}

void LINKCARD(Reader& r) {
  Model& m = r.m;
  const int i = r.n[r.card.key] + 1;
  switch (r.card.key) {
    case K_PLNK:
      m.PLKNOD(i) = I(r, 6, 15);
      // Only the codes 1 and 2 mean something; other digits leave the direction free.
      for (int k = 1; k <= 6; ++k) {
        const std::int32_t f = I(r, 15 + k, 15 + k);
        m.PLKFLG(k, i) = (f == 1 || f == 2) ? f : 0;
      }
      break;
    case K_SPLNK:
      m.SPLPAIR(1, i) = I(r, 6, 15);
      m.SPLPAIR(2, i) = I(r, 16, 25);
      break;
    case K_VEL:
      for (int k = 1; k <= 3; ++k) m.VELTBL(k, i) = R(r, 11 + 15 * (k - 1), 25 + 15 * (k - 1));
      break;
    default: break;
  }
}

void CONTCARD(Reader& r) {
  Model& m = r.m;
  const int i = r.n[r.card.key] + 1;
  switch (r.card.key) {
    case K_BODY: {
      // A running sum of the counts, as the counting pass took them.
      const std::int32_t n = I(r, 11, 20);
      m.BODYEND(i) = (i > 1 ? m.BODYEND(i - 1) : 0) + (n > 0 ? n : 0);
      break;
    }
    case K_CSURF:
      for (int k = 1; k <= 3; ++k) m.CSFNOD(k, i) = I(r, 6 + 10 * (k - 1), 15 + 10 * (k - 1));
      break;
    case K_CBODY: {
      const std::int32_t b1 = IRANGE(m, r.card, 6, 10, 1, m.KK(kk::NBODY), "BODY");
      const std::int32_t b2 = IRANGE(m, r.card, 11, 15, 1, m.KK(kk::NBODY), "BODY");
      m.CBPAIR(b1, b2) = 1;
      m.CBVAL(1, b1, b2) = R(r, 16, 25);
      m.CBVAL(2, b1, b2) = R(r, 26, 35);
      break;
    }
    default: break;
  }
}

}  // namespace ossa::deck
