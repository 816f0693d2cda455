#include "deck/deck.hpp"

namespace ossa::deck {

// The cards' fields are stored by the card routines of each kind.
void CARDSTORE(Reader& r) { (void)r; }

}  // namespace ossa::deck
