// Property rows ("PROPT"), truss tables ("TRSTB" and its rows) and the time
// table ("KUKAN").
#include "base/fields.hpp"
#include "deck/deck.hpp"

namespace ossa::deck {

namespace {

std::int32_t I(const Reader& r, int c1, int c2) {
  return static_cast<std::int32_t>(IFIELD(r.m, r.card, c1, c2));
}

// One group of a "KUKAN" card: `count` stations up to `tend`, each the
// previous one plus a constant step, so that rounding accumulates as it
// does in the running sum.
void time_group(Reader& r, double tend, std::int32_t count) {
  if (count <= 0) return;
  Model& m = r.m;
  if (r.NSTEPS + static_cast<long>(count) > m.NSTEP())
    DECKFAULT(m, r.card, "MORE TIME INTERVALS THAN THE COUNTING PASS FOUND");
  double t0 = m.T(r.NSTEPS);
  const double dt = (tend - t0) / count;
  for (int k = 1; k <= count; ++k) {
    t0 = t0 + dt;
    m.T(r.NSTEPS + k) = t0;
  }
  r.NSTEPS += count;
}

}  // namespace

// Column 10 picks the layout: 5 is a truss row naming its table, any other
// code a full material row.
void PROPTRD(Reader& r) {
  Model& m = r.m;
  const int row = r.n[K_PROPT] + 1;
  const std::int32_t code = I(r, 10, 10);
  if (code == 5) {
    m.RD.PROPIP(1, row) = I(r, 6, 9);
    m.RD.PROPIP(5, row) = 5;
    m.RD.PROPIP(6, row) = I(r, 11, 20);
    return;
  }
  for (int k = 1; k <= 5; ++k) m.RD.PROPIP(k, row) = I(r, 5 + k, 5 + k);
  m.RD.PROPIP(6, row) = I(r, 11, 20);
  for (int k = 1; k <= 9; ++k) m.RD.PROPFP(k, row) = RFIELD(m, r.card, 11 + 10 * k, 20 + 10 * k);
}

// The card and its M rows, read at once; the rows carry no keyword.
void TRSTBRD(Reader& r) {
  Model& m = r.m;
  const int k = r.n[K_TRSTB] + 1;
  const std::int32_t npt = I(r, 11, 15);
  m.RD.TRSN(k) = npt > 0 ? npt : 0;
  Card row;
  for (int j = 1; j <= npt; ++j) {
    if (!READCARD(m, row, 120))
      DECKFAULT(m, r.card, "END OF FILE IN THE ROWS OF THIS \"TRSTB\" CARD");
    row.key = K_NONE;
    m.RD.TRSTBL(j, 1, k) = RFIELD(m, row, 1, 15);
    m.RD.TRSTBL(j, 2, k) = RFIELD(m, row, 16, 30);
  }
}

// Group 2 counts only when its time columns are not blank, group 3 only
// when group 2 counted and its time columns are not blank.
void KUKANRD(Reader& r) {
  Model& m = r.m;
  const Card& c = r.card;
  time_group(r, RFIELD(m, c, 6, 20), I(r, 21, 30));
  if (base::is_blank(base::field(c.img, 31, 45))) return;
  time_group(r, RFIELD(m, c, 31, 45), I(r, 46, 55));
  if (base::is_blank(base::field(c.img, 56, 70))) return;
  time_group(r, RFIELD(m, c, 56, 70), I(r, 71, 80));
}

}  // namespace ossa::deck
