#include "solution/reschk.hpp"

#include <cmath>
#include <string>

#include "base/fmt.hpp"
#include "contact/contact.hpp"
#include "model/stop.hpp"

namespace ossa::solution {

using base::fI;
using base::fI0;
using base::fPE;
using base::fX;

namespace {

// F and P of one node, with the rotational entries turned into the node's
// frame where it has one.
void node_forces(const Model& m, int nd, double f[7], double p[7]) {
  for (int k = 1; k <= 7; ++k) {
    f[k - 1] = m.F(k, nd);
    p[k - 1] = m.P(k, nd);
  }
  if (m.KK(kk::GEONL) != 1 || !m.FRAMEFLG.allocated() || m.FRAMEFLG(nd) == 0) return;
  for (double* v : {f, p}) {
    double r[3] = {};
    for (int i = 1; i <= 3; ++i)
      for (int j = 1; j <= 3; ++j) r[i - 1] += m.FRAME(i, j, nd) * v[2 + j];
    for (int i = 0; i < 3; ++i) v[3 + i] = r[i];
  }
}

// Right-hand side over the equations and reactions at the constrained
// degrees of freedom.
void residual(Model& m) {
  const int nn = m.NNODE();
  m.LINKF.fill(0.0);
  for (int nd = 1; nd <= nn; ++nd)
    for (int k = 1; k <= 6; ++k)
      if (m.IDOF(k, nd) == -2) {
        m.LINKF(k, nd) = m.P(k, nd) - m.F(k, nd);
        contact::LINKSPREAD(m, m.LINKF, k, nd, m.LINKF(k, nd));
      }
  for (int nd = 1; nd <= nn; ++nd) {
    double f[7], p[7];
    node_forces(m, nd, f, p);
    for (int k = 1; k <= 7; ++k) {
      const int e = m.IDOF(k, nd);
      if (e > 0) m.RHS(e, 1) = f[k - 1] - p[k - 1] + m.LINKF(k, nd);
    }
  }
  REACTIONS(m);
  m.W.fill(0.0);
  for (int nd = nn + 1; nd <= nn + m.NAUX(); ++nd)
    for (int k = 1; k <= 3; ++k) m.W(k, nd) = m.F(k, nd) - m.P(k, nd);
}

}  // namespace

void REACTIONS(Model& m) {
  m.REACT.fill(0.0);
  for (int nd = 1; nd <= m.NNODE(); ++nd) {
    double f[7], p[7];
    node_forces(m, nd, f, p);
    for (int k = 1; k <= 7; ++k) {
      const int e = m.IDOF(k, nd);
      if (e == 0 || e == -1) m.REACT(k, nd) = p[k - 1] - f[k - 1] - m.LINKF(k, nd);
    }
  }
}

namespace {

// A strictly greater magnitude takes over, with its sign and place.
void take_max(double v, int nd, int k, double& best, int& bnode, int& bdir) {
  if (std::fabs(v) > std::fabs(best)) { best = v; bnode = nd; bdir = k; }
}

void norms(const Model& m, const double FNRM[3], ResRow& r) {
  const int nn = m.NNODE();
  double rhv = 0.0;
  for (int nd = 1; nd <= nn; ++nd)
    for (int k = 1; k <= 3; ++k) {
      rhv += m.REACT(k, nd) * m.REACT(k, nd);
      const double react = m.REACT(k, nd);
      if (std::fabs(react) > std::fabs(r.MAXRFC)) take_max(react, m.NODEID(nd), k, r.MAXRFC, r.RFCNODE, r.RFCDIR);
      else take_max(m.LINKF(k, nd), m.NODEID(nd), k, r.MAXRFC, r.RFCNODE, r.RFCDIR);
    }
  r.RHVNRM = m.KK(kk::NDISP) != 0 ? std::sqrt(rhv) : FNRM[0];
  double sum = 0.0;
  for (int nd = 1; nd <= nn; ++nd)
    for (int k = 1; k <= 3; ++k) {
      const int e = m.IDOF(k, nd);
      if (e <= 0) continue;
      sum += m.RHS(e, 1) * m.RHS(e, 1);
      take_max(m.RHS(e, 1), m.NODEID(nd), k, r.MAXRES, r.RESNODE, r.RESDIR);
    }
  for (int nd = nn + 1; nd <= nn + m.NAUX(); ++nd)
    for (int k = 1; k <= 3; ++k) {
      sum += m.W(k, nd) * m.W(k, nd);
      take_max(m.W(k, nd), m.NODEID(nd), k, r.MAXRES, r.RESNODE, r.RESDIR);
    }
  r.RESNRM = sum > 0.0 ? std::sqrt(sum) : 0.0;
  // A reference below 1.0 makes the test absolute.
  r.RELN = r.RHVNRM < 1.0 ? r.RESNRM : r.RESNRM / r.RHVNRM;
  r.RELM = std::fabs(r.MAXRFC) < 1.0 ? std::fabs(r.MAXRES) : std::fabs(r.MAXRES) / std::fabs(r.MAXRFC);
}

void log_rows(Model& m, int ITC, int FIRST, int STEP, int ISUB, double TIME, double TSOLVE,
              const ResRow& r) {
  if (FIRST == 1) {
    model::LOGLINE(m, "");
    model::LOGLINE(m, " ***** STEP NO. = " + fI0(STEP) + "   SUBSTEP NO. = " + fI0(ISUB) +
                        "   TIME = " + fPE(TIME, 10, 4) + " *****");
  }
  // Every CG, on the processor or the device, adds the iterations of the
  // solve that ended the row.
  const bool cg = m.KK(kk::SOLVER) == 1;
  if (ITC == 1) {
    model::LOGLINE(m, "");
    model::LOGLINE(m, "   * RESIDUAL FORCE");
    model::LOGLINE(m, "");
    model::LOGLINE(m,
                 "     ITER    MAX RES    NODE DIR    MAX RFC    NODE DIR  REL RES(M)"
                 "   RES NORM    RHV NORM   REL RES(N)     TIME" +
                     std::string(cg ? "   CG ITER" : ""));
  }
  if (ITC < 1) return;
  model::LOGLINE(m, fX(6) + fI(ITC, 3) + fPE(r.MAXRES, 12, 4) + fI(r.RESNODE, 7) + fX(3) +
                      fI(r.RESDIR, 1) + fPE(r.MAXRFC, 12, 4) + fI(r.RFCNODE, 7) + fX(3) +
                      fI(r.RFCDIR, 1) + fPE(r.RELM, 12, 4) + fPE(r.RESNRM, 12, 4) +
                      fPE(r.RHVNRM, 12, 4) + fPE(r.RELN, 12, 4) + fPE(TSOLVE, 12, 4) +
                      (cg ? fI(m.CG.NITS, 10) : std::string()));
  model::LOGFLUSH(m);  // ossa-run tails the rows while the job goes on
}

}  // namespace

int RESCHK(Model& m, int ITC, int FIRST, int STEP, int ISUB, double TIME, const double FNRM[3],
           double TSOLVE, ResRow* row) {
  residual(m);
  ResRow r;
  norms(m, FNRM, r);
  log_rows(m, ITC, FIRST, STEP, ISUB, TIME, TSOLVE, r);
  if (row) *row = r;
  return (ITC > 0 && (m.RR(rr::TOLLOAD) > r.RELN || m.RR(rr::TOLLOAD) > r.RELM)) ? 1 : 0;
}

}  // namespace ossa::solution
