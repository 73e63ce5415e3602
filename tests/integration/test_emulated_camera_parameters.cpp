// Every scalar parameter read end to end: kit, built-in module, text channel,
// emulated USB transport and a default emulated camera (2448 x 2048, 12 bits,
// monochrome, 3.45 um pixels).

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <tuple>

#include "support/sdk_camera_fixture.h"

namespace {

class emulated_camera_parameters : public qx::test::sdk_camera_fixture {
  protected:
    void SetUp() override {
        open_camera_with(R"({"serial":"SN-PARAMS","firmware":"1.4.0","model":"QV-2448M"})");
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

// Every getter against the documented defaults of an emulated camera.
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
        {"cooling supported", values_of(qx_camera_get_is_cooling_supported), "0"},
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

TEST_F(emulated_camera_parameters, texts_match_the_emulated_camera) {
    char text[64] = {};
    ASSERT_EQ(qx_camera_get_serial_number(camera, text, sizeof text), 0);
    EXPECT_STREQ(text, "SN-PARAMS");
    ASSERT_EQ(qx_camera_get_firmware_version(camera, text, sizeof text), 0);
    EXPECT_STREQ(text, "1.4.0");
    ASSERT_EQ(qx_camera_get_model(camera, text, sizeof text), 0);
    EXPECT_STREQ(text, "QV-2448M");
}

TEST_F(emulated_camera_parameters, settings_round_trip_through_the_camera) {
    ASSERT_EQ(qx_camera_set_roi(camera, 100, 50, 1123, 561), 0) << qx_camera_get_last_error();
    int corners[4] = {};
    ASSERT_EQ(qx_camera_get_roi(camera, &corners[0], &corners[1], &corners[2], &corners[3]), 0);
    EXPECT_EQ(corners[0], 100);
    EXPECT_EQ(corners[3], 561);
    int width = 0;
    ASSERT_EQ(qx_camera_get_image_width(camera, &width), 0);
    EXPECT_EQ(width, 1024);
    // The camera itself refuses a region that breaks its geometry rules.
    EXPECT_EQ(qx_camera_set_roi(camera, 101, 50, 1123, 561), 1004);
    EXPECT_NE(
        std::string(qx_camera_get_last_error()).find("Width must start even, end odd and be multiple of 4"),
        std::string::npos)
        << qx_camera_get_last_error();

    ASSERT_EQ(qx_camera_set_gain(camera, 60), 0) << qx_camera_get_last_error();
    int gain = 0;
    ASSERT_EQ(qx_camera_get_gain(camera, &gain), 0);
    EXPECT_EQ(gain, 60);
    double decibels = 0;
    ASSERT_EQ(qx_camera_convert_gain_to_decibels(camera, 60, &decibels), 0);
    EXPECT_DOUBLE_EQ(decibels, 6.0);

    const unsigned char stored[] = {1, 2, 0, 3, 250};
    ASSERT_EQ(qx_camera_set_user_memory(camera, const_cast<unsigned char*>(stored), sizeof stored, 40), 0)
        << qx_camera_get_last_error();
    unsigned char read_back[sizeof stored] = {};
    ASSERT_EQ(qx_camera_get_user_memory(camera, read_back, sizeof read_back, 40), 0)
        << qx_camera_get_last_error();
    EXPECT_EQ(std::memcmp(read_back, stored, sizeof stored), 0);
}

}  // namespace
