#pragma once
// The error phrases a camera's firmware puts in its replies.

#include <array>
#include <optional>
#include <string_view>

#include "quendral_vko_firmware_phrases.h"

namespace qx::camera {

// Index 0 ("Success") is never searched for.
extern const std::array<std::string_view, QX_FIRMWARE_PHRASE_COUNT> firmware_phrases;

inline constexpr std::string_view invalid_command_phrase = "Invalid command";

// Where the first phrase of the table (indexes 1 to 17, in table order) occurs
// in the reply; empty when the reply holds none.
std::optional<std::size_t> find_firmware_phrase(std::string_view reply);

}  // namespace qx::camera
