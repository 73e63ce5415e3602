#pragma once
// The one boundary between C callers and the kit's C++ code. Every exported
// function runs its work through one of these frames, so that no exception
// crosses the C boundary and every failure leaves its text in the calling
// thread's last error.

#include <exception>
#include <utility>

#include "api/last_error.h"
#include "base/checks.h"
#include "base/status_codes.h"
#include "kit/kit_registry_class.h"

namespace qx::kit {
class qx_camera_handle_class;
}

namespace qx::api {

// Runs a kit function that takes no camera handle: 0 on success, 1004 and
// the exception's text otherwise. Only standard exceptions are caught.
template <class Work>
int run_kit_call(Work&& work) {
    try {
        std::forward<Work>(work)();
        return status_success;
    } catch (const std::exception& failure) {
        return set_last_error(status_invalid_operation, failure.what());
    }
}

// Runs a camera function: a null handle fails before anything else runs,
// whatever the other arguments are; then the work gets the handle object.
template <class Work>
int run_camera_call(void* handle, Work&& work) {
    return run_kit_call([&] {
        kit::check_pointer_set(handle, "Camera handle is null.");
        // Nothing of a pointer that is no open handle is read, not even
        // its dispatch table; the work validates again under the handle
        // mutex.
        kit::kit_registry_class::instance().validate_handle(handle);
        std::forward<Work>(work)(*static_cast<kit::qx_camera_handle_class*>(handle));
    });
}

// Shorthand for the common case: a handle method called with the remaining
// arguments, e.g. camera_method(h, &qx_camera_handle_class::disarm).
template <class Method, class... Arguments>
int camera_method(void* handle, Method method, Arguments&&... arguments) {
    return run_camera_call(handle, [&](kit::qx_camera_handle_class& camera) {
        (camera.*method)(std::forward<Arguments>(arguments)...);
    });
}

}  // namespace qx::api
