#include "png_image_writer.h"

#include <png.h>

#include <vector>

namespace qx::tool {

namespace {

// libpng reports failures by calling back; they become exceptions here and
// are carried out of the C code as a message, never thrown through it.
struct png_failure {
    std::string message;
};

void on_png_error(png_structp png, png_const_charp message) {
    static_cast<png_failure*>(png_get_error_ptr(png))->message = message;
    png_longjmp(png, 1);
}

void on_png_warning(png_structp, png_const_charp) {}

struct text_entry {
    std::string key;
    std::string value;
};

// sBIT tells a reader that the significant bits are the top ones and that
// shifting right recovers the camera's counts. That holds only for shifted
// samples; raw counts carry no sBIT, and their bit depth stays in the text.
int significant_bits_of(const capture_settings& capture) {
    return capture.msb_aligned && capture.bit_depth < 16 ? capture.bit_depth : 0;
}

// The part that runs under libpng's error jump: plain C data only, so that
// a jump out of libpng skips no destructor. False on failure.
bool write_png_image(png_structp png, png_infop info, std::FILE* file, png_uint_32 width, png_uint_32 height,
                     int significant_bits, png_text* texts, int text_count, png_bytep* rows) {
    if (setjmp(png_jmpbuf(png)) != 0)
        return false;
    png_init_io(png, file);
    png_set_IHDR(png, info, width, height, 16, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (significant_bits > 0) {
        png_color_8 significant{};
        significant.gray = static_cast<png_byte>(significant_bits);
        png_set_sBIT(png, info, &significant);
    }
    png_set_text(png, info, texts, text_count);
    png_write_info(png, info);
    // PNG stores samples big-endian; libpng swaps the host's order as it writes.
    const std::uint16_t probe = 1;
    if (*reinterpret_cast<const std::uint8_t*>(&probe) == 1)
        png_set_swap(png);
    png_write_image(png, rows);
    png_write_end(png, info);
    return true;
}

// Writes the whole file; returns the failure's message, empty on success.
std::string write_png(std::FILE* file, const frame_image& frame) {
    const capture_settings& capture = *frame.settings;
    png_failure failure;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &failure, on_png_error, on_png_warning);
    if (png == nullptr)
        return "libpng could not start";
    png_infop info = png_create_info_struct(png);
    const auto metadata = frame_metadata(frame);
    std::vector<text_entry> entries = {{"Software", "qx-camera"},
                                       {"Source", capture.model + " " + capture.serial_number},
                                       {"Creation Time", frame.time_utc},
                                       {"Description", metadata.dump()}};
    for (const auto& [key, value] : metadata.items())
        entries.push_back({key, value.is_string() ? value.get<std::string>() : value.dump()});
    std::vector<png_text> texts(entries.size());
    for (std::size_t index = 0; index < entries.size(); ++index) {
        texts[index].compression = PNG_TEXT_COMPRESSION_NONE;
        texts[index].key = entries[index].key.data();
        texts[index].text = entries[index].value.data();
    }
    std::vector<png_bytep> rows(static_cast<std::size_t>(capture.height));
    for (std::size_t y = 0; y < rows.size(); ++y) {
        rows[y] = reinterpret_cast<png_bytep>(
            const_cast<std::uint16_t*>(frame.pixels.data() + y * static_cast<std::size_t>(capture.width)));
    }
    const bool written =
        info != nullptr &&
        write_png_image(png, info, file, static_cast<png_uint_32>(capture.width),
                        static_cast<png_uint_32>(capture.height), significant_bits_of(capture), texts.data(),
                        static_cast<int>(texts.size()), rows.data());
    png_destroy_write_struct(&png, &info);
    if (!written)
        return failure.message.empty() ? "libpng failed" : failure.message;
    return {};
}

}  // namespace

png_image_writer::png_image_writer(const std::string& path, const writer_settings& /*settings*/)
    : path_(path), file_(std::fopen(path.c_str(), "wb")) {
    if (file_ == nullptr)
        fail_writing(path_, "cannot create it");
}

png_image_writer::~png_image_writer() {
    if (file_ != nullptr)
        std::fclose(file_);
}

void png_image_writer::add_frame(const frame_image& frame) {
    if (written_)
        fail_writing(path_, "a PNG file holds one frame; put {n} in the name for one file per frame");
    written_ = true;
    const std::string failure = write_png(file_, frame);
    if (!failure.empty())
        fail_writing(path_, failure);
}

void png_image_writer::finish() {
    std::FILE* file = file_;
    file_ = nullptr;
    if (std::fclose(file) != 0)
        fail_writing(path_, "closing it failed");
}

}  // namespace qx::tool
