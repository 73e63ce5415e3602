// The scalar parameter catalogue through the exported functions: how each
// kind of getter reads the reply (every getter's own word and value are
// read end to end from an emulated camera), what each setter sends, the
// ranges, the text parameters, the feature flags and the refusals; the
// region of interest, sensor size and binning.

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "camera/parameter_fixture.h"

namespace {

using namespace qx::test;

using scalar_parameters = parameter_fixture;

// A text getter given a buffer of `size` bytes (of 64 available); the value
// is the text up to its terminator.
parameter_call reading_text(int (*getter)(void*, char*, int), int size) {
    return [getter, size](void* camera) {
        std::vector<char> buffer(64, '#');
        const int status = getter(camera, buffer.data(), size);
        const std::string text(buffer.data(), strnlen(buffer.data(), buffer.size()));
        return call_outcome{status, text == std::string(64, '#') ? "untouched" : text};
    };
}

TEST_F(scalar_parameters, getters_read_typical_boundary_and_malformed_replies) {
    const auto exposure = reading(qx_camera_get_exposure_time);
    const auto frames = reading(qx_camera_get_frames_per_trigger_zero_for_unlimited);
    const auto usb = reading(qx_camera_get_usb_port_type);
    run_reply_cases("",
                    {
                        {exposure, "exp", "9223372036854775807us", yields("9223372036854775807")},
                        {exposure, "exp", "9223372036854775808", fails_with("stoll argument out of range")},
                        {reading(qx_camera_get_frame_time), "frametime", "2147483648",
                         fails_with("stoi argument out of range")},
                        {reading(qx_camera_get_bit_depth), "pixel_bit_depth", " 12 bits", yields("12")},
                        {reading(qx_camera_get_bit_depth), "pixel_bit_depth", "twelve",
                         fails_with("invalid stoi argument")},
                        {frames, "nframes", "4294967295", yields("-1")},
                        {frames, "nframes", "4294967296", fails_with("stoul argument out of range")},
                        {reading(qx_camera_get_sensor_pixel_width), "pixel_width_nm", "n/a",
                         fails_with("invalid stod argument")},
                        {usb, "usb_speed", "USB 1.0", yields("0")},
                        {usb, "usb_speed", "USB 2.0", yields("1")},
                        {usb, "usb_speed", "USB 3.1", fails_with("Unexpected USB speed.")},
                        {usb, "usb_speed", "USB 3.0 ", fails_with("Unexpected USB speed.")},
                    });
}

TEST_F(scalar_parameters, switches_read_their_own_words) {
    const auto hot_pixels = reading(qx_camera_get_is_hot_pixel_correction_enabled);
    const auto led = reading(qx_camera_get_is_led_on);
    const auto cooling = reading(qx_camera_get_is_cooling_enabled);
    const auto frame_rate_control = reading(qx_camera_get_is_frame_rate_control_enabled);
    run_reply_cases("statustec sfr", {
                                         {hot_pixels, "hot_pixel_correction", "off", yields("0")},
                                         {hot_pixels, "hot_pixel_correction", "off ", yields("1")},
                                         {led, "statusled", "off", yields("0")},
                                         {led, "statusled", "OFF", yields("1")},
                                         {cooling, "statustec", "on", yields("1")},
                                         {cooling, "statustec", "on ", yields("0")},
                                         {cooling, "statustec", "off", yields("0")},
                                         {frame_rate_control, "sfr", "on 30000", yields("1")},
                                         {frame_rate_control, "sfr", "off on", yields("0")},
                                         {frame_rate_control, "sfr", "ON 30000", yields("0")},
                                     });
}

TEST_F(scalar_parameters, setters_send_word_and_argument) {
    run_send_cases("blklvl sfr",
                   {
                       {writing(qx_camera_set_exposure_time, 5000000000LL), "exp 5000000000", yields("")},
                       {writing(qx_camera_set_exposure_time, -1LL), "", fails_with("exposure")},
                       {writing(qx_camera_set_black_level, -3), "blklvl -3", yields("")},
                       {writing(qx_camera_set_frames_per_trigger_zero_for_unlimited, -1),
                        "nframes 4294967295", yields("")},
                       {writing(qx_camera_set_hot_pixel_correction_threshold, -1), "",
                        fails_with("hot_pixel_correction_threshold")},
                       {writing(qx_camera_set_is_hot_pixel_correction_enabled, 7), "hot_pixel_correction on",
                        yields("")},
                   });
}

TEST_F(scalar_parameters, missing_features_fail_before_anything_is_sent) {
    const auto no_black_level = fails_with("Black level is not supported.");
    const auto no_sfr = fails_with("Camera does not support frame-rate control.");
    run_send_cases("", {
                           {reading(qx_camera_get_black_level), "", no_black_level},
                           {writing(qx_camera_set_black_level, 1), "", no_black_level},
                           {reading(qx_camera_get_is_cooling_enabled), "",
                            fails_with("Powered cooling is not supported.")},
                           {reading(qx_camera_get_is_frame_rate_control_enabled), "", no_sfr},
                           {writing(qx_camera_set_is_frame_rate_control_enabled, 1), "", no_sfr},
                           {reading(qx_camera_get_frame_rate_control_value), "", no_sfr},
                           {writing(qx_camera_set_frame_rate_control_value, 0.0), "", no_sfr},
                           {reading(qx_camera_get_frame_rate_control_value_range), "", no_sfr},
                       });
    // Features are whole words of the "discover" reply.
    run_send_cases("blklvl.min sfr2 statustec_x", {{reading(qx_camera_get_black_level), "", no_black_level}});
    run_reply_cases("blklvl", {{reading(qx_camera_get_black_level), "blklvl", "100", yields("100")}});
}

TEST_F(scalar_parameters, feature_queries_answer_from_the_discover_reply) {
    const struct {
        int (*query)(void*, int*);
        std::string feature;
    } queries[] = {
        {qx_camera_get_is_cooling_supported, "statustec"},
        {qx_camera_get_is_eep_supported, "eep"},
        {qx_camera_get_is_led_supported, "statusled"},
        {qx_camera_get_is_taps_supported, "taps"},
    };
    for (const auto& query : queries) {
        run_send_cases("color " + query.feature + " gain", {{reading(query.query), "", yields("1")}});
        run_send_cases("color gain exp", {{reading(query.query), "", yields("0")}});
    }
}

TEST_F(scalar_parameters, ranges_ask_min_then_max) {
    const struct {
        parameter_call call;
        std::string word;
        std::string minimum;
        std::string maximum;
        expected_outcome expected;
    } ranges[] = {
        {reading(qx_camera_get_exposure_time_range), "exp", "10", "10000000000", yields("10 10000000000")},
        {reading(qx_camera_get_frames_per_trigger_range), "nframes", "0", "-1", yields("0 -1")},
        {reading(qx_camera_get_frames_per_trigger_range), "nframes", "0", "4294967296",
         fails_with("stoul argument out of range")},
        {reading(qx_camera_get_frame_rate_control_value_range), "sfr", "1000", "120500", yields("1 120.5")},
        {reading(qx_camera_get_binx_range), "hbin", "1", "4", yields("1 4")},
        {reading(qx_camera_get_biny_range), "vbin", "1", "8", yields("1 8")},
        {reading(qx_camera_get_gain_range), "gain", "0", "480", yields("0 480")},
    };
    for (const auto& range : ranges) {
        run_case({range.word + " range",
                  "sfr gain",
                  {{range.word + ".min", range.minimum}, {range.word + ".max", range.maximum}},
                  range.call,
                  {"get " + range.word + ".min", "get " + range.word + ".max"},
                  range.expected});
    }
    run_case({"an unknown minimum stops there",
              "",
              {{"exp.min", "Invalid command"}},
              reading(qx_camera_get_exposure_time_range),
              {"get exp.min"},
              fails_with(not_supported)});
}

TEST_F(scalar_parameters, text_parameters_use_the_string_read) {
    run_reply_cases(
        "",
        {
            {reading_text(qx_camera_get_firmware_version, 64), "ver", "1.2.3 build 7",
             yields("1.2.3 build 7")},
            {reading_text(qx_camera_get_model, 64), "model", "QV-2448M", yields("QV-2448M")},
            {reading_text(qx_camera_get_serial_number, 64), "sernum", "SN1", yields("SN1")},
            {reading_text(qx_camera_get_name, 64), "name", "left eye", yields("left eye")},
            {reading_text(qx_camera_get_name, 64), "name", "",
             fails_with(context_of("name") +
                        "Response required, but not received, possibly due to USB stall. Please try again.")},
        });
    run_send_cases("", {
                           {reading_text(qx_camera_get_model, 0), "", fails_with("str_length")},
                           {reading_text(qx_camera_get_serial_number, -4), "", fails_with("str_length")},
                       });
}

TEST_F(scalar_parameters, nir_boost_asks_the_camera_whether_it_has_it) {
    const auto supported = reading(qx_camera_get_is_nir_boost_supported);
    run_reply_cases("", {
                            {supported, "NIR_boost.max", "0", yields("0")},
                            {supported, "NIR_boost.max", "1", yields("1")},
                            {supported, "NIR_boost.max", "00", yields("1")},
                            {supported, "NIR_boost.max", "-1", yields("-1")},
                            {supported, "NIR_boost.max", "Invalid command", fails_with(not_supported)},
                            {reading(qx_camera_get_nir_boost_enable), "NIR_boost.max", "0",
                             fails_with("Camera does not support NIR boost mode.")},
                            {writing(qx_camera_set_nir_boost_enable, 1), "NIR_boost.max", "0",
                             fails_with("Camera does not support NIR boost mode.")},
                        });
    // The support question comes first, then the word; any non-zero switches on.
    run_case({"switch on",
              "",
              {{"NIR_boost.max", "1"}},
              writing(qx_camera_set_nir_boost_enable, 5),
              {"get NIR_boost.max", "set NIR_boost 1"},
              yields("")});
}

TEST_F(scalar_parameters, frame_rate_value_travels_in_thousandths) {
    const auto value = reading(qx_camera_get_frame_rate_control_value);
    const auto set = [](double frames_per_second) {
        return writing(qx_camera_set_frame_rate_control_value, frames_per_second);
    };
    const auto out_of_range = fails_with("Frame rate parameter is out of range.");
    run_reply_cases("sfr", {
                               {value, "sfr", "on 30500", yields("30.5")},
                               {value, "sfr", "off 12abc", yields("0.012")},
                               {value, "sfr", "on abc", yields("0")},
                               {value, "sfr", "on", fails_with("Frame rate control value not recognized.")},
                           });
    run_send_cases("sfr", {
                              {set(30.5), "sfr 30500", yields("")},
                              {set(0.0019), "sfr 1", yields("")},
                              {set(2147483.0), "sfr 2147483000", yields("")},
                              // Passes the check but overflows the thousandths.
                              {set(2147484.0), "sfr -2147483648", yields("")},
                              {set(2147483648.0), "", out_of_range},
                              {set(0.0), "", out_of_range},
                              {set(std::numeric_limits<double>::quiet_NaN()), "", out_of_range},
                          });
}

parameter_call setting_roi(int upper_left_x, int upper_left_y, int lower_right_x, int lower_right_y) {
    return status_of([=](void* camera) {
        return qx_camera_set_roi(camera, upper_left_x, upper_left_y, lower_right_x, lower_right_y);
    });
}

const std::string fewer_than_four = "ROI reply holds fewer than four integers.";

TEST_F(scalar_parameters, roi_get_set_and_range) {
    run_reply_cases(
        "", {
                {reading(qx_camera_get_roi), "roi", "8 4 1927 1083 extra 99", yields("8 4 1927 1083")},
                {reading(qx_camera_get_roi), "roi", "0 0 1919", fails_with(fewer_than_four)},
                {reading(qx_camera_get_roi), "roi", "0 0 x 1079", fails_with(fewer_than_four)},
            });
    run_send_cases("", {
                           // Order, evenness and limits are the camera's to refuse.
                           {setting_roi(100, 100, 0, 0), "roi 100 100 0 0", yields("")},
                           {setting_roi(-1, 0, 10, 10), "", fails_with("upper_left_x")},
                           {setting_roi(0, -1, 10, 10), "", fails_with("upper_left_y")},
                           {setting_roi(0, 0, -10, 10), "", fails_with("lower_right_x")},
                           {setting_roi(0, 0, 10, -10), "", fails_with("lower_right_y")},
                           {setting_roi(0, -1, -1, -1), "", fails_with("upper_left_y")},
                       });
    run_case({"range",
              "",
              {{"roi.min", "0 0 63 1"}, {"roi.max", "0 0 2447 2047"}},
              reading(qx_camera_get_roi_range),
              {"get roi.min", "get roi.max"},
              yields("0 0 63 1 0 0 2447 2047")});
    run_case({"range with a short maximum",
              "",
              {{"roi.min", "0 0 63 1"}, {"roi.max", "0 0"}},
              reading(qx_camera_get_roi_range),
              {"get roi.min", "get roi.max"},
              fails_with(fewer_than_four)});
}

// The sensor's size comes from the largest region.
TEST_F(scalar_parameters, sensor_size_and_binning_refusals) {
    run_reply_cases("",
                    {
                        {reading(qx_camera_get_sensor_width), "roi.max", "2447", fails_with(fewer_than_four)},
                        {reading(qx_camera_get_sensor_width), "roi.max", "0 0 2147483647 10",
                         fails_with("Sensor size is out of range.")},
                        {reading(qx_camera_get_binx), "hbin", "x2", fails_with("invalid stoi argument")},
                    });
    run_send_cases("", {
                           {writing(qx_camera_set_binx, 0), "", fails_with("binx")},
                           {writing(qx_camera_set_biny, 0), "", fails_with("biny")},
                       });
}

}  // namespace
