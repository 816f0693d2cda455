#include <cmath>
#include <string>

#include "base/files.hpp"
#include "base/fmt.hpp"
#include "contact/contact.hpp"
#include "elements/family.hpp"
#include "job/job.hpp"
#include "model/stop.hpp"
#include "results/resout.hpp"
#include "results/rst.hpp"
#include "solution/dynamic.hpp"
#include "solution/incr.hpp"
#include "solution/riks.hpp"
#include "solution/index.hpp"
#include "solvers/solver.hpp"

namespace ossa::job {

OutSched OUTINIT(const Model& m) {
  OutSched s;
  const int nstep = m.NSTEP();
  const double tend = nstep >= 0 && m.T.allocated() ? m.T(nstep) : 0.0;
  s.STEPINT = m.KK(kk::OUTSTEP) != 0 ? m.KK(kk::OUTSTEP) : nstep;
  s.NEXTSTEP = s.STEPINT;
  s.TIMEINT = m.RR(rr::OUTTIME) != 0.0 ? m.RR(rr::OUTTIME) : tend;
  s.NEXTTIME = s.TIMEINT;
  return s;
}

namespace {

// The first output time past `t` by the running sum of the interval. An
// interval far finer than the steps is jumped over rather than added a
// million times; one too fine to move the sum at all writes at every step.
double next_output(double next, double dt, double t) {
  const double behind = (t + 1.0e-8 - next) / dt;
  if (!(behind <= 1.0e15)) return std::nextafter(t + 1.0e-8, HUGE_VAL);
  if (behind > 1.0e6) next += std::floor(behind) * dt;
  while (!(next > t + 1.0e-8)) {
    const double sum = next + dt;
    if (sum == next) return std::nextafter(t + 1.0e-8, HUGE_VAL);
    next = sum;
  }
  return next;
}

}  // namespace

int OUTSEL(const Model& m, double t, OutSched& s, int FIRSTCHG, int STOPFLAG, int RIKSSTEP) {
  if (STOPFLAG == 1) return 1;
  const int nstep = m.NSTEP();
  const double tend = m.T(nstep);
  // Output may be held back until the first status change, but never at the end.
  const bool held = m.KK(kk::OUTHOLD) != 0 && FIRSTCHG < 1;
  if (m.KK(kk::OUTBYTIME) == 0) {
    const int ns = s.NEXTSTEP < 0 ? 0 : (s.NEXTSTEP > nstep ? nstep : s.NEXTSTEP);
    // Under arc-length control the time follows the load scale, which may
    // fall: an interval in steps counts the steps, and the end of the job
    // writes whatever step it reached.
    const bool due = RIKSSTEP > 0 ? RIKSSTEP >= ns || t > tend - 1.0e-8 : t > m.T(ns) - 1.0e-8;
    if (!due) return 0;
    const int doout = (held && s.NEXTSTEP != nstep) ? 0 : 1;
    s.NEXTSTEP += s.STEPINT > 0 ? s.STEPINT : nstep;
    if (s.NEXTSTEP > nstep) s.NEXTSTEP = nstep;
    return doout;
  }
  if (m.KK(kk::OUTBYTIME) == 1) {
    if (!(t > s.NEXTTIME - 1.0e-8)) return 0;
    const int doout = (held && s.NEXTTIME != tend) ? 0 : 1;
    if (s.TIMEINT > 0.0) {
      s.NEXTTIME = next_output(s.NEXTTIME, s.TIMEINT, t);
    } else {
      s.NEXTTIME = tend;  // no interval to grow by: only the end remains
    }
    if (s.NEXTTIME > tend - 1.0e-8) s.NEXTTIME = tend;
    return doout;
  }
  return 0;
}

namespace {

// The drivers' shared first part: the model and its equation index.
void DRVPREP(Model& m, Walk& w, bool dynamic) {
  const int nstep = m.NSTEP();
  w.RIKSLIM = (!dynamic && m.KK(kk::RIKS) != 0) ? m.KK(kk::RIKS) : nstep + 1;
  model::MODELALLOC(m);
  ossa::elements::ELEM_INIT(m);
  // Shell node frames of a nonlinear job: DOFINIT reads them.
  if (m.KK(kk::GEONL) == 1 && m.FRAMEFLG.allocated()) ossa::elements::SHLFRAMES(m);
  ossa::solution::DOFINIT(m);
  const int nn = m.NNODE();
  if (m.U.allocated()) m.U.fill(0.0);
  for (int i = 1; i <= nn && m.X.allocated(); ++i)
    for (int j = 1; j <= 3; ++j) m.X(j, i) = m.XOLD(j, i) = m.XYZ(j, i);
  // A contact job builds its index by way of the contact tables, which
  // read the present coordinates.
  if (m.KK(kk::CONTACT) == 1) contact::CONTPRE(m);
  ossa::solution::EQINDEX(m, 0);
  solvers::SOLVERPREP(m, 0);
  w.STEP = 0;
  w.NSUB = 1;
  w.FIRSTCHG = 0;
  w.STOPFLAG = 0;
}

// A restart goes on from the state of the earlier run's last output, from
// its own first step: a dynamic job from its levels n and n-1, momenta and
// last step length as read (the initial velocity is not applied again), an
// arc-length control from its load scale, norms and last increment.
void RESUME(Model& m, Walk& w) {
  if (m.KK(kk::RESTART) != 1) return;
  results::RstHead h;
  results::RSTREAD(m, h);
  w.NSUB = h.NSUB;
  w.FIRSTCHG = h.FIRSTCHG;
  if (m.KK(kk::DYNAMIC) == 1 && w.FIRSTCHG > 0) solution::DEADNODES(m);
}

// One substep; a dynamic one of length DT after the substep before it, or
// after a first one of its own length.
void increment(Model& m, Walk& w, int isub, double tprev, bool dynamic, double dt) {
  solution::IncrState s;
  s.STEP = w.STEP;
  s.ISUB = isub;
  s.TPREV = tprev;
  s.TIME = w.TIME;
  s.FIRSTCHG = w.FIRSTCHG;
  s.STOPFLAG = w.STOPFLAG;
  if (dynamic) {
    s.DT = dt;
    s.DTPREV = m.DYN.DTPREV > 0.0 ? m.DYN.DTPREV : dt;
    solution::INCR_DYNAMIC(m, s);
    m.DYN.DTPREV = dt;
  } else {
    solution::INCR_STATIC(m, s);
  }
  w.FIRSTCHG = s.FIRSTCHG;
  w.STOPFLAG = s.STOPFLAG;
}

// The state goes to EXEC.RST before each step until the first status change
// of a job that wants its changing step repeated with more substeps; static
// and dynamic jobs alike (a dynamic job has no Riks steps, so RIKSLIM lies
// past its last step).
bool saving(const Model& m, const Walk& w) {
  return m.KK(kk::MITERTYPE) == 0 && m.KK(kk::MATNL) == 1 && m.KK(kk::NSUBSTEP) >= 2 &&
         w.FIRSTCHG == 0;
}

bool repeating(const Model& m, const Walk& w) {
  return m.KK(kk::MITERTYPE) == 0 && m.KK(kk::NSUBSTEP) >= 2 && w.FIRSTCHG == 1;
}

// One arc-length step; the time is the load scale's share of the end time.
void riks_step(Model& m, Walk& w) {
  solution::IncrState s;
  s.STEP = w.STEP;
  s.ISUB = 1;
  s.FIRSTCHG = w.FIRSTCHG;
  s.STOPFLAG = w.STOPFLAG;
  if (m.U.allocated()) solution::RIKS(m, s);
  w.TIME = s.TIME;
  w.FIRSTCHG = s.FIRSTCHG;
  w.STOPFLAG = s.STOPFLAG;
}

// Arc-length steps count against the time table: a job whose load scale
// has not reached 1 by its last step ends there, and says so.
void riks_short(Model& m) {
  model::LOGMSG(m, "RIKS CONTROL ENDS AT THE LAST STEP WITH LOAD FACTOR " +
                       base::fPE(m.RIKS.LAMBDA, 10, 4) + ".");
}

results::RstHead snaphead(const Model& m, const Walk& w) {
  results::RstHead h;
  h.STEP = w.STEP;
  h.NSUB = w.NSUB;
  h.FIRSTCHG = w.FIRSTCHG;
  const model::RIKSDATA& r = m.RIKS;
  h.NSTEPC = r.NRIKS;
  h.LAMBDA = r.LAMBDA;
  for (int k = 0; k < 3; ++k) h.FNRM[k] = r.FNRM[k];
  h.ARCS[0] = r.LAMPREV;
  h.ARCS[1] = r.UNORM[0];
  return h;
}

void snapshot(Model& m, const Walk& w) { results::RSTSAVE(m, snaphead(m, w)); }

// The result frame and, when the deck asks for it, the restart snapshot.
void output(Model& m, Walk& w) {
  ++w.NOUT;
  results::RESOUT(m, w.STEP, w.TIME);
  if (m.KK(kk::RSTOUT) != 1) return;
  const double t = m.clock.now();
  results::RSTWRITE(m, snaphead(m, w));
  m.TIMES(model::T_OUTPUT) += m.clock.now() - t;
}

// The dynamic driver's own set-up: the time table checked (the method
// divides by every step), the method and the mass option logged, the
// initial state.
void DYNPREP(Model& m) {
  for (int k = 1; k <= m.NSTEP(); ++k)
    if (!(m.T(k) > m.T(k - 1)))
      model::FAIL(m, "TIME STEP " + std::to_string(k) + " OF THE DYNAMIC ANALYSIS IS NOT POSITIVE.", -2);
  const bool lumped = m.DYN.MASSOPT == elements::MASS_LUMPED;
  model::LOGLINE(m, "");
  model::LOGLINE(m, "   * DYNAMIC ANALYSIS");
  model::LOGLINE(m, "");
  model::LOGLINE(m, std::string("     MASS MATRIX          : ") + (lumped ? "LUMPED" : "CONSISTENT"));
  model::LOGLINE(m, "     TIME INTEGRATION     : NEWMARK, THREE LEVELS, GAMMA =" + base::fF(0.5, 7, 4) +
                      ", BETA =" + base::fF(m.RR(rr::THIRD), 7, 4));
  m.DYN.DTPREV = 0.0;
  if (m.KK(kk::RESTART) != 1 && m.NSTEP() >= 1 && m.U.allocated()) solution::DYNINIT(m, m.T(1) - m.T(0));
}

}  // namespace

void STEPWALK(Model& m, Walk& w, bool dynamic) {
  const int nstep = m.NSTEP();
  const double tend = m.T(nstep);
  OutSched s = OUTINIT(m);
  model::PROGRESS(0.0, tend);
  if (nstep < 1) return;
  if (saving(m, w)) snapshot(m, w);
  for (;;) {
    ++w.STEP;
    if (w.STEP > nstep) {  // the table is spent
      if (w.RIKSLIM <= nstep) riks_short(m);
      break;
    }
    const bool riks = !dynamic && w.RIKSLIM > 0 && w.STEP >= w.RIKSLIM;
    if (riks) {
      riks_step(m, w);
    } else {
      const double t0 = m.T(w.STEP - 1);
      const double dt = (m.T(w.STEP) - t0) / w.NSUB;
      for (int isub = 1; isub <= w.NSUB; ++isub) {
        const double tprev = w.TIME;
        w.TIME = isub * dt + t0;
        if (m.U.allocated()) increment(m, w, isub, tprev, dynamic, dt);
        if (w.STOPFLAG == 1) break;
        if (isub < w.NSUB) model::PROGRESS(w.TIME, tend);
      }
      // The scale of the forces as applied, whatever the time table: a
      // restart's first run ends its table earlier than the whole job.
      solution::RIKSSCALE(m);
    }
    if (!riks && repeating(m, w)) {
      // The first status change: the step again, from its start, in KK(5) substeps.
      results::RstHead h;
      results::RSTLOAD(m, h);
      w.STEP = h.STEP;
      w.TIME = m.T(w.STEP);
      if (m.KK(kk::DYNAMIC) == 1) solution::DEADNODES(m);  // of the restored states
      w.NSUB = m.KK(kk::NSUBSTEP);
      w.FIRSTCHG = 2;
      w.STOPFLAG = 0;
      continue;
    }
    model::PROGRESS(w.TIME, tend);
    if (OUTSEL(m, w.TIME, s, w.FIRSTCHG, w.STOPFLAG, riks ? w.STEP : 0) == 1) output(m, w);
    if (w.TIME > tend - 1.0e-8 || w.STOPFLAG == 1) break;
    if (saving(m, w) && w.STEP < w.RIKSLIM) snapshot(m, w);
  }
}

void DRVSTAT(Model& m) {
  Walk w;
  DRVPREP(m, w, false);
  RESUME(m, w);
  STEPWALK(m, w, false);
  if (m.KK(kk::CONTACT) == 0) solvers::SOLVERFREE(m);
  // The repeat snapshot goes at the end, also when it was never written.
  if (m.KK(kk::MATNL) == 1 && m.KK(kk::NSUBSTEP) >= 1) base::close_unit(m.unit(m.UNIT(5)), true);
}

void DRVDYN(Model& m) {
  Walk w;
  DRVPREP(m, w, true);
  DYNPREP(m);
  RESUME(m, w);
  STEPWALK(m, w, true);
  if (m.KK(kk::CONTACT) == 0) solvers::SOLVERFREE(m);
  if (m.KK(kk::MATNL) == 1 && m.KK(kk::NSUBSTEP) >= 1) base::close_unit(m.unit(m.UNIT(5)), true);
}

}  // namespace ossa::job
