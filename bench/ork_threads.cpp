// ORK on one thread and on more: the machine's DGEMM rate on one thread, the
// packed front update and a whole dense front per thread, the factorisation
// of a tet cube (repeats on 1 and T threads in turn, the same bits checked),
// and optionally a large cube out of core within a memory budget (time and
// peak memory). Every figure carries the load average: the machine may be
// shared, and its times then move with the load.
// Usage: bench_ork_threads [cells (45)] [repeats (3)] [threads (2)] [ooc cells (0)] [ooc GB (16)]
#include <cblas.h>
#include <omp.h>
#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "base/files.hpp"
#include "clock.hpp"
#include "mats.hpp"
#include "solvers/ork/ork.hpp"
#include "solvers/ork/orkdense.hpp"
#include "solvers/ork/orkfact.hpp"

extern "C" void openblas_set_num_threads(int);

using namespace ossa::solvers;
using ossa::bench::now;
using ossa::bench::UpperCsr;

namespace {

std::string load() {
  char s[32];
  std::snprintf(s, sizeof s, "load %.2f", ossa::bench::load_average());
  return s;
}

double peak_gb() {
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  return static_cast<double>(u.ru_maxrss) / (1024.0 * 1024.0);
}

// Processor seconds of the whole process, all its threads.
double cpu() {
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) + 1e-6 * (u.ru_utime.tv_usec + u.ru_stime.tv_usec);
}

// Processor seconds of the calling thread: the one that runs every serial
// part and a share of every parallel one.
double thread_cpu() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

double dgemm_rate() {
  const int n = 2000;
  std::vector<double> a(n * n, 1.0 / n), b(n * n, 0.5), c(n * n, 0.0);
  double best = 0.0;
  for (int r = 0; r < 3; ++r) {
    const double t = cpu();
    cblas_dgemm(CblasColMajor, CblasNoTrans, CblasNoTrans, n, n, n, 1.0, a.data(), n, b.data(), n, 1.0, c.data(), n);
    best = std::max(best, 2.0 * n * n * static_cast<double>(n) * 1e-9 / (cpu() - t));
  }
  return best;
}

// A dense symmetric front, diagonally dominant, packed as ORK holds it.
std::vector<double> dense_front(int fo) {
  std::mt19937 gen(7);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::vector<double> f(static_cast<std::size_t>(ORKTRI(fo)));
  for (int j = 0; j < fo; ++j) {
    double* c = ORKCOL(f.data(), fo, j);
    c[j] = fo;
    for (int i = j + 1; i < fo; ++i) c[i] = u(gen);
  }
  return f;
}

// GFLOP/s per thread of ORKUPDATE by K pivots over the rest of a front of
// order FO, and of the whole partial factorisation ORKDENSE of that front.
void front_rates(int fo, int k, int T, double dgemm) {
  std::vector<double> f = dense_front(fo), w(4000000);
  std::vector<int> kinds(fo, 1), piv(fo);
  omp_set_num_threads(T);
  const double madd = static_cast<double>(k) * (fo - k) * (fo - k + 1.0) / 2.0;
  const int reps = 3;
  double t0 = now(), c0 = cpu();
  for (int r = 0; r < reps; ++r) ORKUPDATE(f.data(), fo, 0, k, kinds.data(), k, fo, {w.data(), 4000000});
  const double fu = 2.0 * madd * reps * 1e-9, upd = fu / (now() - t0) / T, updc = fu / (cpu() - c0);
  f = dense_front(fo);
  ORKDSTAT st;
  t0 = now();
  c0 = cpu();
  ORKDENSE(f.data(), fo, fo, piv.data(), kinds.data(), ORKU, ORKU2(ORKU), st, {w.data(), 4000000});
  const double fd = fo * static_cast<double>(fo) * fo / 3.0 * 1e-9, den = fd / (now() - t0) / T,
               denc = fd / (cpu() - c0);
  // A thread's rate on processor time: what it does while it runs.
  std::printf("  %d thread(s), front of %d: update by %d pivots %.2f GFLOP/s a thread of wall, %.2f of processor"
              " time (%.0f%% of DGEMM); whole dense front %.2f, %.2f (%.0f%%)  [%s]\n",
              T, fo, k, upd, updc, 100.0 * updc / dgemm, den, denc, 100.0 * denc / dgemm, load().c_str());
}

struct Run {
  double fact = 0.0, fcpu = 0.0, fmain = 0.0, solve = 0.0;
  int status = 0, subtrees = 0, fspill = 0, sspill = 0;
  std::vector<double> x;
};

Run factor_solve(ORKDATA& o, const UpperCsr& A, const std::vector<double>& b, int T, ossa::base::Unit* u1,
                 ossa::base::Unit* u2) {
  Run r;
  ORKNUM n;
  r.x.assign(A.n, 0.0);
  omp_set_num_threads(T);
  double t = now(), p = cpu(), m = thread_cpu();
  r.status = ORKFACT(o, n, A.IA.data(), A.JA.data(), A.AV.data(), u1, u2);
  r.fact = now() - t;
  r.fcpu = cpu() - p;
  r.fmain = thread_cpu() - m;
  t = now();
  if (r.status == 0) r.status = ORKSOLVE(o, n, 1, b.data(), r.x.data());
  r.solve = now() - t;
  r.subtrees = n.NSUBT;
  r.fspill = n.FSPILL;
  r.sspill = n.SSPILL;
  return r;
}

double relres(const UpperCsr& A, const std::vector<double>& x, const std::vector<double>& b) {
  const auto y = ossa::bench::csr_mult(A, x);
  double r = 0.0, xm = 0.0;
  for (int i = 0; i < A.n; ++i) r = std::max(r, std::fabs(y[i] - b[i])), xm = std::max(xm, std::fabs(x[i]));
  return r / (ossa::bench::csr_norm(A) * xm);
}

std::vector<double> rhs(int n) {
  std::vector<double> b(n);
  for (int i = 0; i < n; ++i) b[i] = std::sin(0.37 * i);
  return b;
}

// The cube on 1 and T threads in turn; speed-up of the best times and the
// bits of every solution against the first.
void cube(int cells, int reps, int T, double dgemm) {
  const UpperCsr A = ossa::bench::tet_stiffness(cells, cells, cells);
  const std::vector<double> b = rhs(A.n);
  ORKDATA o;
  const ORKRESULT a = ORKANAP(o, 3000000000L, A.n, A.IA.data(), A.JA.data(), 1);
  std::printf("cube %d^3 cells, %d equations: analysis status %d, largest front %d, %.3g flops\n", cells, A.n,
              a.STATUS, o.MAXFO, o.OPS);
  double best[2] = {1e30, 1e30}, cbest[2] = {1e30, 1e30}, pbest[2] = {1e30, 1e30};
  std::vector<double> ref;
  bool same = true;
  for (int r = 0; r < reps; ++r)
    for (int i = 0; i < 2; ++i) {
      const int th = i == 0 ? 1 : T;
      const std::string ld = load();
      const Run run = factor_solve(o, A, b, th, nullptr, nullptr);
      if (ref.empty()) ref = run.x;
      same = same && std::memcmp(ref.data(), run.x.data(), ref.size() * sizeof(double)) == 0;
      best[i] = std::min(best[i], run.fact);
      std::printf("  %d thread(s): factor %7.2f s wall, processor %7.2f s all threads %7.2f s main thread"
                  " (%.2f GFLOP/s a thread of wall), solve %.2f s, %d subtrees on threads, status %d  [%s before]\n",
                  th, run.fact, run.fcpu, run.fmain, o.OPS / run.fact / th * 1e-9, run.solve, run.subtrees,
                  run.status, ld.c_str());
      cbest[i] = std::min(cbest[i], i == 0 ? run.fcpu : run.fmain);
      pbest[i] = std::min(pbest[i], run.fcpu);
    }
  // Where the machine gives the process less than a core whatever its
  // threads, wall times cannot show a speed-up; with waiting threads asleep
  // (OMP_WAIT_POLICY=passive) the main thread's processor time is the
  // critical path, and one thread's processor time over it estimates the
  // speed-up on free cores.
  std::printf("  speed-up on %d threads (best of %d): %.2f wall, %.2f estimated from processor times; a thread"
              " at %.0f%% of DGEMM (%.0f%% on 1 thread) on processor time; solutions %s; residual %.1e  [%s]\n",
              T, reps, best[0] / best[1], cbest[0] / cbest[1], 100.0 * o.OPS / pbest[1] * 1e-9 / dgemm,
              100.0 * o.OPS / pbest[0] * 1e-9 / dgemm, same ? "bit for bit the same" : "DIFFER", relres(A, ref, b),
              load().c_str());
}

// The cube with ORKR limited to `gb` gigabytes, factors and stack spilling
// to the work files; time and the peak memory of the process.
void out_of_core(int cells, double gb, int T) {
  const UpperCsr A = ossa::bench::tet_stiffness(cells, cells, cells);
  const std::vector<double> b = rhs(A.n);
  ORKDATA o;
  const long words = static_cast<long>(gb * 1e9 / 4.0);
  const double t0 = now();
  const ORKRESULT a = ORKANAP(o, words, A.n, A.IA.data(), A.JA.data(), 1);
  std::printf("out of core: cube %d^3 cells, %d equations, ORKR %.1f GB: analysis %.1f s, status %d, factor "
              "entries %ld, %.3g flops  [%s]\n",
              cells, A.n, 8.0e-9 * o.ORKR.size(), now() - t0, a.STATUS, o.FACT, o.OPS, load().c_str());
  ossa::base::Unit u1, u2;
  if (!ossa::base::open_direct(u1, "EXEC.WK1", 8192) || !ossa::base::open_direct(u2, "EXEC.WK2", 8192)) return;
  const Run r = factor_solve(o, A, b, T, &u1, &u2);
  ossa::base::close_unit(u1);
  ossa::base::close_unit(u2);
  std::error_code e1, e2;
  const double g1 = 1e-9 * static_cast<double>(std::filesystem::file_size("EXEC.WK1", e1));
  const double g2 = 1e-9 * static_cast<double>(std::filesystem::file_size("EXEC.WK2", e2));
  std::printf("  %d thread(s): factor %.1f s wall %.1f s processor, solve %.1f s, status %d, %d subtrees on threads,"
              " factors on file %d (%.2f GB), stack on file %d (%.2f GB), residual %.1e, peak memory of the process"
              " %.2f GB  [%s]\n",
              T, r.fact, r.fcpu, r.solve, r.status, r.subtrees, r.fspill, e1 ? 0.0 : g1, r.sspill, e2 ? 0.0 : g2,
              relres(A, r.x, b), peak_gb(), load().c_str());
  std::remove("EXEC.WK1");
  std::remove("EXEC.WK2");
}

}  // namespace

int main(int argc, char** argv) {
  // ORK's kernels are its own; the math library's threads stay out of its way.
  openblas_set_num_threads(1);
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const int cells = argc > 1 ? std::atoi(argv[1]) : 45;
  const int reps = argc > 2 ? std::atoi(argv[2]) : 3;
  const int T = argc > 3 ? std::atoi(argv[3]) : 2;
  const int ooc = argc > 4 ? std::atoi(argv[4]) : 0;
  const double gb = argc > 5 ? std::atof(argv[5]) : 16.0;
  const double dgemm = dgemm_rate();
  std::printf("DGEMM one thread %.2f GFLOP/s of processor time  [%s]\n", dgemm, load().c_str());
  for (int t : {1, T}) front_rates(3000, 256, t, dgemm);
  if (cells > 0) cube(cells, reps, T, dgemm);
  if (ooc > 0) out_of_core(ooc, gb, T);
  return 0;
}
