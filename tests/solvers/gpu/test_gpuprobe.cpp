// The device report of gpu_device.txt from the runtime's answers (made up
// here, as a machine would give them), and the device check's log lines.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "model/model.hpp"
#include "solvers/gpu/gpu.hpp"
#include "testutil.hpp"

using namespace ossa;
using solvers::GPUINFO;
using solvers::GPUPROPS;

namespace {

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

TEST(GpuCheck, LogLinesAndTheDeviceNumber) {
  // On a machine without a device (or a build without CUDA) the check turns
  // KK(28) into -1; with one, device 0 stands and the log names it.
  test::ScratchDir dir;
  model::Model m;
  test::open_log(m);
  m.KK(kk::DEVICE) = 0;
  solvers::GPUCHECK(m);
  base::close_unit(m.unit(m.UNIT(2)));
  const auto l = test::read_lines("EXEC.LOG");
  ASSERT_EQ(l.size(), 2u);
  EXPECT_EQ(l[0], "            * * *   GPU DEVICE CHECK   * * *");
  EXPECT_TRUE(m.GPU.CHECKED);
  EXPECT_TRUE(test::exists("gpu_device.txt"));
  if (solvers::GPUQUERY().props.empty()) {
    EXPECT_EQ(m.KK(kk::DEVICE), -1);
    EXPECT_EQ(l[1], "                     Error: Device No. is changed into '-1(CPU)'");
  } else {
    EXPECT_EQ(m.KK(kk::DEVICE), 0);
    EXPECT_EQ(l[1], "                     Device  0: " + m.GPU.NAME);
  }
}
