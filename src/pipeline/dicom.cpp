// A DICOM series (a folder of slices) through GDCM: slices sorted along
// their normal by Image Position (Patient), grey values through each
// slice's Rescale Slope and Intercept, the world frame the patient frame
// of the files (Image Position and Orientation, Pixel Spacing, and the
// step between the first and second slice).
#include "pipeline/ct.hpp"

#ifdef OSSA_HAVE_GDCM
#include <gdcmDirectory.h>
#include <gdcmIPPSorter.h>
#include <gdcmImageReader.h>
#include <gdcmScanner.h>
#include <gdcmTrace.h>

#include <cstdint>
#include <cstring>

namespace ossa::pipeline {
namespace {

const gdcm::Tag SERIES(0x0020, 0x000e);

template <class T>
void grey(const std::vector<char>& buf, double slope, double icpt, std::vector<float>& hu) {
  for (std::size_t k = 0; k + sizeof(T) <= buf.size(); k += sizeof(T)) {
    T x;
    std::memcpy(&x, buf.data() + k, sizeof(T));
    hu.push_back(static_cast<float>(slope * static_cast<double>(x) + icpt));
  }
}

std::string slice(const std::string& file, Volume& v, std::array<double, 3>& ipp) {
  gdcm::ImageReader r;
  r.SetFileName(file.c_str());
  if (!r.Read()) return file + ": not a DICOM image GDCM reads";
  const gdcm::Image& im = r.GetImage();
  const unsigned* d = im.GetDimensions();
  if (im.GetNumberOfDimensions() != 2 || im.GetPixelFormat().GetSamplesPerPixel() != 1)
    return file + ": not a single-frame grey-value slice";
  if (v.HU.empty()) {
    v.N = {static_cast<int>(d[0]), static_cast<int>(d[1]), 0};
    const double* c = im.GetDirectionCosines();
    const double* s = im.GetSpacing();
    for (int r3 = 0; r3 < 3; ++r3) v.AXES[r3] = {c[r3] * s[0], c[3 + r3] * s[1], 0.0};
    v.ORIGIN = {im.GetOrigin()[0], im.GetOrigin()[1], im.GetOrigin()[2]};
  } else if (static_cast<int>(d[0]) != v.N[0] || static_cast<int>(d[1]) != v.N[1]) {
    return file + ": slice size differs from the first slice's";
  }
  ipp = {im.GetOrigin()[0], im.GetOrigin()[1], im.GetOrigin()[2]};
  std::vector<char> buf(im.GetBufferLength());
  if (!im.GetBuffer(buf.data())) return file + ": cannot decode the pixel data";
  const double a = im.GetSlope(), b = im.GetIntercept();
  const std::size_t before = v.HU.size();
  switch (im.GetPixelFormat().GetScalarType()) {
    case gdcm::PixelFormat::INT16: grey<std::int16_t>(buf, a, b, v.HU); break;
    case gdcm::PixelFormat::UINT16: grey<std::uint16_t>(buf, a, b, v.HU); break;
    case gdcm::PixelFormat::INT8: grey<std::int8_t>(buf, a, b, v.HU); break;
    case gdcm::PixelFormat::UINT8: grey<std::uint8_t>(buf, a, b, v.HU); break;
    case gdcm::PixelFormat::INT32: grey<std::int32_t>(buf, a, b, v.HU); break;
    case gdcm::PixelFormat::UINT32: grey<std::uint32_t>(buf, a, b, v.HU); break;
    default: return file + ": pixel type " + im.GetPixelFormat().GetScalarTypeAsString() + " is not read";
  }
  if (v.HU.size() - before != static_cast<std::size_t>(v.N[0]) * static_cast<std::size_t>(v.N[1]))
    return file + ": pixel data cut short";
  ++v.N[2];
  return "";
}

// The files of the one series in `dir`; more than one series is refused,
// since which the user meant cannot be guessed.
std::string series(const std::string& dir, std::vector<std::string>& files) {
  gdcm::Directory d;
  d.Load(dir, false);
  gdcm::Scanner s;
  s.AddTag(SERIES);
  if (!s.Scan(d.GetFilenames())) return dir + ": cannot scan for DICOM files";
  const auto& uids = s.GetValues(SERIES);
  if (uids.empty()) return dir + ": no DICOM series in the folder";
  if (uids.size() > 1)
    return dir + ": " + std::to_string(uids.size()) +
           " series in one folder (Series Instance UIDs differ): give a folder holding one series";
  files = s.GetAllFilenamesFromTagToValue(SERIES, uids.begin()->c_str());
  return "";
}

}  // namespace

std::string read_dicom(const std::string& dir, Volume& v) {
  gdcm::Trace::WarningOff();  // what matters becomes our own message
  std::vector<std::string> files;
  if (std::string err = series(dir, files); !err.empty()) return err;
  gdcm::IPPSorter sorter;
  sorter.SetComputeZSpacing(true);
  sorter.SetZSpacingTolerance(1e-3);
  if (files.size() < 2) return dir + ": one slice is not a volume";
  if (!sorter.Sort(files) || sorter.GetZSpacing() <= 0.0) return dir + ": the slices are not parallel and evenly spaced";
  files = sorter.GetFilenames();
  v = Volume{};
  std::array<double, 3> first{}, ipp{};
  for (std::size_t k = 0; k < files.size(); ++k) {
    if (std::string err = slice(files[k], v, k == 0 ? first : ipp); !err.empty()) return err;
    if (k == 1)
      for (int r = 0; r < 3; ++r) v.AXES[r][2] = ipp[r] - first[r];
  }
  return "";
}

}  // namespace ossa::pipeline

#else

namespace ossa::pipeline {
std::string read_dicom(const std::string& dir, Volume&) {
  return dir + ": DICOM is read through GDCM, which this build lacks (install libgdcm-dev and rebuild)";
}
}  // namespace ossa::pipeline

#endif
