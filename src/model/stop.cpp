#include "model/stop.hpp"

#include <cstdio>
#include <cstdlib>

#include "base/fmt.hpp"

namespace ossa::model {

using base::fF;
using base::fI;

namespace {

base::Unit& logunit(Model& m, int no) { return m.unit(no); }

}  // namespace

void LOGLINE(Model& m, std::string_view line) { base::put(logunit(m, m.UNIT(2)), line); }

void LOGFLUSH(Model& m) { base::flush_unit(logunit(m, m.UNIT(2))); }

void LOGMSG(Model& m, std::string_view text) {
  LOGLINE(m, "");
  std::string line(1, ' ');
  line += text;
  LOGLINE(m, line);
}

void ERRSTOP(Model& m, int NO1, int NO2, int LOGUNIT) {
  base::Unit& u = logunit(m, LOGUNIT);
  base::put(u, " *** ERROR NO. ***");
  base::put(u, std::string(" ") + fI(NO1, 3) + fI(NO2, 3));
  ELAPSED(m, LOGUNIT);
  base::flush_unit(u);
  ENDLINE(NO1, NO2);
  std::exit(0);
}

void FAIL(Model& m, std::string_view text, int NO1, int NO2) {
  LOGMSG(m, text);
  ERRSTOP(m, NO1, NO2, m.UNIT(2));
}

void ELAPSED(Model& m, int LOGUNIT) {
  static const char* const LABEL[10] = {
      "   INPUT               :", "   INDEX               :", "   STIFFNESS ASSEMBLY  :",
      "   MATRIX SOLUTION     :", "   STRESS RECOVERY     :", "   CONTACT PRE-PROCESS :",
      "   CONTACT             :", "   OUTPUT              :", "   MISCELLANEOUS       :",
      "   TOTAL               :"};
  const double total = m.clock.now();
  m.TIMES(10) = total;
  double rest = total;
  for (int i = 1; i <= 8; ++i) rest -= m.TIMES(i);
  m.TIMES(9) = rest < 0.0 ? 0.0 : rest;
  auto row = [&](int i) {
    // A run shorter than the clock's resolution has no percentages; show 0.0.
    const double pct = total > 0.0 ? 100.0 * m.TIMES(i) / total : 0.0;
    return std::string(LABEL[i - 1]) + fF(m.TIMES(i), 9, 1) + "  " + fF(pct, 5, 1);
  };
  base::Unit& u = logunit(m, LOGUNIT);
  base::put(u, "");
  base::put(u, " ***** ELAPSED TIME *****");
  base::put(u, "                            (SEC)    (%)");
  for (int i = 1; i <= 9; ++i) base::put(u, row(i));
  base::put(u, "   -------------------------------------");
  base::put(u, row(10));
  base::flush_unit(u);
}

void ALLOCCHK(Model& m, const int* STATUS, int N, int NO2, int LOGUNIT) {
  for (int i = 0; i < N; ++i) {
    if (STATUS[i] != 0) {
      base::Unit& u = logunit(m, LOGUNIT);
      base::put(u, "");
      base::put(u, " MEMORY ALLOCATION ERROR");
      ERRSTOP(m, -5, NO2, LOGUNIT);
    }
  }
}

void BUDGETCHK(Model& m, long NEED, long FREE, int NO2) {
  if (NEED > FREE) MEMSHORT(m, static_cast<double>(NEED - FREE) * 4.0e-6, NO2);
}

void MEMSHORT(Model& m, double MB, int NO2) {
  FAIL(m, fF(MB, 8, 2) + "(MB) MORE MEMORY IS NECESSARY FOR NEXT PROCESS OF MATRIX SOLVER.", -5,
       NO2);
}

int PROGRESS(double time, double tend) {
  // The end time counts as reached within the step loop's own slack.
  int pct = 100;
  if (tend > 0.0 && time <= tend - 1.0e-8) pct = static_cast<int>(100.0 * time / tend);
  std::printf("##$$ExSv proc %d\n", pct);
  std::fflush(stdout);
  return pct;
}

void ENDLINE(int no1, int no2) {
  std::printf("##$$ExSv end %d %d\n", no1, no2);
  std::fflush(stdout);
}

void FILESTOP(Model& m, const std::string& message) {
  base::Unit& u = logunit(m, m.UNIT(2));
  if (base::is_open(u)) {
    base::put(u, "");
    base::put(u, " " + message);
    base::flush_unit(u);
  }
  std::fflush(stdout);
  std::fprintf(stderr, "ossa: %s\n", message.c_str());
  std::exit(2);
}

}  // namespace ossa::model
