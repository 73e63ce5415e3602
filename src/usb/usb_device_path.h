#pragma once
// The text that names one USB device to the kit: which bus it is on, the
// chain of hub ports leading to it, and its vendor and product id. The
// hot-plug monitor reports it and enumeration lists it, so both must format
// it through this one function (docs/device_paths.md).

#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace qx {

// USB allows at most seven tiers of hubs below the root port.
inline constexpr std::size_t usb_max_port_chain_length = 7;

// "USB:BUS_003:PORT_1.4:VID_2A7C&PID_6101". A device without a port chain
// (a root hub) gets "PORT_0": real port numbers start at 1, so it cannot be
// mistaken for a plugged-in device.
inline std::string format_usb_device_path(std::uint8_t bus_number, std::span<const std::uint8_t> port_numbers,
                                          std::uint16_t vendor_id, std::uint16_t product_id) {
    char bus_text[8];
    std::snprintf(bus_text, sizeof bus_text, "%03u", static_cast<unsigned>(bus_number));
    std::string port_chain;
    for (const std::uint8_t port : port_numbers) {
        if (!port_chain.empty())
            port_chain += '.';
        port_chain += std::to_string(static_cast<unsigned>(port));
    }
    if (port_chain.empty())
        port_chain = "0";
    char ids_text[24];
    std::snprintf(ids_text, sizeof ids_text, "VID_%04X&PID_%04X", static_cast<unsigned>(vendor_id),
                  static_cast<unsigned>(product_id));
    return std::string("USB:BUS_") + bus_text + ":PORT_" + port_chain + ":" + ids_text;
}

// The id written after `marker` ("VID_" or "PID_") in an upper-case path:
// at most four hexadecimal digits, read up to the first character that is
// not one. Empty when the marker is absent. Windows paths, which are the
// driver's own, are read this way.
inline std::optional<std::uint32_t> usb_id_after(std::string_view path, std::string_view marker) {
    const auto position = path.find(marker);
    if (position == std::string_view::npos)
        return std::nullopt;
    std::uint32_t value = 0;
    for (const char c : path.substr(position + marker.size(), 4)) {
        if (c >= '0' && c <= '9')
            value = value * 16 + static_cast<std::uint32_t>(c - '0');
        else if (c >= 'A' && c <= 'F')
            value = value * 16 + static_cast<std::uint32_t>(c - 'A' + 10);
        else
            break;
    }
    return value;
}

}  // namespace qx
