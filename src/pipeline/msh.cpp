// Meshes in the formats the Gmsh SDK reads (.msh 2.2 and 4.x, VTK, UNV...).
// Physical groups become sets under their names (or "dim:tag" when unnamed):
// a node set of all their nodes and an element set of their tetrahedra or
// triangles. Points and lines are skipped; higher-order or other element
// types are refused by their Gmsh name. A closed triangulated surface (STL)
// is filled with tetrahedra.
#include "pipeline/mesh.hpp"

#ifdef OSSA_HAVE_GMSH
#include <gmsh.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <map>
#include <unistd.h>

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

// Nodes and elements of the current Gmsh model.
std::string take_model(Mesh& m) {
  std::vector<std::size_t> tags;
  std::vector<double> xyz, par;
  gmsh::model::mesh::getNodes(tags, xyz, par, -1, -1, false, false);
  m.NODEID.reserve(tags.size());
  m.XYZ.reserve(tags.size());
  for (std::size_t i = 0; i < tags.size(); ++i) {
    m.NODEID.push_back(static_cast<long>(tags[i]));
    m.XYZ.push_back({xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]});
  }
  if (tags.empty()) return "no nodes";
  std::string err = take_elements(m);
  if (err.empty()) take_groups(m);
  return err;
}

// A closed surface: every edge of its triangles borders exactly two of them.
// Returns the mean edge length, or 0 (with `err` set) when it is open.
double closed_surface(std::string& err) {
  std::vector<std::size_t> tags, nodes;
  gmsh::model::mesh::getElementsByType(TRI3, tags, nodes);
  if (tags.empty()) return err = "no triangles in the surface", 0.0;
  std::map<std::pair<std::size_t, std::size_t>, int> edges;
  for (std::size_t e = 0; e < tags.size(); ++e)
    for (int a = 0; a < 3; ++a) {
      const std::size_t p = nodes[3 * e + a], q = nodes[3 * e + (a + 1) % 3];
      ++edges[{std::min(p, q), std::max(p, q)}];
    }
  std::vector<std::size_t> nt;
  std::vector<double> xyz, par;
  gmsh::model::mesh::getNodes(nt, xyz, par, -1, -1, false, false);
  std::map<std::size_t, const double*> at;
  for (std::size_t i = 0; i < nt.size(); ++i) at[nt[i]] = &xyz[3 * i];
  long open = 0;
  double len = 0.0;
  for (const auto& [pq, n] : edges) {
    if (n != 2) ++open;
    const double *a = at.at(pq.first), *b = at.at(pq.second);
    len += std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
  }
  if (open > 0)
    return err = "the surface is not closed: " + std::to_string(open) +
                 " edge(s) do not border exactly two triangles (a segmentation must enclose a volume)", 0.0;
  return len / static_cast<double>(edges.size());
}

// Gmsh can loop for ever on a surface it cannot split into patches (a
// tetrahedron of four facets is enough), and it catches SIGTERM while it
// does. A job stopped by nobody must still stop: past OSSA_MESH_SECONDS
// (default 600) of meshing the tool says so and exits. Only
// async-signal-safe calls in the handler.
extern "C" void mesh_timeout(int) {
  static const char msg[] =
      "ossa-mkdeck: meshing the surface did not finish within OSSA_MESH_SECONDS; the surface may be too "
      "coarse or degenerate for Gmsh to split into patches (refine it, or raise the limit)\n";
  ssize_t w = write(2, msg, sizeof msg - 1);
  (void)w;
  _exit(1);
}

void mesh_watchdog() {
  const char* env = std::getenv("OSSA_MESH_SECONDS");
  const long s = env ? std::strtol(env, nullptr, 10) : 600;
  std::signal(SIGTERM, SIG_DFL);
  std::signal(SIGALRM, mesh_timeout);
  alarm(static_cast<unsigned>(s > 0 ? s : 600));
}

// Gmsh's own recipe for a triangulated surface: split it into patches at
// sharp edges, give each a parametrisation, close them into a volume and
// fill it with tetrahedra of about `size` (0: the surface's mean edge).
std::string fill_surface(double size, Mesh& m) {
  std::string err;
  const double mean = closed_surface(err);
  if (!err.empty()) return err;
  mesh_watchdog();
  gmsh::model::mesh::classifySurfaces(40.0 * M_PI / 180.0, true, true, M_PI);
  gmsh::model::mesh::createGeometry();
  gmsh::vectorpair surfaces;
  gmsh::model::getEntities(surfaces, 2);
  std::vector<int> st;
  for (const auto& s : surfaces) st.push_back(s.second);
  gmsh::model::geo::addVolume({gmsh::model::geo::addSurfaceLoop(st)});
  gmsh::model::geo::synchronize();
  const double h = size > 0.0 ? size : mean;
  gmsh::option::setNumber("Mesh.MeshSizeMin", h);
  gmsh::option::setNumber("Mesh.MeshSizeMax", h);
  gmsh::model::mesh::generate(3);
  alarm(0);
  err = take_model(m);
  if (err.empty() && m.TET.empty()) err = "meshing the surface gave no tetrahedra";
  return err;
}

// One Gmsh session around `body`; its exceptions become the message.
template <class F>
std::string in_gmsh(const std::string& path, F body) {
  gmsh::initialize(0, nullptr, false);
  std::signal(SIGTERM, SIG_DFL);  // the SDK catches it; a stopped job must stop
  gmsh::option::setNumber("General.Terminal", 0);
  std::string err;
  try {
    gmsh::open(path);
    err = body();
  } catch (const std::exception& e) {
    err = e.what();
  } catch (...) {
    err = "the Gmsh SDK could not read it";
  }
  gmsh::finalize();
  return err.empty() ? "" : path + ": " + err;
}

}  // namespace

std::string read_msh(const std::string& path, Mesh& m) {
  return in_gmsh(path, [&] { return take_model(m); });
}

std::string mesh_surface(const std::string& path, double size, Mesh& m) {
  return in_gmsh(path, [&] { return fill_surface(size, m); });
}

}  // namespace ossa::pipeline

#else

namespace ossa::pipeline {
std::string read_msh(const std::string& path, Mesh&) {
  return path + ": this format is read through the Gmsh SDK, which this build lacks (install libgmsh-dev "
                "and rebuild)";
}
std::string mesh_surface(const std::string& path, double, Mesh& m) { return read_msh(path, m); }
}  // namespace ossa::pipeline

#endif
