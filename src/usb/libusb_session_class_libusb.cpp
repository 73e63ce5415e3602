#include <libusb.h>
#include <sys/time.h>

#include <stdexcept>
#include <string>

#include "platform/scoped_lock_class.h"
#include "platform/thread_name.h"
#include "usb/libusb_session_class.h"
#include "usb/usb_device_path.h"

namespace qx::usb {

namespace {

// How long one pass of the event thread may wait in libusb. A stop request
// also interrupts the wait, so this only bounds a lost wake-up.
constexpr suseconds_t event_wait_us = 200000;

platform::mutex_class current_session_lock;
// The session in use, if any.
std::weak_ptr<libusb_session_class> current_session QX_GUARDED_BY(current_session_lock);

}  // namespace

std::shared_ptr<libusb_session_class> libusb_session_class::acquire() {
    platform::scoped_lock_class guard(current_session_lock);
    if (auto session = current_session.lock())
        return session;
    libusb_context* context = nullptr;
    const int status = libusb_init(&context);
    if (status != LIBUSB_SUCCESS) {
        throw std::runtime_error(std::string("libusb_session_class::acquire libusb_init error: ") +
                                 libusb_error_name(status) + ".");
    }
    std::shared_ptr<libusb_session_class> session(new libusb_session_class(context));
    current_session = session;
    return session;
}

libusb_session_class::libusb_session_class(libusb_context* context) : context_(context) {
    try {
        event_thread = std::thread([this] { handle_events_until_stopped(); });
    } catch (...) {
        libusb_exit(context_);
        throw;
    }
}

libusb_session_class::~libusb_session_class() {
    stop_requested = true;
    libusb_interrupt_event_handler(context_);
    event_thread.join();
    libusb_exit(context_);
}

void libusb_session_class::handle_events_until_stopped() {
    platform::name_current_thread("LIBUSB EVENTS");
    while (!stop_requested) {
        timeval wait{0, event_wait_us};
        // Failures here are transient (an interrupted poll); the transfers
        // themselves report theirs to their owners.
        libusb_handle_events_timeout_completed(context_, &wait, nullptr);
    }
}

std::string libusb_device_path(libusb_device* device) {
    libusb_device_descriptor descriptor{};
    libusb_get_device_descriptor(device, &descriptor);  // cached by libusb; cannot fail
    std::uint8_t ports[usb_max_port_chain_length] = {};
    const int depth = libusb_get_port_numbers(device, ports, sizeof ports);
    return format_usb_device_path(libusb_get_bus_number(device),
                                  std::span<const std::uint8_t>(ports, depth > 0 ? depth : 0),
                                  descriptor.idVendor, descriptor.idProduct);
}

}  // namespace qx::usb
