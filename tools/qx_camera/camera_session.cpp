#include "camera_session.h"

#include <cstdlib>
#include <sstream>

#include "exit_codes.h"
#include "quendral_vko_camera_sdk.h"

namespace qx::tool {

void use_emulated_cameras(const std::string& count_or_file) {
    if (!count_or_file.empty())
        setenv("QX_EMULATED_CAMERAS", count_or_file.c_str(), 1);
}

sdk_session::sdk_session() {
    check_call("qx_camera_open_sdk", qx_camera_open_sdk());
}

sdk_session::~sdk_session() {
    qx_camera_close_sdk();
}

std::vector<std::string> sdk_session::serial_numbers() const {
    std::string text(4096, '\0');
    check_call("qx_camera_discover_available_cameras",
               qx_camera_discover_available_cameras(text.data(), static_cast<int>(text.size() - 1)));
    std::istringstream words(text.c_str());
    std::vector<std::string> serials;
    for (std::string serial; words >> serial;) serials.push_back(serial);
    return serials;
}

camera_session::camera_session(const std::string& serial_number) : serial_number_(serial_number) {
    const auto serials = sdk_.serial_numbers();
    if (serials.empty())
        throw tool_failure(exit_camera_not_found, "no camera found (try --emulate 1 to use an emulated one)");
    if (serial_number_.empty())
        serial_number_ = serials.front();
    check_call("qx_camera_open_camera", qx_camera_open_camera(serial_number_.data(), &handle_));
}

camera_session::~camera_session() {
    qx_camera_close_camera(handle_);
}

}  // namespace qx::tool
