// The Abaqus/CalculiX keyword subset a tetrahedral model needs: *NODE,
// *ELEMENT (C3D4, S3 and its variants), *NSET, *ELSET (with GENERATE).
// Everything else is skipped; an element type outside the subset is
// refused by name, since dropping elements would change the model.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include "pipeline/mesh.hpp"

namespace ossa::pipeline {
namespace {

std::string upper(std::string s) {
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

std::string trim(const std::string& s) {
  const auto a = s.find_first_not_of(" \t\r");
  if (a == std::string::npos) return "";
  return s.substr(a, s.find_last_not_of(" \t\r") - a + 1);
}

// The value of PARAM= on a keyword line, "" when absent.
std::string param(const std::string& line, const std::string& name) {
  std::stringstream ss(line);
  std::string item;
  while (std::getline(ss, item, ',')) {
    const auto eq = item.find('=');
    if (eq != std::string::npos && upper(trim(item.substr(0, eq))) == name) return trim(item.substr(eq + 1));
  }
  return "";
}

bool has_flag(const std::string& line, const std::string& name) {
  std::stringstream ss(line);
  std::string item;
  while (std::getline(ss, item, ','))
    if (upper(trim(item)) == name) return true;
  return false;
}

// Comma-separated fields of a data line as numbers; false on a bad field.
bool numbers(const std::string& line, std::vector<double>& v) {
  v.clear();
  std::stringstream ss(line);
  std::string item;
  while (std::getline(ss, item, ',')) {
    item = trim(item);
    if (item.empty()) continue;
    char* end = nullptr;
    v.push_back(std::strtod(item.c_str(), &end));
    if (*end != '\0') return false;
  }
  return true;
}

enum class Block { NONE, NODE, TET, TRI, NSET, ELSET };

// Three-node triangles of any formulation: they serve as sets.
const std::set<std::string> TRI3 = {"S3", "S3R", "STRI3", "M3D3", "CPS3", "CPE3", "SFM3D3", "R3D3"};

struct State {
  Block b = Block::NONE;
  std::string set;
  bool generate = false;
  std::string elset;  // ELSET= on an *ELEMENT line
};

std::string keyword(const std::string& line, State& st, Mesh& m) {
  const std::string u = upper(line);
  st = State{};
  if (u.rfind("*NODE", 0) == 0 && (u.size() == 5 || u[5] == ',' || u[5] == ' ')) {
    st.b = Block::NODE;
    st.set = upper(param(line, "NSET"));
  } else if (u.rfind("*ELEMENT", 0) == 0) {
    const std::string type = upper(param(line, "TYPE"));
    if (type == "C3D4" || type == "C3D4H") st.b = Block::TET;
    else if (TRI3.count(type)) st.b = Block::TRI;
    else return "element type " + (type.empty() ? std::string("(none)") : type) +
                " is not supported (only C3D4 tetrahedra and S3 triangles)";
    st.elset = upper(param(line, "ELSET"));
  } else if (u.rfind("*NSET", 0) == 0 || u.rfind("*ELSET", 0) == 0) {
    const bool node = u[1] == 'N';
    st.b = node ? Block::NSET : Block::ELSET;
    st.set = upper(param(line, node ? "NSET" : "ELSET"));
    st.generate = has_flag(line, "GENERATE");
    if (st.set.empty()) return "a set without a name";
    (node ? m.NSET : m.ELSET)[st.set];
  }
  return "";
}

// Node and element numbers: whole, positive and within ten columns.
bool ids_ok(const std::vector<double>& v, std::size_t from, std::size_t to) {
  for (std::size_t k = from; k < to && k < v.size(); ++k)
    if (!(v[k] >= 1.0 && v[k] <= 999999999.0) || v[k] != std::floor(v[k])) return false;
  return true;
}

std::string set_line(const std::vector<double>& v, const State& st, Mesh& m) {
  auto& s = st.b == Block::NSET ? m.NSET[st.set] : m.ELSET[st.set];
  if (!ids_ok(v, 0, v.size())) return "a set member is not a number from 1 to 999999999";
  if (!st.generate) {
    for (double x : v) s.push_back(static_cast<long>(x));
    return "";
  }
  if (v.size() < 2) return "GENERATE needs first, last[, step]";
  const long step = v.size() > 2 ? static_cast<long>(v[2]) : 1;
  const long first = static_cast<long>(v[0]), last = static_cast<long>(v[1]);
  if ((last - first) / step > 100000000L) return "GENERATE range too long";
  for (long k = first; k <= last; k += step) s.push_back(k);
  return "";
}

std::string data(const std::vector<double>& v, const State& st, Mesh& m) {
  const std::size_t nid = st.b == Block::NODE ? 1 : (st.b == Block::TET || st.b == Block::TRI ? v.size() : 0);
  if (!ids_ok(v, 0, nid)) return "a node or element number is not a number from 1 to 999999999";
  switch (st.b) {
    case Block::NODE:
      if (v.size() < 4) return "a node needs number, x, y, z";
      m.NODEID.push_back(static_cast<long>(v[0]));
      m.XYZ.push_back({v[1], v[2], v[3]});
      if (!st.set.empty()) m.NSET[st.set].push_back(static_cast<long>(v[0]));
      return "";
    case Block::TET:
      if (v.size() != 5) return "a C3D4 element needs number and 4 nodes";
      m.TETID.push_back(static_cast<long>(v[0]));
      m.TET.push_back({static_cast<long>(v[1]), static_cast<long>(v[2]), static_cast<long>(v[3]),
                       static_cast<long>(v[4])});
      break;
    case Block::TRI:
      if (v.size() != 4) return "an S3 element needs number and 3 nodes";
      m.TRIID.push_back(static_cast<long>(v[0]));
      m.TRI.push_back({static_cast<long>(v[1]), static_cast<long>(v[2]), static_cast<long>(v[3])});
      break;
    case Block::NSET:
    case Block::ELSET: return set_line(v, st, m);
    case Block::NONE: return "";
  }
  if (!st.elset.empty()) m.ELSET[st.elset].push_back(static_cast<long>(v[0]));
  return "";
}

}  // namespace

std::string read_inp(const std::string& path, Mesh& m) {
  std::ifstream in(path);
  if (!in) return "cannot open " + path;
  State st;
  std::string line, err;
  std::vector<double> v;
  for (long no = 1; std::getline(in, line); ++no) {
    const std::string t = trim(line);
    if (t.empty() || t.rfind("**", 0) == 0) continue;
    if (t[0] == '*') err = keyword(t, st, m);
    else if (st.b == Block::NONE) continue;
    else if (!numbers(t, v)) err = "a field is not a number";
    else err = data(v, st, m);
    if (!err.empty()) return path + ":" + std::to_string(no) + ": " + err;
  }
  return "";
}

}  // namespace ossa::pipeline
