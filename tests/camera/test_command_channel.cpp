// The command channel as every parameter function meets it: the get and set
// exchanges, the firmware phrases, the context text, the string read,
// _internal_command, and the output or buffer each function names when it
// was not given one.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <iterator>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "camera/parameter_fixture.h"
#include "quendral_vko_firmware_phrases.h"

namespace {

using namespace qx::test;

using command_channel = parameter_fixture;

// The firmware's phrases in the order the kit searches them; index 0,
// "Success", never is.
const char* const firmware_phrases[] = {QX_FIRMWARE_PHRASES};
const std::vector<std::string> searched_phrases(std::begin(firmware_phrases) + 1, std::end(firmware_phrases));

TEST_F(command_channel, every_phrase_fails_a_get_with_a_closing_apostrophe_and_a_set_without) {
    for (const auto& phrase : searched_phrases) {
        if (phrase == "Invalid command")
            continue;
        const std::string reply = "leading words " + phrase + " and the rest";
        const std::string from_phrase = phrase + " and the rest";
        run_reply_cases("", {{reading(qx_camera_get_exposure_time), "exp", reply,
                              fails_with(context_of("exp") + from_phrase + "'")}});
        run_reply_cases("",
                        {{writing(qx_camera_set_exposure_time, 5LL), "exp 5", reply,
                          fails_with(context_of("exp 5") + from_phrase)}},
                        "set");
    }
}

TEST_F(command_channel, get_and_set_exchanges) {
    const auto get = reading(qx_camera_get_exposure_time);
    const auto set = writing(qx_camera_set_exposure_time, 5LL);
    const std::string lost =
        "Response required, but not received, possibly due to USB stall. Please try again.";
    run_reply_cases("", {
                            // The first phrase of the table wins over the first in the text.
                            {get, "exp", "Camera Running, Parameter out of range",
                             fails_with(context_of("exp") + "Parameter out of range'")},
                            {get, "exp", "Invalid command", fails_with(not_supported)},
                            // "Invalid command" anywhere, even after another phrase, means unsupported.
                            {get, "exp", "Command not found; Invalid command", fails_with(not_supported)},
                            {get, "exp", "", fails_with(context_of("exp") + lost)},
                            // "Success" is no failure phrase.
                            {get, "exp", "Success 12", fails_with("invalid stoll argument")},
                        });
    run_reply_cases(
        "",
        {
            {set, "exp 5", "Invalid command", fails_with(context_of("exp 5") + "Invalid command")},
            {set, "exp 5", "", yields("")},
            {set, "exp 5", "OK exp 5", yields("")},
        },
        "set");
}

TEST_F(command_channel, a_failing_module_call_names_handle_command_and_sizes) {
    void* camera = open_scripted_camera("", {});
    scripted_module().set_reply("exp", "12", 1);
    long long exposure = 0;
    EXPECT_EQ(qx_camera_get_exposure_time(camera, &exposure), 1004);
    // The handle's address in decimal, and the stray apostrophe after the
    // data size, exactly as callers match them.
    const std::string address = std::to_string(reinterpret_cast<std::uintptr_t>(camera));
    EXPECT_EQ(last_error(),
              "Error: qx_camera_handle=" + address +
                  ", command='exp', command_size_bytes_including_any_null_terminator = 4, "
                  "data_size_bytes = 0', response_size_bytes_up_to_1024 = 1024: Error getting data. "
                  "Error: Invalid operation.");
    scripted_module().set_reply("exp 7", "", 3);
    EXPECT_EQ(qx_camera_set_exposure_time(camera, 7), 1004);
    EXPECT_EQ(last_error(),
              with_handle(context_of("exp 7"), camera) + "Error setting data. Error: Invalid operation.");
}

TEST_F(command_channel, string_read_boundary_and_an_unknown_command_reply_as_text) {
    void* camera = open_scripted_camera("", {{"model", "ABCDEFGHIJ"}});
    // Exactly as long as the buffer: copied whole, no terminator, success.
    char exact[11];
    std::memset(exact, '#', sizeof exact);
    ASSERT_EQ(qx_camera_get_model(camera, exact, 10), 0) << last_error();
    EXPECT_EQ(std::string(exact, 10), "ABCDEFGHIJ");
    EXPECT_EQ(exact[10], '#');
    // One byte short: a terminated prefix and a failure naming the buffer.
    char short_buffer[10];
    std::memset(short_buffer, '#', sizeof short_buffer);
    EXPECT_EQ(qx_camera_get_model(camera, short_buffer, 9), 1004);
    EXPECT_EQ(std::string(short_buffer, 9), std::string("ABCDEFGH") + '\0');
    EXPECT_EQ(short_buffer[9], '#');
    EXPECT_EQ(last_error(), as_last_error(with_handle(context_of("model", 6, 0, 9), camera) +
                                          "Command response size is too small."));
    // A shorter reply is padded with NULs to the buffer's size.
    char padded[8];
    std::memset(padded, '#', sizeof padded);
    scripted_module().set_reply("model", "AB");
    ASSERT_EQ(qx_camera_get_model(camera, padded, 6), 0);
    EXPECT_EQ(std::string(padded, 8), std::string("AB\0\0\0\0##", 8));
    // The string read does not look at "Invalid command": the reply is the text.
    scripted_module().set_reply("model", "Invalid command");
    char text[32] = {};
    ASSERT_EQ(qx_camera_get_model(camera, text, sizeof text), 0) << last_error();
    EXPECT_STREQ(text, "Invalid command");
    EXPECT_EQ(sent_commands(),
              (std::vector<std::string>{"get model", "get model", "get model", "get model"}));
}

TEST_F(command_channel, internal_command_passes_the_callers_bytes_and_buffer) {
    void* camera = open_scripted_camera("", {{"id", "camera 7"}});
    char command[] = "id\0junk";
    char response[32];
    std::memset(response, '#', sizeof response);
    ASSERT_EQ(_internal_command(camera, command, 8, response, 12), 0) << last_error();
    EXPECT_STREQ(response, "camera 7");
    const auto calls = scripted_module().take_calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].function, "get_data");
    EXPECT_EQ(std::string(calls[0].command_bytes.begin(), calls[0].command_bytes.end()),
              std::string(command, 8));
    EXPECT_EQ(calls[0].command_size, 8u);
    EXPECT_EQ(calls[0].response_size, 12u);

    // No response is required, so an empty reply is fine.
    scripted_module().set_reply("id", "");
    EXPECT_EQ(_internal_command(camera, command, 3, response, 12), 0) << last_error();
    EXPECT_STREQ(response, "");

    // The arguments are refused before anything is sent; a command is sent
    // as text, so it must hold its NUL (this one has exactly its bytes on
    // the heap, so that a read past them is caught).
    std::vector<char> unterminated = {'i', 'd'};
    const struct {
        const char* reply;
        char* command;
        int command_size;
        char* response;
        int response_size;
        std::string expected;
    } failures[] = {
        {"Invalid command", command, 3, response, 32, not_supported},
        {"x Command locked", command, 3, response, 32, context_of("id", 3, 0, 32) + "Command locked'"},
        {"ok", nullptr, 3, response, 32, "command"},
        {"ok", command, 3, nullptr, 32, "response"},
        {"ok", command, 0, response, 32, "command_size_bytes_including_any_null_terminator"},
        {"ok", command, -3, response, 32, "command_size_bytes_including_any_null_terminator"},
        {"ok", unterminated.data(), 2, response, 32,
         "Condition is unexpectedly false: The command must end with a NUL within its size."},
        {"ok", command, 3, response, 0, "Response size is too small."},
        {"ok", command, 3, response, -8, "Response size is too small."},
    };
    scripted_module().take_calls();
    for (const auto& failure : failures) {
        SCOPED_TRACE(failure.expected);
        scripted_module().set_reply("id", failure.reply);
        EXPECT_EQ(_internal_command(camera, failure.command, failure.command_size, failure.response,
                                    failure.response_size),
                  1004);
        EXPECT_EQ(last_error(), as_last_error(with_handle(failure.expected, camera)));
    }
    EXPECT_EQ(scripted_module().take_calls().size(), 2u);
}

// A getter given every output but the one at `missing`.
template <class... Value>
camera_call without_output(int (*getter)(void*, Value*...), std::size_t missing = 0) {
    return [getter, missing](void* camera) {
        std::tuple<Value...> values{};
        return [&]<std::size_t... index>(std::index_sequence<index...>) {
            return getter(camera, (index == missing ? nullptr : &std::get<index>(values))...);
        }
        (std::index_sequence_for<Value...>{});
    };
}

TEST_F(command_channel, each_missing_output_is_named_before_anything_is_sent) {
    const std::string both = "Pointer(s) for receiving the value(s) must be provided.";
    const std::vector<std::pair<camera_call, std::string>> cases = {
        // The catalogue's rows are walked by one routine each for a value, a
        // word, a feature flag, a range and a text: one row of each shows
        // the routine names the row's output before sending.
        {without_output(qx_camera_get_exposure_time), "exposure"},
        {without_output(qx_camera_get_operation_mode), "operation_mode"},
        {without_output(qx_camera_get_is_taps_supported), "is_taps_supported"},
        {[](void* camera) { return qx_camera_get_exposure_time_range(camera, nullptr, nullptr); }, both},
        {without_output(qx_camera_get_exposure_time_range, 0), "exposure_min_us"},
        {without_output(qx_camera_get_exposure_time_range, 1), "exposure_max_us"},
        {[](void* camera) { return qx_camera_get_firmware_version(camera, nullptr, 8); }, "firmware_version"},
        {without_output(qx_camera_get_model_string_length_range, 1), "model_max"},
        // Functions with their own checks.
        {[](void* camera) { return qx_camera_get_frame_rate_control_value_range(camera, nullptr, nullptr); },
         both},
        {without_output(qx_camera_get_frame_rate_control_value), "frame_rate_fps"},
        {without_output(qx_camera_get_is_nir_boost_supported), "is_nir_boost_supported"},
        {without_output(qx_camera_get_nir_boost_enable), "nir_boost_enable"},
        {[](void* camera) { return qx_camera_convert_gain_to_decibels(camera, 1, nullptr); }, "decibels"},
        {[](void* camera) { return qx_camera_convert_decibels_to_gain(camera, 1.0, nullptr); },
         "index_to_gain"},
        // Region of interest, sensor size, binning; the first missing output is named.
        {[](void* camera) { return qx_camera_get_roi(camera, nullptr, nullptr, nullptr, nullptr); },
         "upper_left_x"},
        {without_output(qx_camera_get_roi, 1), "upper_left_y"},
        {without_output(qx_camera_get_roi, 2), "lower_right_x"},
        {without_output(qx_camera_get_roi, 3), "lower_right_y"},
        {without_output(qx_camera_get_roi_range, 0), "upper_left_x_min"},
        {without_output(qx_camera_get_roi_range, 7), "lower_right_y_max"},
        {without_output(qx_camera_get_sensor_width), "width_pixels"},
        {[](void* camera) { return _set_image_size_overrides(camera, 0, 10); }, "width"},
        {[](void* camera) { return _set_image_size_overrides(camera, 10, 0); }, "height"},
        // Trigger, modes and data rate.
        {without_output(qx_camera_get_trigger_polarity), "trigger_polarity_enum"},
        {[](void* camera) { return qx_camera_get_is_operation_mode_supported(camera, 1, nullptr); },
         "is_operation_mode_supported"},
        {without_output(qx_camera_get_data_rate), "data_rate"},
        {[](void* camera) { return qx_camera_get_is_data_rate_supported(camera, 2, nullptr); },
         "is_supported"},
        // Colour.
        {without_output(qx_camera_get_camera_sensor_type), "camera_sensor_type"},
        {without_output(qx_camera_get_color_correction_matrix), "matrix"},
        {without_output(qx_camera_get_default_white_balance_matrix), "matrix"},
        {without_output(qx_camera_get_camera_color_correction_matrix_output_color_space),
         "output_color_space"},
        // User memory and the camera's name.
        {[](void* camera) {
             unsigned char data[4] = {};
             return qx_camera_set_user_memory(camera, data, -1, 0);
         },
         "Condition is unexpectedly false: Parameters cannot be negative."},
        {[](void* camera) { return qx_camera_set_user_memory(camera, nullptr, 4, 0); }, "source_data_buffer"},
        {[](void* camera) { return qx_camera_get_user_memory(camera, nullptr, 4, 0); },
         "destination_data_buffer"},
        {without_output(qx_camera_get_user_memory_maximum_size), "maximum_size_bytes"},
        {[](void* camera) { return qx_camera_set_name(camera, nullptr); }, "name"},
    };
    // Every feature is listed, so that only the missing output can fail a call.
    for (const auto& [call, name] : cases) {
        run_send_cases("blklvl sfr statustec color polar_phase gain eep taps fps",
                       {{status_of(call), "", fails_with(name)}});
    }
}

}  // namespace
