// The storing pass's dispatch and the model cards: nodes and the five
// element kinds, stored in card order with deck numbers as they stand.
#include "deck/deck.hpp"

namespace ossa::deck {

namespace {

std::int32_t I(const Reader& r, int c1, int c2) {
  return static_cast<std::int32_t>(IFIELD(r.m, r.card, c1, c2));
}

void node_card(Reader& r) {
  Model& m = r.m;
  const int i = r.n[K_NODE] + 1;
  m.NODEID(i) = I(r, 6, 15);
  for (int k = 1; k <= 3; ++k) m.XYZ(k, i) = RFIELD(m, r.card, 1 + 15 * k, 15 + 15 * k);
}

// A new directory record, with the card's line kept for later messages.
model::ELEMREC& new_elem(Reader& r, int id, int idx, int type, int ndf, int nen) {
  const int j = ++r.NELEMS;
  r.ELEMLINE(j) = static_cast<std::int32_t>(r.card.line);
  model::ELEMREC& e = r.m.ELEM(j);
  e.ID = id;
  e.IDX = idx;
  e.TYPE = type;
  e.NDF = ndf;
  e.NEN = nen;
  return e;
}

// "SOLID" and "RUBB": the second and third card nodes change places so
// that the tetrahedron has the orientation the element formulas expect.
void tet_card(Reader& r, int type, int ndf) {
  model::ELEMREC& e = new_elem(r, I(r, 6, 15), r.n[r.card.key] + 1, type, ndf, 4);
  e.NOD(1) = I(r, 16, 25);
  e.NOD(3) = I(r, 26, 35);
  e.NOD(2) = I(r, 36, 45);
  e.NOD(4) = I(r, 46, 55);
}

void shell_card(Reader& r) {
  const int idx = r.n[K_SHELL] + 1;
  model::ELEMREC& e = new_elem(r, I(r, 6, 15), idx, 1, 6, 3);
  for (int k = 1; k <= 3; ++k) e.NOD(k) = I(r, 6 + 10 * k, 15 + 10 * k);
  r.m.SHLREC(idx).THICK = RFIELD(r.m, r.card, 51, 60);
}

void truss_card(Reader& r) {
  model::ELEMREC& e = new_elem(r, I(r, 6, 15), r.n[K_TRUSS] + 1, 5, 3, 2);
  e.NOD(1) = I(r, 16, 25);
  e.NOD(2) = I(r, 26, 35);
}

// One card, three gap elements numbered by their own running count: the
// k-th joins node ak with node bk.
void gap_card(Reader& r) {
  for (int k = 1; k <= 3; ++k) {
    const int g = r.NGAPCARD + k;
    model::ELEMREC& e = new_elem(r, g, g, 3, 3, 2);
    e.NOD(1) = I(r, 6 + 10 * (k - 1), 15 + 10 * (k - 1));
    e.NOD(2) = I(r, 36 + 10 * (k - 1), 45 + 10 * (k - 1));
  }
  r.NGAPCARD += 3;
}

}  // namespace

void MODELCARD(Reader& r) {
  switch (r.card.key) {
    case K_NODE: node_card(r); break;
    case K_SOLID: tet_card(r, 2, 3); break;
    case K_RUBB: tet_card(r, 4, 4); break;
    case K_SHELL: shell_card(r); break;
    case K_TRUSS: truss_card(r); break;
    case K_GAP: gap_card(r); break;
    default: break;
  }
}

void CARDSTORE(Reader& r) {
  Model& m = r.m;
  switch (r.card.key) {
    case K_NODE: case K_SOLID: case K_RUBB: case K_SHELL: case K_TRUSS: case K_GAP:
      MODELCARD(r);
      break;
    case K_CNTRL: CNTRLRD(m, r.card); break;
    case K_CNTR2: CNTR2RD(m, r.card); break;
    case K_CNTR3: CNTR3RD(m, r.card); break;
    case K_PRPLT: case K_PRPL2: PRPLTRD(m, r.card); break;
    case K_PROPT: PROPTRD(r); break;
    case K_TRSTB: TRSTBRD(r); break;
    case K_KUKAN: KUKANRD(r); break;
    case K_NLOAD: case K_TBLLD: case K_FORCE: case K_DIRFC: case K_PRESS: case K_DISP:
      LOADCARD(r);
      break;
    case K_PLNK: case K_SPLNK: case K_VEL: LINKCARD(r); break;
    case K_BODY: case K_CSURF: case K_CBODY: CONTCARD(r); break;
    default: break;  // count cards, read by the counting pass alone
  }
}

}  // namespace ossa::deck
