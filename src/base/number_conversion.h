#pragma once
// Conversions of reply text to numbers. Leading white space is skipped,
// integers are read in base 10, and the conversion stops at the first
// character that does not belong to the number; the rest is ignored.
// Failures throw std::invalid_argument ("invalid stoi argument") when no
// number starts the text and std::out_of_range ("stoi argument out of
// range") when the number does not fit, with the conversion's own name.

#include <cstdint>
#include <string_view>

namespace qx::camera {

// Signed 32-bit.
int to_int(std::string_view text);
// Signed 64-bit.
long long to_long_long(std::string_view text);
// Unsigned 32-bit, read as the camera's native 32-bit unsigned long is: a
// leading '-' negates modulo 2^32, and magnitudes above 0xFFFFFFFF are out
// of range.
std::uint32_t to_unsigned_long(std::string_view text);
// 32-bit float.
float to_float(std::string_view text);
// 64-bit float.
double to_double(std::string_view text);

// Never fails: text without a number gives 0, and a number beyond the signed
// 32-bit range gives the nearest limit.
int to_int_or_zero(std::string_view text);

}  // namespace qx::camera
