#pragma once
// Arrivals and departures of real USB devices, from libusb's hot-plug
// notices. The source has its own libusb context and its own event thread,
// so it neither shares state with nor waits on the kit's USB transports.

#include <libusb.h>

#include <atomic>
#include <thread>
#include <vector>

#include "hotplug_event_dispatcher_class.h"
#include "platform/annotated_mutex_class.h"

namespace qx {

class libusb_hotplug_source_class {
  public:
    // Starts libusb and its event thread. When libusb cannot start or has no
    // hot-plug support on this system (typical inside containers), the
    // source stays idle and reports nothing; is_watching() tells which.
    explicit libusb_hotplug_source_class(hotplug_event_dispatcher_class& dispatcher);
    // Removes every filter, wakes and joins the event thread, ends libusb.
    ~libusb_hotplug_source_class();

    libusb_hotplug_source_class(const libusb_hotplug_source_class&) = delete;
    libusb_hotplug_source_class& operator=(const libusb_hotplug_source_class&) = delete;

    bool is_watching() const { return event_thread_.joinable(); }

    // Asks libusb for notices about devices with these ids; each pair is
    // registered once, however many subscribers share it.
    void watch_device_ids(unsigned int vendor_id, unsigned int product_id) QX_EXCLUDES(filters_mutex_);

  private:
    struct device_filter {
        unsigned int vendor_id;
        unsigned int product_id;
        libusb_hotplug_callback_handle handle;
    };

    static int LIBUSB_CALL report_device_change(libusb_context* context, libusb_device* device,
                                                libusb_hotplug_event event, void* source);
    void run_event_loop();

    hotplug_event_dispatcher_class& dispatcher_;
    libusb_context* context_ = nullptr;
    // Lock order: taken after the monitor's lifecycle mutex; libusb's own
    // hot-plug lock is taken inside it, never the other way round.
    platform::mutex_class filters_mutex_;
    std::vector<device_filter> filters_ QX_GUARDED_BY(filters_mutex_);
    std::atomic<bool> stopping_{false};
    std::thread event_thread_;
};

}  // namespace qx
