#include <algorithm>
#include <cstdint>
#include <string>

#include "base/fields.hpp"
#include "deck/deck.hpp"
#include "model/stop.hpp"

namespace ossa::deck {

namespace {

std::int32_t nonneg(long v) { return v > 0 ? static_cast<std::int32_t>(v) : 0; }
std::int32_t maxof(std::int32_t a, long b) { return b > a ? static_cast<std::int32_t>(b) : a; }

// `sum` plus `times` the count in columns c1-c2 (one below 0 counts as 0).
// A total past the largest count stops at the card that carries it there.
std::int32_t add_count(Model& m, const Card& c, int c1, int c2, std::int32_t sum, long times = 1) {
  const long v = nonneg(IFIELD(m, c, c1, c2));
  const long t = sum + times * v;
  if (t > INT32_MAX - 1)
    FIELDFAIL(m, c, c1, c2, "COUNT " + std::to_string(v) + " BRINGS THE TOTAL TO " + std::to_string(t) +
                                ", ABOVE " + std::to_string(INT32_MAX - 1) + ".");
  return static_cast<std::int32_t>(t);
}

// Interval counts of a "KUKAN" card: group 1 always, group 2 when its time
// columns are not blank, group 3 when group 2 was taken and its time is given.
std::int32_t kukan_count(Model& m, const Card& c, std::int32_t n) {
  n = add_count(m, c, 21, 30, n);
  if (base::is_blank(base::field(c.img, 31, 45))) return n;
  n = add_count(m, c, 46, 55, n);
  if (base::is_blank(base::field(c.img, 56, 70))) return n;
  return add_count(m, c, 71, 80, n);
}

}  // namespace

void DECKCNT(Model& m, base::Unit& inp, DeckCounts& n) {
  n = DeckCounts{};
  base::rewind_unit(inp);
  Card c, longest;  // the "NLOAD" card of the longest table
  for (;;) {
    if (!READCARD(m, c, 80)) DECKFAULT(m, c, "END OF FILE BEFORE THE \"END\" CARD");
    ++n.CARDS[c.key];
    switch (c.key) {
      case K_END:
        // Each table row is a "TBLLD" card: a longer table cannot be filled,
        // and must not be allocated first.
        if (n.MAXLDT > n.CARDS[K_TBLLD])
          FIELDFAIL(m, longest, 11, 15, "A TABLE OF " + std::to_string(n.MAXLDT) + " POINTS, BUT THE DECK HAS " +
                                            std::to_string(n.CARDS[K_TBLLD]) + " \"TBLLD\" CARDS.");
        return;
      case K_CNTND: n.NNODE = nonneg(IFIELD(m, c, 11, 20)); break;
      case K_CNTEL: {
        // The five counts add up to NELEM, three gap elements a gap card.
        std::int32_t* const kind[] = {&n.NSOLID, &n.NSHELL, &n.NGAP, &n.NRUBB, &n.NTRUSS};
        std::int32_t all = 0;
        for (int k = 0; k < 5; ++k) {
          const std::int32_t before = all;
          all = add_count(m, c, 6 + 10 * k, 15 + 10 * k, all, k == 2 ? 3 : 1);
          *kind[k] = all - before;
        }
        break;
      }
      case K_NODE: n.MAXNOD = maxof(n.MAXNOD, IFIELD(m, c, 6, 15)); break;
      case K_SOLID: case K_SHELL: case K_RUBB: case K_TRUSS:
        n.MAXELEM = maxof(n.MAXELEM, IFIELD(m, c, 6, 15));
        break;
      case K_TRSTB:
        ++n.NTRSTB;
        n.MAXPTS = maxof(n.MAXPTS, IFIELD(m, c, 11, 15));
        break;
      case K_KUKAN: n.NSTEP = kukan_count(m, c, n.NSTEP); break;
      case K_NGLD: n.NLOAD = nonneg(IFIELD(m, c, 6, 10)); break;
      case K_NLOAD:
        if (IFIELD(m, c, 11, 15) > n.MAXLDT) longest = c;
        n.MAXLDT = maxof(n.MAXLDT, IFIELD(m, c, 11, 15));
        break;
      case K_FORCE: ++n.NFORCE; break;
      case K_DIRFC: ++n.NDIRFC; break;
      case K_PRESS: ++n.NPRESS; break;
      case K_DISP: ++n.NDISP; break;
      case K_NPLNK: n.NPLNK = add_count(m, c, 11, 17, n.NPLNK); break;
      case K_VEL: ++n.NVEL; break;
      case K_SPLNK: ++n.NSPLNK; break;
      case K_NBODY: n.NBODY = nonneg(IFIELD(m, c, 6, 10)); break;
      case K_BODY: n.NCSURF = add_count(m, c, 11, 20, n.NCSURF); break;
      default: break;  // remarks, second-pass cards, table rows
    }
  }
}

}  // namespace ossa::deck
