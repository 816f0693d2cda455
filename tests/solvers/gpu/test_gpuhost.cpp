// The device CG on the host: the ELL width rule with its edge cases, the layouts and the COO plan, products of
// the emulated kernels, and the iteration through the emulation: the
// processor CG's solution (which a wrong full matrix of the stored half
// would miss), its sparse readings of r.z and gpu_solver.log, and the ways it
// ends; the femur example through the emulated device against the
// processor CG, its iterations in the residual table; and the device report
// of gpu_device.txt from the runtime's answers (made up, as a machine would
// give them).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "../examples/femur/femur_deck.hpp"
#include "deckgen.hpp"
#include "job/job.hpp"
#include "model/model.hpp"
#include "solvers/cg/cg.hpp"
#include "solvers/gpu/gpucases.hpp"
#include "testutil.hpp"

using namespace ossa;
using solvers::GPUOPS;
using solvers::GPUPLAN;

namespace {

// The iterations at which r.z was read: the emulation with its reads of
// DSTATE counted against the dot products (two an iteration, one at the start).
std::vector<int> g_reads;
int g_dots = 0;
void countdot(solvers::GPUMEM& d, const GPUPLAN& p, const double* a, const double* b, int slot) {
  ++g_dots;
  solvers::GPUEMUOPS().DOT(d, p, a, b, slot);
}
double countstate(solvers::GPUMEM& d, int slot) {
  g_reads.push_back((g_dots - 1) / 2 - 1);
  return solvers::GPUEMUOPS().STATE(d, slot);
}
const char* oom() { return "out of memory"; }

// The femur example with the device field of its CNTR3 card (columns 41-45)
// set to DEVICE, run in a child process (a stop must not end the test) on the
// emulated device; the displacements of the last frame.
std::vector<double> femur(int device) {
  std::FILE* f = std::fopen("EXEC.INP", "w");
  example::FemurOptions o;
  o.H = 5.0;  // coarser meshes need more than NEQ/5 iterations
  o.NSTEP = 1;
  example::write_femur_deck(f, o);
  std::fclose(f);
  test::set_device(device);
  EXPECT_EXIT(
      {
        if (!std::freopen("stdout.txt", "w", stdout)) std::abort();
        model::Model m;
        m.GPU.EMULATE = true;
        if (job::JOBOPEN(m)) job::JOBRUN(m);
        std::exit(7);
      },
      ::testing::ExitedWithCode(7), "");
  return test::frame_disps(test::result_frames());
}

}  // namespace

TEST(GpuSplit, EllWidthLayoutAndCooPlanByCase) {
  struct Case {
    const char* what;
    std::vector<std::pair<int, int>> rows;  // {rows, length}
    int EW, NCOO;
    bool pitched;
    int ES, WARPS, INTERVAL, TAIL, ACTIVE;
  };
  const Case cases[] = {
      {"below 4096 rows: all in COO", {{1000, 5}}, 0, 5000, true, 1000, 156, 32, 4992, 156},
      {"even rows: all in ELL, no COO kernel", {{12000, 20}}, 20, 0, true, 12000, 0, 0, 0, 0},
      {"fewer than a third longer", {{9000, 10}, {4200, 30}}, 10, 84000, true, 13200, 480, 192, 84000, 438},
      {"more than a third longer", {{7000, 10}, {5000, 30}}, 30, 0, true, 12000, 0, 0, 0, 0},
      {"fewer than 4096 longer", {{6000, 10}, {4000, 30}}, 10, 80000, true, 10000, 480, 192, 80000, 417},
      {"65536 rows: pitched", {{65536, 1}}, 1, 0, true, 65536, 0, 0, 0, 0},
      {"65537 rows: plain", {{65537, 1}}, 1, 0, false, 65552, 0, 0, 0, 0},
      {"31 COO entries: serial alone", {{31, 1}}, 0, 31, true, 31, 0, 0, 0, 0},
      {"32 COO entries: the flat path", {{32, 1}}, 0, 32, true, 32, 1, 32, 32, 1},
      {"long rows across intervals, a tail", {{100, 400}, {1, 7}}, 0, 40007, true, 101, 480, 96, 40000, 417},
  };
  const GPUOPS& emu = solvers::GPUEMUOPS();
  for (const Case& k : cases) {
    const test::Full f = test::rows_of(k.rows, 11);
    const std::vector<double> x = test::random_vec(f.n, 3);
    GPUPLAN p;
    solvers::GPUHOST h;
    const std::vector<double> y = test::ops_product(emu, f, x, p, h), want = test::product(f, x);
    EXPECT_EQ(p.EW, k.EW) << k.what;
    EXPECT_EQ(p.NCOO, k.NCOO) << k.what;
    EXPECT_EQ(p.NZELL + p.NCOO, p.NZ) << k.what;
    EXPECT_EQ(p.PITCHED, k.pitched) << k.what;
    EXPECT_EQ(p.ES, k.ES) << k.what;
    EXPECT_EQ(p.WARPS, k.WARPS) << k.what;
    EXPECT_EQ(p.INTERVAL, k.INTERVAL) << k.what;
    EXPECT_EQ(p.TAIL, k.TAIL) << k.what;
    EXPECT_EQ(p.ACTIVE, k.ACTIVE) << k.what;
    EXPECT_EQ(p.NPAD % 512, 0);
    // Slot k of row r at k ES + r, the row's head in ELL, its rest in COO in order.
    std::size_t n = 0;
    for (int r = 0; r < f.n; ++r)
      for (int e = f.IAF[r] - 1, s = 0; e < f.IAF[r + 1] - 1; ++e, ++s) {
        const bool ell = s < p.EW;
        const std::size_t at = static_cast<std::size_t>(s) * p.ES + r;
        ASSERT_EQ(ell ? h.ELLJ[at] : h.COOC[n], f.JAF[e] - 1) << k.what;
        ASSERT_EQ(ell ? h.ELLV[at] : h.COOV[n], f.AF[e]) << k.what;
        if (!ell) { ASSERT_EQ(h.COOR[n++], r) << k.what; }
      }
    double err = 0.0, scale = 0.0;
    for (int r = 0; r < f.n; ++r) err = std::max(err, std::fabs(y[r] - want[r])), scale += std::fabs(want[r]);
    EXPECT_LT(err, 1e-13 * (1.0 + scale / f.n)) << k.what;
    for (int r = f.n; r < p.NPAD; ++r) ASSERT_EQ(y[r], 0.0) << k.what << ": padding";
  }
}

TEST(GpuCg, EmulationGivesTheProcessorSolutionWithSparseReadings) {
  test::ScratchDir dir;
  const test::Csr c = test::grid(70, 0.02);
  const std::vector<double> f = test::random_vec(c.n, 7);
  // The processor CG from zero; the device CG from a start of its own.
  model::Model m;
  test::open_log(m);
  test::Csr cc = c;
  std::vector<double> ff = f, xc(c.n), lv(c.AV.size()), w(6L * c.n);
  std::vector<int> grp(c.n);
  solvers::CGSOLVE(m, cc.AV.data(), lv.data(), ff.data(), xc.data(), w.data(), grp.data(), c.n,
                   static_cast<int>(c.JA.size()), c.IA.data(), c.JA.data(), 10000, 1e-10, m.UNIT(2), 0, 0);
  GPUOPS ops = solvers::GPUEMUOPS();
  ops.DOT = countdot;
  ops.STATE = countstate;
  model::GPUDATA g;
  g.NAME = "Emulation";
  std::vector<double> x = test::random_vec(c.n, 9);
  g_reads.clear();
  g_dots = 0;
  ASSERT_EQ(test::gpucg(g, ops, c, x, f, 1e-10), 0);
  double d = 0.0, xm = 0.0;
  for (int i = 0; i < c.n; ++i) d = std::max(d, std::fabs(x[i] - xc[i])), xm = std::max(xm, std::fabs(xc[i]));
  EXPECT_LT(d, 1e-7 * xm);

  // The start reading, the first after SQRT(NEQ) = 70 iterations, then gaps
  // of at most 70 that shrink as r.z nears the target; the last is the converged one.
  ASSERT_GE(g_reads.size(), 3u);
  EXPECT_EQ(g_reads[0], -1);
  EXPECT_EQ(g_reads[1], 70);
  for (std::size_t k = 2; k < g_reads.size(); ++k) {
    const int gap = g_reads[k] - g_reads[k - 1];
    EXPECT_TRUE(gap == 1 || gap == 10 || gap == 70) << gap;
    if (k > 2) { EXPECT_LE(gap, g_reads[k - 1] - g_reads[k - 2]); }
  }
  const auto l = test::read_lines("gpu_solver.log");
  ASSERT_GE(l.size(), 15u);
  const std::vector<std::string> head = {"Device 0: \"Emulation\"", "time( scalling(CPU) ) = ",
                                         "maxnz = 491", " nz_per_row = 5.14204",  " deviation = ",
                                         "column .lt. 5 > ELL", "nz_ell = 24302, nz_ell/nz = 0.964",
                                         "Memcpy2D", "time( CRS > ELL ) = ", "nz = 25196",
                                         "row = 4900 pitch_i = 4992 pitch_v = 4928",
                                         "BLOCK_SIZE=512 GRID_SIZE=10", "itr = 0, r^2 = "};
  for (std::size_t k = 0; k < head.size(); ++k) EXPECT_EQ(l[k].rfind(head[k], 0), 0u) << l[k];
  const std::string conv = "itr = " + std::to_string(g_reads.back() + 1) + ", r^2 = ";
  EXPECT_EQ(l[13].rfind(conv, 0), 0u) << l[13];
  EXPECT_NE(l[13].find("Converged!"), std::string::npos);
  EXPECT_EQ(l[14], "");

  // A second solve appends, without the device line; the start is now the answer.
  ASSERT_EQ(test::gpucg(g, solvers::GPUEMUOPS(), c, x, f, 1e-10), 0);
  const auto l2 = test::read_lines("gpu_solver.log");
  ASSERT_GT(l2.size(), l.size());
  EXPECT_EQ(l2[l.size() - 1].rfind(" time( scalling(CPU) ) = ", 0), 0u) << l2[l.size() - 1];
  solvers::GPUDONE(g, solvers::GPUEMUOPS());
  EXPECT_EQ(g.TEMPROW, nullptr);
}

TEST(GpuCg, EndsOfTheIteration) {
  test::ScratchDir dir;
  struct Case {
    const char* what;
    int n;              // equations of a 1D Laplacian
    bool zeroload;      // zero load from a zero start
    bool deviceerror;   // every question to the device answers an error
    bool zeropivot;     // a zero on the diagonal
    int status;
    const char* line;   // the log's line after the start reading
  };
  const Case cases[] = {
      {"NEQ 4: no iteration, the start reading stands", 4, false, false, false, -1, "not converged! itr = 0, r^2 = "},
      {"NEQ/5 iterations do not reach the target", 50, false, false, false, -1, "not converged! itr = 10, r^2 = "},
      {"a zero load needs no iteration", 50, true, false, false, 0, "itr = 0, r^2 = 0.0000000000e+00"},
      {"a zero pivot cannot converge", 50, false, false, true, -1, "not converged! itr = 0, r^2 = inf"},
      {"a device error", 50, false, true, false, 1, ""},
  };
  for (const Case& k : cases) {
    test::Sym s{k.n, std::vector<double>(static_cast<std::size_t>(k.n) * k.n, 0.0)};
    for (int i = 0; i < k.n; ++i) {
      s.at(i, i) = 2.0;
      if (i > 0) s.at(i, i - 1) = s.at(i - 1, i) = -1.0;
    }
    if (k.zeropivot) s.at(7, 7) = 0.0;
    const std::vector<double> f = k.zeroload ? std::vector<double>(k.n, 0.0) : test::random_vec(k.n, 1);
    std::vector<double> x(k.n, 0.0);
    GPUOPS ops = solvers::GPUEMUOPS();
    if (k.deviceerror) ops.ERROR = oom;
    model::GPUDATA g;
    EXPECT_EQ(test::gpucg(g, ops, test::half(s, true), x, f, 1e-10), k.status) << k.what;
    solvers::GPUDONE(g, ops);
    for (double v : x) ASSERT_TRUE(std::isfinite(v) || k.zeropivot) << k.what;
    const auto l = test::read_lines("gpu_solver.log");
    if (k.deviceerror) {
      ASSERT_EQ(l.size(), 2u) << k.what;
      EXPECT_EQ(l[1], "error : out of memory");
      EXPECT_EQ(g.MARK, 0) << "set-up again at the next solve";
      continue;
    }
    EXPECT_EQ(g.MARK, 12345);
    ASSERT_GE(l.size(), 14u) << k.what;
    EXPECT_EQ(l[13].rfind(k.line, 0), 0u) << k.what << ": " << l[13];
  }
}

TEST(GpuCg, FemurOnTheEmulatedDeviceAsOnTheProcessor) {
  test::ScratchDir dir;
  const std::vector<double> cpu = femur(-1), gpu = femur(0);
  const std::string log = test::read_file("EXEC.LOG"), solver = test::read_file("gpu_solver.log");
  EXPECT_NE(log.find("Device  0: Host emulation"), std::string::npos);
  EXPECT_NE(log.find("LINEAR EQUATION SOLVER : CG (GPU)"), std::string::npos);
  EXPECT_NE(log.find(" *****  CG-METHOD (GPU) SOLVER MESSAGE  *****"), std::string::npos);
  EXPECT_NE(solver.find("Converged!"), std::string::npos);
  EXPECT_EQ(solver.find("not converged"), std::string::npos);
  // The residual table counts the iterations of the device's first solve.
  const std::size_t at = solver.rfind("itr = ", solver.find("Converged!")) + 6;
  const std::string its = solver.substr(at, solver.find(',', at) - at);
  EXPECT_NE(log.find(std::string(10 - its.size(), ' ') + its + "\n"), std::string::npos) << its;
  ASSERT_EQ(gpu.size(), cpu.size());
  ASSERT_FALSE(cpu.empty());
  EXPECT_LT(test::mismatch(cpu, gpu), 1e-5);
}

namespace {

using solvers::GPUINFO;
using solvers::GPUPROPS;


GPUPROPS card(const char* name, int major, int minor) {
  GPUPROPS p;
  p.name = name;
  p.major = major;
  p.minor = minor;
  p.globalmem = 85045608448ULL;
  p.clockkhz = 1980000;
  p.computemode = 3;
  p.ecc = 1;
  return p;
}

// The report of INFO for DEVICE: the lines, the device number after it and the name.
std::vector<std::string> report(const GPUINFO& info, int& dev, std::string& name) {
  std::FILE* f = std::fopen("gpu_device.txt", "w");
  solvers::GPUREPORT(f, info, dev, name, 80);
  std::fclose(f);
  return test::read_lines("gpu_device.txt");
}

std::size_t find(const std::vector<std::string>& l, const std::string& s) {
  for (std::size_t k = 0; k < l.size(); ++k)
    if (l[k] == s) return k;
  return l.size();
}

}  // namespace

TEST(GpuProbe, ReportsAndSelectsTheDevice) {
  test::ScratchDir dir;
  struct Case {
    const char* what;
    GPUINFO info;
    int dev, after;
    const char* name;
    std::vector<std::string> lines;  // in this order, others between
  };
  GPUINFO none;
  none.countok = false;
  GPUINFO two;
  two.driver = 13000;
  two.runtime = 12080;
  two.props = {card("First", 8, 0), card("Second", 9, 0)};
  GPUINFO old;
  old.props = {card("Old", 1, 2)};
  const Case cases[] = {
      {"count unreadable, no device",
       none, 0, -1, "",
       {"KK(120) = 0", "cudaGetDeviceCount FAILED CUDA Driver and Runtime version may be mismatched.",
        "There is no device supporting CUDA", "Device No.0 is not found.", ""}},
      {"the second of two",
       two, 1, 1, "Second",
       {"KK(120) = 1", "There are 2 devices supporting CUDA", "", "Device 0: \"First\"",
        "  CUDA Driver Version:                           13.0",
        "  CUDA Runtime Version:                          12.80",
        "  CUDA Capability Major/Minor version number:    8.0",
        "  Total amount of global memory:                 85045608448 bytes",
        "  Clock rate:                                    1.98 GHz",
        "  Compute mode:                                  Unknown",
        "  Device has ECC support enabled:                Yes",
        "  Device is using TCC driver mode:               No", "", "Device 1: \"Second\""}},
      {"a third device that is not there", two, 2, -1, "", {"KK(120) = 2", "Device No.2 is not found."}},
      {"no double precision",
       old, 0, -1, "Old",
       {"There is 1 device supporting CUDA", "  CUDA Capability Major/Minor version number:    1.2",
        "Device No.0 does not support Double Precision",
        "  Total amount of global memory:                 85045608448 bytes"}},
  };
  for (const Case& k : cases) {
    int dev = k.dev;
    std::string name;
    const auto l = report(k.info, dev, name);
    EXPECT_EQ(dev, k.after) << k.what;
    EXPECT_EQ(name, k.name) << k.what;
    std::size_t at = 0;
    for (const std::string& s : k.lines) {
      const std::size_t f = find(std::vector<std::string>(l.begin() + static_cast<long>(at), l.end()), s);
      ASSERT_LT(at + f, l.size()) << k.what << ": no line '" << s << "' in order";
      at += f + 1;
    }
  }
  // A device report has its 22 lines; the compute modes in words.
  int dev = 0;
  std::string name;
  const auto l = report(two, dev, name);
  EXPECT_EQ(l.size(), 2u + 2u * 24u);
  const char* modes[] = {"Default (multiple host threads can use this device simultaneously)",
                         "Exclusive (only one host thread at a time can use this device)",
                         "Prohibited (no host thread can use this device)"};
  for (int m = 0; m < 3; ++m) {
    GPUINFO one;
    one.props = {card("M", 8, 6)};
    one.props[0].computemode = m;
    dev = 0;
    EXPECT_LT(find(report(one, dev, name), std::string("  Compute mode:                                  ") + modes[m]),
              100u);
  }
}
