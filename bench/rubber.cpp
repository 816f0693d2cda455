// The rubber element: its passes per element over a block of about 200 000
// tetrahedra (stress update RUBF, tangent RUBK with the condensation
// RUBCOND, recovery of the interior node RUBNODE5), then a whole job on a
// rubber block of about 100 000 tetrahedra pulled to a stretch of 1.3 in one
// step on ORK, with the time of one Newton iteration.
//   bench_rubber [n1 [n2]]: blocks of n1^3 and 2 n2 x n2 x n2 unit cells
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "cube.hpp"
#include "elements/family.hpp"
#include "elements/rubber.hpp"
#include "job/job.hpp"

namespace el = ossa::elements;
using namespace ossa;

namespace {

// The solid block turned into rubber: interior nodes at the centroids after
// the grid points, one record per element.
void rubber_block(model::Model& m, int n) {
  bench::cube(m, n, n, n);
  const int nn = m.NNODE(), ne = m.NELEM();
  base::Arr2<double> xyz;
  if (!xyz.allocate(3, nn + ne) || !m.RUBREC.allocate(ne) || !m.NODEID.allocate(nn + ne)) std::exit(1);
  for (int i = 1; i <= nn; ++i)
    for (int k = 1; k <= 3; ++k) xyz(k, i) = m.XYZ(k, i);
  m.XYZ = std::move(xyz);
  m.KK(kk::NSOLID) = 0;
  m.KK(kk::NRUBB) = ne;
  m.KK(kk::GEONL) = 1;
  m.KK(kk::SOLVER) = 2;
  for (int e = 1; e <= ne; ++e) {
    model::ELEMREC& r = m.ELEM(e);
    r.TYPE = el::F_RUBBER;
    r.NDF = 4;
    model::RUBREC& s = m.RUBREC(e);
    s.C1 = 0.5, s.C2 = 0.1, s.KB = 1000.0, s.GROUP = 1;
    double cls[el::NCLASS + 1] = {};
    el::RUBSTART(m, r, cls);
  }
}

template <class F>
void timed(const char* what, int ne, F pass) {
  const bench::Stopwatch sw;
  pass();
  const double w = sw.wall(), c = sw.cpu();
  std::printf("%-16s %d elements: %.3f s wall, %.3f s processor, %.2f us an element\n", what, ne, w, c,
              1e6 * c / ne);
}

void element_passes(int n) {
  model::Model m;
  rubber_block(m, n);
  model::MODELALLOC(m);
  const int ne = m.NELEM();
  if (!base::open_direct(m.unit(m.UNIT(8)), "EXEC.RUB1", 1080) ||
      !base::open_direct(m.unit(m.UNIT(9)), "EXEC.RUB2", 408))
    std::exit(1);
  for (int i = 1; i <= m.NNODE() + ne; ++i) {  // a shear and a stretch
    m.U(1, i) = 0.05 * m.XYZ(2, i);
    m.U(2, i) = 0.02 * m.XYZ(2, i);
    m.U(7, i) = 0.01;
  }
  base::Arr2<double> nodamp;
  timed("RUBF", ne, [&] {
    for (int e = 1; e <= ne; ++e) el::RUBFORCE(m, m.ELEM(e), nodamp, 0);
  });
  double KUU[120], KUP[60], KPP[16], KE[136], RC[16], s = 0.0;
  timed("RUBK", ne, [&] {
    for (int e = 1; e <= ne; ++e) {
      const model::ELEMREC& r = m.ELEM(e);
      el::RUBK(m, m.RUBREC(e), m.XYZ, m.U, r.NOD.data(), e, m.UNIT(8), KUU, KUP, KPP);
      s += KUU[0];
    }
  });
  timed("RUBK+RUBCOND", ne, [&] {
    for (int e = 1; e <= ne; ++e) {
      const model::ELEMREC& r = m.ELEM(e);
      el::RUBK(m, m.RUBREC(e), m.XYZ, m.U, r.NOD.data(), e, m.UNIT(8), KUU, KUP, KPP);
      el::RUBCOND(m, KUU, KUP, KPP, m.W.at(1, r.NOD(5)), KE, RC, r.ID, e, m.UNIT(9));
      s += KE[0];
    }
  });
  timed("RUBNODE5", ne, [&] {
    for (int e = 1; e <= ne; ++e) el::RUBNODE5(m, m.DU, m.ELEM(e).NOD.data(), e, m.UNIT(9));
  });
  std::printf("(check %.6e)\n", s);
}

// Deck of a rubber block of nx x ny x nz unit cells, held by three symmetry
// planes, stretched along x to 1.3 in one step on ORK.
void write_deck(int nx, int ny, int nz) {
  std::FILE* f = std::fopen("EXEC.INP", "w");
  if (!f) std::exit(1);
  const int nn = (nx + 1) * (ny + 1) * (nz + 1), ne = 6 * nx * ny * nz;
  auto id = [&](int i, int j, int k) { return 1 + i + (nx + 1) * (j + (ny + 1) * k); };
  std::fprintf(f, "CNTND     %10d\nCNTEL%10d%10d%10d%10d%10d\n", nn, 0, 0, 0, ne, 0);
  std::fprintf(f, "CNTRL0100  20  %10.3E%10.3E%20s%8d%10.3E%7s%1d%9.1f\n", 1e-6, 1e-6, "", -1, 1e-10, "", 1,
               6000.0);
  std::fprintf(f, "CNTR2%10.4f%5d%3d%3d%4d%3d\n", 0.0, 0, 1, 1, 1, 0);
  std::fprintf(f, "CNTR3%5s%30s%5d%5d\nKUKAN%15.6f%10d\n", "", "", -1, 0, 1.0, 1);
  for (int k = 0; k <= nz; ++k)
    for (int j = 0; j <= ny; ++j)
      for (int i = 0; i <= nx; ++i) std::fprintf(f, "NODE %10d%15.8f%15.8f%15.8f\n", id(i, j, k), 1.0 * i, 1.0 * j, 1.0 * k);
  struct P { double x, y, z; };
  std::vector<std::array<int, 4>> tets;
  for (int k = 0; k < nz; ++k)
    for (int j = 0; j < ny; ++j)
      for (int i = 0; i < nx; ++i)
        example::cube_tets(i, j, k, id, [&](int n) {
          const int i0 = (n - 1) % (nx + 1), j0 = (n - 1) / (nx + 1) % (ny + 1), k0 = (n - 1) / ((nx + 1) * (ny + 1));
          return P{1.0 * i0, 1.0 * j0, 1.0 * k0};
        }, tets);
  for (int e = 1; e <= ne; ++e) {
    const auto& t = tets[e - 1];
    std::fprintf(f, "RUBB %10d%10d%10d%10d%10d\n", e, t[0], t[1], t[2], t[3]);
  }
  for (int e = 1; e <= ne; ++e) std::fprintf(f, "PROPT00004%10d%10.5f%10.5f%10.3E%10.3E\n", e, 0.5, 0.1, 0.0, 1000.0);
  std::string held, disp;
  int nh = 0, nd = 0;
  char buf[160];
  for (int k = 0; k <= nz; ++k)
    for (int j = 0; j <= ny; ++j)
      for (int i = 0; i <= nx; ++i) {
        const std::string fl = std::string(i == nx ? "2" : i == 0 ? "1" : "0") + (j == 0 ? "1" : "0") + (k == 0 ? "1" : "0");
        if (fl == "000") continue;
        std::snprintf(buf, sizeof buf, "PLNK %10d%s000\n", id(i, j, k), fl.c_str());
        held += buf, ++nh;
        if (i != nx) continue;
        std::snprintf(buf, sizeof buf, "DISP %10d%15.8E%15.8E%15.8E%15.8E%15.8E%15.8E\n", id(i, j, k), 0.3 * nx, 0.0, 0.0,
                      0.0, 0.0, 0.0);
        disp += buf, ++nd;
      }
  std::fprintf(f, "NGLD %5d\nNPLNK%5s%7d\nNLOAD%5s%5d%10d\n", 1, "", nh, "", 2, nd);
  std::fprintf(f, "TBLLD%15.6f%15.6f\nTBLLD%15.6f%15.6f\n%s%sEND\n", 0.0, 0.0, 1.0, 1.0, disp.c_str(), held.c_str());
  std::fclose(f);
}

void ork_job(int n) {
  const int nx = 2 * n, ny = n, nz = n;
  write_deck(nx, ny, nz);
  model::Model m;
  if (!job::JOBOPEN(m)) std::exit(1);
  const bench::Stopwatch sw;
  job::JOBRUN(m);
  const double wall = sw.wall(), cpu = sw.cpu();
  // Newton iterations: the rows of the residual table.
  std::FILE* f = std::fopen("EXEC.LOG", "r");
  char line[512];
  int rows = 0;
  bool table = false;
  while (f && std::fgets(line, sizeof line, f)) {
    const std::string l(line);
    if (l.starts_with("     ITER    MAX RES")) table = true;
    else if (l == "\n") table = false;
    else if (table) ++rows;
  }
  if (f) std::fclose(f);
  const double asmb = m.TIMES(model::T_ASSEMBLY), sol = m.TIMES(model::T_SOLUTION), rec = m.TIMES(model::T_RECOVERY);
  std::printf("ORK job: %d rubber tetrahedra, NEQ %d, NZ %d, %d Newton iterations, %.1f s wall, %.1f s processor in all\n",
              6 * nx * ny * nz, m.NEQ(), m.KK(kk::NZ), rows, wall, cpu);
  if (rows > 0)
    std::printf("  an iteration (wall; the job's processor time divided by the iterations: %.3f s): assembly %.3f s, ORK factor and solve %.3f s, stress recovery %.3f s, "
                "together %.3f s\n",
                cpu / rows, asmb / rows, sol / rows, rec / (rows + 1), (asmb + sol + rec) / rows);
}

}  // namespace

int main(int argc, char** argv) {
  const int n1 = argc > 1 ? std::atoi(argv[1]) : 32;  // 6 n1^3 = 196 608 elements
  const int n2 = argc > 2 ? std::atoi(argv[2]) : 20;  // 12 n2^3 = 96 000 elements
  char tmpl[] = "/tmp/ossa-bench-rubber.XXXXXX";
  if (!mkdtemp(tmpl) || chdir(tmpl) != 0) return 1;
  element_passes(n1);
  ork_job(n2);
  const std::string rm = std::string("rm -rf ") + tmpl;
  return std::system(rm.c_str()) == 0 ? 0 : 1;
}
