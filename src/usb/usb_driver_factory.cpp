#include <cctype>
#include <stdexcept>

#include "usb/emulated_fx3_class.h"
#include "usb/usb_driver_base.h"
#if defined(_WIN32)
#include "usb/cypress_fx3_class.h"
#else
#include "usb/libusb_fx3_class.h"
#endif

namespace qx::usb {

namespace {
// Paths are compared as enumeration stores them, in upper case.
bool starts_with(const std::string& text, const char* prefix) {
    for (std::size_t index = 0; prefix[index] != '\0'; ++index) {
        if (index >= text.size() || std::toupper(static_cast<unsigned char>(text[index])) != prefix[index]) {
            return false;
        }
    }
    return true;
}
}  // namespace

std::unique_ptr<usb_driver_base> open_usb_driver(const std::string& device_path) {
    if (starts_with(device_path, "EMU:"))
        return std::make_unique<emulated_fx3_class>(device_path);
#if defined(_WIN32)
    return std::make_unique<cypress_fx3_class>(device_path);
#else
    if (starts_with(device_path, "USB:"))
        return std::make_unique<libusb_fx3_class>(device_path);
    throw std::runtime_error("Unknown device path: " + device_path);
#endif
}

}  // namespace qx::usb
