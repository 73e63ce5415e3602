#pragma once
// The transport to a camera of the built-in family through libusb-1.0, on
// Linux and wherever else libusb runs. It opens the device that sits at the
// bus and port chain of its path ("USB:BUS_003:PORT_1.4:VID_2A7C&PID_6101"),
// claims interface 0 (detaching a kernel driver bound to it), and drives:
// - the command channel with one transfer at a time, OUT 0x02 and IN 0x82;
// - the image channel as a ring of 256 16,384-byte bulk-IN transfers on 0x83
//   that are always submitted: read_image_data consumes the oldest and
//   submits it again, so libusb always holds buffers;
// - endpoint stalls with GET_STATUS and libusb_clear_halt, and the port reset
//   with libusb_reset_device.
// Every transfer is asynchronous: completions arrive on the one libusb event
// thread of the process's session (libusb_session_class), and the caller
// waits for them on this object's condition variable.
//
// Locks, in the order they nest: image_lock, then transfer_lock, then
// control_lock (the stall query inside a transfer), then completion_lock,
// which the event thread takes in the completion callback and which is never
// held while calling into libusb.

#include <cstddef>
#include <deque>
#include <memory>
#include <vector>

#include "platform/condition_variable_class.h"
#include "usb/usb_driver_base.h"

struct libusb_device_handle;
struct libusb_transfer;

namespace qx::usb {

class libusb_session_class;

class libusb_fx3_class final : public usb_driver_base {
  public:
    // Opens and claims the device. Failures name the step, e.g.
    // "libusb_fx3_class::libusb_fx3_class no USB device at USB:BUS_...".
    explicit libusb_fx3_class(std::string device_path);
    // Cancels the image transfers and waits for them, releases the
    // interface and closes the device.
    ~libusb_fx3_class() override;

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
    // For the image channel, cancels its transfers first; each then comes
    // back from read_image_data once as a failed read and is submitted again.
    void unstall_endpoint(int channel, bool is_in) override;
    void reset_parent_port() override;

  private:
    enum class transfer_state { idle, in_flight, completed };

    struct transfer_deleter {
        void operator()(libusb_transfer* transfer) const;
    };
    struct handle_closer {
        void operator()(libusb_device_handle* handle) const;
    };

    // One libusb transfer with its buffer, and what its completion reported.
    struct transfer_record {
        libusb_fx3_class* owner = nullptr;
        std::unique_ptr<libusb_transfer, transfer_deleter> transfer;
        std::vector<unsigned char> buffer;
        // Guarded by the owner's completion_lock, which the analysis cannot
        // name from here: libusb hands the record back through a pointer.
        transfer_state state = transfer_state::idle;
        int status = 0;  // a libusb_transfer_status
        int actual_length = 0;
    };

    static void transfer_completed(libusb_transfer* transfer);

    void open_device_at_path();
    // Detaches a kernel driver bound to interface 0, then claims it.
    void claim_interface(const char* method);
    void make_record(transfer_record& record, std::size_t buffer_size);
    // Hands a record to libusb; a refusal is thrown.
    void submit(transfer_record& record, const char* method) QX_EXCLUDES(completion_lock);
    // Submits a record and waits until libusb returns it; answers the result
    // as a libusb error code (LIBUSB_SUCCESS, LIBUSB_ERROR_TIMEOUT ...).
    int submit_and_wait(transfer_record& record, std::uint32_t timeout_ms, const char* method)
        QX_EXCLUDES(completion_lock);
    // One bulk transfer of the command channel. The caller holds
    // transfer_lock.
    int transfer_command(bool is_in, unsigned char* bytes, std::uint32_t length, std::uint32_t timeout_ms,
                         const char* method) QX_REQUIRES(transfer_lock);
    // Runs transfer_command and reports its outcome through the flags. A
    // write passes no `failed` flag: it reports time-outs and stalls, and
    // throws on any other failure.
    void exchange_on_command_channel(bool is_in, unsigned char* bytes, std::uint32_t length,
                                     std::uint32_t timeout_ms, bool& timed_out, bool* failed, bool& stalled,
                                     const char* method) QX_REQUIRES(transfer_lock);
    // Cancels every submitted image transfer and waits until libusb has
    // returned each one. The caller holds transfer_lock. Returns false when
    // some did not come back in time.
    bool cancel_image_transfers() QX_REQUIRES(transfer_lock) QX_EXCLUDES(completion_lock);
    // Hands out a consumed record's data, or reports its failure through
    // the flags. The caller holds transfer_lock.
    void report_image_completion(transfer_record& record, void* destination, bool& failed, bool& stalled)
        QX_REQUIRES(transfer_lock) QX_EXCLUDES(completion_lock);

    // Declared first, destroyed last: the context outlives the handle.
    std::shared_ptr<libusb_session_class> session;
    // The records are declared before the handle, so that the handle is
    // closed first: a transfer that never came back is then forgotten by
    // libusb before its memory is freed.
    std::vector<transfer_record> image_ring;  // fixed size once made
    std::deque<std::size_t> image_queue QX_GUARDED_BY(transfer_lock);  // ring indexes, oldest submission first
    transfer_record command_transfer QX_GUARDED_BY(transfer_lock);  // its state by completion_lock
    transfer_record control_transfer QX_GUARDED_BY(control_lock);   // its state by completion_lock
    std::unique_ptr<libusb_device_handle, handle_closer> handle;
    bool interface_claimed QX_GUARDED_BY(control_lock) = false;

    // The leaf: nothing is taken while it is held.
    platform::mutex_class completion_lock QX_ACQUIRED_AFTER(control_lock);
    platform::condition_variable_class completion_changed;  // a record's state changed, or the reader was woken
    bool image_reader_woken QX_GUARDED_BY(completion_lock) = false;  // kept until a read consumes it
};

}  // namespace qx::usb
