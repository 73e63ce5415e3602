#pragma once
// How exposures start, and the sensor's data rate. "hwtrig" carries both the
// operation mode (first word: "none", "std", "bulb") and the trigger
// polarity (second word: "hi", "lo"); reading the mode is a catalogue row,
// as are EEP and taps. The caller holds the handle mutex.

namespace qx::camera {

class camera_command_port;

// 1 when the second word of "hwtrig" is exactly "lo", else 0; a reply that
// is not exactly two words fails with "hwtrig".
void get_trigger_polarity(camera_command_port& handle, int* trigger_polarity_enum);
// 0 (active high) or 1 (active low), else refused with "trigger_polarity"
// before anything is sent; keeps the camera's current mode word.
void set_trigger_polarity(camera_command_port& handle, int trigger_polarity);
// Mode 0 sends "hwtrig none"; modes 1 and 2 keep the current polarity.
void set_operation_mode(camera_command_port& handle, int operation_mode);
// Mode 0 always; modes 1 and 2 as "iosetup" says ("ts" yes, "!t!s" no, a
// camera without the command yes; another reply fails with
// "I/O setup reply not recognized."); other modes never.
void get_is_operation_mode_supported(camera_command_port& handle, int operation_mode,
                                     int* is_operation_mode_supported);

// Data rates 0 and 1 are readout-frequency settings 0 and 1; 2 and 3 are 30
// and 50 frames per second.
void get_data_rate(camera_command_port& handle, int* data_rate);
void set_data_rate(camera_command_port& handle, int data_rate);
// From the feature flags alone, without an exchange.
void get_is_data_rate_supported(camera_command_port& handle, int data_rate, int* is_supported);

}  // namespace qx::camera
