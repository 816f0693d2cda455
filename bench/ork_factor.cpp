// Factorisation and solve of tet stiffness matrices with ORK, MUMPS (LDL^T,
// METIS order given, one process) and CHOLMOD (supernodal Cholesky, same
// order), one thread each, against the machine's one-thread DGEMM rate; and
// the row of selector -2: MUMPS through the product's own driver, its
// analysis (METIS order included) timed apart.
// Usage: bench_ork_factor [cells... | femurH...]  (default 31 45: about 98k and
// 292k equations; "femur1.5" is the example femur on cubes of 1.5 mm, its
// stiffness built by the program's own deck reader, index and assembly)
#include <cblas.h>
#include <cholmod.h>
#include <dmumps_c.h>
#include <metis.h>
#include <mpi.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <cstdlib>
#include <vector>

#include <unistd.h>

#include <string>

#include "../examples/femur/femur_deck.hpp"
#include "deck/deck.hpp"
#include "job/job.hpp"
#include "elements/family.hpp"
#include "solution/index.hpp"
#include "solution/assembly.hpp"
#include "solvers/ork/ork.hpp"
#include "solvers/ork/orkfact.hpp"
#include "solvers/pardiso/pardiso.hpp"
#include "clock.hpp"
#include "mats.hpp"

extern "C" void openblas_set_num_threads(int);

using namespace ossa::solvers;
using ossa::bench::now;
using ossa::bench::UpperCsr;

namespace {

// Processor time of this process, in seconds: the machine may be shared.
double cpu() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

struct Rate { double wall = 0, cpu = 0; };

Rate dgemm_rate() {
  const int n = 2000;
  std::vector<double> a(n * n, 1.0 / n), b(n * n, 0.5), c(n * n, 0.0);
  cblas_dgemm(CblasColMajor, CblasNoTrans, CblasNoTrans, n, n, n, 1.0, a.data(), n, b.data(), n, 0.0, c.data(), n);
  const double t = now(), p = cpu();
  cblas_dgemm(CblasColMajor, CblasNoTrans, CblasNoTrans, n, n, n, 1.0, a.data(), n, b.data(), n, 1.0, c.data(), n);
  const double fl = 2.0 * n * n * static_cast<double>(n) * 1e-9;
  return {fl / (now() - t), fl / (cpu() - p)};
}

double resid(const UpperCsr& A, const std::vector<double>& x, const std::vector<double>& b) {
  const auto y = ossa::bench::csr_mult(A, x);
  double r = 0.0, xm = 0.0;
  for (int i = 0; i < A.n; ++i) { r = std::max(r, std::fabs(y[i] - b[i])); xm = std::max(xm, std::fabs(x[i])); }
  return r / (ossa::bench::csr_norm(A) * xm);
}

struct Res { double tfact = 0, cfact = 0, tsolve = 0, flops = 0, res = 0; };

Res run_ork(const UpperCsr& A, const std::vector<double>& b) {
  Res r;
  ORKDATA o;
  const double t0 = now(), p0 = cpu();
  const ORKRESULT a = ORKANAP(o, 3000000000L, A.n, A.IA.data(), A.JA.data(), 1);
  std::printf("  ORK analysis %.2f s wall %.2f s cpu, status %d, fronts %d, largest front %d, factor entries %ld\n",
              now() - t0, cpu() - p0, a.STATUS, o.NSUP, o.MAXFO, o.FACT);
  ORKNUM n;
  std::vector<double> x(A.n);
  double t = now(), p = cpu();
  const int st = ORKFACT(o, n, A.IA.data(), A.JA.data(), A.AV.data(), nullptr, nullptr);
  r.tfact = now() - t;
  r.cfact = cpu() - p;
  t = now();
  const int st2 = st == 0 ? ORKSOLVE(o, n, 1, b.data(), x.data()) : st;
  r.tsolve = now() - t;
  if (st2 != 0) std::printf("  ORK status %d\n", st2);
  r.flops = o.OPS;
  r.res = resid(A, x, b);
  return r;
}

std::vector<idx_t> metis_order(const UpperCsr& A) {
  std::vector<std::vector<idx_t>> adj(A.n);
  for (int i = 0; i < A.n; ++i)
    for (int e = A.IA[i]; e < A.IA[i + 1] - 1; ++e) {
      adj[i].push_back(A.JA[e] - 1);
      adj[A.JA[e] - 1].push_back(i);
    }
  std::vector<idx_t> xadj(A.n + 1, 0), adjncy, perm(A.n), iperm(A.n);
  for (int i = 0; i < A.n; ++i) {
    adjncy.insert(adjncy.end(), adj[i].begin(), adj[i].end());
    xadj[i + 1] = static_cast<idx_t>(adjncy.size());
  }
  idx_t options[METIS_NOPTIONS];
  METIS_SetDefaultOptions(options);
  idx_t nv = A.n;
  METIS_NodeND(&nv, xadj.data(), adjncy.data(), nullptr, options, perm.data(), iperm.data());
  return iperm;  // position of each equation, from 0
}

Res run_mumps(const UpperCsr& A, const std::vector<double>& b, const std::vector<idx_t>& pos) {
  Res r;
  std::vector<MUMPS_INT> irn, jcn, perm(A.n);
  for (int i = 0; i < A.n; ++i)
    for (int e = A.IA[i] - 1; e < A.IA[i + 1] - 1; ++e) { irn.push_back(i + 1); jcn.push_back(A.JA[e]); }
  for (int i = 0; i < A.n; ++i) perm[i] = pos[i] + 1;
  std::vector<double> av = A.AV, x = b;
  DMUMPS_STRUC_C id{};
  id.job = -1;
  id.par = 1;
  id.sym = 2;  // symmetric indefinite, as ORK
  PDSNPROC();  // MPI started, a world of one
  id.comm_fortran = static_cast<MUMPS_INT>(MPI_Comm_c2f(MPI_COMM_WORLD));
  dmumps_c(&id);
  id.icntl[0] = id.icntl[1] = id.icntl[2] = -1;
  id.icntl[3] = 0;
  id.icntl[6] = 1;  // ICNTL(7): the order given
  id.n = A.n;
  id.nnz = static_cast<MUMPS_INT8>(irn.size());
  id.irn = irn.data();
  id.jcn = jcn.data();
  id.a = av.data();
  id.rhs = x.data();
  id.perm_in = perm.data();
  id.job = 1;
  dmumps_c(&id);
  double t = now(), p = cpu();
  id.job = 2;
  dmumps_c(&id);
  r.tfact = now() - t;
  r.cfact = cpu() - p;
  t = now();
  id.job = 3;
  dmumps_c(&id);
  r.tsolve = now() - t;
  if (id.infog[0] < 0) std::printf("  MUMPS failed: INFOG(1)=%d INFOG(2)=%d\n", id.infog[0], id.infog[1]);
  r.flops = id.rinfog[2];  // RINFOG(3): operations of the elimination
  id.job = -2;
  dmumps_c(&id);
  r.res = resid(A, x, b);
  return r;
}

// Selector -2 as the program runs it: analysis once, then factorisation,
// solve and release of the factor (the factor time includes the solve), and
// the solve of a later iteration.
Res run_pds(const UpperCsr& A, const std::vector<double>& b) {
  Res r;
  ossa::model::PDSDATA p;
  double t = now(), p0 = cpu();
  const PdsStatus sa = PDSANA(p, A.n, A.IA.data(), A.JA.data(), A.AV.data());
  std::printf("  sel -2 analysis %.2f s wall %.2f s cpu, status %d, estimate %.1f MB\n", now() - t, cpu() - p0, sa,
              static_cast<double>(p.MEMP + p.MEMN) * 4.0e-6);
  std::vector<double> x = b;
  t = now();
  p0 = cpu();
  const PdsStatus sf = PDSFSOLVE(p, A.AV.data(), x.data());
  r.tfact = now() - t;
  r.cfact = cpu() - p0;
  if (sf != PDS_OK) std::printf("  sel -2 status %d, INFOG(1) %d\n", sf, p.INFO1);
  // A later iteration: the symbolic analysis again on the kept order.
  std::vector<double> x2 = b;
  t = now();
  p0 = cpu();
  PDSFSOLVE(p, A.AV.data(), x2.data());
  std::printf("  sel -2 next solve %.2f s wall %.2f s cpu (symbolic analysis again, factor, solve)\n", now() - t,
              cpu() - p0);
  PDSEND(p);
  r.res = resid(A, x, b);
  return r;
}

Res run_cholmod(const UpperCsr& A, const std::vector<double>& b, const std::vector<idx_t>& pos) {
  Res r;
  cholmod_common c;
  cholmod_start(&c);
  c.supernodal = CHOLMOD_SUPERNODAL;
  c.nmethods = 1;
  c.method[0].ordering = CHOLMOD_GIVEN;
  c.postorder = 1;
  // Row i of the upper half is column i of the lower half.
  cholmod_sparse* S = cholmod_allocate_sparse(A.n, A.n, A.nz(), 1, 1, -1, CHOLMOD_REAL, &c);
  for (int i = 0; i <= A.n; ++i) static_cast<int*>(S->p)[i] = A.IA[i] - 1;
  for (long e = 0; e < A.nz(); ++e) {
    static_cast<int*>(S->i)[e] = A.JA[e] - 1;
    static_cast<double*>(S->x)[e] = A.AV[e];
  }
  std::vector<int> perm(A.n);
  for (int i = 0; i < A.n; ++i) perm[pos[i]] = i;
  cholmod_factor* L = cholmod_analyze_p(S, perm.data(), nullptr, 0, &c);
  double t = now(), p = cpu();
  cholmod_factorize(S, L, &c);
  r.tfact = now() - t;
  r.cfact = cpu() - p;
  r.flops = c.fl;
  cholmod_dense* B = cholmod_allocate_dense(A.n, 1, A.n, CHOLMOD_REAL, &c);
  std::copy(b.begin(), b.end(), static_cast<double*>(B->x));
  t = now();
  cholmod_dense* X = cholmod_solve(CHOLMOD_A, L, B, &c);
  r.tsolve = now() - t;
  const std::vector<double> x(static_cast<double*>(X->x), static_cast<double*>(X->x) + A.n);
  r.res = resid(A, x, b);
  cholmod_free_dense(&X, &c);
  cholmod_free_dense(&B, &c);
  cholmod_free_factor(&L, &c);
  cholmod_free_sparse(&S, &c);
  cholmod_finish(&c);
  return r;
}

// Wall and processor time of the factorisation, the rate on each, and ORK's
// processor time over this one's.
void line(const char* name, const Res& r, const Res& ork) {
  std::printf("  %-8s factor %8.2f s wall %8.2f s cpu %6.2f GFLOP/s cpu (%.3g flops)  solve %6.3f s  residual %.1e"
              "  ORK/this cpu %.2f\n",
              name, r.tfact, r.cfact, r.flops / r.cfact * 1e-9, r.flops, r.tsolve, r.res, ork.cfact / r.cfact);
}

// The femur example's stiffness (upper half) at cube side H, through the
// program's own reading, indexing and assembly.
UpperCsr femur_matrix(double H) {
  char tmpl[] = "/tmp/ossa-bench-femur.XXXXXX";
  if (!mkdtemp(tmpl) || chdir(tmpl) != 0) std::exit(1);
  ossa::example::FemurOptions o;
  o.H = H;
  o.SOLVER = -1;  // read as an ORK job, assembled below without a solver
  std::FILE* f = std::fopen("EXEC.INP", "w");
  if (!f) std::exit(1);
  ossa::example::write_femur_deck(f, o);
  std::fclose(f);
  static ossa::model::Model m;
  if (!ossa::job::JOBOPEN(m)) std::exit(1);
  ossa::deck::DECKIN(m);
  m.KK(ossa::kk::SOLVER) = 3;  // the direct solvers' upper half, with no solver prepared by the index
  ossa::model::MODELALLOC(m);
  ossa::elements::ELEM_INIT(m);
  ossa::solution::DOFINIT(m);
  ossa::solution::EQINDEX(m, 0);
  ossa::solution::STFASM(m, 1);
  UpperCsr A;
  A.n = m.NEQ();
  A.IA.assign(m.IA.begin(), m.IA.end());
  A.JA.assign(m.JA.begin(), m.JA.end());
  A.AV.assign(m.AV.begin(), m.AV.end());
  for (const char* name : {"EXEC.INP", "EXEC.LOG"}) std::remove(name);
  if (chdir("/tmp") == 0) rmdir(tmpl);
  return A;
}

}  // namespace

int main(int argc, char** argv) {
  openblas_set_num_threads(1);
  std::vector<std::string> cells;
  for (int i = 1; i < argc; ++i) cells.push_back(argv[i]);
  if (cells.empty()) cells = {"31", "45"};
  Rate peak = dgemm_rate();
  std::printf("DGEMM one thread: %.2f GFLOP/s wall, %.2f GFLOP/s cpu\n", peak.wall, peak.cpu);
  for (const std::string& c : cells) {
    const bool femur = c.rfind("femur", 0) == 0;
    const double size = std::atof(c.c_str() + (femur ? 5 : 0));
    const int nc = static_cast<int>(size);
    const UpperCsr A = femur ? femur_matrix(size) : ossa::bench::tet_stiffness(nc, nc, nc);
    std::vector<double> b(A.n);
    for (int i = 0; i < A.n; ++i) b[i] = std::sin(0.37 * i);
    if (femur) std::printf("femur, cubes of %.2f mm, %d equations, %ld entries in the upper half\n", size, A.n, A.nz());
    else std::printf("cube %d^3 cells, %d equations, %ld entries in the upper half\n", nc, A.n, A.nz());
    const Res ork = run_ork(A, b);
    const auto pos = metis_order(A);
    const Res mu = run_mumps(A, b, pos);
    const Res ch = run_cholmod(A, b, pos);
    Res pds = run_pds(A, b);
    pds.flops = mu.flops;
    line("ORK", ork, ork);
    line("MUMPS", mu, ork);
    line("sel -2", pds, ork);
    line("CHOLMOD", ch, ork);
    const Rate again = dgemm_rate();
    std::printf("  DGEMM again %.2f GFLOP/s cpu; ORK at %.0f%% of the better DGEMM cpu rate\n", again.cpu,
                100.0 * ork.flops / ork.cfact * 1e-9 / std::max(peak.cpu, again.cpu));
    peak.cpu = std::max(peak.cpu, again.cpu);
  }
  return 0;
}
