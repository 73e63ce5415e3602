// The by-name parameter catalogue end to end on an emulated camera: every
// row described, read and bounded; every writable row written and read back;
// the refusals named and leaving the camera as it was.

#include <gtest/gtest.h>

#include <cctype>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "support/sdk_camera_fixture.h"

namespace {

class parameter_by_name : public qx::test::sdk_camera_fixture {
  protected:
    void SetUp() override {
        open_camera_with(R"({"serial":"SN-BYNAME","features":["color","eep","gain","blklvl",
            "readout_frequency","statusled","NIR_boost","sfr","pixel_clock_count_base",
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

bool is_identifier(const std::string& name) {
    if (name.empty() || !std::islower(static_cast<unsigned char>(name[0])))
        return false;
    for (const char c : name)
        if (!std::islower(static_cast<unsigned char>(c)) && !std::isdigit(static_cast<unsigned char>(c)) &&
            c != '_')
            return false;
    return true;
}

TEST_F(parameter_by_name, every_row_is_described_read_bounded_and_round_trips) {
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
    std::set<std::string> names;
    for (const auto& row : catalogue()) {
        const std::string name = row.name;
        SCOPED_TRACE(name);
        EXPECT_TRUE(is_identifier(name));
        EXPECT_TRUE(names.insert(name).second) << "listed twice";
        EXPECT_TRUE(units.count(row.unit)) << row.unit;
        EXPECT_GT(std::string(row.description).size(), 5u);
        ASSERT_TRUE(row.flags & QX_PARAMETER_READABLE);
        const std::string before = get(name);
        EXPECT_FALSE(before.empty() && row.value_type != QX_PARAMETER_TEXT);
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

TEST_F(parameter_by_name, refusals_name_the_fault_and_leave_the_camera_as_it_was) {
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
