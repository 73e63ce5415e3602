// Exported functions of image acquisition.

#include "api/call_frame.h"
#include "kit/qx_camera_handle_class.h"
#include "quendral_vko_camera_sdk.h"

using qx::kit::qx_camera_handle_class;

namespace {

// Runs an acquisition method of the handle through the camera call frame.
template <class Method, class... Arguments>
int acquisition_call(void* handle, Method method, Arguments... arguments) {
    return qx::api::run_camera_call(
        handle, [&](qx_camera_handle_class& camera) { (camera.acquisition.*method)(camera, arguments...); });
}

using acquisition = qx::acquisition::frame_acquisition_class;

}  // namespace

extern "C" {

QX_CAMERA_API int qx_camera_arm(void* handle, int number_of_frames_to_buffer) {
    return acquisition_call(handle, &acquisition::arm, number_of_frames_to_buffer);
}

QX_CAMERA_API int qx_camera_disarm(void* handle) {
    return acquisition_call(handle, &acquisition::disarm);
}

QX_CAMERA_API int qx_camera_issue_software_trigger(void* handle) {
    return acquisition_call(handle, &acquisition::issue_software_trigger);
}

QX_CAMERA_API int qx_camera_get_is_armed(void* handle, int* is_armed) {
    return acquisition_call(handle, &acquisition::get_is_armed, is_armed);
}

QX_CAMERA_API int qx_camera_set_frame_available_callback(void* handle, frame_available_callback callback,
                                                         void* context) {
    return acquisition_call(handle, &acquisition::set_frame_available_callback, callback, context);
}

QX_CAMERA_API int qx_camera_get_frame_available_callback(void* handle, frame_available_callback* callback) {
    return acquisition_call(handle, &acquisition::get_frame_available_callback, callback);
}

QX_CAMERA_API int qx_camera_get_pending_frame_or_null(void* handle, unsigned short** image_data,
                                                      int* frame_count, unsigned char** metadata,
                                                      int* metadata_size) {
    return acquisition_call(handle, &acquisition::get_pending_frame, image_data, frame_count, metadata,
                            metadata_size);
}

QX_CAMERA_API int qx_camera_get_image_poll_timeout(void* handle, int* milliseconds) {
    return acquisition_call(handle, &acquisition::get_image_poll_timeout, milliseconds);
}

QX_CAMERA_API int qx_camera_set_image_poll_timeout(void* handle, int milliseconds) {
    return acquisition_call(handle, &acquisition::set_image_poll_timeout, milliseconds);
}

QX_CAMERA_API int qx_camera_get_stream_statistics(void* handle, qx_stream_statistics* statistics) {
    return acquisition_call(handle, &acquisition::get_stream_statistics, statistics);
}

QX_CAMERA_API int qx_camera_acquire_frame(void* handle, int timeout_ms, qx_frame* frame) {
    return acquisition_call(handle, &acquisition::acquire_frame, timeout_ms, frame);
}

QX_CAMERA_API int qx_camera_release_frame(qx_frame* frame) {
    return qx::api::run_kit_call([&] { acquisition::release_frame(frame); });
}

QX_CAMERA_API int qx_camera_get_measured_frame_rate(void* handle, double* frames_per_second) {
    return acquisition_call(handle, &acquisition::get_measured_frame_rate, frames_per_second);
}

}  // extern "C"
