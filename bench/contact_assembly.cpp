// Times assembly with contact links against the same model without them: a
// block of about 470 000 tetrahedra standing on a plate, its 19 881 bottom
// nodes on the plate's faces (FACE links), so every element at the bottom
// is turned by its links before it is added. Also the index of both.
#include <cstdio>

#include "../tests/contact/bodies.hpp"
#include "base/kernels.hpp"
#include "cube.hpp"
#include "solution/assembly.hpp"

using namespace ossa;
namespace tg = ossa::testing;

int main(int argc, char** argv) {
  const int n = argc > 1 ? std::atoi(argv[1]) : 140;  // the block: n x n x 4 cubes
  tg::Mesh g;
  const auto block = tg::box(g, n, n, 4, {0, 0, 0}, {1, 1, 1});
  const auto plate = tg::box(g, n / 4, n / 4, 1, {-0.3, -0.77, -4}, {4.0537, 4.0537, 4});
  const std::vector<std::vector<tg::Tri>> bodies = {
      tg::surface(g, block, [](const tg::P3& c) { return c[2] < 1e-9; }),
      tg::surface(g, plate, [](const tg::P3& c) { return c[2] > -1e-9; })};
  model::Model m;
  tg::contact_model(m, g, bodies, {{1, 2}});
  m.KK(kk::MEMMB) = 16000;
  for (int i = 1; i <= m.NSOLID(); ++i) base::DELAS(1000.0, 0.3, m.SOLREC(i).D.data());
  // The bottom nodes found on the plate by the search, then held there.
  auto& c = m.CONT;
  const int nslv = c.SLVEND(1);
  for (int s = 1; s <= nslv; ++s) m.XOLD(3, c.SLAVE(s)) = 0.01, m.X(3, c.SLAVE(s)) = -0.01;
  contact::FACEGRID grid;
  contact::GRIDBUILD(m, grid);
  int on = 0;
  for (int s = 1; s <= nslv; ++s) {
    contact::FREECHK(m, 1, s, &grid);
    on += c.SLVST(1, s) == 13;
    c.SLVST(1, s) = c.SLVST(1, s) == 13 ? 3 : 0;
    m.X(3, c.SLAVE(s)) = m.XOLD(3, c.SLAVE(s)) = 0.0;
  }
  solution::DOFINIT(m);
  double t[2][2];
  int neq[2], nz[2];
  for (int pass = 0; pass < 2; ++pass) {
    m.KK(kk::CONTACT) = pass == 0 ? 1 : 0;
    bench::Stopwatch si;
    solution::EQINDEX(m, 0);
    t[pass][0] = si.cpu();
    if (pass == 0) {
      contact::CONTCOEF(m);
      contact::CONTLINK(m);
    }
    neq[pass] = m.NEQ();
    nz[pass] = m.KK(kk::NZ);
    bench::Stopwatch sa;
    solution::STFASM(m, 0);
    t[pass][1] = sa.cpu();
  }
  std::printf("assembly, %d tetrahedra, %d of %d slaves on faces: with links NEQ %d NZ %d index %.3f s, STFASM %.3f s\n",
              m.NELEM(), on, nslv, neq[0], nz[0], t[0][0], t[0][1]);
  std::printf("without contact: NEQ %d NZ %d index %.3f s, STFASM %.3f s; ratio of assembly %.2f (processor)\n",
              neq[1], nz[1], t[1][0], t[1][1], t[0][1] / t[1][1]);
  return on == nslv ? 0 : 1;
}
