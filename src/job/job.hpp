// The job: MAIN__, the two drivers, the step walk and the output decision.
#pragma once
#include "model/model.hpp"

namespace ossa::job {

using model::Model;

// Runs the job in the working directory; returns 1 at a normal end.
int MAIN__();

// MAIN__ in two parts, so that a test can run a whole job on a model it
// then inspects: the clock, the records and the deck and log opened
// (false, with a message, when a file cannot be opened); then the job.
bool JOBOPEN(Model& m);
void JOBRUN(Model& m);

// Sets the processor so that denormal results and inputs count as zero.
void FPCONTROL();

// The output schedule of a driver.
struct OutSched {
  int NEXTSTEP = 0;      // step of the next output
  int STEPINT = 0;       // interval in steps
  double NEXTTIME = 0.0; // time of the next output
  double TIMEINT = 0.0;  // interval in time
};

// Sets up the schedule from KK(8), RR(9) and T(NSTEP).
OutSched OUTINIT(const Model& m);

// The output decision after a step: returns DOOUT (0 or 1) and advances
// the schedule. RIKSSTEP: the number of an arc-length step, 0 for others.
int OUTSEL(const Model& m, double t, OutSched& s, int FIRSTCHG, int STOPFLAG, int RIKSSTEP = 0);

void DRVSTAT(Model& m);
void DRVDYN(Model& m);

// Counters of the step walk, for the drivers and their tests.
struct Walk {
  int STEP = 0, NSUB = 1, FIRSTCHG = 0, STOPFLAG = 0;
  int RIKSLIM = 0;
  int NOUT = 0;          // outputs made
  double TIME = 0.0;
};

// Walks the time table by steps and substeps with progress lines and output
// decisions. `dynamic` selects the dynamic driver's variant.
void STEPWALK(Model& m, Walk& w, bool dynamic);

}  // namespace ossa::job
