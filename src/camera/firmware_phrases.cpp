#include "camera/firmware_phrases.h"

namespace qx::camera {

const std::array<std::string_view, 18> firmware_phrases = {
    "Success",
    "Command not found",
    "Too many arguments",
    "Not enough arguments",
    "Invalid command",
    "Duplicate command",
    "Command missing in JSON structure",
    "Initializing",
    "Command option not supported",
    "FPGA not programmed",
    "Width must start even, end odd and be multiple of 4",
    "Height and/or width out of range",
    "Parameter out of range",
    "Command locked",
    "Camera running (parameter cannot be set while in this mode)",
    "Roi and bin combination invalid",
    "Image data sync failure",
    "Camera Running",
};

std::optional<std::size_t> find_firmware_phrase(std::string_view reply) {
    for (std::size_t index = 1; index < firmware_phrases.size(); ++index) {
        const auto position = reply.find(firmware_phrases[index]);
        if (position != std::string_view::npos)
            return position;
    }
    return std::nullopt;
}

}  // namespace qx::camera
