#include "held_frame_class.h"

#include <cstdio>

namespace qx::python {

held_frame_class::held_frame_class(const qx_frame& held) : frame_(held) {}

held_frame_class::~held_frame_class() {
    // Runs when the last view of the pixels is gone; a failure cannot be
    // raised from here, and the slot is the kit's to reclaim either way.
    if (qx_camera_release_frame(&frame_) != QX_STATUS_SUCCESS)
        std::fprintf(stderr, "quendral_vko: releasing a frame failed: %s\n", qx_camera_get_last_error());
}

}  // namespace qx::python
