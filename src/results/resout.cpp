#include "results/resout.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "base/kernels.hpp"
#include "elements/material.hpp"
#include "elements/princ.hpp"

namespace ossa::results {

static_assert(std::endian::native == std::endian::little, "the result streams are little-endian");

namespace {

constexpr double TOLSTRESS = 1.0e-12;

// Output buffer of one stream: records gather here and go to the file in
// groups, each flushed, so that a reader can follow a running job.
struct Out {
  std::FILE* fp;
  std::vector<char> buf;
  explicit Out(std::FILE* f) : fp(f) { buf.reserve(GROUP); }
  static constexpr std::size_t GROUP = 64 * 1024;
  void put(const void* p, std::size_t n) {
    const char* c = static_cast<const char*>(p);
    buf.insert(buf.end(), c, c + n);
    if (buf.size() >= GROUP) flush();
  }
  void flush() {
    if (fp && !buf.empty()) {
      std::fwrite(buf.data(), 1, buf.size(), fp);
      std::fflush(fp);
    }
    buf.clear();
  }
  ~Out() { flush(); }
  Out(const Out&) = delete;
  Out& operator=(const Out&) = delete;
};

void put_i(Out& o, std::int32_t v) { o.put(&v, 4); }
void put_f(Out& o, double v) {
  const float f = static_cast<float>(v);
  o.put(&f, 4);
}

// The current displacement: U in a static job; in a dynamic job the level
// array of the displacement at n+1 (the first level array).
const base::Arr2<double>& current_disp(const Model& m) {
  return m.U.allocated() ? m.U : m.DYNW[0];
}

// Writes the records of one node section: all grid points when `all`, else
// those where `a` is non-zero.
void node_section(Out& o, const Model& m, const base::Arr2<double>& a, bool all) {
  static constexpr double zero[3] = {0.0, 0.0, 0.0};
  if (!a.allocated() && !all) return;
  for (int i = 1; i <= m.NNODE(); ++i) {
    const double* v = a.allocated() ? a.at(1, i) : zero;
    if (!all && !NONZERO(v)) continue;
    const NodeOut r{i <= m.NODEID.size() ? m.NODEID(i) : i, {static_cast<float>(v[0]), static_cast<float>(v[1]),
                                  static_cast<float>(v[2])}};
    o.put(&r, sizeof r);
  }
}

void write_dsp(Model& m, int STEP, double TIME, const std::int32_t cnt[4]) {
  Out o(m.BDSP.fp);
  put_i(o, STEP);
  put_f(o, TIME);
  put_i(o, m.NNODE());
  for (int k = 0; k < 4; ++k) put_i(o, cnt[k]);
  node_section(o, m, current_disp(m), true);
  node_section(o, m, m.F, false);
  node_section(o, m, m.REACT, false);
  node_section(o, m, m.LINKF, false);
  node_section(o, m, m.LINKV, false);
}

// One pass over ELEM for the family `type`, in table order.
void family_pass(Out& o, const Model& m, int type) {
  const base::Arr2<double>& u = current_disp(m);
  for (int k = 1; k <= m.NELEM() && k <= m.ELEM.size(); ++k) {
    const model::ELEMREC& e = m.ELEM(k);
    if (e.TYPE != type) continue;
    if (type == 1) {
      ShellOut r;
      SHLVAL(m, m.SHLREC(e.IDX), e.ID, r);
      o.put(&r, sizeof r);
    } else if (type == 2) {
      SolidOut r;
      SOLVAL(m, m.SOLREC(e.IDX), e.ID, r);
      o.put(&r, sizeof r);
    } else if (type == 4) {
      RubberOut r;
      RUBVAL(m.RUBREC(e.IDX), e, u, r);
      o.put(&r, sizeof r);
    } else if (type == 5) {
      const model::TRSREC& t = m.TRSREC(e.IDX);
      const TrussOut r{e.ID, {static_cast<float>(t.STRAINV), static_cast<float>(t.FORCE)}};
      o.put(&r, sizeof r);
    }
  }
}

void write_str(Model& m, int STEP, double TIME) {
  Out o(m.BSTR.fp);
  put_i(o, STEP);
  put_f(o, TIME);
  put_i(o, m.NSHELL());
  put_i(o, m.NSOLID());
  put_i(o, m.NRUBB());
  put_i(o, m.NTRUSS());
  for (int type : {1, 2, 4, 5}) family_pass(o, m, type);
}

// Principal values alone, descending, of a six-component vector with
// engineering shears, in closed form: the strains need no directions, and
// this costs a fraction of the rotations. A tensor below PRINC3's zero
// bound gives zeros as there.
void princ_values_only(const double* v, double* eig) {
  const double a11 = v[0], a22 = v[1], a33 = v[2];
  const double a12 = 0.5 * v[3], a23 = 0.5 * v[4], a13 = 0.5 * v[5];
  double ss = 0.0;
  for (int k = 0; k < 6; ++k) ss += (k >= 3 ? 0.25 : 1.0) * v[k] * v[k];
  const double q = (a11 + a22 + a33) / 3.0;
  const double off = a12 * a12 + a13 * a13 + a23 * a23;
  const double b11 = a11 - q, b22 = a22 - q, b33 = a33 - q;
  const double p = std::sqrt((b11 * b11 + b22 * b22 + b33 * b33 + 2.0 * off) / 6.0);
  if (ss <= 1.0e-21 || p == 0.0) {
    const double e = ss <= 1.0e-21 ? 0.0 : q;
    eig[0] = eig[1] = eig[2] = e;
    return;
  }
  // det((A - qI) / p) / 2 = cos(3 phi)
  const double det = b11 * (b22 * b33 - a23 * a23) - a12 * (a12 * b33 - a23 * a13) +
                     a13 * (a12 * a23 - b22 * a13);
  double r = det / (2.0 * p * p * p);
  r = r < -1.0 ? -1.0 : (r > 1.0 ? 1.0 : r);
  const double phi = std::acos(r) / 3.0;
  eig[0] = q + 2.0 * p * std::cos(phi);
  eig[2] = q + 2.0 * p * std::cos(phi + 2.0943951023931957);
  eig[1] = 3.0 * q - eig[0] - eig[2];
}

// Values 1 to 15 shared by the solid and the rubber record.
void princ_values(const double* stress, const double* strain, float* v) {
  double eig[3], z[9];
  elements::PRINC3(stress, TOLSTRESS, eig, z);
  for (int k = 0; k < 3; ++k) v[k] = static_cast<float>(eig[k]);
  for (int k = 0; k < 9; ++k) v[3 + k] = static_cast<float>(z[k]);
  princ_values_only(strain, eig);
  for (int k = 0; k < 3; ++k) v[12 + k] = static_cast<float>(eig[k]);
}

// Signed angle of the direction (c, s): its sign from s.
double angle(double c, double s) {
  const double a = std::acos(c < -1.0 ? -1.0 : (c > 1.0 ? 1.0 : c));
  return s < 0.0 ? -a : a;
}

// Rubber energy of the mixed form: the deviatoric Mooney-Rivlin part and the
// pressure term, -p (J - 1) - p^2 / (2 KB).
double rubber_energy(const model::RUBREC& r, const double* E, double p) {
  // C = I + 2E with tensor shears.
  const double c11 = 1 + 2 * E[0], c22 = 1 + 2 * E[1], c33 = 1 + 2 * E[2];
  const double c12 = E[3], c23 = E[4], c31 = E[5];
  const double i1 = c11 + c22 + c33;
  const double i2 = c11 * c22 + c22 * c33 + c33 * c11 - c12 * c12 - c23 * c23 - c31 * c31;
  const double i3 = c11 * (c22 * c33 - c23 * c23) - c12 * (c12 * c33 - c23 * c31) +
                    c31 * (c12 * c23 - c22 * c31);
  const double j = std::sqrt(i3);
  double w = r.C1 * (i1 * std::pow(i3, -1.0 / 3.0) - 3.0) +
             r.C2 * (i2 * std::pow(i3, -2.0 / 3.0) - 3.0) - p * (j - 1.0);
  if (r.KB != 0.0) w -= p * p / (2.0 * r.KB);
  return w;
}

}  // namespace

double SEDENS(int STATE, const double* stress, const double* strain, const double* eplast,
              const double* Dpacked, int n) {
  if (STATE == 0) return 0.5 * base::DOT(stress, strain, n);
  double e[6], de[6];
  for (int k = 0; k < n; ++k) e[k] = strain[k] - eplast[k];
  base::SYMMUL(Dpacked, e, de, n, 1);
  return 0.5 * base::DOT(e, de, n);
}

void SOLVAL(const Model& m, const model::SOLREC& r, std::int32_t id, SolidOut& o) {
  o.ID = id;
  o.STATE = r.STATE;
  princ_values(r.STRESS.data(), r.STRAIN.data(), o.V);
  o.V[15] = static_cast<float>(
      SEDENS(r.STATE, r.STRESS.data(), r.STRAIN.data(), r.EPLAST.data(), r.D.data(), 6));
  for (int k = 0; k < 3; ++k) o.V[16 + k] = static_cast<float>(r.PDIR(k + 1));
  o.V[19] = static_cast<float>(elements::EQVSTR(r.STRESS.data(), r.YTYPE, m.RR(5)));
  o.V[20] = static_cast<float>(r.EPEQ);
}

void SHLVAL(const Model& m, const model::SHLREC& r, std::int32_t id, ShellOut& o) {
  o.ID = id;
  for (int l = 1; l <= 3; ++l) {
    ShellLayerOut& L = o.L[l - 1];
    const double* s = &r.STRESS(1, 4, l);
    const double* e = &r.STRAIN(1, 4, l);
    L.STATE = r.STATE(4, l);
    double p[5], c, sn;
    elements::PRINC2(s, p, c, sn);
    L.V[0] = static_cast<float>(p[0]);
    L.V[1] = static_cast<float>(p[1]);
    L.V[2] = static_cast<float>(angle(c, sn));
    const double eh[5] = {e[0], e[1], 0.5 * e[2], 0.5 * e[3], 0.5 * e[4]};
    elements::PRINC2(eh, p, c, sn);
    L.V[3] = static_cast<float>(p[0]);
    L.V[4] = static_cast<float>(p[1]);
    L.V[5] = static_cast<float>(SEDENS(L.STATE, s, e, &r.EPLAST(1, l), &r.D(1, 4, l), 5));
    L.V[6] = static_cast<float>(angle(c, sn));
    L.V[7] = static_cast<float>(elements::EQVSTR2(s, r.YTYPE, m.RR(5)));
    L.V[8] = static_cast<float>(r.EPEQ(l));
  }
}

void RUBVAL(const model::RUBREC& r, const model::ELEMREC& e, const base::Arr2<double>& u,
            RubberOut& o) {
  o.ID = e.ID;
  // The centroid point (point 1) stands for the element.
  const double* s = &r.STRESS(1, 1);
  const double* g = &r.STRAIN(1, 1);
  princ_values(s, g, o.V);
  double p = 0.0;
  for (int a = 1; a <= 4; ++a) {
    const int nd = e.NOD(a);
    if (u.allocated() && nd >= 1 && nd <= u.ubound(2)) p += u(7, nd);
  }
  const double et[6] = {g[0], g[1], g[2], 0.5 * g[3], 0.5 * g[4], 0.5 * g[5]};
  o.V[15] = static_cast<float>(rubber_energy(r, et, 0.25 * p));
}

std::int32_t NZCOUNT(const Model& m, const base::Arr2<double>& a) {
  if (!a.allocated()) return 0;
  std::int32_t n = 0;
  for (int i = 1; i <= m.NNODE(); ++i) n += NONZERO(a.at(1, i)) ? 1 : 0;
  return n;
}

void REACTADD(Model& m, const base::Arr2<double>& a, const base::Arr2<double>& b) {
  if (!m.REACT.allocated()) return;
  for (const auto* x : {&a, &b}) {
    if (!x->allocated()) continue;
    const long nn = std::min(m.REACT.extent(2), x->extent(2));
    for (long i = 1; i <= nn; ++i)
      for (int k = 1; k <= 3; ++k) m.REACT(k, i) += (*x)(k, i);
  }
}

void RESINIT(Model& m) {
  base::close_unit(m.BDSP);
  base::close_unit(m.BSTR);
  m.BDSP.name = "EXEC.Bdsp";
  m.BSTR.name = "EXEC.Bstr";
  // Creation failures are not tested: writes to a missing stream are dropped.
  m.BDSP.fp = std::fopen("EXEC.Bdsp", "wb");
  m.BSTR.fp = std::fopen("EXEC.Bstr", "wb");
  const std::int32_t one[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
  if (m.BDSP.fp) {
    std::fwrite("BDS8.0\0\0", 1, 8, m.BDSP.fp);
    std::fwrite(one, 4, 5, m.BDSP.fp);
    std::fflush(m.BDSP.fp);
  }
  if (m.BSTR.fp) {
    std::fwrite("BST8.0\0\0", 1, 8, m.BSTR.fp);
    std::fwrite(one, 4, 9, m.BSTR.fp);
    std::fflush(m.BSTR.fp);
  }
}

void RESOUT(Model& m, int STEP, double TIME) {
  const double t0 = m.clock.now();
  // The increment keeps no per-node force arrays beside P yet (P is in REACT
  // already): the two further terms are empty until the dynamic levels
  // name theirs.
  const base::Arr2<double> none;
  REACTADD(m, none, none);
  const std::int32_t cnt[4] = {NZCOUNT(m, m.F), NZCOUNT(m, m.REACT), NZCOUNT(m, m.LINKF),
                               NZCOUNT(m, m.LINKV)};
  if (!m.BDSP.fp && !m.BSTR.fp) RESINIT(m);
  write_dsp(m, STEP, TIME, cnt);
  write_str(m, STEP, TIME);
  m.TIMES(model::T_OUTPUT) += m.clock.now() - t0;
}

}  // namespace ossa::results
