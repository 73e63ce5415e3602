#pragma once
// Kit functions that a kit library of an older release may lack. They are
// referenced weakly, so the extension loads against either and asks
// `available()` before the first use; a missing one reads as a null address.

#include "quendral_vko_camera_sdk.h"

extern "C" {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wattributes"
__attribute__((weak)) int qx_camera_acquire_frame(void* handle, int timeout_ms, qx_frame* frame);
__attribute__((weak)) int qx_camera_release_frame(qx_frame* frame);
__attribute__((weak)) int qx_camera_get_stream_statistics(void* handle, qx_stream_statistics* statistics);
__attribute__((weak)) int qx_camera_get_parameter_count(int* count);
__attribute__((weak)) int qx_camera_get_parameter_description(int index, qx_parameter_description* description);
__attribute__((weak)) int qx_camera_get_parameter(void* handle, const char* name, char* value, int value_size);
__attribute__((weak)) int qx_camera_set_parameter(void* handle, const char* name, const char* value);
__attribute__((weak)) int qx_camera_get_parameter_range(void* handle, const char* name, char* minimum,
                                                        char* maximum, int text_size);
__attribute__((weak)) int qx_camera_set_camera_connect_callback(camera_connect_callback callback, void* context);
__attribute__((weak)) int qx_camera_set_camera_disconnect_callback(camera_disconnect_callback callback,
                                                                   void* context);
#pragma GCC diagnostic pop
}

namespace qx::python {

template <class Function>
bool available(Function* function) {
    return function != nullptr;
}

}  // namespace qx::python
