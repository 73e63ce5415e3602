// Each image format written and read back with its own library: pixels
// identical (extremes, odd sizes, several frames), metadata present.

#include <fitsio.h>
#include <gtest/gtest.h>
#include <png.h>
#include <tiffio.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "frame_sink.h"

namespace {

using namespace qx::tool;

constexpr int width = 7;  // odd, so no row padding can hide
constexpr int height = 5;

capture_settings settings_of(bool msb_aligned) {
    return {.serial_number = "SN-WRITE",
            .model = "QV-TEST",
            .width = width,
            .height = height,
            .bit_depth = 12,
            .msb_aligned = msb_aligned,
            .exposure_us = 25000,
            .gain = 40,
            .gain_db = 4.5,
            .binning_x = 2,
            .pixel_width_um = 3.45,
            .pixel_height_um = 3.45,
            .roi = "0,0,14,5"};
}

// Frame n: every value different, with the extremes 0 and 65535 and bytes
// that differ, so swapped byte order or transposed rows show.
std::vector<frame_image> frames_of(const capture_settings& settings, int count) {
    std::vector<frame_image> frames;
    for (int n = 0; n < count; ++n) {
        frame_image frame{&settings, {}, 4294967295LL - n, "2026-11-23T21:04:05.123"};
        for (int index = 0; index < width * height; ++index)
            frame.pixels.push_back(static_cast<std::uint16_t>(index * 1877 + n * 311 + 0x0102));
        frame.pixels[0] = 0;
        frame.pixels[1] = 65535;
        frames.push_back(frame);
    }
    return frames;
}

struct read_back {
    std::vector<std::vector<std::uint16_t>> frames;
    std::vector<std::string> metadata;  // per frame: the text that must hold the frame's count
};

read_back read_tiff(const std::string& path) {
    read_back result;
    TIFF* file = TIFFOpen(path.c_str(), "r");
    EXPECT_NE(file, nullptr);
    if (file == nullptr)
        return result;
    do {
        std::uint32_t w = 0, h = 0;
        std::uint16_t bits = 0, photometric = 99;
        char* description = nullptr;
        TIFFGetField(file, TIFFTAG_IMAGEWIDTH, &w);
        TIFFGetField(file, TIFFTAG_IMAGELENGTH, &h);
        TIFFGetField(file, TIFFTAG_BITSPERSAMPLE, &bits);
        TIFFGetField(file, TIFFTAG_PHOTOMETRIC, &photometric);
        EXPECT_EQ(bits, 16);
        EXPECT_EQ(photometric, PHOTOMETRIC_MINISBLACK);
        EXPECT_TRUE(TIFFGetField(file, TIFFTAG_IMAGEDESCRIPTION, &description));
        std::vector<std::uint16_t> pixels(static_cast<std::size_t>(w) * h);
        for (std::uint32_t y = 0; y < h; ++y) TIFFReadScanline(file, pixels.data() + y * w, y, 0);
        result.frames.push_back(pixels);
        result.metadata.push_back(description != nullptr ? description : "");
    } while (TIFFReadDirectory(file));
    TIFFClose(file);
    return result;
}

read_back read_fits(const std::string& path) {
    read_back result;
    fitsfile* file = nullptr;
    int status = 0;
    fits_open_file(&file, path.c_str(), READONLY, &status);
    int hdus = 0;
    fits_get_num_hdus(file, &hdus, &status);
    for (int hdu = 1; hdu <= hdus && status == 0; ++hdu) {
        fits_movabs_hdu(file, hdu, nullptr, &status);
        int axes_count = 0;
        long axes[3] = {1, 1, 1};
        fits_get_img_dim(file, &axes_count, &status);
        fits_get_img_size(file, 3, axes, &status);
        if (axes_count < 3)
            axes[2] = 1;
        // The header's cards, blanks removed: "EXPTIME=0.025/..."
        char* header = nullptr;
        int cards = 0;
        fits_hdr2str(file, 0, nullptr, 0, &header, &cards, &status);
        std::string keywords = header != nullptr ? header : "";
        fits_free_memory(header, &status);
        std::erase(keywords, ' ');
        for (long plane = 0; plane < axes[2]; ++plane) {
            std::vector<std::uint16_t> pixels(static_cast<std::size_t>(axes[0] * axes[1]));
            fits_read_img(file, TUSHORT, plane * axes[0] * axes[1] + 1, axes[0] * axes[1], nullptr,
                          pixels.data(), nullptr, &status);
            result.frames.push_back(pixels);
            result.metadata.push_back(keywords);
        }
    }
    fits_close_file(file, &status);
    EXPECT_EQ(status, 0);
    return result;
}

read_back read_png(const std::string& path) {
    read_back result;
    std::FILE* file = std::fopen(path.c_str(), "rb");
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_read_info(png, info);
    EXPECT_EQ(png_get_bit_depth(png, info), 16);
    EXPECT_EQ(png_get_color_type(png, info), PNG_COLOR_TYPE_GRAY);
    png_color_8p significant = nullptr;
    const int significant_bits = png_get_sBIT(png, info, &significant) != 0 ? significant->gray : 0;
    png_textp texts = nullptr;
    int text_count = 0;
    png_get_text(png, info, &texts, &text_count);
    std::string metadata = "sBIT=" + std::to_string(significant_bits) + " ";
    for (int index = 0; index < text_count; ++index)
        metadata += std::string(texts[index].key) + "=" + texts[index].text + " ";
    const png_uint_32 w = png_get_image_width(png, info);
    const png_uint_32 h = png_get_image_height(png, info);
    // Raw rows: the file's bytes as stored, big-endian.
    std::vector<png_byte> bytes(static_cast<std::size_t>(w) * h * 2);
    std::vector<png_bytep> rows(h);
    for (png_uint_32 y = 0; y < h; ++y) rows[y] = bytes.data() + y * w * 2;
    png_read_image(png, rows.data());
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(file);
    std::vector<std::uint16_t> pixels;
    for (std::size_t index = 0; index < bytes.size(); index += 2)
        pixels.push_back(static_cast<std::uint16_t>(bytes[index] << 8 | bytes[index + 1]));
    result.frames.push_back(pixels);
    result.metadata.push_back(metadata);
    return result;
}

struct format_case {
    std::string file;
    writer_settings settings;
    int frames;
    read_back (*read)(const std::string&);
    std::vector<std::string> metadata_holds;  // texts every frame's metadata must contain
};

TEST(image_writers, every_format_reads_back_identical_pixels_and_its_metadata) {
    const std::string directory = ::testing::TempDir();
    const std::vector<format_case> cases = {
        {"plain.tif",
         {},
         3,
         read_tiff,
         {"\"exposure_us\":25000", "\"serial_number\":\"SN-WRITE\"", "\"bit_depth\":12"}},
        {"deflate.tiff", {true, false}, 2, read_tiff, {"\"gain_db\":4.5", "\"binning\":[2,1]"}},
        {"hdus.fits",
         {},
         3,
         read_fits,
         {"EXPTIME=0.025", "XBINNING=2", "YBINNING=1", "PIXSIZE1=6.9", "PIXSIZE2=3.45", "INSTRUME='QV-TEST'",
          "SERIALNO='SN-WRITE'", "ROWORDER='TOP-DOWN'", "DATE-OBS='2026-11-23T21:04:05.123'", "GAIN=4.5"}},
        {"cube.fits", {false, true}, 3, read_fits, {"FRAMECNT=4294967295", "SERIALNO='SN-WRITE'"}},
        {"one.png",
         {},
         1,
         read_png,
         {"Software=qx-camera", "exposure_us=25000", "serial_number=SN-WRITE", "bit_depth=12",
          "Description={"}},
    };
    for (const bool msb_aligned : {false, true}) {
        const capture_settings settings = settings_of(msb_aligned);
        for (const auto& entry : cases) {
            SCOPED_TRACE(entry.file + (msb_aligned ? " msb-aligned" : ""));
            const std::string path = directory + entry.file;
            const auto frames = frames_of(settings, entry.frames);
            frame_sink sink(path, entry.settings, entry.frames);
            for (const auto& frame : frames) sink.add(frame);
            sink.finish();
            const read_back back = entry.read(path);
            ASSERT_EQ(back.frames.size(), frames.size());
            for (std::size_t n = 0; n < frames.size(); ++n) {
                EXPECT_EQ(back.frames[n], frames[n].pixels) << "frame " << n;
                for (const auto& text : entry.metadata_holds)
                    EXPECT_NE(back.metadata[n].find(text), std::string::npos)
                        << text << " in " << back.metadata[n];
                // Per-frame records carry each frame's own count.
                if (entry.read == read_tiff) {
                    EXPECT_EQ(nlohmann::json::parse(back.metadata[n])["frame_count"], frames[n].frame_count);
                } else if (entry.read == read_png) {
                    // sBIT only where the counts fill the top bits.
                    EXPECT_EQ(back.metadata[n].rfind(msb_aligned ? "sBIT=12 " : "sBIT=0 ", 0), 0u);
                } else if (entry.read == read_fits && !entry.settings.fits_cube) {
                    const std::string card = "FRAMECNT=" + std::to_string(frames[n].frame_count) + "/";
                    EXPECT_NE(back.metadata[n].find(card), std::string::npos) << back.metadata[n];
                }
            }
            std::remove(path.c_str());
        }
    }
}

}  // namespace
