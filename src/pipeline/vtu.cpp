// VTK XML unstructured grids (.vtu) as ParaView, meshio and ossa-results
// write them: one piece, data ascii, binary (base64) or appended (raw or
// base64), either header type, little-endian. Neither the Gmsh SDK (legacy
// .vtk only) nor a light Debian library reads them: VTK itself would bring
// about two hundred packages onto every fresh build machine for this one
// format. Compressed data is refused with the way to save it uncompressed.
// Points and cells are numbered from 1 in file order; vertices and lines
// are skipped, other cell types refused by name.
#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>

#include "pipeline/mesh.hpp"

namespace ossa::pipeline {
namespace {

// The value of attribute `name` in the tag starting at `at`, "" when absent.
std::string attr(const std::string& s, std::size_t at, const std::string& name) {
  const std::size_t end = s.find('>', at);
  std::size_t p = at;
  while ((p = s.find(name + "=\"", p)) != std::string::npos && p < end) {
    if (s[p - 1] == ' ' || s[p - 1] == '\n' || s[p - 1] == '\t') {
      const std::size_t q = p + name.size() + 2;
      return s.substr(q, s.find('"', q) - q);
    }
    ++p;
  }
  return "";
}

struct File {
  std::string s;
  std::size_t header = 4;      // bytes of a binary block's byte count
  std::size_t appended = 0;    // first byte after '_' of the appended data
  bool raw = false;            // appended data raw, not base64
};

int b64(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  return c == '+' ? 62 : c == '/' ? 63 : -1;
}

// Decodes base64 from `p` until `want` bytes are out (groups of four, each
// padded or not, so that blocks encoded apart or together both read).
bool unbase64(const std::string& s, std::size_t& p, std::size_t want, std::string& out) {
  while (out.size() < want) {
    int q[4], n = 0;
    while (n < 4 && p < s.size()) {
      const char c = s[p++];
      if (c == '=') q[n++] = -2;
      else if (b64(c) >= 0) q[n++] = b64(c);
      else if (c != ' ' && c != '\n' && c != '\r' && c != '\t') return false;
    }
    if (n < 4 || q[0] < 0 || q[1] < 0) return false;
    const unsigned v = (unsigned(q[0]) << 18) | (unsigned(q[1]) << 12) | (unsigned(q[2] < 0 ? 0 : q[2]) << 6) |
                       unsigned(q[3] < 0 ? 0 : q[3]);
    out += static_cast<char>(v >> 16);
    if (q[2] >= 0) out += static_cast<char>((v >> 8) & 255);
    if (q[3] >= 0) out += static_cast<char>(v & 255);
  }
  return true;
}

// The bytes of a binary block (byte count, then data) starting at `p`.
std::string block(const File& f, std::size_t p, bool raw, std::string& err) {
  std::string head, out;
  std::uint64_t n = 0;
  if (raw) {
    if (p > f.s.size() || f.header > f.s.size() - p) return err = "appended data cut short", "";
    std::memcpy(&n, f.s.data() + p, f.header);
    if (n > f.s.size() - p - f.header) return err = "appended data cut short", "";
    return f.s.substr(p + f.header, n);
  }
  if (!unbase64(f.s, p, f.header, head)) return err = "bad base64 data", "";
  std::memcpy(&n, head.data(), f.header);
  out = head.substr(f.header);
  if (n > f.s.size() || !unbase64(f.s, p, n, out)) return err = "bad base64 data", "";
  return out.substr(0, n);
}

template <class T>
void take(const std::string& bytes, std::vector<double>& v) {
  for (std::size_t k = 0; k + sizeof(T) <= bytes.size(); k += sizeof(T)) {
    T x;
    std::memcpy(&x, bytes.data() + k, sizeof(T));
    v.push_back(static_cast<double>(x));
  }
}

std::size_t offset(const std::string& s, std::size_t at) {
  const std::string o = attr(s, at, "offset");
  return o.empty() || o[0] == '-' ? 0 : std::stoull(o);
}

// The numbers of the DataArray tag at `at`, whatever their storage.
std::string values(const File& f, std::size_t at, std::vector<double>& v) {
  const std::string type = attr(f.s, at, "type"), format = attr(f.s, at, "format");
  const std::size_t body = f.s.find('>', at) + 1;
  std::string err, bytes;
  if (format == "ascii") {
    std::istringstream in(f.s.substr(body, f.s.find("</DataArray>", body) - body));
    for (double x; in >> x;) v.push_back(x);
    return in.eof() ? "" : "a value of an ascii array is not a number";
  }
  if (format == "binary") bytes = block(f, body, false, err);
  else if (format == "appended") bytes = block(f, f.appended + offset(f.s, at), f.raw, err);
  else return "data format '" + format + "' is not ascii, binary or appended";
  if (!err.empty()) return err;
  if (type == "Float32") take<float>(bytes, v);
  else if (type == "Float64") take<double>(bytes, v);
  else if (type == "Int32") take<std::int32_t>(bytes, v);
  else if (type == "Int64") take<std::int64_t>(bytes, v);
  else if (type == "UInt8") take<std::uint8_t>(bytes, v);
  else if (type == "Int8") take<std::int8_t>(bytes, v);
  else if (type == "UInt32") take<std::uint32_t>(bytes, v);
  else if (type == "UInt64") take<std::uint64_t>(bytes, v);
  else return "data type '" + type + "' is not supported";
  return "";
}

// The DataArray named `name` (or the first) inside the section `sect`.
std::string section(const File& f, const std::string& sect, const std::string& name, std::vector<double>& v) {
  const std::size_t a = f.s.find("<" + sect + ">"), b = f.s.find("</" + sect + ">");
  if (a == std::string::npos || b == std::string::npos) return "no <" + sect + "> section";
  for (std::size_t p = f.s.find("<DataArray", a); p < b; p = f.s.find("<DataArray", p + 1))
    if (name.empty() || attr(f.s, p, "Name") == name) return values(f, p, v);
  return "no " + name + " array in <" + sect + ">";
}

std::string open_file(const std::string& path, File& f) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return "cannot open " + path;
  f.s.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  const std::size_t top = f.s.find("<VTKFile");
  if (top == std::string::npos || attr(f.s, top, "type") != "UnstructuredGrid")
    return "not a VTK XML unstructured grid";
  if (!attr(f.s, top, "compressor").empty())
    return "compressed data (" + attr(f.s, top, "compressor") +
           ") is not read: save it uncompressed (ParaView: Compressor Type None)";
  if (attr(f.s, top, "byte_order") == "BigEndian") return "big-endian data is not read";
  if (attr(f.s, top, "header_type") == "UInt64") f.header = 8;
  if (f.s.find("<Piece", f.s.find("<Piece") + 1) != std::string::npos) return "more than one piece";
  const std::size_t ad = f.s.find("<AppendedData");
  if (ad != std::string::npos) {
    f.raw = attr(f.s, ad, "encoding") == "raw";
    f.appended = f.s.find('_', ad) + 1;
  }
  return "";
}

const char* cell_name(int t) {
  switch (t) {
    case 7: return "polygon";
    case 8: return "pixel";
    case 9: return "quadrilateral";
    case 11: return "voxel";
    case 12: return "hexahedron";
    case 13: return "wedge";
    case 14: return "pyramid";
    case 21: return "quadratic edge";
    case 22: return "quadratic triangle";
    case 24: return "quadratic tetrahedron";
    default: return "other";
  }
}

constexpr int VERTEX = 1, POLYVERTEX = 2, LINE = 3, POLYLINE = 4, TRIANGLE = 5, TETRA = 10;

std::string cells(const File& f, Mesh& m) {
  std::vector<double> conn, offs, types;
  std::string err = section(f, "Cells", "connectivity", conn);
  if (err.empty()) err = section(f, "Cells", "offsets", offs);
  if (err.empty()) err = section(f, "Cells", "types", types);
  if (!err.empty()) return err;
  if (offs.size() != types.size()) return "offsets and types differ in length";
  const double np = static_cast<double>(m.NODEID.size());
  for (std::size_t e = 0, from = 0; e < types.size(); from = static_cast<std::size_t>(offs[e]), ++e) {
    if (!(offs[e] >= static_cast<double>(from) && offs[e] <= static_cast<double>(conn.size())))
      return "cell " + std::to_string(e + 1) + ": offsets out of order";
    const int t = static_cast<int>(types[e]);
    const std::size_t to = static_cast<std::size_t>(offs[e]), want = t == TETRA ? 4 : t == TRIANGLE ? 3 : 0;
    const long id = static_cast<long>(e + 1);
    if (t == VERTEX || t == POLYVERTEX || t == LINE || t == POLYLINE) {
      ++m.IGNORED;
      continue;
    }
    if (want == 0 || to - from != want)
      return "cell type " + std::string(cell_name(t)) + " (VTK type " + std::to_string(t) + ", cell " +
             std::to_string(id) + ") is not supported (only 4-node tetrahedra and 3-node triangles)";
    std::array<long, 4> n{};
    for (std::size_t a = 0; a < want; ++a) {
      if (!(conn[from + a] >= 0.0 && conn[from + a] < np)) return "cell " + std::to_string(id) + ": no such point";
      n[a] = static_cast<long>(conn[from + a]) + 1;
    }
    if (t == TETRA) m.TETID.push_back(id), m.TET.push_back(n);
    else m.TRIID.push_back(id), m.TRI.push_back({n[0], n[1], n[2]});
  }
  return "";
}

std::string read_all(const std::string& path, Mesh& m) {
  File f;
  std::string err = open_file(path, f);
  std::vector<double> xyz;
  if (err.empty()) err = section(f, "Points", "", xyz);
  if (!err.empty()) return err;
  if (xyz.size() % 3 != 0) return "points need 3 coordinates";
  for (std::size_t i = 0; i < xyz.size() / 3; ++i) {
    m.NODEID.push_back(static_cast<long>(i + 1));
    m.XYZ.push_back({xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]});
  }
  return cells(f, m);
}

}  // namespace

std::string read_vtu(const std::string& path, Mesh& m) {
  try {
    const std::string err = read_all(path, m);
    return err.empty() ? "" : path + ": " + err;
  } catch (const std::exception& e) {
    return path + ": " + e.what();
  }
}

}  // namespace ossa::pipeline
