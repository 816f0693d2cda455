// The device check: the runtime's report in gpu_device.txt, and the check's
// lines in the log.
#include <cstdio>

#include "base/fmt.hpp"
#include "model/stop.hpp"
#include "solvers/gpu/gpu.hpp"

namespace ossa::solvers {

namespace {

const char* yesno(int v) { return v ? "Yes" : "No"; }

const char* computemode(int v) {
  switch (v) {
    case 0: return "Default (multiple host threads can use this device simultaneously)";
    case 1: return "Exclusive (only one host thread at a time can use this device)";
    case 2: return "Prohibited (no host thread can use this device)";
    default: return "Unknown";
  }
}

// The report lines of one device after its heading; a selected device
// without double precision turns DEVICE into -1.
void devicelines(std::FILE* o, const GPUINFO& info, const GPUPROPS& p, bool selected, int& DEVICE) {
  std::fprintf(o, "  CUDA Driver Version:                           %d.%d\n", info.driver / 1000,
               info.driver % 100);
  std::fprintf(o, "  CUDA Runtime Version:                          %d.%d\n", info.runtime / 1000,
               info.runtime % 100);
  std::fprintf(o, "  CUDA Capability Major/Minor version number:    %d.%d\n", p.major, p.minor);
  if (p.major < 2 && p.minor < 3 && selected) {
    std::fprintf(o, "Device No.%d does not support Double Precision\n", DEVICE);
    DEVICE = -1;
  }
  std::fprintf(o, "  Total amount of global memory:                 %llu bytes\n", p.globalmem);
  std::fprintf(o, "  Total amount of constant memory:               %u bytes\n", p.constmem);
  std::fprintf(o, "  Total amount of shared memory per block:       %u bytes\n", p.sharedperblock);
  std::fprintf(o, "  Total number of registers available per block: %d\n", p.regsperblock);
  std::fprintf(o, "  Warp size:                                     %d\n", p.warpsize);
  std::fprintf(o, "  Maximum number of threads per block:           %d\n", p.maxthreads);
  std::fprintf(o, "  Maximum sizes of each dimension of a block:    %d x %d x %d\n", p.blockdim[0],
               p.blockdim[1], p.blockdim[2]);
  std::fprintf(o, "  Maximum sizes of each dimension of a grid:     %d x %d x %d\n", p.griddim[0],
               p.griddim[1], p.griddim[2]);
  std::fprintf(o, "  Maximum memory pitch:                          %u bytes\n", p.mempitch);
  std::fprintf(o, "  Texture alignment:                             %u bytes\n", p.texalign);
  std::fprintf(o, "  Clock rate:                                    %.2f GHz\n", p.clockkhz * 1.0e-6);
  std::fprintf(o, "  Concurrent copy and execution:                 %s\n", yesno(p.overlap));
  std::fprintf(o, "  Run time limit on kernels:                     %s\n", yesno(p.timeout));
  std::fprintf(o, "  Integrated:                                    %s\n", yesno(p.integrated));
  std::fprintf(o, "  Support host page-locked memory mapping:       %s\n", yesno(p.maphost));
  std::fprintf(o, "  Compute mode:                                  %s\n", computemode(p.computemode));
  std::fprintf(o, "  Concurrent kernel execution:                   %s\n", yesno(p.concurrent));
  std::fprintf(o, "  Device has ECC support enabled:                %s\n", yesno(p.ecc));
  std::fprintf(o, "  Device is using TCC driver mode:               %s\n", yesno(p.tcc));
}

}  // namespace

void GPUREPORT(std::FILE* OUT, const GPUINFO& INFO, int& DEVICE, std::string& NAME, int NAMELEN) {
  std::fprintf(OUT, "KK(120) = %d\n", DEVICE);
  if (!INFO.countok) {
    std::fprintf(OUT, "cudaGetDeviceCount FAILED CUDA Driver and Runtime version may be mismatched.\n");
    std::printf("\nFAILED\n");
    std::fflush(stdout);
  }
  const int count = static_cast<int>(INFO.props.size());
  if (count == 0) std::fprintf(OUT, "There is no device supporting CUDA\n");
  if (count < DEVICE + 1) {
    std::fprintf(OUT, "Device No.%d is not found.\n\n", DEVICE);
    DEVICE = -1;
  }
  for (int dev = 0; dev < count; ++dev) {
    const GPUPROPS& p = INFO.props[dev];
    if (dev == 0) {
      if (p.major == 9999 && p.minor == 9999) std::fprintf(OUT, "There is no device supporting CUDA.\n");
      else if (count == 1) std::fprintf(OUT, "There is 1 device supporting CUDA\n");
      else std::fprintf(OUT, "There are %d devices supporting CUDA\n", count);
    }
    std::fprintf(OUT, "\nDevice %d: \"%s\"\n", dev, p.name.c_str());
    const bool selected = dev == DEVICE;
    if (selected) NAME = p.name.substr(0, static_cast<std::size_t>(NAMELEN));
    devicelines(OUT, INFO, p, selected, DEVICE);
  }
}

void GPUPROBE(const GPUINFO& INFO, int& DEVICE, std::string& NAME, int NAMELEN) {
  std::FILE* out = std::fopen("gpu_device.txt", "w");
  if (!out) {  // no report, no device
    DEVICE = -1;
    return;
  }
  GPUREPORT(out, INFO, DEVICE, NAME, NAMELEN);
  std::fclose(out);
}

void GPUCHECK(Model& m) {
  m.GPU.CHECKED = true;
  int dev = m.KK(kk::DEVICE);
  if (dev < 0) return;
  std::string name;
  GPUPROBE(m.GPU.EMULATE ? GPUEMUINFO() : GPUQUERY(), dev, name, 80);
  model::LOGLINE(m, base::fX(11) + " * * *   GPU DEVICE CHECK   * * *");
  if (dev < 0) {
    m.KK(kk::DEVICE) = -1;
    model::LOGLINE(m, base::fX(21) + "Error: Device No. is changed into '-1(CPU)'");
    return;
  }
  while (!name.empty() && name.back() == ' ') name.pop_back();
  m.GPU.NAME = name;
  model::LOGLINE(m, base::fX(21) + "Device" + base::fI(dev, 3) + ": " + name);
}

const GPUOPS& GPUJOBOPS(const Model& m) { return m.GPU.EMULATE ? GPUEMUOPS() : GPUDEVICEOPS(); }

}  // namespace ossa::solvers
