#pragma once
// What the monitor's three C exports forward to. This header includes
// nothing: the file that defines the exports "open" and "close" must not see
// the C library's declarations of functions with those names.

namespace qx {

// Results of the monitor's functions; 0 is success.
enum hotplug_monitor_status : int {
    hotplug_monitor_ok = 0,
    hotplug_monitor_not_open = 1,
    hotplug_monitor_invalid_argument = 2,
    hotplug_monitor_called_from_callback = 3,
    hotplug_monitor_start_failed = 4,
};

int open_hotplug_monitor();
int close_hotplug_monitor();
int subscribe_to_hotplug_events(unsigned int vendor_id, unsigned int product_id,
                                void (*callback)(int event_code, const char* device_path, void* context),
                                void* context);

}  // namespace qx
