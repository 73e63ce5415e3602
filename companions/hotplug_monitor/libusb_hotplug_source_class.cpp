#include "libusb_hotplug_source_class.h"

#include <array>
#include <cstdint>
#include <span>

#include "platform/scoped_lock_class.h"
#include "quendral_vko_device_module.h"
#include "usb/usb_device_path.h"

namespace qx {

namespace {
// How long one wait for libusb events lasts; the stop request also
// interrupts the wait, this only bounds the worst case.
constexpr long event_wait_microseconds = 200000;
}  // namespace

libusb_hotplug_source_class::libusb_hotplug_source_class(hotplug_event_dispatcher_class& dispatcher)
    : dispatcher_(dispatcher) {
    if (libusb_init(&context_) != LIBUSB_SUCCESS) {
        context_ = nullptr;
        return;
    }
    if (libusb_has_capability(LIBUSB_CAP_HAS_HOTPLUG) == 0) {
        libusb_exit(context_);
        context_ = nullptr;
        return;
    }
    try {
        event_thread_ = std::thread([this] { run_event_loop(); });
    } catch (...) {
        libusb_exit(context_);
        context_ = nullptr;
    }
}

libusb_hotplug_source_class::~libusb_hotplug_source_class() {
    if (context_ == nullptr)
        return;
    {
        platform::scoped_lock_class lock(filters_mutex_);
        for (const auto& filter : filters_) libusb_hotplug_deregister_callback(context_, filter.handle);
        filters_.clear();
    }
    stopping_ = true;
    libusb_interrupt_event_handler(context_);
    if (event_thread_.joinable())
        event_thread_.join();
    libusb_exit(context_);
}

void libusb_hotplug_source_class::watch_device_ids(unsigned int vendor_id, unsigned int product_id) {
    if (!is_watching())
        return;
    platform::scoped_lock_class lock(filters_mutex_);
    for (const auto& filter : filters_) {
        if (filter.vendor_id == vendor_id && filter.product_id == product_id)
            return;
    }
    // No enumeration flag: subscribers hear about changes from now on, the
    // devices already present are what enumeration lists.
    libusb_hotplug_callback_handle handle = 0;
    const int result = libusb_hotplug_register_callback(
        context_,
        static_cast<libusb_hotplug_event>(LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED |
                                          LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT),
        static_cast<libusb_hotplug_flag>(0), static_cast<int>(vendor_id), static_cast<int>(product_id),
        LIBUSB_HOTPLUG_MATCH_ANY, &libusb_hotplug_source_class::report_device_change, this, &handle);
    if (result == LIBUSB_SUCCESS)
        filters_.push_back({vendor_id, product_id, handle});
}

int LIBUSB_CALL libusb_hotplug_source_class::report_device_change(libusb_context*, libusb_device* device,
                                                                  libusb_hotplug_event event, void* source) {
    // libusb keeps the bus, the port chain and the cached descriptor of a
    // departed device, so a departure reports the same path as its arrival.
    libusb_device_descriptor descriptor{};
    if (libusb_get_device_descriptor(device, &descriptor) != LIBUSB_SUCCESS)
        return 0;
    std::array<std::uint8_t, usb_max_port_chain_length> ports{};
    const int port_count = libusb_get_port_numbers(device, ports.data(), static_cast<int>(ports.size()));
    if (port_count < 0)
        return 0;
    const int event_code =
        event == LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED ? QX_HOTPLUG_EVENT_ARRIVAL : QX_HOTPLUG_EVENT_DEPARTURE;
    static_cast<libusb_hotplug_source_class*>(source)->dispatcher_.post_event(
        {event_code,
         format_usb_device_path(
             libusb_get_bus_number(device),
             std::span<const std::uint8_t>(ports.data(), static_cast<std::size_t>(port_count)),
             descriptor.idVendor, descriptor.idProduct),
         descriptor.idVendor, descriptor.idProduct});
    return 0;  // stay registered
}

void libusb_hotplug_source_class::run_event_loop() {
    while (!stopping_) {
        timeval wait{0, event_wait_microseconds};
        libusb_handle_events_timeout_completed(context_, &wait, nullptr);
    }
}

}  // namespace qx
