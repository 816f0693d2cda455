// One small deck for each kind of job a user can ask for beyond the static
// solid and shell jobs, static and dynamic: contact and the element
// families still to come. Built on a box of six tetrahedra held at x = 0
// and pulled at x = 1.
#pragma once
#include <string>
#include <vector>

#include "deckgen.hpp"

namespace ossa::test {

struct KindDeck {
  const char* what;  // the capability the deck needs
  std::string deck;
  bool built = false;  // the capability exists: the job runs to its end
};

// The cards a kind changes: element counts, the control card, extra cards.
struct DeckParts {
  std::string cntel, cntrl, extra;
};

inline std::string join(const Box& b, const DeckParts& p) {
  int nheld = 0;
  const std::string held = hold_plane(b, 0.0, "111000", nheld);
  return cntnd(b.nnode()) + p.cntel + p.cntrl + cntr2(3, 1) + cntr3_cpu() + kukan(1.0, 2) +
         b.mesh_cards(0.3, 1000.0) + p.extra + ngld(1) + nplnk(nheld) + end_traction(b, b.LX, 5.0) +
         held + "END\n";
}

inline std::vector<KindDeck> kind_decks() {
  const Box b(1, 1, 1, 1.0, 1.0, 1.0);
  const int nt = b.ntet();
  const auto& t = b.tets;
  const DeckParts base{cntel(nt), cntrl(0, 0, 10, 1e-4), ""};
  std::vector<KindDeck> v;
  auto add = [&](const char* what, auto edit, bool built = false) {
    DeckParts p = base;
    edit(p);
    v.push_back({what, join(b, p), built});
  };
  const std::string body = card("NBODY%5d", 1) + card("BODY %5s%10d", "", 1) +
                           card("CSURF%10d%10d%10d", t[0][0], t[0][2], t[0][1]) +
                           card("CBODY%5d%5d%10.3f%10.3f", 1, 1, 0.2, 1.0);
  add("CONTACT ANALYSIS", [&](DeckParts& p) { p.extra = body; }, true);
  add("CONTACT IN DYNAMIC ANALYSIS", [&](DeckParts& p) {
    p.extra = body;
    p.cntrl[8] = '1';
  });
  auto rubber = [&](DeckParts& p) {
    p.cntel = cntel(nt, 0, 0, 1);
    p.cntrl = cntrl(1, 0, 10, 1e-4, -1);
    p.extra = rubb(nt + 1, t[0]) + propt_rubber(nt + 1, 0.5, 0.1, 100.0);
  };
  add("THE RUBBER ELEMENT", rubber, true);
  add("RUBBER ELEMENTS IN DYNAMIC ANALYSIS", [&](DeckParts& p) {
    rubber(p);
    p.cntrl[8] = '1';
  }, true);
  add("RUBBER ELEMENTS IN CONTACT ANALYSIS", [&](DeckParts& p) {
    rubber(p);
    p.extra += body;
  });
  return v;
}

}  // namespace ossa::test
