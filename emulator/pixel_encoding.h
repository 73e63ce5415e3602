#pragma once
// The three pixel encodings of the image stream. Unpacked: 16 bits per pixel,
// little-endian. Packed 12-bit: 3 bytes per 2 pixels, pixel 0 in byte 0 and
// the low 4 bits of byte 1, pixel 1 in the high 4 bits of byte 1 and byte 2.
// Packed 10-bit: 5 bytes per 4 pixels, a 40-bit little-endian group holding
// the pixels at bits 0, 10, 20 and 30.

#include <cstddef>
#include <cstdint>

#include "camera_config_class.h"

namespace qx::emulator {

/** Encoded bytes of @p count pixels (a multiple of 4). */
std::size_t encoded_size(int count, pixel_packing packing);

/** Encodes @p count pixels (a multiple of 4) into @p out. */
void encode_pixels(const std::uint16_t* values, int count, pixel_packing packing, std::uint8_t* out);

}  // namespace qx::emulator
