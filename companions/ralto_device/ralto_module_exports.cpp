// The ralto family's device-module entry points. No exception leaves them;
// every one returns 0 for success and 1 for failure.

#include <array>
#include <cstring>

#include "emulated_ralto_source_class.h"
#include "quendral_vko_device_module.h"
#include "ralto_module_class.h"

#if defined(_WIN32)
#define QX_RALTO_MODULE_API __declspec(dllexport)
#else
#define QX_RALTO_MODULE_API __attribute__((visibility("default")))
#endif

namespace {
qx::ralto_module_class& module() {
    return qx::ralto_module_class::instance();
}

template <typename work_type>
int without_exceptions(work_type work) {
    try {
        return work();
    } catch (...) {
        return 1;
    }
}
}  // namespace

extern "C" {

QX_RALTO_MODULE_API const char* qx_module_get_name(void) {
    return QX_RALTO_DEVICE_TYPE_NAME;
}

QX_RALTO_MODULE_API const char* qx_module_get_type(void) {
    return QX_DEVICE_MODULE_TYPE;
}

QX_RALTO_MODULE_API int qx_module_initialize(qx_hotplug_record* host) {
    return without_exceptions([&] {
        // The family's cameras reachable here are the emulator's.
        module().set_camera_listing_source(std::make_shared<qx::emulated_ralto_source_class>());
        return module().initialize(host);
    });
}

QX_RALTO_MODULE_API int qx_module_uninitialize(void) {
    return without_exceptions([] { return module().uninitialize(); });
}

QX_RALTO_MODULE_API int get_device_ids(char* device_ids, int device_ids_size, char* serial_numbers,
                                       int serial_numbers_size) {
    return without_exceptions([&] {
        return module().list_device_ids(device_ids, device_ids_size, serial_numbers, serial_numbers_size);
    });
}

QX_RALTO_MODULE_API int create(const char* device_id, void** device) {
    return without_exceptions([&] { return module().create_device(device_id, device); });
}

QX_RALTO_MODULE_API int destroy(void* device) {
    return without_exceptions([&] { return module().destroy_device(device); });
}

QX_RALTO_MODULE_API int get_data__returns_zero_for_success(void* device, const char* command,
                                                           uint64_t command_size, const void* data,
                                                           uint64_t data_size, char* response,
                                                           uint64_t response_size) {
    return without_exceptions([&] {
        return module().send_get_command(device, command, command_size, data, data_size, response,
                                         response_size);
    });
}

QX_RALTO_MODULE_API int set_data__returns_zero_for_success(void* device, const char* command,
                                                           uint64_t command_size, const void* data,
                                                           uint64_t data_size, char* response,
                                                           uint64_t response_size) {
    return without_exceptions([&] {
        return module().send_set_command(device, command, command_size, data, data_size, response,
                                         response_size);
    });
}

QX_RALTO_MODULE_API int qx_get_module_data(const char* key, void* value, int32_t) {
    return without_exceptions([&] { return module().get_module_data(key, value); });
}

QX_RALTO_MODULE_API int qx_set_module_data(const char* key, void* value, int32_t) {
    return without_exceptions([&] { return module().set_module_data(key, value); });
}

QX_RALTO_MODULE_API void* qx_get_function(const char* function_name);

}  // extern "C"

namespace {

struct function_entry {
    const char* name;
    void* address;
};

// The module's functions by name, for callers that look them up through
// qx_get_function rather than the library's export table.
const std::array<function_entry, 12>& get_function_table() {
    static const std::array<function_entry, 12> table{{
        {"qx_module_initialize", reinterpret_cast<void*>(&qx_module_initialize)},
        {"qx_module_uninitialize", reinterpret_cast<void*>(&qx_module_uninitialize)},
        {"qx_get_function", reinterpret_cast<void*>(&qx_get_function)},
        {"qx_module_get_name", reinterpret_cast<void*>(&qx_module_get_name)},
        {"qx_module_get_type", reinterpret_cast<void*>(&qx_module_get_type)},
        {"get_device_ids", reinterpret_cast<void*>(&get_device_ids)},
        {"create", reinterpret_cast<void*>(&create)},
        {"destroy", reinterpret_cast<void*>(&destroy)},
        {"get_data__returns_zero_for_success", reinterpret_cast<void*>(&get_data__returns_zero_for_success)},
        {"set_data__returns_zero_for_success", reinterpret_cast<void*>(&set_data__returns_zero_for_success)},
        {"qx_get_module_data", reinterpret_cast<void*>(&qx_get_module_data)},
        {"qx_set_module_data", reinterpret_cast<void*>(&qx_set_module_data)},
    }};
    return table;
}

}  // namespace

extern "C" QX_RALTO_MODULE_API void* qx_get_function(const char* function_name) {
    if (function_name == nullptr)
        return nullptr;
    for (const auto& entry : get_function_table()) {
        if (std::strcmp(entry.name, function_name) == 0)
            return entry.address;
    }
    return nullptr;
}
