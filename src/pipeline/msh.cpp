// Meshes in the formats the Gmsh SDK reads (.msh 2.2 and 4.x, VTK, UNV...).
// Physical groups become sets under their names (or "dim:tag" when unnamed):
// a node set of all their nodes and an element set of their tetrahedra or
// triangles. Points and lines are skipped; higher-order or other element
// types are refused by their Gmsh name.
#include "pipeline/mesh.hpp"

#ifdef OSSA_HAVE_GMSH
#include <gmsh.h>

#include <algorithm>
#include <exception>

namespace ossa::pipeline {
namespace {

constexpr int LINE2 = 1, TRI3 = 2, TET4 = 4, POINT = 15;

std::string take_elements(Mesh& m) {
  std::vector<int> types;
  std::vector<std::vector<std::size_t>> tags, nodes;
  gmsh::model::mesh::getElements(types, tags, nodes);
  for (std::size_t t = 0; t < types.size(); ++t) {
    const auto& tg = tags[t];
    const auto& nd = nodes[t];
    if (types[t] == TET4) {
      for (std::size_t e = 0; e < tg.size(); ++e) {
        m.TETID.push_back(static_cast<long>(tg[e]));
        m.TET.push_back({static_cast<long>(nd[4 * e]), static_cast<long>(nd[4 * e + 1]),
                         static_cast<long>(nd[4 * e + 2]), static_cast<long>(nd[4 * e + 3])});
      }
    } else if (types[t] == TRI3) {
      for (std::size_t e = 0; e < tg.size(); ++e) {
        m.TRIID.push_back(static_cast<long>(tg[e]));
        m.TRI.push_back({static_cast<long>(nd[3 * e]), static_cast<long>(nd[3 * e + 1]),
                         static_cast<long>(nd[3 * e + 2])});
      }
    } else if (types[t] == POINT || types[t] == LINE2) {
      m.IGNORED += static_cast<long>(tg.size());
    } else {
      std::string name;
      int dim = 0, order = 0, nn = 0, np = 0;
      std::vector<double> loc;
      gmsh::model::mesh::getElementProperties(types[t], name, dim, order, nn, loc, np);
      return "element type " + name + " (" + std::to_string(tg.size()) +
             " elements) is not supported (only 4-node tetrahedra and 3-node triangles)";
    }
  }
  return "";
}

void take_groups(Mesh& m) {
  gmsh::vectorpair groups;
  gmsh::model::getPhysicalGroups(groups);
  for (const auto& [dim, tag] : groups) {
    std::string name;
    gmsh::model::getPhysicalName(dim, tag, name);
    if (name.empty()) name = std::to_string(dim) + ":" + std::to_string(tag);
    for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    std::vector<std::size_t> nt;
    std::vector<double> xyz;
    gmsh::model::mesh::getNodesForPhysicalGroup(dim, tag, nt, xyz);
    auto& ns = m.NSET[name];
    for (std::size_t n : nt) ns.push_back(static_cast<long>(n));
    std::vector<int> ents;
    gmsh::model::getEntitiesForPhysicalGroup(dim, tag, ents);
    auto& es = m.ELSET[name];
    for (int ent : ents) {
      std::vector<int> types;
      std::vector<std::vector<std::size_t>> tags, nodes;
      gmsh::model::mesh::getElements(types, tags, nodes, dim, ent);
      for (std::size_t t = 0; t < types.size(); ++t)
        if (types[t] == TET4 || types[t] == TRI3)
          for (std::size_t e : tags[t]) es.push_back(static_cast<long>(e));
    }
  }
}

}  // namespace

std::string read_msh(const std::string& path, Mesh& m) {
  gmsh::initialize(0, nullptr, false);
  gmsh::option::setNumber("General.Terminal", 0);
  std::string err;
  try {
    gmsh::open(path);
    std::vector<std::size_t> tags;
    std::vector<double> xyz, par;
    gmsh::model::mesh::getNodes(tags, xyz, par, -1, -1, false, false);
    m.NODEID.reserve(tags.size());
    m.XYZ.reserve(tags.size());
    for (std::size_t i = 0; i < tags.size(); ++i) {
      m.NODEID.push_back(static_cast<long>(tags[i]));
      m.XYZ.push_back({xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]});
    }
    err = take_elements(m);
    if (err.empty()) take_groups(m);
    if (err.empty() && tags.empty()) err = "no nodes";
  } catch (const std::exception& e) {
    err = e.what();
  } catch (...) {
    err = "the Gmsh SDK could not read it";
  }
  gmsh::finalize();
  return err.empty() ? "" : path + ": " + err;
}

}  // namespace ossa::pipeline

#else

namespace ossa::pipeline {
std::string read_msh(const std::string& path, Mesh&) {
  return path + ": this format is read through the Gmsh SDK, which this build lacks (install libgmsh-dev "
                "and rebuild)";
}
}  // namespace ossa::pipeline

#endif
