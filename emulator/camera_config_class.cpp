#include "camera_config_class.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "emulator_error_class.h"
#include "json_reading.h"

namespace qx::emulator {

namespace {

using json = nlohmann::json;
namespace jr = json_reading;

constexpr int largest_sensor_side = 8192;
constexpr std::size_t longest_text = 63;
constexpr int largest_default_set = 64;

std::string read_text(const json& value, const std::string& place) {
    auto text = jr::read_string(value, place);
    if (text.empty() || text.size() > longest_text) {
        jr::fail(place, "expected a text of 1.." + std::to_string(longest_text) + " characters");
    }
    return text;
}

int read_int(const json& value, const std::string& place, std::int64_t min, std::int64_t max) {
    return static_cast<int>(jr::read_integer(value, place, min, max));
}

using key_reader = void (*)(camera_config_class&, const json&, const std::string&);

struct config_key_row {
    std::string_view key;
    key_reader read;
};

// Every key of a camera object except "family" (read first, since it picks the
// defaults) and "column_gains" (read last, since it depends on the sensor width).
const config_key_row config_keys[] = {
    {"id", [](camera_config_class& c, const json& v, const std::string& p) { c.id = jr::read_word(v, p); }},
    {"serial",
     [](camera_config_class& c, const json& v, const std::string& p) { c.serial = jr::read_word(v, p); }},
    {"model", [](camera_config_class& c, const json& v, const std::string& p) { c.model = read_text(v, p); }},
    {"name", [](camera_config_class& c, const json& v, const std::string& p) { c.name = read_text(v, p); }},
    {"firmware",
     [](camera_config_class& c, const json& v, const std::string& p) { c.firmware = read_text(v, p); }},
    {"product_id",
     [](camera_config_class& c, const json& v, const std::string& p) {
         c.product_id = static_cast<unsigned int>(jr::read_integer(v, p, 0, 0xFFFF));
     }},
    {"sensor_width",
     [](camera_config_class& c, const json& v, const std::string& p) {
         c.sensor_width = read_int(v, p, 16, largest_sensor_side);
         if (c.sensor_width % 4 != 0) {
             jr::fail(p, "expected a multiple of 4, got " + std::to_string(c.sensor_width));
         }
     }},
    {"sensor_height", [](camera_config_class& c, const json& v,
                         const std::string& p) { c.sensor_height = read_int(v, p, 2, largest_sensor_side); }},
    {"bit_depth", [](camera_config_class& c, const json& v,
                     const std::string& p) { c.bit_depth = read_int(v, p, 8, 16); }},
    {"packing",
     [](camera_config_class& c, const json& v, const std::string& p) {
         c.packing = static_cast<pixel_packing>(jr::read_choice(v, p, {"none", "12", "10"}));
     }},
    {"pixel_width_nm", [](camera_config_class& c, const json& v,
                          const std::string& p) { c.pixel_width_nm = read_int(v, p, 1, 1000000); }},
    {"pixel_height_nm", [](camera_config_class& c, const json& v,
                           const std::string& p) { c.pixel_height_nm = read_int(v, p, 1, 1000000); }},
    {"features", [](camera_config_class& c, const json& v,
                    const std::string& p) { c.features = jr::read_word_list(v, p); }},
    {"color", [](camera_config_class& c, const json& v, const std::string& p) { c.color = read_text(v, p); }},
    {"gain_min", [](camera_config_class& c, const json& v,
                    const std::string& p) { c.gain_min = read_int(v, p, 0, 100000); }},
    {"gain_max", [](camera_config_class& c, const json& v,
                    const std::string& p) { c.gain_max = read_int(v, p, 0, 100000); }},
    {"gain_table",
     [](camera_config_class& c, const json& v, const std::string& p) {
         if (!v.is_array() || v.size() < 2) {
             jr::fail(p, "expected an array of at least 2 integers (tenths of a decibel)");
         }
         c.gain_table.clear();
         for (std::size_t i = 0; i < v.size(); ++i) {
             c.gain_table.push_back(read_int(v[i], jr::index_place(p, i), -10000, 10000));
         }
     }},
    {"user_memory_size",
     [](camera_config_class& c, const json& v, const std::string& p) {
         c.user_memory_size = jr::read_integer(v, p, 0, 16 * 1024 * 1024);
     }},
    {"usb_speed",
     [](camera_config_class& c, const json& v, const std::string& p) {
         static constexpr std::string_view speeds[] = {"USB 1.0", "USB 2.0", "USB 3.0"};
         c.usb_speed = std::string(speeds[jr::read_choice(v, p, {speeds[0], speeds[1], speeds[2]})]);
     }},
    {"frame_time_us", [](camera_config_class& c, const json& v,
                         const std::string& p) { c.frame_time_us = jr::read_integer(v, p, 100, 10000000); }},
    {"pacing",
     [](camera_config_class& c, const json& v, const std::string& p) {
         c.pacing = static_cast<pacing_mode>(jr::read_choice(v, p, {"frame_time", "fast"}));
     }},
    {"pattern",
     [](camera_config_class& c, const json& v, const std::string& p) {
         c.pattern = static_cast<pattern_kind>(
             jr::read_choice(v, p, {"gradient", "checker", "frame_count", "flat", "moving_bars"}));
     }},
    {"flat_value", [](camera_config_class& c, const json& v,
                      const std::string& p) { c.flat_value = read_int(v, p, 0, 65535); }},
    {"max_lag_frames", [](camera_config_class& c, const json& v,
                          const std::string& p) { c.max_lag_frames = read_int(v, p, 0, 1000); }},
    {"replies",
     [](camera_config_class& c, const json& v, const std::string& p) {
         jr::require_object(v, p);
         c.replies.clear();
         for (const auto& [command, reply] : v.items()) {
             auto text = jr::read_string(reply, jr::key_place(p, command));
             if (text.size() >= QX_EMU_REPLY_SIZE) {
                 jr::fail(jr::key_place(p, command), "expected a reply shorter than 1024 bytes");
             }
             c.replies[command] = std::move(text);
         }
     }},
    {"faults", [](camera_config_class& c, const json& v,
                  const std::string& p) { c.faults = fault_plan_class::from_json(v, p); }},
    {"seed",
     [](camera_config_class& c, const json& v, const std::string& p) { c.seed = jr::read_unsigned(v, p); }},
    {"command_log", [](camera_config_class& c, const json& v,
                       const std::string& p) { c.command_log = jr::read_string(v, p); }},
    {"frame_count_start",
     [](camera_config_class& c, const json& v,
        const std::string&
            p) { c.frame_count_start = static_cast<std::uint32_t>(jr::read_integer(v, p, 0, 0xFFFFFFFFLL)); }},
    {"port",
     [](camera_config_class& c, const json& v, const std::string& p) { c.port = read_int(v, p, 1, 9999); }},
};

// One column-gain table: an array of one factor per column, {"constant": f}
// or {"ramp": [first, last]} (linear from the first column to the last).
std::vector<float> read_column_gain_table(const json& value, const std::string& place, int width) {
    std::vector<float> table;
    if (value.is_array()) {
        if (value.size() != static_cast<std::size_t>(width)) {
            jr::fail(place, "expected " + std::to_string(width) + " factors (one per sensor column), got " +
                                std::to_string(value.size()));
        }
        for (std::size_t i = 0; i < value.size(); ++i) {
            table.push_back(
                static_cast<float>(jr::read_number(value[i], jr::index_place(place, i), -1e6, 1e6)));
        }
        return table;
    }
    if (value.is_object() && value.size() == 1 && value.contains("constant")) {
        const auto factor = static_cast<float>(
            jr::read_number(value["constant"], jr::key_place(place, "constant"), -1e6, 1e6));
        return std::vector<float>(static_cast<std::size_t>(width), factor);
    }
    if (value.is_object() && value.size() == 1 && value.contains("ramp") && value["ramp"].is_array() &&
        value["ramp"].size() == 2) {
        const double first = jr::read_number(value["ramp"][0], jr::key_place(place, "ramp"), -1e6, 1e6);
        const double last = jr::read_number(value["ramp"][1], jr::key_place(place, "ramp"), -1e6, 1e6);
        for (int column = 0; column < width; ++column) {
            table.push_back(static_cast<float>(first + (last - first) * column / (width - 1)));
        }
        return table;
    }
    jr::fail(place, "expected an array of factors, {\"constant\": factor} or {\"ramp\": [first, last]}");
}

void check_consistency(camera_config_class& config, const json& object, const std::string& where) {
    const auto place = [&](std::string_view key) { return jr::key_place(where, key); };
    const int packed_depth = config.packing == pixel_packing::packed_12   ? 12
                             : config.packing == pixel_packing::packed_10 ? 10
                                                                          : 0;
    if (packed_depth != 0 && config.bit_depth != packed_depth) {
        jr::fail(place("packing"), "packing \"" + std::to_string(packed_depth) + "\" needs bit_depth " +
                                       std::to_string(packed_depth) + ", got " +
                                       std::to_string(config.bit_depth));
    }
    if (config.flat_value >= (1 << config.bit_depth)) {
        jr::fail(place("flat_value"),
                 "expected a value that fits bit_depth " + std::to_string(config.bit_depth));
    }
    if (!config.gain_table.empty()) {
        for (const auto* key : {"gain_min", "gain_max"}) {
            if (object.contains(key)) {
                jr::fail(place(key), "not allowed together with 'gain_table' (the table sets the range)");
            }
        }
        config.gain_min = 0;
        config.gain_max = static_cast<int>(config.gain_table.size()) - 1;
    }
    if (config.gain_min > config.gain_max) {
        jr::fail(place("gain_min"), "expected a value not above gain_max " + std::to_string(config.gain_max));
    }
    if (object.contains("column_gains")) {
        const auto& tables = object["column_gains"];
        const auto where_tables = place("column_gains");
        const auto wanted = static_cast<std::size_t>(config.gain_max) + 1;
        if (!tables.is_array() || tables.size() != wanted) {
            jr::fail(where_tables, "expected an array of one table per gain setting 0..gain_max (" +
                                       std::to_string(wanted) + " tables)");
        }
        config.column_gains.clear();
        for (std::size_t i = 0; i < tables.size(); ++i) {
            config.column_gains.push_back(
                read_column_gain_table(tables[i], jr::index_place(where_tables, i), config.sensor_width));
        }
    }
}

std::string read_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw emulator_error_class(QX_EMU_INVALID, "configuration file '" + path + "' cannot be read");
    }
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::vector<camera_config_class> parse_json_set(const std::string& text) {
    json document;
    try {
        document = json::parse(text);
    } catch (const json::parse_error& error) {
        throw emulator_error_class(QX_EMU_INVALID,
                                   std::string("configuration: JSON syntax error: ") + error.what());
    }
    const json* cameras = &document;
    if (document.is_object()) {
        for (const auto& [key, value] : document.items()) {
            if (key != "cameras") {
                jr::fail("configuration", "unknown key '" + key + "' (expected only 'cameras')");
            }
        }
        if (!document.contains("cameras")) {
            jr::fail("configuration", "key 'cameras' is missing");
        }
        cameras = &document["cameras"];
    }
    if (!cameras->is_array()) {
        jr::fail("configuration", "expected an array of camera objects");
    }
    std::vector<camera_config_class> set;
    for (std::size_t i = 0; i < cameras->size(); ++i) {
        set.push_back(camera_config_class::from_json((*cameras)[i], "camera " + std::to_string(i + 1)));
    }
    return set;
}

std::uint64_t fnv1a_64(std::string_view text) {
    std::uint64_t hash = 0xCBF29CE484222325ULL;
    for (const unsigned char c : text) {
        hash = (hash ^ c) * 0x100000001B3ULL;
    }
    return hash;
}

}  // namespace

std::string_view camera_config_class::family_word(camera_family family) {
    return family == camera_family::qv ? "qv" : "ralto";
}

camera_config_class camera_config_class::defaults_of(camera_family family) {
    camera_config_class config;
    config.family = family;
    config.features = {"color",
                       "eep",
                       "gain",
                       "blklvl",
                       "readout_frequency",
                       "statusled",
                       "NIR_boost",
                       "sfr",
                       "pixel_clock_count_base",
                       "hot_pixel_correction"};
    if (family == camera_family::qv) {
        config.model = "QV-2448M";
        config.product_id = 0x6101;
    } else {
        config.model = "RALTO-2448M";
        config.product_id = 0x7101;
    }
    config.name = config.model;
    return config;
}

camera_config_class camera_config_class::from_json(const json& object, const std::string& where) {
    if (!object.is_object()) {
        jr::fail(where, "expected a camera object");
    }
    camera_family family = camera_family::qv;
    if (object.contains("family")) {
        family = static_cast<camera_family>(
            jr::read_choice(object["family"], jr::key_place(where, "family"), {"qv", "ralto"}));
    }
    auto config = defaults_of(family);
    for (const auto& [key, value] : object.items()) {
        if (key == "family" || key == "column_gains") {
            continue;
        }
        const config_key_row* row = nullptr;
        for (const auto& candidate : config_keys) {
            if (candidate.key == key) {
                row = &candidate;
                break;
            }
        }
        if (row == nullptr) {
            jr::fail(where, "unknown key '" + key + "'");
        }
        row->read(config, value, jr::key_place(where, key));
    }
    if (!object.contains("name")) {
        config.name = config.model;
    }
    check_consistency(config, object, where);
    return config;
}

std::vector<camera_config_class> camera_config_class::parse_set(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) {
        return {};
    }
    const auto last = text.find_last_not_of(" \t\r\n");
    const std::string trimmed(text.substr(first, last - first + 1));
    if (trimmed.front() == '{' || trimmed.front() == '[') {
        return parse_json_set(trimmed);
    }
    if (std::all_of(trimmed.begin(), trimmed.end(), [](unsigned char c) { return std::isdigit(c) != 0; })) {
        if (trimmed.size() > 3 || std::stoi(trimmed) > largest_default_set) {
            jr::fail("configuration", "expected at most " + std::to_string(largest_default_set) +
                                          " default cameras, got " + trimmed);
        }
        return std::vector<camera_config_class>(static_cast<std::size_t>(std::stoi(trimmed)),
                                                defaults_of(camera_family::qv));
    }
    return parse_json_set(read_file(trimmed));
}

void camera_config_class::complete_identity(int sequence_number) {
    if (serial.empty()) {
        serial = std::string(family == camera_family::qv ? "QV" : "RT") +
                 std::to_string(10000000 + sequence_number);
    }
    if (id.empty()) {
        static constexpr char digits[] = "0123456789ABCDEF";
        std::uint64_t hash = fnv1a_64(serial);
        id.assign(16, '0');
        for (int i = 15; i >= 0; --i, hash >>= 4) {
            id[static_cast<std::size_t>(i)] = digits[hash & 0xF];
        }
    }
}

}  // namespace qx::emulator
