#pragma once
// The near-infrared boost. Whether a camera has it is asked of the camera
// ("NIR_boost.max"), not taken from its feature flags. The caller holds the
// handle mutex.

namespace qx::camera {

class camera_command_port;

// 0 when the "NIR_boost.max" reply is exactly "0"; otherwise the sign of a
// text comparison of the reply with "0": -1 when its first character sorts
// before the digit 0, else 1. Both non-zero answers mean supported.
void get_is_nir_boost_supported(camera_command_port& handle, int* is_nir_boost_supported);
void get_nir_boost_enable(camera_command_port& handle, int* nir_boost_enable);
// Sends "1" for non-zero, "0" for zero.
void set_nir_boost_enable(camera_command_port& handle, int nir_boost_enable);

}  // namespace qx::camera
