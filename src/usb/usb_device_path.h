#pragma once
// The text that names one USB device to the kit: which bus it is on, the
// chain of hub ports leading to it, and its vendor and product id. The
// hot-plug monitor reports it and enumeration lists it, so both must format
// it through this one function (docs/device_paths.md).

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>

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
        if (!port_chain.empty()) port_chain += '.';
        port_chain += std::to_string(static_cast<unsigned>(port));
    }
    if (port_chain.empty()) port_chain = "0";
    char ids_text[24];
    std::snprintf(ids_text, sizeof ids_text, "VID_%04X&PID_%04X", static_cast<unsigned>(vendor_id),
                  static_cast<unsigned>(product_id));
    return std::string("USB:BUS_") + bus_text + ":PORT_" + port_chain + ":" + ids_text;
}

}  // namespace qx
