#pragma once
// The Cypress USB driver's device I/O control codes and speed codes, as the
// FX3 transport uses them. Portable (no Windows headers) so that the tables
// are checked on every platform.

#include <cstdint>
#include <string>

namespace qx::usb::cypress {

// Driver control codes, all sent on the opened device.
inline constexpr std::uint32_t control_transfer_code = 0x220020;   // stall query
inline constexpr std::uint32_t bulk_transfer_code = 0x220024;      // both directions, overlapped
inline constexpr std::uint32_t reset_pipe_code = 0x22002C;         // input: 1 byte endpoint address
inline constexpr std::uint32_t reset_parent_port_code = 0x220030;  // no input, no output
inline constexpr std::uint32_t abort_pipe_code = 0x220044;         // input: 1 byte endpoint address
inline constexpr std::uint32_t usb_speed_code = 0x22004C;          // 4 bytes in, 4 bytes out

// The control scratch buffer: a request header and the largest data stage.
inline constexpr std::uint32_t control_data_capacity = 16384;

// What the driver's speed code means.
struct usb_speed_entry {
    std::uint32_t code;
    const char* text;
};
inline constexpr usb_speed_entry usb_speed_texts[] = {
    {1, "USB 1.0"},
    {2, "USB 2.0"},
    {4, "USB 3.0"},
};

// "USB 1.0", "USB 2.0", "USB 3.0", or "UNKNOWN" for any other code.
inline std::string usb_speed_text(std::uint32_t code) {
    for (const auto& entry : usb_speed_texts) {
        if (entry.code == code)
            return entry.text;
    }
    return "UNKNOWN";
}

}  // namespace qx::usb::cypress
