#pragma once
// An emulated camera opened through the kit and streaming without end to a
// frame callback, for the end-to-end benchmarks.

#include <string>

#include "quendral_vko_camera_emulator.h"
#include "quendral_vko_camera_sdk.h"

namespace qx::bench {

// Resets the emulator to @p config, opens the kit and the camera @p serial
// and starts an unlimited stream into @p slots buffers, delivered to
// @p on_frame. Returns the camera, or null with @p error set.
inline void* start_streaming(const std::string& config, std::string serial, int slots,
                             frame_available_callback on_frame, void* context, std::string& error) {
    if (qx_emu_reset(config.c_str()) != QX_EMU_OK) {
        error = qx_emu_get_last_error();
        return nullptr;
    }
    char serials[256] = {};
    void* camera = nullptr;
    if (qx_camera_open_sdk() != 0 || qx_camera_discover_available_cameras(serials, sizeof serials - 1) != 0 ||
        qx_camera_open_camera(serial.data(), &camera) != 0) {
        error = qx_camera_get_last_error();
        qx_camera_close_sdk();
        return nullptr;
    }
    char reply[64];
    char unlimited[] = "nframes 0";
    _internal_command(camera, unlimited, sizeof unlimited, reply, sizeof reply);
    qx_camera_set_frame_available_callback(camera, on_frame, context);
    qx_camera_arm(camera, slots);
    qx_camera_issue_software_trigger(camera);
    return camera;
}

inline void stop_streaming(void* camera) {
    qx_camera_disarm(camera);
    qx_camera_close_camera(camera);
    qx_camera_close_sdk();
}

}  // namespace qx::bench
