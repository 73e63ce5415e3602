#include "api/function_table.h"

#include <array>
#include <cstring>
#include <string_view>

#include "base/status_codes.h"
#include "device_qv/entry_points/module_entry_points.h"
#include "platform/shared_library.h"

namespace {

struct function_row {
    const char* name;
    void* address;
};

#define QX_FUNCTION_ROW(function)                       \
    function_row {                                      \
#function, reinterpret_cast < void*>(&function) \
    }

const function_row function_table[] = {
    QX_FUNCTION_ROW(qx_module_initialize),
    QX_FUNCTION_ROW(qx_module_uninitialize),
    QX_FUNCTION_ROW(qx_get_function),
    QX_FUNCTION_ROW(qx_module_get_name),
    QX_FUNCTION_ROW(qx_module_get_type),
    QX_FUNCTION_ROW(get_device_ids),
    QX_FUNCTION_ROW(create),
    QX_FUNCTION_ROW(destroy),
    QX_FUNCTION_ROW(get_data__returns_zero_for_success),
    QX_FUNCTION_ROW(set_data__returns_zero_for_success),
    QX_FUNCTION_ROW(qx_get_module_data),
    QX_FUNCTION_ROW(qx_set_module_data),
    QX_FUNCTION_ROW(qx_get_function_name),
    QX_FUNCTION_ROW(qx_get_num_mod_attributes),
    QX_FUNCTION_ROW(qx_get_mod_attribute_value),
    QX_FUNCTION_ROW(get_mod_func_list_from_top),
    QX_FUNCTION_ROW(get_function_from_shared_library__or_nullptr),
    QX_FUNCTION_ROW(qx_camera_open_sdk),
    QX_FUNCTION_ROW(qx_camera_close_sdk),
    QX_FUNCTION_ROW(qx_camera_discover_available_cameras),
    QX_FUNCTION_ROW(qx_camera_open_camera),
    QX_FUNCTION_ROW(qx_camera_close_camera),
    QX_FUNCTION_ROW(qx_camera_get_last_error),
    QX_FUNCTION_ROW(_internal_command),
    QX_FUNCTION_ROW(_set_image_size_overrides),
    QX_FUNCTION_ROW(qx_camera_get_exposure_time),
    QX_FUNCTION_ROW(qx_camera_set_exposure_time),
    QX_FUNCTION_ROW(qx_camera_get_exposure_time_range),
    QX_FUNCTION_ROW(qx_camera_get_black_level),
    QX_FUNCTION_ROW(qx_camera_set_black_level),
    QX_FUNCTION_ROW(qx_camera_get_black_level_range),
    QX_FUNCTION_ROW(qx_camera_get_gain),
    QX_FUNCTION_ROW(qx_camera_set_gain),
    QX_FUNCTION_ROW(qx_camera_get_gain_range),
    QX_FUNCTION_ROW(qx_camera_convert_gain_to_decibels),
    QX_FUNCTION_ROW(qx_camera_convert_decibels_to_gain),
    QX_FUNCTION_ROW(qx_camera_get_binx),
    QX_FUNCTION_ROW(qx_camera_set_binx),
    QX_FUNCTION_ROW(qx_camera_get_binx_range),
    QX_FUNCTION_ROW(qx_camera_get_biny),
    QX_FUNCTION_ROW(qx_camera_set_biny),
    QX_FUNCTION_ROW(qx_camera_get_biny_range),
    QX_FUNCTION_ROW(qx_camera_get_roi),
    QX_FUNCTION_ROW(qx_camera_set_roi),
    QX_FUNCTION_ROW(qx_camera_get_roi_range),
    QX_FUNCTION_ROW(qx_camera_get_image_width),
    QX_FUNCTION_ROW(qx_camera_get_image_width_range),
    QX_FUNCTION_ROW(qx_camera_get_image_height),
    QX_FUNCTION_ROW(qx_camera_get_image_height_range),
    QX_FUNCTION_ROW(qx_camera_get_sensor_width),
    QX_FUNCTION_ROW(qx_camera_get_sensor_height),
    QX_FUNCTION_ROW(qx_camera_get_sensor_pixel_width),
    QX_FUNCTION_ROW(qx_camera_get_sensor_pixel_height),
    QX_FUNCTION_ROW(qx_camera_get_sensor_pixel_size_bytes),
    QX_FUNCTION_ROW(qx_camera_get_bit_depth),
    QX_FUNCTION_ROW(qx_camera_get_sensor_readout_time),
    QX_FUNCTION_ROW(qx_camera_get_frame_time),
    QX_FUNCTION_ROW(qx_camera_get_timestamp_clock_frequency),
    QX_FUNCTION_ROW(qx_camera_get_frames_per_trigger_zero_for_unlimited),
    QX_FUNCTION_ROW(qx_camera_set_frames_per_trigger_zero_for_unlimited),
    QX_FUNCTION_ROW(qx_camera_get_frames_per_trigger_range),
    QX_FUNCTION_ROW(qx_camera_get_hot_pixel_correction_threshold),
    QX_FUNCTION_ROW(qx_camera_set_hot_pixel_correction_threshold),
    QX_FUNCTION_ROW(qx_camera_get_hot_pixel_correction_threshold_range),
    QX_FUNCTION_ROW(qx_camera_get_is_hot_pixel_correction_enabled),
    QX_FUNCTION_ROW(qx_camera_set_is_hot_pixel_correction_enabled),
    QX_FUNCTION_ROW(qx_camera_get_is_frame_rate_control_enabled),
    QX_FUNCTION_ROW(qx_camera_set_is_frame_rate_control_enabled),
    QX_FUNCTION_ROW(qx_camera_get_frame_rate_control_value),
    QX_FUNCTION_ROW(qx_camera_set_frame_rate_control_value),
    QX_FUNCTION_ROW(qx_camera_get_frame_rate_control_value_range),
    QX_FUNCTION_ROW(qx_camera_get_operation_mode),
    QX_FUNCTION_ROW(qx_camera_set_operation_mode),
    QX_FUNCTION_ROW(qx_camera_get_is_operation_mode_supported),
    QX_FUNCTION_ROW(qx_camera_get_trigger_polarity),
    QX_FUNCTION_ROW(qx_camera_set_trigger_polarity),
    QX_FUNCTION_ROW(qx_camera_get_is_eep_supported),
    QX_FUNCTION_ROW(qx_camera_get_eep_status),
    QX_FUNCTION_ROW(qx_camera_set_is_eep_enabled),
    QX_FUNCTION_ROW(qx_camera_get_is_taps_supported),
    QX_FUNCTION_ROW(qx_camera_get_taps),
    QX_FUNCTION_ROW(qx_camera_set_taps),
    QX_FUNCTION_ROW(qx_camera_get_tap_balance_enable),
    QX_FUNCTION_ROW(qx_camera_set_tap_balance_enable),
    QX_FUNCTION_ROW(qx_camera_get_data_rate),
    QX_FUNCTION_ROW(qx_camera_set_data_rate),
    QX_FUNCTION_ROW(qx_camera_get_is_data_rate_supported),
    QX_FUNCTION_ROW(qx_camera_get_is_led_supported),
    QX_FUNCTION_ROW(qx_camera_get_is_led_on),
    QX_FUNCTION_ROW(qx_camera_set_is_led_on),
    QX_FUNCTION_ROW(qx_camera_get_is_cooling_supported),
    QX_FUNCTION_ROW(qx_camera_get_is_cooling_enabled),
    QX_FUNCTION_ROW(qx_camera_get_is_nir_boost_supported),
    QX_FUNCTION_ROW(qx_camera_get_nir_boost_enable),
    QX_FUNCTION_ROW(qx_camera_set_nir_boost_enable),
    QX_FUNCTION_ROW(qx_camera_get_communication_interface),
    QX_FUNCTION_ROW(qx_camera_get_usb_port_type),
    QX_FUNCTION_ROW(qx_camera_get_camera_sensor_type),
    QX_FUNCTION_ROW(qx_camera_get_color_filter_array_phase),
    QX_FUNCTION_ROW(qx_camera_get_polar_phase),
    QX_FUNCTION_ROW(qx_camera_get_color_correction_matrix),
    QX_FUNCTION_ROW(qx_camera_get_default_white_balance_matrix),
    QX_FUNCTION_ROW(qx_camera_get_camera_color_correction_matrix_output_color_space),
    QX_FUNCTION_ROW(qx_camera_get_firmware_version),
    QX_FUNCTION_ROW(qx_camera_get_model),
    QX_FUNCTION_ROW(qx_camera_get_name),
    QX_FUNCTION_ROW(qx_camera_get_serial_number),
    QX_FUNCTION_ROW(qx_camera_get_model_string_length_range),
    QX_FUNCTION_ROW(qx_camera_get_name_string_length_range),
    QX_FUNCTION_ROW(qx_camera_get_serial_number_string_length_range),
    QX_FUNCTION_ROW(qx_camera_set_name),
    QX_FUNCTION_ROW(qx_camera_get_user_memory_maximum_size),
    QX_FUNCTION_ROW(qx_camera_get_user_memory),
    QX_FUNCTION_ROW(qx_camera_set_user_memory),
};

#undef QX_FUNCTION_ROW

using attribute_value_function = const char* (*)();

struct attribute_row {
    const char* name;
    attribute_value_function value;
};

const attribute_row attribute_table[] = {
    {"name", [] { return qx_module_get_name(); }},
    {"type", [] { return qx_module_get_type(); }},
    {"version", [] { return "1.0"; }},
};

constexpr int function_count = static_cast<int>(std::size(function_table));

}  // namespace

extern "C" {

QX_CAMERA_API void* qx_get_function(const char* function_name) {
    if (function_name == nullptr)
        return nullptr;
    for (const auto& row : function_table) {
        if (std::strcmp(row.name, function_name) == 0)
            return row.address;
    }
    return nullptr;
}

QX_CAMERA_API const char* qx_get_function_name(int index) {
    return function_table[index].name;
}

QX_CAMERA_API int qx_get_num_mod_attributes(void) {
    return static_cast<int>(std::size(attribute_table));
}

QX_CAMERA_API int qx_get_mod_attribute_value(const char* attribute_name, char* value, int value_size) {
    if (attribute_name == nullptr)
        return qx::api::module_status_object_not_found;
    for (const auto& row : attribute_table) {
        if (std::strcmp(row.name, attribute_name) != 0)
            continue;
        const char* text = row.value();
        const std::size_t needed = std::strlen(text) + 1;
        if (value == nullptr || value_size < 0 || static_cast<std::size_t>(value_size) < needed)
            return 15;
        std::memcpy(value, text, needed);
        return qx::api::status_success;
    }
    return qx::api::module_status_object_not_found;
}

QX_CAMERA_API int get_mod_func_list_from_top(int count, void** functions) {
    if (count <= 0)
        return qx::api::status_success;
    const int copied = count < function_count ? count : function_count;
    for (int index = 0; index < copied; ++index) functions[index] = function_table[index].address;
    return copied < count ? qx::api::module_status_too_many_functions : qx::api::status_success;
}

QX_CAMERA_API void* get_function_from_shared_library__or_nullptr(void* library, const char* function_name) {
    return qx::platform::find_symbol(library, function_name);
}

}  // extern "C"
