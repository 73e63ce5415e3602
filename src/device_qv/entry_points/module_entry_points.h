#pragma once
// The built-in camera family's device-module entry points, exported by the
// kit library under the same names every device module uses.

#include <cstdint>

#include "quendral_vko_camera_sdk.h"
#include "quendral_vko_device_module.h"

extern "C" {
QX_CAMERA_API int qx_module_initialize(qx_hotplug_record* host);
QX_CAMERA_API int qx_module_uninitialize(void);
QX_CAMERA_API const char* qx_module_get_name(void);
QX_CAMERA_API const char* qx_module_get_type(void);
QX_CAMERA_API int get_device_ids(char* device_ids, int device_ids_size, char* serial_numbers,
                                 int serial_numbers_size);
QX_CAMERA_API int create(const char* device_id, void** device);
QX_CAMERA_API int destroy(void* device);
QX_CAMERA_API int get_data__returns_zero_for_success(void* device, const char* command,
                                                     std::uint64_t command_size, const void* data,
                                                     std::uint64_t data_size, char* response,
                                                     std::uint64_t response_size);
QX_CAMERA_API int set_data__returns_zero_for_success(void* device, const char* command,
                                                     std::uint64_t command_size, const void* data,
                                                     std::uint64_t data_size, char* response,
                                                     std::uint64_t response_size);
QX_CAMERA_API int qx_get_module_data(const char* key, void* value, std::int32_t reserved);
QX_CAMERA_API int qx_set_module_data(const char* key, void* value, std::int32_t reserved);
}
