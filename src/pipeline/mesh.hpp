// A first-order mesh as read from a file: nodes, four-node tetrahedra and
// three-node triangles under the numbers the file gives them, and the named
// node and element sets that the job description refers to.
#pragma once
#include <array>
#include <map>
#include <string>
#include <vector>

namespace ossa::pipeline {

struct Mesh {
  std::vector<long> NODEID;                  // file node numbers, in file order
  std::vector<std::array<double, 3>> XYZ;    // their coordinates
  std::vector<long> TETID;                   // tetrahedron numbers
  std::vector<std::array<long, 4>> TET;      // their nodes (file numbers)
  std::vector<long> TRIID;                   // triangle numbers
  std::vector<std::array<long, 3>> TRI;      // their nodes (file numbers)
  std::map<std::string, std::vector<long>> NSET;   // node numbers by set name
  std::map<std::string, std::vector<long>> ELSET;  // element numbers by set name
  long IGNORED = 0;  // points and lines skipped on reading
};

// Readers: "" when read, else the reason, naming the file, line or type.
std::string read_inp(const std::string& path, Mesh& m);
std::string read_msh(const std::string& path, Mesh& m);  // any format the Gmsh SDK reads
std::string read_vtu(const std::string& path, Mesh& m);  // VTK XML unstructured grid
// A closed triangulated surface (STL) filled with tetrahedra of about
// `size` (0: the surface's mean edge length); an open one is refused.
std::string mesh_surface(const std::string& path, double size, Mesh& m);
std::string read_mesh(const std::string& path, Mesh& m, double size = 0.0);  // by extension

// A node set of the nodes within the box lo..hi (bounds included).
std::string add_box_set(Mesh& m, const std::string& name, const std::array<double, 3>& lo,
                        const std::array<double, 3>& hi);

// Checks numbers and references, then orients every tetrahedron so that
// (p2-p1) x (p3-p1) . (p4-p1) > 0 (the convention of Gmsh and Abaqus).
// `flipped` counts the tetrahedra reordered; a flat one is refused.
std::string check_and_orient(Mesh& m, long& flipped);

// The nodes of a set: a node set of that name, else the nodes of the
// elements of an element set of that name; "" when found.
std::string set_nodes(const Mesh& m, const std::string& name, std::vector<long>& nodes);

}  // namespace ossa::pipeline
