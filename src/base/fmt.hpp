// Fortran edit descriptors, printed the way a Fortran runtime prints them, so
// that the log matches its tables byte for byte.
//   fI(v,w)    Iw        fI0(v)  I0
//   fF(v,w,d)  Fw.d      fPE(v,w,d) 1PEw.d (1.2340E+00)
// A value that does not fit its field prints as w asterisks.
#pragma once
#include <string>
#include <string_view>

namespace ossa::base {

std::string fI(long v, int w);
std::string fI0(long v);
std::string fF(double v, int w, int d);
std::string fPE(double v, int w, int d);
inline std::string fX(int n) { return std::string(n > 0 ? n : 0, ' '); }

}  // namespace ossa::base
