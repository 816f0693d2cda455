// The summary of the input in the log: texts in fields of 33 characters,
// integers in the fewest columns, reals as 1.2345E-03.
#include <string>

#include "base/fmt.hpp"
#include "deck/deck.hpp"
#include "model/stop.hpp"

namespace ossa::deck {

namespace {

std::string text33(std::string s) {
  s.resize(33, ' ');
  return s;
}

struct Echo {
  Model& m;
  void blank() { model::LOGLINE(m, ""); }
  void head(const char* h) {
    blank();
    model::LOGLINE(m, h);
    blank();
  }
  void text(const char* label, const std::string& v) { model::LOGLINE(m, label + text33(v)); }
  void yesno(const char* label, int v) { text(label, v == 1 ? "YES" : "NO"); }
  void intv(const char* label, long v) { model::LOGLINE(m, label + base::fI0(v)); }
  void real(const char* label, double v) { model::LOGLINE(m, label + base::fPE(v, 10, 4)); }
};

std::string solver_name(const Model& m) {
  switch (m.KK(kk::SOLVER)) {
    case 1: return m.KK(kk::DEVICE) < 0 ? "CG" : "CG (GPU)";
    case 2: return "MULTIFRONTAL (ORK)";
    case 3: return "MULTIFRONTAL (PARDISO)";
    default: return "";
  }
}

// On the graphics device every preconditioner becomes a scaling.
std::string precond_name(const Model& m) {
  if (m.KK(kk::DEVICE) >= 0) return "SCALING";
  if (m.KK(kk::CGPREC) == 0) return "DIAGONAL";
  if (m.KK(kk::CGPREC) == 1) return "INCOMPLETE CHOLESKY DECOMPOSITION";
  if (m.KK(kk::CGPREC) == 2) return "ALGEBRAIC MULTIGRID";
  return "";
}

void analysis(Echo& e) {
  const Model& m = e.m;
  e.text("     STATIC OR DYNAMIC     : ", m.KK(kk::DYNAMIC) == 1 ? "DYNAMIC" : "STATIC");
  e.yesno("     GEOMETRICAL NONLINEAR : ", m.KK(kk::GEONL));
  e.yesno("     MATERIAL NONLINEAR    : ", m.KK(kk::MATNL));
}

void solution(Echo& e) {
  const Model& m = e.m;
  e.text("     INITIAL OR RESTART     : ", m.KK(kk::RESTART) == 1 ? "RESTART" : "INITIAL");
  e.intv("     NUMBER OF STEPS        : ", m.KK(kk::NSTEP));
  e.real("     END TIME               : ", m.T(m.NSTEP()));
  e.intv("     ITERATION LIMIT        : ", m.KK(kk::ITERMAX));
  model::LOGLINE(e.m, "     MATERIAL NONLINEAR");
  e.intv("         ITERATION TYPE     : ", m.KK(kk::MITERTYPE));
  e.intv("         ITERATION LIMIT    : ", m.KK(kk::MITERMAX));
  e.intv("         NUMBER OF SUBSTEPS : ", m.KK(kk::NSUBSTEP));
  e.text("     OUTPUT INTERVAL        : ",
         m.KK(kk::OUTSTEP) == 0 ? "LAST STEP ONLY" : base::fI0(m.KK(kk::OUTSTEP)));
  e.yesno("     RESTART FILE OUTPUT    : ", m.KK(kk::RSTOUT));
  e.text("     LINEAR EQUATION SOLVER : ", solver_name(m));
  e.text("     CG PRE-CONDITIONING    : ", precond_name(m));
}

void summary(Echo& e) {
  const Model& m = e.m;
  e.intv("     NUMBER OF GRID POINTS     : ", m.KK(kk::NNODE));
  e.intv("     NUMBER OF SOLID ELEMENTS  : ", m.KK(kk::NSOLID));
  e.intv("     NUMBER OF SHELL ELEMENTS  : ", m.KK(kk::NSHELL));
  e.intv("     NUMBER OF RUBBER ELEMENTS : ", m.KK(kk::NRUBB));
  e.intv("     NUMBER OF TRUSS ELEMENTS  : ", m.KK(kk::NTRUSS));
  e.intv("     NUMBER OF GAP ELEMENTS    : ", m.KK(kk::NGAP));
  e.head("   * CONSTRAINTS & LOADS");
  e.intv("     NUMBER OF CONSTRAINED POINTS                : ", m.KK(kk::NPLNK));
  e.intv("     NUMBER OF POINTS WITH ENFORCED DISPLACEMENT : ", m.KK(kk::NDISP));
  e.intv("     NUMBER OF LOADED POINTS                     : ", m.KK(kk::NFORCE));
  if (m.KK(kk::DYNAMIC) == 1) {
    e.head("   * INITIAL CONDITION");
    e.intv("     NUMBER OF INITIAL VELOCITIES : ", m.KK(kk::NVEL));
  }
}

void contact_and_parameters(Echo& e) {
  const Model& m = e.m;
  e.head("   * CONTACT");
  e.intv("     NUMBER OF BODIES              : ", m.KK(kk::NBODY));
  e.intv("     NUMBER OF CONTACT SURFACES    : ", m.KK(kk::NCSURF));
  e.intv("     NUMBER OF INITIAL CONSTRAINTS : ", m.KK(kk::NSPLNK));
  e.intv("     ITERATION LIMIT               : ", m.KK(kk::CONTITER));
  e.head("   * SOLUTION PARAMETERS");
  e.real("     ERROR TOLERANCE FOR LOAD               : ", m.RR(rr::TOLLOAD));
  e.real("     ERROR TOLERANCE FOR CG-METHOD          : ", m.RR(rr::TOLCG));
  e.real("     DRUCKER-PRAGER ALPHA                   : ", m.RR(rr::DPALPHA));
  e.real("     MINIMUM YOUNG'S MODULUS                : ", m.RR(rr::EMIN));
}

}  // namespace

void DECKECHO(Model& m) {
  Echo e{m};
  e.head(" ***** INPUT DATA *****");
  model::LOGLINE(m, "   * ANALYSIS TYPE");
  e.blank();
  analysis(e);
  e.head("   * SOLUTION CONTROL");
  solution(e);
  e.head("   * MODEL SUMMARY");
  summary(e);
  contact_and_parameters(e);
}

}  // namespace ossa::deck
