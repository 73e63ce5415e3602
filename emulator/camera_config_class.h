#pragma once
// The description of one virtual camera: every configuration key with its
// default (docs/emulator.md lists them), and the loaders for a whole set.

#include <cstdint>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "fault_plan_class.h"

namespace qx::emulator {

enum class camera_family { qv, ralto };
enum class pixel_packing { none, packed_12, packed_10 };
enum class pacing_mode { frame_time, fast };
enum class pattern_kind { gradient, checker, frame_count, flat, moving_bars };

class camera_config_class {
  public:
    camera_family family = camera_family::qv;
    std::string id;      // empty until complete_identity
    std::string serial;  // empty until complete_identity
    std::string model;
    std::string name;
    std::string firmware = "1.4.0";
    unsigned int vendor_id = 0x2A7C;
    unsigned int product_id = 0x6101;
    int sensor_width = 2448;
    int sensor_height = 2048;
    int bit_depth = 12;
    pixel_packing packing = pixel_packing::none;
    int pixel_width_nm = 3450;
    int pixel_height_nm = 3450;
    std::vector<std::string> features;
    std::string color = "mono";
    int gain_min = 0;
    int gain_max = 480;
    std::vector<int> gain_table;  // tenths of a decibel per index; empty: linear gain
    std::vector<std::vector<float>>
        column_gains;  // per gain setting one factor per sensor column; empty: none
    std::int64_t user_memory_size = 16384;
    std::string usb_speed = "USB 3.0";
    std::int64_t frame_time_us = 28000;
    pacing_mode pacing = pacing_mode::frame_time;
    pattern_kind pattern = pattern_kind::gradient;
    int flat_value = 512;
    int max_lag_frames = 2;
    std::map<std::string, std::string> replies;
    fault_plan_class faults;
    std::uint64_t seed = 1;
    std::string command_log;
    std::uint32_t frame_count_start = 0xFFFFFFF0u;
    int port = 0;  // 0: the next free port

    /** The defaults of a family (model, name, product id, features). */
    static camera_config_class defaults_of(camera_family family);

    /**
     * Reads one camera object. @p where names it in errors ("camera 2").
     * Identity keys left out stay empty until complete_identity.
     */
    static camera_config_class from_json(const nlohmann::json& object, const std::string& where);

    /**
     * Reads a whole configuration: a number ("3"), inline JSON ('{' or '[' first),
     * a file path, or empty for no camera. JSON is {"cameras":[...]} or a bare array.
     */
    static std::vector<camera_config_class> parse_set(std::string_view text);

    /** Fills a missing serial from @p sequence_number and a missing id from the serial. */
    void complete_identity(int sequence_number);

    /** Family word as in the configuration ("qv", "ralto"). */
    static std::string_view family_word(camera_family family);
};

}  // namespace qx::emulator
