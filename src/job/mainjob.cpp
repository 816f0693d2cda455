#include <string>

#if defined(__SSE__)
#include <xmmintrin.h>
#endif

#include "base/files.hpp"
#include "deck/deck.hpp"
#include "job/job.hpp"
#include "model/stop.hpp"

namespace ossa::job {

void FPCONTROL() {
#if defined(__SSE__)
  // Flush-to-zero (bit 15) and denormals-are-zero (bit 6).
  _mm_setcsr(_mm_getcsr() | 0x8040u);
#endif
}

namespace {

// Opens a direct-access work file and writes its last record, so that every
// record exists from the start and can be read in any order. A kept file
// (the plastic operators of a restart) is opened as the earlier run left it;
// the restart snapshot then writes its own copy of the operators into it.
void open_work(Model& m, int i, long recl, long last, bool keep = false) {
  base::Unit& u = m.unit(m.UNIT(i));
  if (!base::open_direct(u, model::UNIT_FILE[i - 1], recl, keep))
    model::FILESTOP(m, std::string("CANNOT OPEN ") + model::UNIT_FILE[i - 1]);
  if (!base::dwrite(u, last, nullptr, 0))
    model::FILESTOP(m, std::string("CANNOT WRITE ") + model::UNIT_FILE[i - 1]);
}

}  // namespace

bool JOBOPEN(Model& m) {
  m.clock.now();
  model::MODELRESET(m);
  if (!base::open_text_in(m.unit(m.UNIT(1)), model::UNIT_FILE[0])) {
    std::fprintf(stderr, "ossa: cannot open EXEC.INP in the working directory\n");
    return false;
  }
  if (!base::open_text_out(m.unit(m.UNIT(2)), model::UNIT_FILE[1])) {
    std::fprintf(stderr, "ossa: cannot open EXEC.LOG in the working directory\n");
    return false;
  }
  return true;
}

void JOBRUN(Model& m) {
  deck::DECKIN(m);
  if (m.KK(kk::MATNL) == 1) {
    const bool restart = m.KK(kk::RESTART) == 1;
    open_work(m, 6, 240, 3L * m.NSHELL() + 1, restart);
    open_work(m, 7, 336, static_cast<long>(m.NSOLID()) + 1, restart);
  }
  if (m.NRUBB() > 0) {
    open_work(m, 8, 1080, static_cast<long>(m.NRUBB()) + 1);
    open_work(m, 9, 408, static_cast<long>(m.NRUBB()) + 1);
  }
  if (m.KK(kk::DYNAMIC) == 0) DRVSTAT(m);
  else if (m.KK(kk::DYNAMIC) == 1) DRVDYN(m);

  if (m.KK(kk::MATNL) == 1) {
    // A restart needs the plastic operators; otherwise they go.
    const bool drop = m.KK(kk::RSTOUT) != 1;
    base::close_unit(m.unit(m.UNIT(6)), drop);
    base::close_unit(m.unit(m.UNIT(7)), drop);
  }
  if (m.NRUBB() > 0) {
    base::close_unit(m.unit(m.UNIT(8)), true);
    base::close_unit(m.unit(m.UNIT(9)), true);
  }
  model::ELAPSED(m, m.UNIT(2));
  base::flush_unit(m.unit(m.UNIT(2)));
  model::ENDLINE(1, 1);
  base::close_unit(m.unit(m.UNIT(2)));
  base::close_unit(m.unit(m.UNIT(1)));
}

int MAIN__() {
  FPCONTROL();
  Model m;
  if (!JOBOPEN(m)) return 2;
  JOBRUN(m);
  return 1;
}

}  // namespace ossa::job
