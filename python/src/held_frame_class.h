#pragma once
// One frame taken from a camera. With the kit's held frames it keeps the
// frame's slot out of the camera's reach until the object dies, so the
// pixels are read in place; a kit without them polls, and the frame then
// owns a copy of the pixels made before the slot could be reused.

#include <cstdint>
#include <vector>

#include "quendral_vko_camera_sdk.h"

namespace qx::python {

class held_frame_class {
  public:
    // Takes over a frame held by qx_camera_acquire_frame.
    explicit held_frame_class(const qx_frame& held);
    // Copies a polled frame of width x height pixels and its metadata.
    held_frame_class(const unsigned short* pixels, int width, int height, int bit_depth, int frame_count,
                     const unsigned char* metadata, int metadata_size);
    ~held_frame_class();
    held_frame_class(const held_frame_class&) = delete;
    held_frame_class& operator=(const held_frame_class&) = delete;

    const std::uint16_t* pixels() const noexcept;
    int width() const noexcept { return frame_.width; }
    int height() const noexcept { return frame_.height; }
    int bit_depth() const noexcept { return frame_.bit_depth; }
    // The camera's 32-bit frame counter, as the unsigned number it is.
    std::uint32_t counter() const noexcept { return static_cast<std::uint32_t>(frame_.frame_count); }
    const unsigned char* metadata() const noexcept { return frame_.metadata; }
    int metadata_size() const noexcept { return frame_.metadata_size; }
    // Whether the pixels live in the camera's slot rather than in a copy.
    bool in_place() const noexcept { return held_; }

  private:
    qx_frame frame_{};
    bool held_ = false;
    std::vector<std::uint16_t> pixel_copy_;
    std::vector<unsigned char> metadata_copy_;
};

}  // namespace qx::python
