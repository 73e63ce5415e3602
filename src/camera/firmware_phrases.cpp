#include "camera/firmware_phrases.h"

namespace qx::camera {

const std::array<std::string_view, QX_FIRMWARE_PHRASE_COUNT> firmware_phrases = {QX_FIRMWARE_PHRASES};

std::optional<std::size_t> find_firmware_phrase(std::string_view reply) {
    for (std::size_t index = 1; index < firmware_phrases.size(); ++index) {
        const auto position = reply.find(firmware_phrases[index]);
        if (position != std::string_view::npos)
            return position;
    }
    return std::nullopt;
}

}  // namespace qx::camera
