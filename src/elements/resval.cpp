// Values shared by the families' result records: principal values and
// directions, the angle of an in-plane direction, strain energy density.
#include <cmath>

#include "base/kernels.hpp"
#include "elements/princ.hpp"
#include "elements/resrec.hpp"

namespace ossa::elements {

namespace {

constexpr double TOLSTRESS = 1.0e-12;

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

}  // namespace

void PRINCVALS(const double* stress, const double* strain, float* v) {
  double eig[3], z[9];
  PRINC3(stress, TOLSTRESS, eig, z);
  for (int k = 0; k < 3; ++k) v[k] = static_cast<float>(eig[k]);
  for (int k = 0; k < 9; ++k) v[3 + k] = static_cast<float>(z[k]);
  princ_values_only(strain, eig);
  for (int k = 0; k < 3; ++k) v[12 + k] = static_cast<float>(eig[k]);
}

double DIRANGLE(double c, double s) {
  const double a = std::acos(c < -1.0 ? -1.0 : (c > 1.0 ? 1.0 : c));
  return s < 0.0 ? -a : a;
}

double SEDENS(int STATE, const double* stress, const double* strain, const double* eplast,
              const double* Dpacked, int n) {
  if (STATE == 0) return 0.5 * base::DOT(stress, strain, n);
  double e[6], de[6];
  for (int k = 0; k < n; ++k) e[k] = strain[k] - eplast[k];
  base::SYMMUL(Dpacked, e, de, n, 1);
  return 0.5 * base::DOT(e, de, n);
}

}  // namespace ossa::elements
