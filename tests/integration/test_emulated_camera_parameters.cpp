// Every scalar parameter read end to end: kit, built-in module, text channel,
// emulated USB transport and a default emulated camera (2448 x 2048, 12 bits,
// monochrome, 3.45 um pixels).

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "support/sdk_camera_fixture.h"

namespace {

class emulated_camera_parameters : public qx::test::sdk_camera_fixture {
  protected:
    void SetUp() override {
        open_camera_with(R"({"serial":"SN-PARAMS","firmware":"1.4.0","model":"QV-2448M"})");
    }
};

TEST_F(emulated_camera_parameters, every_scalar_getter_reads_the_camera) {
    long long exposure = -1, exposure_min = -1, exposure_max = -1;
    int value = -1, low = -1, high = -1;
    double real = -1, real_low = -1, real_high = -1;
    const struct {
        const char* name;
        std::function<int()> call;
    } getters[] = {
        {"exposure", [&] { return qx_camera_get_exposure_time(camera, &exposure); }},
        {"exposure range",
         [&] { return qx_camera_get_exposure_time_range(camera, &exposure_min, &exposure_max); }},
        {"frame time", [&] { return qx_camera_get_frame_time(camera, &value); }},
        {"black level", [&] { return qx_camera_get_black_level(camera, &value); }},
        {"black level range", [&] { return qx_camera_get_black_level_range(camera, &low, &high); }},
        {"frames per trigger",
         [&] { return qx_camera_get_frames_per_trigger_zero_for_unlimited(camera, &value); }},
        {"frames per trigger range",
         [&] { return qx_camera_get_frames_per_trigger_range(camera, &low, &high); }},
        {"hot pixel threshold", [&] { return qx_camera_get_hot_pixel_correction_threshold(camera, &value); }},
        {"hot pixel threshold range",
         [&] { return qx_camera_get_hot_pixel_correction_threshold_range(camera, &low, &high); }},
        {"hot pixel enabled", [&] { return qx_camera_get_is_hot_pixel_correction_enabled(camera, &value); }},
        {"image width range", [&] { return qx_camera_get_image_width_range(camera, &low, &high); }},
        {"image height range", [&] { return qx_camera_get_image_height_range(camera, &low, &high); }},
        {"pixel size", [&] { return qx_camera_get_sensor_pixel_size_bytes(camera, &value); }},
        {"readout time", [&] { return qx_camera_get_sensor_readout_time(camera, &value); }},
        {"timestamp clock", [&] { return qx_camera_get_timestamp_clock_frequency(camera, &value); }},
        {"frame rate control", [&] { return qx_camera_get_is_frame_rate_control_enabled(camera, &value); }},
        {"frame rate value", [&] { return qx_camera_get_frame_rate_control_value(camera, &real); }},
        {"frame rate range",
         [&] { return qx_camera_get_frame_rate_control_value_range(camera, &real_low, &real_high); }},
        {"led supported", [&] { return qx_camera_get_is_led_supported(camera, &value); }},
        {"led on", [&] { return qx_camera_get_is_led_on(camera, &value); }},
        {"cooling supported", [&] { return qx_camera_get_is_cooling_supported(camera, &value); }},
        {"nir boost supported", [&] { return qx_camera_get_is_nir_boost_supported(camera, &value); }},
        {"nir boost", [&] { return qx_camera_get_nir_boost_enable(camera, &value); }},
        {"communication interface", [&] { return qx_camera_get_communication_interface(camera, &value); }},
        {"model length range", [&] { return qx_camera_get_model_string_length_range(camera, &low, &high); }},
        {"name length range", [&] { return qx_camera_get_name_string_length_range(camera, &low, &high); }},
        {"serial length range",
         [&] { return qx_camera_get_serial_number_string_length_range(camera, &low, &high); }},
    };
    for (const auto& getter : getters)
        EXPECT_EQ(getter.call(), 0) << getter.name << ": " << qx_camera_get_last_error();
}

TEST_F(emulated_camera_parameters, values_match_the_emulated_camera) {
    int value = 0;
    ASSERT_EQ(qx_camera_get_bit_depth(camera, &value), 0) << qx_camera_get_last_error();
    EXPECT_EQ(value, 12);
    ASSERT_EQ(qx_camera_get_sensor_width(camera, &value), 0) << qx_camera_get_last_error();
    EXPECT_EQ(value, 2448);
    ASSERT_EQ(qx_camera_get_sensor_height(camera, &value), 0);
    EXPECT_EQ(value, 2048);
    ASSERT_EQ(qx_camera_get_image_width(camera, &value), 0);
    EXPECT_EQ(value, 2448);
    ASSERT_EQ(qx_camera_get_frame_time(camera, &value), 0);
    EXPECT_EQ(value, 28000);
    ASSERT_EQ(qx_camera_get_usb_port_type(camera, &value), 0) << qx_camera_get_last_error();
    EXPECT_EQ(value, 2);
    double pitch = 0;
    ASSERT_EQ(qx_camera_get_sensor_pixel_width(camera, &pitch), 0);
    EXPECT_DOUBLE_EQ(pitch, 3.45);
    char text[64] = {};
    ASSERT_EQ(qx_camera_get_serial_number(camera, text, sizeof text), 0);
    EXPECT_STREQ(text, "SN-PARAMS");
    ASSERT_EQ(qx_camera_get_firmware_version(camera, text, sizeof text), 0);
    EXPECT_STREQ(text, "1.4.0");
    ASSERT_EQ(qx_camera_get_model(camera, text, sizeof text), 0);
    EXPECT_STREQ(text, "QV-2448M");
}

TEST_F(emulated_camera_parameters, settings_round_trip_through_the_camera) {
    ASSERT_EQ(qx_camera_set_exposure_time(camera, 12345), 0) << qx_camera_get_last_error();
    long long exposure = 0;
    ASSERT_EQ(qx_camera_get_exposure_time(camera, &exposure), 0);
    EXPECT_EQ(exposure, 12345);

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
