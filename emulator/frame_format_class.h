#pragma once
// Everything that shapes the bytes of a frame, fixed when the camera is armed.

#include <cstddef>
#include <cstdint>

#include "camera_config_class.h"

namespace qx::emulator {

/** Bytes of the metadata block at the start of every frame (seven tag/value pairs). */
inline constexpr std::size_t metadata_size = 56;
/** Payload bytes of one image packet (the packet minus its 4-byte header). */
inline constexpr std::size_t packet_payload_size = 16380;
/** Header of the first packet of a frame. */
inline constexpr std::uint32_t first_packet_header = 0x00009090u;

class frame_format_class {
  public:
    int roi_left = 0;  // sensor column of the first image column
    int roi_top = 0;   // sensor row of the first image row
    int width = 0;     // image columns (after binning)
    int height = 0;    // image rows (after binning)
    int hbin = 1;
    int vbin = 1;
    int bit_depth = 12;
    pixel_packing packing = pixel_packing::none;  // as sent (only when the depth matches the packing)
    pattern_kind pattern = pattern_kind::gradient;
    int flat_value = 0;

    /** Encoded bytes of one image row. */
    std::size_t row_bytes() const;
    /** Encoded bytes of all pixels of a frame. */
    std::size_t pixel_bytes() const { return row_bytes() * static_cast<std::size_t>(height); }
    /** Packets per frame: metadata and pixels in 16,380-byte payloads, the last one zero-padded. */
    std::size_t packet_count() const {
        return (metadata_size + pixel_bytes() + packet_payload_size - 1) / packet_payload_size;
    }
    /** Largest pixel value of the bit depth. */
    std::uint32_t value_mask() const { return (1u << bit_depth) - 1u; }

    bool operator==(const frame_format_class&) const = default;
};

}  // namespace qx::emulator
