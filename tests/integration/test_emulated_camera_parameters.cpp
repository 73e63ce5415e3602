// Parameters end to end: kit, built-in module, text channel, emulated USB
// transport and an emulated camera (2448 x 2048, 12 bits, monochrome,
// 3.45 um pixels). Every scalar getter reads the camera's defaults; every row
// of the by-name catalogue is described, read and bounded, every writable
// row written and read back, and the refusals named and leaving the camera
// as it was.

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "support/sdk_camera_fixture.h"

namespace {

class emulated_camera_parameters : public qx::test::sdk_camera_fixture {
  protected:
    void SetUp() override {
        open_camera_with(R"({"serial":"SN-PARAMS","firmware":"1.4.0","model":"QV-2448M","features":["color",
            "eep","gain","blklvl","readout_frequency","statusled","NIR_boost","sfr","pixel_clock_count_base",
            "hot_pixel_correction","taps","polar_phase","statustec"]})");
    }

    std::string get(const std::string& name) {
        char value[256] = {};
        EXPECT_EQ(qx_camera_get_parameter(camera, name.c_str(), value, sizeof value), 0)
            << name << ": " << qx_camera_get_last_error();
        return value;
    }

    std::pair<std::string, std::string> range(const std::string& name) {
        char minimum[256] = {};
        char maximum[256] = {};
        EXPECT_EQ(qx_camera_get_parameter_range(camera, name.c_str(), minimum, maximum, sizeof minimum), 0)
            << name << ": " << qx_camera_get_last_error();
        return {minimum, maximum};
    }

    static std::vector<qx_parameter_description> catalogue() {
        int count = 0;
        EXPECT_EQ(qx_camera_get_parameter_count(&count), 0);
        std::vector<qx_parameter_description> rows(static_cast<std::size_t>(count));
        for (int index = 0; index < count; ++index)
            EXPECT_EQ(qx_camera_get_parameter_description(index, &rows[static_cast<std::size_t>(index)]), 0);
        return rows;
    }
};

// A getter's outputs as text, blank-separated ("status N" when it fails).
template <class... Value>
std::function<std::string(void*)> values_of(int (*getter)(void*, Value*...)) {
    return [getter](void* camera) {
        std::tuple<Value...> values{};
        const int status = std::apply([&](auto&... value) { return getter(camera, &value...); }, values);
        if (status != 0)
            return "status " + std::to_string(status) + ": " + qx_camera_get_last_error();
        std::ostringstream text;
        std::apply([&](const auto&... value) { ((text << value << ' '), ...); }, values);
        std::string joined = text.str();
        joined.pop_back();
        return joined;
    };
}

// Every getter against the documented defaults of an emulated camera, with
// the features the by-name catalogue reads.
TEST_F(emulated_camera_parameters, every_scalar_getter_reads_the_camera) {
    const struct {
        const char* name;
        std::function<std::string(void*)> read;
        const char* expected;
    } getters[] = {
        {"exposure", values_of(qx_camera_get_exposure_time), "10000"},
        {"exposure range", values_of(qx_camera_get_exposure_time_range), "10 30000000"},
        {"frame time", values_of(qx_camera_get_frame_time), "28000"},
        {"black level", values_of(qx_camera_get_black_level), "10"},
        {"black level range", values_of(qx_camera_get_black_level_range), "0 255"},
        {"frames per trigger", values_of(qx_camera_get_frames_per_trigger_zero_for_unlimited), "0"},
        {"frames per trigger range", values_of(qx_camera_get_frames_per_trigger_range), "0 65535"},
        {"hot pixel threshold", values_of(qx_camera_get_hot_pixel_correction_threshold), "100"},
        {"hot pixel threshold range", values_of(qx_camera_get_hot_pixel_correction_threshold_range),
         "0 4095"},
        {"hot pixel enabled", values_of(qx_camera_get_is_hot_pixel_correction_enabled), "0"},
        {"image width range", values_of(qx_camera_get_image_width_range), "16 2448"},
        {"image height range", values_of(qx_camera_get_image_height_range), "2 2048"},
        {"pixel size", values_of(qx_camera_get_sensor_pixel_size_bytes), "2"},
        // 2048 rows of 10 us each.
        {"readout time", values_of(qx_camera_get_sensor_readout_time), "20480000"},
        {"timestamp clock", values_of(qx_camera_get_timestamp_clock_frequency), "100000000"},
        {"frame rate control", values_of(qx_camera_get_is_frame_rate_control_enabled), "0"},
        {"frame rate value", values_of(qx_camera_get_frame_rate_control_value), "30"},
        {"frame rate range", values_of(qx_camera_get_frame_rate_control_value_range), "0.1 10000"},
        {"led supported", values_of(qx_camera_get_is_led_supported), "1"},
        {"led on", values_of(qx_camera_get_is_led_on), "1"},
        {"cooling supported", values_of(qx_camera_get_is_cooling_supported), "1"},
        {"nir boost supported", values_of(qx_camera_get_is_nir_boost_supported), "1"},
        {"nir boost", values_of(qx_camera_get_nir_boost_enable), "0"},
        {"communication interface", values_of(qx_camera_get_communication_interface), "2"},
        {"bit depth", values_of(qx_camera_get_bit_depth), "12"},
        {"sensor width", values_of(qx_camera_get_sensor_width), "2448"},
        {"sensor height", values_of(qx_camera_get_sensor_height), "2048"},
        {"image width", values_of(qx_camera_get_image_width), "2448"},
        {"image height", values_of(qx_camera_get_image_height), "2048"},
        {"pixel height", values_of(qx_camera_get_sensor_pixel_height), "3.45"},
        {"usb port type", values_of(qx_camera_get_usb_port_type), "2"},
        {"pixel width", values_of(qx_camera_get_sensor_pixel_width), "3.45"},
        {"model length range", values_of(qx_camera_get_model_string_length_range), "1 63"},
        {"name length range", values_of(qx_camera_get_name_string_length_range), "1 63"},
        {"serial length range", values_of(qx_camera_get_serial_number_string_length_range), "1 63"},
    };
    for (const auto& getter : getters) EXPECT_EQ(getter.read(camera), getter.expected) << getter.name;
}

TEST_F(emulated_camera_parameters, settings_round_trip_through_the_camera) {
    // The image takes the region's width.
    ASSERT_EQ(qx_camera_set_roi(camera, 100, 50, 1123, 561), 0) << qx_camera_get_last_error();
    int width = 0;
    ASSERT_EQ(qx_camera_get_image_width(camera, &width), 0);
    EXPECT_EQ(width, 1024);
    // The camera itself refuses a region that breaks its geometry rules.
    EXPECT_EQ(qx_camera_set_roi(camera, 101, 50, 1123, 561), 1004);
    EXPECT_NE(
        std::string(qx_camera_get_last_error()).find("Width must start even, end odd and be multiple of 4"),
        std::string::npos)
        << qx_camera_get_last_error();

    const unsigned char stored[] = {1, 2, 0, 3, 250};
    ASSERT_EQ(qx_camera_set_user_memory(camera, const_cast<unsigned char*>(stored), sizeof stored, 40), 0)
        << qx_camera_get_last_error();
    unsigned char read_back[sizeof stored] = {};
    ASSERT_EQ(qx_camera_get_user_memory(camera, read_back, sizeof read_back, 40), 0)
        << qx_camera_get_last_error();
    EXPECT_EQ(std::memcmp(read_back, stored, sizeof stored), 0);
}

TEST_F(emulated_camera_parameters, every_by_name_row_is_described_read_bounded_and_round_trips) {
    // What each writable row is set to and must read back as.
    const std::map<std::string, std::pair<std::string, std::string>> writes = {
        {"exposure_us", {"5000", "5000"}},
        {"frame_rate_control", {"on", "1"}},
        {"frame_rate_fps", {"12.5", "12.5"}},
        {"gain", {"2", "2"}},
        {"black_level", {"100", "100"}},
        {"data_rate", {"readout1", "readout1"}},
        {"roi", {"8,4,1024,512", "8,4,1024,512"}},
        {"binning", {"2,2", "2,2"}},
        {"trigger_mode", {"hardware", "hardware"}},
        {"trigger_polarity", {"low", "low"}},
        {"frames_per_trigger", {"7", "7"}},
        {"eep_enabled", {"1", "1"}},
        {"hot_pixel_correction", {"off", "0"}},
        {"hot_pixel_correction_threshold", {"40", "40"}},
        {"taps", {"1", "1"}},
        {"tap_balance", {"yes", "1"}},
        {"nir_boost", {"1", "1"}},
        {"led", {"true", "1"}},
        {"name", {"bench-3", "bench-3"}},
    };
    const std::set<std::string> units = {"", "us", "ns", "um", "px", "dB", "fps", "Hz", "B", "bit", "deg"};
    // The texts the camera was configured with.
    const std::map<std::string, std::string> texts = {
        {"serial_number", "SN-PARAMS"}, {"firmware_version", "1.4.0"}, {"model", "QV-2448M"}};
    std::set<std::string> names;
    for (const auto& row : catalogue()) {
        const std::string name = row.name;
        SCOPED_TRACE(name);
        EXPECT_TRUE(std::regex_match(name, std::regex("[a-z][a-z0-9_]*")));
        EXPECT_TRUE(names.insert(name).second) << "listed twice";
        EXPECT_TRUE(units.count(row.unit)) << row.unit;
        EXPECT_GT(std::string(row.description).size(), 5u);
        ASSERT_TRUE(row.flags & QX_PARAMETER_READABLE);
        const std::string before = get(name);
        EXPECT_FALSE(before.empty() && row.value_type != QX_PARAMETER_TEXT);
        if (texts.count(name)) {
            EXPECT_EQ(before, texts.at(name));
        }
        if (row.flags & QX_PARAMETER_HAS_RANGE) {
            const auto [minimum, maximum] = range(name);
            EXPECT_FALSE(minimum.empty() || maximum.empty());
            if (row.value_type == QX_PARAMETER_INTEGER || row.value_type == QX_PARAMETER_REAL) {
                EXPECT_LE(std::stod(minimum), std::stod(maximum));
            }
        }
        if (!(row.flags & QX_PARAMETER_WRITABLE))
            continue;
        std::string value;
        std::string expected;
        if (name == "gain_db") {
            // A value the camera has exactly: the top of its range.
            value = expected = range(name).second;
        } else {
            ASSERT_TRUE(writes.count(name)) << "a writable row without a round trip";
            std::tie(value, expected) = writes.at(name);
        }
        ASSERT_EQ(qx_camera_set_parameter(camera, name.c_str(), value.c_str()), 0)
            << qx_camera_get_last_error();
        EXPECT_EQ(get(name), expected);
    }
    for (const char* required : {"exposure_us", "gain_db", "roi", "binning", "trigger_mode"})
        EXPECT_TRUE(names.count(required)) << required;
}

TEST_F(emulated_camera_parameters, by_name_refusals_name_the_fault_and_leave_the_camera_as_it_was) {
    struct refusal {
        std::string name;
        std::string value;  // set; empty: the range is asked for
        std::string message;
    };
    const refusal refusals[] = {
        {"no_such", "1", "Unknown parameter 'no_such'."},
        {"bit_depth", "12", "Parameter 'bit_depth' is read-only."},
        {"led", "", "Parameter 'led' has no range."},
        {"exposure_us", "12ms", "Value '12ms' of exposure_us is not an integer."},
        {"black_level", "99999999999", "Value '99999999999' of black_level is out of range."},
        {"led", "maybe", "Value 'maybe' of led is not a boolean (0, 1, on, off, true, false, yes, no)."},
        {"trigger_mode", "external",
         "Value 'external' of trigger_mode is not one of: software, hardware, bulb."},
        {"roi", "1,2,3", "Value '1,2,3' of roi is not 4 integers separated by commas."},
        {"roi", "0,0,16,8,4", "Value '0,0,16,8,4' of roi is not 4 integers separated by commas."},
        {"roi", "0,0,0,8", "Value '0,0,0,8' of roi is not a region with a width and a height of 1 or more."},
        {"binning", "2,x", "Value 'x' of binning is not an integer."},
        {"gain_db", "loud", "Value 'loud' of gain_db is not a finite number."},
        {"frame_rate_fps", "nan", "Value 'nan' of frame_rate_fps is not a finite number."},
    };
    for (const auto& entry : refusals) {
        SCOPED_TRACE(entry.name + " = '" + entry.value + "'");
        const bool known = entry.name != "no_such";
        const std::string before = known ? get(entry.name) : "";
        char minimum[64] = {};
        char maximum[64] = {};
        const int status =
            entry.value.empty()
                ? qx_camera_get_parameter_range(camera, entry.name.c_str(), minimum, maximum, sizeof minimum)
                : qx_camera_set_parameter(camera, entry.name.c_str(), entry.value.c_str());
        EXPECT_EQ(status, QX_STATUS_INVALID_OPERATION);
        EXPECT_EQ(std::string(qx_camera_get_last_error()), entry.message + " Error: Invalid operation.");
        if (known) {
            EXPECT_EQ(get(entry.name), before);
        }
    }

    char small[4] = "abc";
    EXPECT_EQ(qx_camera_get_parameter(camera, "serial_number", small, sizeof small),
              QX_STATUS_INVALID_OPERATION);
    EXPECT_EQ(std::string(qx_camera_get_last_error()),
              "The value needs 10 bytes; the buffer holds 4. Error: Invalid operation.");
    EXPECT_EQ(std::string(small), "abc") << "written although it did not fit";
    EXPECT_EQ(qx_camera_get_parameter(camera, nullptr, small, sizeof small), QX_STATUS_INVALID_OPERATION);
    EXPECT_EQ(qx_camera_get_parameter(nullptr, "gain", small, sizeof small), QX_STATUS_INVALID_OPERATION);
    qx_parameter_description description{};
    for (const int index : {-1, static_cast<int>(catalogue().size())}) {
        EXPECT_EQ(qx_camera_get_parameter_description(index, &description), QX_STATUS_INVALID_OPERATION);
        EXPECT_EQ(std::string(qx_camera_get_last_error()), "index Error: Invalid operation.");
    }
}

}  // namespace
