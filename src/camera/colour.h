#pragma once
// What kind of sensor the camera has and what it recommends for colour
// work. The filter-array and polar phases are catalogue rows. The caller
// holds the handle mutex.

#include <cstddef>

namespace qx::camera {

class camera_command_port;

// Matrices are 3 by 3 floats, row after row.
inline constexpr std::size_t colour_matrix_entries = 9;
// The output colour space buffer holds this many bytes, the NUL included.
inline constexpr std::size_t output_color_space_size = 64;

enum class colour_matrix { color_correction, default_white_balance };

// 0 monochrome (also for a camera without the "color" feature, asked
// nothing), 1 colour, 2 monochrome polarized.
void get_camera_sensor_type(camera_command_port& handle, int* camera_sensor_type);
// Stores the reply's numbers in order, at most colour_matrix_entries of
// them; a reply with fewer numbers leaves the rest of the matrix untouched.
void get_colour_matrix(camera_command_port& handle, colour_matrix matrix_kind, float* matrix);
// Copies the reply with its NUL; a longer reply is cut to
// output_color_space_size - 1 characters and terminated.
void get_output_color_space(camera_command_port& handle, char* output_color_space);

}  // namespace qx::camera
