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

// A Riks limit at or before the last step: a static job leaves load control
// there. Its steps scale the nodal forces alone and settle no gap or
// contact state.
bool riks(const Model& m) {
  return m.KK(kk::DYNAMIC) == 0 && m.KK(kk::RIKS) > 0 && m.KK(kk::RIKS) <= m.KK(kk::NSTEP);
}

// Rubber elements need, beyond the static route, their condensation record
// in the contact force estimate.
bool rubber_in(const Model& m, int key) { return m.NRUBB() > 0 && m.KK(key) > 0; }

constexpr Missing MISSING[] = {
    {[](const Model& m) { return rubber_in(m, kk::NBODY); }, "RUBBER ELEMENTS IN CONTACT ANALYSIS"},
    {[](const Model& m) { return riks(m) && (m.KK(kk::NPRESS) > 0 || m.KK(kk::NDIRFC) > 0); },
     "RIKS ARC-LENGTH CONTROL WITH PRESSURE OR DIRECTED FORCES"},
    {[](const Model& m) { return riks(m) && (m.NGAP() > 0 || m.KK(kk::NBODY) > 0); },
     "RIKS ARC-LENGTH CONTROL WITH GAPS OR CONTACT"},
    // Contact runs in static jobs on CG on the processor and on ORK.
    {[](const Model& m) { return m.KK(kk::NBODY) > 0 && m.KK(kk::DYNAMIC) == 1; }, "CONTACT IN DYNAMIC ANALYSIS"},
    {[](const Model& m) { return m.KK(kk::NBODY) > 0 && (m.KK(kk::SOLVER) == 3 || m.KK(kk::DEVICE) >= 0); },
     "CONTACT ANALYSIS ON PARDISO OR THE DEVICE"},
};

}  // namespace

void NOTYET(Model& m) {
  for (const Missing& x : MISSING)
    if (x.asks(m)) model::FAIL(m, std::string(x.what) + " IS NOT AVAILABLE IN THIS VERSION.", -2);
}

}  // namespace ossa::deck
