// Times ossa-mkdeck's two heavy parts: importing a large Gmsh mesh (written
// here through the Gmsh SDK, binary .msh 4.1) and mapping a CT volume onto
// its tetrahedra.
//   bench_pipeline [cubes per edge, 55 -> 998 250 tets] [voxels per edge, 512]
#include <gmsh.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

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
  std::printf("import .msh (binary 4.1): %zu nodes, %zu tetrahedra: %.2f s wall, %.2f s processor  (target 5 s)\n",
              r.NODEID.size(), r.TET.size(), sw.wall(), sw.cpu());
  std::filesystem::remove(path);
  if (!err.empty()) std::printf("  error: %s\n", err.c_str());

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
                "%.2f s processor  (target 30 s)%s\n",
                nv, r.TET.size(), rep.SAMPLES, sample_points(rep.SAMPLES).size(), sw.wall(), sw.cpu(),
                err.empty() ? "" : err.c_str());
  }
  return 0;
}
