// Lists the USB devices present through libusb, in libusb's order, with
// paths in the form the hot-plug monitor reports.

#include <libusb.h>

#include "usb/device_enumerator_class.h"
#include "usb/usb_device_path.h"

namespace qx::usb {

std::optional<std::vector<std::string>> list_platform_device_paths() {
    libusb_context* context = nullptr;
    // A machine without USB access (no usbfs) simply has no real cameras.
    if (libusb_init(&context) != 0) return std::vector<std::string>{};
    libusb_device** devices = nullptr;
    const ssize_t count = libusb_get_device_list(context, &devices);
    if (count < 0) {
        libusb_exit(context);
        return std::nullopt;
    }
    std::vector<std::string> found;
    for (ssize_t index = 0; index < count; ++index) {
        libusb_device_descriptor descriptor{};
        if (libusb_get_device_descriptor(devices[index], &descriptor) != 0) continue;
        std::uint8_t ports[usb_max_port_chain_length] = {};
        const int depth = libusb_get_port_numbers(devices[index], ports, sizeof ports);
        found.push_back(format_usb_device_path(libusb_get_bus_number(devices[index]),
                                               std::span<const std::uint8_t>(ports, depth > 0 ? depth : 0),
                                               descriptor.idVendor, descriptor.idProduct));
    }
    libusb_free_device_list(devices, 1);
    libusb_exit(context);
    return found;
}

}  // namespace qx::usb
