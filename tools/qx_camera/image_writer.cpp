#include "image_writer.h"

#include <algorithm>
#include <cctype>

#include "exit_codes.h"
#include "fits_image_writer.h"
#include "png_image_writer.h"
#include "tiff_image_writer.h"

namespace qx::tool {

namespace {

struct image_format {
    const char* extensions[3];
    bool several_frames;
    std::unique_ptr<image_writer> (*make)(const std::string& path, const writer_settings& settings);
};

template <class Writer>
std::unique_ptr<image_writer> make_writer(const std::string& path, const writer_settings& settings) {
    return std::make_unique<Writer>(path, settings);
}

const image_format formats[] = {
    {{".tif", ".tiff", nullptr}, true, make_writer<tiff_image_writer>},
    {{".fits", ".fit", ".fts"}, true, make_writer<fits_image_writer>},
    {{".png", nullptr, nullptr}, false, make_writer<png_image_writer>},
};

const image_format& format_of(const std::string& path) {
    const auto dot = path.rfind('.');
    std::string extension = dot == std::string::npos ? "" : path.substr(dot);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (const auto& format : formats) {
        for (const char* known : format.extensions) {
            if (known != nullptr && extension == known)
                return format;
        }
    }
    throw tool_failure(
        exit_usage, "cannot tell the format of '" + path + "': use .tif, .tiff, .fits, .fit, .fts or .png");
}

}  // namespace

std::unique_ptr<image_writer> make_image_writer(const std::string& path, const writer_settings& settings) {
    return format_of(path).make(path, settings);
}

bool holds_several_frames(const std::string& path) {
    return format_of(path).several_frames;
}

void fail_writing(const std::string& path, const std::string& reason) {
    throw tool_failure(exit_failure, "cannot write " + path + ": " + reason);
}

}  // namespace qx::tool
