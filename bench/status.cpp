// The status pass over one million elastic solids with stresses below both
// limits: the cost of looking at every point when none changes state.
#include <chrono>
#include <cstdio>
#include <random>

#include "base/files.hpp"
#include "base/kernels.hpp"
#include "elements/status.hpp"
#include "model/model.hpp"

int main() {
  using namespace ossa;
  const int n = 1000000;
  model::Model m;
  model::MODELRESET(m);
  m.KK(kk::MATNL) = 1;
  m.KK(kk::NELEM) = n;
  m.KK(kk::NSOLID) = n;
  m.RR(rr::EMIN) = 10.0;
  if (!m.ELEM.allocate(n) || !m.SOLREC.allocate(n)) return 1;
  std::mt19937 g(1);
  std::uniform_real_distribution<double> u(-30.0, 30.0);
  for (int i = 1; i <= n; ++i) {
    m.ELEM(i).TYPE = 2;
    m.ELEM(i).IDX = i;
    model::SOLREC& r = m.SOLREC(i);
    r.E = 10000.0;
    r.NU = 0.3;
    r.YTYPE = 1 + (i & 1);
    r.SIGT = 100.0;
    r.YIELD = 200.0;
    r.ECRUSH = 0.01;
    base::DELAS(r.E, r.NU, r.D.data());
    for (int k = 1; k <= 6; ++k) r.STRESS(k) = u(g);
  }
  // Log and work file in the working directory, as in a job; elastic points
  // must not touch EXEC.SOL.
  base::open_text_out(m.unit(m.UNIT(2)), "bench_status.log");
  base::open_direct(m.unit(m.UNIT(7)), "bench_status.sol", 336);
  int F = 0, S = 0;
  double best = 1e30;
  for (int rep = 0; rep < 5; ++rep) {
    const auto t0 = std::chrono::steady_clock::now();
    elements::ELSTAT(m, 1, 5, 0, 0, F, S);
    const double t = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    if (t < best) best = t;
  }
  const auto c = elements::STATCOUNT(m);
  std::printf("status pass, %d elastic solids: %.3f s (best of 5); elastic %d, changed %d\n", n,
              best, c.SOL[0], n - c.SOL[0]);
  base::close_unit(m.unit(m.UNIT(2)), true);
  base::close_unit(m.unit(m.UNIT(7)), true);
  return 0;
}
