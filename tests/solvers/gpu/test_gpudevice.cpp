// The device CG on a CUDA device: the kernels give the emulation's numbers
// bit for bit (products in every layout and COO path, whole solves), and the
// femur example solved on the device has the processor CG's displacements.
// Every test skips where no device answers (a build without CUDA, or a
// machine without a device).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "deckgen.hpp"
#include "solvers/gpu/gpucases.hpp"
#include "testutil.hpp"

using namespace ossa;
using solvers::GPUOPS;

namespace {

bool nodevice() { return !solvers::DEVLAYER() || solvers::GPUQUERY().props.empty(); }

// GPUCG through OPS on the grid system from zero; the solution and the log.
std::vector<double> solve(const GPUOPS& ops, int side, int& status, std::vector<std::string>& log) {
  const test::Csr c = test::grid(side, 0.02);
  std::vector<double> x(c.n, 0.0);
  const std::vector<double> f = test::random_vec(c.n, 7);
  model::GPUDATA g;
  status = test::gpucg(g, ops, c, x, f, 1e-10);
  solvers::GPUDONE(g, ops);
  log = test::read_lines("gpu_solver.log");
  return x;
}

// The femur example with the CNTR3 card's device field (columns 41-45) set
// to DEVICE; the displacements of its last frame.
std::vector<double> femur(int device) {
  const std::string bin = OSSA_BIN;
  const std::string mk = bin.substr(0, bin.rfind('/') + 1) + "ossa-mkfemur 4.0 > EXEC.INP";
  if (std::system(mk.c_str()) != 0) return {};
  test::set_device(device);
  const test::RunResult r = test::run_ossa(600);
  EXPECT_EQ(r.status, 0);
  return test::frame_disps(test::result_frames());
}

}  // namespace

TEST(GpuDevice, ProductsAsTheEmulationBitForBit) {
  if (nodevice()) GTEST_SKIP() << "no CUDA device";
  const std::vector<std::vector<std::pair<int, int>>> cases = {
      {{1000, 5}},   {{12000, 20}}, {{9000, 10}, {4200, 30}}, {{6000, 10}, {4000, 30}},
      {{65536, 1}},  {{65537, 3}},  {{31, 1}},                {{32, 1}},
      {{100, 400}, {1, 7}},         {{70000, 12}, {20000, 40}}};
  const GPUOPS& dev = solvers::GPUDEVICEOPS();
  dev.SETDEV(0);
  for (const auto& rows : cases) {
    const test::Full f = test::rows_of(rows, 11);
    const std::vector<double> x = test::random_vec(f.n, 3);
    solvers::GPUPLAN p;
    solvers::GPUHOST h;
    const std::vector<double> y = test::ops_product(dev, f, x, p, h);
    const char* e = dev.ERROR();
    ASSERT_EQ(e, nullptr) << e;
    const std::vector<double> want = test::ops_product(solvers::GPUEMUOPS(), f, x, p, h);
    for (int r = 0; r < p.NPAD; ++r) ASSERT_EQ(y[r], want[r]) << "rows " << f.n << ", row " << r;
  }
}

TEST(GpuDevice, SolvesAsTheEmulationBitForBit) {
  if (nodevice()) GTEST_SKIP() << "no CUDA device";
  test::ScratchDir dir;
  for (int side : {70, 300}) {  // pitched, then plain
    int sd = 1, se = 1;
    std::vector<std::string> ld, le;
    const std::vector<double> xd = solve(solvers::GPUDEVICEOPS(), side, sd, ld);
    const std::vector<double> xe = solve(solvers::GPUEMUOPS(), side, se, le);
    EXPECT_EQ(sd, 0);
    EXPECT_EQ(se, 0);
    EXPECT_EQ(xd, xe) << "side " << side;
    ASSERT_EQ(ld.size(), le.size());
    for (std::size_t k = 0; k < ld.size(); ++k)
      if (ld[k].rfind("itr = ", 0) == 0) { EXPECT_EQ(ld[k], le[k]); }
  }
}

TEST(GpuDevice, FemurOnTheDeviceAsOnTheProcessor) {
  if (nodevice()) GTEST_SKIP() << "no CUDA device";
  test::ScratchDir dir;
  const std::vector<double> cpu = femur(-1), gpu = femur(0);
  ASSERT_FALSE(cpu.empty());
  ASSERT_EQ(gpu.size(), cpu.size());
  EXPECT_NE(test::read_file("EXEC.LOG").find("CG (GPU)"), std::string::npos);
  EXPECT_NE(test::read_file("gpu_solver.log").find("Converged!"), std::string::npos);
  EXPECT_LT(test::mismatch(cpu, gpu), 1e-5);
}
