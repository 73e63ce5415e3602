#include "frame_image.h"

#include <chrono>
#include <ctime>

#include "parameter_access.h"

namespace qx::tool {

namespace {

// Reads an optional setting: cameras without the feature leave it out.
template <class Value, class Convert>
std::optional<Value> optional_setting(void* camera, const char* name, Convert convert) {
    try {
        return convert(read_parameter(camera, name));
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

}  // namespace

capture_settings read_capture_settings(void* camera, bool msb_align) {
    capture_settings settings;
    settings.serial_number = read_parameter(camera, "serial_number");
    settings.model = read_parameter(camera, "model");
    settings.width = std::stoi(read_parameter(camera, "image_width"));
    settings.height = std::stoi(read_parameter(camera, "image_height"));
    settings.bit_depth = std::stoi(read_parameter(camera, "bit_depth"));
    settings.msb_aligned = msb_align;
    const auto to_long = [](const std::string& text) { return std::stoll(text); };
    const auto to_int = [](const std::string& text) { return std::stoi(text); };
    const auto to_real = [](const std::string& text) { return std::stod(text); };
    settings.exposure_us = optional_setting<long long>(camera, "exposure_us", to_long);
    settings.gain = optional_setting<int>(camera, "gain", to_int);
    settings.gain_db = optional_setting<double>(camera, "gain_db", to_real);
    settings.pixel_width_um = optional_setting<double>(camera, "pixel_width_um", to_real);
    settings.pixel_height_um = optional_setting<double>(camera, "pixel_height_um", to_real);
    const std::string binning = read_parameter(camera, "binning");
    settings.binning_x = std::stoi(binning);
    settings.binning_y = std::stoi(binning.substr(binning.find(',') + 1));
    settings.roi = read_parameter(camera, "roi");
    return settings;
}

std::vector<std::uint16_t> frame_pixels(const capture_settings& settings, const std::uint16_t* pixels) {
    const std::size_t count =
        static_cast<std::size_t>(settings.width) * static_cast<std::size_t>(settings.height);
    std::vector<std::uint16_t> copy(pixels, pixels + count);
    if (settings.msb_aligned && settings.bit_depth < 16) {
        const int shift = 16 - settings.bit_depth;
        for (auto& pixel : copy) pixel = static_cast<std::uint16_t>(pixel << shift);
    }
    return copy;
}

std::string utc_now() {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    char text[40];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text + length, sizeof text - length, ".%03lld", static_cast<long long>(milliseconds));
    return text;
}

nlohmann::ordered_json frame_metadata(const frame_image& frame) {
    const capture_settings& settings = *frame.settings;
    nlohmann::ordered_json metadata = {
        {"serial_number", settings.serial_number},
        {"model", settings.model},
        {"frame_count", frame.frame_count},
        {"time_utc", frame.time_utc},
        {"width", settings.width},
        {"height", settings.height},
        {"bit_depth", settings.bit_depth},
        {"msb_aligned", settings.msb_aligned},
        {"binning", {settings.binning_x, settings.binning_y}},
        {"roi", settings.roi},
    };
    if (settings.exposure_us)
        metadata["exposure_us"] = *settings.exposure_us;
    if (settings.gain)
        metadata["gain"] = *settings.gain;
    if (settings.gain_db)
        metadata["gain_db"] = *settings.gain_db;
    if (settings.pixel_width_um)
        metadata["pixel_width_um"] = *settings.pixel_width_um;
    if (settings.pixel_height_um)
        metadata["pixel_height_um"] = *settings.pixel_height_um;
    return metadata;
}

}  // namespace qx::tool
