// Fixed-column numeric fields of the deck, read as a Fortran formatted READ
// with blanks ignored: an all-blank field is 0, a real without a point is a
// whole number, the exponent is written with E, D or a bare sign.
#pragma once
#include <string_view>

namespace ossa::base {

// Columns c1..c2 (one-based, inclusive) of a card image; columns past the end
// of the image read as blanks.
std::string_view field(std::string_view image, int c1, int c2);

// Both return false, leaving `out` untouched, when the field holds anything
// that is not a number of its kind.
bool read_int(std::string_view f, long& out);
bool read_real(std::string_view f, double& out);

bool is_blank(std::string_view f);

}  // namespace ossa::base
