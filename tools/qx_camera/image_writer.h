#pragma once
// One small interface for every image file format; the format is chosen by
// the file's extension from one table.

#include <memory>
#include <string>

#include "frame_image.h"

namespace qx::tool {

struct writer_settings {
    bool deflate = false;    // TIFF: deflate compression instead of none
    bool fits_cube = false;  // FITS: one three-dimensional image instead of one HDU per frame
};

class image_writer {
  public:
    virtual ~image_writer() = default;
    // Adds a frame: a page, an HDU, a plane of a cube, or the one image.
    virtual void add_frame(const frame_image& frame) = 0;
    // Completes the file; a failure is reported, never left half-written silently.
    virtual void finish() = 0;
};

// The writer for the path's extension (.tif/.tiff, .fits/.fit/.fts, .png);
// another extension is a usage failure naming those.
std::unique_ptr<image_writer> make_image_writer(const std::string& path, const writer_settings& settings);

// Whether the path's format keeps several frames in one file.
bool holds_several_frames(const std::string& path);

// Fails, naming the path, when a file could not be written.
[[noreturn]] void fail_writing(const std::string& path, const std::string& reason);

}  // namespace qx::tool
