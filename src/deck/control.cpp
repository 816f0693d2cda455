// The control cards: analysis kind, tolerances and solver ("CNTRL"), arc
// length and iteration limits ("CNTR2"), stop limits, device and threads
// ("CNTR3"), output ("PRPLT", "PRPL2").
#include <omp.h>

#include <climits>
#include <cmath>
#include <string>

#include "base/fmt.hpp"
#include "deck/deck.hpp"
#include "model/stop.hpp"
#include "solvers/gpu/gpu.hpp"
#include "solvers/pardiso/pardiso.hpp"

namespace ossa::deck {

namespace {

std::int32_t I(const Model& m, const Card& c, int c1, int c2) {
  return static_cast<std::int32_t>(IFIELD(m, c, c1, c2));
}

// A real cut towards zero to an integer, held within the integer range.
std::int32_t cut(double v) {
  if (std::isnan(v)) return 0;
  if (v >= static_cast<double>(INT_MAX)) return INT_MAX;
  if (v <= static_cast<double>(INT_MIN)) return INT_MIN;
  return static_cast<std::int32_t>(v);
}

// Solver selector: 0 and above CG, -1 ORK, -2 PARDISO; anything else
// leaves KK(21) as it was.
// Column 81: 2 the diagonal factorisation (0), 3 algebraic multigrid (2),
// anything else incomplete Cholesky (1).
std::int32_t cgprec(std::int32_t c81) { return c81 == 2 ? 0 : (c81 == 3 ? 2 : 1); }

void solver_code(Model& m, std::int32_t sel) {
  if (sel >= 0) m.KK(kk::SOLVER) = 1;
  else if (sel == -1) m.KK(kk::SOLVER) = 2;
  else if (sel == -2) m.KK(kk::SOLVER) = 3;
}

// The three checks of the analysis kind against the element kinds.
void cntrl_checks(Model& m, std::int32_t sel) {
  if (m.KK(kk::GEONL) == 0 && m.NRUBB() > 0) {
    model::LOGMSG(m, "RUBBERLIKE MATERIAL IS AVAILABLE ONLY IN ");
    model::LOGLINE(m, " GEOMETRICAL NONLINEAR ANALYSIS.");
    model::ERRSTOP(m, -2, 0, m.UNIT(2));
  }
  if (m.KK(kk::GEONL) == 1 && m.NGAP() > 0)
    model::FAIL(m, "GAP ELEMEMT IS AVAILABLE ONLY IN INFINITESIMAL ANALYSIS.", -2);
  if (sel >= 0 && m.NRUBB() > 0)
    model::FAIL(m, "CG METHOD IS NOT AVAILABLE FOR RUBBERLIKE MATERIAL.", -2);
}

}  // namespace

void CNTRLRD(Model& m, const Card& c) {
  m.KK(kk::RESTART) = I(m, c, 6, 6);
  m.KK(kk::GEONL) = I(m, c, 7, 7);
  m.KK(kk::MATNL) = I(m, c, 8, 8);
  m.KK(kk::DYNAMIC) = I(m, c, 9, 9);
  m.KK(kk::ITERMAX) = I(m, c, 11, 13);
  if (m.KK(kk::ITERMAX) == 0) m.KK(kk::ITERMAX) = 10;
  m.RR(rr::TOLLOAD) = RFIELD(m, c, 16, 25);
  if (m.RR(rr::TOLLOAD) == 0.0) m.RR(rr::TOLLOAD) = 0.001;
  m.RR(rr::TOL2) = RFIELD(m, c, 26, 35);
  if (m.RR(rr::TOL2) == 0.0) m.RR(rr::TOL2) = 0.001;
  const std::int32_t sel = I(m, c, 56, 63);
  solver_code(m, sel);
  m.RR(rr::TOLCG) = RFIELD(m, c, 64, 73);
  if (m.RR(rr::TOLCG) == 0.0) m.RR(rr::TOLCG) = 1.0e-6;
  m.KK(kk::CGPREC) = cgprec(I(m, c, 81, 81));
  m.KK(kk::MEMMB) = cut(RFIELD(m, c, 82, 90));
  if (m.KK(kk::MEMMB) == 0) m.KK(kk::MEMMB) = 400;
  m.RR(rr::DPALPHA) = RFIELD(m, c, 101, 110);
  m.KK(kk::BLOCKW) = 45;
  m.KK(kk::ONE) = 1;
  m.RR(rr::PI3) = 1.0471975511965976;
  m.RR(rr::THIRD) = 1.0 / 3.0;
  cntrl_checks(m, sel);
}

void CNTR2RD(Model& m, const Card& c) {
  m.RR(rr::ARC) = RFIELD(m, c, 6, 15);
  m.KK(kk::RIKS) = I(m, c, 16, 20);
  m.KK(kk::MITERMAX) = I(m, c, 21, 23);
  m.KK(kk::CONTITER) = I(m, c, 24, 26);
  m.KK(kk::NSUBSTEP) = I(m, c, 27, 30);
  m.KK(kk::MITERTYPE) = I(m, c, 31, 33);
}

void RIKSCHK(Model& m) {
  if (m.KK(kk::RIKS) == 0) return;
  if (m.KK(kk::DYNAMIC) != 0) {
    model::LOGMSG(m, "RIKS CONTROL IS NOT USED IN DYNAMIC ANALYSIS.");
    return;
  }
  if (m.KK(kk::RIKS) < 0)
    model::FAIL(m, "FIRST RIKS STEP " + std::to_string(m.KK(kk::RIKS)) + " IS NO STEP.", -2);
  if (m.KK(kk::RIKS) > m.NSTEP()) return;
  if (!(m.RR(rr::ARC) > 0.0)) model::FAIL(m, "ARC LENGTH OF RIKS CONTROL IS NOT POSITIVE.", -2);
  bool load = false;
  for (int i = 1; i <= m.KK(kk::NFORCE); ++i)
    for (int k = 1; k <= 6; ++k) load = load || m.FRCVAL(k, i) != 0.0;
  if (!load) model::FAIL(m, "RIKS CONTROL HAS NO \"FORCE\" LOAD TO SCALE.", -2);
  // Past a limit point the tangent is indefinite, which conjugate gradients
  // cannot solve: the arc-length steps need the multifrontal solver, and
  // the job takes it from the start.
  if (m.KK(kk::SOLVER) != 2) {
    m.KK(kk::SOLVER) = 2;
    model::LOGMSG(m, "RIKS CONTROL: THE EQUATIONS GO TO THE MULTIFRONTAL SOLVER (ORK).");
  }
}

void CNTR3RD(Model& m, const Card& c) {
  for (int k = 1; k <= 6; ++k) m.STAT_LIMIT(k) = I(m, c, 6 + 5 * k, 10 + 5 * k);
  m.KK(kk::DEVICE) = I(m, c, 41, 45);
  std::int32_t nth = I(m, c, 46, 50);
  if (m.KK(kk::DEVICE) >= 0) solvers::GPUCHECK(m);
  // The parallel runtime's maximum stands in for the math library's; the
  // count goes to both.
  const int most = omp_get_max_threads();
  if (nth > most) nth = most;
  if (nth > 0) {
    omp_set_num_threads(nth);
    solvers::PDSTHREADS(nth);
    m.NTHREAD = nth;
  }
}

void PRPLTRD(Model& m, const Card& c) {
  if (c.key == K_PRPL2) {
    m.KK(kk::RSTOUT) = I(m, c, 31, 33);
    return;
  }
  m.KK(kk::OUTHOLD) = I(m, c, 11, 11);
  m.KK(kk::OUTBYTIME) = I(m, c, 12, 12);
  m.KK(kk::OUTSTEP) = I(m, c, 16, 20);
  m.RR(rr::OUTTIME) = RFIELD(m, c, 21, 35);
}

}  // namespace ossa::deck
