#pragma once
// The kit side of image acquisition for one camera handle.

#include <atomic>

namespace qx::kit {
class qx_camera_handle_class;
}

namespace qx::acquisition {

class frame_acquisition_class {
public:
    // Clears the armed flag, then sends "stop". The caller holds the handle
    // mutex.
    void disarm(kit::qx_camera_handle_class& handle);

    bool is_armed() const { return armed; }

private:
    bool armed = false;  // guarded by the handle mutex
};

}  // namespace qx::acquisition
