// The built-in family's device-module entry points. Every one returns 0 for
// success and 1 for failure; no exception leaves the module.

#include "device_qv/entry_points/module_entry_points.h"

#include <cstring>
#include <memory>
#include <string_view>

#include "device_qv/device_dispatch.h"
#include "device_qv/module_state_class.h"
#include "device_qv/qv_camera_class.h"
#include "quendral_vko_logging.h"

using qx::device_qv::module_state_class;
using qx::device_qv::qv_camera_class;

namespace {

constexpr const char* module_name = QX_QV_DEVICE_TYPE_NAME;
constexpr const char* module_type = QX_DEVICE_MODULE_TYPE;
constexpr char module_version[] = "1.0";

// The module logs under this source name through the kit's logger front.
constexpr char log_source_name[] = "camera_mgc";
constexpr char log_group_name[] = "hotplug";

void write_hotplug_log_line(const char* line) {
    // Built on first use and kept: the front's registry outlives the module.
    static void* const logger = t_get_logger(log_source_name, log_group_name);
    t_log_information(logger, __FILE__, __LINE__, "usb_hotplug_callback", "%s", line);
}

int dispatch(int (*route)(const qx::device_qv::dispatch_call&), void* device, const char* command,
             std::uint64_t command_size, const void* data, std::uint64_t data_size, char* response,
             std::uint64_t response_size) {
    if (device == nullptr)
        return 1;
    return route({*static_cast<qv_camera_class*>(device), command, command_size, data, data_size, response,
                  response_size});
}

}  // namespace

extern "C" {

QX_CAMERA_API const char* qx_module_get_name(void) {
    return module_name;
}

QX_CAMERA_API const char* qx_module_get_type(void) {
    return module_type;
}

QX_CAMERA_API int qx_module_initialize(qx_hotplug_record* host) {
    try {
        module_state_class::instance().set_log_sink(&write_hotplug_log_line);
        return module_state_class::instance().initialize(host);
    } catch (...) {
        return 1;
    }
}

QX_CAMERA_API int qx_module_uninitialize(void) {
    return module_state_class::instance().uninitialize();
}

QX_CAMERA_API int get_device_ids(char* device_ids, int device_ids_size, char* serial_numbers,
                                 int serial_numbers_size) {
    try {
        return module_state_class::instance().get_device_ids(device_ids, device_ids_size, serial_numbers,
                                                             serial_numbers_size);
    } catch (...) {
        return 1;
    }
}

QX_CAMERA_API int create(const char* device_id, void** device) {
    if (device == nullptr)
        return 1;
    *device = nullptr;
    if (device_id == nullptr)
        return 1;
    try {
        const std::string path = module_state_class::instance().device_path_of(device_id);
        if (path.empty())
            return 1;
        auto transport = qx::usb::open_usb_driver(path);
        auto camera = std::make_unique<qv_camera_class>(transport.get());
        // The camera does not own its transport; destroy deletes both.
        transport.release();
        *device = camera.release();
        return 0;
    } catch (...) {
        return 1;
    }
}

QX_CAMERA_API int destroy(void* device) {
    if (device == nullptr)
        return 1;
    auto* camera = static_cast<qv_camera_class*>(device);
    qx::usb::usb_driver_base* transport = camera->transport();
    delete camera;
    delete transport;
    return 0;
}

QX_CAMERA_API int get_data__returns_zero_for_success(void* device, const char* command,
                                                     std::uint64_t command_size, const void* data,
                                                     std::uint64_t data_size, char* response,
                                                     std::uint64_t response_size) {
    return dispatch(&qx::device_qv::dispatch_get, device, command, command_size, data, data_size, response,
                    response_size);
}

QX_CAMERA_API int set_data__returns_zero_for_success(void* device, const char* command,
                                                     std::uint64_t command_size, const void* data,
                                                     std::uint64_t data_size, char* response,
                                                     std::uint64_t response_size) {
    return dispatch(&qx::device_qv::dispatch_set, device, command, command_size, data, data_size, response,
                    response_size);
}

QX_CAMERA_API int qx_get_module_data(const char* key, void* value, std::int32_t) {
    if (key == nullptr)
        return 0;
    const std::string_view name(key);
    if (name == "version") {
        if (value == nullptr)
            return 1;
        std::memcpy(value, module_version, sizeof module_version);
        return 0;
    }
    if (name == "connect_disconnect") {
        return module_state_class::instance().wait_for_hotplug_payload(static_cast<char*>(value));
    }
    return 0;
}

QX_CAMERA_API int qx_set_module_data(const char* key, void*, std::int32_t) {
    if (key != nullptr && std::string_view(key) == "connect_disconnect_release") {
        module_state_class::instance().release_hotplug_waiter();
    }
    return 0;
}

}  // extern "C"
