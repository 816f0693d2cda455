#include "post/vtu.hpp"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <unordered_map>

#include "base/files.hpp"
#include "deck/deck.hpp"
#include "elements/family.hpp"

namespace ossa::post {

namespace {

// One data array of the appended block.
struct DataArr {
  std::string name, type;
  int ncomp = 1;
  std::vector<char> bytes;
};

template <class T>
void append(DataArr& a, const T& v) {
  const char* c = reinterpret_cast<const char*>(&v);
  a.bytes.insert(a.bytes.end(), c, c + sizeof(T));
}

DataArr make(const char* name, const char* type, int ncomp, std::size_t n, std::size_t each) {
  DataArr a{name, type, ncomp, {}};
  a.bytes.reserve(n * each);
  return a;
}

// Deck node number -> position among the grid points, taken from the
// displacement section, which lists every grid point in order.
struct IdMap {
  std::vector<std::int32_t> dense;  // when the numbers are compact
  std::unordered_map<std::int32_t, std::int32_t> sparse;
  explicit IdMap(const std::vector<NodeOut>& all) {
    std::int32_t mx = 0;
    for (const NodeOut& r : all) mx = r.ID > mx ? r.ID : mx;
    const bool compact = mx <= 8L * static_cast<long>(all.size()) + 1024;
    if (compact) dense.assign(static_cast<std::size_t>(mx) + 1, -1);
    for (std::size_t i = 0; i < all.size(); ++i) {
      const std::int32_t id = all[i].ID;
      if (compact && id >= 0) dense[static_cast<std::size_t>(id)] = static_cast<std::int32_t>(i);
      else sparse[id] = static_cast<std::int32_t>(i);
    }
  }
  std::int32_t pos(std::int32_t id) const {
    if (id >= 0 && static_cast<std::size_t>(id) < dense.size()) return dense[id];
    const auto it = sparse.find(id);
    return it == sparse.end() ? -1 : it->second;
  }
};

// A point vector from a node section: zero where the section has no record.
DataArr point_vec(const char* name, const std::vector<NodeOut>& sect, const IdMap& ids,
                  std::size_t nn) {
  DataArr a = make(name, "Float32", 3, nn, 12);
  a.bytes.assign(nn * 12, 0);
  for (const NodeOut& r : sect) {
    const std::int32_t p = ids.pos(r.ID);
    if (p >= 0) std::memcpy(a.bytes.data() + 12L * p, r.V, 12);
  }
  return a;
}

// The elements that are written, as (ELEM row) in stream order.
std::vector<int> stream_order(const Model& m) {
  std::vector<int> rows;
  for (int type = 1; type <= elements::NFAMILY; ++type) {
    if (elements::FAMILYOF(type).VTUCELL == 0) continue;
    const std::vector<int> fam = elements::FAMILYELEMS(m, type);
    rows.insert(rows.end(), fam.begin(), fam.end());
  }
  return rows;
}

void cells(const Model& m, const std::vector<int>& rows, std::vector<DataArr>& out) {
  DataArr conn = make("connectivity", "Int32", 1, rows.size() * 4, 4);
  DataArr offs = make("offsets", "Int32", 1, rows.size(), 4);
  DataArr types = make("types", "UInt8", 1, rows.size(), 1);
  std::int32_t off = 0;
  for (int k : rows) {
    const model::ELEMREC& e = m.ELEM(k);
    const elements::FAMILY& f = elements::FAMILYOF(e.TYPE);
    const int nen = f.VTUNEN;
    for (int a = 1; a <= nen; ++a) {
      const int nd = e.NOD(a) >= 1 && e.NOD(a) <= m.NNODE() ? e.NOD(a) : 1;
      append(conn, static_cast<std::int32_t>(nd - 1));
    }
    off += nen;
    append(offs, off);
    append(types, static_cast<std::uint8_t>(f.VTUCELL));
  }
  out.push_back(std::move(conn));
  out.push_back(std::move(offs));
  out.push_back(std::move(types));
}

// Values of one cell, gathered from its record.
struct CellVal {
  std::int32_t state = -1;
  float ps[3] = {}, pe[3] = {}, dir[3] = {};
  float eqv = 0, sed = 0, epeq = 0, astrain = 0, aforce = 0;
};

CellVal from_solid(const float* v, std::int32_t state) {
  CellVal c;
  c.state = state;
  for (int k = 0; k < 3; ++k) {
    c.ps[k] = v[k];
    c.dir[k] = v[3 + k];
    c.pe[k] = v[12 + k];
  }
  return c;
}

// The shell's layer of largest equivalent stress; the direction goes from
// element axes to global ones by the frame of the three reference nodes.
CellVal from_shell(const Model& m, const model::ELEMREC& e, const ShellOut& r) {
  int l = 0;
  for (int k = 1; k < 3; ++k)
    if (r.L[k].V[7] > r.L[l].V[7]) l = k;
  const float* v = r.L[l].V;
  CellVal c;
  c.state = r.L[l].STATE;
  c.ps[0] = v[0]; c.ps[1] = v[1];
  c.pe[0] = v[3]; c.pe[1] = v[4];
  c.sed = v[5]; c.eqv = v[7]; c.epeq = v[8];
  double a[3], b[3], e3[3];
  for (int k = 0; k < 3; ++k) {
    a[k] = m.XYZ(k + 1, e.NOD(1)) - m.XYZ(k + 1, e.NOD(3));
    b[k] = m.XYZ(k + 1, e.NOD(2)) - m.XYZ(k + 1, e.NOD(3));
  }
  e3[0] = a[1] * b[2] - a[2] * b[1];
  e3[1] = a[2] * b[0] - a[0] * b[2];
  e3[2] = a[0] * b[1] - a[1] * b[0];
  const double la = std::sqrt(a[0] * a[0] + a[1] * a[1] + a[2] * a[2]);
  const double l3 = std::sqrt(e3[0] * e3[0] + e3[1] * e3[1] + e3[2] * e3[2]);
  if (la > 0.0 && l3 > 0.0) {
    double e1[3], e2[3];
    for (int k = 0; k < 3; ++k) { e1[k] = a[k] / la; e3[k] /= l3; }
    e2[0] = e3[1] * e1[2] - e3[2] * e1[1];
    e2[1] = e3[2] * e1[0] - e3[0] * e1[2];
    e2[2] = e3[0] * e1[1] - e3[1] * e1[0];
    const double cs = std::cos(v[2]), sn = std::sin(v[2]);
    for (int k = 0; k < 3; ++k) c.dir[k] = static_cast<float>(cs * e1[k] + sn * e2[k]);
  }
  return c;
}

// The frame's element records come family after family in the order of
// stream_order's rows; each stream is walked with its own reading.
std::string cell_values(const Model& m, const Frame& f, const std::vector<int>& rows,
                        std::vector<CellVal>& cv) {
  cv.clear();
  cv.reserve(rows.size());
  std::size_t next = 0;
  std::string err;
  auto walk = [&](const auto& recs, auto value) {
    for (const auto& r : recs) {
      if (!err.empty() || next >= rows.size()) return;
      const model::ELEMREC& e = m.ELEM(rows[next++]);
      if (r.ID != e.ID) {
        err = "element " + std::to_string(r.ID) + " of the results is element " +
              std::to_string(e.ID) + " of the deck: the deck does not match the results";
        return;
      }
      cv.push_back(value(e, r));
    }
  };
  walk(f.SHELL, [&](const model::ELEMREC& e, const ShellOut& r) { return from_shell(m, e, r); });
  walk(f.SOLID, [](const model::ELEMREC&, const SolidOut& r) {
    CellVal c = from_solid(r.V, r.STATE);
    c.sed = r.V[15]; c.eqv = r.V[19]; c.epeq = r.V[20];
    return c;
  });
  walk(f.RUBBER, [](const model::ELEMREC&, const RubberOut& r) {
    CellVal c = from_solid(r.V, -1);
    c.sed = r.V[15];
    return c;
  });
  walk(f.TRUSS, [](const model::ELEMREC&, const TrussOut& r) {
    CellVal c;
    c.astrain = r.V[0]; c.aforce = r.V[1];
    return c;
  });
  return err;
}

void cell_arrays(const std::vector<CellVal>& cv, std::vector<DataArr>& out) {
  const std::size_t n = cv.size();
  DataArr st = make("state", "Int32", 1, n, 4);
  DataArr ps = make("principal stress", "Float32", 3, n, 12);
  DataArr pe = make("principal strain", "Float32", 3, n, 12);
  DataArr dr = make("first principal direction", "Float32", 3, n, 12);
  DataArr eq = make("equivalent stress", "Float32", 1, n, 4);
  DataArr se = make("strain energy density", "Float32", 1, n, 4);
  DataArr ep = make("EPEQ", "Float32", 1, n, 4);
  DataArr as = make("axial strain", "Float32", 1, n, 4);
  DataArr af = make("axial force", "Float32", 1, n, 4);
  for (const CellVal& c : cv) {
    append(st, c.state);
    append(ps, c.ps);
    append(pe, c.pe);
    append(dr, c.dir);
    append(eq, c.eqv);
    append(se, c.sed);
    append(ep, c.epeq);
    append(as, c.astrain);
    append(af, c.aforce);
  }
  for (auto* a : {&st, &ps, &pe, &dr, &eq, &se, &ep, &as, &af}) out.push_back(std::move(*a));
}

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};

// Base64 of n bytes appended to `out`.
void base64(const unsigned char* p, std::size_t n, std::string& out) {
  static constexpr char T[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const std::size_t start = out.size();
  out.resize(start + 4 * ((n + 2) / 3));
  char* o = out.data() + start;
  std::size_t i = 0;
  for (; i + 3 <= n; i += 3, o += 4) {
    const unsigned v = (unsigned{p[i]} << 16) | (unsigned{p[i + 1]} << 8) | p[i + 2];
    o[0] = T[v >> 18]; o[1] = T[(v >> 12) & 63]; o[2] = T[(v >> 6) & 63]; o[3] = T[v & 63];
  }
  if (i < n) {
    const unsigned v = (unsigned{p[i]} << 16) | (i + 1 < n ? unsigned{p[i + 1]} << 8 : 0u);
    o[0] = T[v >> 18]; o[1] = T[(v >> 12) & 63];
    o[2] = i + 1 < n ? T[(v >> 6) & 63] : '=';
    o[3] = '=';
  }
}

// An array as it is appended: its byte count and its bytes, encoded apart.
std::string encoded(const DataArr& a) {
  std::string e;
  e.reserve(16 + 4 * (a.bytes.size() / 3 + 1));
  const std::uint64_t n = a.bytes.size();
  base64(reinterpret_cast<const unsigned char*>(&n), 8, e);
  base64(reinterpret_cast<const unsigned char*>(a.bytes.data()), a.bytes.size(), e);
  return e;
}

void xml_arrays(std::FILE* fp, const std::vector<DataArr>& arrs, const std::vector<std::size_t>& off,
                std::size_t from, std::size_t to) {
  for (std::size_t k = from; k < to; ++k) {
    const DataArr& a = arrs[k];
    std::fprintf(fp, "<DataArray type=\"%s\" Name=\"%s\" NumberOfComponents=\"%d\" "
                     "format=\"appended\" offset=\"%zu\"/>\n",
                 a.type.c_str(), a.name.c_str(), a.ncomp, off[k]);
  }
}

// Writes the XML and the appended block. Arrays: [0,np) point data,
// [np,nc) cell data, then points, then the three cell arrays.
std::string write_file(const std::string& path, const std::vector<DataArr>& arrs,
                       std::size_t np, std::size_t nc, std::size_t npts, std::size_t ncell) {
  std::unique_ptr<std::FILE, FileCloser> f(std::fopen(path.c_str(), "wb"));
  if (!f) return "cannot create " + path;
  std::FILE* fp = f.get();
  std::vector<std::string> enc(arrs.size());
  std::vector<std::size_t> off(arrs.size());
  std::size_t pos = 0;
  for (std::size_t k = 0; k < arrs.size(); ++k) {
    enc[k] = encoded(arrs[k]);
    off[k] = pos;
    pos += enc[k].size();
  }
  std::fprintf(fp, "<?xml version=\"1.0\"?>\n<VTKFile type=\"UnstructuredGrid\" version=\"1.0\" "
                   "byte_order=\"LittleEndian\" header_type=\"UInt64\">\n<UnstructuredGrid>\n"
                   "<Piece NumberOfPoints=\"%zu\" NumberOfCells=\"%zu\">\n", npts, ncell);
  std::fprintf(fp, "<PointData>\n");
  xml_arrays(fp, arrs, off, 0, np);
  std::fprintf(fp, "</PointData>\n<CellData>\n");
  xml_arrays(fp, arrs, off, np, nc);
  std::fprintf(fp, "</CellData>\n<Points>\n");
  xml_arrays(fp, arrs, off, nc, nc + 1);
  std::fprintf(fp, "</Points>\n<Cells>\n");
  xml_arrays(fp, arrs, off, nc + 1, arrs.size());
  std::fprintf(fp, "</Cells>\n</Piece>\n</UnstructuredGrid>\n<AppendedData encoding=\"base64\">\n_");
  for (const std::string& e : enc) std::fwrite(e.data(), 1, e.size(), fp);
  std::fprintf(fp, "\n</AppendedData>\n</VTKFile>\n");
  if (std::ferror(fp)) return "cannot write " + path;
  return "";
}

}  // namespace

std::string JOBMODEL(Model& m, const std::string& dir, const std::string& logname) {
  model::MODELRESET(m);
  m.clock.now();
  const std::string inp = (dir.empty() ? std::string(".") : dir) + "/EXEC.INP";
  if (!base::open_text_in(m.unit(m.UNIT(1)), inp)) return "cannot open " + inp;
  if (!base::open_text_out(m.unit(m.UNIT(2)), logname)) {
    base::close_unit(m.unit(m.UNIT(1)));
    return "cannot create the scratch log " + logname;
  }
  deck::DECKIN(m);
  base::close_unit(m.unit(m.UNIT(1)));
  base::close_unit(m.unit(m.UNIT(2)));
  return "";
}

std::string VTUCHECK(const Model& m, const FrameHead& h) {
  if (h.NNODE != m.NNODE() || h.NSHELL != m.NSHELL() || h.NSOLID != m.NSOLID() ||
      h.NRUBB != m.NRUBB() || h.NTRUSS != m.NTRUSS())
    return "the deck does not match the results: " + std::to_string(m.NNODE()) + " nodes, " +
           std::to_string(m.NSHELL()) + " shells, " + std::to_string(m.NSOLID()) + " solids, " +
           std::to_string(m.NRUBB()) + " rubbers, " + std::to_string(m.NTRUSS()) +
           " trusses in the deck; " + std::to_string(h.NNODE) + ", " + std::to_string(h.NSHELL) +
           ", " + std::to_string(h.NSOLID) + ", " + std::to_string(h.NRUBB) + ", " +
           std::to_string(h.NTRUSS) + " in the results";
  return "";
}

std::string VTUWRITE(const Model& m, const Frame& f, const std::string& path) {
  std::string err = VTUCHECK(m, f.h);
  if (!err.empty()) return err;
  if (f.DISP.size() != static_cast<std::size_t>(m.NNODE()) ||
      f.SHELL.size() != static_cast<std::size_t>(m.NSHELL()) ||
      f.SOLID.size() != static_cast<std::size_t>(m.NSOLID()) ||
      f.RUBBER.size() != static_cast<std::size_t>(m.NRUBB()) ||
      f.TRUSS.size() != static_cast<std::size_t>(m.NTRUSS()))
    return "the frame was not read in full";
  const std::size_t nn = f.DISP.size();
  const IdMap ids(f.DISP);
  std::vector<DataArr> arrs;
  arrs.push_back(point_vec("displacement", f.DISP, ids, nn));
  arrs.push_back(point_vec("force", f.FORCE, ids, nn));
  arrs.push_back(point_vec("reaction", f.REACT, ids, nn));
  arrs.push_back(point_vec("link force", f.LINKF, ids, nn));
  const std::size_t np = arrs.size();
  const std::vector<int> rows = stream_order(m);
  std::vector<CellVal> cv;
  err = cell_values(m, f, rows, cv);
  if (!err.empty()) return err;
  cell_arrays(cv, arrs);
  const std::size_t nc = arrs.size();
  DataArr pts = make("Points", "Float64", 3, nn, 24);
  for (std::size_t i = 1; i <= nn; ++i)
    for (int k = 1; k <= 3; ++k) append(pts, m.XYZ(k, static_cast<long>(i)));
  arrs.push_back(std::move(pts));
  cells(m, rows, arrs);
  return write_file(path, arrs, np, nc, nn, rows.size());
}

std::string PVDWRITE(const std::string& path,
                     const std::vector<std::pair<double, std::string>>& steps) {
  std::unique_ptr<std::FILE, FileCloser> f(std::fopen(path.c_str(), "w"));
  if (!f) return "cannot create " + path;
  std::fprintf(f.get(), "<?xml version=\"1.0\"?>\n<VTKFile type=\"Collection\" version=\"0.1\" "
                        "byte_order=\"LittleEndian\">\n<Collection>\n");
  for (const auto& [t, name] : steps)
    std::fprintf(f.get(), "<DataSet timestep=\"%.9g\" group=\"\" part=\"0\" file=\"%s\"/>\n", t,
                 name.c_str());
  std::fprintf(f.get(), "</Collection>\n</VTKFile>\n");
  return std::ferror(f.get()) ? "cannot write " + path : "";
}

}  // namespace ossa::post
