#include "pixel_encoding.h"

#include <cstring>

namespace qx::emulator {

std::size_t encoded_size(int count, pixel_packing packing) {
    const auto pixels = static_cast<std::size_t>(count);
    switch (packing) {
        case pixel_packing::packed_12:
            return pixels / 2 * 3;
        case pixel_packing::packed_10:
            return pixels / 4 * 5;
        case pixel_packing::none:
            break;
    }
    return pixels * 2;
}

void encode_pixels(const std::uint16_t* values, int count, pixel_packing packing, std::uint8_t* out) {
    switch (packing) {
        case pixel_packing::packed_12:
            for (int i = 0; i < count; i += 2, out += 3) {
                const unsigned first = values[i];
                const unsigned second = values[i + 1];
                out[0] = static_cast<std::uint8_t>(first);
                out[1] = static_cast<std::uint8_t>(((first >> 8) & 0x0F) | ((second & 0x0F) << 4));
                out[2] = static_cast<std::uint8_t>(second >> 4);
            }
            return;
        case pixel_packing::packed_10:
            for (int i = 0; i < count; i += 4, out += 5) {
                const std::uint64_t group = (std::uint64_t{values[i]} & 0x3FF) |
                                            ((std::uint64_t{values[i + 1]} & 0x3FF) << 10) |
                                            ((std::uint64_t{values[i + 2]} & 0x3FF) << 20) |
                                            ((std::uint64_t{values[i + 3]} & 0x3FF) << 30);
                for (int byte = 0; byte < 5; ++byte) {
                    out[byte] = static_cast<std::uint8_t>(group >> (8 * byte));
                }
            }
            return;
        case pixel_packing::none:
            break;
    }
    for (int i = 0; i < count; ++i) {
        out[2 * i] = static_cast<std::uint8_t>(values[i]);
        out[2 * i + 1] = static_cast<std::uint8_t>(values[i] >> 8);
    }
}

}  // namespace qx::emulator
