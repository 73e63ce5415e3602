#include "fits_image_writer.h"

namespace qx::tool {

fits_image_writer::fits_image_writer(const std::string& path, const writer_settings& settings)
    : path_(path), settings_(settings) {
    int status = 0;
    // A leading "!" lets cfitsio replace an existing file, as the other formats do.
    fits_create_file(&file_, ("!" + path).c_str(), &status);
    check(status, "creating it");
}

fits_image_writer::~fits_image_writer() {
    if (file_ != nullptr) {
        int status = 0;
        fits_close_file(file_, &status);
    }
}

void fits_image_writer::check(int status, const char* doing) const {
    if (status == 0)
        return;
    char text[FLEN_STATUS] = {};
    fits_get_errstatus(status, text);
    fail_writing(path_, std::string("cfitsio failed ") + doing + ": " + text);
}

void fits_image_writer::write_keywords(const frame_image& frame) {
    const capture_settings& capture = *frame.settings;
    int status = 0;
    const auto text = [&](const char* key, const std::string& value, const char* comment) {
        fits_update_key(file_, TSTRING, key, const_cast<char*>(value.c_str()), comment, &status);
    };
    const auto whole = [&](const char* key, long long value, const char* comment) {
        fits_update_key(file_, TLONGLONG, key, &value, comment, &status);
    };
    const auto real = [&](const char* key, double value, const char* comment) {
        fits_update_key(file_, TDOUBLE, key, &value, comment, &status);
    };
    text("DATE-OBS", frame.time_utc, "[UTC] frame arrival on the host");
    text("INSTRUME", capture.model, "camera model");
    text("SERIALNO", capture.serial_number, "camera serial number");
    whole("FRAMECNT", frame.frame_count, "camera frame counter");
    text("ROWORDER", "TOP-DOWN", "first row stored is the top of the image");
    if (capture.exposure_us)
        real("EXPTIME", static_cast<double>(*capture.exposure_us) / 1e6, "[s] exposure time");
    if (capture.gain_db)
        real("GAIN", *capture.gain_db, "[dB] camera gain");
    if (capture.gain)
        whole("GAININDX", *capture.gain, "camera gain index");
    whole("XBINNING", capture.binning_x, "horizontal binning factor");
    whole("YBINNING", capture.binning_y, "vertical binning factor");
    if (capture.pixel_width_um)
        real("PIXSIZE1", *capture.pixel_width_um * capture.binning_x, "[um] binned pixel width");
    if (capture.pixel_height_um)
        real("PIXSIZE2", *capture.pixel_height_um * capture.binning_y, "[um] binned pixel height");
    whole("BITDEPTH", capture.bit_depth, "significant bits of a raw count");
    int aligned = capture.msb_aligned ? 1 : 0;
    fits_update_key(file_, TLOGICAL, "MSBALIGN", &aligned, "counts shifted up to fill 16 bits", &status);
    text("ROI", capture.roi, "region of interest x,y,width,height");
    check(status, "writing keywords");
}

void fits_image_writer::add_frame(const frame_image& frame) {
    const capture_settings& capture = *frame.settings;
    const long plane = static_cast<long>(capture.width) * capture.height;
    int status = 0;
    LONGLONG first_pixel = 1;
    if (!settings_.fits_cube || frames_ == 0) {
        long axes[3] = {capture.width, capture.height, 1};
        fits_create_img(file_, USHORT_IMG, settings_.fits_cube ? 3 : 2, axes, &status);
        check(status, "creating an image");
        write_keywords(frame);
    } else {
        long axes[3] = {capture.width, capture.height, frames_ + 1};
        fits_resize_img(file_, USHORT_IMG, 3, axes, &status);
        first_pixel = static_cast<LONGLONG>(frames_) * plane + 1;
    }
    fits_write_img(file_, TUSHORT, first_pixel, plane, const_cast<std::uint16_t*>(frame.pixels.data()),
                   &status);
    check(status, "writing pixels");
    ++frames_;
}

void fits_image_writer::finish() {
    int status = 0;
    if (settings_.fits_cube) {
        fits_update_key(file_, TLONG, "NFRAMES", &frames_, "frames in the cube", &status);
    }
    fitsfile* file = file_;
    file_ = nullptr;
    fits_close_file(file, &status);
    check(status, "closing it");
}

}  // namespace qx::tool
