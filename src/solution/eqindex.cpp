// DOFINIT and EQINDEX: the constraint table, equation numbers and the
// compressed rows of the global matrix.
//
// The pattern is gathered in chained blocks of W = KK(25) columns: block i
// heads the chain of row i, spare blocks follow the first NEQ. Columns stay
// ascending within a chain, and every block but the last of a chain is full,
// so the memory need is known from the row lengths alone and nothing is
// sorted afterwards.
#include <algorithm>
#include <vector>

#include "contact/contact.hpp"
#include "elements/family.hpp"
#include "model/stop.hpp"
#include "solution/index.hpp"
#include "solvers/solver.hpp"

namespace ossa::solution {

using model::ELEMREC;
using model::FREEWORDS;
using model::T_INDEX;

int EDOFLIST(int TYPE, int NEN, const std::int32_t* NOD, EDOFPAIR* LIST) {
  const elements::FAMILY& f = elements::FAMILYOF(TYPE);
  const int nen = std::clamp(NEN, 0, 5);
  int n = 0;
  for (int a = 0; a < nen; ++a)
    for (int k = 1; k <= f.NPOS; ++k) LIST[n++] = {NOD[a], k};
  for (int a = 0; a < std::min(nen, f.NPOS7); ++a) LIST[n++] = {NOD[a], 7};
  return n;
}

int EDOFEXPAND(const Model& m, std::vector<EDOFPAIR>& LIST, int n) {
  LIST.resize(static_cast<std::size_t>(n));
  const model::CONTDATA& c = m.CONT;
  for (int k = 0; k < n; ++k) {
    const EDOFPAIR d = LIST[static_cast<std::size_t>(k)];
    if (d.pos > 3 || d.node < 1 || d.node > m.NNODE() || m.IDOF(d.pos, d.node) != -2) continue;
    const int first = m.LINKPTR(1, d.pos, d.node);
    for (int p = first; p < first + m.LINKPTR(2, d.pos, d.node); ++p) {
      const EDOFPAIR t{c.INDTGT(1, c.LINKIDX(p)), c.INDTGT(2, c.LINKIDX(p))};
      if (std::none_of(LIST.begin(), LIST.end(), [&](const EDOFPAIR& q) { return q.node == t.node && q.pos == t.pos; }))
        LIST.push_back(t);
    }
  }
  return static_cast<int>(LIST.size());
}

void DOFINIT(Model& m) {
  const int nn = m.NNODE();
  m.DOFTAB.fill(0);
  for (int i = 1; i <= m.KK(kk::NPLNK); ++i) {
    const int node = m.PLKNOD(i);
    if (node < 1 || node > nn) continue;
    for (int k = 1; k <= 6; ++k) {
      const int f = m.PLKFLG(k, i);
      if (f == 1) m.DOFTAB(k, node) = 1;
      else if (f == 2) m.DOFTAB(k, node) = -1;
    }
  }
  // A node frame holds the rotation about its director, unless the deck
  // already constrains a rotation there.
  if (m.KK(kk::GEONL) == 1 && m.FRAMEFLG.allocated()) {
    for (int node = 1; node <= nn; ++node) {
      if (m.FRAMEFLG(node) == 0) continue;
      if (m.DOFTAB(4, node) == 0 && m.DOFTAB(5, node) == 0 && m.DOFTAB(6, node) == 0)
        m.DOFTAB(6, node) = 1;
      else
        m.FRAMEFLG(node) = 0;
    }
  }
  // The Riks reference load: every "FORCE" entry, whatever its group.
  if (m.KK(kk::RIKS) != 0 && m.RIKS.FREF.allocated()) {
    m.RIKS.FREF.fill(0.0);
    for (int i = 1; i <= m.KK(kk::NFORCE); ++i) {
      const int node = m.FRCNOD(i);
      if (node < 1 || node > nn) continue;
      for (int k = 1; k <= 6; ++k) m.RIKS.FREF(k, node) += m.FRCVAL(k, i);
    }
  }
}

namespace {

constexpr int DEFAULT_W = 45;

// The pattern working set.
struct Blocks {
  int W = DEFAULT_W;
  long nblk = 0, next_spare = 0;  // spare blocks are next_spare..nblk
  base::Arr1<std::int32_t> col;   // W * nblk, block b at (b - 1) * W
  base::Arr1<std::int32_t> cnt, link;
};

// Takes a spare block, or stops when none is left.
long take_spare(Model& m, Blocks& bk) {
  if (bk.next_spare > bk.nblk)
    model::FAIL(m, "MORE MEMORY IS NECESSARY FOR NEXT PROCESS OF MATRIX SOLVER.", -5, 0);
  return bk.next_spare++;
}

// Inserts b at offset p of block blk; a full block moves its last entry on
// along the chain, and the chain's end links in a spare block.
void insert_at(Model& m, Blocks& bk, long blk, int p, std::int32_t b) {
  const int W = bk.W;
  for (;;) {
    std::int32_t* c = bk.col.data() + (blk - 1) * W;
    int& n = bk.cnt(blk);
    if (n < W) {
      for (int k = n; k > p; --k) c[k] = c[k - 1];
      c[p] = b;
      ++n;
      return;
    }
    std::int32_t carry = b;
    if (p < W) {
      carry = c[W - 1];
      for (int k = W - 1; k > p; --k) c[k] = c[k - 1];
      c[p] = b;
    }
    if (bk.link(blk) == 0) bk.link(blk) = static_cast<std::int32_t>(take_spare(m, bk));
    blk = bk.link(blk);
    b = carry;
    p = 0;
  }
}

// Merges the ascending columns run[0..r) into the chain of row a, walking it
// once: each column's place lies at or after the place of the one before.
void insert_run(Model& m, Blocks& bk, int a, const std::int32_t* run, int r) {
  const int W = bk.W;
  long blk = a;
  int p = 0;
  for (int i = 0; i < r; ++i) {
    const std::int32_t b = run[i];
    for (;;) {
      const int n = bk.cnt(blk);
      const std::int32_t* c = bk.col.data() + (blk - 1) * W;
      if (n > 0 && c[n - 1] < b && bk.link(blk) != 0) {
        blk = bk.link(blk);
        p = 0;
        continue;
      }
      while (p < n && c[p] < b) ++p;
      if (p < n && c[p] == b) break;
      insert_at(m, bk, blk, p, b);
      break;
    }
  }
}

// The element's list, with the targets of its links in a contact job.
int element_list(const Model& m, const ELEMREC& e, std::vector<EDOFPAIR>& list) {
  list.resize(MAXLIST);
  const int n = EDOFLIST(e.TYPE, e.NEN, e.NOD.data(), list.data());
  return m.KK(kk::CONTACT) == 1 ? EDOFEXPAND(m, list, n) : n;
}

// The element's equation numbers above 0, ascending, without repeats.
int element_eqs(const Model& m, const ELEMREC& e, std::vector<EDOFPAIR>& list, std::int32_t* s) {
  const int n = element_list(m, e, list);
  int r = 0;
  for (int k = 0; k < n; ++k) {
    const int node = list[k].node;
    if (node < 1 || node > m.NNODE()) continue;
    const std::int32_t q = m.IDOF(list[k].pos, node);
    if (q <= 0) continue;
    int j = r++;
    while (j > 0 && s[j - 1] > q) { s[j] = s[j - 1]; --j; }
    s[j] = q;
  }
  return static_cast<int>(std::unique(s, s + r) - s);
}

void build_rows(Model& m, Blocks& bk) {
  const int solver = m.KK(kk::SOLVER);
  if (solver < 1 || solver > 3) return;  // no solver, no off-diagonal entries
  std::vector<std::int32_t> buf(static_cast<std::size_t>(std::max(m.KK(kk::MAXEDOF), MAXLIST)));
  std::int32_t* s = buf.data();
  std::vector<EDOFPAIR> list;
  for (int ie = 1; ie <= m.NELEM(); ++ie) {
    const int r = element_eqs(m, m.ELEM(ie), list, s);
    for (int i = 0; i < r; ++i) {
      if (solver == 1) insert_run(m, bk, s[i], s, i);
      else insert_run(m, bk, s[i], s + i + 1, r - i - 1);
    }
  }
}

// In a contact job an element's list grows by the targets of its links.
int max_edof(const Model& m) {
  int mx = 0;
  std::vector<EDOFPAIR> list;
  for (int ie = 1; ie <= m.NELEM(); ++ie) {
    const ELEMREC& e = m.ELEM(ie);
    const int own = e.NDF * e.NEN;
    int grown = 0;
    if (m.KK(kk::CONTACT) == 1) {
      EDOFPAIR base[MAXLIST];
      grown = element_list(m, e, list) - EDOFLIST(e.TYPE, e.NEN, e.NOD.data(), base);
    }
    mx = std::max(mx, own + grown);
  }
  return mx;
}

// Positions 4 to 6 exist only at nodes of a family with six (shells),
// position 7 only at nodes of a family that carries it (rubber);
// then every free position takes the next equation number.
int number(Model& m) {
  const int nn = m.NNODE();
  std::vector<char> use1(static_cast<std::size_t>(nn) + 1, 0), use2(use1);
  for (int ie = 1; ie <= m.NELEM(); ++ie) {
    const ELEMREC& e = m.ELEM(ie);
    const elements::FAMILY& f = elements::FAMILYOF(e.TYPE);
    if (f.NPOS < 4 && f.NPOS7 == 0) continue;
    auto& use = f.NPOS >= 4 ? use1 : use2;
    for (int a = 1; a <= std::clamp(e.NEN, 0, 5); ++a)
      if (e.NOD(a) >= 1 && e.NOD(a) <= nn) use[e.NOD(a)] = 1;
  }
  for (int node = 1; node <= nn; ++node) {
    if (!use1[node]) m.IDOF(4, node) = m.IDOF(5, node) = m.IDOF(6, node) = 1;
    if (!use2[node]) m.IDOF(7, node) = 1;
  }
  int neq = 0;
  for (int node = 1; node <= nn; ++node)
    for (int k = 1; k <= 7; ++k) {
      std::int32_t& c = m.IDOF(k, node);
      if (c == 0) c = ++neq;
      else if (c == 1) c = 0;
    }
  return neq;
}

void flatten(Model& m, const Blocks& bk, int neq, long nz) {
  long pos = 1;
  for (int i = 1; i <= neq; ++i) {
    m.IA(i) = static_cast<std::int32_t>(pos);
    m.JA(pos++) = i;
    for (long blk = i; blk != 0; blk = bk.link(blk)) {
      const std::int32_t* c = bk.col.data() + (blk - 1) * bk.W;
      for (int k = 0; k < bk.cnt(blk); ++k) m.JA(pos++) = c[k];
    }
  }
  m.IA(neq + 1) = static_cast<std::int32_t>(nz + 1);
}

}  // namespace

void EQINDEX(Model& m, int NO2) {
  const double t0 = m.clock.now();
  const long total = static_cast<long>(m.KK(kk::MEMMB)) * 250000L;
  // A contact job comes here again after each change of states: the solver's
  // share goes with the rest of what hangs on the old pattern, so that the
  // budget sees only what the new one will hold.
  if (m.KK(kk::CONTACT) == 1) solvers::SOLVERFREE(m);
  else model::EQFREE(m);

  // ---- equation numbers
  for (int node = 1; node <= m.NNODE(); ++node)
    for (int k = 1; k <= 7; ++k) m.IDOF(k, node) = m.DOFTAB(k, node);
  if (m.KK(kk::CONTACT) == 1 && m.CONT.SLAVE.allocated()) contact::CONTIDX(m);
  const int maxedof = max_edof(m);
  m.KK(kk::MAXEDOF) = maxedof;
  m.KK(kk::MAXPACK) = maxedof * (maxedof + 1) / 2;
  const int neq = number(m);
  m.KK(kk::NEQ) = neq;

  int st[6] = {};
  st[0] = m.RHS.allocate(neq, 2) ? 0 : 1;
  st[1] = m.DX.allocate(neq, 2) ? 0 : 1;
  if (m.KK(kk::RIKS) != 0)
    for (int k = 0; k < 3; ++k) st[2 + k] = m.RIKS.ARCV[k].allocate(neq) ? 0 : 1;
  model::ALLOCCHK(m, st, 5, 0, m.UNIT(2));

  // ---- budget of the pattern builder, in single precision as it always was
  Blocks bk;
  bk.W = m.KK(kk::BLOCKW) > 0 ? m.KK(kk::BLOCKW) : DEFAULT_W;
  const long need = static_cast<long>(2.5f * static_cast<float>(bk.W + 5) * static_cast<float>(neq));
  model::BUDGETCHK(m, need, total - FREEWORDS(m), NO2);
  bk.nblk = static_cast<long>(0.8f * static_cast<float>(need) / static_cast<float>(bk.W + 5));
  bk.nblk = std::max<long>(bk.nblk, neq);
  bk.next_spare = neq + 1;
  int ws[3];
  ws[0] = bk.col.allocate_raw(bk.W * bk.nblk) ? 0 : 1;
  ws[1] = bk.cnt.allocate(bk.nblk) ? 0 : 1;
  ws[2] = bk.link.allocate(bk.nblk) ? 0 : 1;
  model::ALLOCCHK(m, ws, 3, 0, m.UNIT(2));

  // ---- rows
  build_rows(m, bk);
  long nz = neq;
  for (long b = 1; b <= bk.nblk; ++b) nz += bk.cnt(b);
  m.KK(kk::NZ) = static_cast<std::int32_t>(nz);
  int sa[3];
  sa[0] = m.IA.allocate(neq + 1) ? 0 : 1;
  sa[1] = m.JA.allocate(nz) ? 0 : 1;
  sa[2] = m.AV.allocate(nz) ? 0 : 1;
  model::ALLOCCHK(m, sa, 3, 0, m.UNIT(2));
  flatten(m, bk, neq, nz);
  bk = Blocks{};  // the working set goes before the solver takes its share
  m.TIMES(T_INDEX) += m.clock.now() - t0;
}

}  // namespace ossa::solution
