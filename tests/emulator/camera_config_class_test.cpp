// The configuration loader: clear errors naming the key, files and inline
// JSON, and the defaults of a camera.

#include <cstdio>
#include <fstream>

#include "emulator/emulator_test_support.h"

namespace qx::emulator::testing {
namespace {

TEST(camera_config_class, errors_name_the_key_and_change_nothing) {
    const struct {
        std::string configuration;
        std::string error;  // the whole error text, or its start when it ends in "..."
    } rows[] = {
        {R"([{"bit_depth":"12"}])",
         "camera 1: key 'bit_depth': expected an integer 8..16, got a string \"12\""},
        {R"([{}, {"bit_depth":17}])",
         "camera 2: key 'bit_depth': expected an integer 8..16, got a number 17"},
        {R"([{"colour":"mono"}])", "camera 1: unknown key 'colour'"},
        {R"({"cameras":[{"packing":"11"}]})",
         "camera 1: key 'packing': expected one of \"none\" \"12\" \"10\", got a string \"11\""},
        {R"([{"packing":"12","bit_depth":10}])",
         "camera 1: key 'packing': packing \"12\" needs bit_depth 12, got 10"},
        {R"([{"sensor_width":30}])", "camera 1: key 'sensor_width': expected a multiple of 4, got 30"},
        {R"([{"sensor_height":1}])",
         "camera 1: key 'sensor_height': expected an integer 2..8192, got a number 1"},
        {R"([{"features":"gain"}])",
         "camera 1: key 'features': expected an array of words, got a string \"gain\""},
        {R"([{"features":["gain","a b"]}])",
         "camera 1: key 'features[1]': expected a word without blanks, got \"a b\""},
        {R"([{"faults":{"drop_frame":{}}}])", "camera 1: key 'faults.drop_frame': unknown fault kind"},
        {R"([{"faults":{"drop_packet":{"rate":2}}}])",
         "camera 1: key 'faults.drop_packet.rate': expected a number 0..1, got a number 2"},
        {R"([{"faults":{"reply_timeout":{"packet":2}}}])",
         "camera 1: key 'faults.reply_timeout.packet': unknown key for this fault kind"},
        {R"([{"faults":{"drop_packet":{"frames":[-1]}}}])",
         "camera 1: key 'faults.drop_packet.frames[0]': expected an integer "
         "0..18446744073709551615, got a number -1"},
        {R"([{"gain_max":1,"column_gains":[{"constant":1.0}]}])",
         "camera 1: key 'column_gains': expected an array of one table per gain setting "
         "0..gain_max (2 tables)"},
        {R"([{"sensor_width":16,"gain_max":0,"column_gains":[[1,2]]}])",
         "camera 1: key 'column_gains[0]': expected 16 factors (one per sensor column), got 2"},
        {R"([{"gain_max":0,"column_gains":[{"constant":"x"}]}])",
         "camera 1: key 'column_gains[0].constant': expected a number -1000000..1000000, "
         "got a string \"x\""},
        {R"([{"gain_table":[0,10],"gain_max":1}])",
         "camera 1: key 'gain_max': not allowed together with 'gain_table' (the table sets the range)"},
        {R"([{"gain_table":[5]}])",
         "camera 1: key 'gain_table': expected an array of at least 2 integers (tenths of a decibel)"},
        {R"([{"gain_min":5,"gain_max":4}])",
         "camera 1: key 'gain_min': expected a value not above gain_max 4"},
        {R"([{"replies":{"exp":5}}])", "camera 1: key 'replies.exp': expected a string, got a number 5"},
        {R"([{"flat_value":5000}])", "camera 1: key 'flat_value': expected a value that fits bit_depth 12"},
        {R"([{"usb_speed":"USB 4"}])",
         "camera 1: key 'usb_speed': expected one of \"USB 1.0\" \"USB 2.0\" \"USB 3.0\", "
         "got a string \"USB 4\""},
        {R"([{"pattern":"spiral"}])",
         "camera 1: key 'pattern': expected one of \"gradient\" \"checker\" ..."},
        {R"([{"family":"other"}])",
         "camera 1: key 'family': expected one of \"qv\" \"ralto\", got a string \"other\""},
        {R"([{"model":""}])", "camera 1: key 'model': expected a text of 1..63 characters"},
        {R"([5])", "camera 1: expected a camera object"},
        {R"({"camera":[]})", "configuration: unknown key 'camera' (expected only 'cameras')"},
        {R"({})", "configuration: key 'cameras' is missing"},
        {R"([{"seed":1}, )", "configuration: JSON syntax error: ..."},
        {"65", "configuration: expected at most 64 default cameras, got 65"},
        {"/nonexistent/cameras.json", "configuration file '/nonexistent/cameras.json' cannot be read"},
        {R"([{"command_log":"/nonexistent/dir/log.txt"}])",
         "camera QV10000001: the command log '/nonexistent/dir/log.txt' cannot be opened"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.configuration);
        ASSERT_EQ(qx_emu_reset("2"), QX_EMU_OK);
        EXPECT_EQ(qx_emu_reset(row.configuration.c_str()), QX_EMU_INVALID);
        const std::string error = qx_emu_get_last_error();
        const bool prefix = row.error.ends_with("...");
        EXPECT_EQ(prefix ? error.substr(0, row.error.size() - 3) : error,
                  prefix ? row.error.substr(0, row.error.size() - 3) : row.error);
        EXPECT_EQ(qx_emu_get_camera_count(nullptr), 2);
    }
}

TEST(camera_config_class, reads_a_file_and_inline_json) {
    const std::string file = ::testing::TempDir() + "emulator_cameras.json";
    {
        std::ofstream out(file);
        out << R"({"cameras":[{"serial":"F1"},{"family":"ralto","serial":"F2"}]})";
    }
    ASSERT_EQ(qx_emu_reset(file.c_str()), QX_EMU_OK) << qx_emu_get_last_error();
    EXPECT_EQ(qx_emu_get_camera_count("qv"), 1);
    EXPECT_EQ(qx_emu_get_camera_count("ralto"), 1);
    std::remove(file.c_str());
    ASSERT_EQ(qx_emu_reset(" [ {} ] "), QX_EMU_OK);
    EXPECT_EQ(qx_emu_get_camera_count(nullptr), 1);
    ASSERT_EQ(qx_emu_reset(""), QX_EMU_OK);
    EXPECT_EQ(qx_emu_get_camera_count(nullptr), 0);
}

// A default camera's frame time and scalar settings are read end to end by
// the integration tests, its serial numbers by the registry's test and its
// whole default frame by the packet stream's test.
TEST(camera_config_class, defaults_resemble_a_2448_by_2048_monochrome_camera) {
    const emulated_camera camera("{}");
    EXPECT_EQ(camera.command("roi.max"), "2432 2046 2447 2047");
    EXPECT_EQ(camera.command("discover"),
              "color eep gain blklvl readout_frequency statusled NIR_boost sfr pixel_clock_count_base "
              "hot_pixel_correction");
    unsigned int vendor = 0;
    unsigned int product = 0;
    ASSERT_EQ(qx_emu_device_get_ids(camera.device, &vendor, &product), QX_EMU_OK);
    EXPECT_EQ(vendor, 0x2A7Cu);
    EXPECT_EQ(product, 0x6101u);
}

TEST(camera_config_class, usb_speed_sets_the_speed_code) {
    for (const auto& [speed, code] :
         std::vector<std::pair<std::string, int>>{{"", QX_EMU_SPEED_SUPER},
                                                  {"USB 1.0", QX_EMU_SPEED_FULL},
                                                  {"USB 2.0", QX_EMU_SPEED_HIGH},
                                                  {"USB 3.0", QX_EMU_SPEED_SUPER}}) {
        // No key: the default.
        const emulated_camera camera(speed.empty() ? "{}" : R"({"usb_speed":")" + speed + "\"}");
        EXPECT_EQ(qx_emu_device_get_speed(camera.device), code) << speed;
        EXPECT_EQ(camera.command("usb_speed"), speed.empty() ? "USB 3.0" : speed);
    }
}

}  // namespace
}  // namespace qx::emulator::testing
