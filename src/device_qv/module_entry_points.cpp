// The built-in family's identity and module-wide entry points. Cameras are
// listed and created by the USB layer; until a transport is attached the
// module lists none.

#include "device_qv/module_entry_points.h"

#include <cstring>
#include <string_view>

namespace {

constexpr const char* module_name = QX_QV_DEVICE_TYPE_NAME;
constexpr const char* module_type = QX_DEVICE_MODULE_TYPE;
constexpr char module_version[] = "1.0";

}  // namespace

extern "C" {

QX_CAMERA_API const char* qx_module_get_name(void) { return module_name; }

QX_CAMERA_API const char* qx_module_get_type(void) { return module_type; }

QX_CAMERA_API int qx_module_initialize(qx_hotplug_record*) { return 0; }

QX_CAMERA_API int qx_module_uninitialize(void) { return 0; }

QX_CAMERA_API int get_device_ids(char* device_ids, int device_ids_size, char*, int) {
    if (device_ids == nullptr || device_ids_size < 2) return 1;
    std::memset(device_ids, 0, static_cast<std::size_t>(device_ids_size));
    device_ids[0] = '.';
    return 0;
}

QX_CAMERA_API int create(const char*, void** device) {
    if (device != nullptr) *device = nullptr;
    return 1;
}

QX_CAMERA_API int destroy(void*) { return 0; }

QX_CAMERA_API int get_data__returns_zero_for_success(void*, const char*, std::uint64_t, const void*, std::uint64_t,
                                                     char*, std::uint64_t) {
    return 1;
}

QX_CAMERA_API int set_data__returns_zero_for_success(void*, const char*, std::uint64_t, const void*, std::uint64_t,
                                                     char*, std::uint64_t) {
    return 1;
}

QX_CAMERA_API int qx_get_module_data(const char* key, void* value, std::int32_t) {
    if (key != nullptr && std::string_view(key) == "version") {
        if (value == nullptr) return 1;
        std::memcpy(value, module_version, sizeof module_version);
    }
    return 0;
}

QX_CAMERA_API int qx_set_module_data(const char*, void*, std::int32_t) { return 0; }

}  // extern "C"
