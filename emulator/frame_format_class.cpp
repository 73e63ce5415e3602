#include "frame_format_class.h"

#include "pixel_encoding.h"

namespace qx::emulator {

std::size_t frame_format_class::row_bytes() const {
    return encoded_size(width, packing);
}

}  // namespace qx::emulator
