#include "api/function_table.h"

#include <array>
#include <cstring>
#include <string_view>

#include "api/status_codes.h"
#include "device_qv/module_entry_points.h"
#include "platform/shared_library.h"

namespace {

struct function_row {
    const char* name;
    void* address;
};

#define QX_FUNCTION_ROW(function) function_row{#function, reinterpret_cast<void*>(&function)}

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
    if (function_name == nullptr) return nullptr;
    for (const auto& row : function_table) {
        if (std::strcmp(row.name, function_name) == 0) return row.address;
    }
    return nullptr;
}

QX_CAMERA_API const char* qx_get_function_name(int index) { return function_table[index].name; }

QX_CAMERA_API int qx_get_num_mod_attributes(void) { return static_cast<int>(std::size(attribute_table)); }

QX_CAMERA_API int qx_get_mod_attribute_value(const char* attribute_name, char* value, int value_size) {
    if (attribute_name == nullptr) return qx::api::module_status_object_not_found;
    for (const auto& row : attribute_table) {
        if (std::strcmp(row.name, attribute_name) != 0) continue;
        const char* text = row.value();
        const std::size_t needed = std::strlen(text) + 1;
        if (value == nullptr || value_size < 0 || static_cast<std::size_t>(value_size) < needed) return 15;
        std::memcpy(value, text, needed);
        return qx::api::status_success;
    }
    return qx::api::module_status_object_not_found;
}

QX_CAMERA_API int get_mod_func_list_from_top(int count, void** functions) {
    if (count <= 0) return qx::api::status_success;
    const int copied = count < function_count ? count : function_count;
    for (int index = 0; index < copied; ++index) functions[index] = function_table[index].address;
    return copied < count ? qx::api::module_status_too_many_functions : qx::api::status_success;
}

QX_CAMERA_API void* get_function_from_shared_library__or_nullptr(void* library, const char* function_name) {
    return qx::platform::find_symbol(library, function_name);
}

}  // extern "C"
