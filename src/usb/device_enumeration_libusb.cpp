// Lists the USB devices present through libusb, in libusb's order, with
// paths in the form the hot-plug monitor reports.

#include <libusb.h>

#include "usb/device_enumerator_class.h"
#include "usb/libusb_session_class.h"

namespace qx::usb {

std::optional<std::vector<std::string>> list_platform_device_paths() {
    libusb_context* context = nullptr;
    // A machine without USB access (no usbfs) simply has no real cameras.
    if (libusb_init(&context) != 0)
        return std::vector<std::string>{};
    libusb_device** devices = nullptr;
    const ssize_t count = libusb_get_device_list(context, &devices);
    if (count < 0) {
        libusb_exit(context);
        return std::nullopt;
    }
    std::vector<std::string> found;
    for (ssize_t index = 0; index < count; ++index) {
        // The same path the transport opens and the hot-plug monitor reports.
        std::string path = libusb_device_path(devices[index]);
        if (!path.empty())
            found.push_back(std::move(path));
    }
    libusb_free_device_list(devices, 1);
    libusb_exit(context);
    return found;
}

}  // namespace qx::usb
