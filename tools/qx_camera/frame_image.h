#pragma once
// A captured frame and what is known about it, as the image writers take it.

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace qx::tool {

// The camera's settings while it captured, read once before arming.
struct capture_settings {
    std::string serial_number;
    std::string model;
    int width = 0;
    int height = 0;
    int bit_depth = 16;        // significant bits of a raw count
    bool msb_aligned = false;  // counts shifted up to fill 16 bits
    std::optional<long long> exposure_us;
    std::optional<int> gain;
    std::optional<double> gain_db;
    int binning_x = 1;
    int binning_y = 1;
    std::optional<double> pixel_width_um;  // of the sensor, unbinned
    std::optional<double> pixel_height_um;
    std::string roi;  // "x,y,width,height"
};

struct frame_image {
    const capture_settings* settings = nullptr;
    std::vector<std::uint16_t> pixels;  // row after row, top row first
    long long frame_count = 0;          // the camera's own counter
    std::string time_utc;               // arrival on this computer, ISO 8601 with milliseconds
};

// Reads the settings through the parameter catalogue.
capture_settings read_capture_settings(void* camera, bool msb_align);

// A copy of the frame's pixels, shifted up when the settings ask for it.
std::vector<std::uint16_t> frame_pixels(const capture_settings& settings, const std::uint16_t* pixels);

// The current time as "2026-11-23T21:04:05.123".
std::string utc_now();

// Everything known about the frame, for ImageDescription, tEXt and JSON output.
nlohmann::ordered_json frame_metadata(const frame_image& frame);

}  // namespace qx::tool
