// Clocks of the benchmarks: wall and processor seconds, and the machine's
// load average, printed with every figure since the machine may be shared.
#pragma once
#include <chrono>
#include <cstdio>
#include <ctime>

namespace ossa::bench {

// Wall seconds since an arbitrary fixed point.
inline double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// The one-minute load average, or -1 where /proc cannot tell.
inline double load_average() {
  double a = -1.0;
  if (std::FILE* f = std::fopen("/proc/loadavg", "r")) {
    if (std::fscanf(f, "%lf", &a) != 1) a = -1.0;
    std::fclose(f);
  }
  return a;
}

// Wall and processor seconds of a piece of work: on a shared machine the
// processor time is the steadier figure.
struct Stopwatch {
  std::chrono::steady_clock::time_point w0 = std::chrono::steady_clock::now();
  std::clock_t c0 = std::clock();
  double wall() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - w0).count();
  }
  double cpu() const { return static_cast<double>(std::clock() - c0) / CLOCKS_PER_SEC; }
};

}  // namespace ossa::bench
