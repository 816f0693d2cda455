// Times ossa-mkdeck's heavy parts: importing a large mesh (written here
// through the Gmsh SDK as binary .msh 4.1, and as a raw appended VTU),
// filling a closed STL surface with tetrahedra, and mapping a CT volume
// onto the tetrahedra. Each figure comes with the load average, since the
// machines it runs on are shared.
//   bench_pipeline [cubes per edge, 55 -> 998 250 tets] [voxels per edge, 512]
#include <gmsh.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstdint>
#include <filesystem>
#include <map>

#include "../examples/mesh/cube_tets.hpp"
#include "cube.hpp"
#include "pipeline/ct.hpp"
#include "pipeline/mesh.hpp"

using namespace ossa::pipeline;

namespace {

struct P3 { double x, y, z; };

// A block of n^3 cubes, six tetrahedra each, over [5, 5 + L] mm.
Mesh block(int n, double L) {
  Mesh m;
  auto id = [&](int i, int j, int k) { return 1L + i + (n + 1L) * (j + (n + 1L) * k); };
  for (int k = 0; k <= n; ++k)
    for (int j = 0; j <= n; ++j)
      for (int i = 0; i <= n; ++i) {
        m.NODEID.push_back(id(i, j, k));
        m.XYZ.push_back({5.0 + L * i / n, 5.0 + L * j / n, 5.0 + L * k / n});
      }
  std::vector<std::array<int, 4>> t;
  for (int k = 0; k < n; ++k)
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        ossa::example::cube_tets(i, j, k, [&](int a, int b, int c) { return static_cast<int>(id(a, b, c)); },
                                 [&](int nd) {
                                   const auto& p = m.XYZ[static_cast<std::size_t>(nd - 1)];
                                   return P3{p[0], p[1], p[2]};
                                 },
                                 t);
  for (std::size_t e = 0; e < t.size(); ++e) {
    m.TETID.push_back(static_cast<long>(e + 1));
    m.TET.push_back({t[e][0], t[e][1], t[e][2], t[e][3]});
  }
  return m;
}

void write_msh(const Mesh& m, const std::string& path) {
  gmsh::initialize(0, nullptr, false);
  gmsh::option::setNumber("General.Terminal", 0);
  gmsh::model::add("block");
  gmsh::model::addDiscreteEntity(3, 1);
  std::vector<std::size_t> nt(m.NODEID.begin(), m.NODEID.end()), et(m.TETID.begin(), m.TETID.end()), en;
  std::vector<double> xyz;
  for (const auto& p : m.XYZ) xyz.insert(xyz.end(), p.begin(), p.end());
  for (const auto& t : m.TET) en.insert(en.end(), t.begin(), t.end());
  gmsh::model::mesh::addNodes(3, 1, nt, xyz);
  gmsh::model::mesh::addElementsByType(1, 4, et, en);
  gmsh::option::setNumber("Mesh.Binary", 1);
  gmsh::write(path);
  gmsh::finalize();
}

// The block as a VTU of raw appended data (as ParaView saves it uncompressed).
void write_vtu(const Mesh& m, const std::string& path) {
  std::vector<double> xyz;
  std::vector<std::int64_t> conn, offs;
  for (const auto& p : m.XYZ) xyz.insert(xyz.end(), p.begin(), p.end());
  for (const auto& t : m.TET) {
    for (long n : t) conn.push_back(n - 1);
    offs.push_back(static_cast<std::int64_t>(conn.size()));
  }
  const std::vector<std::uint8_t> types(m.TET.size(), 10);
  const std::uint64_t b[4] = {8 * xyz.size(), 8 * conn.size(), 8 * offs.size(), types.size()};
  std::FILE* f = std::fopen(path.c_str(), "wb");
  std::fprintf(f, "<VTKFile type=\"UnstructuredGrid\" header_type=\"UInt64\"><UnstructuredGrid>"
               "<Piece NumberOfPoints=\"%zu\" NumberOfCells=\"%zu\"><Points><DataArray type=\"Float64\" "
               "NumberOfComponents=\"3\" format=\"appended\" offset=\"0\"/></Points><Cells>"
               "<DataArray type=\"Int64\" Name=\"connectivity\" format=\"appended\" offset=\"%lu\"/>"
               "<DataArray type=\"Int64\" Name=\"offsets\" format=\"appended\" offset=\"%lu\"/>"
               "<DataArray type=\"UInt8\" Name=\"types\" format=\"appended\" offset=\"%lu\"/></Cells></Piece>"
               "</UnstructuredGrid><AppendedData encoding=\"raw\">_",
               m.XYZ.size(), m.TET.size(), 8 + b[0], 16 + b[0] + b[1], 24 + b[0] + b[1] + b[2]);
  const void* data[4] = {xyz.data(), conn.data(), offs.data(), types.data()};
  for (int k = 0; k < 4; ++k) {
    std::fwrite(&b[k], 8, 1, f);
    std::fwrite(data[k], 1, b[k], f);
  }
  std::fprintf(f, "</AppendedData></VTKFile>\n");
  std::fclose(f);
}

// A sphere of radius r as an STL: an icosahedron refined `n` times.
void write_sphere(const std::string& path, double r, int n) {
  const double t = (1.0 + std::sqrt(5.0)) / 2.0;
  std::vector<std::array<double, 3>> p = {{-1, t, 0}, {1, t, 0}, {-1, -t, 0}, {1, -t, 0}, {0, -1, t}, {0, 1, t},
                                          {0, -1, -t}, {0, 1, -t}, {t, 0, -1}, {t, 0, 1}, {-t, 0, -1}, {-t, 0, 1}};
  std::vector<std::array<int, 3>> f = {{0, 11, 5}, {0, 5, 1}, {0, 1, 7}, {0, 7, 10}, {0, 10, 11}, {1, 5, 9}, {5, 11, 4},
                                       {11, 10, 2}, {10, 7, 6}, {7, 1, 8}, {3, 9, 4}, {3, 4, 2}, {3, 2, 6}, {3, 6, 8},
                                       {3, 8, 9}, {4, 9, 5}, {2, 4, 11}, {6, 2, 10}, {8, 6, 7}, {9, 8, 1}};
  for (int s = 0; s < n; ++s) {
    std::map<std::pair<int, int>, int> mid;
    auto m = [&](int a, int b) {
      const auto [it, fresh] = mid.try_emplace({std::min(a, b), std::max(a, b)}, static_cast<int>(p.size()));
      if (fresh) p.push_back({(p[a][0] + p[b][0]) / 2, (p[a][1] + p[b][1]) / 2, (p[a][2] + p[b][2]) / 2});
      return it->second;
    };
    std::vector<std::array<int, 3>> g;
    for (const auto& [a, b, c] : f) {
      const int ab = m(a, b), bc = m(b, c), ca = m(c, a);
      g.insert(g.end(), {{a, ab, ca}, {b, bc, ab}, {c, ca, bc}, {ab, bc, ca}});
    }
    f.swap(g);
  }
  std::FILE* o = std::fopen(path.c_str(), "w");
  std::fprintf(o, "solid s\n");
  for (const auto& tri : f) {
    std::fprintf(o, "facet normal 0 0 0\nouter loop\n");
    for (int a : tri) {
      const double l = std::hypot(p[a][0], p[a][1], p[a][2]);
      std::fprintf(o, "vertex %.9g %.9g %.9g\n", r * p[a][0] / l, r * p[a][1] / l, r * p[a][2] / l);
    }
    std::fprintf(o, "endloop\nendfacet\n");
  }
  std::fprintf(o, "endsolid s\n");
  std::fclose(o);
}

double load() { return ossa::bench::load_average(); }

// Fills a sphere of radius 20 mm given as an STL of 20 480 facets.
void fill_sphere(double size) {
  const std::string path = (std::filesystem::temp_directory_path() / "ossa-bench-sphere.stl").string();
  write_sphere(path, 20.0, 5);
  ossa::bench::Stopwatch sw;
  Mesh m;
  const std::string err = mesh_surface(path, size, m);
  double v6 = 0.0;
  std::map<long, std::size_t> at;
  for (std::size_t i = 0; i < m.NODEID.size(); ++i) at[m.NODEID[i]] = i;
  for (const auto& t : m.TET) {
    const auto &a = m.XYZ[at[t[0]]], &b = m.XYZ[at[t[1]]], &c = m.XYZ[at[t[2]]], &d = m.XYZ[at[t[3]]];
    const double u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]}, v[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]},
                 w[3] = {d[0] - a[0], d[1] - a[1], d[2] - a[2]};
    v6 += std::fabs(u[0] * (v[1] * w[2] - v[2] * w[1]) - u[1] * (v[0] * w[2] - v[2] * w[0]) + u[2] * (v[0] * w[1] - v[1] * w[0]));
  }
  std::printf("fill STL sphere (20 480 facets), size %.1f mm: %zu tetrahedra, volume %.5g of the sphere's: "
              "%.2f s wall, %.2f s processor  (load %.1f)%s\n",
              size, m.TET.size(), v6 / 6.0 / (4.0 / 3.0 * M_PI * 8000.0), sw.wall(), sw.cpu(), load(), err.c_str());
  std::filesystem::remove(path);
}

}  // namespace

int main(int argc, char** argv) {
  const int n = argc > 1 ? std::atoi(argv[1]) : 55;
  const int nv = argc > 2 ? std::atoi(argv[2]) : 512;
  const double h = 0.3, L = nv * h - 10.0;  // 0.3 mm voxels; the block inside the volume
  Mesh m = block(n, L);
  const std::string path = (std::filesystem::temp_directory_path() / "ossa-bench-pipeline.msh").string();
  write_msh(m, path);
  ossa::bench::Stopwatch sw;
  Mesh r;
  long flipped = 0;
  std::string err = read_mesh(path, r);
  if (err.empty()) err = check_and_orient(r, flipped);
  std::printf("import .msh (binary 4.1): %zu nodes, %zu tetrahedra: %.2f s wall, %.2f s processor  (target 5 s, "
              "load %.1f)\n", r.NODEID.size(), r.TET.size(), sw.wall(), sw.cpu(), load());
  std::filesystem::remove(path);
  if (!err.empty()) std::printf("  error: %s\n", err.c_str());
  const std::string vtu = (std::filesystem::temp_directory_path() / "ossa-bench-pipeline.vtu").string();
  write_vtu(m, vtu);
  sw = ossa::bench::Stopwatch();
  Mesh rv;
  err = read_vtu(vtu, rv);
  if (err.empty()) err = check_and_orient(rv, flipped);
  std::printf("import .vtu (raw appended): %zu tetrahedra: %.2f s wall, %.2f s processor  (load %.1f)%s\n",
              rv.TET.size(), sw.wall(), sw.cpu(), load(), err.c_str());
  std::filesystem::remove(vtu);
  fill_sphere(2.0);

  Volume v;
  v.N = {nv, nv, nv};
  for (int c = 0; c < 3; ++c) v.AXES[c][c] = h;
  v.HU.resize(static_cast<std::size_t>(nv) * nv * nv);
  for (std::size_t i = 0; i < v.HU.size(); ++i) v.HU[i] = static_cast<float>(200.0 + 800.0 * std::sin(0.001 * static_cast<double>(i)));
  Ct ct;
  ct.SLOPE = 0.0008;
  ct.INTERCEPT = 0.1;
  for (int k : {0, 2}) {
    ct.SAMPLES = k;
    std::vector<ElemMat> out;
    MapReport rep;
    sw = ossa::bench::Stopwatch();
    err = map_moduli(v, r, ct, out, rep);
    std::printf("map %d^3 volume onto %zu tetrahedra, %d sub-divisions per edge (%zu points each): %.2f s wall, "
                "%.2f s processor  (target 30 s, load %.1f)%s\n",
                nv, r.TET.size(), rep.SAMPLES, sample_points(rep.SAMPLES).size(), sw.wall(), sw.cpu(), load(),
                err.empty() ? "" : err.c_str());
  }
  return 0;
}
