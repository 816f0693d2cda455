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
  switch (m.KK(21)) {
    case 1: return m.KK(28) < 0 ? "CG" : "CG (GPU)";
    case 2: return "MULTIFRONTAL (ORK)";
    case 3: return "MULTIFRONTAL (PARDISO)";
    default: return "";
  }
}

// On the graphics device every preconditioner becomes a scaling.
std::string precond_name(const Model& m) {
  if (m.KK(28) >= 0) return "SCALING";
  if (m.KK(31) == 0) return "DIAGONAL";
  if (m.KK(31) == 1) return "INCOMPLETE CHOLESKY DECOMPOSITION";
  return "";
}

void analysis(Echo& e) {
  const Model& m = e.m;
  e.text("     STATIC OR DYNAMIC     : ", m.KK(3) == 1 ? "DYNAMIC" : "STATIC");
  e.yesno("     GEOMETRICAL NONLINEAR : ", m.KK(1));
  e.yesno("     MATERIAL NONLINEAR    : ", m.KK(2));
}

void solution(Echo& e) {
  const Model& m = e.m;
  e.text("     INITIAL OR RESTART     : ", m.KK(19) == 1 ? "RESTART" : "INITIAL");
  e.intv("     NUMBER OF STEPS        : ", m.KK(4));
  e.real("     END TIME               : ", m.T(m.NSTEP()));
  e.intv("     ITERATION LIMIT        : ", m.KK(6));
  model::LOGLINE(e.m, "     MATERIAL NONLINEAR");
  e.intv("         ITERATION TYPE     : ", m.KK(34));
  e.intv("         ITERATION LIMIT    : ", m.KK(35));
  e.intv("         NUMBER OF SUBSTEPS : ", m.KK(5));
  e.text("     OUTPUT INTERVAL        : ", m.KK(8) == 0 ? "LAST STEP ONLY" : base::fI0(m.KK(8)));
  e.yesno("     RESTART FILE OUTPUT    : ", m.KK(20));
  e.text("     LINEAR EQUATION SOLVER : ", solver_name(m));
  e.text("     CG PRE-CONDITIONING    : ", precond_name(m));
}

void summary(Echo& e) {
  const Model& m = e.m;
  e.intv("     NUMBER OF GRID POINTS     : ", m.KK(11));
  e.intv("     NUMBER OF SOLID ELEMENTS  : ", m.KK(14));
  e.intv("     NUMBER OF SHELL ELEMENTS  : ", m.KK(13));
  e.intv("     NUMBER OF RUBBER ELEMENTS : ", m.KK(16));
  e.intv("     NUMBER OF TRUSS ELEMENTS  : ", m.KK(17));
  e.intv("     NUMBER OF GAP ELEMENTS    : ", m.KK(15));
  e.head("   * CONSTRAINTS & LOADS");
  e.intv("     NUMBER OF CONSTRAINED POINTS                : ", m.KK(41));
  e.intv("     NUMBER OF POINTS WITH ENFORCED DISPLACEMENT : ", m.KK(42));
  e.intv("     NUMBER OF LOADED POINTS                     : ", m.KK(43));
  if (m.KK(3) == 1) {
    e.head("   * INITIAL CONDITION");
    e.intv("     NUMBER OF INITIAL VELOCITIES : ", m.KK(46));
  }
}

void contact_and_parameters(Echo& e) {
  const Model& m = e.m;
  e.head("   * CONTACT");
  e.intv("     NUMBER OF BODIES              : ", m.KK(81));
  e.intv("     NUMBER OF CONTACT SURFACES    : ", m.KK(82));
  e.intv("     NUMBER OF INITIAL CONSTRAINTS : ", m.KK(45));
  e.intv("     ITERATION LIMIT               : ", m.KK(9));
  e.head("   * SOLUTION PARAMETERS");
  e.real("     ERROR TOLERANCE FOR LOAD               : ", m.RR(1));
  e.real("     ERROR TOLERANCE FOR CG-METHOD          : ", m.RR(3));
  e.real("     DRUCKER-PRAGER ALPHA                   : ", m.RR(5));
  e.real("     MINIMUM YOUNG'S MODULUS                : ", m.RR(6));
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
