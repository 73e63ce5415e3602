#pragma once
// One opened camera of the built-in family: the object that the module's
// create returns and every other entry point receives.
//
// Locks, in the order they nest: command_lock, then packet_loop_lock, then
// acquisition_lock (arming takes all three); the packet loop takes
// packet_loop_lock alone, a wait for a frame acquisition_lock alone. The
// module-wide camera list mutex and the transport's locks come last.

#include <atomic>
#include <cstdint>
#include <string>

#include "device_qv/column_balancing_class.h"
#include "device_qv/device_acquisition_class.h"
#include "platform/scoped_lock_class.h"
#include "usb/usb_driver_base.h"

namespace qx::device_qv {

inline constexpr std::uint32_t command_timeout_ms = 5000;
inline constexpr std::uint32_t reply_area_size = 1024;

class qv_camera_class {
  public:
    // Reads the camera's "id" and "sernum", loads its column-balancing data
    // and enters the module's list of open cameras. The transport is not
    // owned: the module deletes it after the camera.
    explicit qv_camera_class(usb::usb_driver_base* transport);
    // Stops acquisition and leaves the list of open cameras. Never throws.
    ~qv_camera_class();

    qv_camera_class(const qv_camera_class&) = delete;
    qv_camera_class& operator=(const qv_camera_class&) = delete;

    // Sends one text command (`length` bytes, its NUL included) and reads
    // the reply, with two attempts and link recovery after a time-out or a
    // stall. Copies the first `copy_length` bytes of the reply into
    // `caller_buffer` when it is given. Keeps the cached gain in step when a
    // "gain " command succeeds while column correction is on.
    void send_command(const char* command, std::uint32_t length, char* caller_buffer,
                      std::uint32_t copy_length, std::uint32_t timeout_ms = command_timeout_ms);

    // Fits the column-correction tables to the geometry just read, when
    // correction is on. Takes the command lock.
    void adapt_column_correction();
    // Applies column correction to a frame slot when correction is on.
    // Takes the command lock.
    void correct_columns(unsigned char* slot, int width, int height);

    // Convenience: sends a text command and returns its reply text.
    std::string query(const std::string& command, std::uint32_t copy_length = reply_area_size);

    usb::usb_driver_base* transport() const { return usb_transport; }
    const std::string& id() const { return camera_id; }
    const std::string& serial_number() const { return camera_serial; }

    // The camera's locks, for scoped_lock_class: the command lock
    // serialises every camera text command and the camera's state; the
    // acquisition lock serialises arming, stopping and waits; the packet
    // loop holds its lock while it handles one packet.
    platform::recursive_mutex_class& command_mutex() QX_RETURN_CAPABILITY(command_lock) { return command_lock; }
    platform::recursive_mutex_class& acquisition_mutex() QX_RETURN_CAPABILITY(acquisition_lock) {
        return acquisition_lock;
    }
    platform::recursive_mutex_class& packet_loop_mutex() QX_RETURN_CAPABILITY(packet_loop_lock) {
        return packet_loop_lock;
    }

    std::atomic<std::uint32_t> image_poll_timeout_ms{100};
    // Whether each frame slot begins with the metadata record; set by the
    // kit before it arms, read by the packet loop.
    std::atomic<bool> metadata_enabled{false};
    std::int32_t cached_gain QX_GUARDED_BY(command_lock) = 0;  // the active column-gain set
    column_balancing_class column_balancing QX_GUARDED_BY(command_lock);

  private:
    platform::recursive_mutex_class command_lock QX_ACQUIRED_BEFORE(packet_loop_lock, acquisition_lock);
    platform::recursive_mutex_class packet_loop_lock QX_ACQUIRED_BEFORE(acquisition_lock);
    platform::recursive_mutex_class acquisition_lock;
    usb::usb_driver_base* usb_transport;
    std::string camera_id;
    std::string camera_serial;

  public:
    // Last, so that it is destroyed first: the packet loop uses the members
    // above until it has stopped.
    device_acquisition_class acquisition{*this};
};

}  // namespace qx::device_qv
