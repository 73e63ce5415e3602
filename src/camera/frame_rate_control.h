#pragma once
// The frame-rate control value. The camera keeps it in thousandths of a
// frame per second under the word "sfr", whose reply is the on/off word
// followed by the value. Switching the control on and off is a catalogue row.
// The caller holds the handle mutex.

namespace qx::camera {

class camera_command_port;

void get_frame_rate_control_value(camera_command_port& handle, double* frame_rate_fps);
// Accepts values above 0 and up to 2147483647 frames per second; the
// product with 1000 is cut toward zero to a signed 32-bit number, and one
// beyond that range is sent as -2147483648.
void set_frame_rate_control_value(camera_command_port& handle, double frame_rate_fps);
void get_frame_rate_control_value_range(camera_command_port& handle, double* frame_rate_fps_min,
                                        double* frame_rate_fps_max);

}  // namespace qx::camera
