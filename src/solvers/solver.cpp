// The solver frame: one table of solvers, a row each for the preparation,
// the solve and the release. The processor CG is complete here; the
// multifrontal solver, the third-party direct solver and the device CG each
// enter through their own helpers below.
#include "solvers/solver.hpp"

#include <string>

#include "base/fmt.hpp"
#include "model/stop.hpp"
#include "solvers/cg/cg.hpp"
#include "solvers/cg/cgkern.hpp"
#include "solvers/ork/ork.hpp"
#include "solvers/gpu/gpu.hpp"
#include "solvers/ork/orkfact.hpp"
#include "solvers/pardiso/pardiso.hpp"

namespace ossa::solvers {

using base::fF;
using base::fI;

namespace {

constexpr std::string_view TITLE_CG = "CG-METHOD SOLVER MESSAGE";
constexpr std::string_view TITLE_GPU = "CG-METHOD (GPU) SOLVER MESSAGE";
constexpr std::string_view REQUIRED = "REQUIRED MEMORY FOR MATRIX SOLVER";
constexpr int HYCOL_CG = 39;

long neq(const Model& m) { return m.KK(kk::NEQ); }
long nz(const Model& m) { return m.KK(kk::NZ); }

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
  model::BUDGETCHK(m, cgwords(m), FREE, NO2);
  // LV, CGW and CGGRP hold 2 NZ + 13 NEQ words, within the budget's figure.
  int st[3];
  st[0] = m.CG.LV.allocate(nz(m)) ? 0 : 1;
  st[1] = m.CG.CGW.allocate(neq(m), 6) ? 0 : 1;
  st[2] = m.CG.CGGRP.allocate(neq(m)) ? 0 : 1;
  model::ALLOCCHK(m, st, 3, NO2, m.UNIT(2));
  MEMREPORT(m, TITLE_CG, HYCOL_CG, TOTAL, FREE, {{REQUIRED, neq(m) + nz(m) + cgwords(m) + 1}});
}

void solve_cg(Model& m, int) {
  m.CG.NITS = CGSOLVE(m, m.AV.data(), m.CG.LV.data(), m.RHS.data(), m.DX.data(), m.CG.CGW.data(),
          m.CG.CGGRP.data(), m.KK(kk::NEQ), m.KK(kk::NZ), m.IA.data(), m.JA.data(),
          m.KK(kk::CGITMAX), m.RR(rr::TOLCG), m.UNIT(2), m.KK(kk::CGPREC), 0);
}

void free_cg(Model& m) {
  m.CG.AMG.reset();
  m.CG.LV.deallocate();
  m.CG.CGW.deallocate();
  m.CG.CGGRP.deallocate();
}

// ---- Device CG (KK(21) = 1, KK(28) >= 0). A job without a "CNTR3" card
// names device 0 without the check that card runs; it is checked here, at the
// first preparation, so that an absent device sends it to the processor as it
// would a job whose card names it.
void prep_gpu(Model& m, long TOTAL, long FREE, int NO2) {
  if (!m.GPU.CHECKED) GPUCHECK(m);
  if (m.KK(kk::DEVICE) < 0) {
    prep_cg(m, TOTAL, FREE, NO2);
    return;
  }
  model::BUDGETCHK(m, gpuwords(m), FREE, NO2);
  const long nfull = 2 * nz(m) - neq(m);
  int st[4];
  st[0] = m.GPU.IAF.allocate(neq(m) + 1) ? 0 : 1;
  st[1] = m.GPU.JAF.allocate(nfull) ? 0 : 1;
  st[2] = m.GPU.AF.allocate(nfull) ? 0 : 1;
  st[3] = m.GPU.DIAG.allocate(neq(m)) ? 0 : 1;
  model::ALLOCCHK(m, st, 4, NO2, m.UNIT(2));
  MEMREPORT(m, TITLE_GPU, HYCOL_CG, TOTAL, FREE, {{REQUIRED, neq(m) + nz(m) + gpuwords(m) + 1}});
}

// The device iterates from the increment's x = 0, as the processor CG does:
// its tolerance is relative to the first residual, so a start from an
// earlier increment would measure the accuracy against that one's load.
void solve_gpu(Model& m, int) {
  model::GPUDATA& g = m.GPU;
  const int n = m.KK(kk::NEQ), nfull = 2 * m.KK(kk::NZ) - n;
  GPUEXPAND(m.IA.data(), m.JA.data(), m.AV.data(), m.KK(kk::NZ), n, g.IAF.data(), g.JAF.data(),
            g.AF.data(), nfull, g.DIAG.data());
  // A pivot of zero or below stops the job as it stops the processor CG.
  for (int i = 1; i <= n; ++i)
    if (g.DIAG(i) <= 0.0) CGSTOP(m, m.UNIT(2), "PIVOT .LE. 0. , PROGRAM STOPPED !", -1);
  for (int i = 1; i <= n; ++i) m.DX(i, 1) = 0.0;
  const int st = GPUCG(g, GPUJOBOPS(m), g.AF.data(), g.IAF.data(), g.JAF.data(), n, m.DX.data(),
                       m.RHS.data(), m.RR(rr::TOLCG), g.DIAG.data(), m.KK(kk::DEVICE));
  m.CG.NITS = g.NITS;
  if (st == 1) model::ERRSTOP(m, -5, 0, m.UNIT(2));
  if (st == -1) model::ERRSTOP(m, -8, 0, m.UNIT(2));
}

void free_gpu(Model& m) {
  m.GPU.IAF.deallocate();
  m.GPU.JAF.deallocate();
  m.GPU.AF.deallocate();
  m.GPU.DIAG.deallocate();
  GPUDONE(m.GPU, GPUJOBOPS(m));
}

// ---- ORK (KK(21) = 2): its own budget test, analysis, report and files.
void prep_ork(Model& m, long, long, int NO2) { ORKPREP(m, NO2); }
void solve_ork(Model& m, int ITER) { SOLVE_ORK(m, ITER); }
void free_ork(Model& m) { ORKFREE(m); }

// ---- The third-party direct solver (KK(21) = 3): budget of 2*NZ words (its
// IRN and PERM hold NZ + NEQ), then its analysis and the test of its estimate.
void prep_pds(Model& m, long TOTAL, long FREE, int NO2) {
  model::BUDGETCHK(m, 2 * nz(m), FREE, NO2);
  PDSPREP(m, FREE, NO2);
  MEMREPORT(m, "MULTIFRONTAL SOLVER (PARDISO) MESSAGE", HYCOL_CG, TOTAL, FREE,
            {{REQUIRED, neq(m) + 3 * nz(m) + m.PDS.MEMP + m.PDS.MEMN + 1}});
}
void solve_pds(Model& m, int ITER) { SOLVE_PDS(m, ITER); }
void free_pds(Model& m) { PDSFREE(m); }

// ---- No solver (any other KK(21)): nothing to prepare, solve or release.
void prep_none(Model&, long, long, int) {}
void solve_none(Model&, int) {}
void free_none(Model&) {}

// One row per solver. Each preparation runs its own budget test: ORK's
// figure is known only after its analysis, the device CG's only after the
// device check.
struct SOLVERROW {
  void (*prepare)(Model& m, long TOTAL, long FREE, int NO2);
  void (*solve)(Model& m, int ITER);
  void (*release)(Model& m);
};

enum SolverCode { S_NONE, S_CG, S_GPU, S_ORK, S_PDS };

constexpr SOLVERROW SOLVERS[] = {
    {prep_none, solve_none, free_none},  // S_NONE
    {prep_cg, solve_cg, free_cg},        // S_CG
    {prep_gpu, solve_gpu, free_gpu},     // S_GPU
    {prep_ork, solve_ork, free_ork},     // S_ORK
    {prep_pds, solve_pds, free_pds},     // S_PDS
};

// The row of KK(21), the device CG where KK(28) names a device.
const SOLVERROW& solver(const Model& m) {
  switch (m.KK(kk::SOLVER)) {
    case 1: return SOLVERS[m.KK(kk::DEVICE) < 0 ? S_CG : S_GPU];
    case 2: return SOLVERS[S_ORK];
    case 3: return SOLVERS[S_PDS];
    default: return SOLVERS[S_NONE];
  }
}

}  // namespace

void MEMREPORT(Model& m, std::string_view TITLE, int HYCOL, long TOTAL, long FREE,
               std::initializer_list<MEMROW> ROWS) {
  if (m.SOLRPT) return;
  m.SOLRPT = true;
  model::LOGLINE(m, "");
  model::LOGLINE(m, " *****  " + std::string(TITLE) + "  *****");
  model::LOGLINE(m, "");
  model::LOGLINE(m, repline("NUMBER OF EQUATIONS", HYCOL, fI(m.KK(kk::NEQ), 8)));
  model::LOGLINE(m, repline("ALLOCATED MEMORY", HYCOL, mb(TOTAL)));
  model::LOGLINE(m, repline("USED MEMORY FOR DATA TABLE", HYCOL, mb(TOTAL - FREE)));
  model::LOGLINE(m, repline("AVAILABLE MEMORY FOR MATRIX SOLVER", HYCOL, mb(FREE)));
  for (const MEMROW& r : ROWS) model::LOGLINE(m, repline(r.label, HYCOL, mb(r.words)));
}

void SOLVERPREP(Model& m, int NO2) {
  const double t0 = m.clock.now();
  const long TOTAL = static_cast<long>(m.KK(kk::MEMMB)) * 250000L;
  const long FREE = model::SOLVERFREEW(m);
  solver(m).prepare(m, TOTAL, FREE, NO2);
  m.TIMES(model::T_INDEX) += m.clock.now() - t0;
}

void SOLVE(Model& m, int ITER) {
  const double t0 = m.clock.now();
  solver(m).solve(m, ITER);
  m.TIMES(model::T_SOLUTION) += m.clock.now() - t0;
}

void SOLVE2(Model& m, int ITER) {
  const double t0 = m.clock.now();
  SOLVE_ORK(m, 2, ITER);
  m.TIMES(model::T_SOLUTION) += m.clock.now() - t0;
}

void SOLVERFREE(Model& m) {
  solver(m).release(m);
  model::EQFREE(m);
}

}  // namespace ossa::solvers
