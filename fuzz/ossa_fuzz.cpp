// The fuzzing target: the program itself, reading EXEC.INP in the working
// directory, for a fuzzer that writes each input there. A mangled count may
// ask for millions of steps or iterations; such a deck is a long job by
// request, not a hang. So the deck is read once on its own, with every input
// check, and the job runs only when the work it asks for is small.
#include "deck/deck.hpp"
#include "job/job.hpp"

namespace {

using ossa::model::Model;

// Equilibrium passes the deck allows at most: steps, substeps, solves per
// substep, and the nested material loops inside each.
double asked(const Model& m) {
  auto atleast1 = [](double v) { return v > 1.0 ? v : 1.0; };
  const double mat = atleast1(m.KK(ossa::kk::MITERMAX));
  return atleast1(m.NSTEP()) * atleast1(m.KK(ossa::kk::NSUBSTEP)) * atleast1(m.KK(ossa::kk::ITERMAX) + 1.0) * mat * mat;
}

constexpr double BUDGET = 20000.0;

}  // namespace

int main() {
  ossa::job::FPCONTROL();
  {
    Model probe;
    if (!ossa::job::JOBOPEN(probe)) return 2;
    // A time table of millions of stations is as long to build as asked.
    ossa::deck::DeckCounts n;
    ossa::deck::DECKCNT(probe, probe.unit(probe.UNIT(1)), n);
    if (n.NSTEP > 1000000) return 0;
    ossa::deck::DECKIN(probe);  // a bad deck stops here as it does in the job
    if (asked(probe) > BUDGET) return 0;
    // The third-party solver starts MPI, a helper process and tenths of a
    // second for each run: the library, not the program, would be fuzzed.
    if (probe.KK(ossa::kk::SOLVER) == 3) return 0;
  }
  Model m;
  if (!ossa::job::JOBOPEN(m)) return 2;
  ossa::job::JOBRUN(m);
  return 0;
}
