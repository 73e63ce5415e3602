#pragma once
// TIFF through libtiff: 16-bit MinIsBlack, uncompressed or deflate, one page
// per frame; the metadata in tags and as JSON in ImageDescription.

#include <string>

#include "image_writer.h"

struct tiff;

namespace qx::tool {

class tiff_image_writer : public image_writer {
  public:
    tiff_image_writer(const std::string& path, const writer_settings& settings);
    ~tiff_image_writer() override;
    tiff_image_writer(const tiff_image_writer&) = delete;
    tiff_image_writer& operator=(const tiff_image_writer&) = delete;

    void add_frame(const frame_image& frame) override;
    void finish() override;

  private:
    std::string path_;
    writer_settings settings_;
    tiff* file_ = nullptr;
    int pages_ = 0;
};

}  // namespace qx::tool
