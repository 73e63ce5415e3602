#pragma once
// The transport through the Cypress USB driver on Windows. The driver is
// driven with device I/O control requests on the device path found by
// enumeration: bulk transfers on the command channel (one transfer record)
// and on the image channel (a ring of 256 records always held by the
// driver), endpoint status queries, pipe abort and reset, parent-port reset
// and the port speed.
//
// Locks (held in usb_driver_base), in the order they may nest: image_lock,
// then transfer_lock, then control_lock. unstall_endpoint and parent_reset
// take control_lock and transfer_lock together.
//
// No Windows header is included here: handles are kept as void* and the
// transfer record is defined in the implementation.

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "usb/cypress_driver_protocol.h"
#include "usb/usb_driver_base.h"
#include "usb/usb_transfer_header.h"

namespace qx::usb {

class windows_driver_calls;

class cypress_fx3_class final : public usb_driver_base {
  public:
    // Opens the device for overlapped I/O and makes every channel's transfer
    // records. Fails with "cypress_fx3_class::cypress_fx3_class CreateFile
    // error." when the path cannot be opened.
    explicit cypress_fx3_class(std::string device_path);
    // The same through the given driver calls instead of the installed ones.
    cypress_fx3_class(std::string device_path, windows_driver_calls& calls);
    // Runs cleanup; a failure to close the device is swallowed here.
    ~cypress_fx3_class() override;

    void read__blocking(std::uint32_t length, void* destination, std::uint32_t timeout_ms, bool& timed_out,
                        bool& failed, bool& stalled) override;
    void write(std::uint32_t length, const void* bytes, std::uint32_t timeout_ms, bool& timed_out,
               bool& stalled) override;
    std::string get_usb_port_speed() override;
    void read_image_data(void* destination, std::uint32_t timeout_ms, bool& timed_out, bool& failed,
                         bool& stalled) override;
    void wake_image_reader() noexcept override;
    void prime_image_channel() override;
    bool get_is_endpoint_stalled(int channel, bool is_in) override;
    void unstall_endpoint(int channel, bool is_in) override;
    void reset_parent_port() override;

  private:
    struct transfer_record;

    // One of the four channels: its endpoint, buffer and transfer sizes, the
    // records it owns and the queue they pass through.
    struct channel_descriptor {
        std::uint32_t endpoint_number = 0;
        std::uint32_t buffer_size = 0;
        std::uint32_t transfer_size = 0;
        std::vector<std::unique_ptr<transfer_record>> records;
        // Guarded by transfer_lock; the analysis cannot name the owner's
        // lock from a member of a nested record.
        std::deque<transfer_record*> queue;
    };

    void make_channels();
    // Submits a record's bulk transfer (code 0x220024). Returns the
    // driver's status; `error` receives the last error right after it.
    bool submit_bulk_transfer(transfer_record& record, unsigned long& error);
    // Takes back a transfer the driver still holds, so that its record can
    // be submitted again or freed.
    void cancel_transfer(transfer_record& record) noexcept;
    // Sends one control request and waits for the driver's answer.
    bool send_control_request(std::uint32_t code, void* input, std::uint32_t input_size, void* output,
                              std::uint32_t output_size);
    void abort_pipe(int channel, bool is_in);
    void reset_pipe(int channel, bool is_in);
    // Appends an image record to the back of the image channel's queue and
    // submits it. Takes transfer_lock.
    void queue_packet(transfer_record& record);
    // Closes the device, then every record's event and buffer. Throws
    // "cypress_fx3_class::cleanup CloseHandle error." after releasing
    // everything when the device cannot be closed.
    void cleanup();

    // A request header and the largest data stage, for endpoint status
    // queries.
    std::array<unsigned char, transfer_header_size + cypress::control_data_capacity>
        control_scratch QX_GUARDED_BY(control_lock){};
    windows_driver_calls& driver;  // every request to the USB driver goes through it
    void* device;                  // the opened driver file (a HANDLE)
    // An auto-reset event (a HANDLE) that ends the image reader's wait; it
    // stays set until a read consumes it. The kit's own event, not a driver
    // request: the wake reaches no driver, simulated or real.
    void* image_reader_wake;
    std::array<channel_descriptor, 4> channels;
};

}  // namespace qx::usb
