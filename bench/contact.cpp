// Times the contact search on a bone-implant sized pair: 50 000 slaves over
// 100 000 master faces, every slave crossing its face in one pass. One pass
// through the face buckets (with their build) against trying every face,
// the latter timed on a sample of slaves and scaled; both must agree. Then
// the equation index with all those slaves on faces against the same index
// without contact, and the contact set-up itself.
#include <cstdio>

#include "../tests/contact/bodies.hpp"
#include "cube.hpp"
#include "solution/index.hpp"

using namespace ossa;
namespace tg = ossa::testing;

int main(int argc, char** argv) {
  const int nm = argc > 1 ? std::atoi(argv[1]) : 224;  // master plate: 2 nm^2 faces
  const int ns = nm - 1;                                // slave plate: nm^2 slaves
  tg::Mesh g;
  const auto slave = tg::box(g, ns, ns, 1, {0.3, 0.4, 0.05}, {1, 1, 1});
  const auto master = tg::box(g, nm, nm, 1, {0, 0, -1}, {1, 1, 1});
  const std::vector<std::vector<tg::Tri>> bodies = {
      tg::surface(g, slave, [](const tg::P3& c) { return c[2] < 0.05 + 1e-9; }),
      tg::surface(g, master, [](const tg::P3& c) { return c[2] > -1e-9; })};
  model::Model m;
  bench::Stopwatch pre;
  tg::contact_model(m, g, bodies, {{1, 2}});
  const double tpre = pre.cpu();
  const int nslv = m.CONT.SLVEND(1), nf = m.KK(kk::NCSURF) - m.BODYEND(1);
  for (int s = 1; s <= nslv; ++s) {
    const int n = m.CONT.SLAVE(s);
    m.X(1, n) += 0.02;
    m.X(2, n) -= 0.01;
    m.X(3, n) -= 0.1;
  }
  bench::Stopwatch sg;
  contact::FACEGRID grid;
  contact::GRIDBUILD(m, grid);
  const double tbuild = sg.cpu();
  int hits = 0;
  for (int s = 1; s <= nslv; ++s) {
    contact::FREECHK(m, 1, s, &grid);
    hits += m.CONT.SLVST(1, s) == 13;
  }
  const double tgrid = sg.cpu();
  // Every slave stops at its own face: the sample runs across the table.
  const int sample = std::min(nslv, 200), stride = nslv / sample;
  int same = 0;
  bench::Stopwatch sa;
  for (int s = stride; s <= sample * stride; s += stride) {
    const int code = m.CONT.SLVST(1, s), face = m.CONT.SLVST(2, s);
    const double b1 = m.CONT.SLVBARY(1, s);
    contact::FREECHK(m, 1, s);
    same += m.CONT.SLVST(1, s) == code && m.CONT.SLVST(2, s) == face && m.CONT.SLVBARY(1, s) == b1;
  }
  const double tall = sa.cpu() / sample * nslv;
  std::printf("contact set-up: %d slaves, %d master faces, %d edges, %d tetrahedra: %.3f s processor\n", nslv,
              nf, m.KK(kk::NEDGE), m.NELEM(), tpre);
  std::printf("search, buckets: %d of %d slaves in contact; build %.3f s, pass %.3f s processor (%d cells, %ld listings)\n",
              hits, nslv, tbuild, tgrid, static_cast<int>(grid.N[0] * grid.N[1] * grid.N[2]), grid.FACE.size());
  std::printf("search, all faces: %.1f s processor a pass (from %d slaves); same answer on %d of %d\n", tall,
              sample, same, sample);
  m.KK(kk::MEMMB) = 8000;
  solution::DOFINIT(m);
  for (int s = 1; s <= nslv; ++s) m.CONT.SLVST(1, s) = 3;
  bench::Stopwatch si;
  solution::EQINDEX(m, 0);
  const double tidx = si.cpu();
  const int neq = m.NEQ(), nz = m.KK(kk::NZ);
  m.KK(kk::CONTACT) = 0;
  bench::Stopwatch s0;
  solution::EQINDEX(m, 0);
  std::printf("EQINDEX, upper half: %d slaves on faces: NEQ %d, NZ %d, %.3f s; without contact: NEQ %d, NZ %d, %.3f s processor\n",
              nslv, neq, nz, tidx, m.NEQ(), m.KK(kk::NZ), s0.cpu());
  return same == sample && hits == nslv ? 0 : 1;
}
