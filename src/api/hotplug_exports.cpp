// Exported functions of hot-plug events: registering the application's
// connect and disconnect callbacks.

#include "api/call_frame.h"
#include "kit/kit_registry_class.h"
#include "quendral_vko_camera_sdk.h"

using qx::api::run_kit_call;
using qx::kit::kit_registry_class;

extern "C" {

QX_CAMERA_API int qx_camera_set_camera_connect_callback(camera_connect_callback callback, void* context) {
    return run_kit_call([&] { kit_registry_class::instance().set_connect_callback(callback, context); });
}

QX_CAMERA_API int qx_camera_set_camera_disconnect_callback(camera_disconnect_callback callback,
                                                           void* context) {
    return run_kit_call([&] { kit_registry_class::instance().set_disconnect_callback(callback, context); });
}

}  // extern "C"
