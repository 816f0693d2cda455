#include "deck/deck.hpp"

namespace ossa::deck {

void DECKFIN(Model& m) { (void)m; }
void DECKECHO(Model& m) { (void)m; }

}  // namespace ossa::deck
