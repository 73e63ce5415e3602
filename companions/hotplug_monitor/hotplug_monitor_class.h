#pragma once
// The process-wide hot-plug monitor behind the library's C interface:
// reference-counted opening, subscriptions, and the event sources that feed
// them (real USB devices through libusb, virtual cameras of the emulator).

#include <memory>

#include "emulator_hotplug_source_class.h"
#include "hotplug_event_dispatcher_class.h"
#include "platform/annotated_mutex_class.h"
#if defined(_WIN32)
#include "windows_hotplug_source_class.h"
#else
#include "libusb_hotplug_source_class.h"
#endif

namespace qx {

// Real USB devices: libusb's notices, or the Windows configuration manager's.
#if defined(_WIN32)
using usb_hotplug_source_class = windows_hotplug_source_class;
#else
using usb_hotplug_source_class = libusb_hotplug_source_class;
#endif

class hotplug_monitor_class {
  public:
    // The process's monitor; never destroyed.
    static hotplug_monitor_class& instance();

    // The first open starts the dispatch thread and the sources; later ones
    // only count. Returns a hotplug_monitor_status.
    int open_monitor() QX_EXCLUDES(lifecycle_mutex_);
    // The last close stops every thread and drops all subscriptions; once it
    // returns, no subscriber is called any more.
    int close_monitor() QX_EXCLUDES(lifecycle_mutex_);
    int subscribe(unsigned int vendor_id, unsigned int product_id, qx_hotplug_callback_t callback,
                  void* context) QX_EXCLUDES(lifecycle_mutex_);

  private:
    hotplug_monitor_class() = default;
    void stop_monitoring() QX_REQUIRES(lifecycle_mutex_);

    // Lock order: lifecycle_mutex_ first, then the dispatcher's and the
    // USB source's own mutexes. It is held while threads are joined, so
    // the dispatch thread never takes it (subscribers calling back into the
    // monitor are refused instead).
    platform::mutex_class lifecycle_mutex_;
    int open_count_ QX_GUARDED_BY(lifecycle_mutex_) = 0;
    std::unique_ptr<hotplug_event_dispatcher_class> dispatcher_ QX_GUARDED_BY(lifecycle_mutex_);
    std::unique_ptr<usb_hotplug_source_class> usb_source_ QX_GUARDED_BY(lifecycle_mutex_);
    std::unique_ptr<emulator_hotplug_source_class> emulator_source_ QX_GUARDED_BY(lifecycle_mutex_);
};

}  // namespace qx
