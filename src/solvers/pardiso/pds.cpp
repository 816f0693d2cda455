// MUMPS behind the contract of selector -2: analysis once per pattern with
// METIS's order, factorisation and solve per call with the factor given back
// at once, memory estimates in the frame's words.
//
// MUMPS codes (INFOG(1), and INFOG(28) for null pivots) and their meaning here:
//   analysis -5, -7, -13 (workspace for the ordering refused) ... no memory for
//                                 the reordering: the frame stops with -5;
//   factorisation -10 (numerically singular), -6 (structurally singular), or
//                 INFOG(28) > 0 (null pivots, found with ICNTL(24) = 1) ... zero
//                                 pivot: the frame stops with -4 or -9;
//   factorisation -8, -9 (internal workspace short: the estimate was passed by
//                 delayed pivots) ... repeated with twice the relaxation;
//   -13 after the analysis (an allocation refused) ... the allocation stop, -5;
//   any other negative value ... a stop naming the value, -8.
#include <metis.h>

#include <algorithm>
#include <string>
#include <vector>

#include "base/fmt.hpp"
#include "model/stop.hpp"
#include "solvers/pardiso/pardiso.hpp"
#include "solvers/pardiso/pdscall.hpp"

namespace ossa::solvers {

using model::PDSDATA;

namespace {

// A pivot counts as null below this fraction of the largest entry: a
// singular stiffness leaves pivots at round-off, some 1e-13 of it and above
// only through cancellation, while a sound one keeps them far above.
constexpr double NULLPIVOT = 1.0e-11;
// Retries of a factorisation whose internal workspace ran short.
constexpr int MAXRETRY = 4;

// METIS's nested dissection on the graph of the pattern (both halves, no
// diagonal): PERM(i) = position of equation i in the pivot order.
void order(PDSDATA& p, int n, const std::int32_t* IA, const std::int32_t* JA) {
  std::vector<idx_t> deg(static_cast<std::size_t>(n) + 1, 0);
  for (int i = 0; i < n; ++i)
    for (std::int32_t e = IA[i]; e < IA[i + 1] - 1; ++e) ++deg[i + 1], ++deg[JA[e]];
  std::vector<idx_t> xadj(deg), adj(static_cast<std::size_t>(2) * (IA[n] - 1 - n));
  for (int i = 0; i < n; ++i) xadj[i + 1] += xadj[i];
  std::vector<idx_t> fill(xadj.begin(), xadj.end() - 1);
  for (int i = 0; i < n; ++i)
    for (std::int32_t e = IA[i]; e < IA[i + 1] - 1; ++e) {
      const int j = JA[e] - 1;
      adj[fill[i]++] = j;
      adj[fill[j]++] = i;
    }
  std::vector<idx_t> perm(n), iperm(n);
  for (int i = 0; i < n; ++i) iperm[i] = i;
  if (!adj.empty()) {
    idx_t options[METIS_NOPTIONS];
    METIS_SetDefaultOptions(options);
    idx_t nv = n;
    if (METIS_NodeND(&nv, xadj.data(), adj.data(), nullptr, options, perm.data(), iperm.data()) != METIS_OK)
      for (int i = 0; i < n; ++i) iperm[i] = i;  // MUMPS still solves, only with more fill
  }
  for (int i = 0; i < n; ++i) p.PERM(i + 1) = iperm[i] + 1;
}

PdsStatus after_factor(PDSDATA& p, const DMUMPS_STRUC_C& id) {
  p.INFO1 = id.infog[0];
  p.INFO2 = id.infog[1];
  p.NULLPIV = id.infog[27];
  if (p.INFO1 == -10 || p.INFO1 == -6 || (p.INFO1 >= 0 && p.NULLPIV > 0)) return PDS_ZEROPIV;
  if (p.INFO1 == -13) return PDS_ALLOC;
  return p.INFO1 < 0 ? PDS_FAILED : PDS_OK;
}

// A fresh instance and its analysis on the order in PERM.
void analyse(PDSDATA& p, const double* AV) {
  model::PDSHANDLE& h = *p.PT;
  DMUMPS_STRUC_C& id = h.id;
  PDSCALL(id, -1);
  id.n = h.N;
  id.nnz = h.NNZ;
  id.irn = p.IRN.data();
  id.jcn = const_cast<std::int32_t*>(h.JA);
  id.a = const_cast<double*>(AV);
  id.perm_in = p.PERM.data();
  id.icntl[6] = 1;    // ICNTL(7): the order is PERM_IN
  id.icntl[23] = 1;   // ICNTL(24): null pivots are detected and counted
  id.cntl[2] = -NULLPIVOT;  // CNTL(3) < 0: relative to the matrix norm
  if (h.RELAX > 0) id.icntl[13] = h.RELAX;
  PDSCALL(id, 1);
  h.LIVE = true;
  p.INFO1 = id.infog[0];
  p.INFO2 = id.infog[1];
}

// Ends the instance, factor and analysis; the order stays.
void release(PDSDATA& p) {
  if (!p.PT || !p.PT->LIVE) return;
  PDSCALL(p.PT->id, -2);
  p.PT->LIVE = false;
}

}  // namespace

PdsStatus PDSANA(PDSDATA& p, int NEQ, const std::int32_t* IA, const std::int32_t* JA, const double* AV) {
  PDSEND(p);
  const long nz = IA[NEQ] - 1;
  if (!p.IRN.allocate(nz) || !p.PERM.allocate(NEQ)) return PDS_ALLOC;
  for (int i = 1; i <= NEQ; ++i)
    for (std::int32_t e = IA[i - 1]; e < IA[i]; ++e) p.IRN(e) = i;
  order(p, NEQ, IA, JA);
  p.PT = new model::PDSHANDLE;
  p.PT->N = NEQ;
  p.PT->NNZ = nz;
  p.PT->JA = JA;
  analyse(p, AV);
  const DMUMPS_STRUC_C& id = p.PT->id;
  // In-core estimates in MB: INFOG(16) of the process with the largest share,
  // INFOG(17) of all; a MB counts 250000 words.
  p.MEMP = 250000L * std::max(id.infog[15], 0);
  p.MEMN = 250000L * std::max(id.infog[16] - id.infog[15], 0);
  if (p.INFO1 == -5 || p.INFO1 == -7 || p.INFO1 == -13) return PDS_NOMEM;
  return p.INFO1 < 0 ? PDS_FAILED : PDS_OK;
}

PdsStatus PDSFSOLVE(PDSDATA& p, const double* AV, double* X) {
  if (!p.PT) return PDS_FAILED;
  if (!p.PT->LIVE) analyse(p, AV);
  DMUMPS_STRUC_C& id = p.PT->id;
  id.a = const_cast<double*>(AV);
  id.rhs = X;
  PDSCALL(id, 2);
  for (int k = 0; k < MAXRETRY && (id.infog[0] == -8 || id.infog[0] == -9); ++k) {
    id.icntl[13] = p.PT->RELAX = 2 * std::max(id.icntl[13], 20);  // ICNTL(14): percent of relaxation
    PDSCALL(id, 2);
  }
  PdsStatus st = after_factor(p, id);
  if (st == PDS_OK) {
    PDSCALL(id, 3);
    st = after_factor(p, id);
  }
  release(p);  // the factor is never held between solves
  return st;
}

void PDSEND(PDSDATA& p) {
  release(p);
  delete p.PT;
  p.PT = nullptr;
  p.IRN.deallocate();
  p.PERM.deallocate();
}

// ---- Solver frame -------------------------------------------------------------

void PDSPREP(Model& m, long FREE, int NO2) {
  PDSDATA& p = m.PDS;
  const PdsStatus st = PDSANA(p, m.NEQ(), m.IA.data(), m.JA.data(), m.AV.data());
  if (st == PDS_ALLOC) {
    const int s = 1;
    model::ALLOCCHK(m, &s, 1, NO2, m.UNIT(2));
  }
  if (st == PDS_NOMEM) model::FAIL(m, "NOT ENOUGH MEMORY FOR REORDERING.", -5, NO2);
  model::BUDGETCHK(m, p.MEMP + p.MEMN, FREE, NO2);
}

void SOLVE_PDS(Model& m, int ITER) {
  const int neq = m.NEQ();
  std::copy(m.RHS.data(), m.RHS.data() + neq, m.DX.data());
  switch (PDSFSOLVE(m.PDS, m.AV.data(), m.DX.data())) {
    case PDS_OK: return;
    case PDS_ZEROPIV:
      if (ITER <= 1) model::FAIL(m, "CONSTRAINT CONDITION MIGHT BE WRONG.", -4);
      model::FAIL(m, "NONLINEAR CALCULATION DISPERSE.", -9);
    case PDS_ALLOC: {
      const int s = 1;
      model::ALLOCCHK(m, &s, 1, 0, m.UNIT(2));
    }
    [[fallthrough]];
    default:
      model::FAIL(m, "MULTIFRONTAL SOLVER (MUMPS) FAILED WITH INFOG(1) =" + base::fI(m.PDS.INFO1, 6) +
                         ", INFOG(2) =" + base::fI(m.PDS.INFO2, 12) + ".",
                  -8);
  }
}

void PDSFREE(Model& m) { PDSEND(m.PDS); }

}  // namespace ossa::solvers
