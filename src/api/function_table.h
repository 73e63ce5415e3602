#pragma once
// The kit library's table of its own exported functions, for callers that
// find functions by name, and its module attributes.

#include "quendral_vko_camera_sdk.h"

extern "C" {
// Address of the exported function of that exact name, or null.
QX_CAMERA_API void* qx_get_function(const char* function_name);
// Name of the index-th function of the table; the index is not checked.
QX_CAMERA_API const char* qx_get_function_name(int index);
// Number of module attributes.
QX_CAMERA_API int qx_get_num_mod_attributes(void);
// Writes the named attribute's value text; 0, or 5 when there is no such
// attribute, or 15 when the buffer is too small.
QX_CAMERA_API int qx_get_mod_attribute_value(const char* attribute_name, char* value, int value_size);
// Copies the addresses of the first `count` functions of the table; 2 when
// the table has fewer rows (those that exist are copied).
QX_CAMERA_API int get_mod_func_list_from_top(int count, void** functions);
// Address of an exported symbol of a loaded library, or null.
QX_CAMERA_API void* get_function_from_shared_library__or_nullptr(void* library, const char* function_name);
}
