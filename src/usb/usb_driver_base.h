#pragma once
// The USB connection to one camera of the built-in family: a command channel
// (endpoint 0x02 out, 0x82 in) that carries the camera's text protocol and an
// image channel (endpoint 0x83 in) that carries 16,384-byte packets. One
// implementation per platform driver: the Windows Cypress driver, libusb, and
// the camera emulator.
//
// Locks, in the order they nest: image_lock, then transfer_lock, then
// control_lock. A command or image read that finds its endpoint stalled asks
// the control channel while it holds transfer_lock, so endpoint recovery
// takes the two in that same order.

#include <cstdint>
#include <memory>
#include <string>

#include "platform/scoped_lock_class.h"

namespace qx::usb {

// Channel indexes: 0 the command channel, 1 image data.
inline constexpr int command_channel = 0;
inline constexpr int image_channel = 1;
inline constexpr std::uint32_t command_transfer_size = 1024;
inline constexpr std::uint32_t image_transfer_size = 16384;
inline constexpr int image_transfers_in_flight = 256;

// The endpoint address of a channel and direction: 0x02, 0x82, 0x03, 0x83.
inline constexpr unsigned char endpoint_address(int channel, bool is_in) {
    return static_cast<unsigned char>((channel == command_channel ? 2 : 3) + (is_in ? 0x80 : 0));
}

class usb_driver_base {
  public:
    // Fails with "Trimmed string is empty: Device path must be provided."
    // for an empty path.
    explicit usb_driver_base(std::string device_path);
    // Closes the device and releases every transfer. Never throws.
    virtual ~usb_driver_base();

    usb_driver_base(const usb_driver_base&) = delete;
    usb_driver_base& operator=(const usb_driver_base&) = delete;

    // Reads one reply from the command channel. Copies the channel's whole
    // transfer size (1,024 bytes, whatever `length` asks for) into
    // `destination` when it is not null. Blocks up to `timeout_ms`.
    // Takes transfer_lock. Sets `timed_out` when nothing came in time,
    // `failed` when the transfer failed, `stalled` from the endpoint's state.
    // Throws on a driver failure.
    virtual void read__blocking(std::uint32_t length, void* destination, std::uint32_t timeout_ms,
                                bool& timed_out, bool& failed, bool& stalled) = 0;

    // Writes `length` bytes on the command channel. Blocks up to
    // `timeout_ms`. Takes transfer_lock. Sets `timed_out` and `stalled`.
    // Throws on a driver failure.
    virtual void write(std::uint32_t length, const void* bytes, std::uint32_t timeout_ms, bool& timed_out,
                       bool& stalled) = 0;

    // "USB 1.0", "USB 2.0", "USB 3.0" or "UNKNOWN". Takes control_lock.
    // Throws "Error getting USB-port speed." when the driver refuses.
    virtual std::string get_usb_port_speed() = 0;

    // Consumes the oldest image transfer: copies its 16,384 bytes into
    // `destination` and submits the transfer again. Blocks up to
    // `timeout_ms` (0xFFFFFFFF is refused: "Finite timeout required.").
    // Takes image_lock, then transfer_lock (released while waiting).
    virtual void read_image_data(void* destination, std::uint32_t timeout_ms, bool& timed_out, bool& failed,
                                 bool& stalled) = 0;

    // Ends a read_image_data waiting on another thread at once, as a
    // time-out; when none is waiting, the next one ends so. Never throws.
    virtual void wake_image_reader() noexcept = 0;

    // Submits every image transfer, so that the driver always holds buffers.
    // Called once when the packet loop starts. Takes transfer_lock.
    virtual void prime_image_channel() = 0;

    // Whether an endpoint reports a stall (a GET_STATUS request to it).
    // Takes control_lock. Throws when the request is refused.
    virtual bool get_is_endpoint_stalled(int channel, bool is_in) = 0;

    // Aborts and resets an endpoint's pipe. Takes control_lock and
    // transfer_lock together.
    virtual void unstall_endpoint(int channel, bool is_in) = 0;

    // Resets the port the device hangs on. Takes control_lock (and, where
    // the transport cancels its transfers first, transfer_lock with it).
    virtual void reset_parent_port() = 0;

    // Link recovery: checks the image IN, command OUT and command IN
    // endpoints in that order and unstalls each stalled one (checking it
    // again); when none was stalled and `force` is set, resets the parent
    // port. Holds control_lock and transfer_lock together throughout.
    void parent_reset(bool force);

    const std::string& device_path() const { return path; }

  protected:
    // Image reads must end: throws "Finite timeout required." for the
    // infinite time-out 0xFFFFFFFF.
    static void check_finite_timeout(std::uint32_t timeout_ms);

    // Protected, not private: each platform's transport takes them around
    // its own driver calls.
    platform::recursive_mutex_class image_lock QX_ACQUIRED_BEFORE(transfer_lock);
    platform::recursive_mutex_class transfer_lock QX_ACQUIRED_BEFORE(control_lock);
    platform::recursive_mutex_class control_lock;

  private:
    std::string path;
};

// The transport for a device path: "EMU:..." paths reach the emulator,
// "USB:..." paths libusb, and on Windows every other path the Cypress driver.
std::unique_ptr<usb_driver_base> open_usb_driver(const std::string& device_path);

}  // namespace qx::usb
