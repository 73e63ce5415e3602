// The C boundary of the emulator. Every function runs its body in one call
// frame that turns failures into a status and the calling thread's last
// error text; no exception leaves the library.

#include <cstring>
#include <new>
#include <nlohmann/json.hpp>
#include <string>

#include "emulator_error_class.h"
#include "emulator_registry_class.h"
#include "fault_plan_class.h"
#include "quendral_vko_camera_emulator.h"

struct qx_emu_device {
    std::shared_ptr<qx::emulator::virtual_camera_class> camera;
};

namespace {

using qx::emulator::emulator_error_class;
using qx::emulator::emulator_registry_class;

thread_local std::string last_error;

// Texts for the statuses a body answers without raising.
const char* text_of_status(int status) {
    switch (status) {
        case QX_EMU_TIMEOUT:
            return "nothing arrived within the time-out";
        case QX_EMU_STALL:
            return "the endpoint is stalled until it is cleared or the port is reset";
        default:
            return "the call failed";
    }
}

template <class body_type>
int call_frame(body_type&& body) noexcept {
    try {
        last_error.clear();
        const int status = body();
        if (status < 0) {
            last_error = text_of_status(status);
        }
        return status;
    } catch (const emulator_error_class& error) {
        last_error = error.what();
        return error.status();
    } catch (const std::bad_alloc&) {
        last_error = "out of memory";
        return QX_EMU_TRANSFER_ERROR;
    } catch (const std::exception& error) {
        last_error = error.what();
        return QX_EMU_INVALID;
    } catch (...) {
        last_error = "unknown failure";
        return QX_EMU_INVALID;
    }
}

emulator_registry_class& registry() {
    return emulator_registry_class::instance();
}

const char* require_text(const char* text, const char* name) {
    if (text == nullptr) {
        throw emulator_error_class(QX_EMU_INVALID, std::string(name) + " is null");
    }
    return text;
}

qx::emulator::virtual_camera_class& camera_of(qx_emu_device* device) {
    if (device == nullptr) {
        throw emulator_error_class(QX_EMU_INVALID, "device is null");
    }
    return *device->camera;
}

int copy_path(const std::string& path, char* out, int out_size) {
    if (out == nullptr || out_size <= static_cast<int>(path.size())) {
        throw emulator_error_class(
            QX_EMU_INVALID,
            "the path buffer must hold " + std::to_string(path.size() + 1) + " bytes for '" + path + "'");
    }
    std::memcpy(out, path.c_str(), path.size() + 1);
    return QX_EMU_OK;
}

}  // namespace

extern "C" {

QX_EMU_API const char* qx_emu_get_last_error(void) {
    return last_error.c_str();
}

QX_EMU_API int qx_emu_reset(const char* config) {
    return call_frame([&] {
        registry().reset(config);
        return QX_EMU_OK;
    });
}

QX_EMU_API int qx_emu_get_camera_count(const char* family) {
    return call_frame([&] { return registry().camera_count(family); });
}

QX_EMU_API int qx_emu_get_camera_path(const char* family, int index, char* path, int path_size) {
    return call_frame([&] { return copy_path(registry().camera_path(family, index), path, path_size); });
}

QX_EMU_API int qx_emu_add_hotplug_listener(qx_emu_hotplug_listener_t listener, void* context) {
    return call_frame([&] { return registry().add_listener(listener, context); });
}

QX_EMU_API int qx_emu_remove_hotplug_listener(int listener_id) {
    return call_frame([&] {
        registry().remove_listener(listener_id);
        return QX_EMU_OK;
    });
}

QX_EMU_API int qx_emu_plug_camera(const char* camera_json, char* path, int path_size) {
    return call_frame([&] {
        if (path == nullptr || path_size <= 0) {
            throw emulator_error_class(QX_EMU_INVALID, "path is null");
        }
        return copy_path(registry().plug(camera_json), path, path_size);
    });
}

QX_EMU_API int qx_emu_unplug_camera(const char* device_path) {
    return call_frame([&] {
        registry().unplug(require_text(device_path, "device_path"));
        return QX_EMU_OK;
    });
}

QX_EMU_API int qx_emu_move_camera(const char* device_path, int new_port, char* new_path, int path_size) {
    return call_frame([&] {
        if (new_path == nullptr || path_size <= 0) {
            throw emulator_error_class(QX_EMU_INVALID, "new_path is null");
        }
        return copy_path(registry().move(require_text(device_path, "device_path"), new_port), new_path,
                         path_size);
    });
}

QX_EMU_API int qx_emu_pulse_hardware_trigger(const char* device_path) {
    return call_frame([&] {
        registry().find_camera(require_text(device_path, "device_path"))->pulse_hardware_trigger();
        return QX_EMU_OK;
    });
}

QX_EMU_API int qx_emu_set_faults(const char* device_path, const char* faults_json) {
    return call_frame([&] {
        const auto camera = registry().find_camera(require_text(device_path, "device_path"));
        nlohmann::json faults;
        try {
            faults = nlohmann::json::parse(require_text(faults_json, "faults_json"));
        } catch (const nlohmann::json::parse_error& error) {
            throw emulator_error_class(QX_EMU_INVALID,
                                       std::string("faults: JSON syntax error: ") + error.what());
        }
        camera->set_faults(qx::emulator::fault_plan_class::from_json(faults, "faults"));
        return QX_EMU_OK;
    });
}

QX_EMU_API int qx_emu_get_counters(const char* device_path, qx_emu_counters* counters) {
    return call_frame([&] {
        if (counters == nullptr) {
            throw emulator_error_class(QX_EMU_INVALID, "counters is null");
        }
        *counters = registry().find_camera_or_departed(require_text(device_path, "device_path"))->counters();
        return QX_EMU_OK;
    });
}

QX_EMU_API qx_emu_device* qx_emu_device_open(const char* device_path) {
    qx_emu_device* device = nullptr;
    call_frame([&] {
        device = new qx_emu_device{registry().find_camera(require_text(device_path, "device_path"))};
        return QX_EMU_OK;
    });
    return device;
}

QX_EMU_API void qx_emu_device_close(qx_emu_device* device) {
    delete device;
}

QX_EMU_API int qx_emu_device_get_ids(qx_emu_device* device, unsigned int* vendor_id,
                                     unsigned int* product_id) {
    return call_frame([&] {
        auto& camera = camera_of(device);
        if (!camera.is_plugged()) {
            throw emulator_error_class(QX_EMU_NO_DEVICE,
                                       "the camera " + camera.config().serial + " is unplugged");
        }
        const auto& config = camera.config();
        if (vendor_id == nullptr || product_id == nullptr) {
            throw emulator_error_class(QX_EMU_INVALID, "vendor_id and product_id must not be null");
        }
        *vendor_id = config.vendor_id;
        *product_id = config.product_id;
        return QX_EMU_OK;
    });
}

QX_EMU_API int qx_emu_device_get_speed(qx_emu_device* device) {
    return call_frame([&] { return camera_of(device).speed_code(); });
}

QX_EMU_API int qx_emu_device_write(qx_emu_device* device, const void* data, size_t size,
                                   unsigned int timeout_ms) {
    return call_frame([&] { return camera_of(device).write_command(data, size, timeout_ms); });
}

QX_EMU_API int qx_emu_device_read(qx_emu_device* device, void* buffer, size_t capacity, size_t* transferred,
                                  unsigned int timeout_ms) {
    return call_frame(
        [&] { return camera_of(device).read_reply(buffer, capacity, transferred, timeout_ms); });
}

QX_EMU_API int qx_emu_device_read_packet(qx_emu_device* device, void* packet, unsigned int timeout_ms) {
    return call_frame([&] { return camera_of(device).read_packet(packet, timeout_ms); });
}

QX_EMU_API int qx_emu_device_cancel_packet_read(qx_emu_device* device) {
    return call_frame([&] {
        camera_of(device).cancel_packet_read();
        return QX_EMU_OK;
    });
}

QX_EMU_API int qx_emu_device_get_endpoint_stalled(qx_emu_device* device, unsigned char endpoint_address,
                                                  int* stalled) {
    return call_frame([&] {
        auto& camera = camera_of(device);
        if (stalled == nullptr) {
            throw emulator_error_class(QX_EMU_INVALID, "stalled is null");
        }
        *stalled = camera.is_endpoint_stalled(endpoint_address) ? 1 : 0;
        return QX_EMU_OK;
    });
}

QX_EMU_API int qx_emu_device_clear_stall(qx_emu_device* device, unsigned char endpoint_address) {
    return call_frame([&] {
        camera_of(device).clear_stall(endpoint_address);
        return QX_EMU_OK;
    });
}

QX_EMU_API int qx_emu_device_reset_port(qx_emu_device* device) {
    return call_frame([&] {
        camera_of(device).reset_port();
        return QX_EMU_OK;
    });
}

}  // extern "C"
