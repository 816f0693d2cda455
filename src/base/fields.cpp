#include "base/fields.hpp"

#include <charconv>
#include <cstring>
#include <climits>
#include <cstdlib>
#include <string>

namespace ossa::base {

std::string_view field(std::string_view image, int c1, int c2) {
  if (c1 < 1) c1 = 1;
  const auto n = static_cast<int>(image.size());
  if (c1 > n || c2 < c1) return {};
  if (c2 > n) c2 = n;
  return image.substr(c1 - 1, c2 - c1 + 1);
}

bool is_blank(std::string_view f) {
  for (char c : f) if (c != ' ' && c != '\t') return false;
  return true;
}

namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Copies the non-blank characters of the field into buf (cap bytes with the
// terminating zero); returns their count, or -1 when they do not fit.
int squeeze(std::string_view f, char* buf, int cap) {
  int n = 0;
  for (char c : f) {
    if (c == ' ' || c == '\t' || c == '\r') continue;
    if (n + 1 >= cap) return -1;
    buf[n++] = c;
  }
  buf[n] = 0;
  return n;
}

}  // namespace

bool read_int(std::string_view f, long& out) {
  long v = 0;
  int nd = 0;
  bool neg = false, sign = false;
  for (char c : f) {
    if (c == ' ' || c == '\t' || c == '\r') continue;
    if ((c == '+' || c == '-') && !sign && nd == 0) {
      sign = true;
      neg = c == '-';
      continue;
    }
    if (!is_digit(c)) return false;
    v = v * 10 + (c - '0');
    if (v > static_cast<long>(INT_MAX) + 1) return false;
    ++nd;
  }
  if (nd == 0) {
    if (sign) return false;
    out = 0;
    return true;
  }
  v = neg ? -v : v;
  if (v > INT_MAX || v < INT_MIN) return false;
  out = v;
  return true;
}

bool read_real(std::string_view f, double& out) {
  char s[96];
  const int n = squeeze(f, s, static_cast<int>(sizeof s) - 2);
  if (n < 0) return false;
  if (n == 0) { out = 0.0; return true; }
  // Mantissa: sign, digits, optional point, digits.
  int k = (s[0] == '+' || s[0] == '-') ? 1 : 0;
  int nd = 0;
  while (k < n && is_digit(s[k])) { ++k; ++nd; }
  if (k < n && s[k] == '.') {
    ++k;
    while (k < n && is_digit(s[k])) { ++k; ++nd; }
  }
  if (nd == 0) return false;
  char num[100];
  int m = 0;
  for (int i = (s[0] == '+') ? 1 : 0; i < k; ++i) num[m++] = s[i];
  if (k < n) {
    // Exponent: E, D or Q (either case), or a bare sign.
    const char c = s[k];
    if (c == 'E' || c == 'e' || c == 'D' || c == 'd' || c == 'Q' || c == 'q') ++k;
    else if (c != '+' && c != '-') return false;
    num[m++] = 'e';
    if (k < n && (s[k] == '+' || s[k] == '-')) {
      if (s[k] == '-') num[m++] = '-';
      ++k;
    }
    if (k == n) return false;
    for (; k < n; ++k) {
      if (!is_digit(s[k])) return false;
      num[m++] = s[k];
    }
  }
  double v = 0.0;
  const auto r = std::from_chars(num, num + m, v);
  if (r.ec == std::errc::result_out_of_range) {
    // Outside the range of a double: as a Fortran read would, refuse the overflow
    // and let an underflow be zero.
    if (std::strtod(std::string(num, static_cast<std::size_t>(m)).c_str(), nullptr) == 0.0) {
      out = 0.0;
      return true;
    }
    return false;
  }
  if (r.ec != std::errc() || r.ptr != num + m) return false;
  out = v;
  return true;
}

}  // namespace ossa::base
