#include <string>

#include "base/fields.hpp"
#include "deck/deck.hpp"
#include "model/stop.hpp"

namespace ossa::deck {

bool READCARD(Model& m, Card& c, int width) {
  base::Unit& u = m.unit(m.UNIT(1));
  if (!base::get_line(u, c.img)) return false;
  c.line = u.line;
  // Tabs would shift the fixed columns; they stand for one blank each.
  if (c.img.find('\t') != std::string::npos)
    for (char& ch : c.img) if (ch == '\t') ch = ' ';
  c.img.resize(static_cast<std::size_t>(width), ' ');
  c.key = KEYMATCH(c.img);
  return true;
}

namespace {

// "EXEC.INP, LINE n, COLUMNS a-b, CARD "KEY": what"
std::string placed(const Card& c, const std::string& what, int c1, int c2) {
  std::string msg = std::string(model::UNIT_FILE[0]) + ", LINE " + std::to_string(c.line);
  if (c1 > 0) msg += ", COLUMNS " + std::to_string(c1) + "-" + std::to_string(c2);
  const char* key = KEYNAME(c.key);
  if (*key) msg += ", CARD \"" + std::string(key) + "\"";
  return msg + ": " + what;
}

}  // namespace

void DECKFAULT(const Model& m, const Card& c, const std::string& what, int c1, int c2) {
  model::FILESTOP(const_cast<Model&>(m), placed(c, what, c1, c2));
}

void FIELDFAIL(Model& m, const Card& c, int c1, int c2, const std::string& what) {
  model::FAIL(m, placed(c, what, c1, c2), -2);
}

std::int32_t IRANGE(Model& m, const Card& c, int c1, int c2, long lo, long hi, const std::string& what) {
  const long v = IFIELD(m, c, c1, c2);
  if (v < lo || v > hi)
    FIELDFAIL(m, c, c1, c2, what + " " + std::to_string(v) + " IS OUTSIDE " + std::to_string(lo) +
                                ".." + std::to_string(hi) + ".");
  return static_cast<std::int32_t>(v);
}

void INPUTFAIL(Model& m, long line, const std::string& what) {
  model::FAIL(m, std::string(model::UNIT_FILE[0]) + ", LINE " + std::to_string(line) + ": " + what,
            -2);
}

namespace {

std::string shown(const Card& c, int c1, int c2) {
  std::string f(base::field(c.img, c1, c2));
  while (!f.empty() && f.back() == ' ') f.pop_back();
  while (!f.empty() && f.front() == ' ') f.erase(0, 1);
  return "\"" + f + "\"";
}

}  // namespace

long IFIELD(const Model& m, const Card& c, int c1, int c2) {
  long v = 0;
  if (!base::read_int(base::field(c.img, c1, c2), v))
    DECKFAULT(m, c, "FIELD " + shown(c, c1, c2) + " IS NOT AN INTEGER", c1, c2);
  return v;
}

double RFIELD(const Model& m, const Card& c, int c1, int c2) {
  double v = 0.0;
  if (!base::read_real(base::field(c.img, c1, c2), v))
    DECKFAULT(m, c, "FIELD " + shown(c, c1, c2) + " IS NOT A NUMBER", c1, c2);
  return v;
}

}  // namespace ossa::deck
