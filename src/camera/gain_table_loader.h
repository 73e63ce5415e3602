#pragma once

namespace qx::kit {
class qx_camera_handle_class;
}

namespace qx::camera {

// Reads the camera's gain table ("gain.disc", then "gain.table") into the
// handle's properties. A camera whose "gain.disc" reply does not mention a
// table stays linear. The caller holds the handle mutex.
void load_gain_table(kit::qx_camera_handle_class& handle);

}  // namespace qx::camera
