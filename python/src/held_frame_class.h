#pragma once
// One frame held from a camera: its slot stays out of the camera's reach
// until this object dies, so the pixels are read in place. The Python views
// of the pixels keep the object alive.

#include <cstdint>

#include "quendral_vko_camera_sdk.h"

namespace qx::python {

class held_frame_class {
  public:
    // Takes over a frame held by qx_camera_acquire_frame.
    explicit held_frame_class(const qx_frame& held);
    ~held_frame_class();
    held_frame_class(const held_frame_class&) = delete;
    held_frame_class& operator=(const held_frame_class&) = delete;

    const std::uint16_t* pixels() const noexcept { return frame_.image_data; }
    int width() const noexcept { return frame_.width; }
    int height() const noexcept { return frame_.height; }
    int bit_depth() const noexcept { return frame_.bit_depth; }
    // The camera's 32-bit frame counter, as the unsigned number it is.
    std::uint32_t counter() const noexcept { return static_cast<std::uint32_t>(frame_.frame_count); }
    const unsigned char* metadata() const noexcept { return frame_.metadata; }
    int metadata_size() const noexcept { return frame_.metadata_size; }

  private:
    qx_frame frame_{};
};

}  // namespace qx::python
