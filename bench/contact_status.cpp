// Times the contact status pass (CONTACT) on a bone-implant sized pair: a
// peg of 99 x 99 x 2 cells (10 000 slaves on its bottom) on a block of
// 110 x 110 x 1 cells, about 190 000 tetrahedra. The first pass finds every
// slave crossing the block's top (the search); later passes check slaves
// sliding on faces. Each on 1 and 2 threads, wall time, best of three; the
// states must be the same. Arguments: the peg's cells a side, the block's.
#include <omp.h>

#include <cstdio>

#include "../tests/contact/bodies.hpp"
#include "base/files.hpp"
#include "cube.hpp"
#include "solution/index.hpp"

using namespace ossa;
namespace tg = ossa::testing;

namespace {

// Best wall time of three CONTACT passes at ITER3 = 2, from the same states.
double pass(model::Model& m, int threads, std::vector<std::int32_t>& states) {
  m.NTHREAD = threads;
  const int ns = m.KK(kk::NSLV);
  std::vector<std::int32_t> st0(m.CONT.SLVST.data(), m.CONT.SLVST.data() + 2 * ns);
  double best = 1e30;
  for (int r = 0; r < 3; ++r) {
    std::copy(st0.begin(), st0.end(), m.CONT.SLVST.data());
    bench::Stopwatch sw;
    contact::CONTACT(m, 2);
    best = std::min(best, sw.wall());
  }
  states.assign(m.CONT.SLVST.data(), m.CONT.SLVST.data() + 2 * ns);
  std::copy(st0.begin(), st0.end(), m.CONT.SLVST.data());
  return best;
}

}  // namespace

int main(int argc, char** argv) {
  const int np = argc > 1 ? std::atoi(argv[1]) : 99, nb = argc > 2 ? std::atoi(argv[2]) : 110;
  tg::Mesh g;
  const auto peg = tg::box(g, np, np, 2, {5.3, 5.4, 0.05}, {1, 1, 1});
  const auto block = tg::box(g, nb, nb, 1, {0, 0, -1}, {1, 1, 1});
  const std::vector<std::vector<tg::Tri>> bodies = {
      tg::surface(g, peg, [](const tg::P3& c) { return c[2] < 0.05 + 1e-9; }),
      tg::surface(g, block, [](const tg::P3& c) { return c[2] > -1e-9; })};
  model::Model m;
  tg::contact_model(m, g, bodies, {{1, 2}});
  if (!base::open_text_out(m.unit(m.UNIT(2)), "/dev/null")) return 1;
  m.KK(kk::CONTITER) = 5;
  const int nslv = m.CONT.SLVEND(1);
  for (int s = 1; s <= nslv; ++s) m.X(3, m.CONT.SLAVE(s)) -= 0.1;
  std::vector<std::int32_t> s1, s2;
  m.NTHREAD = 1;
  bench::Stopwatch ws;
  contact::CONTACT(m, 1);
  const double tsearch = ws.wall();
  int hits = 0;
  for (int s = 1; s <= nslv; ++s) hits += m.CONT.SLVST(1, s) == 13;
  // On the faces, pressed: the block pushes each slave up by 1.
  m.KK(kk::MEMMB) = 8000;
  solution::DOFINIT(m);
  solution::EQINDEX(m, 0);
  contact::CONTPREP(m);
  contact::CONTCOEF(m);
  for (int s = 1; s <= nslv; ++s) m.P(3, m.CONT.SLAVE(s)) = 1.0;
  // Slid a little, a fifth of them out over an edge of their face.
  for (int s = 1; s <= nslv; ++s) m.X(1, m.CONT.SLAVE(s)) += s % 5 == 0 ? 0.6 : 0.01;
  const double t1 = pass(m, 1, s1), t2 = pass(m, 2, s2);
  std::printf("peg on block: %d tetrahedra, %d slaves (%d on the peg), %d master faces; %d threads available\n",
              m.NELEM(), m.KK(kk::NSLV), nslv, m.KK(kk::NCSURF) - m.BODYEND(1), omp_get_max_threads());
  std::printf("first pass (search, 1 thread): %d of %d slaves crossing, %.3f s wall\n", hits, nslv, tsearch);
  std::printf("pass over slaves on faces: 1 thread %.4f s, 2 threads %.4f s wall (best of 3); states %s\n", t1,
              t2, s1 == s2 ? "the same" : "DIFFER");
  std::printf("load average while running: %.2f\n", bench::load_average());
  return s1 == s2 && hits == nslv ? 0 : 1;
}
