// Every camera function that writes an output or takes a buffer names the
// one it was not given (or refuses the argument) before anything is sent:
// one table for the whole catalogue.

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "camera/parameter_fixture.h"

namespace {

using namespace qx::test;

using missing_outputs = parameter_fixture;

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

TEST_F(missing_outputs, each_is_named_before_anything_is_sent) {
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
