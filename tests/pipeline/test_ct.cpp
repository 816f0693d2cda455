// Moduli from CT grey values: a constant volume gives the power law's
// value, a linear ramp gives each element its exact mean (b = 1 exactly,
// b = 2 to a sampling error that falls as the sub-division grows), a
// rotated, anisotropic volume read back from MetaImage, NIfTI and a DICOM
// series gives the same, and elements off the volume or below the density
// floor are counted.
#include <gtest/gtest.h>

#include <gdcmAttribute.h>
#include <gdcmImageWriter.h>
#include <gdcmTrace.h>
#include <nifti2_io.h>

#include <filesystem>
#include <numeric>

#include <cmath>

#include "pipeline/ct.hpp"
#include "testutil.hpp"

using namespace ossa;
using namespace ossa::pipeline;

namespace {

const std::string DATA = std::string(OSSA_SOURCE_DIR) + "/tests/pipeline/data/";

Mesh bar() {  // [0,2] x [0,1] x [0,1], 144 tetrahedra
  Mesh m;
  long fl = 0;
  EXPECT_EQ(read_inp(DATA + "box.inp", m), "");
  EXPECT_EQ(check_and_orient(m, fl), "");
  return m;
}

using Field = double (*)(double, double, double);
double ramp(double x, double y, double z) { return 100.0 + 200.0 * x - 50.0 * y + 80.0 * z; }

// A volume over [lo, hi] along each world axis before rotation by `rz`
// about z then `rx` about x, spacing `h`, grey values from `f` at the voxel
// centres.
Volume volume(Field f, std::array<double, 3> h, double rz = 0.0, double rx = 0.0, double lo = -0.6, double hi = 2.6) {
  const double cz = std::cos(rz), sz = std::sin(rz), cx = std::cos(rx), sx = std::sin(rx);
  const double R[3][3] = {{cz, -sz, 0.0}, {cx * sz, cx * cz, -sx}, {sx * sz, sx * cz, cx}};
  Volume v;
  const double L = hi - lo;
  for (int c = 0; c < 3; ++c) {
    v.N[c] = static_cast<int>(L / h[c]) + 1;
    for (int r = 0; r < 3; ++r) v.AXES[r][c] = R[r][c] * h[c];
  }
  // The grid centred on ((lo + hi) / 2, 0.5, 0.5).
  for (int r = 0; r < 3; ++r) {
    v.ORIGIN[r] = (r == 0 ? 0.5 * (lo + hi) : 0.5);
    for (int c = 0; c < 3; ++c) v.ORIGIN[r] -= v.AXES[r][c] * 0.5 * (v.N[c] - 1);
  }
  v.HU.resize(static_cast<std::size_t>(v.N[0]) * v.N[1] * v.N[2]);
  std::size_t n = 0;
  for (int k = 0; k < v.N[2]; ++k)
    for (int j = 0; j < v.N[1]; ++j)
      for (int i = 0; i < v.N[0]; ++i) {
        double x[3];
        for (int r = 0; r < 3; ++r) x[r] = v.ORIGIN[r] + v.AXES[r][0] * i + v.AXES[r][1] * j + v.AXES[r][2] * k;
        v.HU[n++] = static_cast<float>(f(x[0], x[1], x[2]));
      }
  return v;
}

// The mean of (s f + i)^b over a tetrahedron for linear f, b = 1 or 2 (or
// any b for a constant f), from the corner values: the mean of a product
// of linear functions; and the mean density, that of (s f + i).
std::pair<double, double> exact_mean(const Mesh& m, std::size_t e, Field f, const Ct& ct) {
  double g[4];
  for (int a = 0; a < 4; ++a) {
    const auto it = std::find(m.NODEID.begin(), m.NODEID.end(), m.TET[e][a]);
    const auto& p = m.XYZ[static_cast<std::size_t>(it - m.NODEID.begin())];
    g[a] = ct.SLOPE * f(p[0], p[1], p[2]) + ct.INTERCEPT;
  }
  const double rho = (g[0] + g[1] + g[2] + g[3]) / 4.0;
  if (ct.B == 1.0) return {ct.A * rho, rho};
  if (g[0] == g[1] && g[0] == g[2] && g[0] == g[3]) return {ct.A * std::pow(rho, ct.B), rho};
  double sq = 0.0, cross = 0.0;
  for (int a = 0; a < 4; ++a) {
    sq += g[a] * g[a];
    for (int b = a + 1; b < 4; ++b) cross += g[a] * g[b];
  }
  return {ct.A * (sq + cross) / 10.0, rho};
}

// The largest relative error of the elements' moduli and densities.
double worst(const Mesh& m, const Volume& v, Field f, const Ct& ct) {
  std::vector<ElemMat> out;
  MapReport r;
  EXPECT_EQ(map_moduli(v, m, ct, out, r), "");
  EXPECT_EQ(r.OUTSIDE + r.PARTLY + r.CLAMPED, 0);
  EXPECT_EQ(std::accumulate(r.HIST.begin(), r.HIST.end(), 0L), static_cast<long>(m.TET.size()));
  double w = 0.0;
  for (std::size_t e = 0; e < out.size(); ++e) {
    const auto [E, rho] = exact_mean(m, e, f, ct);
    w = std::max({w, std::fabs(out[e].E - E) / E, std::fabs(out[e].RHO - rho) / rho});
  }
  return w;
}

Ct calib(double b, int samples) { return Ct{"", 0.001, 0.2, 6850.0, b, 0.01, 0, samples}; }  // slope, intercept, a, b, rho_min

// Writes the volume as NIfTI with its sform.
void write_nifti(const std::string& path, const Volume& v) {
  const int64_t dims[8] = {3, v.N[0], v.N[1], v.N[2], 1, 1, 1, 1};
  nifti_image* nim = nifti_make_new_nim(dims, DT_FLOAT32, 1);
  std::copy(v.HU.begin(), v.HU.end(), static_cast<float*>(nim->data));
  nim->sform_code = NIFTI_XFORM_SCANNER_ANAT;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) nim->sto_xyz.m[r][c] = v.AXES[r][c];
    nim->sto_xyz.m[r][3] = v.ORIGIN[r];
  }
  nifti_set_filenames(nim, path.c_str(), 0, 1);
  nifti_image_write(nim);
  nifti_image_free(nim);
}

// Writes the volume as a CT series of 16-bit slices (HU = 0.04 grey + 315,
// grey rounded) through GDCM, slice
// k into `dir`/uid-k.dcm, the slices' order shuffled on disk.
void write_dicom(const std::string& dir, const Volume& v, const std::string& uid) {
  std::filesystem::create_directories(dir);
  gdcm::Trace::WarningOff();
  const std::size_t nxy = static_cast<std::size_t>(v.N[0]) * v.N[1];
  const double h[2] = {std::hypot(v.AXES[0][0], v.AXES[1][0], v.AXES[2][0]), std::hypot(v.AXES[0][1], v.AXES[1][1], v.AXES[2][1])};
  const double dc[6] = {v.AXES[0][0] / h[0], v.AXES[1][0] / h[0], v.AXES[2][0] / h[0],
                        v.AXES[0][1] / h[1], v.AXES[1][1] / h[1], v.AXES[2][1] / h[1]};
  for (int k = 0; k < v.N[2]; ++k) {
    gdcm::ImageWriter w;
    gdcm::Image& im = w.GetImage();
    im.SetNumberOfDimensions(2);
    for (int c = 0; c < 2; ++c) im.SetDimension(c, v.N[c]), im.SetSpacing(c, h[c]);
    for (int r = 0; r < 3; ++r) im.SetOrigin(r, v.ORIGIN[r] + v.AXES[r][2] * k);
    im.SetDirectionCosines(dc);
    im.SetPixelFormat(gdcm::PixelFormat::INT16);
    im.SetPhotometricInterpretation(gdcm::PhotometricInterpretation::MONOCHROME2);
    im.SetSlope(0.04);
    im.SetIntercept(315.0);
    std::vector<std::int16_t> px(nxy);
    for (std::size_t i = 0; i < nxy; ++i) px[i] = static_cast<std::int16_t>(std::clamp(std::lround((v.HU[k * nxy + i] - 315.0) / 0.04), -32767L, 32767L));
    gdcm::DataElement pd(gdcm::Tag(0x7fe0, 0x0010));
    pd.SetByteValue(reinterpret_cast<const char*>(px.data()), static_cast<uint32_t>(2 * nxy));
    im.SetDataElement(pd);
    gdcm::DataSet& ds = w.GetFile().GetDataSet();
    gdcm::Attribute<0x0008, 0x0016> sop{gdcm::MediaStorage::GetMSString(gdcm::MediaStorage::CTImageStorage)};
    gdcm::Attribute<0x0020, 0x000e> series{uid.c_str()};
    ds.Insert(sop.GetAsDataElement());
    ds.Insert(series.GetAsDataElement());
    w.SetFileName((dir + "/" + uid + "-" + std::to_string((k * 7) % v.N[2]) + ".dcm").c_str());
    ASSERT_TRUE(w.Write());
  }
}

}  // namespace

TEST(CtMapping, ConstantAndLinearVolumesGiveTheElementMeanAndSamplingConverges) {
  const Mesh m = bar();
  const Field flat = [](double, double, double) { return 1000.0; };  // the power law's value everywhere
  EXPECT_LT(worst(m, volume(flat, {0.25, 0.25, 0.25}), flat, calib(1.49, 0)), 1e-12);
  const Volume v = volume(ramp, {0.1, 0.1, 0.1});
  EXPECT_LT(worst(m, v, ramp, calib(1.0, 1)), 1e-6);  // a linear law is exact at one sample
  const double e2 = worst(m, v, ramp, calib(2.0, 2)), e8 = worst(m, v, ramp, calib(2.0, 8));
  EXPECT_LT(e8, 1e-4);
  EXPECT_LT(e8, e2 / 8.0);  // second order in the sub-division: ideally 16 times smaller
}

TEST(CtMapping, RotatedAnisotropicVolumeIsReadInWorldCoordinates) {
  test::ScratchDir dir;
  const Mesh m = bar();
  const Volume v = volume(ramp, {0.07, 0.11, 0.05}, 0.5, 0.35);
  ASSERT_EQ(write_metaimage("v.mha", v), "");
  write_nifti("v.nii.gz", v);
  write_dicom("dcm", v, "1.2.826.0.1.3680043.2.1125.1");
  // DICOM rounds the grey values to 0.04 HU, hence its looser bound.
  for (const auto& [f, tol] : {std::pair{"v.mha", 1e-5}, {"v.nii.gz", 1e-5}, {"dcm", 2e-4}}) {
    Volume back;
    ASSERT_EQ(read_volume(f, back), "") << f;
    EXPECT_LT(worst(m, back, ramp, calib(1.0, 3)), tol) << f;
  }
  write_dicom("dcm", volume(ramp, {0.5, 0.5, 0.5}), "1.2.826.0.1.3680043.2.1125.2");
  Volume none;
  for (const auto& [path, says] : {std::pair{"none.mha", "cannot open"}, {"dcm", "2 series in one folder"}, {".", "no DICOM series"}})
    EXPECT_NE(read_volume(path, none).find(says), std::string::npos) << path;
}

TEST(CtMapping, ElementsOffTheVolumeAndBelowTheFloorAreCounted) {
  const Mesh m = bar();
  std::vector<ElemMat> out;
  MapReport r;
  // Half the bar (x < 1) in a volume: the rest counted outside, at the floor.
  const Volume half = volume(ramp, {0.1, 0.1, 0.1}, 0.0, 0.0, -0.3, 1.3);
  Ct ct = calib(1.49, 2);
  ASSERT_EQ(map_moduli(half, m, ct, out, r), "");
  EXPECT_GT(r.OUTSIDE, 0);
  EXPECT_GT(r.PARTLY, 0);
  EXPECT_LT(r.OUTSIDE + r.PARTLY, static_cast<long>(m.TET.size()));
  const double floorE = 6850.0 * std::pow(ct.RHO_MIN, 1.49);
  EXPECT_EQ(std::count_if(out.begin(), out.end(), [&](const ElemMat& x) { return x.E == floorE; }), r.OUTSIDE);
  // Far away: refused.
  const Volume far = volume(ramp, {0.1, 0.1, 0.1}, 0.0, 0.0, 10.0, 11.0);
  EXPECT_NE(map_moduli(far, m, ct, out, r).find("no element overlaps"), std::string::npos);
  // A calibration that makes air negative: every element clamped.
  ct.INTERCEPT = -1.0;
  ASSERT_EQ(map_moduli(volume(ramp, {0.1, 0.1, 0.1}), m, ct, out, r), "");
  EXPECT_EQ(r.CLAMPED, static_cast<long>(m.TET.size()));
  for (const ElemMat& x : out) EXPECT_DOUBLE_EQ(x.E, floorE);
}
