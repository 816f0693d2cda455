// Writes the CT-style example: a synthetic CT volume of a proximal femur
// (cortical shell, trabecular interior, soft tissue around, scanner noise)
// and a Gmsh tetrahedral mesh of the same bone, with the distal cut and a
// loading pad on the head as named surfaces, for ossa-mkdeck.
//   ossa-mkfemur-ct DIR [element size mm, default 4]
#include <gmsh.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "femur_deck.hpp"
#include "pipeline/ct.hpp"

namespace {

using namespace ossa::example::femur;

// The calibration the job file gives: rho = 0.0008 HU + 0.1 (g/cm3).
constexpr double SLOPE = 0.0008, INTERCEPT = 0.1;
constexpr double SOFT_HU = 40.0, NOISE_HU = 25.0;

ossa::pipeline::Volume ct_volume() {
  ossa::pipeline::Volume v;
  const V3 c = head_centre();
  const double x0 = c.x - HEAD_R - 6.0, x1 = SHAFT_R + 6.0, y0 = -HEAD_R - 6.0, z0 = -4.0, z1 = c.z + HEAD_R + 8.0;
  const double hx = 0.8, hz = 1.25;  // in-plane pixel and slice spacing, as a clinical scan
  v.N = {static_cast<int>((x1 - x0) / hx) + 1, static_cast<int>(-2.0 * y0 / hx) + 1, static_cast<int>((z1 - z0) / hz) + 1};
  v.ORIGIN = {x0, y0, z0};
  v.AXES = {{{hx, 0, 0}, {0, hx, 0}, {0, 0, hz}}};
  v.HU.resize(static_cast<std::size_t>(v.N[0]) * v.N[1] * v.N[2]);
  std::mt19937 gen(12345);
  std::normal_distribution<double> noise(0.0, NOISE_HU);
  std::size_t n = 0;
  for (int k = 0; k < v.N[2]; ++k)
    for (int j = 0; j < v.N[1]; ++j)
      for (int i = 0; i < v.N[0]; ++i) {
        const V3 p = {x0 + hx * i, y0 + hx * j, z0 + hz * k};
        // Bone continues below the distal cut, as in a scan of the whole leg.
        const V3 q = {p.x, p.y, std::max(p.z, 0.0)};
        const double hu = depth(q) > 0.0 ? (density(q) - INTERCEPT) / SLOPE : SOFT_HU;
        v.HU[n++] = static_cast<float>(hu + noise(gen));
      }
  return v;
}

// Shaft, neck and head fused, with a loading pad on top of the head; the
// distal face and the pad's top become the sets DISTAL and HEAD.
void femur_mesh(const std::string& path, double size) {
  gmsh::initialize(0, nullptr, false);
  gmsh::option::setNumber("General.Terminal", 0);
  gmsh::model::add("femur");
  namespace occ = gmsh::model::occ;
  const V3 b = neck_base(), d = neck_dir(), c = head_centre();
  const int shaft = occ::addCylinder(0, 0, 0, 0, 0, SHAFT_L, SHAFT_R);
  const int neck = occ::addCylinder(b.x, b.y, b.z, NECK_L * d.x, NECK_L * d.y, NECK_L * d.z, NECK_R);
  const int head = occ::addSphere(c.x, c.y, c.z, HEAD_R);
  const int pad = occ::addCylinder(c.x, c.y, c.z + HEAD_R - 2.0, 0, 0, 3.0, 8.0);
  gmsh::vectorpair out;
  std::vector<gmsh::vectorpair> map;
  occ::fuse({{3, shaft}}, {{3, neck}, {3, head}, {3, pad}}, out, map);
  occ::synchronize();
  gmsh::vectorpair faces;
  gmsh::model::getEntities(faces, 2);
  std::vector<int> distal, top;
  for (const auto& [dim, tag] : faces) {
    double xa, ya, za, xb, yb, zb;
    gmsh::model::getBoundingBox(dim, tag, xa, ya, za, xb, yb, zb);
    if (zb < 1e-6) distal.push_back(tag);
    if (za > c.z + HEAD_R + 1.0 - 1e-6) top.push_back(tag);
  }
  gmsh::model::setPhysicalName(2, gmsh::model::addPhysicalGroup(2, distal), "DISTAL");
  gmsh::model::setPhysicalName(2, gmsh::model::addPhysicalGroup(2, top), "HEAD");
  std::vector<int> vols;
  for (const auto& [dim, tag] : out) vols.push_back(tag);
  gmsh::model::setPhysicalName(3, gmsh::model::addPhysicalGroup(3, vols), "BONE");
  gmsh::option::setNumber("Mesh.MeshSizeMax", size);
  gmsh::option::setNumber("Mesh.MeshSizeMin", 0.5 * size);
  gmsh::model::mesh::generate(3);
  gmsh::write(path);
  gmsh::finalize();
}

}  // namespace

int main(int argc, char** argv) {
  const double size = argc > 2 ? std::atof(argv[2]) : 4.0;
  if (argc < 2 || !(size >= 1.0 && size <= 20.0)) {
    std::fprintf(stderr, "usage: ossa-mkfemur-ct DIR [element size mm, 1..20]\n");
    return 2;
  }
  const std::filesystem::path dir = argv[1];
  std::filesystem::create_directories(dir);
  const std::string err = ossa::pipeline::write_metaimage((dir / "femur_ct.mha").string(), ct_volume());
  if (!err.empty()) {
    std::fprintf(stderr, "ossa-mkfemur-ct: %s\n", err.c_str());
    return 1;
  }
  femur_mesh((dir / "femur.msh").string(), size);
  std::printf("ossa-mkfemur-ct: wrote %s and %s\n", (dir / "femur_ct.mha").c_str(), (dir / "femur.msh").c_str());
  return 0;
}
