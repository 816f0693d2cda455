// The solver frame: one branch per solver in the preparation, the solve and
// the release. The processor CG is complete here; the multifrontal solver,
// PARDISO and the device CG each enter through their own helper below.
#include "solvers/solver.hpp"

#include <string>

#include "base/fmt.hpp"
#include "model/stop.hpp"
#include "deck/deck.hpp"
#include "solvers/cg/cg.hpp"
#include "solvers/ork/ork.hpp"
#include "solvers/ork/orkfact.hpp"

namespace ossa::solvers {

using base::fF;
using base::fI;

namespace {

constexpr std::string_view TITLE_CG = "CG-METHOD SOLVER MESSAGE";
constexpr std::string_view TITLE_GPU = "CG-METHOD (GPU) SOLVER MESSAGE";
constexpr std::string_view REQUIRED = "REQUIRED MEMORY FOR MATRIX SOLVER";
constexpr int HYCOL_CG = 39;

long neq(const Model& m) { return m.KK(22); }
long nz(const Model& m) { return m.KK(26); }

// Words the processor CG needs beyond the matrix: LV and CGW.
long cgwords(const Model& m) { return 12 * neq(m) + 4 * nz(m); }
// Words the device CG needs: the full matrix and the diagonal.
long gpuwords(const Model& m) { return neq(m) + 7 * nz(m) + 2; }

// "   LABEL ----...---" up to column HYCOL, then the value.
std::string repline(std::string_view label, int hycol, const std::string& value) {
  const int hy = hycol - static_cast<int>(label.size());
  return "   " + std::string(label) + " " + std::string(hy > 0 ? hy : 0, '-') + value;
}
std::string mb(long words) { return fF(static_cast<double>(words) * 4.0e-6, 8, 1) + "(MB)"; }

// ---- Processor CG (KK(21) = 1, KK(28) < 0)
void prep_cg(Model& m, long TOTAL, long FREE, int NO2) {
  BUDGETCHK(m, cgwords(m), FREE, NO2);
  // LV, CGW and CGGRP hold 2 NZ + 13 NEQ words, within the budget's figure.
  int st[3];
  st[0] = m.LV.allocate(nz(m)) ? 0 : 1;
  st[1] = m.CGW.allocate(neq(m), 6) ? 0 : 1;
  st[2] = m.CGGRP.allocate(neq(m)) ? 0 : 1;
  model::ALLOCCHK(m, st, 3, NO2, m.UNIT(2));
  MEMREPORT(m, TITLE_CG, HYCOL_CG, TOTAL, FREE, {{REQUIRED, neq(m) + nz(m) + cgwords(m) + 1}});
}

void solve_cg(Model& m) {
  CGSOLVE(m, m.AV.data(), m.LV.data(), m.RHS.data(), m.DX.data(), m.CGW.data(), m.CGGRP.data(),
          m.KK(22), m.KK(26), m.IA.data(), m.JA.data(), m.KK(30), m.RR(3), m.UNIT(2), m.KK(31), 0);
}

void free_cg(Model& m) {
  m.LV.deallocate();
  m.CGW.deallocate();
  m.CGGRP.deallocate();
}

// ---- Device CG (KK(21) = 1, KK(28) >= 0). This build has no device layer:
// a job that names a device without a "CNTR3" card (whose reading runs the
// device check) is checked here, says so in the log and goes to the
// processor, as a job whose device does not answer.
bool device_layer() { return false; }

void prep_gpu(Model& m, long TOTAL, long FREE, int NO2) {
  if (!device_layer()) {
    deck::DEVCHECK(m);
    prep_cg(m, TOTAL, FREE, NO2);
    return;
  }
  BUDGETCHK(m, gpuwords(m), FREE, NO2);
  MEMREPORT(m, TITLE_GPU, HYCOL_CG, TOTAL, FREE, {{REQUIRED, neq(m) + nz(m) + gpuwords(m) + 1}});
}
void solve_gpu(Model& m) { solve_cg(m); }
void free_gpu(Model& m) { free_cg(m); }

// ---- ORK (KK(21) = 2): its own budget test, analysis, report and files.
void prep_ork(Model& m, int NO2) { ORKPREP(m, NO2); }
void solve_ork(Model& m, int ITER) { SOLVE_ORK(m, ITER); }
void free_ork(Model& m) { ORKFREE(m); }

// ---- PARDISO (KK(21) = 3): budget of 2*NZ words, then its analysis phase.
void prep_pds(Model& m, long FREE, int NO2) { BUDGETCHK(m, 2 * nz(m), FREE, NO2); }
void solve_pds(Model&, int) {}
void free_pds(Model&) {}

}  // namespace

long SOLVERFREEW(const Model& m) {
  return static_cast<long>(m.KK(27)) * 250000L - model::FREEWORDS(m);
}

void BUDGETCHK(Model& m, long NEED, long FREE, int NO2) {
  if (NEED > FREE) MEMSHORT(m, static_cast<double>(NEED - FREE) * 4.0e-6, NO2);
}

void MEMSHORT(Model& m, double MB, int NO2) {
  model::FAIL(m, fF(MB, 8, 2) + "(MB) MORE MEMORY IS NECESSARY FOR NEXT PROCESS OF MATRIX SOLVER.",
            -5, NO2);
}

void MEMREPORT(Model& m, std::string_view TITLE, int HYCOL, long TOTAL, long FREE,
               std::initializer_list<MEMROW> ROWS) {
  if (m.SOLRPT) return;
  m.SOLRPT = true;
  model::LOGLINE(m, "");
  model::LOGLINE(m, " *****  " + std::string(TITLE) + "  *****");
  model::LOGLINE(m, "");
  model::LOGLINE(m, repline("NUMBER OF EQUATIONS", HYCOL, fI(m.KK(22), 8)));
  model::LOGLINE(m, repline("ALLOCATED MEMORY", HYCOL, mb(TOTAL)));
  model::LOGLINE(m, repline("USED MEMORY FOR DATA TABLE", HYCOL, mb(TOTAL - FREE)));
  model::LOGLINE(m, repline("AVAILABLE MEMORY FOR MATRIX SOLVER", HYCOL, mb(FREE)));
  for (const MEMROW& r : ROWS) model::LOGLINE(m, repline(r.label, HYCOL, mb(r.words)));
}

void SOLVERPREP(Model& m, int NO2) {
  const long TOTAL = static_cast<long>(m.KK(27)) * 250000L;
  const long FREE = SOLVERFREEW(m);
  switch (m.KK(21)) {
    case 1:
      if (m.KK(28) < 0) prep_cg(m, TOTAL, FREE, NO2);
      else prep_gpu(m, TOTAL, FREE, NO2);
      break;
    case 2: prep_ork(m, NO2); break;
    case 3: prep_pds(m, FREE, NO2); break;
    default: break;
  }
}

void SOLVE(Model& m, int ITER) {
  const double t0 = m.clock.now();
  switch (m.KK(21)) {
    case 1:
      if (m.KK(28) < 0) solve_cg(m);
      else solve_gpu(m);
      break;
    case 2: solve_ork(m, ITER); break;
    case 3: solve_pds(m, ITER); break;
    default: break;
  }
  m.TIMES(model::T_SOLUTION) += m.clock.now() - t0;
}

void SOLVERFREE(Model& m) {
  switch (m.KK(21)) {
    case 1:
      if (m.KK(28) < 0) free_cg(m);
      else free_gpu(m);
      break;
    case 2: free_ork(m); break;
    case 3: free_pds(m); break;
    default: break;
  }
  m.IA.deallocate();
  m.JA.deallocate();
  m.AV.deallocate();
  m.RHS.deallocate();
  m.DX.deallocate();
  for (auto& a : m.ARCV) a.deallocate();
}

}  // namespace ossa::solvers
