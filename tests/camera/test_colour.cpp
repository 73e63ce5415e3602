// Sensor type, colour filter array phase, the two matrices, the output
// colour space and the polarizer phase.

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "camera/parameter_fixture.h"

namespace {

using namespace qx::test;

using colour = parameter_fixture;

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

TEST_F(colour, sensor_type) {
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

TEST_F(colour, filter_array_and_polar_phases) {
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

TEST_F(colour, matrices_fill_at_most_nine_floats_in_order) {
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

TEST_F(colour, output_colour_space_fits_the_documented_buffer) {
    run_reply_cases("", {
                            {reading_colour_space(), "output_color_space", "sRGB", yields("sRGB")},
                            {reading_colour_space(), "output_color_space", std::string(63, 'c'),
                             yields(std::string(63, 'c'))},
                            {reading_colour_space(), "output_color_space", std::string(100, 'c'),
                             yields(std::string(63, 'c'))},
                        });
}

}  // namespace
