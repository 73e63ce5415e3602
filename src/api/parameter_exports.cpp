// The camera parameter functions. Each runs one routine of src/camera in
// the call frame, under the handle mutex with the handle validated; the
// routines hold the parameter logic.

#include <cstring>
#include <stdexcept>
#include <string>

#include "api/call_frame.h"
#include "camera/colour.h"
#include "camera/frame_rate_control.h"
#include "camera/gain_and_decibels.h"
#include "camera/nir_boost.h"
#include "camera/parameter_by_name.h"
#include "camera/parameter_catalogue.h"
#include "camera/region_of_interest.h"
#include "camera/trigger_and_modes.h"
#include "camera/user_memory.h"
#include "kit/qx_camera_handle_class.h"
#include "quendral_vko_camera_sdk.h"

namespace {

namespace camera = qx::camera;
using qx::kit::qx_camera_handle_class;

// A null handle fails first, whatever the other arguments; then the handle
// mutex is taken and the handle validated for the whole routine.
template <class Routine, class... Arguments>
int parameter_call(void* handle, Routine routine, Arguments... arguments) {
    return qx::api::run_camera_call(handle, [&](qx_camera_handle_class& opened) {
        opened.run_locked([&] { routine(opened, arguments...); });
    });
}

static_assert(QX_PARAMETER_INTEGER == static_cast<int>(camera::value_kind::integer) &&
              QX_PARAMETER_REAL == static_cast<int>(camera::value_kind::real) &&
              QX_PARAMETER_BOOLEAN == static_cast<int>(camera::value_kind::boolean) &&
              QX_PARAMETER_TEXT == static_cast<int>(camera::value_kind::text) &&
              QX_PARAMETER_INTEGER_LIST == static_cast<int>(camera::value_kind::integer_list));
static_assert(QX_PARAMETER_READABLE == camera::parameter_readable &&
              QX_PARAMETER_WRITABLE == camera::parameter_writable &&
              QX_PARAMETER_HAS_RANGE == camera::parameter_has_range);

// A by-name routine gets its texts checked before the camera is asked.
void check_text_output(const char* output, const char* output_name, int size) {
    qx::kit::check_argument(output, output_name);
    if (size < 1)
        qx::kit::fail_argument("text_size");
}

// Fails naming a value that would not fit with its terminator.
void check_fits(const std::string& value, const char* what, int size) {
    if (value.size() + 1 > static_cast<std::size_t>(size)) {
        throw std::length_error(std::string("The ") + what + " needs " + std::to_string(value.size() + 1) +
                                " bytes; the buffer holds " + std::to_string(size) + ".");
    }
}

void copy_value(const std::string& value, char* output) {
    std::memcpy(output, value.c_str(), value.size() + 1);
}

}  // namespace

extern "C" {

QX_CAMERA_API int qx_camera_get_exposure_time(void* handle, long long* exposure) {
    return parameter_call(handle, camera::get_scalar<long long>, camera::scalar::exposure_time, exposure);
}

QX_CAMERA_API int qx_camera_set_exposure_time(void* handle, long long exposure) {
    return parameter_call(handle, camera::set_scalar, camera::scalar::exposure_time, exposure);
}

QX_CAMERA_API int qx_camera_get_exposure_time_range(void* handle, long long* exposure_min_us,
                                                    long long* exposure_max_us) {
    return parameter_call(handle, camera::get_scalar_range<long long>, camera::scalar::exposure_time,
                          exposure_min_us, exposure_max_us);
}

QX_CAMERA_API int qx_camera_get_black_level(void* handle, int* black_level) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::black_level, black_level);
}

QX_CAMERA_API int qx_camera_set_black_level(void* handle, int black_level) {
    return parameter_call(handle, camera::set_scalar, camera::scalar::black_level, black_level);
}

QX_CAMERA_API int qx_camera_get_black_level_range(void* handle, int* black_level_min, int* black_level_max) {
    return parameter_call(handle, camera::get_scalar_range<int>, camera::scalar::black_level, black_level_min,
                          black_level_max);
}

QX_CAMERA_API int qx_camera_get_gain(void* handle, int* gain) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::gain, gain);
}

QX_CAMERA_API int qx_camera_set_gain(void* handle, int gain) {
    return parameter_call(handle, camera::set_scalar, camera::scalar::gain, gain);
}

QX_CAMERA_API int qx_camera_get_gain_range(void* handle, int* gain_min, int* gain_max) {
    return parameter_call(handle, camera::get_scalar_range<int>, camera::scalar::gain, gain_min, gain_max);
}

QX_CAMERA_API int qx_camera_convert_gain_to_decibels(void* handle, int gain, double* decibels) {
    return parameter_call(handle, camera::convert_gain_to_decibels, gain, decibels);
}

QX_CAMERA_API int qx_camera_convert_decibels_to_gain(void* handle, double decibels, int* index_to_gain) {
    return parameter_call(handle, camera::convert_decibels_to_gain, decibels, index_to_gain);
}

QX_CAMERA_API int qx_camera_get_binx(void* handle, int* binx) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::binx, binx);
}

QX_CAMERA_API int qx_camera_set_binx(void* handle, int binx) {
    return parameter_call(handle, camera::set_scalar, camera::scalar::binx, binx);
}

QX_CAMERA_API int qx_camera_get_binx_range(void* handle, int* binx_min, int* binx_max) {
    return parameter_call(handle, camera::get_scalar_range<int>, camera::scalar::binx, binx_min, binx_max);
}

QX_CAMERA_API int qx_camera_get_biny(void* handle, int* biny) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::biny, biny);
}

QX_CAMERA_API int qx_camera_set_biny(void* handle, int biny) {
    return parameter_call(handle, camera::set_scalar, camera::scalar::biny, biny);
}

QX_CAMERA_API int qx_camera_get_biny_range(void* handle, int* biny_min, int* biny_max) {
    return parameter_call(handle, camera::get_scalar_range<int>, camera::scalar::biny, biny_min, biny_max);
}

QX_CAMERA_API int qx_camera_get_roi(void* handle, int* upper_left_x, int* upper_left_y, int* lower_right_x,
                                    int* lower_right_y) {
    return parameter_call(handle, camera::get_roi, upper_left_x, upper_left_y, lower_right_x, lower_right_y);
}

QX_CAMERA_API int qx_camera_set_roi(void* handle, int upper_left_x, int upper_left_y, int lower_right_x,
                                    int lower_right_y) {
    return parameter_call(handle, camera::set_roi, upper_left_x, upper_left_y, lower_right_x, lower_right_y);
}

QX_CAMERA_API int qx_camera_get_roi_range(void* handle, int* upper_left_x_min, int* upper_left_y_min,
                                          int* lower_right_x_min, int* lower_right_y_min,
                                          int* upper_left_x_max, int* upper_left_y_max,
                                          int* lower_right_x_max, int* lower_right_y_max) {
    return parameter_call(handle, camera::get_roi_range, upper_left_x_min, upper_left_y_min,
                          lower_right_x_min, lower_right_y_min, upper_left_x_max, upper_left_y_max,
                          lower_right_x_max, lower_right_y_max);
}

QX_CAMERA_API int qx_camera_get_image_width(void* handle, int* width_pixels) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::image_width, width_pixels);
}

QX_CAMERA_API int qx_camera_get_image_width_range(void* handle, int* image_width_min, int* image_width_max) {
    return parameter_call(handle, camera::get_scalar_range<int>, camera::scalar::image_width, image_width_min,
                          image_width_max);
}

QX_CAMERA_API int qx_camera_get_image_height(void* handle, int* height_pixels) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::image_height, height_pixels);
}

QX_CAMERA_API int qx_camera_get_image_height_range(void* handle, int* image_height_min,
                                                   int* image_height_max) {
    return parameter_call(handle, camera::get_scalar_range<int>, camera::scalar::image_height,
                          image_height_min, image_height_max);
}

QX_CAMERA_API int qx_camera_get_sensor_width(void* handle, int* width_pixels) {
    return parameter_call(handle, camera::get_sensor_width, width_pixels);
}

QX_CAMERA_API int qx_camera_get_sensor_height(void* handle, int* height_pixels) {
    return parameter_call(handle, camera::get_sensor_height, height_pixels);
}

QX_CAMERA_API int qx_camera_get_sensor_pixel_width(void* handle, double* pixel_width_um) {
    return parameter_call(handle, camera::get_scalar<double>, camera::scalar::sensor_pixel_width,
                          pixel_width_um);
}

QX_CAMERA_API int qx_camera_get_sensor_pixel_height(void* handle, double* pixel_height_um) {
    return parameter_call(handle, camera::get_scalar<double>, camera::scalar::sensor_pixel_height,
                          pixel_height_um);
}

QX_CAMERA_API int qx_camera_get_sensor_pixel_size_bytes(void* handle, int* sensor_pixel_size_bytes) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::sensor_pixel_size_bytes,
                          sensor_pixel_size_bytes);
}

QX_CAMERA_API int qx_camera_get_bit_depth(void* handle, int* bit_depth) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::bit_depth, bit_depth);
}

QX_CAMERA_API int qx_camera_get_sensor_readout_time(void* handle, int* sensor_readout_time_ns) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::sensor_readout_time,
                          sensor_readout_time_ns);
}

QX_CAMERA_API int qx_camera_get_frame_time(void* handle, int* frame_time_us) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::frame_time, frame_time_us);
}

QX_CAMERA_API int qx_camera_get_timestamp_clock_frequency(void* handle, int* timestamp_clock_frequency) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::timestamp_clock_frequency,
                          timestamp_clock_frequency);
}

QX_CAMERA_API int qx_camera_get_frames_per_trigger_zero_for_unlimited(void* handle, int* number_of_frames) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::frames_per_trigger,
                          number_of_frames);
}

QX_CAMERA_API int qx_camera_set_frames_per_trigger_zero_for_unlimited(void* handle, int number_of_frames) {
    return parameter_call(handle, camera::set_scalar, camera::scalar::frames_per_trigger, number_of_frames);
}

QX_CAMERA_API int qx_camera_get_frames_per_trigger_range(void* handle, int* nframes_min, int* nframes_max) {
    return parameter_call(handle, camera::get_scalar_range<int>, camera::scalar::frames_per_trigger,
                          nframes_min, nframes_max);
}

QX_CAMERA_API int qx_camera_get_hot_pixel_correction_threshold(void* handle,
                                                               int* hot_pixel_correction_threshold) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::hot_pixel_correction_threshold,
                          hot_pixel_correction_threshold);
}

QX_CAMERA_API int qx_camera_set_hot_pixel_correction_threshold(void* handle,
                                                               int hot_pixel_correction_threshold) {
    return parameter_call(handle, camera::set_scalar, camera::scalar::hot_pixel_correction_threshold,
                          hot_pixel_correction_threshold);
}

QX_CAMERA_API int qx_camera_get_hot_pixel_correction_threshold_range(
    void* handle, int* hot_pixel_correction_threshold_min, int* hot_pixel_correction_threshold_max) {
    return parameter_call(handle, camera::get_scalar_range<int>,
                          camera::scalar::hot_pixel_correction_threshold, hot_pixel_correction_threshold_min,
                          hot_pixel_correction_threshold_max);
}

QX_CAMERA_API int qx_camera_get_is_hot_pixel_correction_enabled(void* handle,
                                                                int* is_hot_pixel_correction_enabled) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::is_hot_pixel_correction_enabled,
                          is_hot_pixel_correction_enabled);
}

QX_CAMERA_API int qx_camera_set_is_hot_pixel_correction_enabled(void* handle,
                                                                int is_hot_pixel_correction_enabled) {
    return parameter_call(handle, camera::set_scalar, camera::scalar::is_hot_pixel_correction_enabled,
                          is_hot_pixel_correction_enabled);
}

QX_CAMERA_API int qx_camera_get_is_frame_rate_control_enabled(void* handle, int* is_enabled) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::is_frame_rate_control_enabled,
                          is_enabled);
}

QX_CAMERA_API int qx_camera_set_is_frame_rate_control_enabled(void* handle, int is_enabled) {
    return parameter_call(handle, camera::set_scalar, camera::scalar::is_frame_rate_control_enabled,
                          is_enabled);
}

QX_CAMERA_API int qx_camera_get_frame_rate_control_value(void* handle, double* frame_rate_fps) {
    return parameter_call(handle, camera::get_frame_rate_control_value, frame_rate_fps);
}

QX_CAMERA_API int qx_camera_set_frame_rate_control_value(void* handle, double frame_rate_fps) {
    return parameter_call(handle, camera::set_frame_rate_control_value, frame_rate_fps);
}

QX_CAMERA_API int qx_camera_get_frame_rate_control_value_range(void* handle, double* frame_rate_fps_min,
                                                               double* frame_rate_fps_max) {
    return parameter_call(handle, camera::get_frame_rate_control_value_range, frame_rate_fps_min,
                          frame_rate_fps_max);
}

QX_CAMERA_API int qx_camera_get_operation_mode(void* handle, int* operation_mode) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::operation_mode, operation_mode);
}

QX_CAMERA_API int qx_camera_set_operation_mode(void* handle, int operation_mode) {
    return parameter_call(handle, camera::set_operation_mode, operation_mode);
}

QX_CAMERA_API int qx_camera_get_is_operation_mode_supported(void* handle, int operation_mode,
                                                            int* is_operation_mode_supported) {
    return parameter_call(handle, camera::get_is_operation_mode_supported, operation_mode,
                          is_operation_mode_supported);
}

QX_CAMERA_API int qx_camera_get_trigger_polarity(void* handle, int* trigger_polarity_enum) {
    return parameter_call(handle, camera::get_trigger_polarity, trigger_polarity_enum);
}

QX_CAMERA_API int qx_camera_set_trigger_polarity(void* handle, int trigger_polarity) {
    return parameter_call(handle, camera::set_trigger_polarity, trigger_polarity);
}

QX_CAMERA_API int qx_camera_get_is_eep_supported(void* handle, int* is_eep_supported) {
    return parameter_call(handle, camera::get_is_feature_supported, camera::feature_query::eep,
                          is_eep_supported);
}

QX_CAMERA_API int qx_camera_get_eep_status(void* handle, int* eep_status_enum) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::eep_status, eep_status_enum);
}

QX_CAMERA_API int qx_camera_set_is_eep_enabled(void* handle, int is_eep_enabled) {
    return parameter_call(handle, camera::set_scalar, camera::scalar::is_eep_enabled, is_eep_enabled);
}

QX_CAMERA_API int qx_camera_get_is_taps_supported(void* handle, int* is_taps_supported) {
    return parameter_call(handle, camera::get_is_feature_supported, camera::feature_query::taps,
                          is_taps_supported);
}

QX_CAMERA_API int qx_camera_get_taps(void* handle, int* taps) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::taps, taps);
}

QX_CAMERA_API int qx_camera_set_taps(void* handle, int taps) {
    return parameter_call(handle, camera::set_scalar, camera::scalar::taps, taps);
}

QX_CAMERA_API int qx_camera_get_tap_balance_enable(void* handle, int* tap_balance_enable) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::tap_balance_enable,
                          tap_balance_enable);
}

QX_CAMERA_API int qx_camera_set_tap_balance_enable(void* handle, int tap_balance_enable) {
    return parameter_call(handle, camera::set_scalar, camera::scalar::tap_balance_enable, tap_balance_enable);
}

QX_CAMERA_API int qx_camera_get_data_rate(void* handle, int* data_rate) {
    return parameter_call(handle, camera::get_data_rate, data_rate);
}

QX_CAMERA_API int qx_camera_set_data_rate(void* handle, int data_rate) {
    return parameter_call(handle, camera::set_data_rate, data_rate);
}

QX_CAMERA_API int qx_camera_get_is_data_rate_supported(void* handle, int data_rate, int* is_supported) {
    return parameter_call(handle, camera::get_is_data_rate_supported, data_rate, is_supported);
}

QX_CAMERA_API int qx_camera_get_is_led_supported(void* handle, int* is_led_supported) {
    return parameter_call(handle, camera::get_is_feature_supported, camera::feature_query::led,
                          is_led_supported);
}

QX_CAMERA_API int qx_camera_get_is_led_on(void* handle, int* is_led_on) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::is_led_on, is_led_on);
}

QX_CAMERA_API int qx_camera_set_is_led_on(void* handle, int is_led_on) {
    return parameter_call(handle, camera::set_scalar, camera::scalar::is_led_on, is_led_on);
}

QX_CAMERA_API int qx_camera_get_is_cooling_supported(void* handle, int* is_cooling_supported) {
    return parameter_call(handle, camera::get_is_feature_supported, camera::feature_query::cooling,
                          is_cooling_supported);
}

QX_CAMERA_API int qx_camera_get_is_cooling_enabled(void* handle, int* is_cooling_enabled) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::is_cooling_enabled,
                          is_cooling_enabled);
}

QX_CAMERA_API int qx_camera_get_is_nir_boost_supported(void* handle, int* is_nir_boost_supported) {
    return parameter_call(handle, camera::get_is_nir_boost_supported, is_nir_boost_supported);
}

QX_CAMERA_API int qx_camera_get_nir_boost_enable(void* handle, int* nir_boost_enable) {
    return parameter_call(handle, camera::get_nir_boost_enable, nir_boost_enable);
}

QX_CAMERA_API int qx_camera_set_nir_boost_enable(void* handle, int nir_boost_enable) {
    return parameter_call(handle, camera::set_nir_boost_enable, nir_boost_enable);
}

QX_CAMERA_API int qx_camera_get_communication_interface(void* handle, int* communication_interface) {
    return parameter_call(handle, camera::get_communication_interface, communication_interface);
}

QX_CAMERA_API int qx_camera_get_usb_port_type(void* handle, int* usb_port_type) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::usb_port_type, usb_port_type);
}

QX_CAMERA_API int qx_camera_get_camera_sensor_type(void* handle, int* camera_sensor_type) {
    return parameter_call(handle, camera::get_camera_sensor_type, camera_sensor_type);
}

QX_CAMERA_API int qx_camera_get_color_filter_array_phase(void* handle, int* color_filter_array_phase) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::color_filter_array_phase,
                          color_filter_array_phase);
}

QX_CAMERA_API int qx_camera_get_polar_phase(void* handle, int* polar_phase) {
    return parameter_call(handle, camera::get_scalar<int>, camera::scalar::polar_phase, polar_phase);
}

QX_CAMERA_API int qx_camera_get_color_correction_matrix(void* handle, float* matrix) {
    return parameter_call(handle, camera::get_colour_matrix, camera::colour_matrix::color_correction, matrix);
}

QX_CAMERA_API int qx_camera_get_default_white_balance_matrix(void* handle, float* matrix) {
    return parameter_call(handle, camera::get_colour_matrix, camera::colour_matrix::default_white_balance,
                          matrix);
}

QX_CAMERA_API int qx_camera_get_camera_color_correction_matrix_output_color_space(void* handle, char* text) {
    return parameter_call(handle, camera::get_output_color_space, text);
}

QX_CAMERA_API int qx_camera_get_firmware_version(void* handle, char* text, int text_size) {
    return parameter_call(handle, camera::get_text, camera::text_parameter::firmware_version, text,
                          text_size);
}

QX_CAMERA_API int qx_camera_get_model(void* handle, char* text, int text_size) {
    return parameter_call(handle, camera::get_text, camera::text_parameter::model, text, text_size);
}

QX_CAMERA_API int qx_camera_get_name(void* handle, char* text, int text_size) {
    return parameter_call(handle, camera::get_text, camera::text_parameter::name, text, text_size);
}

QX_CAMERA_API int qx_camera_get_serial_number(void* handle, char* text, int text_size) {
    return parameter_call(handle, camera::get_text, camera::text_parameter::serial_number, text, text_size);
}

QX_CAMERA_API int qx_camera_get_model_string_length_range(void* handle, int* model_min, int* model_max) {
    return parameter_call(handle, camera::get_text_length_range, camera::text_parameter::model, model_min,
                          model_max);
}

QX_CAMERA_API int qx_camera_get_name_string_length_range(void* handle, int* name_min, int* name_max) {
    return parameter_call(handle, camera::get_text_length_range, camera::text_parameter::name, name_min,
                          name_max);
}

QX_CAMERA_API int qx_camera_get_serial_number_string_length_range(void* handle, int* serial_number_min,
                                                                  int* serial_number_max) {
    return parameter_call(handle, camera::get_text_length_range, camera::text_parameter::serial_number,
                          serial_number_min, serial_number_max);
}

QX_CAMERA_API int qx_camera_set_name(void* handle, char* name) {
    return parameter_call(handle, camera::set_name, name);
}

QX_CAMERA_API int qx_camera_get_user_memory_maximum_size(void* handle, long long* maximum_size_bytes) {
    return parameter_call(handle, camera::get_user_memory_maximum_size, maximum_size_bytes);
}

QX_CAMERA_API int qx_camera_get_user_memory(void* handle, unsigned char* data, long long size,
                                            long long offset) {
    return parameter_call(handle, camera::get_user_memory, data, size, offset);
}

QX_CAMERA_API int qx_camera_set_user_memory(void* handle, unsigned char* data, long long size,
                                            long long offset) {
    return parameter_call(handle, camera::set_user_memory, data, size, offset);
}

QX_CAMERA_API int qx_camera_get_parameter_count(int* count) {
    return qx::api::run_kit_call([&] {
        qx::kit::check_argument(count, "count");
        *count = static_cast<int>(camera::named_parameters().size());
    });
}

QX_CAMERA_API int qx_camera_get_parameter_description(int index, qx_parameter_description* description) {
    return qx::api::run_kit_call([&] {
        qx::kit::check_argument(description, "description");
        const auto parameters = camera::named_parameters();
        if (index < 0 || static_cast<std::size_t>(index) >= parameters.size())
            qx::kit::fail_argument("index");
        const camera::named_parameter& parameter = parameters[static_cast<std::size_t>(index)];
        *description = {parameter.name, parameter.unit, parameter.description,
                        static_cast<int>(parameter.kind), camera::parameter_flags(parameter)};
    });
}

QX_CAMERA_API int qx_camera_get_parameter(void* handle, const char* name, char* value, int value_size) {
    return parameter_call(handle, [&](qx_camera_handle_class& opened) {
        qx::kit::check_argument(name, "name");
        check_text_output(value, "value", value_size);
        const std::string text = camera::read_named_parameter(opened, name);
        check_fits(text, "value", value_size);
        copy_value(text, value);
    });
}

QX_CAMERA_API int qx_camera_set_parameter(void* handle, const char* name, const char* value) {
    return parameter_call(handle, [&](qx_camera_handle_class& opened) {
        qx::kit::check_argument(name, "name");
        qx::kit::check_argument(value, "value");
        camera::write_named_parameter(opened, name, value);
    });
}

QX_CAMERA_API int qx_camera_get_parameter_range(void* handle, const char* name, char* minimum, char* maximum,
                                                int text_size) {
    return parameter_call(handle, [&](qx_camera_handle_class& opened) {
        qx::kit::check_argument(name, "name");
        check_text_output(minimum, "minimum", text_size);
        check_text_output(maximum, "maximum", text_size);
        const camera::text_range range = camera::read_named_parameter_range(opened, name);
        check_fits(range.minimum, "minimum", text_size);
        check_fits(range.maximum, "maximum", text_size);
        copy_value(range.minimum, minimum);
        copy_value(range.maximum, maximum);
    });
}

}  // extern "C"
