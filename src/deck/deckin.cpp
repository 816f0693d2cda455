#include <string>

#include "deck/deck.hpp"
#include "model/stop.hpp"

namespace ossa::deck {

void DECKALLOC(Model& m, const DeckCounts& n) {
  const int NN = n.NNODE + n.NRUBB;
  const int NPROP = m.KK(kk::NELEM) - n.NGAP;
  int st[31] = {};
  int k = 0;
  auto a = [&](bool ok) { st[k++] = ok ? 0 : 1; };
  a(m.NODEID.allocate(NN));
  a(m.XYZ.allocate(3, NN));
  a(m.ELEM.allocate(m.KK(kk::NELEM)));
  a(m.SOLREC.allocate(n.NSOLID));
  a(m.SHLREC.allocate(n.NSHELL));
  a(m.GAPREC.allocate(n.NGAP));
  a(m.RUBREC.allocate(n.NRUBB));
  a(m.TRSREC.allocate(n.NTRUSS));
  a(m.T.allocate_raw(base::Dim(0, n.NSTEP)));  // filled whole after the last card
  a(m.LOADSET.allocate(4, n.NLOAD));
  a(m.TBL.allocate(n.MAXLDT, 2, n.NLOAD));
  a(m.FRCNOD.allocate(n.NFORCE));
  a(m.FRCVAL.allocate(6, n.NFORCE));
  a(m.DFCNOD.allocate(3, n.NDIRFC));
  a(m.DFCVAL.allocate(n.NDIRFC));
  a(m.PRSNOD.allocate(3, n.NPRESS));
  a(m.PRSVAL.allocate(n.NPRESS));
  a(m.DSPNOD.allocate(n.NDISP));
  a(m.DSPVAL.allocate(6, n.NDISP));
  a(m.PLKNOD.allocate(n.NPLNK));
  a(m.PLKFLG.allocate(6, n.NPLNK));
  a(m.VELTBL.allocate(3, n.NVEL));
  a(m.SPLPAIR.allocate(2, n.NSPLNK));
  a(m.BODYEND.allocate(n.NBODY));
  a(m.CSFNOD.allocate(3, n.NCSURF));
  a(m.CBPAIR.allocate(n.NBODY, n.NBODY));
  a(m.CBVAL.allocate(2, n.NBODY, n.NBODY));
  a(m.RD.PROPIP.allocate(6, NPROP));
  a(m.RD.PROPFP.allocate(9, NPROP));
  a(m.RD.TRSN.allocate(n.NTRSTB));
  a(m.RD.TRSTBL.allocate(n.MAXPTS, 2, n.NTRSTB));
  m.RD.NPROP = NPROP > 0 ? NPROP : 0;
  m.RD.MAXNOD = n.MAXNOD;
  m.RD.MAXELEM = n.MAXELEM;
  m.RD.NTRSTB = n.NTRSTB;
  m.RD.MAXPTS = n.MAXPTS;
  m.MAXLDT = n.MAXLDT;
  model::ALLOCCHK(m, st, k, 0, m.UNIT(2));
}

namespace {

void store_counts(Model& m, const DeckCounts& n) {
  m.KK(kk::NNODE) = n.NNODE;
  m.KK(kk::NSOLID) = n.NSOLID;
  m.KK(kk::NSHELL) = n.NSHELL;
  m.KK(kk::NGAP) = n.NGAP;
  m.KK(kk::NRUBB) = n.NRUBB;
  m.KK(kk::NTRUSS) = n.NTRUSS;
  m.KK(kk::NELEM) = n.NSOLID + n.NSHELL + n.NGAP + n.NRUBB + n.NTRUSS;
  m.KK(kk::NSTEP) = n.NSTEP;
  m.KK(kk::NLOAD) = n.NLOAD;
  m.KK(kk::NFORCE) = n.NFORCE;
  m.KK(kk::NDIRFC) = n.NDIRFC;
  m.KK(kk::NPRESS) = n.NPRESS;
  m.KK(kk::NDISP) = n.NDISP;
  m.KK(kk::NPLNK) = n.NPLNK;
  m.KK(kk::NVEL) = n.NVEL;
  m.KK(kk::NSPLNK) = n.NSPLNK;
  m.KK(kk::NBODY) = n.NBODY;
  m.KK(kk::NCSURF) = n.NCSURF;
  m.KK(kk::CONTACT) = n.NBODY > 0 ? 1 : 0;
}

// The number of cards of a kind that the counts leave room for; -1 where
// the storing routine checks for itself or the card needs no room.
long room(const Model& m, Key k) {
  switch (k) {
    case K_NODE: return m.KK(kk::NNODE);
    case K_SOLID: return m.KK(kk::NSOLID);
    case K_SHELL: return m.KK(kk::NSHELL);
    case K_GAP: return m.KK(kk::NGAP) / 3;
    case K_RUBB: return m.KK(kk::NRUBB);
    case K_TRUSS: return m.KK(kk::NTRUSS);
    case K_PROPT: return m.RD.NPROP;
    case K_NLOAD: return m.KK(kk::NLOAD);
    case K_FORCE: return m.KK(kk::NFORCE);
    case K_DIRFC: return m.KK(kk::NDIRFC);
    case K_PRESS: return m.KK(kk::NPRESS);
    case K_DISP: return m.KK(kk::NDISP);
    case K_PLNK: return m.KK(kk::NPLNK);
    case K_VEL: return m.KK(kk::NVEL);
    case K_SPLNK: return m.KK(kk::NSPLNK);
    case K_BODY: return m.KK(kk::NBODY);
    case K_CSURF: return m.KK(kk::NCSURF);
    case K_TRSTB: return m.RD.NTRSTB;
    default: return -1;
  }
}

const char* count_card(Key k) {
  switch (k) {
    case K_NODE: return "\"CNTND\"";
    case K_SOLID: case K_SHELL: case K_GAP: case K_RUBB: case K_TRUSS: return "\"CNTEL\"";
    case K_PROPT: return "\"CNTEL\" (ONE ROW PER ELEMENT THAT IS NO GAP)";
    case K_NLOAD: return "\"NGLD\"";
    case K_PLNK: return "\"NPLNK\"";
    case K_BODY: return "\"NBODY\"";
    case K_CSURF: return "\"BODY\"";
    default: return "THE COUNTING PASS";
  }
}

// Room for the line of every card that the counts allow.
void line_arrays(Model& m, Reader& r) {
  int st[K_COUNT + 1] = {};
  for (int k = 0; k < K_COUNT; ++k) {
    const long lim = room(m, static_cast<Key>(k));
    st[k] = r.LINE[k].allocate(lim > 0 ? lim : 0) ? 0 : 1;
  }
  st[K_COUNT] = r.ELEMLINE.allocate(m.NELEM()) ? 0 : 1;
  model::ALLOCCHK(m, st, K_COUNT + 1, 0, m.UNIT(2));
}

// Cards whose records every later stage reads must all be there: a record
// left empty would name node or element 0. Checked on the first pass's card
// count before anything is allocated (a count far above the cards present
// must not cost its size in memory and time), and again on the cards stored.
void check_shortfall(Model& m, const std::int32_t* have) {
  static constexpr Key MUST[] = {K_NODE, K_SOLID, K_SHELL, K_GAP,  K_RUBB,
                                 K_TRUSS, K_PLNK, K_NLOAD, K_BODY, K_CSURF};
  for (const Key k : MUST) {
    const long lim = room(m, k);
    if (have[k] < lim)
      model::FAIL(m, "ONLY " + std::to_string(have[k]) + " \"" + KEYNAME(k) + "\" CARDS FOR THE " +
                       std::to_string(lim) + " THAT " + count_card(k) + " STATES.", -2);
  }
}

}  // namespace

void DECKIN(Model& m) {
  const double t0 = m.clock.now();
  base::Unit& inp = m.unit(m.UNIT(1));
  DeckCounts n;
  DECKCNT(m, inp, n);
  store_counts(m, n);
  if (n.NGAP > 0 && n.NBODY > 0) model::FAIL(m, "GAP ELEMENT IS NOT AVAILABLE IN CONTACT ANALYSIS.", -2);
  check_shortfall(m, n.CARDS);
  DECKALLOC(m, n);

  base::rewind_unit(inp);
  m.T(0) = 0.0;
  m.LOADSET.fill(0);
  m.TBL.fill(0.0);
  m.CBPAIR.fill(0);
  m.CBVAL.fill(0.0);

  Reader r(m);
  line_arrays(m, r);
  for (;;) {
    if (!READCARD(m, r.card, 120)) DECKFAULT(m, r.card, "END OF FILE BEFORE THE \"END\" CARD");
    const Key k = r.card.key;
    if (k == K_END) break;
    if (k == K_NONE || k == K_CNTND || k == K_CNTEL || k == K_NGLD || k == K_NPLNK || k == K_NBODY)
      continue;
    const long lim = room(m, k);
    if (lim >= 0 && r.n[k] >= lim)
      DECKFAULT(m, r.card, "MORE \"" + std::string(KEYNAME(k)) + "\" CARDS THAN " + count_card(k) +
                               " ALLOWS (" + std::to_string(lim) + ")");
    if (lim > 0) r.LINE[k](r.n[k] + 1) = static_cast<std::int32_t>(r.card.line);
    CARDSTORE(r);
    ++r.n[k];
  }
  check_shortfall(m, r.n);
  DECKFIN(m, r);
  DECKECHO(m);
  m.TIMES(model::T_INPUT) = m.clock.now() - t0;
  RIKSCHK(m);
  NOTYET(m);
}

}  // namespace ossa::deck
