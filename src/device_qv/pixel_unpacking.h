#pragma once
// Unpacking of packed pixel streams into 16-bit pixels.
//
// Packed 12-bit: 3 bytes hold 2 pixels; pixel 0 is byte 0 plus the low 4 bits
// of byte 1 as bits 8..11, pixel 1 is the high 4 bits of byte 1 as bits 0..3
// plus byte 2 as bits 4..11.
// Packed 10-bit: 5 bytes hold 4 pixels as one 40-bit little-endian group,
// pixel k at bits 10k..10k+9.
//
// The scalar functions are the definition; the fast ones produce the same
// bits on every input and pick the widest instructions the processor has.

#include <cstddef>
#include <cstdint>

namespace qx::device_qv {

// Unpacks `groups` groups of 6 bytes into 4 pixels each.
void unpack_12bit_scalar(const std::uint8_t* source, std::uint16_t* destination, std::size_t groups);
void unpack_12bit(const std::uint8_t* source, std::uint16_t* destination, std::size_t groups);

// Unpacks `groups` groups of 5 bytes into 4 pixels each.
void unpack_10bit_scalar(const std::uint8_t* source, std::uint16_t* destination, std::size_t groups);
void unpack_10bit(const std::uint8_t* source, std::uint16_t* destination, std::size_t groups);

// Which implementation unpack_12bit/unpack_10bit use on this processor.
const char* unpacking_implementation_name();

}  // namespace qx::device_qv
