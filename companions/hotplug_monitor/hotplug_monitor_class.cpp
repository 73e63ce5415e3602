#include "hotplug_monitor_class.h"

#include <new>

#include "hotplug_monitor_functions.h"
#include "platform/scoped_lock_class.h"

namespace qx {

namespace {
constexpr unsigned int largest_usb_id = 0xFFFF;
}  // namespace

hotplug_monitor_class& hotplug_monitor_class::instance() {
    // Static storage that is never destroyed: at process exit the emulator's
    // and libusb's state may already be gone, so an open monitor is left
    // running rather than torn down against them. A closed monitor holds no
    // heap memory, so unloading it leaves nothing behind.
    alignas(hotplug_monitor_class) static unsigned char storage[sizeof(hotplug_monitor_class)];
    static hotplug_monitor_class* const monitor = new (storage) hotplug_monitor_class();
    return *monitor;
}

int hotplug_monitor_class::open_monitor() {
    // Joining the dispatch thread from itself would never end.
    if (hotplug_event_dispatcher_class::is_dispatch_thread())
        return hotplug_monitor_called_from_callback;
    platform::scoped_lock_class lock(lifecycle_mutex_);
    if (open_count_ == 0) {
        try {
            dispatcher_ = std::make_unique<hotplug_event_dispatcher_class>();
            usb_source_ = std::make_unique<usb_hotplug_source_class>(*dispatcher_);
            emulator_source_ = std::make_unique<emulator_hotplug_source_class>(*dispatcher_);
        } catch (...) {
            stop_monitoring();
            return hotplug_monitor_start_failed;
        }
    }
    ++open_count_;
    return hotplug_monitor_ok;
}

int hotplug_monitor_class::close_monitor() {
    if (hotplug_event_dispatcher_class::is_dispatch_thread())
        return hotplug_monitor_called_from_callback;
    platform::scoped_lock_class lock(lifecycle_mutex_);
    if (open_count_ == 0)
        return hotplug_monitor_not_open;
    if (--open_count_ == 0)
        stop_monitoring();
    return hotplug_monitor_ok;
}

int hotplug_monitor_class::subscribe(unsigned int vendor_id, unsigned int product_id,
                                     qx_hotplug_callback_t callback, void* context) {
    if (hotplug_event_dispatcher_class::is_dispatch_thread())
        return hotplug_monitor_called_from_callback;
    if (callback == nullptr || vendor_id > largest_usb_id || product_id > largest_usb_id) {
        return hotplug_monitor_invalid_argument;
    }
    platform::scoped_lock_class lock(lifecycle_mutex_);
    if (open_count_ == 0)
        return hotplug_monitor_not_open;
    dispatcher_->add_subscriber({vendor_id, product_id, callback, context});
    usb_source_->watch_device_ids(vendor_id, product_id);
    return hotplug_monitor_ok;
}

void hotplug_monitor_class::stop_monitoring() {
    // Sources first: they post into the dispatcher.
    emulator_source_.reset();
    usb_source_.reset();
    dispatcher_.reset();
    open_count_ = 0;
}

int open_hotplug_monitor() {
    return hotplug_monitor_class::instance().open_monitor();
}

int close_hotplug_monitor() {
    return hotplug_monitor_class::instance().close_monitor();
}

int subscribe_to_hotplug_events(unsigned int vendor_id, unsigned int product_id,
                                void (*callback)(int event_code, const char* device_path, void* context),
                                void* context) {
    return hotplug_monitor_class::instance().subscribe(vendor_id, product_id, callback, context);
}

}  // namespace qx
