#include "base/fields.hpp"

#include <cerrno>
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

// The field with its blanks removed.
std::string squeeze(std::string_view f) {
  std::string s;
  for (char c : f) if (c != ' ' && c != '\t' && c != '\r') s.push_back(c);
  return s;
}

bool digits_only(const std::string& s, std::size_t a, std::size_t b) {
  for (std::size_t k = a; k < b; ++k) if (s[k] < '0' || s[k] > '9') return false;
  return true;
}

}  // namespace

bool read_int(std::string_view f, long& out) {
  const std::string s = squeeze(f);
  if (s.empty()) { out = 0; return true; }
  std::size_t k = (s[0] == '+' || s[0] == '-') ? 1 : 0;
  if (k == s.size() || !digits_only(s, k, s.size())) return false;
  errno = 0;
  const long v = std::strtol(s.c_str(), nullptr, 10);
  if (errno == ERANGE || v > INT_MAX || v < INT_MIN) return false;
  out = v;
  return true;
}

bool read_real(std::string_view f, double& out) {
  std::string s = squeeze(f);
  if (s.empty()) { out = 0.0; return true; }
  // Mantissa: sign, digits, optional point, digits.
  std::size_t k = (s[0] == '+' || s[0] == '-') ? 1 : 0;
  const std::size_t m0 = k;
  int nd = 0;
  while (k < s.size() && s[k] >= '0' && s[k] <= '9') { ++k; ++nd; }
  if (k < s.size() && s[k] == '.') {
    ++k;
    while (k < s.size() && s[k] >= '0' && s[k] <= '9') { ++k; ++nd; }
  }
  if (nd == 0) return false;
  std::string num = s.substr(0, k);
  (void)m0;
  if (k < s.size()) {
    // Exponent: E, D (either case), or a bare sign.
    char c = s[k];
    if (c == 'E' || c == 'e' || c == 'D' || c == 'd' || c == 'Q' || c == 'q') ++k;
    else if (c != '+' && c != '-') return false;
    std::size_t e0 = k;
    if (k < s.size() && (s[k] == '+' || s[k] == '-')) ++k;
    if (k == s.size() || !digits_only(s, k, s.size())) return false;
    num += "e" + s.substr(e0);
  }
  char* end = nullptr;
  const double v = std::strtod(num.c_str(), &end);
  if (end != num.c_str() + num.size()) return false;
  out = v;
  return true;
}

}  // namespace ossa::base
