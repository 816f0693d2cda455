// Times the solid element's passes over about a million tetrahedra: the
// small-displacement stiffness, the total Lagrangian tangent and force.
#include <chrono>
#include <cmath>
#include <cstdio>

#include "cube.hpp"

namespace {

namespace el = ossa::elements;

using ossa::bench::timed;

}  // namespace

int main(int argc, char** argv) {
  const int n = argc > 1 ? std::atoi(argv[1]) : 55;
  ossa::model::Model m;
  ossa::bench::cube(m, n, n, n);
  const int nn = m.NNODE(), ne = m.NELEM();
  ossa::base::Arr2<double> U, P, PD;
  if (!U.allocate(7, nn) || !P.allocate(7, nn) || !PD.allocate(7, nn)) return 1;
  for (int i = 1; i <= nn; ++i) {
    U(1, i) = 1e-3 * std::sin(0.1 * m.XYZ(2, i));
    U(2, i) = 2e-3 * m.XYZ(1, i);
    U(3, i) = -1e-3 * m.XYZ(3, i);
  }
  double sk[78];
  timed("SOLKLIN", ne, [&] {
    double s = 0.0;
    for (int e = 1; e <= ne; ++e) {
      el::SOLKLIN(m.ELEM(e).NOD.data(), m.XYZ, m.SOLREC(e).D.data(), sk);
      s += sk[0];
    }
    return s;
  });
  timed("SOLFNL", ne, [&] {
    for (int e = 1; e <= ne; ++e)
      el::SOLFNL(m, P, PD, m.SOLREC(e), m.XYZ, U, m.ELEM(e).NOD.data(), e, 0, 0);
    return P(1, nn / 2);
  });
  timed("SOLKNL", ne, [&] {
    double s = 0.0;
    for (int e = 1; e <= ne; ++e) {
      const auto& r = m.SOLREC(e);
      el::SOLKNL(m.ELEM(e).NOD.data(), m.XYZ, U, r.D.data(), r.STRESS.data(), sk);
      s += sk[0];
    }
    return s;
  });
  timed("SOLFLIN", ne, [&] {
    for (int e = 1; e <= ne; ++e)
      el::SOLFLIN(m, P, PD, m.SOLREC(e), m.XYZ, U, m.ELEM(e).NOD.data(), e, 0, 0);
    return P(1, nn / 2);
  });
  return 0;
}
