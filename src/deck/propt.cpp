// Property rows ("PROPT"), truss tables ("TRSTB" and its rows) and the time
// table ("KUKAN").
#include "base/fields.hpp"
#include "deck/deck.hpp"

namespace ossa::deck {

namespace {

std::int32_t I(const Reader& r, int c1, int c2) {
  return static_cast<std::int32_t>(IFIELD(r.m, r.card, c1, c2));
}

// One group of a "KUKAN" card: `count` stations up to `tend`.
void time_group(Reader& r, double tend, std::int32_t count) {
  if (count <= 0) return;
  if (r.NSTEPS + static_cast<long>(count) > r.m.NSTEP())
    DECKFAULT(r.m, r.card, "MORE TIME INTERVALS THAN THE COUNTING PASS FOUND");
  r.TGROUPS.emplace_back(tend, count);
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
    m.RD.PROPIP(1, row) = IRANGE(m, r.card, 6, 9, 1, m.RD.NTRSTB, "\"TRSTB\" TABLE");
    m.RD.PROPIP(5, row) = 5;
    m.RD.PROPIP(6, row) = I(r, 11, 20);
    return;
  }
  m.RD.PROPIP(1, row) = I(r, 6, 6);
  // The "VEL" row is an index as it stands; the flag and the criterion are codes.
  m.RD.PROPIP(2, row) = IRANGE(m, r.card, 7, 7, 0, m.KK(kk::NVEL), "\"VEL\" ROW");
  m.RD.PROPIP(3, row) = IRANGE(m, r.card, 8, 8, 0, 1, "BONE FLAG");
  m.RD.PROPIP(4, row) = IRANGE(m, r.card, 9, 9, 0, 2, "YIELD CRITERION");
  m.RD.PROPIP(5, row) = code;
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

// Each station the previous one plus a constant step, so that rounding
// accumulates as it does in the running sum.
void TIMETABLE(Model& m, const Reader& r) {
  std::int32_t it = 0;
  for (const auto& [tend, count] : r.TGROUPS) {
    double t0 = m.T(it);
    const double dt = (tend - t0) / count;
    for (int k = 1; k <= count; ++k) {
      t0 = t0 + dt;
      m.T(it + k) = t0;
    }
    it += count;
  }
}

}  // namespace ossa::deck
