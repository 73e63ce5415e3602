#include "usb/usb_driver_base.h"

#include <stdexcept>

#include "base/checks.h"
#include "platform/scoped_lock_class.h"

namespace qx::usb {

namespace {
std::string checked_path(std::string device_path) {
    std::string trimmed = device_path;
    kit::check_trimmed_not_empty(trimmed, "Device path must be provided.");
    return device_path;
}
}  // namespace

usb_driver_base::usb_driver_base(std::string device_path) : path(checked_path(std::move(device_path))) {}

usb_driver_base::~usb_driver_base() = default;

void usb_driver_base::check_finite_timeout(std::uint32_t timeout_ms) {
    constexpr std::uint32_t infinite_timeout = 0xFFFFFFFF;
    if (timeout_ms == infinite_timeout)
        throw std::runtime_error("Finite timeout required.");
}

void usb_driver_base::parent_reset(bool force) {
    platform::scoped_lock_class transfers(transfer_lock);
    platform::scoped_lock_class controls(control_lock);
    struct endpoint {
        int channel;
        bool is_in;
    };
    constexpr endpoint checked_in_order[] = {
        {image_channel, true}, {command_channel, false}, {command_channel, true}};
    bool any_stalled = false;
    for (const auto& checked : checked_in_order) {
        if (!get_is_endpoint_stalled(checked.channel, checked.is_in))
            continue;
        any_stalled = true;
        unstall_endpoint(checked.channel, checked.is_in);
        get_is_endpoint_stalled(checked.channel, checked.is_in);
    }
    if (!any_stalled && force)
        reset_parent_port();
}

}  // namespace qx::usb
