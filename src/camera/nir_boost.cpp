#include "camera/nir_boost.h"

#include <stdexcept>

#include "base/checks.h"
#include "base/number_conversion.h"
#include "camera/camera_command_port.h"
#include "camera/command_channel_class.h"

namespace qx::camera {

namespace {

constexpr std::string_view boost_command = "NIR_boost";

int nir_boost_support(camera_command_port& handle) {
    const int order = handle.channel().get("NIR_boost.max").compare("0");
    return order < 0 ? -1 : (order > 0 ? 1 : 0);
}

void require_nir_boost(camera_command_port& handle) {
    if (nir_boost_support(handle) == 0)
        throw std::runtime_error("Camera does not support NIR boost mode.");
}

}  // namespace

void get_is_nir_boost_supported(camera_command_port& handle, int* is_nir_boost_supported) {
    kit::check_argument(is_nir_boost_supported, "is_nir_boost_supported");
    *is_nir_boost_supported = nir_boost_support(handle);
}

void get_nir_boost_enable(camera_command_port& handle, int* nir_boost_enable) {
    kit::check_argument(nir_boost_enable, "nir_boost_enable");
    require_nir_boost(handle);
    *nir_boost_enable = to_int(handle.channel().get(boost_command));
}

void set_nir_boost_enable(camera_command_port& handle, int nir_boost_enable) {
    require_nir_boost(handle);
    handle.channel().set(build_command(boost_command, nir_boost_enable != 0 ? "1" : "0"));
}

}  // namespace qx::camera
