// Readers of CT volumes. MetaImage is a text header and raw samples, read
// here; NIfTI goes through libnifti2, which also handles gzip.
#include <nifti2_io.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "pipeline/ct.hpp"

namespace ossa::pipeline {
namespace {

std::string check(const Volume& v) {
  for (int c = 0; c < 3; ++c)
    if (v.N[c] < 1) return "a volume dimension is not positive";
  double det = 0.0;
  const auto& a = v.AXES;
  det = a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1]) - a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0]) +
        a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0]);
  if (!(std::fabs(det) > 0.0) || !std::isfinite(det)) return "the voxel axes are degenerate";
  return "";
}

template <class T>
void widen(const char* raw, std::size_t n, bool swap, std::vector<float>& out) {
  out.resize(n);
  for (std::size_t i = 0; i < n; ++i) {
    char b[sizeof(T)];
    std::memcpy(b, raw + i * sizeof(T), sizeof(T));
    if (swap) std::reverse(b, b + sizeof(T));
    T x;
    std::memcpy(&x, b, sizeof(T));
    out[i] = static_cast<float>(x);
  }
}

// Converts raw samples of a named type; false when the type is unknown.
bool convert(const std::string& type, const std::vector<char>& raw, std::size_t n, bool swap,
             std::vector<float>& out) {
  const char* r = raw.data();
  if (type == "MET_UCHAR") widen<std::uint8_t>(r, n, swap, out);
  else if (type == "MET_CHAR") widen<std::int8_t>(r, n, swap, out);
  else if (type == "MET_SHORT") widen<std::int16_t>(r, n, swap, out);
  else if (type == "MET_USHORT") widen<std::uint16_t>(r, n, swap, out);
  else if (type == "MET_INT") widen<std::int32_t>(r, n, swap, out);
  else if (type == "MET_UINT") widen<std::uint32_t>(r, n, swap, out);
  else if (type == "MET_FLOAT") widen<float>(r, n, swap, out);
  else if (type == "MET_DOUBLE") widen<double>(r, n, swap, out);
  else return false;
  return true;
}

std::size_t type_size(const std::string& t) {
  static const std::map<std::string, std::size_t> S = {{"MET_UCHAR", 1}, {"MET_CHAR", 1}, {"MET_SHORT", 2},
                                                       {"MET_USHORT", 2}, {"MET_INT", 4}, {"MET_UINT", 4},
                                                       {"MET_FLOAT", 4}, {"MET_DOUBLE", 8}};
  const auto it = S.find(t);
  return it == S.end() ? 0 : it->second;
}

std::vector<double> nums(const std::string& s) {
  std::stringstream ss(s);
  std::vector<double> v;
  double x;
  while (ss >> x) v.push_back(x);
  return v;
}

bool truthy(const std::string& s) {
  std::string u = s;
  for (char& c : u) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return u == "true" || u == "1";
}

// The header's fields into the volume's geometry; "" when complete.
std::string geometry(const std::map<std::string, std::string>& h, Volume& v) {
  auto get = [&](const char* k) { const auto it = h.find(k); return it == h.end() ? std::string() : it->second; };
  if (get("NDims") != "3") return "only three-dimensional images are read (NDims = 3)";
  const auto dim = nums(get("DimSize"));
  auto sp = nums(get("ElementSpacing"));
  if (sp.empty()) sp = nums(get("ElementSize"));
  auto org = nums(get("Offset"));
  if (org.empty()) org = nums(get("Origin"));
  if (org.empty()) org = nums(get("Position"));
  auto dir = nums(get("TransformMatrix"));
  if (dir.empty()) dir = nums(get("Rotation"));
  if (dir.empty()) dir = nums(get("Orientation"));
  if (dim.size() != 3) return "DimSize needs three values";
  if (sp.empty()) sp = {1.0, 1.0, 1.0};
  if (org.empty()) org = {0.0, 0.0, 0.0};
  if (dir.empty()) dir = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  if (sp.size() != 3 || org.size() != 3 || dir.size() != 9) return "spacing, offset or matrix has the wrong length";
  // The matrix lists the direction of index axis c as its values 3c..3c+2.
  for (int c = 0; c < 3; ++c) {
    v.N[c] = static_cast<int>(dim[c]);
    v.ORIGIN[c] = org[c];
    for (int r = 0; r < 3; ++r) v.AXES[r][c] = dir[3 * c + r] * sp[c];
  }
  return check(v);
}

std::string read_meta(std::ifstream& in, const std::string& path, Volume& v) {
  std::map<std::string, std::string> h;
  std::string line;
  while (std::getline(in, line)) {
    const auto eq = line.find('=');
    if (eq == std::string::npos) continue;
    auto trim = [](std::string s) {
      s.erase(0, s.find_first_not_of(" \t\r"));
      s.erase(s.find_last_not_of(" \t\r") + 1);
      return s;
    };
    const std::string k = trim(line.substr(0, eq));
    h[k] = trim(line.substr(eq + 1));
    if (k == "ElementDataFile") break;
  }
  if (std::string e = geometry(h, v); !e.empty()) return e;
  if (truthy(h["CompressedData"])) return "compressed MetaImage data is not read; store it uncompressed";
  if (!h["ElementNumberOfChannels"].empty() && h["ElementNumberOfChannels"] != "1")
    return "only single-channel images are read";
  const std::string type = h["ElementType"];
  const std::size_t sz = type_size(type);
  if (sz == 0) return "element type '" + type + "' is not read";
  const std::size_t n = static_cast<std::size_t>(v.N[0]) * v.N[1] * v.N[2];
  std::vector<char> raw(n * sz);
  const std::string file = h["ElementDataFile"];
  if (file == "LOCAL") {
    in.read(raw.data(), static_cast<std::streamsize>(raw.size()));
    if (static_cast<std::size_t>(in.gcount()) != raw.size()) return "the data are shorter than the header says";
  } else {
    const auto dp = std::filesystem::path(path).parent_path() / file;
    std::ifstream d(dp, std::ios::binary);
    if (!d) return "cannot open the data file " + dp.string();
    d.read(raw.data(), static_cast<std::streamsize>(raw.size()));
    if (static_cast<std::size_t>(d.gcount()) != raw.size()) return "the data file is shorter than the header says";
  }
  const bool msb = truthy(h["BinaryDataByteOrderMSB"]) || truthy(h["ElementByteOrderMSB"]);
  convert(type, raw, n, msb, v.HU);
  return "";
}

template <class T>
void take(const void* p, std::size_t n, std::vector<float>& out) {
  const T* t = static_cast<const T*>(p);
  out.resize(n);
  for (std::size_t i = 0; i < n; ++i) out[i] = static_cast<float>(t[i]);
}

std::string read_nifti(const std::string& path, Volume& v) {
  nifti_image* nim = nifti_image_read(path.c_str(), 1);
  if (nim == nullptr || nim->data == nullptr) {
    if (nim) nifti_image_free(nim);
    return "libnifti2 could not read it";
  }
  std::string err;
  const std::size_t n = static_cast<std::size_t>(nim->nx) * nim->ny * nim->nz;
  if (nim->ndim < 3 || static_cast<std::size_t>(nim->nvox) != n) err = "only single three-dimensional volumes are read";
  switch (nim->datatype) {
    case DT_UINT8: take<std::uint8_t>(nim->data, n, v.HU); break;
    case DT_INT8: take<std::int8_t>(nim->data, n, v.HU); break;
    case DT_INT16: take<std::int16_t>(nim->data, n, v.HU); break;
    case DT_UINT16: take<std::uint16_t>(nim->data, n, v.HU); break;
    case DT_INT32: take<std::int32_t>(nim->data, n, v.HU); break;
    case DT_FLOAT32: take<float>(nim->data, n, v.HU); break;
    case DT_FLOAT64: take<double>(nim->data, n, v.HU); break;
    default: err = "NIfTI data type " + std::to_string(nim->datatype) + " is not read";
  }
  if (err.empty() && nim->scl_slope != 0.0)
    for (float& x : v.HU) x = static_cast<float>(x * nim->scl_slope + nim->scl_inter);
  // World in the NIfTI frame (RAS, mm): sform, else qform (which the
  // library fills from the voxel sizes when neither is set).
  const nifti_dmat44& T = nim->sform_code > 0 ? nim->sto_xyz : nim->qto_xyz;
  v.N = {static_cast<int>(nim->nx), static_cast<int>(nim->ny), static_cast<int>(nim->nz)};
  for (int r = 0; r < 3; ++r) {
    v.ORIGIN[r] = T.m[r][3];
    for (int c = 0; c < 3; ++c) v.AXES[r][c] = T.m[r][c];
  }
  nifti_image_free(nim);
  return err.empty() ? check(v) : err;
}

}  // namespace

std::string read_metaimage(const std::string& path, Volume& v) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return "cannot open " + path;
  const std::string err = read_meta(in, path, v);
  return err.empty() ? "" : path + ": " + err;
}

std::string read_volume(const std::string& path, Volume& v) {
  if (std::filesystem::is_directory(path)) return read_dicom(path, v);
  if (!std::filesystem::is_regular_file(path)) return "cannot open " + path;
  const std::string p = path;
  auto ends = [&](const char* s) { const std::string e(s); return p.size() >= e.size() && p.compare(p.size() - e.size(), e.size(), e) == 0; };
  if (ends(".mha") || ends(".mhd")) return read_metaimage(path, v);
  if (ends(".nii") || ends(".nii.gz")) {
    const std::string err = read_nifti(path, v);
    return err.empty() ? "" : path + ": " + err;
  }
  return path + ": unknown volume format (NIfTI .nii/.nii.gz, MetaImage .mha/.mhd, or a folder of a DICOM series)";
}

std::string write_metaimage(const std::string& path, const Volume& v) {
  std::ofstream out(path, std::ios::binary);
  if (!out) return "cannot write " + path;
  out.precision(17);
  out << "ObjectType = Image\nNDims = 3\nBinaryData = True\nBinaryDataByteOrderMSB = False\nTransformMatrix =";
  for (int c = 0; c < 3; ++c) {
    const double s = std::hypot(v.AXES[0][c], v.AXES[1][c], v.AXES[2][c]);
    for (int r = 0; r < 3; ++r) out << ' ' << v.AXES[r][c] / s;
  }
  out << "\nOffset = " << v.ORIGIN[0] << ' ' << v.ORIGIN[1] << ' ' << v.ORIGIN[2] << "\nElementSpacing =";
  for (int c = 0; c < 3; ++c) out << ' ' << std::hypot(v.AXES[0][c], v.AXES[1][c], v.AXES[2][c]);
  out << "\nDimSize = " << v.N[0] << ' ' << v.N[1] << ' ' << v.N[2]
      << "\nElementType = MET_FLOAT\nElementDataFile = LOCAL\n";
  out.write(reinterpret_cast<const char*>(v.HU.data()), static_cast<std::streamsize>(v.HU.size() * sizeof(float)));
  return out ? "" : "cannot write " + path;
}

}  // namespace ossa::pipeline
