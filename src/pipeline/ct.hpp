// CT volumes and the mapping of their grey values to element moduli.
#pragma once
#include <array>
#include <string>
#include <vector>

#include "pipeline/job.hpp"
#include "pipeline/mesh.hpp"

namespace ossa::pipeline {

// A scalar volume in HU. Voxel (i, j, k), counted from 0 with i fastest,
// has its centre at ORIGIN + AXES * (i, j, k): AXES = direction times
// spacing, column c the step along index c.
struct Volume {
  std::array<int, 3> N{};
  std::array<double, 3> ORIGIN{};
  std::array<std::array<double, 3>, 3> AXES{};  // AXES[r][c]
  std::vector<float> HU;
  double at(int i, int j, int k) const { return HU[(static_cast<std::size_t>(k) * N[1] + j) * N[0] + i]; }
};

// NIfTI-1/2 (.nii, .nii.gz, through libnifti2; sform, else qform, else the
// voxel sizes), MetaImage (.mha, .mhd + raw) and DICOM series (through
// GDCM); each in its own world frame as stored. "" when read.
// A folder is read as a DICOM series (one series only).
std::string read_volume(const std::string& path, Volume& v);
std::string read_dicom(const std::string& dir, Volume& v);
std::string read_metaimage(const std::string& path, Volume& v);
std::string write_metaimage(const std::string& path, const Volume& v);  // .mha, float

struct MapReport {
  long OUTSIDE = 0;     // elements with no sample inside the volume (given the floor modulus)
  long PARTLY = 0;      // elements with some samples outside
  long CLAMPED = 0;     // elements with a sample below the density floor
  int SAMPLES = 0;      // sub-divisions per edge used
  double EMIN = 0.0, EMAX = 0.0;
  std::vector<long> HIST;  // counts in ten equal bins from EMIN to EMAX
};

// Each tetrahedron's modulus: the mean of E(rho(HU)) over sample points
// filling it evenly (trilinear grey values), and its mean density; `bins`
// > 0 then replaces each modulus by the mean of its bin. "" when done;
// refused when no element overlaps the volume.
std::string map_moduli(const Volume& v, const Mesh& m, const Ct& ct, std::vector<ElemMat>& out, MapReport& r);

// The points at which an element of `k` sub-divisions per edge (a power of
// two) is sampled, evenly weighted,
// as volume coordinates of nodes 2, 3 and 4 (node 1 takes the rest).
std::vector<std::array<double, 3>> sample_points(int k);

}  // namespace ossa::pipeline
