// Exported functions of the kit's lifecycle and error reporting.

#include "api/call_frame.h"
#include "kit/kit_registry_class.h"
#include "quendral_vko_camera_sdk.h"

using qx::api::run_kit_call;
using qx::kit::kit_registry_class;

extern "C" {

QX_CAMERA_API int qx_camera_open_sdk(void) {
    return run_kit_call([] { kit_registry_class::instance().open_sdk(); });
}

QX_CAMERA_API int qx_camera_close_sdk(void) {
    return run_kit_call([] { kit_registry_class::instance().close_sdk(); });
}

// Discovery has a frame of its own: its argument failures have their own
// codes, and a failure of discovery itself is code 8 with the bare text.
QX_CAMERA_API int qx_camera_discover_available_cameras(char* serial_numbers, int size) {
    if (serial_numbers == nullptr) {
        return qx::api::set_last_error(qx::api::status_invalid_parameter,
                                       "Serial numbers string must not be null.");
    }
    if (size < 1) {
        return qx::api::set_last_error(qx::api::status_insufficient_buffer,
                                       "Serial numbers string is too short.");
    }
    try {
        kit_registry_class::instance().discover_cameras(serial_numbers, size);
        return qx::api::status_success;
    } catch (const std::exception& failure) {
        qx::api::set_last_error_text(failure.what());
        return qx::api::module_status_initialization_failure;
    }
}

QX_CAMERA_API int qx_camera_open_camera(char* serial_number, void** handle) {
    return run_kit_call([&] {
        if (serial_number == nullptr)
            throw std::invalid_argument("camera_serial_number");
        if (handle == nullptr)
            throw std::invalid_argument("handle");
        *handle = kit_registry_class::instance().open_camera(serial_number);
    });
}

QX_CAMERA_API int qx_camera_close_camera(void* handle) {
    return run_kit_call([&] { kit_registry_class::instance().close_camera(handle); });
}

QX_CAMERA_API const char* qx_camera_get_last_error(void) {
    return qx::api::last_error_text();
}

}  // extern "C"
