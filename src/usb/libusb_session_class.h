#pragma once
// The process's libusb context for open cameras, and the one thread that
// handles libusb's events for all of them: completions of the image
// transfers, and the completions and time-outs of the synchronous command
// and control transfers (which wait for that thread when it holds libusb's
// event lock). The session exists while at least one camera is open: the
// first open makes it, and the last close stops the thread and exits the
// context. Enumeration uses a short-lived context of its own.

#include <atomic>
#include <memory>
#include <string>
#include <thread>

struct libusb_context;
struct libusb_device;

namespace qx::usb {

class libusb_session_class {
  public:
    // The running session, made on first use. Fails with
    // "libusb_session_class::acquire libusb_init error: <libusb error name>."
    // when libusb cannot start (no usbfs, for instance).
    static std::shared_ptr<libusb_session_class> acquire();

    // Stops the event thread, then exits the context. Every device handle of
    // the context is closed by then: each holds a shared reference.
    ~libusb_session_class();

    libusb_session_class(const libusb_session_class&) = delete;
    libusb_session_class& operator=(const libusb_session_class&) = delete;

    libusb_context* context() const { return context_; }

  private:
    explicit libusb_session_class(libusb_context* context);
    void handle_events_until_stopped();

    libusb_context* const context_;
    std::atomic<bool> stop_requested{false};
    std::thread event_thread;
};

// The path the kit names a libusb device by (docs/device_paths.md): its bus,
// its chain of hub ports and its ids, "USB:BUS_003:PORT_1.4:VID_2A7C&PID_6101".
std::string libusb_device_path(libusb_device* device);

}  // namespace qx::usb
