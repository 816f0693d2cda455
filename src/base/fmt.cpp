#include "base/fmt.hpp"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace ossa::base {

namespace {

std::string stars(int w) { return std::string(w > 0 ? w : 0, '*'); }

std::string rjust(const std::string& s, int w) {
  if (static_cast<int>(s.size()) > w) return stars(w);
  return std::string(w - s.size(), ' ') + s;
}

// NaN and infinities as gfortran writes them in a numeric field.
std::string special(double v, int w) {
  if (std::isnan(v)) return w < 3 ? stars(w) : rjust("NaN", w);
  const bool neg = v < 0;
  if (w >= 9 || (w == 8 && !neg)) return rjust(neg ? "-Infinity" : "Infinity", w);
  if (w >= 4 || (w == 3 && !neg)) return rjust(neg ? "-Inf" : (w >= 4 ? "+Inf" : "Inf"), w);
  return stars(w);
}

// Exponent part: E+dd for |e| <= 99, +ddd for |e| <= 999.
std::string exponent(int e) {
  char buf[16];
  if (std::abs(e) <= 99) std::snprintf(buf, sizeof buf, "E%c%02d", e < 0 ? '-' : '+', std::abs(e));
  else std::snprintf(buf, sizeof buf, "%c%03d", e < 0 ? '-' : '+', std::abs(e));
  return buf;
}

// Decimal digits of |v| rounded to `nd` significant digits, and the exponent
// such that |v| = 0.DIGITS x 10^exp.
void sigdigits(double v, int nd, std::string& digits, int& exp10) {
  if (v == 0.0) { digits.assign(nd, '0'); exp10 = 0; return; }
  char buf[512];
  std::snprintf(buf, sizeof buf, "%.*e", nd - 1, std::fabs(v));
  digits.clear();
  const char* p = buf;
  for (; *p && *p != 'e'; ++p) if (*p >= '0' && *p <= '9') digits.push_back(*p);
  exp10 = std::atoi(p + 1) + 1;
}

}  // namespace

std::string fI(long v, int w) { return rjust(std::to_string(v), w); }

std::string fI0(long v) { return std::to_string(v); }

std::string fF(double v, int w, int d) {
  if (!std::isfinite(v)) return special(v, w);
  char buf[512];
  std::snprintf(buf, sizeof buf, "%.*f", d, std::fabs(v));
  std::string s = buf;
  const bool neg = std::signbit(v);
  if (neg) s = "-" + s;
  if (static_cast<int>(s.size()) > w) {
    // The leading zero before the point is optional.
    const std::size_t z = neg ? 1 : 0;
    if (s.size() > z + 1 && s[z] == '0' && s[z + 1] == '.') s.erase(z, 1);
  }
  return rjust(s, w);
}

std::string fPE(double v, int w, int d) {
  if (!std::isfinite(v)) return special(v, w);
  std::string digits;
  int e = 0;
  sigdigits(v, d + 1, digits, e);
  if (v != 0.0) e -= 1;
  if (std::abs(e) > 999) return stars(w);
  std::string s = std::string(std::signbit(v) ? "-" : "") + digits.substr(0, 1) + "." + digits.substr(1) + exponent(e);
  return rjust(s, w);
}

}  // namespace ossa::base
