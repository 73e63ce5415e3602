#include "camera/colour.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "base/checks.h"
#include "base/number_conversion.h"
#include "camera/camera_command_port.h"
#include "camera/command_channel_class.h"
#include "camera/reply_words.h"

namespace qx::camera {

namespace {

constexpr std::string_view monochrome_replies[] = {"mono", "none", "none nir"};
constexpr int monochrome = 0;
constexpr int colour = 1;
constexpr int monochrome_polarized = 2;

constexpr std::string_view matrix_commands[] = {"color_correction_matrix", "default_white_balance_matrix"};

}  // namespace

void get_camera_sensor_type(camera_command_port& handle, int* camera_sensor_type) {
    kit::check_argument(camera_sensor_type, "camera_sensor_type");
    if (!handle.camera_properties().has(feature::color)) {
        *camera_sensor_type = monochrome;
        return;
    }
    const std::string reply = handle.channel().get("color");
    if (reply == "none polar") {
        *camera_sensor_type = monochrome_polarized;
    } else {
        *camera_sensor_type = find_word(monochrome_replies, reply) ? monochrome : colour;
    }
}

void get_colour_matrix(camera_command_port& handle, colour_matrix matrix_kind, float* matrix) {
    kit::check_argument(matrix, "matrix");
    const auto words =
        split_words(handle.channel().get(matrix_commands[static_cast<std::size_t>(matrix_kind)]));
    const std::size_t count = std::min(words.size(), colour_matrix_entries);
    std::array<float, colour_matrix_entries> values{};
    for (std::size_t index = 0; index < count; ++index) values[index] = to_float(words[index]);
    std::copy_n(values.begin(), count, matrix);
}

void get_output_color_space(camera_command_port& handle, char* output_color_space) {
    kit::check_argument(output_color_space, "output_color_space");
    const std::string reply = handle.channel().get("output_color_space");
    const std::size_t length = std::min(reply.size(), output_color_space_size - 1);
    std::memcpy(output_color_space, reply.data(), length);
    output_color_space[length] = '\0';
}

}  // namespace qx::camera
