#pragma once
// Conversions between a gain index and decibels. A camera with a gain table
// (loaded when it is opened) maps index i to entry i in tenths of a decibel;
// a camera without one (fewer than two entries) maps linearly, ten indexes
// to the decibel. Reading and writing the gain are catalogue rows. The
// caller holds the handle mutex.

namespace qx::camera {

class camera_command_port;

// An index outside the table fails with "Gain index is outside the gain table.".
void convert_gain_to_decibels(camera_command_port& handle, int gain, double* decibels);
// The index within the camera's gain range nearest to the decibels; a tie
// goes to the higher index, the linear case rounds halves away from zero.
// Nothing is written when the range's minimum exceeds its maximum. A
// decibel value that is not a number is refused with "decibels".
void convert_decibels_to_gain(camera_command_port& handle, double decibels, int* index_to_gain);

}  // namespace qx::camera
