// ParaView files of a job: one VTK unstructured grid (.vtu) per frame and a
// .pvd collection that makes them a time series.
//
// The mesh is the deck's: grid points with their reference coordinates, and
// the shell (triangle), solid and rubber (tetrahedron) and truss (line)
// elements in the order of the element stream (all shells, all solids, all
// rubbers, all trusses, each family in table order). Gap elements are left
// out, as they have no results. Data are appended to the XML in base64,
// little-endian, each array after its 64-bit byte count (encoded apart).
//
// Point data: "displacement", "force", "reaction", "link force" (the force
// a link puts on the node: contact on a slave, its reaction on the
// masters) (3 components each).
// Cell data: "state" (material state; -1 where the family has none),
// "principal stress" and "principal strain" (3 each, descending),
// "first principal direction" (unit vector in global axes), "equivalent
// stress", "strain energy density", "EPEQ", "axial strain" and "axial
// force" (trusses, 0 elsewhere). A shell takes the values of its layer with
// the largest equivalent stress.
#pragma once
#include <string>
#include <utility>
#include <vector>

#include "model/model.hpp"
#include "post/reader.hpp"

namespace ossa::post {

using model::Model;

// Reads the deck EXEC.INP of the job directory `dir` into `m` with the
// system's own reader; its log goes to `logname`, not to the job's log.
// A deck the reader refuses ends the process as in a job.
std::string JOBMODEL(Model& m, const std::string& dir, const std::string& logname);

// Checks that the model read from the deck has the sizes of the frame.
std::string VTUCHECK(const Model& m, const FrameHead& h);

// Writes frame `f` on the mesh of `m` to `path`.
std::string VTUWRITE(const Model& m, const Frame& f, const std::string& path);

// Writes the collection `path` of (time, file name relative to it) pairs.
std::string PVDWRITE(const std::string& path,
                     const std::vector<std::pair<double, std::string>>& steps);

}  // namespace ossa::post
