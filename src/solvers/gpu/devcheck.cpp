#include "base/fmt.hpp"
#include "model/stop.hpp"
#include "solvers/gpu/gpu.hpp"

namespace ossa::solvers {

bool DEVLAYER() { return false; }

void DEVCHECK(Model& m) {
  m.KK(kk::DEVICE) = -1;
  model::LOGLINE(m, base::fX(11) + " * * *   GPU DEVICE CHECK   * * *");
  model::LOGLINE(m, base::fX(21) + "Error: Device No. is changed into '-1(CPU)'");
}

}  // namespace ossa::solvers
