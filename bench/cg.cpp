// Processor CG on a linear-elastic tetrahedral cube: a structured cube of
// N^3 cells, each cut into six tetrahedra, three unknowns a node, fixed at
// x = 0 and pulled sideways at x = N. Prints the time of the whole solve and
// of one iteration, the bandwidth one iteration achieves against a plain
// memory copy measured in the same run, and the same solve by Eigen's
// ConjugateGradient with IncompleteCholesky. Times are the CPU time of the
// one thread that runs everything.
//
// With "amg" after the size, the CG with the multigrid preconditioner alone
// (68 cells a side: a million equations; 95: 5.1 million tetrahedra) at the
// tolerance 1e-8: its set-up, the solve on that set-up, the iterations and
// the peak memory of the process.
//
// With "threads" after the size, the threaded product (CGPSPMVPAR) and
// vector updates of the iteration on 1 and 2 threads: wall time, GB/s, the
// time of one iteration outside the preconditioner, and whether the two
// give the same bits.
//
// Usage: bench_cg [cells per side, default 46 (about 300 000 equations)] [amg | threads]
#include <Eigen/IterativeLinearSolvers>
#include <Eigen/Sparse>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <sys/resource.h>
#include <vector>

#include "clock.hpp"
#include "mats.hpp"
#include "model/stop.hpp"
#include "model/model.hpp"
#include "solvers/cg/cg.hpp"
#include "solvers/cg/cgkern.hpp"

using namespace ossa;

namespace {

// CPU time of this thread: other work on a shared machine does not count.
double now() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// ---- mesh and element ------------------------------------------------------

struct Mesh {
  int N = 0;                      // cells per side
  std::vector<int> tets;          // 4 node numbers (zero-based) per tetrahedron
  int node(int i, int j, int k) const { return i + (N + 1) * (j + (N + 1) * k); }
  int nnode() const { return (N + 1) * (N + 1) * (N + 1); }
};

// Six tetrahedra per cube along its main diagonal (corner bit 0 x, 1 y, 2 z);
// every cube is cut the same way, so the faces match.
Mesh cube_mesh(int N) {
  static const int PATH[6][3] = {{1, 2, 4}, {1, 4, 2}, {2, 1, 4}, {2, 4, 1}, {4, 1, 2}, {4, 2, 1}};
  Mesh m;
  m.N = N;
  m.tets.reserve(static_cast<size_t>(N) * N * N * 24);
  for (int k = 0; k < N; ++k)
    for (int j = 0; j < N; ++j)
      for (int i = 0; i < N; ++i) {
        auto corner = [&](int b) { return m.node(i + (b & 1), j + ((b >> 1) & 1), k + ((b >> 2) & 1)); };
        for (const auto& p : PATH) {
          const int b1 = p[0], b2 = p[0] | p[1];
          m.tets.insert(m.tets.end(), {corner(0), corner(b1), corner(b2), corner(7)});
        }
      }
  return m;
}

// ---- global system in the solver's storage ---------------------------------

struct System {
  int neq = 0;
  std::vector<int> ia, ja;  // one-based, diagonal first, then lower columns ascending
  std::vector<double> av, f;
};

// Equation numbers node by node; nodes at x = 0 are fixed.
std::vector<int> number(const Mesh& m, int& neq) {
  std::vector<int> eq(3 * static_cast<size_t>(m.nnode()), 0);
  neq = 0;
  for (int n = 0; n < m.nnode(); ++n)
    if (n % (m.N + 1) != 0)
      for (int d = 0; d < 3; ++d) eq[3 * n + d] = ++neq;
  return eq;
}

void pattern(const Mesh& m, const std::vector<int>& eq, System& s) {
  std::vector<std::vector<int>> adj(m.nnode());
  for (size_t t = 0; t < m.tets.size(); t += 4)
    for (int a = 0; a < 4; ++a)
      for (int b = 0; b < 4; ++b)
        if (m.tets[t + b] < m.tets[t + a]) adj[m.tets[t + a]].push_back(m.tets[t + b]);
  s.ia.assign(s.neq + 1, 0);
  s.ia[0] = 1;
  for (int n = 0; n < m.nnode(); ++n) {
    auto& v = adj[n];
    std::sort(v.begin(), v.end());
    v.erase(std::unique(v.begin(), v.end()), v.end());
    for (int d = 0; d < 3; ++d) {
      const int r = eq[3 * n + d];
      if (r == 0) continue;
      s.ja.push_back(r);
      for (int b : v)
        for (int e = 0; e < 3; ++e)
          if (eq[3 * b + e] > 0) s.ja.push_back(eq[3 * b + e]);
      for (int e = 0; e < d; ++e) s.ja.push_back(eq[3 * n + e]);
      s.ia[r] = static_cast<int>(s.ja.size()) + 1;
    }
  }
}

// Position of column c in row r.
int find(const System& s, int r, int c) {
  if (c == r) return s.ia[r - 1] - 1;
  const int* b = s.ja.data() + s.ia[r - 1];
  const int* e = s.ja.data() + s.ia[r] - 1;
  return static_cast<int>(std::lower_bound(b, e, c) - s.ja.data());
}

System assemble(int N) {
  const Mesh m = cube_mesh(N);
  System s;
  const std::vector<int> eq = number(m, s.neq);
  pattern(m, eq, s);
  s.av.assign(s.ja.size(), 0.0);
  const double h = 1.0 / N;
  double X[4][3], K[144];
  for (size_t t = 0; t < m.tets.size(); t += 4) {
    int q[12];
    for (int a = 0; a < 4; ++a) {
      const int n = m.tets[t + a];
      X[a][0] = h * (n % (N + 1));
      X[a][1] = h * ((n / (N + 1)) % (N + 1));
      X[a][2] = h * (n / ((N + 1) * (N + 1)));
      for (int d = 0; d < 3; ++d) q[3 * a + d] = eq[3 * n + d];
    }
    ossa::bench::tet_element(X, 17000.0, 0.3, K);
    for (int a = 0; a < 12; ++a)
      for (int b = 0; b < 12; ++b)
        if (q[a] > 0 && q[b] > 0 && q[b] <= q[a]) s.av[find(s, q[a], q[b])] += K[a * 12 + b];
  }
  s.f.assign(s.neq, 0.0);
  for (int k = 0; k <= N; ++k)
    for (int j = 0; j <= N; ++j) s.f[eq[3 * m.node(N, j, k) + 2] - 1] = -1.0;
  return s;
}

// ---- measurements -----------------------------------------------------------

// Best rate of a large memcpy, counting the bytes read and written.
double copy_bandwidth() {
  const size_t n = size_t(1) << 29;  // 512 MiB
  std::vector<char> a(n, 1), b(n, 2);
  double best = 1e30;
  for (int rep = 0; rep < 5; ++rep) {
    const double t0 = now();
    std::memcpy(b.data(), a.data(), n);
    best = std::min(best, now() - t0);
    a[rep] = b[n - 1 - rep];
  }
  return 2.0 * static_cast<double>(n) / best;
}

// Best rate of the STREAM copy kernel, c(i) = a(i) with ordinary stores
// (counting the bytes read and written, as STREAM does). The scalar comes
// from memory at run time so that the loop is not turned into a memcpy,
// whose streaming stores skip the read-for-ownership of ordinary code.
double stream_copy_bandwidth() {
  const size_t n = (size_t(1) << 28) / sizeof(double);
  std::vector<double> a(n, 1.0), c(n, 0.0);
  volatile double one = 1.0;
  const double q = one;
  double best = 1e30;
  for (int rep = 0; rep < 5; ++rep) {
    const double t0 = now();
    for (size_t i = 0; i < n; ++i) c[i] = q * a[i];
    best = std::min(best, now() - t0);
    a[rep] = c[n - 1 - rep];
  }
  return 16.0 * static_cast<double>(n) / best;
}

// Best rate of a plain read of a large array: the ceiling of a pass that
// only reads, as the matrix passes of an iteration do.
double read_bandwidth() {
  const size_t n = (size_t(1) << 29) / sizeof(double);
  std::vector<double> a(n, 1.0);
  double best = 1e30, sum = 0.0;
  for (int rep = 0; rep < 5; ++rep) {
    const double t0 = now();
    double s0 = 0.0, s1 = 0.0, s2 = 0.0, s3 = 0.0, s4 = 0.0, s5 = 0.0, s6 = 0.0, s7 = 0.0;
    for (size_t i = 0; i < n; i += 8) {
      s0 += a[i], s1 += a[i + 1], s2 += a[i + 2], s3 += a[i + 3];
      s4 += a[i + 4], s5 += a[i + 5], s6 += a[i + 6], s7 += a[i + 7];
    }
    best = std::min(best, now() - t0);
    sum += s0 + s1 + s2 + s3 + s4 + s5 + s6 + s7;
  }
  if (sum < 0.0) std::printf("?\n");
  return 8.0 * static_cast<double>(n) / best;
}

// Bytes one iteration streams: three passes over the pattern (the product
// with AV, the two sweeps with LV), each reading IA, the values and the
// columns of the first row of each row group, and every vector each pass
// reads or writes.
double iteration_bytes(const System& s, const std::vector<int>& grp, double* matrix_part) {
  const long n = s.neq, nz = static_cast<long>(s.ja.size());
  long cols = 0;
  for (int i = 0; i < n; ++i)
    if (grp[i] > 0) cols += s.ia[i + 1] - s.ia[i] - 1;
  const double mat = 3.0 * (8.0 * nz + 4.0 * cols + 4.0 * (n + 1));
  const double vec = 8.0 * n * (4 + 9 + 6);
  *matrix_part = mat;
  return mat + vec;
}

double residual(const System& s, const std::vector<double>& x) {
  std::vector<double> y(s.neq);
  solvers::CGSPMV(y.data(), s.av.data(), x.data(), s.neq, s.ia.data(), s.ja.data());
  double r = 0.0, f = 0.0;
  for (int i = 0; i < s.neq; ++i) {
    r += (s.f[i] - y[i]) * (s.f[i] - y[i]);
    f += s.f[i] * s.f[i];
  }
  return std::sqrt(r / f);
}

struct Ours {
  int itc = 0;
  std::vector<int> grp;
  double total = 0.0, setup = 0.0, kernel_it = 0.0;
  double pass[3] = {0.0, 0.0, 0.0};  // product, update and forward sweep, backward sweep
  std::vector<double> x;
};

Ours run_ours(model::Model& m, const System& s, double tol) {
  const int n = s.neq, nz = static_cast<int>(s.ja.size());
  std::vector<double> av = s.av, lv(nz), f = s.f, cgw(6L * n);
  std::vector<int> grp(n);
  Ours o;
  o.x.assign(n, 0.0);
  double t0 = now();
  o.itc = solvers::CGSOLVE(m, av.data(), lv.data(), f.data(), o.x.data(), cgw.data(), grp.data(), n, nz,
                           s.ia.data(), s.ja.data(), 0, tol, m.UNIT(2), 1, 0);
  o.total = now() - t0;
  // The set-up alone: scaling and the incomplete factorisation.
  av = s.av;
  f = s.f;
  t0 = now();
  solvers::CGSCALE(n, cgw.data() + 3L * n, av.data(), f.data(), s.ia.data(), s.ja.data());
  solvers::CGICPRE(cgw.data() + 2L * n, av.data(), lv.data(), n, s.ia.data(), s.ja.data());
  o.setup = now() - t0;
  // The three passes of one iteration by themselves, on the scaled system.
  double* r = cgw.data();
  double* p = r + n;
  double* dinv = r + 2L * n;
  double* qz = r + 4L * n;
  double* w = r + 5L * n;
  std::vector<double> x(n, 0.0);
  std::copy(f.begin(), f.end(), r);
  std::copy(f.begin(), f.end(), p);
  const int reps = 20;
  for (int k = 0; k < reps; ++k) {
    double t = now();
    solvers::CGPSPMV(qz, p, 0.5, k == 0 ? 1 : 0, av.data(), n, s.ia.data(), s.ja.data(), grp.data());
    o.pass[0] += now() - t;
    t = now();
    solvers::CGUPDFWD(x.data(), r, p, qz, w, 1.0e-3, dinv, lv.data(), n, s.ia.data(), s.ja.data(),
                      grp.data());
    o.pass[1] += now() - t;
    t = now();
    solvers::CGBWDDOT(qz, w, r, dinv, lv.data(), n, s.ia.data(), s.ja.data(), grp.data());
    o.pass[2] += now() - t;
  }
  for (double& t : o.pass) t /= reps;
  o.kernel_it = o.pass[0] + o.pass[1] + o.pass[2];
  o.grp = grp;
  return o;
}

struct Peer {
  int itc = 0;
  double total = 0.0;
  std::vector<double> x;
};

Peer run_eigen(const System& s, double tol) {
  using SpMat = Eigen::SparseMatrix<double>;
  std::vector<Eigen::Triplet<double>> trip;
  trip.reserve(2 * s.ja.size());
  for (int i = 0; i < s.neq; ++i)
    for (int k = s.ia[i] - 1; k < s.ia[i + 1] - 1; ++k) {
      const int j = s.ja[k] - 1;
      trip.emplace_back(i, j, s.av[k]);
      if (j != i) trip.emplace_back(j, i, s.av[k]);
    }
  SpMat A(s.neq, s.neq);
  A.setFromTriplets(trip.begin(), trip.end());
  trip.clear();
  trip.shrink_to_fit();
  Eigen::Map<const Eigen::VectorXd> b(s.f.data(), s.neq);
  Peer e;
  const double t0 = now();
  Eigen::ConjugateGradient<SpMat, Eigen::Lower | Eigen::Upper, Eigen::IncompleteCholesky<double>> cg;
  cg.setTolerance(tol);
  cg.setMaxIterations(s.neq);
  cg.compute(A);
  Eigen::VectorXd x = cg.solve(b);
  e.total = now() - t0;
  e.itc = static_cast<int>(cg.iterations());
  e.x.assign(x.data(), x.data() + s.neq);
  return e;
}

// The node equations of the cube in the model, which the multigrid groups
// its unknowns by.
void node_equations(model::Model& m, int N) {
  const int nn = (N + 1) * (N + 1) * (N + 1);
  m.KK(kk::NNODE) = nn;
  if (!m.IDOF.allocate(7, nn)) std::abort();
  for (int n = 0; n < nn; ++n)
    for (int d = 0; d < 3; ++d) m.IDOF(d + 1, n + 1) = n % (N + 1) == 0 ? 0 : 3 * (n - n / (N + 1) - 1) + d + 1;
}

int run_amg(model::Model& m, const System& s, int N) {
  const int n = s.neq, nz = static_cast<int>(s.ja.size());
  node_equations(m, N);
  std::vector<double> av = s.av, f = s.f, x(n), cgw(6L * n);
  std::vector<int> grp(n);
  const double t0 = now();
  solvers::CGAMGSETUP(m, av.data(), n, s.ia.data(), s.ja.data());
  const double t1 = now();
  // The solve finds the set-up it can use in the model.
  const int itc = solvers::CGSOLVE(m, av.data(), nullptr, f.data(), x.data(), cgw.data(), grp.data(), n, nz,
                                   s.ia.data(), s.ja.data(), 0, 1.0e-8, m.UNIT(2), 2, 0);
  const double t2 = now();
  rusage ru{};
  getrusage(RUSAGE_SELF, &ru);
  std::printf("ossa CG + AMG: %d iterations, set-up %.2f s, solve %.2f s (%.1f ms an iteration), "
              "peak %.0f MB\n", itc, t1 - t0, t2 - t1, 1e3 * (t2 - t1) / itc, ru.ru_maxrss / 1024.0);
  std::printf("  relative residual |f - K x| / |f|    %8.2e\n", residual(s, x));
  return 0;
}

// The product, the updates and the dot products of one iteration on NB
// threads, best of a few repetitions in wall time; Q receives the product.
struct Lanes {
  double product = 1e30, update = 1e30, iteration = 1e30;
};

Lanes run_lanes(const System& s, const std::vector<int>& grp, int nb, std::vector<double>& q) {
  const int n = s.neq;
  const solvers::CGPLAN plan = solvers::CGPLANMAKE(nb, n, s.ia.data(), s.ja.data(), grp.data());
  if (nb > 1) std::printf("  terms across blocks: %zu of %zu\n", plan.dsrc.size(), s.ja.size());
  std::vector<double> p(s.f), x(n, 0.0), r(s.f), z(s.f), pqv(n);
  q.assign(n, 0.0);
  for (int i = 0; i < n; ++i) p[i] = 1.0 + 1e-3 * (i % 97);
  Lanes l;
  for (int rep = 0; rep < 10; ++rep) {
    const double t0 = ossa::bench::now();
    const double pq = solvers::CGPSPMVPAR(q.data(), p.data(), 0.0, 1, s.av.data(), n, s.ia.data(), s.ja.data(),
                                          grp.data(), plan, pqv.data());
    const double t1 = ossa::bench::now();
    const double rr = solvers::CGUPDPAR(x.data(), r.data(), p.data(), q.data(), 1e-9 / pq, n, nb);
    const double t2 = ossa::bench::now();
    const double rz = solvers::CGDOTPAR(z.data(), r.data(), n, nb);
    solvers::CGXPBYPAR(z.data(), r.data(), rz / rr * 1e-3, n, nb);
    const double t3 = ossa::bench::now();
    l.product = std::min(l.product, t1 - t0);
    l.update = std::min(l.update, t2 - t1);
    l.iteration = std::min(l.iteration, t3 - t0);
  }
  return l;
}

int run_threads(const System& s) {
  const int n = s.neq;
  std::vector<int> grp(n);
  solvers::CGGROUP(grp.data(), n, s.ia.data(), s.ja.data());
  double mat = 0.0;
  iteration_bytes(s, grp, &mat);
  const double pbytes = mat / 3.0 + 8.0 * 3 * n, ubytes = 8.0 * 6 * n;
  std::vector<double> q1, q2;
  std::printf("load average %.2f\n", ossa::bench::load_average());
  for (int nb : {1, 2}) {
    const Lanes l = run_lanes(s, grp, nb, nb == 1 ? q1 : q2);
    std::printf("%d thread(s): product %.3f ms %.2f GB/s, update %.3f ms %.2f GB/s, "
                "iteration without the preconditioner %.3f ms\n", nb, 1e3 * l.product,
                pbytes / l.product * 1e-9, 1e3 * l.update, ubytes / l.update * 1e-9, 1e3 * l.iteration);
  }
  std::printf("product on 2 threads %s that on 1\n",
              std::memcmp(q1.data(), q2.data(), 8UL * n) == 0 ? "has the bits of" : "DIFFERS from");
  std::printf("load average %.2f\n", ossa::bench::load_average());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const int N = argc > 1 ? std::max(2, std::atoi(argv[1])) : 46;
  const double tol = 1.0e-6;
  Eigen::setNbThreads(1);
  model::Model m;
  model::MODELRESET(m);
  if (!base::open_text_out(m.unit(m.UNIT(2)), "/dev/null")) return 1;

  double t0 = now();
  const System s = assemble(N);
  const long nz = static_cast<long>(s.ja.size());
  std::printf("cube %d^3 cells, %ld tetrahedra: NEQ %d, NZ %ld (lower half), built in %.2f s\n", N,
              6L * N * N * N, s.neq, nz, now() - t0);
  if (argc > 2 && std::string(argv[2]) == "amg") return run_amg(m, s, N);
  if (argc > 2 && std::string(argv[2]) == "threads") return run_threads(s);

  const double copy = copy_bandwidth(), read = read_bandwidth(), stream = stream_copy_bandwidth();
  std::printf("memcpy bandwidth (read + write)        %8.2f GB/s\n", copy * 1e-9);
  std::printf("STREAM copy loop (read + write)        %8.2f GB/s\n", stream * 1e-9);
  std::printf("read-only bandwidth                    %8.2f GB/s = %5.1f %% of copy\n",
              read * 1e-9, 100.0 * read / copy);

  const Ours o = run_ours(m, s, tol);
  const double per_it = (o.total - o.setup) / o.itc;
  double mat = 0.0;
  const double bytes = iteration_bytes(s, o.grp, &mat);
  std::printf("ossa CG + IC(0): %d iterations, solve %.3f s (set-up %.3f s)\n", o.itc, o.total,
              o.setup);
  std::printf("  one iteration in the solve           %8.3f ms\n", per_it * 1e3);
  std::printf("  one iteration, kernels alone         %8.3f ms\n", o.kernel_it * 1e3);
  std::printf("  passes: product %.3f ms, update + forward %.3f ms, backward %.3f ms\n",
              o.pass[0] * 1e3, o.pass[1] * 1e3, o.pass[2] * 1e3);
  std::printf("  bytes per iteration                  %8.1f MB (matrix %.1f MB, vectors %.1f MB)\n",
              bytes * 1e-6, mat * 1e-6, (bytes - mat) * 1e-6);
  std::printf("  effective bandwidth in the solve     %8.2f GB/s = %5.1f %% of copy\n",
              bytes / per_it * 1e-9, 100.0 * bytes / per_it / copy);
  std::printf("  effective bandwidth, kernels alone   %8.2f GB/s = %5.1f %% of copy\n",
              bytes / o.kernel_it * 1e-9, 100.0 * bytes / o.kernel_it / copy);
  std::printf("  effective bandwidth in the solve     %8.2f GB/s = %5.1f %% of the STREAM copy loop\n",
              bytes / per_it * 1e-9, 100.0 * bytes / per_it / stream);
  // What a row-by-row CSR iteration streams (every column of every row, in
  // each of the three passes), over the time this one takes.
  const double csr = 3.0 * (12.0 * nz + 4.0 * (s.neq + 1)) + (bytes - mat);
  std::printf("  row-by-row CSR bytes, same time      %8.1f MB: %5.2f GB/s = %5.1f %% of copy\n",
              csr * 1e-6, csr / per_it * 1e-9, 100.0 * csr / per_it / copy);
  std::printf("  relative residual |f - K x| / |f|    %8.2e\n", residual(s, o.x));

  const Peer e = run_eigen(s, tol);
  double dx = 0.0, xn = 0.0;
  for (int i = 0; i < s.neq; ++i) {
    dx = std::max(dx, std::fabs(o.x[i] - e.x[i]));
    xn = std::max(xn, std::fabs(e.x[i]));
  }
  std::printf("Eigen CG + IncompleteCholesky: %d iterations, solve %.3f s\n", e.itc, e.total);
  std::printf("  relative residual |f - K x| / |f|    %8.2e\n", residual(s, e.x));
  std::printf("  largest difference to ossa / |x|max  %8.2e\n", dx / xn);
  std::printf("speed-up over Eigen per solve          %8.2f x\n", e.total / o.total);
  return 0;
}
