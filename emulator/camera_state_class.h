#pragma once
// The settings a virtual camera's commands read and change, and the
// geometry rules they obey. The state is guarded by its camera's lock.

#include <array>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "camera_config_class.h"
#include "firmware_phrases.h"
#include "frame_format_class.h"

namespace qx::emulator {

class camera_state_class {
  public:
    /** An integer setting with its range. */
    struct integer_setting {
        std::int64_t value;
        std::int64_t min;
        std::int64_t max;
    };

    /** Smallest region of interest. */
    static constexpr int min_roi_width = 16;
    static constexpr int min_roi_height = 2;
    /** Sensor line time, for the readout time. */
    static constexpr std::int64_t line_time_ns = 10000;
    /** Longest name, model or serial number. */
    static constexpr int longest_text = 63;

    explicit camera_state_class(const camera_config_class& config);

    bool has_feature(std::string_view word) const;
    /** The frame period: the frame time, or the period of the frame-rate control when it is on. */
    std::chrono::microseconds frame_period() const;
    /** The format of the frames the camera would send now. */
    frame_format_class frame_format() const;
    /** Checks a region of interest with binning factors; answers the refusal or success. */
    firmware_phrase check_geometry(const std::array<std::int64_t, 4>& roi, std::int64_t hbin,
                                   std::int64_t vbin) const;
    /** Recomputes the settings derived from others (image size, readout time). */
    void update_derived();

    const camera_config_class& config;

    // Integer settings, with the command word that reads them.
    integer_setting exposure_us{10000, 10, 30000000};                 // "exp"
    integer_setting frame_time_us;                                    // "frametime"
    integer_setting bit_depth;                                        // "pixel_bit_depth"
    integer_setting black_level{10, 0, 255};                          // "blklvl"
    integer_setting frames_per_trigger{0, 0, 65535};                  // "nframes"
    integer_setting hot_pixel_threshold{100, 0, 4095};                // "hot_pixel_correction threshold"
    integer_setting gain;                                             // "gain"
    integer_setting taps{1, 0, 2};                                    // "taps"
    integer_setting readout_frequency{0, 0, 1};                       // "readout_frequency"
    integer_setting nir_boost;                                        // "NIR_boost"
    integer_setting hbin{1, 1, 4};                                    // "hbin"
    integer_setting vbin{1, 1, 4};                                    // "vbin"
    integer_setting sfr_millifps{30000, 100, 10000000};               // "sfr"
    integer_setting image_width;                                      // "image_width" (derived)
    integer_setting image_height;                                     // "image_height" (derived)
    integer_setting readout_time_ns;                                  // "sensor_readout_time" (derived)
    integer_setting pixel_width_nm;                                   // "pixel_width_nm"
    integer_setting pixel_height_nm;                                  // "pixel_height_nm"
    integer_setting pixel_size{2, 2, 2};                              // "pixel_size"
    integer_setting pixel_clock_hz{100000000, 100000000, 100000000};  // "pixel_clock_count_base"
    integer_setting user_memory_size;                                 // "nvstor size"

    // Word settings.
    std::string hot_pixel_correction = "off";
    std::string statusled = "on";
    std::string statustec = "off";
    std::string tap_balance = "off";
    std::string sfr_enabled = "off";
    std::string eep = "off";
    std::string fps = "30";
    std::string trigger_mode = "none";
    std::string trigger_polarity = "hi";

    // Texts answered as they are.
    std::string id;
    std::string serial;
    std::string model;
    std::string name;
    std::string firmware;
    std::string discover;
    std::string usb_speed;
    std::string color;
    std::string color_filter_phase = "red";
    std::string polar_phase = "0";
    std::string color_correction_matrix = "1 0 0 0 1 0 0 0 1";
    std::string white_balance_matrix = "1 0 0 0 1 0 0 0 1";
    std::string output_color_space = "sRGB";
    std::string iosetup = "ts";
    std::string gain_discipline;
    std::string gain_table;

    // Region of interest: left, top, right, bottom, corners inclusive.
    std::array<std::int64_t, 4> roi{};
    // Whether the previous command was "unlock dl".
    bool name_unlocked = false;
    // The non-volatile user memory (erased bytes are 0xFF).
    std::vector<std::uint8_t> user_memory;
};

}  // namespace qx::emulator
