#pragma once

namespace qx::camera {

class camera_command_port;

// Reads the camera's gain table ("gain.disc", then "gain.table") into the
// handle's properties. A camera whose "gain.disc" reply does not mention a
// table stays linear. The caller holds the handle mutex.
void load_gain_table(camera_command_port& handle);

}  // namespace qx::camera
