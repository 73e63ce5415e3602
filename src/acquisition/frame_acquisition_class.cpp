#include "acquisition/frame_acquisition_class.h"

#include "kit/qx_camera_handle_class.h"

namespace qx::acquisition {

void frame_acquisition_class::disarm(kit::qx_camera_handle_class& handle) {
    handle.run_locked([&] {
        // Cleared before "stop" is sent, so a refused "stop" still leaves the
        // handle disarmed.
        armed = false;
        handle.channel().set("stop");
    });
}

}  // namespace qx::acquisition
