// Mesh checks shared by all readers: numbers, references and orientation.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <unordered_map>
#include <unordered_set>

#include "pipeline/mesh.hpp"

namespace ossa::pipeline {

std::string read_mesh(const std::string& path, Mesh& m, double size) {
  if (!std::filesystem::is_regular_file(path)) return "cannot open " + path;
  std::string ext = std::filesystem::path(path).extension().string();
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (ext == ".inp") return read_inp(path, m);
  if (ext == ".vtu") return read_vtu(path, m);
  return ext == ".stl" ? mesh_surface(path, size, m) : read_msh(path, m);
}

std::string add_box_set(Mesh& m, const std::string& name, const std::array<double, 3>& lo,
                        const std::array<double, 3>& hi) {
  std::string key = name;
  for (char& c : key) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (m.NSET.count(key) || m.ELSET.count(key)) return "set '" + name + "' is named both in the mesh and the job file";
  auto& s = m.NSET[key];
  for (std::size_t i = 0; i < m.XYZ.size(); ++i) {
    bool in = true;
    for (int c = 0; c < 3; ++c) in = in && m.XYZ[i][c] >= lo[c] && m.XYZ[i][c] <= hi[c];
    if (in) s.push_back(m.NODEID[i]);
  }
  return "";
}

namespace {

double triple(const std::array<double, 3>& a, const std::array<double, 3>& b, const std::array<double, 3>& c,
              const std::array<double, 3>& d) {
  const double u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
  const double v[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
  const double w[3] = {d[0] - a[0], d[1] - a[1], d[2] - a[2]};
  return u[0] * (v[1] * w[2] - v[2] * w[1]) - u[1] * (v[0] * w[2] - v[2] * w[0]) +
         u[2] * (v[0] * w[1] - v[1] * w[0]);
}

// Largest edge cubed of a tetrahedron: the scale its volume is judged by.
double edge3(const std::array<const std::array<double, 3>*, 4>& p) {
  double h = 0.0;
  for (int a = 0; a < 4; ++a)
    for (int b = a + 1; b < 4; ++b)
      h = std::max(h, std::hypot((*p[a])[0] - (*p[b])[0], (*p[a])[1] - (*p[b])[1], (*p[a])[2] - (*p[b])[2]));
  return h * h * h;
}

template <class Ids>
std::string unique(const Ids& ids, const char* what) {
  std::unordered_set<long> seen;
  seen.reserve(ids.size());
  for (long id : ids) {
    if (id <= 0) return std::string(what) + " number " + std::to_string(id) + " is not positive";
    if (!seen.insert(id).second) return std::string(what) + " number " + std::to_string(id) + " appears twice";
  }
  return "";
}

// Nodes and tetrahedra in the order of their numbers, so that the deck does
// not depend on the order a format stores them in.
template <class T>
void by_number(std::vector<long>& ids, std::vector<T>& rows) {
  std::vector<std::size_t> ord(ids.size());
  for (std::size_t i = 0; i < ord.size(); ++i) ord[i] = i;
  std::sort(ord.begin(), ord.end(), [&](std::size_t a, std::size_t b) { return ids[a] < ids[b]; });
  std::vector<long> i2(ids.size());
  std::vector<T> r2(rows.size());
  for (std::size_t i = 0; i < ord.size(); ++i) {
    i2[i] = ids[ord[i]];
    r2[i] = rows[ord[i]];
  }
  ids.swap(i2);
  rows.swap(r2);
}

}  // namespace

std::string check_and_orient(Mesh& m, long& flipped) {
  flipped = 0;
  by_number(m.NODEID, m.XYZ);
  by_number(m.TETID, m.TET);
  by_number(m.TRIID, m.TRI);
  if (m.TET.empty() && m.TRI.empty()) return "the mesh has no tetrahedra or triangles";
  std::string err = unique(m.NODEID, "node");
  if (err.empty()) {
    std::vector<long> all(m.TETID);
    all.insert(all.end(), m.TRIID.begin(), m.TRIID.end());
    err = unique(all, "element");
  }
  if (!err.empty()) return err;
  std::unordered_map<long, std::size_t> at;
  at.reserve(m.NODEID.size());
  for (std::size_t i = 0; i < m.NODEID.size(); ++i) at[m.NODEID[i]] = i;
  auto pos = [&](long id, long el, std::size_t& i) {
    const auto it = at.find(id);
    if (it == at.end()) return "element " + std::to_string(el) + " refers to node " + std::to_string(id) + ", which does not exist";
    i = it->second;
    return std::string();
  };
  for (std::size_t e = 0; e < m.TRI.size(); ++e)
    for (long n : m.TRI[e]) {
      std::size_t i = 0;
      if (err = pos(n, m.TRIID[e], i); !err.empty()) return err;
    }
  for (std::size_t e = 0; e < m.TET.size(); ++e) {
    std::array<const std::array<double, 3>*, 4> p{};
    for (int a = 0; a < 4; ++a) {
      std::size_t i = 0;
      if (err = pos(m.TET[e][a], m.TETID[e], i); !err.empty()) return err;
      p[a] = &m.XYZ[i];
    }
    const double v6 = triple(*p[0], *p[1], *p[2], *p[3]);
    if (std::fabs(v6) <= 1e-12 * edge3(p))
      return "tetrahedron " + std::to_string(m.TETID[e]) + " is flat (zero volume)";
    if (v6 < 0.0) {
      std::swap(m.TET[e][1], m.TET[e][2]);
      ++flipped;
    }
  }
  return "";
}

std::string set_nodes(const Mesh& m, const std::string& name, std::vector<long>& nodes) {
  nodes.clear();
  std::string key = name;
  for (char& c : key) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (const auto it = m.NSET.find(key); it != m.NSET.end()) {
    nodes = it->second;
  } else if (const auto jt = m.ELSET.find(key); jt != m.ELSET.end()) {
    const std::unordered_set<long> els(jt->second.begin(), jt->second.end());
    for (std::size_t e = 0; e < m.TET.size(); ++e)
      if (els.count(m.TETID[e])) nodes.insert(nodes.end(), m.TET[e].begin(), m.TET[e].end());
    for (std::size_t e = 0; e < m.TRI.size(); ++e)
      if (els.count(m.TRIID[e])) nodes.insert(nodes.end(), m.TRI[e].begin(), m.TRI[e].end());
  } else {
    return "no node or element set named '" + name + "' in the mesh";
  }
  std::sort(nodes.begin(), nodes.end());
  nodes.erase(std::unique(nodes.begin(), nodes.end()), nodes.end());
  if (nodes.empty()) return "set '" + name + "' is empty";
  const std::unordered_set<long> known(m.NODEID.begin(), m.NODEID.end());
  for (long n : nodes)
    if (!known.count(n)) return "set '" + name + "' names node " + std::to_string(n) + ", which does not exist";
  return "";
}

}  // namespace ossa::pipeline
