// Operation mode and trigger polarity through "hwtrig", the I/O setup, EEP,
// taps, tap balance and the data rate; sensor type, colour filter array
// phase, the two matrices, the output colour space and the polarizer phase.

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "camera/parameter_fixture.h"

namespace {

using namespace qx::test;

using modes_and_colour = parameter_fixture;

TEST_F(modes_and_colour, operation_mode_and_polarity_share_hwtrig) {
    const auto mode = reading(qx_camera_get_operation_mode);
    const auto polarity = reading(qx_camera_get_trigger_polarity);
    run_reply_cases("",
                    {
                        {mode, "hwtrig", "none", yields("0")},
                        {mode, "hwtrig", "std hi", yields("1")},
                        {mode, "hwtrig", "bulb lo", yields("2")},
                        {mode, "hwtrig", "edge hi", fails_with("Operation mode not recognized.")},
                        {polarity, "hwtrig", "std lo", yields("1")},
                        {polarity, "hwtrig", "std hi", yields("0")},
                        {polarity, "hwtrig", "std LO", yields("0")},
                        {polarity, "hwtrig", "none", fails_with("hwtrig")},
                        {polarity, "hwtrig", "std lo x", fails_with("hwtrig")},
                        {writing(qx_camera_set_operation_mode, 1), "hwtrig", "none", fails_with("hwtrig")},
                        {writing(qx_camera_set_trigger_polarity, 1), "hwtrig", "none", fails_with("hwtrig")},
                    });
    run_send_cases("",
                   {
                       {writing(qx_camera_set_operation_mode, 0), "hwtrig none", yields("")},
                       {writing(qx_camera_set_operation_mode, 3), "", fails_with("Unknown operation mode.")},
                       {writing(qx_camera_set_operation_mode, -1), "", fails_with("Unknown operation mode.")},
                       {writing(qx_camera_set_trigger_polarity, 2), "", fails_with("trigger_polarity")},
                   });
    // Setting one word keeps the other.
    const struct {
        parameter_call call;
        std::string current;
        std::string sent;
    } keeping[] = {
        {writing(qx_camera_set_operation_mode, 1), "none hi", "hwtrig std hi"},
        {writing(qx_camera_set_operation_mode, 2), "std lo", "hwtrig bulb lo"},
        {writing(qx_camera_set_trigger_polarity, 1), "std hi", "hwtrig std lo"},
        {writing(qx_camera_set_trigger_polarity, 0), "bulb lo", "hwtrig bulb hi"},
    };
    for (const auto& entry : keeping) {
        run_case({entry.sent,
                  "",
                  {{"hwtrig", entry.current}},
                  entry.call,
                  {"get hwtrig", "set " + entry.sent},
                  yields("")});
    }
}

TEST_F(modes_and_colour, operation_mode_support_from_the_io_setup) {
    const auto mode = [](int value) { return reading_for(qx_camera_get_is_operation_mode_supported, value); };
    run_send_cases("", {{mode(0), "", yields("1")}, {mode(3), "", yields("0")}, {mode(-1), "", yields("0")}});
    run_reply_cases("", {
                            {mode(1), "iosetup", "ts", yields("1")},
                            {mode(2), "iosetup", "!t!s", yields("0")},
                            {mode(1), "iosetup", "Invalid command", yields("1")},
                            {mode(1), "iosetup", "t", fails_with("I/O setup reply not recognized.")},
                        });
}

TEST_F(modes_and_colour, eep) {
    const auto status = reading(qx_camera_get_eep_status);
    run_reply_cases("eep", {
                               {status, "eep", "off", yields("0")},
                               {status, "eep", "on active", yields("1")},
                               {status, "eep", "on inactive", yields("2")},
                               {status, "eep", "on bulb", yields("3")},
                               {status, "eep", "on", fails_with("EEP status not recognized.")},
                           });
    // The setter's text lacks the getter's "is".
    run_send_cases("",
                   {
                       {status, "", fails_with("EEP mode is not supported.")},
                       {writing(qx_camera_set_is_eep_enabled, 1), "", fails_with("EEP mode not supported.")},
                   });
}

TEST_F(modes_and_colour, taps_and_tap_balance) {
    const auto taps = reading(qx_camera_get_taps);
    const auto balance = reading(qx_camera_get_tap_balance_enable);
    run_reply_cases(
        "taps", {
                    {taps, "taps", "0", yields("0")},
                    {taps, "taps", "2", yields("2")},
                    {taps, "taps", "3", fails_with("Taps value not recognized.")},
                    {taps, "taps", "1 ", fails_with("Taps value not recognized.")},
                    {balance, "tap_balance_enable", "on", yields("1")},
                    {balance, "tap_balance_enable", "off", yields("0")},
                    {balance, "tap_balance_enable", "yes", fails_with("Tap balance value not recognized.")},
                });
    run_send_cases("taps",
                   {
                       {writing(qx_camera_set_taps, 2), "taps 2", yields("")},
                       {writing(qx_camera_set_taps, 3), "", fails_with("taps")},
                       {writing(qx_camera_set_tap_balance_enable, 0), "tap_balance_enable off", yields("")},
                   });
    const auto no_taps = fails_with("Camera does not support taps.");
    run_send_cases("", {
                           {writing(qx_camera_set_taps, 3), "", fails_with("taps")},
                           {taps, "", no_taps},
                           {writing(qx_camera_set_taps, 1), "", no_taps},
                           {balance, "", no_taps},
                           {writing(qx_camera_set_tap_balance_enable, 1), "", no_taps},
                       });
}

TEST_F(modes_and_colour, data_rate) {
    const auto rate = reading(qx_camera_get_data_rate);
    const auto set = [](int data_rate) { return writing(qx_camera_set_data_rate, data_rate); };
    const auto supported = [](int data_rate) {
        return reading_for(qx_camera_get_is_data_rate_supported, data_rate);
    };
    run_reply_cases("fps readout_frequency", {
                                                 {rate, "fps", "30", yields("2")},
                                                 {rate, "fps", "50", yields("3")},
                                                 {rate, "fps", "25", fails_with("Unexpected data rate.")},
                                                 {rate, "fps", "fast", fails_with("invalid stoi argument")},
                                             });
    run_reply_cases("readout_frequency",
                    {
                        {rate, "readout_frequency", "0", yields("0")},
                        {rate, "readout_frequency", "1", yields("1")},
                        {rate, "readout_frequency", "2", fails_with("Unexpected readout frequency.")},
                    });
    run_send_cases("", {{rate, "", fails_with("Neither fps nor readout frequency is supported.")}});
    run_send_cases("readout_frequency", {
                                            {set(0), "readout_frequency 0", yields("")},
                                            {set(2), "", fails_with("FPS is not supported.")},
                                            {set(4), "", fails_with("Unexpected data rate.")},
                                            {supported(0), "", yields("1")},
                                            {supported(1), "", yields("1")},
                                            {supported(2), "", yields("0")},
                                            {supported(4), "", yields("0")},
                                            {supported(-1), "", yields("0")},
                                        });
    run_send_cases("fps", {
                              {set(2), "fps 30", yields("")},
                              {set(3), "fps 50", yields("")},
                              {set(0), "", fails_with("Readout frequency is not supported.")},
                              {supported(3), "", yields("1")},
                              {supported(0), "", yields("0")},
                          });
}

// A matrix getter given room for twelve floats; the value lists all twelve,
// so that entries past the ninth show whether they were touched.
parameter_call reading_matrix(int (*getter)(void*, float*)) {
    return [getter](void* camera) {
        std::array<float, 12> matrix;
        matrix.fill(static_cast<float>(untouched_marker));
        const int status = getter(camera, matrix.data());
        return call_outcome{status, values_text(matrix)};
    };
}

// The output colour space given a 100-byte buffer: the text up to its
// terminator, and whether the byte after the documented 64 was touched.
parameter_call reading_colour_space() {
    return [](void* camera) {
        std::array<char, 100> text;
        text.fill('#');
        const int status =
            qx_camera_get_camera_color_correction_matrix_output_color_space(camera, text.data());
        if (text[0] == '#')
            return call_outcome{status, "untouched"};
        return call_outcome{status, std::string(text.data()) + (text[64] == '#' ? "" : " (overrun)")};
    };
}

std::string repeated(const std::string& word, int count) {
    std::string text;
    for (int index = 0; index < count; ++index) text += (index == 0 ? "" : " ") + word;
    return text;
}

TEST_F(modes_and_colour, sensor_type) {
    const auto type = reading(qx_camera_get_camera_sensor_type);
    run_send_cases("gain", {{type, "", yields("0")}});
    run_reply_cases("color", {
                                 {type, "color", "mono", yields("0")},
                                 {type, "color", "none", yields("0")},
                                 {type, "color", "none nir", yields("0")},
                                 {type, "color", "none polar", yields("2")},
                                 {type, "color", "bayer", yields("1")},
                                 {type, "color", "None", yields("1")},
                                 {type, "color", "Invalid command", fails_with(not_supported)},
                             });
}

TEST_F(modes_and_colour, filter_array_and_polar_phases) {
    const auto filter = reading(qx_camera_get_color_filter_array_phase);
    const auto polar = reading(qx_camera_get_polar_phase);
    run_reply_cases("polar_phase",
                    {
                        {filter, "color_filter_phase", "red", yields("0")},
                        {filter, "color_filter_phase", "blue", yields("1")},
                        {filter, "color_filter_phase", "green_left_of_red", yields("2")},
                        {filter, "color_filter_phase", "green_left_of_blue", yields("3")},
                        {filter, "color_filter_phase", "green", fails_with("Unexpected color filter phase.")},
                        {polar, "polar_phase", "0", yields("0")},
                        {polar, "polar_phase", "45", yields("1")},
                        {polar, "polar_phase", "90", yields("2")},
                        {polar, "polar_phase", "135", yields("3")},
                        {polar, "polar_phase", "180", fails_with("Polar phase not recognized.")},
                    });
    run_send_cases("color", {{polar, "", fails_with("Polar phase is not supported.")}});
}

TEST_F(modes_and_colour, matrices_fill_at_most_nine_floats_in_order) {
    const auto correction = reading_matrix(qx_camera_get_color_correction_matrix);
    const auto white_balance = reading_matrix(qx_camera_get_default_white_balance_matrix);
    const std::string past_nine = repeated("untouched", 3);
    run_reply_cases(
        "", {
                {correction, "color_correction_matrix", "1.5 -0.25 0 0 1 0 0.125 0 2",
                 yields("1.5 -0.25 0 0 1 0 0.125 0 2 " + past_nine)},
                {correction, "color_correction_matrix", repeated("1", 9) + " 2 3 x",
                 yields(repeated("1", 9) + " " + past_nine)},
                {white_balance, "default_white_balance_matrix", "2\t0.5\n1 1",
                 yields("2 0.5 1 1 " + repeated("untouched", 8))},
                {correction, "color_correction_matrix", "1 2 x 4", fails_with("invalid stof argument")},
                {white_balance, "default_white_balance_matrix", "1 1e39",
                 fails_with("stof argument out of range")},
            });
}

TEST_F(modes_and_colour, output_colour_space_fits_the_documented_buffer) {
    run_reply_cases("", {
                            {reading_colour_space(), "output_color_space", "sRGB", yields("sRGB")},
                            {reading_colour_space(), "output_color_space", std::string(63, 'c'),
                             yields(std::string(63, 'c'))},
                            {reading_colour_space(), "output_color_space", std::string(100, 'c'),
                             yields(std::string(63, 'c'))},
                        });
}

}  // namespace
