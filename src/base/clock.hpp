// Wall clock in seconds since its first reading; the first reading is 0.
#pragma once
#include <chrono>

namespace ossa::base {

struct Clock {
  std::chrono::steady_clock::time_point t0{};
  bool started = false;
  double now() {
    const auto t = std::chrono::steady_clock::now();
    if (!started) { t0 = t; started = true; return 0.0; }
    return std::chrono::duration<double>(t - t0).count();
  }
};

}  // namespace ossa::base
