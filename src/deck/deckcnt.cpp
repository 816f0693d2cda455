#include <algorithm>

#include "base/fields.hpp"
#include "deck/deck.hpp"
#include "model/stop.hpp"

namespace ossa::deck {

namespace {

std::int32_t nonneg(long v) { return v > 0 ? static_cast<std::int32_t>(v) : 0; }
std::int32_t maxof(std::int32_t a, long b) { return b > a ? static_cast<std::int32_t>(b) : a; }

// Interval counts of a "KUKAN" card: group 1 always, group 2 when its time
// columns are not blank, group 3 when group 2 was taken and its time is given.
std::int32_t kukan_count(const Model& m, const Card& c) {
  std::int32_t n = nonneg(IFIELD(m, c, 21, 30));
  if (base::is_blank(base::field(c.img, 31, 45))) return n;
  n += nonneg(IFIELD(m, c, 46, 55));
  if (base::is_blank(base::field(c.img, 56, 70))) return n;
  return n + nonneg(IFIELD(m, c, 71, 80));
}

}  // namespace

void DECKCNT(Model& m, base::Unit& inp, DeckCounts& n) {
  n = DeckCounts{};
  base::rewind_unit(inp);
  Card c;
  for (;;) {
    if (!READCARD(m, c, 80)) DECKFAULT(m, c, "END OF FILE BEFORE THE \"END\" CARD");
    ++n.CARDS[c.key];
    switch (c.key) {
      case K_END: return;
      case K_CNTND: n.NNODE = nonneg(IFIELD(m, c, 11, 20)); break;
      case K_CNTEL:
        n.NSOLID = nonneg(IFIELD(m, c, 6, 15));
        n.NSHELL = nonneg(IFIELD(m, c, 16, 25));
        n.NGAP = 3 * nonneg(IFIELD(m, c, 26, 35));
        n.NRUBB = nonneg(IFIELD(m, c, 36, 45));
        n.NTRUSS = nonneg(IFIELD(m, c, 46, 55));
        break;
      case K_NODE: n.MAXNOD = maxof(n.MAXNOD, IFIELD(m, c, 6, 15)); break;
      case K_SOLID: case K_SHELL: case K_RUBB: case K_TRUSS:
        n.MAXELEM = maxof(n.MAXELEM, IFIELD(m, c, 6, 15));
        break;
      case K_TRSTB:
        ++n.NTRSTB;
        n.MAXPTS = maxof(n.MAXPTS, IFIELD(m, c, 11, 15));
        break;
      case K_KUKAN: n.NSTEP += kukan_count(m, c); break;
      case K_NGLD: n.NLOAD = nonneg(IFIELD(m, c, 6, 10)); break;
      case K_NLOAD: n.MAXLDT = maxof(n.MAXLDT, IFIELD(m, c, 11, 15)); break;
      case K_FORCE: ++n.NFORCE; break;
      case K_DIRFC: ++n.NDIRFC; break;
      case K_PRESS: ++n.NPRESS; break;
      case K_DISP: ++n.NDISP; break;
      case K_NPLNK: n.NPLNK += nonneg(IFIELD(m, c, 11, 17)); break;
      case K_VEL: ++n.NVEL; break;
      case K_SPLNK: ++n.NSPLNK; break;
      case K_NBODY: n.NBODY = nonneg(IFIELD(m, c, 6, 10)); break;
      case K_BODY: n.NCSURF += nonneg(IFIELD(m, c, 11, 20)); break;
      default: break;  // remarks, second-pass cards, table rows
    }
  }
}

}  // namespace ossa::deck
