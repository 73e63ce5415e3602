#include "base/status_codes.h"

#include <array>

namespace qx::api {

namespace {

// Module texts carry no final full stop; kit texts do. Both are exact.
constexpr std::array<const char*, 18> module_status_texts = {
    "No error",
    "Error: Memory deallocate error",
    "Error: Too many internal functions requested",
    "Error: Failed to open module",
    "Error: Failed to map function",
    "Error: Object not found",
    "Error: Get data failed",
    "Error: Set data failed",
    "Error: Initialization failure",
    "Error: Failed to open device",
    "Error: Failed to close device",
    "Error: Failed to start device",
    "Error: Failed to stop device",
    "Error: Communication failure",
    "Error: Device disconnected",
    "Error: Insufficient buffer size",
    "Error: Invalid pointer",
    "Error: USB transfer memory limit reached. On Linux platforms, raise your usbfs_memory_mb parameter. See "
    "SDK "
    "README for more information.",
};

constexpr int first_kit_code = 1000;
constexpr std::array<const char*, 6> kit_status_texts = {
    "No error",
    "Error: Insufficient buffer size.",
    "Error: Unsupported parameter or camera feature.",
    "Error: Invalid parameter. Check documentation for detailed parameter information.",
    "Error: Invalid operation.",
    "Error: Firmware-reported error.",
};

constexpr const char* unknown_status_text = "Error: Unknown.";

}  // namespace

const char* status_text(int code) {
    if (code >= 0 && code < static_cast<int>(module_status_texts.size()))
        return module_status_texts[code];
    if (code >= first_kit_code && code < first_kit_code + static_cast<int>(kit_status_texts.size())) {
        return kit_status_texts[code - first_kit_code];
    }
    return unknown_status_text;
}

}  // namespace qx::api
