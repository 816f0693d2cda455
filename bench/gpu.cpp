// Device CG on the stiffness of a tetrahedral box (bench/mats.hpp, three
// unknowns a node, a modulus per element, springs under the bottom face).
//
// On the host, always: the per-solve conversion (GPUEXPAND, the plan and the
// index and value passes of the split), and the whole solve through the host
// emulation of the kernels, with its iterations.
// On a device, when one answers: one iteration's time and its effective
// bandwidth (the bytes its kernels read and write, each once: the ELL values
// with their padding, the ELL columns in use, the COO arrays, and each vector
// once a kernel, 17 vector passes in all) against the device's own copy
// bandwidth measured in the same run, and the whole solve on the device.
//
// Usage: bench_gpu [cubes per side, default 24]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "clock.hpp"
#include "mats.hpp"
#include "model/model.hpp"
#include "solvers/gpu/gpu.hpp"

using namespace ossa;
using bench::now;

namespace {

// The stored lower half (diagonal first) of the symmetric matrix held as its upper half.
void lower(const bench::UpperCsr& U, std::vector<int>& IA, std::vector<int>& JA, std::vector<double>& AV) {
  const int n = U.n;
  std::vector<int> len(n, 1);
  for (int i = 0; i < n; ++i)
    for (int e = U.IA[i]; e < U.IA[i + 1] - 1; ++e) ++len[U.JA[e] - 1];
  IA.assign(n + 1, 1);
  for (int i = 0; i < n; ++i) IA[i + 1] = IA[i] + len[i];
  JA.resize(IA[n] - 1);
  AV.resize(IA[n] - 1);
  std::vector<int> cur(IA.begin(), IA.end() - 1);
  for (int i = 0; i < n; ++i) ++cur[i];  // the diagonal's slot first
  for (int i = 0; i < n; ++i) {
    JA[IA[i] - 1] = i + 1;
    AV[IA[i] - 1] = U.AV[U.IA[i] - 1];
    for (int e = U.IA[i]; e < U.IA[i + 1] - 1; ++e) {
      const int j = U.JA[e] - 1;
      JA[cur[j] - 1] = i + 1;
      AV[cur[j]++ - 1] = U.AV[e];
    }
  }
}

struct Full {
  std::vector<int> IAF, JAF;
  std::vector<double> AF, DIAG;
};

// The iterations of the last solve in gpu_solver.log.
std::string lastline() {
  std::FILE* f = std::fopen("gpu_solver.log", "r");
  std::string last, line;
  char buf[512];
  while (f && std::fgets(buf, sizeof buf, f)) {
    line = buf;
    if (line.find("itr = ") != std::string::npos) last = line;
  }
  if (f) std::fclose(f);
  while (!last.empty() && (last.back() == '\n' || last.back() == ' ')) last.pop_back();
  return last;
}

// A whole solve through OPS from zero; seconds.
double solve(const solvers::GPUOPS& ops, const Full& a, int n, const std::vector<double>& f) {
  std::vector<double> x(n, 0.0), diag = a.DIAG;
  model::GPUDATA g;
  g.NAME = "bench";
  const double t0 = now();
  const int st = solvers::GPUCG(g, ops, a.AF.data(), a.IAF.data(), a.JAF.data(), n, x.data(), f.data(), 1e-8,
                                diag.data(), 0);
  const double t = now() - t0;
  solvers::GPUDONE(g, ops);
  std::printf("    status %d, %s\n", st, lastline().c_str());
  return t;
}

// Seconds of one iteration on the device, over REPS iterations.
double iteration(const solvers::GPUOPS& ops, const solvers::GPUPLAN& p, const solvers::GPUHOST& h,
                 const std::vector<double>& f, const std::vector<double>& dinv, int REPS) {
  solvers::GPUMEM d;
  std::vector<double> x(p.NEQ, 0.0);
  ops.CARRY(d, false);
  ops.UPLOAD(d, p, h, x.data(), f.data(), dinv.data());
  ops.SPMV(d, p, d.DX);
  ops.RPR0(d, p);
  ops.DOT(d, p, d.DR, d.DZ, 2);
  ops.STATE(d, 2);
  const double t0 = now();
  for (int k = 0; k < REPS; ++k) {
    ops.SPMV(d, p, d.DP);
    ops.DOT(d, p, d.DP, d.DQ, 3);
    ops.ALPXR(d, p);
    ops.DOT(d, p, d.DR, d.DZ, 2);
    ops.BETP(d, p);
  }
  ops.STATE(d, 2);  // waits for the last kernel
  const double t = (now() - t0) / REPS;
  ops.RELEASE(d);
  ops.CARRY(d, true);
  const char* e = ops.ERROR();
  if (e) std::printf("  device error: %s\n", e);
  return t;
}

}  // namespace

int main(int argc, char** argv) {
  const int side = argc > 1 ? std::atoi(argv[1]) : 24;
  const bench::UpperCsr U = bench::tet_stiffness(side, side, side);
  std::vector<int> IA, JA;
  std::vector<double> AV;
  lower(U, IA, JA, AV);
  const int n = U.n, nz = static_cast<int>(JA.size()), nfull = 2 * nz - n;
  std::printf("bench_gpu: %d^3 cubes, NEQ %d, NZ (half) %d, full %d\n", side, n, nz, nfull);

  // ---- the conversion of every solve, on the host
  Full a;
  a.IAF.resize(n + 1);
  a.JAF.resize(nfull);
  a.AF.resize(nfull);
  a.DIAG.resize(n);
  double t0 = now();
  solvers::GPUEXPAND(IA.data(), JA.data(), AV.data(), nz, n, a.IAF.data(), a.JAF.data(), a.AF.data(), nfull,
                     a.DIAG.data());
  const double texp = now() - t0;
  t0 = now();
  const solvers::GPUPLAN p = solvers::GPUPLANOF(a.IAF.data(), n);
  const double tplan = now() - t0;
  solvers::GPUHOST h;
  t0 = now();
  solvers::GPUSPLITIDX(p, a.IAF.data(), a.JAF.data(), h);
  const double tidx = now() - t0;
  t0 = now();
  solvers::GPUSPLITVAL(p, a.IAF.data(), a.AF.data(), h);
  const double tval = now() - t0;
  t0 = now();
  solvers::GPUSPLITVAL(p, a.IAF.data(), a.AF.data(), h);  // again, into arrays already touched
  const double tval2 = now() - t0;
  std::printf("  ELL width %d (longest row %d, mean %.2f), NCOO %d, %s layout\n", p.EW, p.MAXNZ, p.MEAN, p.NCOO,
              p.PITCHED ? "pitched" : "plain");
  std::printf("  host: expand %.4f s, plan %.4f s, split index %.4f s, split values %.4f s (%.4f s again)\n",
              texp, tplan, tidx, tval, tval2);

  std::vector<double> f(n, 0.0);
  for (int i = n - 3 * (side + 1) * (side + 1); i < n; i += 3) f[i] = 1.0;  // top face pulled sideways
  std::printf("  emulated solve on the host:\n");
  const double temu = solve(solvers::GPUEMUOPS(), a, n, f);
  std::printf("    %.3f s\n", temu);

  // ---- on the device
  const double copy = solvers::GPUCOPYBW(256L << 20);
  if (copy <= 0.0) {
    std::printf("  no CUDA device: device figures skipped\n");
    return 0;
  }
  const solvers::GPUOPS& dev = solvers::GPUDEVICEOPS();
  dev.SETDEV(0);
  std::vector<double> dinv(n);
  for (int i = 0; i < n; ++i) dinv[i] = 1.0 / a.DIAG[i];
  const double it = iteration(dev, p, h, f, dinv, 200);
  const double bytes = 8.0 * p.EW * n + 4.0 * p.NZELL + 16.0 * p.NCOO + 136.0 * n;
  const double bw = bytes / it * 1e-9;
  std::printf("  device: one iteration %.1f us, %.1f MB moved, %.1f GB/s effective\n", it * 1e6, bytes * 1e-6, bw);
  std::printf("  device copy bandwidth %.1f GB/s: iteration at %.0f %% of it\n", copy, 100.0 * bw / copy);
  std::printf("  whole solve on the device:\n");
  const double tdev = solve(dev, a, n, f);
  std::printf("    %.3f s\n", tdev);
  return 0;
}
