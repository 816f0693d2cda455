// Modulus per element from the CT grey values inside it.
#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "pipeline/ct.hpp"

namespace ossa::pipeline {
namespace {

using V3 = std::array<double, 3>;

// World -> continuous voxel index: the inverse of the voxel axes.
struct ToIndex {
  std::array<std::array<double, 3>, 3> INV{};
  V3 O{};
  explicit ToIndex(const Volume& v) : O(v.ORIGIN) {
    const auto& a = v.AXES;
    const double det = a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1]) -
                       a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0]) +
                       a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0]);
    for (int r = 0; r < 3; ++r)
      for (int c = 0; c < 3; ++c) {
        const int r1 = (c + 1) % 3, r2 = (c + 2) % 3, c1 = (r + 1) % 3, c2 = (r + 2) % 3;
        INV[r][c] = (a[r1][c1] * a[r2][c2] - a[r1][c2] * a[r2][c1]) / det;
      }
  }
  V3 operator()(const V3& x) const {
    const V3 d = {x[0] - O[0], x[1] - O[1], x[2] - O[2]};
    V3 q{};
    for (int r = 0; r < 3; ++r) q[r] = INV[r][0] * d[0] + INV[r][1] * d[1] + INV[r][2] * d[2];
    return q;
  }
};

// Trilinear grey value at a continuous index; false when the point lies
// outside the voxels' extent (half a voxel beyond the outer centres).
bool sample(const Volume& v, const V3& q, double& hu) {
  int i0[3];
  double w[3];
  for (int c = 0; c < 3; ++c) {
    if (!(q[c] >= -0.5 && q[c] <= v.N[c] - 0.5)) return false;
    const double x = std::clamp(q[c], 0.0, static_cast<double>(v.N[c] - 1));
    i0[c] = std::min(static_cast<int>(x), std::max(v.N[c] - 2, 0));
    w[c] = v.N[c] > 1 ? x - i0[c] : 0.0;
  }
  // The eight neighbours as steps from the lower corner (0 on a flat axis).
  const std::size_t nx = static_cast<std::size_t>(v.N[0]), nxy = nx * static_cast<std::size_t>(v.N[1]);
  const std::size_t di = i0[0] + 1 < v.N[0] ? 1 : 0, dj = i0[1] + 1 < v.N[1] ? nx : 0,
                    dk = i0[2] + 1 < v.N[2] ? nxy : 0;
  const float* h = v.HU.data() + (static_cast<std::size_t>(i0[2]) * nxy + static_cast<std::size_t>(i0[1]) * nx + i0[0]);
  auto lerp = [](double a, double b, double t) { return a + (b - a) * t; };
  const double c00 = lerp(h[0], h[di], w[0]), c10 = lerp(h[dj], h[dj + di], w[0]);
  const double c01 = lerp(h[dk], h[dk + di], w[0]), c11 = lerp(h[dk + dj], h[dk + dj + di], w[0]);
  hu = lerp(lerp(c00, c10, w[1]), lerp(c01, c11, w[1]), w[2]);
  return true;
}

double min_spacing(const Volume& v) {
  double s = 1e300;
  for (int c = 0; c < 3; ++c) s = std::min(s, std::hypot(v.AXES[0][c], v.AXES[1][c], v.AXES[2][c]));
  return s;
}

// Sub-divisions per edge (1, 2, 4 or 8): about one sample per voxel along
// the longest edge.
int subdivisions(const Mesh& m, const std::unordered_map<long, std::size_t>& at, double h) {
  double lmax = 0.0;
  for (const auto& t : m.TET)
    for (int a = 0; a < 4; ++a)
      for (int b = a + 1; b < 4; ++b) {
        const V3 &p = m.XYZ[at.at(t[a])], &q = m.XYZ[at.at(t[b])];
        lmax = std::max(lmax, std::hypot(p[0] - q[0], p[1] - q[1], p[2] - q[2]));
      }
  int k = 1;
  while (k < 8 && k * h < lmax) k *= 2;
  return k;
}

struct ElemOut {
  double E = 0.0, RHO = 0.0;
  int in = 0, out = 0;
  bool clamped = false;
};

// The samples of the tetrahedron with corners `q` in voxel index space
// (the map from world to index is affine, so the points map with them).
ElemOut one(const Volume& v, const Ct& ct, const std::array<V3, 4>& q, const std::vector<V3>& pts) {
  ElemOut r;
  for (const V3& l : pts) {
    const double l1 = 1.0 - l[0] - l[1] - l[2];
    V3 x{};
    for (int c = 0; c < 3; ++c) x[c] = l1 * q[0][c] + l[0] * q[1][c] + l[1] * q[2][c] + l[2] * q[3][c];
    double hu = 0.0;
    if (!sample(v, x, hu)) {
      ++r.out;
      continue;
    }
    double rho = ct.SLOPE * hu + ct.INTERCEPT;
    if (!(rho >= ct.RHO_MIN)) {
      rho = ct.RHO_MIN;
      r.clamped = true;
    }
    r.E += ct.A * std::pow(rho, ct.B);
    r.RHO += rho;
    ++r.in;
  }
  if (r.in > 0) {
    r.E /= r.in;
    r.RHO /= r.in;
  }
  return r;
}

void bin(std::vector<ElemMat>& out, int nbins, double emin, double emax) {
  std::vector<double> sum(nbins, 0.0);
  std::vector<long> cnt(nbins, 0);
  auto which = [&](double e) {
    return emax > emin ? std::min(nbins - 1, static_cast<int>((e - emin) / (emax - emin) * nbins)) : 0;
  };
  for (const ElemMat& m : out) {
    sum[which(m.E)] += m.E;
    ++cnt[which(m.E)];
  }
  for (ElemMat& m : out) {
    const int b = which(m.E);
    m.E = sum[b] / static_cast<double>(cnt[b]);
  }
}

}  // namespace

std::vector<std::array<double, 3>> sample_points(int k) {
  // Centroids of the 8^n equal tetrahedra of n regular (red) refinements,
  // k = 2^n: exact for a linear field, second order for a smooth one.
  using T = std::array<V3, 4>;  // corners as (L2, L3, L4)
  std::vector<T> tets = {T{V3{0, 0, 0}, V3{1, 0, 0}, V3{0, 1, 0}, V3{0, 0, 1}}};
  auto mid = [](const V3& a, const V3& b) { return V3{(a[0] + b[0]) / 2, (a[1] + b[1]) / 2, (a[2] + b[2]) / 2}; };
  for (int s = 1; s < k; s *= 2) {
    std::vector<T> next;
    next.reserve(8 * tets.size());
    for (const T& t : tets) {
      const V3 m01 = mid(t[0], t[1]), m02 = mid(t[0], t[2]), m03 = mid(t[0], t[3]), m12 = mid(t[1], t[2]),
               m13 = mid(t[1], t[3]), m23 = mid(t[2], t[3]);
      next.insert(next.end(), {T{t[0], m01, m02, m03}, T{m01, t[1], m12, m13}, T{m02, m12, t[2], m23},
                               T{m03, m13, m23, t[3]}, T{m01, m02, m03, m13}, T{m01, m02, m12, m13},
                               T{m02, m03, m13, m23}, T{m02, m12, m13, m23}});
    }
    tets.swap(next);
  }
  std::vector<V3> pts;
  pts.reserve(tets.size());
  for (const T& t : tets)
    pts.push_back({(t[0][0] + t[1][0] + t[2][0] + t[3][0]) / 4, (t[0][1] + t[1][1] + t[2][1] + t[3][1]) / 4,
                   (t[0][2] + t[1][2] + t[2][2] + t[3][2]) / 4});
  return pts;
}

std::string map_moduli(const Volume& v, const Mesh& m, const Ct& ct, std::vector<ElemMat>& out, MapReport& r) {
  std::unordered_map<long, std::size_t> at;
  at.reserve(m.NODEID.size());
  for (std::size_t i = 0; i < m.NODEID.size(); ++i) at[m.NODEID[i]] = i;
  r = MapReport{};
  r.SAMPLES = ct.SAMPLES > 0 ? ct.SAMPLES : subdivisions(m, at, min_spacing(v));
  const std::vector<V3> pts = sample_points(r.SAMPLES);
  const ToIndex ti(v);
  const long ne = static_cast<long>(m.TET.size());
  std::vector<ElemOut> res(m.TET.size());
#pragma omp parallel for schedule(static)
  for (long e = 0; e < ne; ++e) {
    std::array<V3, 4> q{};
    for (int a = 0; a < 4; ++a) q[a] = ti(m.XYZ[at.at(m.TET[e][a])]);
    res[e] = one(v, ct, q, pts);
  }
  out.assign(m.TET.size(), ElemMat{});
  const double efloor = ct.A * std::pow(ct.RHO_MIN, ct.B);
  for (std::size_t e = 0; e < res.size(); ++e) {
    r.OUTSIDE += res[e].in == 0;
    r.PARTLY += res[e].in > 0 && res[e].out > 0;
    r.CLAMPED += res[e].clamped;
    out[e] = res[e].in > 0 ? ElemMat{res[e].E, res[e].RHO} : ElemMat{efloor, ct.RHO_MIN};
  }
  if (r.OUTSIDE == ne) return "no element overlaps the CT volume (check the mesh and volume coordinates)";
  r.EMIN = r.EMAX = out[0].E;
  for (const ElemMat& x : out) {
    r.EMIN = std::min(r.EMIN, x.E);
    r.EMAX = std::max(r.EMAX, x.E);
  }
  if (ct.BINS > 0) bin(out, ct.BINS, r.EMIN, r.EMAX);
  r.HIST.assign(10, 0);
  for (const ElemMat& x : out)
    ++r.HIST[r.EMAX > r.EMIN ? std::min(9, static_cast<int>((x.E - r.EMIN) / (r.EMAX - r.EMIN) * 10)) : 0];
  return "";
}

}  // namespace ossa::pipeline
