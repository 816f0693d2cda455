#include "model/model.hpp"

#include "model/stop.hpp"

namespace ossa::model {

void MODELRESET(Model& m) {
  m.KK.fill(0);
  m.RR.fill(0.0);
  m.TIMES.fill(0.0);
  for (int i = 1; i <= 20; ++i) m.UNIT(i) = 10 + i;
  for (int i = 1; i <= NUNITFILE; ++i) m.unit(m.UNIT(i)).name = UNIT_FILE[i - 1];
}

void MODELALLOC(Model& m) {
  const int nn = m.NNODE() > 0 ? m.NNODE() : 0;
  const int n = nn + (m.NAUX() > 0 ? m.NAUX() : 0);
  int st[48] = {};
  int k = 0;
  auto a = [&](bool ok) { st[k++] = ok ? 0 : 1; };
  a(m.DOFTAB.allocate(7, nn));
  a(m.IDOF.allocate(7, nn));
  a(m.LINKPTR.allocate(2, 6, nn));
  const int kind = m.KK(kk::DYNAMIC);
  if (kind == 0 || kind == 1) {
    a(m.DUE.allocate(6, nn));
    a(m.X.allocate(3, nn));
    a(m.XOLD.allocate(3, nn));
    for (auto& w : m.NODW) a(w.allocate(3, nn));
    a(m.FRAMEFLG.allocate(nn));
    a(m.FRAME.allocate(3, 3, nn));
    a(m.F.allocate(7, n));
    a(m.REACT.allocate(7, nn));
    a(m.LINKF.allocate(7, nn));
  }
  a(m.CONT.WORK1.allocate(7L * n));
  a(m.CONT.WORK2.allocate(7L * n));
  if (kind == 0) {
    a(m.U.allocate(7, n));
    a(m.UPREV.allocate(7, nn));
    a(m.RIKS.FREF.allocate(7, n));
    for (auto* v : {&m.P, &m.W, &m.DU, &m.LINKV, &m.CONT.UCI, &m.CONT.XCI}) a(v->allocate(7, n));
  } else if (kind == 1) {
    // Eighteen (7, N) vectors: the increment's own five and the levels.
    for (auto* v : {&m.U, &m.P, &m.W, &m.DU, &m.LINKV}) a(v->allocate(7, n));
    for (auto* v : DYNLEVELS(m.DYN)) a(v->allocate(7, n));
    a(m.DYN.MVN.allocate(3, n));
    a(m.DYN.MVO.allocate(3, n));
    a(m.DYN.AMVN.allocate(3, n));
    a(m.DYN.AMVO.allocate(3, n));
    a(m.DYN.DEADND.allocate(nn));
  }
  model::ALLOCCHK(m, st, k, 0, m.UNIT(2));
}

namespace {

template <class A>
long words(const A& a) {
  using T = std::remove_reference_t<decltype(*a.data())>;
  return a.allocated() ? a.size() * static_cast<long>(sizeof(T) / 4 ? sizeof(T) / 4 : 1) : 0;
}

long groupwords(const READDATA& r) {
  return words(r.PROPIP) + words(r.PROPFP) + words(r.TRSN) + words(r.TRSTBL);
}

long groupwords(const DYNDATA& d) {
  long w = words(d.MVN) + words(d.MVO) + words(d.AMVN) + words(d.AMVO) + words(d.DEADND);
  for (const auto* a : DYNLEVELS(d)) w += words(*a);
  return w;
}

long groupwords(const RIKSDATA& r) {
  long w = words(r.FREF);
  for (const auto& a : r.ARCV) w += words(a);
  return w;
}

long groupwords(const CONTDATA& c) {
  return words(c.WORK1) + words(c.WORK2) + words(c.UCI) + words(c.XCI) + words(c.FACEDGE) +
         words(c.EDGEREC) + words(c.EDGEND) + words(c.SLVEND) + words(c.VERTEDGE) +
         words(c.VEDGE) + words(c.VERTELEM) + words(c.VELEM) + words(c.NODEELEM) +
         words(c.NELEMS) + words(c.FSIZE) + words(c.SSIZE) + words(c.SLAVE) + words(c.SLVLEV) +
         words(c.SLVORD) + words(c.LEVEND) + words(c.SLVST) + words(c.SLVOLD) + words(c.SLVDIR) +
         words(c.SLVBARY) + words(c.SLVOFF) + words(c.SLVCOEF) + words(c.SLVFORCE) +
         words(c.SLVDOF) + words(c.DEPREC) + words(c.TERMND) + words(c.TERMTGT) +
         words(c.INDTGT) + words(c.LINKIDX) + words(c.LINKC) + words(c.FRFLAG) + words(c.FRPAR) +
         words(c.FRREF) + words(c.FRPOS) + words(c.FSUM) + words(c.DUC) +
         words(c.ELMARK);
}

}  // namespace

long FREEWORDS(const Model& m) {
  long w = 0;
  w += words(m.NODEID) + words(m.XYZ) + words(m.ELEM) + words(m.SOLREC) + words(m.SHLREC) +
       words(m.GAPREC) + words(m.RUBREC) + words(m.TRSREC) + words(m.T) + words(m.LOADSET) +
       words(m.TBL) + words(m.FRCNOD) + words(m.FRCVAL) + words(m.DFCNOD) + words(m.DFCVAL) +
       words(m.PRSNOD) + words(m.PRSVAL) + words(m.DSPNOD) + words(m.DSPVAL) + words(m.PLKNOD) +
       words(m.PLKFLG) + words(m.VELTBL) + words(m.SPLPAIR) + words(m.BODYEND) +
       words(m.CSFNOD) + words(m.CBPAIR) + words(m.CBVAL);
  for (long i = 1; m.TRSREC.allocated() && i <= m.TRSREC.size(); ++i) w += words(m.TRSREC(i).CURVE);
  w += groupwords(m.RD);
  w += words(m.DOFTAB) + words(m.IDOF) + words(m.LINKPTR) + words(m.DUE) + words(m.X) +
       words(m.XOLD) + words(m.FRAMEFLG) + words(m.FRAME) + words(m.F) + words(m.REACT) +
       words(m.LINKF) + words(m.U) + words(m.UPREV);
  for (const auto& a : m.NODW) w += words(a);
  for (const auto* a : {&m.P, &m.W, &m.DU, &m.LINKV}) w += words(*a);
  w += groupwords(m.DYN) + groupwords(m.RIKS) + groupwords(m.CONT);
  w += words(m.IA) + words(m.JA) + words(m.AV) + words(m.RHS) + words(m.DX);
  w += ORKWORDS(m.ORK);
  w += CGWORDS(m.CG);
  w += GPUWORDS(m.GPU);
  w += PDSWORDS(m.PDS);
  return w;
}

void EQFREE(Model& m) {
  m.IA.deallocate();
  m.JA.deallocate();
  m.AV.deallocate();
  m.RHS.deallocate();
  m.DX.deallocate();
  for (auto& v : m.RIKS.ARCV) v.deallocate();
}

long SOLVERFREEW(const Model& m) {
  return static_cast<long>(m.KK(kk::MEMMB)) * 250000L - FREEWORDS(m);
}

}  // namespace ossa::model
