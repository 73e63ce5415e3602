#include "usb/emulated_fx3_class.h"

#include <cstring>
#include <stdexcept>

#include "usb/cypress_driver_protocol.h"

namespace qx::usb {

emulated_fx3_class::emulated_fx3_class(std::string device_path)
    : usb_driver_base(std::move(device_path)), device(qx_emu_device_open(this->device_path().c_str())) {
    if (device == nullptr) {
        throw std::runtime_error(std::string("emulated_fx3_class::emulated_fx3_class cannot open device: ") +
                                 qx_emu_get_last_error());
    }
}

emulated_fx3_class::~emulated_fx3_class() {
    qx_emu_device_close(device);
}

void emulated_fx3_class::throw_if_gone(int status, const char* method) const {
    if (status == QX_EMU_NO_DEVICE) {
        throw std::runtime_error(std::string("emulated_fx3_class::") + method + " device disconnected.");
    }
    if (status == QX_EMU_INVALID) {
        throw std::runtime_error(std::string("emulated_fx3_class::") + method + " " +
                                 qx_emu_get_last_error());
    }
}

void emulated_fx3_class::write(std::uint32_t length, const void* bytes, std::uint32_t timeout_ms,
                               bool& timed_out, bool& stalled) {
    platform::scoped_lock_class guard(transfer_lock);
    timed_out = false;
    stalled = false;
    const int status = qx_emu_device_write(device, bytes, length, timeout_ms);
    throw_if_gone(status, "write");
    if (status == QX_EMU_TIMEOUT) {
        timed_out = true;
        stalled = get_is_endpoint_stalled(command_channel, false);
    } else if (status == QX_EMU_STALL) {
        stalled = true;
    }
}

void emulated_fx3_class::read__blocking(std::uint32_t, void* destination, std::uint32_t timeout_ms,
                                        bool& timed_out, bool& failed, bool& stalled) {
    platform::scoped_lock_class guard(transfer_lock);
    timed_out = false;
    failed = false;
    stalled = false;
    if (destination != nullptr)
        static_cast<char*>(destination)[0] = '\0';
    char reply[command_transfer_size] = {};
    std::size_t transferred = 0;
    const int status = qx_emu_device_read(device, reply, sizeof reply, &transferred, timeout_ms);
    throw_if_gone(status, "read__blocking");
    switch (status) {
        case QX_EMU_OK:
            // The whole transfer size is delivered, whatever was asked for.
            if (destination != nullptr)
                std::memcpy(destination, reply, sizeof reply);
            break;
        case QX_EMU_TIMEOUT:
            timed_out = true;
            stalled = get_is_endpoint_stalled(command_channel, true);
            break;
        case QX_EMU_STALL:
            failed = true;
            stalled = true;
            break;
        default:
            failed = true;
            stalled = get_is_endpoint_stalled(command_channel, true);
            break;
    }
}

std::string emulated_fx3_class::get_usb_port_speed() {
    platform::scoped_lock_class guard(control_lock);
    const int speed = qx_emu_device_get_speed(device);
    if (speed < 0)
        throw std::runtime_error("Error getting USB-port speed.");
    // The emulator reports the controller's own speed codes.
    return cypress::usb_speed_text(static_cast<std::uint32_t>(speed));
}

void emulated_fx3_class::read_image_data(void* destination, std::uint32_t timeout_ms, bool& timed_out,
                                         bool& failed, bool& stalled) {
    platform::scoped_lock_class reading(image_lock);
    timed_out = false;
    failed = false;
    stalled = false;
    check_finite_timeout(timeout_ms);
    const int status = qx_emu_device_read_packet(device, destination, timeout_ms);
    switch (status) {
        case QX_EMU_OK:
            break;
        case QX_EMU_TIMEOUT:
            timed_out = true;
            break;
        case QX_EMU_STALL:
            failed = true;
            stalled = true;
            break;
        default:
            // An unplugged camera reads as a failed transfer, as a real one
            // does once its transfers are cancelled.
            failed = true;
            break;
    }
}

void emulated_fx3_class::wake_image_reader() noexcept {
    qx_emu_device_cancel_packet_read(device);
}

void emulated_fx3_class::prime_image_channel() {
    // The emulator produces packets on demand; nothing needs submitting.
}

bool emulated_fx3_class::get_is_endpoint_stalled(int channel, bool is_in) {
    platform::scoped_lock_class guard(control_lock);
    int stalled = 0;
    const int status = qx_emu_device_get_endpoint_stalled(device, endpoint_address(channel, is_in), &stalled);
    if (status != QX_EMU_OK)
        throw std::runtime_error("emulated_fx3_class::get_is_endpoint_stalled failed.");
    return stalled != 0;
}

void emulated_fx3_class::unstall_endpoint(int channel, bool is_in) {
    platform::scoped_lock_class transfers(transfer_lock);
    platform::scoped_lock_class controls(control_lock);
    if (qx_emu_device_clear_stall(device, endpoint_address(channel, is_in)) != QX_EMU_OK) {
        throw std::runtime_error("emulated_fx3_class::unstall_endpoint failed.");
    }
}

void emulated_fx3_class::reset_parent_port() {
    platform::scoped_lock_class guard(control_lock);
    if (qx_emu_device_reset_port(device) != QX_EMU_OK) {
        throw std::runtime_error("emulated_fx3_class::parent_reset failed.");
    }
}

}  // namespace qx::usb
