// Times the element routines over about a million elements each: the
// solid's four passes over tetrahedra, then the shell's four over triangles
// of a curved sheet, per element beside each other.
#include <chrono>
#include <cmath>
#include <cstdio>

#include "elements/shell.hpp"
#include "shells.hpp"

namespace {

namespace el = ossa::elements;

using ossa::bench::timed;

// The shell's four routines over a sheet of about NE triangles, the sheet
// bent and stretched (rotations turn the directors for the nonlinear route).
void shells(int ne) {
  ossa::model::Model m;
  const int nx = static_cast<int>(std::sqrt(ne / 2.0));
  ossa::bench::sheet(m, nx, nx, 65536);
  const int nn = m.NNODE(), n = m.NELEM();
  ossa::base::Arr2<double> U, P, PD;
  ossa::base::Arr1<std::int32_t> noframe;
  ossa::base::Arr3<double> frame;
  if (!U.allocate(7, nn) || !P.allocate(7, nn) || !PD.allocate(7, nn)) std::exit(1);
  for (int i = 1; i <= nn; ++i) {
    U(1, i) = 1e-3 * std::sin(0.1 * m.XYZ(2, i));
    U(3, i) = 2e-3 * m.XYZ(1, i);
    U(5, i) = 1e-3;
  }
  double sk[ossa::elements::SHLNK];
  const int pool = m.NSHELL();
  auto rec = [&](int e) -> ossa::model::SHLREC& { return m.SHLREC(m.ELEM(e).IDX); };
  timed("SHLKLIN", n, [&] {
    double s = 0.0;
    for (int e = 1; e <= n; ++e) {
      el::SHLKLIN(m.ELEM(e).NOD.data(), m.XYZ, rec(e), sk);
      s += sk[0];
    }
    return s;
  });
  timed("SHLFLIN", n, [&] {
    for (int e = 1; e <= n; ++e)
      el::SHLFLIN(m, P, PD, rec(e), m.XYZ, U, m.ELEM(e).NOD.data(), e, 0, 0);
    return P(1, nn / 2);
  });
  for (int k = 1; k <= pool; ++k)
    for (int a = 1; a <= 3; ++a) {
      double R[9];
      const double th[3] = {0.0, 1e-3, 0.0};
      el::SHLROT(th, R);
      ossa::base::MATMUL(R, &m.SHLREC(k).V0(1, a), &m.SHLREC(k).V(1, a), 3, 3, 1);
    }
  timed("SHLFNL", n, [&] {
    for (int e = 1; e <= n; ++e)
      el::SHLFNL(m, P, PD, rec(e), m.XYZ, U, m.ELEM(e).NOD.data(), e, 0, 0);
    return P(1, nn / 2);
  });
  timed("SHLKNL", n, [&] {
    double s = 0.0;
    for (int e = 1; e <= n; ++e) {
      el::SHLKNL(m.ELEM(e).NOD.data(), m.XYZ, U, rec(e), noframe, frame, sk);
      s += sk[0];
    }
    return s;
  });
}

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
  shells(ne);
  return 0;
}
