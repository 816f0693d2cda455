// The job description ossa-mkdeck reads (a JSON file) and the deck it
// writes from a mesh and, where given, a CT volume.
#pragma once
#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "pipeline/mesh.hpp"

namespace ossa::pipeline {

struct Fix {
  std::string SET;
  std::string DOFS = "111";  // x y z [rx ry rz]: 1 held, 0 free
};

struct Load {
  std::string SET;
  std::array<double, 3> TOTAL{};  // resultant force, shared equally by the set's nodes
};

// HU -> apparent density rho = SLOPE HU + INTERCEPT (g/cm3), floored at
// RHO_MIN; E = A rho^B (MPa).
struct Ct {
  std::string VOLUME;
  double SLOPE = 0.0, INTERCEPT = 0.0;
  double A = 6850.0, B = 1.49;  // femoral neck, apparent density
  double RHO_MIN = 0.01;
  int BINS = 0;     // 0: every element its own modulus
  int SAMPLES = 0;  // sub-divisions per edge for the integration (1, 2, 4, 8); 0 from the voxel size
};

// A node set the job file defines: the nodes inside a box.
struct BoxSet {
  std::string NAME;
  std::array<double, 3> LO{}, HI{};
};

struct Job {
  std::string DIR;  // folder of the job file; relative paths start there
  std::string MESH, TITLE = "OSSA-MKDECK MODEL";
  double MESH_SIZE = 0.0;  // tetrahedron size when the mesh is a surface; 0: its mean edge
  bool GEOMETRIC = false, MATERIAL = false;
  int STEPS = 1, ITERATIONS = 20;
  double TOLERANCE = 0.001, CGTOL = 1.0e-8, MEMORY = 4000.0;
  int SOLVER = 0;  // selector: 0 CG on the processor, -1 ORK, -2 third-party direct
  int OUTPUT = 1;  // result output every this many steps
  double E = 0.0, NU = 0.3;  // without a CT volume: one modulus for all
  bool BONE = false;          // bone material rows (cracking, yield, crushing)
  bool HAS_CT = false;
  double SHELL_T = 0.0, SHELL_E = 0.0;  // thickness > 0: triangles become shells of this modulus
  Ct CT;
  std::vector<BoxSet> SETS;
  std::vector<Fix> FIXED;
  std::vector<Load> LOADS;
};

// Reads and checks the job file; "" when it is consistent.
std::string read_job(const std::string& path, Job& j);

// A path of the job file, resolved against its folder.
std::string job_path(const Job& j, const std::string& p);

// The mesh the job names, with the job's own sets added.
std::string read_job_mesh(const Job& j, Mesh& m);

// Per element: modulus and density.
struct ElemMat {
  double E = 0.0, RHO = 0.0;
};

// Writes the deck; the mesh is checked and oriented, `mat` has one row per
// tetrahedron. "" when written, else why not (nothing half-valid is kept
// by the caller).
std::string write_deck(std::FILE* f, const Mesh& m, const Job& j, const std::vector<ElemMat>& mat);

}  // namespace ossa::pipeline
