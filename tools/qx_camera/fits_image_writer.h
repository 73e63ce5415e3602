#pragma once
// FITS through cfitsio: USHORT_IMG with the standard keywords (EXPTIME, GAIN,
// XBINNING/YBINNING, PIXSIZE1/2, DATE-OBS, INSTRUME, ROWORDER) and the serial
// number and frame count; one HDU per frame, or one cube for a burst.

#include <fitsio.h>

#include <string>

#include "image_writer.h"

namespace qx::tool {

class fits_image_writer : public image_writer {
  public:
    fits_image_writer(const std::string& path, const writer_settings& settings);
    ~fits_image_writer() override;
    fits_image_writer(const fits_image_writer&) = delete;
    fits_image_writer& operator=(const fits_image_writer&) = delete;

    void add_frame(const frame_image& frame) override;
    void finish() override;

  private:
    void check(int status, const char* doing) const;
    void write_keywords(const frame_image& frame);

    std::string path_;
    writer_settings settings_;
    fitsfile* file_ = nullptr;
    long frames_ = 0;
};

}  // namespace qx::tool
