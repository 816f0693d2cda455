#include "results/rst.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "base/files.hpp"
#include "elements/family.hpp"
#include "model/stop.hpp"

namespace ossa::results {

namespace {

using elements::SNAPARR;
using elements::SNAPITEM;
using elements::SNAPVAL;
using Items = std::vector<SNAPITEM>;

// A snapshot file being written or read: its unit and name, the records so
// far and the running check over their lengths and bytes.
struct Snap {
  Model& m;
  base::Unit& u;
  std::string name;
  long rec = 0;
  std::int64_t bytes = 0;
  std::uint64_t check = base::CHECKSEED;
  std::vector<unsigned char> buf;
  Snap(Model& mm, base::Unit& uu, std::string nn) : m(mm), u(uu), name(std::move(nn)) {}
};

void account(Snap& f) {
  const std::uint64_t len = f.buf.size();
  f.check = base::CHECK64(f.check, &len, sizeof len);
  f.check = base::CHECK64(f.check, f.buf.data(), f.buf.size());
  f.bytes += static_cast<std::int64_t>(len);
}

std::size_t length(const SNAPITEM* it, int n) {
  std::size_t s = 0;
  for (int k = 0; k < n; ++k) s += it[k].BYTES;
  return s;
}

void put(Snap& f, const SNAPITEM* it, int n) {
  ++f.rec;
  f.buf.resize(length(it, n));
  std::size_t at = 0;
  for (int k = 0; k < n; ++k) {
    if (it[k].BYTES) std::memcpy(f.buf.data() + at, it[k].P, it[k].BYTES);
    at += it[k].BYTES;
  }
  account(f);
  if (!base::swrite(f.u, f.buf.data(), f.buf.size())) model::FILESTOP(f.m, "CANNOT WRITE " + f.name);
}
void put(Snap& f, const Items& it) { put(f, it.data(), static_cast<int>(it.size())); }

[[noreturn]] void refuse(Snap& f, const std::string& why) {
  model::FILESTOP(f.m, f.name + ", RECORD " + std::to_string(f.rec) + ": " + why);
}

// Reads the next record into the items. `whose` names what a record of
// another length comes from; `e` the element whose record it is.
void get(Snap& f, const SNAPITEM* it, int n, const char* whose, const model::ELEMREC* e = nullptr) {
  ++f.rec;
  const std::size_t expect = length(it, n);
  f.buf.resize(expect + 1);
  const long got = base::sread(f.u, f.buf.data(), f.buf.size());
  if (got < 0) refuse(f, "THE FILE ENDS OR ITS RECORD MARKS ARE BROKEN: THE SNAPSHOT IS TRUNCATED OR CORRUPTED.");
  if (static_cast<std::size_t>(got) != expect)
    refuse(f, std::to_string(got) + " BYTES WHERE THIS JOB EXPECTS " + std::to_string(expect) +
                  (e ? " FOR ELEMENT " + std::to_string(e->ID) : std::string()) + ": A SNAPSHOT OF " +
                  whose + ".");
  f.buf.resize(expect);
  account(f);
  std::size_t at = 0;
  for (int k = 0; k < n; ++k) {
    if (it[k].BYTES) std::memcpy(it[k].P, f.buf.data() + at, it[k].BYTES);
    at += it[k].BYTES;
  }
}
void get(Snap& f, const Items& it, const char* whose) {
  get(f, it.data(), static_cast<int>(it.size()), whose);
}

bool dynamic(const Model& m) { return m.KK(kk::DYNAMIC) == 1; }

// The head record: EXEC.RST (`repeat`) keeps the step counters and the
// arc-length scalars, EXEC.RST2 only what the step walk goes on with.
Items head(Model& m, RstHead& h, bool repeat) {
  double& dt = m.DYN.DTPREV;
  if (dynamic(m))
    return repeat ? Items{SNAPVAL(h.STEP), SNAPVAL(dt), SNAPVAL(h.NSTEPC), SNAPVAL(h.LAMBDA),
                          SNAPVAL(h.NSUB), SNAPVAL(h.FIRSTCHG)}
                  : Items{SNAPVAL(dt), SNAPVAL(h.NSUB), SNAPVAL(h.FIRSTCHG)};
  return repeat ? Items{SNAPVAL(h.STEP), SNAPVAL(h.NSTEPC), SNAPVAL(h.LAMBDA), SNAPVAL(h.FNRM),
                        SNAPVAL(h.ARCS), SNAPVAL(h.NSUB), SNAPVAL(h.FIRSTCHG)}
                : Items{SNAPVAL(h.NSUB), SNAPVAL(h.FIRSTCHG)};
}

// The nodal record, the contact slaves' state last (a static job also
// keeps the link coefficients), then their states of the contact pass
// before and the friction state: law on or off and whether the slip
// reference stays, the law's parameters, and the reference itself (the
// displacements and the position on the master where the slip started),
// which a slave keeps for as long as it stays on the same kind of master.
Items nodal(Model& m, bool repeat) {
  Items v{SNAPARR(m.U)};
  if (!dynamic(m) && repeat) v.push_back(SNAPARR(m.UPREV));
  v.insert(v.end(), {SNAPARR(m.X), SNAPARR(m.XOLD), SNAPARR(m.FRAME)});
  if (dynamic(m)) {
    // All levels whole: what the next increment rebuilds is the
    // integrator's business, what it reads is here.
    for (auto* a : model::DYNLEVELS(m.DYN)) v.push_back(SNAPARR(*a));
    v.insert(v.end(), {SNAPARR(m.DYN.MVN), SNAPARR(m.DYN.MVO), SNAPARR(m.DYN.AMVN), SNAPARR(m.DYN.AMVO)});
  }
  model::CONTDATA& c = m.CONT;
  v.insert(v.end(), {SNAPARR(c.SLVST), SNAPARR(c.SLVBARY), SNAPARR(c.SLVDIR), SNAPARR(c.SLVOFF)});
  if (!dynamic(m)) v.push_back(SNAPARR(c.SLVCOEF));
  v.insert(v.end(), {SNAPARR(c.SLVFORCE), SNAPARR(c.SLVLEV), SNAPARR(c.SLVOLD)});
  v.insert(v.end(), {SNAPARR(c.FRFLAG), SNAPARR(c.FRPAR), SNAPARR(c.FRREF), SNAPARR(c.FRPOS)});
  return v;
}

// The arc-length record of a static job: EXEC.RST2 with the control's
// scalars and the displacement at the start of the last step (its increment
// gives the direction of the next), both with the reference load and the
// arc vectors.
Items arclength(Model& m, bool repeat) {
  model::RIKSDATA& r = m.RIKS;
  Items v;
  if (!repeat)
    v = {SNAPVAL(r.NRIKS), SNAPVAL(r.LAMBDA), SNAPVAL(r.LAMPREV), SNAPVAL(r.UNORM), SNAPVAL(r.FNRM),
         SNAPARR(m.UPREV)};
  v.push_back(SNAPARR(r.FREF));
  for (auto& a : r.ARCV) v.push_back(SNAPARR(a));
  return v;
}

// Check of the model the snapshot belongs to: sizes, node numbers and
// coordinates, the element table, the contact surfaces (a slave's state
// names its master by number). Loads, times, controls and properties may
// differ.
std::uint64_t modelcheck(const Model& m) {
  std::uint64_t h = base::CHECKSEED;
  for (int k = kk::NNODE; k <= kk::NTRUSS; ++k) h = base::CHECK64(h, &m.KK(k), sizeof(std::int32_t));
  auto add = [&](const auto& a) {
    if (a.allocated()) h = base::CHECK64(h, a.data(), static_cast<std::size_t>(a.size()) * sizeof(*a.data()));
  };
  add(m.NODEID);
  add(m.XYZ);
  add(m.ELEM);
  add(m.BODYEND);
  add(m.CSFNOD);
  return h;
}

struct Tail {
  std::int64_t NREC = 0, NBYTES = 0;
  std::uint64_t CHECK = 0, MODEL = 0;
};

// The element records, one per element of the table that keeps a state.
void elements_io(Snap& f, bool reading) {
  SNAPITEM items[elements::MAXSNAP];
  Model& m = f.m;
  for (int i = 1; i <= m.NELEM(); ++i) {
    const model::ELEMREC& e = m.ELEM(i);
    const int n = elements::FAMILYOF(e.TYPE).SNAP(m, e, items);
    if (n == 0) continue;
    if (reading) get(f, items, n, "A DECK OF ANOTHER SIZE", &e);
    else put(f, items, n);
  }
}

// The plastic operators of a material nonlinear job (EXEC.SHL, EXEC.SOL),
// whole, in records of up to WORKCHUNK work-file records (at least one
// record a file, empty without elements of its family): a PLASTIC point
// reads its operator from there, and the files hold a later state than the
// snapshot when the job went on after its last output.
constexpr long WORKCHUNK = 4096;

void workfiles_io(Snap& f, bool reading) {
  Model& m = f.m;
  if (m.KK(kk::MATNL) != 1) return;
  const long count[2] = {3L * m.NSHELL(), m.NSOLID()};
  for (int w = 0; w < 2; ++w) {
    base::Unit& u = m.unit(m.UNIT(6 + w));
    const std::size_t recl = static_cast<std::size_t>(u.recl);
    std::vector<unsigned char> chunk;
    for (long r0 = 1; r0 == 1 || r0 <= count[w]; r0 += WORKCHUNK) {
      const long n = std::max(0L, std::min(WORKCHUNK, count[w] - r0 + 1));
      chunk.resize(static_cast<std::size_t>(n) * recl);
      if (reading) get(f, {{chunk.data(), chunk.size()}}, "A DECK OF ANOTHER SIZE");
      const bool ok = reading ? base::dwrite_recs(u, r0, n, chunk.data()) : base::dread_recs(u, r0, n, chunk.data());
      if (!ok) model::FILESTOP(m, (reading ? "CANNOT WRITE " : "CANNOT READ ") + u.name);
      if (!reading) put(f, {{chunk.data(), chunk.size()}});
    }
  }
}

// The records after the head and the mark, and the check record.
void body_out(Snap& f, bool repeat) {
  put(f, nodal(f.m, repeat));
  elements_io(f, false);
  if (!repeat) workfiles_io(f, false);
  if (!dynamic(f.m)) put(f, arclength(f.m, repeat));
  Tail t{f.rec, f.bytes, f.check, modelcheck(f.m)};
  put(f, {SNAPVAL(t)});
}

void body_in(Snap& f, bool repeat) {
  get(f, nodal(f.m, repeat), "A DECK OF ANOTHER SIZE");
  elements_io(f, true);
  if (!repeat) workfiles_io(f, true);
  if (!dynamic(f.m)) get(f, arclength(f.m, repeat), "A DECK OF ANOTHER SIZE OR ANOTHER ANALYSIS KIND");
  const Tail want{f.rec, f.bytes, f.check, modelcheck(f.m)};
  Tail t;
  get(f, {SNAPVAL(t)}, "A DECK OF ANOTHER SIZE");
  if (t.NREC != want.NREC || t.NBYTES != want.NBYTES || t.CHECK != want.CHECK)
    refuse(f, "THE CHECK OF THE RECORDS BEFORE IT FAILS: THE SNAPSHOT IS CORRUPTED.");
  if (t.MODEL != want.MODEL)
    refuse(f, "THE SNAPSHOT BELONGS TO ANOTHER MODEL (NODES, COORDINATES, ELEMENTS OR CONTACT SURFACES DIFFER).");
  ++f.rec;
  if (!base::at_end(f.u)) refuse(f, "DATA AFTER THE END OF THE SNAPSHOT.");
}

std::string printable(const char* s, std::size_t n) {
  std::string t;
  for (std::size_t i = 0; i < n; ++i) t += (s[i] >= ' ' && s[i] <= '~') ? s[i] : '?';
  return t;
}

}  // namespace

void RSTSAVE(Model& m, const RstHead& h) {
  base::Unit& u = m.unit(m.UNIT(5));
  const char* name = model::UNIT_FILE[4];
  base::close_unit(u);
  if (!base::open_seq_out(u, name)) model::FILESTOP(m, std::string("CANNOT OPEN ") + name);
  Snap f{m, u, name};
  RstHead w = h;
  put(f, head(m, w, true));
  body_out(f, true);
  base::flush_unit(u);
}

void RSTLOAD(Model& m, RstHead& h) {
  base::Unit& u = m.unit(m.UNIT(5));
  const char* name = model::UNIT_FILE[4];
  base::close_unit(u);
  if (!base::open_seq_in(u, name)) model::FILESTOP(m, std::string("CANNOT OPEN ") + name);
  Snap f{m, u, name};
  get(f, head(m, h, true), "ANOTHER ANALYSIS KIND");
  body_in(f, true);
  base::close_unit(u);
}

void RSTWRITE(Model& m, const RstHead& h) {
  base::Unit& u = m.unit(m.UNIT(11));
  const std::string name = model::UNIT_FILE[10];
  if (!base::open_seq_out(u, RSTTEMP)) model::FILESTOP(m, std::string("CANNOT OPEN ") + RSTTEMP);
  Snap f{m, u, RSTTEMP};
  put(f, {{const_cast<char*>(RSTMARK), 8}});
  RstHead w = h;
  put(f, head(m, w, false));
  body_out(f, false);
  if (!base::sync_close(u) || !base::replace_file(RSTTEMP, name))
    model::FILESTOP(m, "CANNOT WRITE " + name);
}

void RSTREAD(Model& m, RstHead& h) {
  base::Unit& u = m.unit(m.UNIT(10));
  const std::string name = model::UNIT_FILE[9];
  if (!base::open_seq_in(u, name)) model::FILESTOP(m, "CANNOT OPEN " + name);
  Snap f{m, u, name};
  char mark[8] = {};
  get(f, {{mark, 8}}, "ANOTHER PROGRAM OR VERSION");
  if (std::memcmp(mark, RSTMARK, 8) != 0)
    refuse(f, "THE MARK IS \"" + printable(mark, 8) + "\", NOT \"" + RSTMARK + "\": A SNAPSHOT OF ANOTHER VERSION.");
  get(f, head(m, h, false), "ANOTHER ANALYSIS KIND");
  body_in(f, false);
  base::close_unit(u);
}

}  // namespace ossa::results
