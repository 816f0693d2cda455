// Capabilities that the deck can ask for but this build cannot deliver yet.
// A job that needs one stops at input, after the echo and before any work,
// rather than running without it and reporting a result that ignores it.
// Each row goes when its capability lands.
#include "deck/deck.hpp"
#include "model/stop.hpp"

namespace ossa::deck {

namespace {

struct Missing {
  bool (*asks)(const Model& m);
  const char* what;
};

// A Riks limit at or before the last step: a static job would leave load
// control there.
bool riks(const Model& m) {
  return m.KK(kk::DYNAMIC) == 0 && m.KK(kk::RIKS) > 0 && m.KK(kk::RIKS) <= m.KK(kk::NSTEP);
}

constexpr Missing MISSING[] = {
    {[](const Model& m) { return m.KK(kk::DYNAMIC) == 1; }, "DYNAMIC ANALYSIS"},
    {riks, "RIKS ARC-LENGTH CONTROL"},
    {[](const Model& m) { return m.KK(kk::NBODY) > 0; }, "CONTACT ANALYSIS"},
    {[](const Model& m) { return m.KK(kk::NRUBB) > 0; }, "THE RUBBER ELEMENT"},
    {[](const Model& m) { return m.KK(kk::NTRUSS) > 0; }, "THE TRUSS ELEMENT"},
    {[](const Model& m) { return m.KK(kk::NGAP) > 0; }, "THE GAP ELEMENT"},
};

}  // namespace

void NOTYET(Model& m) {
  for (const Missing& x : MISSING)
    if (x.asks(m)) model::FAIL(m, std::string(x.what) + " IS NOT AVAILABLE IN THIS VERSION.", -2);
}

}  // namespace ossa::deck
