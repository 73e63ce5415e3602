#include "held_frame_class.h"

#include <cstdio>

#include "optional_entry_points.h"
#include "quendral_vko_camera_sdk.h"

namespace qx::python {

held_frame_class::held_frame_class(const qx_frame& held) : frame_(held), held_(true) {}

held_frame_class::held_frame_class(const unsigned short* pixels, int width, int height, int bit_depth,
                                   int frame_count, const unsigned char* metadata, int metadata_size)
    : pixel_copy_(pixels, pixels + static_cast<std::size_t>(width) * static_cast<std::size_t>(height)),
      metadata_copy_(metadata, metadata + (metadata_size > 0 ? metadata_size : 0)) {
    frame_.size = sizeof frame_;
    frame_.frame_count = frame_count;
    frame_.width = width;
    frame_.height = height;
    frame_.bit_depth = bit_depth;
    frame_.metadata = metadata_copy_.data();
    frame_.metadata_size = static_cast<int>(metadata_copy_.size());
}

held_frame_class::~held_frame_class() {
    // Runs when the last view of the pixels is gone; a failure cannot be
    // raised from here, and the slot is the kit's to reclaim either way.
    if (held_ && qx_camera_release_frame(&frame_) != QX_STATUS_SUCCESS)
        std::fprintf(stderr, "quendral_vko: releasing a frame failed: %s\n", qx_camera_get_last_error());
}

const std::uint16_t* held_frame_class::pixels() const noexcept {
    return held_ ? frame_.image_data : pixel_copy_.data();
}

}  // namespace qx::python
