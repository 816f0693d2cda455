// Times the two-node links over a million elements each: truss force and
// stiffness on both routes (a four-point table), gap force and stiffness.
// The links join neighbouring points of a block of the solid benchmark.
#include <cmath>
#include <cstdio>
#include <vector>

#include "cube.hpp"
#include "elements/truss.hpp"

namespace {

namespace el = ossa::elements;

using ossa::bench::timed;

}  // namespace

int main(int argc, char** argv) {
  const int ne = argc > 1 ? std::atoi(argv[1]) : 1000000;
  ossa::model::Model m;
  ossa::bench::cube(m, 40, 40, 40);
  const int nn = m.NNODE();
  ossa::base::Arr2<double> U, P, LINKV;
  if (!U.allocate(7, nn) || !P.allocate(7, nn) || !LINKV.allocate(7, nn)) return 1;
  for (int i = 1; i <= nn; ++i) {
    U(1, i) = 1e-3 * std::sin(0.1 * m.XYZ(2, i));
    U(2, i) = 2e-3 * m.XYZ(1, i);
    U(3, i) = -1e-3 * m.XYZ(3, i);
  }
  // Element e joins point (e mod (nn-1)) + 1 with the next one.
  std::vector<std::int32_t> nod(2 * static_cast<std::size_t>(ne));
  for (int e = 0; e < ne; ++e) {
    nod[2 * e] = e % (nn - 1) + 1;
    nod[2 * e + 1] = nod[2 * e] + 1;
  }
  ossa::model::TRSREC bar;
  bar.NPT = 4;
  if (!bar.CURVE.allocate(4, 2)) return 1;
  const double T[4][2] = {{-0.01, -50.0}, {0.0, 0.0}, {0.01, 100.0}, {0.02, 150.0}};
  for (int j = 1; j <= 4; ++j) bar.CURVE(j, 1) = T[j - 1][0], bar.CURVE(j, 2) = T[j - 1][1];
  ossa::model::GAPREC gap;
  gap.KGAP = 1000.0;
  gap.NVEC(1) = 1.0;
  gap.GSTAT = 1;
  double K[21];
  timed("TRSF", ne, [&] {
    for (int e = 0; e < ne; ++e) el::TRSF(P, LINKV, bar, m.XYZ, U, &nod[2 * e]);
    return P(1, nn / 2);
  });
  timed("TRSK", ne, [&] {
    double s = 0.0;
    for (int e = 0; e < ne; ++e) el::TRSK(&nod[2 * e], m.XYZ, 5000.0, K), s += K[0];
    return s;
  });
  timed("TRSFNL", ne, [&] {
    for (int e = 0; e < ne; ++e) el::TRSFNL(P, LINKV, bar, m.XYZ, U, &nod[2 * e]);
    return P(1, nn / 2);
  });
  timed("TRSKNL", ne, [&] {
    double s = 0.0;
    for (int e = 0; e < ne; ++e) el::TRSKNL(&nod[2 * e], m.XYZ, U, 5000.0, 10.0, K), s += K[0];
    return s;
  });
  timed("GAPF", ne, [&] {
    for (int e = 0; e < ne; ++e) el::GAPF(P, LINKV, gap, U, &nod[2 * e]);
    return P(1, nn / 2);
  });
  timed("GAPK", ne, [&] {
    double s = 0.0;
    for (int e = 0; e < ne; ++e) el::GAPK(gap, K), s += K[0];
    return s;
  });
  return 0;
}
