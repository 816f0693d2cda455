// Contact between bodies: the home of the contact records and routines
// (surfaces, slave states, links) once the build has them. Its floor lies
// between model/ and solution/: it may use the Model, the base kernels and
// the element families, never the solution or the solvers. This build has
// no contact yet; input refuses a contact job.
#pragma once

#include "model/model.hpp"

namespace ossa::contact {

using model::Model;

}  // namespace ossa::contact
