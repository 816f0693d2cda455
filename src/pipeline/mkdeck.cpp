// ossa-mkdeck: a tetrahedral mesh, a job file and optionally a CT volume
// to an ossa deck. Exit status 0 written, 1 input refused, 2 bad arguments.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "pipeline/ct.hpp"
#include "pipeline/job.hpp"
#include "pipeline/mesh.hpp"

namespace {

using namespace ossa::pipeline;

constexpr const char* HELP = R"(usage: ossa-mkdeck JOBFILE [-o DECK]

Writes an ossa deck (default EXEC.INP in the current directory) from the
mesh and settings a JSON job file names. Paths in the job file are taken
relative to its folder.

Meshes: Abaqus/CalculiX .inp (*NODE, *ELEMENT TYPE=C3D4 or S3, *NSET, *ELSET,
GENERATE); a closed surface .stl (a segmentation), filled with tetrahedra
of size "mesh_size" (default: the surface's mean edge); every other
extension (.msh 2.2/4.x, .vtk, .unv...) through the Gmsh SDK, whose
physical groups become sets under their names. Tetrahedra
are oriented (those reordered are counted); second-order and other element
types are refused by name. Triangles serve as sets only, unless a "shell"
block makes them shell elements.

Job file:
  {
    "mesh": "femur.msh",                 required
    "mesh_size": 2.0,                    for a surface mesh (.stl)
    "sets": {"DISTAL": {"box": [-50, -50, -1, 50, 50, 5]}},   node sets by box
    "title": "LEFT FEMUR, STANCE",
    "analysis": {"geometric": false, "material": false, "steps": 4,
                 "iterations": 20, "tolerance": 0.001},
    "solver": "cg",                      cg | ork | mumps
    "output": 1,                         steps between result frames
    "material": {"E": 17000, "nu": 0.3, "bone": false},
    "shell": {"thickness": 0.5, "E": 17000},   optional: triangles as shells
    "ct": {"volume": "ct.nii.gz",        .nii, .nii.gz, .mha, .mhd, DICOM folder
           "slope": 0.0008, "intercept": 0.0,   rho = slope HU + intercept (g/cm3)
           "a": 6850, "b": 1.49,         E = a rho^b (MPa), default femoral neck
           "rho_min": 0.01, "bins": 0, "samples": 0},
    "fixed": [{"set": "DISTAL", "dofs": "111"}],
    "loads": [{"set": "HEAD", "total": [700, 200, -1860]}]
  }
With "ct", each tetrahedron gets the mean of E over points filling it evenly
(samples: sub-divisions per edge, 1, 2, 4 or 8, giving 1 to 512 points; 0
picks about one per voxel) and "material.E" is not used. The mesh must lie
in the volume's world frame (NIfTI: its sform, else qform; MetaImage: Offset,
TransformMatrix, ElementSpacing; DICOM: the patient frame of Image Position
and Orientation, Pixel Spacing and the slices' step; one series per folder). Elements off the volume get rho_min, and
are reported, as are densities below rho_min, raised to it.
"bins" > 0 groups the moduli into that many classes. "bone": true writes bone
rows (strength from the modulus); a material nonlinear analysis needs it.
A load's total force is shared equally by the nodes of its set; the load
rises linearly from 0 to the total over the steps.

Options:
  -o DECK      where to write the deck
  -h, --help   this text

Exit status: 0 deck written; 1 input refused (the message says why; no deck
is left behind); 2 bad arguments.
)";

int refuse(const std::string& msg) {
  std::fprintf(stderr, "ossa-mkdeck: %s\n", msg.c_str());
  return 1;
}

void report_map(const MapReport& r, long ne) {
  std::printf("ossa-mkdeck: moduli from %d sample(s) per edge: %.4g .. %.4g MPa\n", r.SAMPLES, r.EMIN, r.EMAX);
  for (std::size_t b = 0; b < r.HIST.size(); ++b) {
    const double lo = r.EMIN + (r.EMAX - r.EMIN) * static_cast<double>(b) / 10.0;
    const double hi = r.EMIN + (r.EMAX - r.EMIN) * static_cast<double>(b + 1) / 10.0;
    const int bar = static_cast<int>(50.0 * static_cast<double>(r.HIST[b]) / static_cast<double>(ne) + 0.5);
    std::printf("  %10.4g - %10.4g MPa %9ld  %.*s\n", lo, hi, r.HIST[b], bar,
                "##################################################");
  }
  if (r.OUTSIDE > 0)
    std::printf("ossa-mkdeck: WARNING %ld element(s) lie outside the CT volume: given the floor density\n", r.OUTSIDE);
  if (r.PARTLY > 0) std::printf("ossa-mkdeck: WARNING %ld element(s) lie partly outside the CT volume\n", r.PARTLY);
  if (r.CLAMPED > 0)
    std::printf("ossa-mkdeck: WARNING %ld element(s) had density below rho_min, clamped to it\n", r.CLAMPED);
}

int run(const std::string& jobfile, const std::string& deck) {
  Job j;
  if (std::string e = read_job(jobfile, j); !e.empty()) return refuse(e);
  Mesh m;
  if (std::string e = read_job_mesh(j, m); !e.empty()) return refuse(e);
  long flipped = 0;
  if (std::string e = check_and_orient(m, flipped); !e.empty()) return refuse(j.MESH + ": " + e);
  std::printf("ossa-mkdeck: %zu nodes, %zu tetrahedra, %zu triangles (%s), %ld points/lines skipped\n",
              m.NODEID.size(), m.TET.size(), m.TRI.size(), j.SHELL_T > 0.0 ? "shells" : "sets only", m.IGNORED);
  if (flipped > 0) std::printf("ossa-mkdeck: %ld tetrahedra were inside out and have been reordered\n", flipped);
  std::vector<ElemMat> mat(m.TET.size(), ElemMat{j.E, 0.0});
  if (j.HAS_CT) {
    Volume v;
    if (std::string e = read_volume(job_path(j, j.CT.VOLUME), v); !e.empty()) return refuse(e);
    MapReport r;
    if (std::string e = map_moduli(v, m, j.CT, mat, r); !e.empty()) return refuse(e);
    report_map(r, static_cast<long>(m.TET.size()));
  }
  const std::string tmp = deck + ".part";
  std::FILE* f = std::fopen(tmp.c_str(), "w");
  if (f == nullptr) return refuse("cannot write " + tmp);
  const std::string e = write_deck(f, m, j, mat);
  const bool ok = std::fclose(f) == 0 && e.empty();
  if (!ok) {
    std::filesystem::remove(tmp);
    return refuse(e.empty() ? "cannot write " + deck : e);
  }
  std::filesystem::rename(tmp, deck);
  std::printf("ossa-mkdeck: wrote %s\n", deck.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::string job, deck = "EXEC.INP";
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "-h" || a == "--help") {
      std::fputs(HELP, stdout);
      return 0;
    }
    if (a == "-o" && i + 1 < argc) deck = argv[++i];
    else if (!a.empty() && a[0] != '-' && job.empty()) job = a;
    else {
      std::fprintf(stderr, "ossa-mkdeck: bad argument '%s'\nTry 'ossa-mkdeck --help'.\n", a.c_str());
      return 2;
    }
  }
  if (job.empty()) {
    std::fprintf(stderr, "ossa-mkdeck: no job file\nTry 'ossa-mkdeck --help'.\n");
    return 2;
  }
  try {
    return run(job, deck);
  } catch (const std::exception& e) {
    return refuse(e.what());
  }
}
