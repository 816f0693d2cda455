// ORKANA: the analysis driver with its size tests and margins, ORKSET, and
// ORK's part of the solver frame: preparation, report, work files, release.
#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "base/fmt.hpp"
#include "model/stop.hpp"
#include "model/model.hpp"
#include "solvers/ork/ork.hpp"

namespace ossa::solvers {

namespace {

constexpr int ORK_ALLOC = -5;  // the system refused an allocation

bool wsstatus(int st) {
  return st == ORK_WS4 || st == ORK_WS5 || st == ORK_WS11 || st == ORK_WS26;
}

// A size converted through single precision, times the margin, toward zero.
long margin(long size, float f) {
  return static_cast<long>(static_cast<float>(size) * f);
}

ORKRESULT shortfall(long reals) { return {ORK_WS11, static_cast<double>(reals) * 8.0e-6}; }

// Runs the phases on the scratch; a workspace status becomes a shortfall.
ORKRESULT phases(ORKAN& a, long half) {
  int st = ORKCOMPRESS(a);
  if (st == ORK_OK) st = ORKORDER(a);
  if (st == ORK_OK) st = ORKSYM(a);
  if (st == ORK_OK) st = ORKSIZE(a);
  if (wsstatus(st)) return shortfall(a.ws.NEED - half);
  return {st, 0.0};
}

void figures(ORKDATA& o, const ORKAN& a) {
  o.NCOMP = a.NC;
  o.NSUP = a.NSUP;
  o.MAXFO = a.MAXFO;
  o.FACT = a.FACT;
  o.EXTRA = a.EXTRA;
  o.MAXBLK = a.MAXBLK;
  o.PEAK = a.PEAK;
  o.PEAK2 = a.PEAK2;
  o.OPS = a.OPS;
}

}  // namespace

long ORKMINWS(int NEQ, const std::int32_t* IA) { return 4L * NEQ + IA[NEQ] + 101; }

ORKRESULT ORKANAP(ORKDATA& o, long FREE, int NEQ, const std::int32_t* IA, const std::int32_t* JA,
                  int NRHS) {
  return ORKANAP(o, FREE, NEQ, IA, JA, NRHS, ORKOPT{});
}

namespace {

// The analysis on the scratch of a, then the final arrays.
ORKRESULT plan(ORKDATA& o, ORKAN& a, long FREE, long half, base::Arr1<std::int32_t>& scratch) {
  if (const ORKRESULT r = phases(a, half); r.STATUS != ORK_OK) return r;
  // Margins for the delayed pivots the plan cannot foresee.
  const long isiz = margin(a.SIZES[0], 1.1f);
  const long rin = margin(std::max(a.SIZES[1], a.SIZES[2]), 1.3f);
  const long rout = margin(std::max(a.SIZES[3], a.SIZES[4]), 1.3f);
  if (isiz > half) return shortfall(isiz - half);
  if (!o.ORKI.allocate(isiz)) return {ORK_ALLOC, 0.0};
  std::copy(a.PACK + 1, a.PACK + 1 + a.PACKLEN, o.ORKI.data());
  figures(o, a);
  scratch.deallocate();
  // The real array takes all the memory that is left.
  const long avail = std::min<long>((FREE - isiz) / 2, 2147483647L);
  o.ISIZ = isiz;
  o.RSIZIN = rin;
  o.RSIZOUT = rout;
  if (rout > avail) {
    o.ORKI.deallocate();
    return shortfall(rout - avail);
  }
  if (!o.ORKR.allocate_raw(avail)) return {ORK_ALLOC, 0.0};
  o.AVAIL = avail;
  ORKSET(o, isiz, avail);
  return {ORK_OK, 0.0};
}

}  // namespace

ORKRESULT ORKANAP(ORKDATA& o, long FREE, int NEQ, const std::int32_t* IA, const std::int32_t* JA,
                  int NRHS, const ORKOPT& opt) {
  // Scratch of half the free words.
  if (o.PERM.allocated()) o.PERM.fill(0);
  o.ORKI.deallocate();
  o.ORKR.deallocate();
  o.ISIZ = o.RSIZIN = o.RSIZOUT = o.AVAIL = 0;
  o.NRHS = NRHS;
  o.LOG.clear();
  const long half = FREE / 2;
  if (NEQ < 1) return {ORK_BADIA, 0.0};
  const long minws = 2 * ORKMINWS(NEQ, IA);
  if (minws > half) return shortfall(minws - half);
  base::Arr1<std::int32_t> scratch;
  if (!scratch.allocate_raw(half)) return {ORK_ALLOC, 0.0};
  ORKAN a;
  a.ws.S = scratch.data();
  a.ws.LEN = half;
  a.opt = opt;
  a.N = NEQ;
  a.IA = IA;
  a.JA = JA;
  a.NRHS = NRHS;
  const ORKRESULT r = plan(o, a, FREE, half, scratch);
  o.LOG = std::move(a.LOG);
  return r;
}

void ORKSET(ORKDATA& o, long ISIZ, long AVAIL) {
  base::Arr1<std::int32_t>& h = o.ORKI;
  const int n = h(HN);
  // Integer side: pivot kinds, the two per-equation maps, then the actual
  // lists with all the room that is left.
  h(HKIND) = h(HIDX) + h(HLIDX);
  h(HPOS) = h(HKIND) + n;
  h(HPIV) = h(HPOS) + n;
  h(HACT) = h(HPIV) + n;
  if (ISIZ > 100) {
    h(HISIZ) = static_cast<std::int32_t>(ISIZ);
    h(HIFREE) = static_cast<std::int32_t>(ISIZ - (h(HACT) - 1) - h(HLIDX));
  }
  h(HMAXBLK) = static_cast<std::int32_t>(std::min<long>(o.MAXBLK, 2147483647L));
  if (AVAIL <= 2054) return;
  h(HRSIZ) = static_cast<std::int32_t>(AVAIL);
  h(HBUF1) = static_cast<std::int32_t>(AVAIL - 2053);
  h(HBUF2) = static_cast<std::int32_t>(AVAIL - 1026);
  h(HFREE) = static_cast<std::int32_t>(AVAIL - n - 2053);
  for (int k = 0; k < 3; ++k) o.ORKR(h(HBUF1) + k) = o.ORKR(h(HBUF2) + k) = 0.0;
}

namespace {

[[noreturn]] void memstop(Model& m, double mb, int NO2) {
  model::FAIL(m, base::fF(mb, 8, 2) + "(MB) MORE MEMORY IS NECESSARY FOR NEXT PROCESS OF MATRIX SOLVER.",
            -5, NO2);
}

// A line of the memory report: label, hyphens, value.
std::string repline(const char* label, int hyphens, const std::string& value) {
  return "   " + std::string(label) + " " + std::string(hyphens, '-') + value;
}

std::string mb(double words) { return base::fF(words * 4.0e-6, 8, 1) + "(MB)"; }

void report(Model& m, long total, long free) {
  const ORKDATA& o = m.ORK;
  const long neq = m.KK(kk::NEQ), nz = m.KK(kk::NZ);
  const double b = static_cast<double>(neq + nz + o.ISIZ + 5 * neq + 2 * nz + 1);
  model::LOGLINE(m, "");
  model::LOGLINE(m, " *****  MULTIFRONTAL SOLVER (ORK) MESSAGE  *****");
  model::LOGLINE(m, "");
  model::LOGLINE(m, repline("NUMBER OF EQUATIONS", 31, base::fI(neq, 8)));
  model::LOGLINE(m, repline("ALLOCATED MEMORY", 34, mb(static_cast<double>(total))));
  model::LOGLINE(m, repline("USED MEMORY FOR DATA TABLE", 24, mb(static_cast<double>(total - free))));
  model::LOGLINE(m, repline("AVAILABLE MEMORY FOR MATRIX SOLVER", 16, mb(static_cast<double>(free))));
  model::LOGLINE(m, repline("REQUIRED MEMORY FOR MATRIX SOLVER (INCORE ONLY)", 3,
                          mb(b + 2.0 * static_cast<double>(o.RSIZIN))));
  model::LOGLINE(m, repline("REQUIRED MEMORY FOR MATRIX SOLVER (OUTCORE USE)", 3,
                          mb(b + 2.0 * static_cast<double>(o.RSIZOUT))));
}

void openwork(Model& m, int i, const char* fallback) {
  base::Unit& u = m.unit(m.UNIT(i));
  const std::string name = u.name.empty() ? std::string(fallback) : u.name;
  if (!base::open_direct(u, name, ORKRECL)) model::FILESTOP(m, "CANNOT OPEN " + name);
}

}  // namespace

void ORKANA(Model& m, long FREE, int NRHS, int NO2) {
  ORKDATA& o = m.ORK;
  const int neq = m.KK(kk::NEQ);
  // IA must end where JA does before any row is read.
  const bool fits = neq >= 1 && m.IA.size() > neq && m.IA(neq + 1) - 1 == m.KK(kk::NZ) &&
                    m.JA.size() >= m.KK(kk::NZ);
  const ORKRESULT r = fits ? ORKANAP(o, FREE, neq, m.IA.data(), m.JA.data(), NRHS)
                           : ORKRESULT{ORK_BADIA, 0.0};
  o.ERRSTATE = r.STATUS;
  for (const std::string& l : o.LOG) model::LOGLINE(m, l);
  if (r.SHORTMB > 0.0) memstop(m, r.SHORTMB, NO2);
  if (r.STATUS == ORK_ALLOC) {
    const int st = 1;
    model::ALLOCCHK(m, &st, 1, NO2, m.UNIT(2));
  }
  if (r.STATUS != ORK_OK) {
    // No analysis stands: an empty tree, which the factorisation refuses,
    // so that the solution check reports the failure.
    o.ORKI.allocate(ORKHDR);
    o.ORKI(HN) = neq;
  }
}

void ORKPREP(Model& m, int NO2) {
  ORKDATA& o = m.ORK;
  const long neq = m.KK(kk::NEQ), nz = m.KK(kk::NZ);
  const long total = static_cast<long>(m.KK(kk::MEMMB)) * 250000L;
  const long free = total - model::FREEWORDS(m);
  const long need = 5 * neq + 2 * nz;
  if (need > free) memstop(m, static_cast<double>(need - free) * 4.0e-6, NO2);
  int st[2] = {o.W.allocate(neq, 2) ? 0 : 1, o.PERM.allocate(neq) ? 0 : 1};
  model::ALLOCCHK(m, st, 2, NO2, m.UNIT(2));
  ORKANA(m, free, m.KK(kk::RIKS) != 0 ? 2 : 1, NO2);
  if (o.NPREP == 0) report(m, total, free);
  ++o.NPREP;
  openwork(m, 3, "EXEC.WK1");
  openwork(m, 4, "EXEC.WK2");
}

void ORKFREE(Model& m) {
  ORKDATA& o = m.ORK;
  o.ORKI.deallocate();
  o.ORKR.deallocate();
  o.W.deallocate();
  o.PERM.deallocate();
  o.ISIZ = o.RSIZIN = o.RSIZOUT = o.AVAIL = 0;
  base::close_unit(m.unit(m.UNIT(3)), true);
  base::close_unit(m.unit(m.UNIT(4)), true);
}

}  // namespace ossa::solvers
