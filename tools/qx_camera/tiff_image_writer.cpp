#include "tiff_image_writer.h"

#include <tiffio.h>

namespace qx::tool {

namespace {

// "2026-11-23T21:04:05.123" as TIFF's "2026:11:23 21:04:05".
std::string tiff_date_time(const std::string& iso) {
    std::string text = iso.substr(0, 19);
    if (text.size() == 19) {
        text[4] = ':';
        text[7] = ':';
        text[10] = ' ';
    }
    return text;
}

}  // namespace

tiff_image_writer::tiff_image_writer(const std::string& path, const writer_settings& settings)
    : path_(path), settings_(settings), file_(TIFFOpen(path.c_str(), "w")) {
    if (file_ == nullptr)
        fail_writing(path_, "libtiff could not create it");
}

tiff_image_writer::~tiff_image_writer() {
    if (file_ != nullptr)
        TIFFClose(file_);
}

void tiff_image_writer::add_frame(const frame_image& frame) {
    const capture_settings& capture = *frame.settings;
    const auto width = static_cast<std::uint32_t>(capture.width);
    const auto height = static_cast<std::uint32_t>(capture.height);
    const std::string description = frame_metadata(frame).dump();
    const std::string date_time = tiff_date_time(frame.time_utc);
    const unsigned largest_count = (1u << capture.bit_depth) - 1u;
    const int shift = capture.msb_aligned ? 16 - capture.bit_depth : 0;
    TIFFSetField(file_, TIFFTAG_SUBFILETYPE, pages_ > 0 ? FILETYPE_PAGE : 0);
    TIFFSetField(file_, TIFFTAG_IMAGEWIDTH, width);
    TIFFSetField(file_, TIFFTAG_IMAGELENGTH, height);
    TIFFSetField(file_, TIFFTAG_BITSPERSAMPLE, 16);
    TIFFSetField(file_, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(file_, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(file_, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(file_, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    TIFFSetField(file_, TIFFTAG_MAXSAMPLEVALUE, static_cast<std::uint16_t>(largest_count << shift));
    TIFFSetField(file_, TIFFTAG_COMPRESSION,
                 settings_.deflate ? COMPRESSION_ADOBE_DEFLATE : COMPRESSION_NONE);
    if (settings_.deflate)
        TIFFSetField(file_, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    TIFFSetField(file_, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(file_, 0));
    TIFFSetField(file_, TIFFTAG_IMAGEDESCRIPTION, description.c_str());
    TIFFSetField(file_, TIFFTAG_MAKE, "Quendral VKO");
    TIFFSetField(file_, TIFFTAG_MODEL, capture.model.c_str());
    TIFFSetField(file_, TIFFTAG_SOFTWARE, "qx-camera");
    TIFFSetField(file_, TIFFTAG_DATETIME, date_time.c_str());
    TIFFSetField(file_, TIFFTAG_PAGENUMBER, static_cast<std::uint16_t>(pages_),
                 static_cast<std::uint16_t>(0));
    if (capture.pixel_width_um && capture.pixel_height_um && *capture.pixel_width_um > 0 &&
        *capture.pixel_height_um > 0) {
        // Pixels per centimetre of the binned image, so viewers show true sizes.
        TIFFSetField(file_, TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
        TIFFSetField(file_, TIFFTAG_XRESOLUTION,
                     static_cast<float>(1e4 / (*capture.pixel_width_um * capture.binning_x)));
        TIFFSetField(file_, TIFFTAG_YRESOLUTION,
                     static_cast<float>(1e4 / (*capture.pixel_height_um * capture.binning_y)));
    }
    std::vector<std::uint16_t> row(width);
    for (std::uint32_t y = 0; y < height; ++y) {
        // libtiff may change the buffer it is given (byte order, predictor), so each row is a copy.
        std::copy_n(frame.pixels.data() + static_cast<std::size_t>(y) * width, width, row.begin());
        if (TIFFWriteScanline(file_, row.data(), y, 0) < 0)
            fail_writing(path_, "libtiff could not write row " + std::to_string(y));
    }
    if (TIFFWriteDirectory(file_) == 0)
        fail_writing(path_, "libtiff could not write page " + std::to_string(pages_ + 1));
    ++pages_;
}

void tiff_image_writer::finish() {
    TIFF* file = file_;
    file_ = nullptr;
    if (TIFFFlush(file) == 0) {
        TIFFClose(file);
        fail_writing(path_, "libtiff could not flush it");
    }
    TIFFClose(file);
}

}  // namespace qx::tool
