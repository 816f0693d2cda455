#include <string>

#include "deck/deck.hpp"

namespace ossa::deck {

namespace {

struct KeyDef {
  const char* word;
  Key key;
};

constexpr KeyDef KEYS[] = {
    {"END", K_END},     {"VEL", K_VEL},     {"GAP", K_GAP},     {"NODE", K_NODE},
    {"RUBB", K_RUBB},   {"NGLD", K_NGLD},   {"DISP", K_DISP},   {"PLNK", K_PLNK},
    {"BODY", K_BODY},   {"CNTND", K_CNTND}, {"CNTEL", K_CNTEL}, {"SOLID", K_SOLID},
    {"SHELL", K_SHELL}, {"TRUSS", K_TRUSS}, {"CNTRL", K_CNTRL}, {"CNTR2", K_CNTR2},
    {"CNTR3", K_CNTR3}, {"PRPLT", K_PRPLT}, {"PRPL2", K_PRPL2}, {"PROPT", K_PROPT},
    {"TRSTB", K_TRSTB}, {"KUKAN", K_KUKAN}, {"NLOAD", K_NLOAD}, {"TBLLD", K_TBLLD},
    {"FORCE", K_FORCE}, {"DIRFC", K_DIRFC}, {"PRESS", K_PRESS}, {"NPLNK", K_NPLNK},
    {"SPLNK", K_SPLNK}, {"NBODY", K_NBODY}, {"CSURF", K_CSURF}, {"CBODY", K_CBODY},
};

}  // namespace

Key KEYMATCH(std::string_view image) {
  // Most lines of a large deck are data cards: a cheap test of the first
  // character settles the rest.
  if (image.size() < 3) return K_NONE;
  const char c = image[0];
  for (const auto& k : KEYS) {
    if (k.word[0] != c) continue;
    const std::size_t n = std::char_traits<char>::length(k.word);
    if (image.size() >= n && image.compare(0, n, k.word) == 0) return k.key;
  }
  return K_NONE;
}

const char* KEYNAME(Key k) {
  for (const auto& d : KEYS) if (d.key == k) return d.word;
  return "";
}

}  // namespace ossa::deck
