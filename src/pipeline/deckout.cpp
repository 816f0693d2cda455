// The deck: counts, controls, nodes, solids with one material row each,
// the held nodes and one load group ramped from 0 to the full load over
// the steps. Numbers of nodes and elements are those of the mesh file, so
// that results read back under the user's own numbers.
#include <algorithm>
#include <cmath>
#include <map>
#include <unordered_map>
#include <unordered_set>

#include "pipeline/job.hpp"

namespace ossa::pipeline {
namespace {

// A real in ten columns with as many decimals as fit.
std::string f10(double v) {
  char buf[64];
  for (int d = 6; d >= 1; --d) {
    std::snprintf(buf, sizeof buf, "%10.*f", d, v);
    if (std::string(buf).size() == 10 && std::fabs(v) >= 1e-3) return buf;
  }
  std::snprintf(buf, sizeof buf, "%10.3E", v);
  return buf;
}

std::string check_fits(const Mesh& m) {
  for (long id : m.NODEID)
    if (id > 999999999) return "node number " + std::to_string(id) + " does not fit ten columns";
  for (const auto* ids : {&m.TETID, &m.TRIID})
    for (long id : *ids)
      if (id > 999999999) return "element number " + std::to_string(id) + " does not fit ten columns";
  for (const auto& p : m.XYZ)
    for (double x : p)
      if (!(std::fabs(x) < 1e7)) return "a coordinate is not finite or too large for the node card";
  return "";
}

// Held flags per node (OR over the sets) and summed forces per node.
std::string gather(const Mesh& m, const Job& j, const std::unordered_set<long>& used,
                   std::map<long, std::string>& held, std::map<long, std::array<double, 3>>& force) {
  std::vector<long> nodes;
  for (const Fix& f : j.FIXED) {
    if (std::string e = set_nodes(m, f.SET, nodes); !e.empty()) return "fixed: " + e;
    for (long n : nodes) {
      if (!used.count(n)) return "fixed set '" + f.SET + "' holds node " + std::to_string(n) + ", on no tetrahedron";
      std::string& h = held.try_emplace(n, "000000").first->second;
      for (std::size_t k = 0; k < f.DOFS.size(); ++k)
        if (f.DOFS[k] == '1') h[k] = '1';
    }
  }
  for (const Load& l : j.LOADS) {
    if (std::string e = set_nodes(m, l.SET, nodes); !e.empty()) return "load: " + e;
    for (long n : nodes) {
      if (!used.count(n)) return "load set '" + l.SET + "' loads node " + std::to_string(n) + ", on no tetrahedron";
      auto& fv = force.try_emplace(n, std::array<double, 3>{}).first->second;
      for (int k = 0; k < 3; ++k) fv[k] += l.TOTAL[k] / static_cast<double>(nodes.size());
    }
  }
  return "";
}

void controls(std::FILE* f, const Job& j, std::size_t nnode, std::size_t ntet, std::size_t ntri) {
  std::fprintf(f, "REMARK  %.70s\n", j.TITLE.c_str());
  std::fprintf(f, "CNTND     %10zu\n", nnode);
  std::fprintf(f, "CNTEL%10zu%10zu%10d%10d%10d\n", ntet, ntri, 0, 0, 0);
  std::fprintf(f, "CNTRL%1d%1d%1d%1d %3d  %10.4f%10.4f%20s%8d%10.3E%7s%1d%9.1f\n", 0, j.GEOMETRIC ? 1 : 0,
               j.MATERIAL ? 1 : 0, 0, j.ITERATIONS, j.TOLERANCE, j.TOLERANCE, "", j.SOLVER, j.CGTOL, "", 1,
               j.MEMORY);
  std::fprintf(f, "CNTR2%10.4f%5d%3d%3d%4d%3d\n", 0.0, 0, 10, 1, 1, 0);
  // Processor conjugate gradients unless a device is asked for elsewhere.
  std::fprintf(f, "CNTR3%5s%5d%5d%5d%5d%5d%5d%5d%5d\n", "", 0, 0, 0, 0, 0, 0, -1, 0);
  std::fprintf(f, "PRPLT%5s%1d%1d%3s%5d\n", "", 0, 0, "", j.OUTPUT);
  std::fprintf(f, "KUKAN%15.4f%10d\n", 1.0, j.STEPS);
}

void material_row(std::FILE* f, const Job& j, long id, const ElemMat& em, int code = 2) {
  // Bone rows: strengths as strains times the modulus (tension 0.6 %,
  // yield 0.85 %), a tangent ratio of 0.05 and crushing at 1 % strain.
  const double sigt = j.BONE ? 0.006 * em.E : 0.0, yield = j.BONE ? 0.0085 * em.E : 0.0;
  std::fprintf(f, "PROPT%1d%1d%1d%1d%1d%10ld%10.4f%s%10.3E%s%s%10.4f%10.4f%10.4f%10.1f\n", 0, 0, j.BONE ? 1 : 0,
               0, code, id, j.NU, f10(em.E).c_str(), em.RHO * 1.0e-9 * 9806.65, f10(sigt).c_str(),
               f10(yield).c_str(), j.BONE ? 0.05 : 0.0, 0.0, 0.0, j.BONE ? 10000.0 : 0.0);
}

}  // namespace

std::string write_deck(std::FILE* f, const Mesh& m, const Job& j, const std::vector<ElemMat>& mat) {
  const bool shells = j.SHELL_T > 0.0;
  if (m.TET.empty() && !(shells && !m.TRI.empty()))
    return "the mesh has no tetrahedra (give a shell block to write its triangles as shells)";
  if (mat.size() != m.TET.size()) return "internal: one material row per tetrahedron expected";
  if (std::string e = check_fits(m); !e.empty()) return e;
  std::unordered_set<long> used;
  for (const auto& t : m.TET) used.insert(t.begin(), t.end());
  if (shells)
    for (const auto& t : m.TRI) used.insert(t.begin(), t.end());
  std::map<long, std::string> held;
  std::map<long, std::array<double, 3>> force;
  if (std::string e = gather(m, j, used, held, force); !e.empty()) return e;

  std::size_t nnode = 0;
  for (long id : m.NODEID) nnode += used.count(id);
  controls(f, j, nnode, m.TET.size(), shells ? m.TRI.size() : 0);
  for (std::size_t i = 0; i < m.NODEID.size(); ++i)
    if (used.count(m.NODEID[i]))
      std::fprintf(f, "NODE %10ld%15.6f%15.6f%15.6f\n", m.NODEID[i], m.XYZ[i][0], m.XYZ[i][1], m.XYZ[i][2]);
  // The solid card wants (p1-p4, p2-p4, p3-p4) positive: the mesh order with
  // the second and third nodes exchanged.
  for (std::size_t e = 0; e < m.TET.size(); ++e) {
    const auto& t = m.TET[e];
    std::fprintf(f, "SOLID%10ld%10ld%10ld%10ld%10ld\n", m.TETID[e], t[0], t[2], t[1], t[3]);
  }
  for (std::size_t e = 0; e < m.TET.size(); ++e) material_row(f, j, m.TETID[e], mat[e]);
  for (std::size_t e = 0; shells && e < m.TRI.size(); ++e) {
    const auto& t = m.TRI[e];
    std::fprintf(f, "SHELL%10ld%10ld%10ld%10ld%5s%s\n", m.TRIID[e], t[0], t[1], t[2], "", f10(j.SHELL_T).c_str());
    material_row(f, j, m.TRIID[e], ElemMat{j.SHELL_E, 0.0}, 1);
  }
  std::fprintf(f, "NGLD %5d\n", 1);
  std::fprintf(f, "NPLNK%5s%7zu\n", "", held.size());
  std::fprintf(f, "NLOAD%5s%5d%10zu\n", "", 2, force.size());
  std::fprintf(f, "TBLLD%15.4f%15.4f\n", 0.0, 0.0);
  std::fprintf(f, "TBLLD%15.4f%15.4f\n", 1.0, 1.0);
  for (const auto& [n, v] : force)
    std::fprintf(f, "FORCE%10ld%15.6E%15.6E%15.6E%15.6E%15.6E%15.6E\n", n, v[0], v[1], v[2], 0.0, 0.0, 0.0);
  for (const auto& [n, h] : held) std::fprintf(f, "PLNK %10ld%s\n", n, h.c_str());
  std::fprintf(f, "END\n");
  return "";
}

}  // namespace ossa::pipeline
