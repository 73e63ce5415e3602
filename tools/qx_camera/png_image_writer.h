#pragma once
// PNG through libpng: 16-bit grey with big-endian samples, sBIT carrying the
// camera's bit depth when the samples are shifted up to fill 16 bits, the
// metadata in tEXt. One frame per file.

#include <cstdio>
#include <string>

#include "image_writer.h"

namespace qx::tool {

class png_image_writer : public image_writer {
  public:
    png_image_writer(const std::string& path, const writer_settings& settings);
    ~png_image_writer() override;
    png_image_writer(const png_image_writer&) = delete;
    png_image_writer& operator=(const png_image_writer&) = delete;

    void add_frame(const frame_image& frame) override;
    void finish() override;

  private:
    std::string path_;
    std::FILE* file_ = nullptr;
    bool written_ = false;
};

}  // namespace qx::tool
