#include "camera/region_of_interest.h"

#include <array>
#include <climits>
#include <stdexcept>

#include "base/checks.h"
#include "camera/camera_command_port.h"
#include "camera/command_channel_class.h"
#include "camera/reply_words.h"

namespace qx::camera {

namespace {

using corners = std::array<int, 4>;

constexpr const char* corner_names[] = {"upper_left_x", "upper_left_y", "lower_right_x", "lower_right_y"};
constexpr std::size_t lower_right_x_index = 2;
constexpr std::size_t lower_right_y_index = 3;

corners read_corners(camera_command_port& handle, std::string_view command) {
    const auto integers = read_integers(handle.channel().get(command));
    if (integers.size() < 4)
        throw std::runtime_error("ROI reply holds fewer than four integers.");
    return {integers[0], integers[1], integers[2], integers[3]};
}

void check_outputs(const std::array<int*, 4>& outputs, const char* const (&names)[4]) {
    for (std::size_t index = 0; index < outputs.size(); ++index)
        kit::check_argument(outputs[index], names[index]);
}

void store(const corners& values, const std::array<int*, 4>& outputs) {
    for (std::size_t index = 0; index < outputs.size(); ++index) *outputs[index] = values[index];
}

// The largest region's lower-right corner, plus one, is the sensor's extent.
void get_sensor_extent(camera_command_port& handle, std::size_t corner, int* extent, const char* name) {
    kit::check_argument(extent, name);
    const long long size = read_corners(handle, "roi.max")[corner] + 1LL;
    if (size > INT_MAX)
        throw std::out_of_range("Sensor size is out of range.");
    *extent = static_cast<int>(size);
}

}  // namespace

void get_roi(camera_command_port& handle, int* upper_left_x, int* upper_left_y, int* lower_right_x,
             int* lower_right_y) {
    const std::array<int*, 4> outputs = {upper_left_x, upper_left_y, lower_right_x, lower_right_y};
    check_outputs(outputs, corner_names);
    store(read_corners(handle, "roi"), outputs);
}

void set_roi(camera_command_port& handle, int upper_left_x, int upper_left_y, int lower_right_x,
             int lower_right_y) {
    const long long values[] = {upper_left_x, upper_left_y, lower_right_x, lower_right_y};
    for (std::size_t index = 0; index < std::size(values); ++index) {
        if (values[index] < 0)
            kit::fail_argument(corner_names[index]);
    }
    handle.channel().set(build_command("roi", values, static_cast<int>(std::size(values))));
}

void get_roi_range(camera_command_port& handle, int* upper_left_x_min, int* upper_left_y_min,
                   int* lower_right_x_min, int* lower_right_y_min, int* upper_left_x_max,
                   int* upper_left_y_max, int* lower_right_x_max, int* lower_right_y_max) {
    static constexpr const char* minimum_names[] = {"upper_left_x_min", "upper_left_y_min",
                                                    "lower_right_x_min", "lower_right_y_min"};
    static constexpr const char* maximum_names[] = {"upper_left_x_max", "upper_left_y_max",
                                                    "lower_right_x_max", "lower_right_y_max"};
    const std::array<int*, 4> minimum = {upper_left_x_min, upper_left_y_min, lower_right_x_min,
                                         lower_right_y_min};
    const std::array<int*, 4> maximum = {upper_left_x_max, upper_left_y_max, lower_right_x_max,
                                         lower_right_y_max};
    check_outputs(minimum, minimum_names);
    check_outputs(maximum, maximum_names);
    const corners smallest = read_corners(handle, "roi.min");
    const corners largest = read_corners(handle, "roi.max");
    store(smallest, minimum);
    store(largest, maximum);
}

void get_sensor_width(camera_command_port& handle, int* width_pixels) {
    get_sensor_extent(handle, lower_right_x_index, width_pixels, "width_pixels");
}

void get_sensor_height(camera_command_port& handle, int* height_pixels) {
    get_sensor_extent(handle, lower_right_y_index, height_pixels, "height_pixels");
}

}  // namespace qx::camera
