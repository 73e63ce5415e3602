#pragma once
// The device interface class of the Cypress USB driver that serves the
// camera's FX3 controller, {AE18AA60-7F6A-11D4-97DD-00010229B959}: what
// enumeration lists and what the hot-plug monitor watches on Windows.

#include <windows.h>

namespace qx::usb {

inline constexpr GUID cypress_driver_interface_class = {
    0xAE18AA60, 0x7F6A, 0x11D4, {0x97, 0xDD, 0x00, 0x01, 0x02, 0x29, 0xB9, 0x59}};

}  // namespace qx::usb
