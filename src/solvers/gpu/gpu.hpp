// The graphics device layer. This build has none: every device counts as
// absent and the job goes to the processor path.
#pragma once

#include "model/model.hpp"

namespace ossa::solvers {

using model::Model;

// The graphics device check for KK(28) >= 0: validates the device, may set
// KK(28) to -1 and writes the check's two log lines.
void DEVCHECK(Model& m);

// Whether a device layer is built in.
bool DEVLAYER();

}  // namespace ossa::solvers
