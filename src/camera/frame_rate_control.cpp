#include "camera/frame_rate_control.h"

#include <climits>
#include <stdexcept>

#include "base/checks.h"
#include "base/number_conversion.h"
#include "camera/camera_command_port.h"
#include "camera/command_channel_class.h"
#include "camera/parameter_catalogue.h"
#include "camera/reply_words.h"

namespace qx::camera {

namespace {

constexpr std::string_view frame_rate_command = "sfr";
constexpr double thousandths_per_unit = 1000.0;

// What the camera's native platform yields for a conversion out of the
// signed 32-bit range: the most negative value.
int thousandths_cut_toward_zero(double frame_rate_fps) {
    const double thousandths = frame_rate_fps * thousandths_per_unit;
    if (thousandths >= 2147483648.0)
        return INT_MIN;
    return static_cast<int>(thousandths);
}

}  // namespace

void get_frame_rate_control_value(camera_command_port& handle, double* frame_rate_fps) {
    kit::check_argument(frame_rate_fps, "frame_rate_fps");
    require_feature(handle, frame_rate_control_need);
    const auto words = split_words(handle.channel().get(frame_rate_command));
    if (words.size() < 2)
        throw std::runtime_error("Frame rate control value not recognized.");
    // The value word is read leniently: text without a number reads as 0.
    *frame_rate_fps = to_int_or_zero(words[1]) / thousandths_per_unit;
}

void set_frame_rate_control_value(camera_command_port& handle, double frame_rate_fps) {
    require_feature(handle, frame_rate_control_need);
    // The bound applies to frames per second, before the multiplication.
    if (!(frame_rate_fps > 0.0 && frame_rate_fps <= 2147483647.0)) {
        throw std::out_of_range("Frame rate parameter is out of range.");
    }
    handle.channel().set(build_command(frame_rate_command, thousandths_cut_toward_zero(frame_rate_fps)));
}

void get_frame_rate_control_value_range(camera_command_port& handle, double* frame_rate_fps_min,
                                        double* frame_rate_fps_max) {
    const range_query query{frame_rate_command, reply_conversion::thousandths_to_units, "frame_rate_fps_min",
                            "frame_rate_fps_max", frame_rate_control_need};
    get_range(handle, query, frame_rate_fps_min, frame_rate_fps_max);
}

}  // namespace qx::camera
