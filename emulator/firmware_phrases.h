#pragma once
// The camera firmware's reply phrases. Refusals are answered with exactly
// these texts, because the host scans every reply for them.

#include <array>
#include <string_view>

#include "quendral_vko_firmware_phrases.h"

namespace qx::emulator {

enum class firmware_phrase {
    success = 0,
    command_not_found,
    too_many_arguments,
    not_enough_arguments,
    invalid_command,
    duplicate_command,
    command_missing_in_json,
    initializing,
    option_not_supported,
    fpga_not_programmed,
    width_alignment,
    size_out_of_range,
    parameter_out_of_range,
    command_locked,
    camera_running_refusal,
    roi_bin_combination_invalid,
    image_data_sync_failure,
    camera_running,
};

inline constexpr std::array<std::string_view, QX_FIRMWARE_PHRASE_COUNT> firmware_phrase_texts = {
    QX_FIRMWARE_PHRASES};

/** The text of a firmware phrase. */
constexpr std::string_view text_of(firmware_phrase phrase) {
    return firmware_phrase_texts[static_cast<std::size_t>(phrase)];
}

}  // namespace qx::emulator
