// Times the two passes of the deck reader on a generated deck of 1 000 000
// tetrahedra and 200 000 nodes (about 200 MB).
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "clock.hpp"
#include "deck/deck.hpp"
#include "model/model.hpp"

using namespace ossa;
using bench::now;

namespace {

void write_deck(const char* name, int nnode, int nsolid) {
  std::FILE* f = std::fopen(name, "w");
  if (!f) std::exit(1);
  std::fprintf(f, "CNTND     %10d\n", nnode);
  std::fprintf(f, "CNTEL%10d%10d%10d%10d%10d\n", nsolid, 0, 0, 0, 0);
  std::fprintf(f, "CNTRL0000 %3d  %10.4f%10.4f%20s%8d%10.3E%7s%1d%9.1f\n", 10, 0.001, 0.001, "", 0,
               1.0e-6, "", 1, 4000.0);
  std::fprintf(f, "KUKAN%15.4f%10d\n", 1.0, 1);
  for (int i = 1; i <= nnode; ++i)
    std::fprintf(f, "NODE %10d%15.6f%15.6f%15.6f\n", i, (i % 59) * 1.0, ((i / 59) % 59) * 1.0,
                 (i / 3481) * 1.0);
  for (int e = 1; e <= nsolid; ++e) {
    const int a = 1 + (e * 7) % (nnode - 100);
    std::fprintf(f, "SOLID%10d%10d%10d%10d%10d\n", e, a, a + 1, a + 59, a + 3481 > nnode ? a + 2 : a + 3481);
  }
  for (int e = 1; e <= nsolid; ++e)
    std::fprintf(f, "PROPT%1d%1d%1d%1d%1d%10d%10.3f%10.1f%10.3e%10.2f%10.2f%10.4f%10.4f%10.4f%10.1f\n", 0,
                 0, 1, 0, 2, e, 0.3, 5000.0 + (e % 1000), 1.8e-5, 80.0, 100.0, 0.05, 0.0, 0.0,
                 8000.0);
  std::fprintf(f, "NGLD     0\nEND\n");
  std::fclose(f);
}

}  // namespace

int main(int argc, char** argv) {
  const int nnode = argc > 1 ? std::atoi(argv[1]) : 200000;
  const int nsolid = argc > 2 ? std::atoi(argv[2]) : 1000000;
  char tmpl[] = "/tmp/ossa-bench-deck.XXXXXX";
  if (!mkdtemp(tmpl) || chdir(tmpl) != 0) return 1;
  double t = now();
  write_deck("EXEC.INP", nnode, nsolid);
  std::printf("deck: %d nodes, %d tetrahedra, written in %.2f s\n", nnode, nsolid, now() - t);

  static model::Model m;
  model::MODELRESET(m);
  if (!base::open_text_in(m.unit(m.UNIT(1)), "EXEC.INP") ||
      !base::open_text_out(m.unit(m.UNIT(2)), "EXEC.LOG"))
    return 1;
  deck::DeckCounts n;
  t = now();
  deck::DECKCNT(m, m.unit(m.UNIT(1)), n);
  const double tcount = now() - t;
  t = now();
  deck::DECKIN(m);  // counts again, then stores, translates and echoes
  const double tin = now() - t;
  const double tstore = tin - tcount;
  std::printf("counting pass              %8.3f s\n", tcount);
  std::printf("storing pass and the rest  %8.3f s\n", tstore);
  std::printf("both passes                %8.3f s   (target 3 s)\n", tcount + tstore);
  std::printf("file size                  %8.1f MB\n",
              static_cast<double>(m.unit(m.UNIT(1)).fp ? std::ftell(m.unit(m.UNIT(1)).fp) : 0) / 1e6);
  base::close_unit(m.unit(m.UNIT(1)), true);
  base::close_unit(m.unit(m.UNIT(2)), true);
  if (chdir("/tmp") == 0) rmdir(tmpl);
  return 0;
}
