// The monitor's C interface. Only this file defines names that the C library
// also uses ("open", "close"); it includes no system header, and the library
// binds its own calls symbolically and is loaded with local symbols, so
// neither the kit nor anything else in the process ever reaches these by
// accident.

#include "hotplug_monitor_functions.h"

#if defined(_WIN32)
#define QX_HOTPLUG_MONITOR_API __declspec(dllexport)
#else
#define QX_HOTPLUG_MONITOR_API __attribute__((visibility("default")))
#endif

extern "C" {

QX_HOTPLUG_MONITOR_API int open(void) {
    return qx::open_hotplug_monitor();
}

QX_HOTPLUG_MONITOR_API int close(void) {
    return qx::close_hotplug_monitor();
}

QX_HOTPLUG_MONITOR_API int hotplug_event_subscribe(unsigned int vendor_id, unsigned int product_id,
                                                   void (*callback)(int event_code, const char* device_path,
                                                                    void* context),
                                                   void* context) {
    return qx::subscribe_to_hotplug_events(vendor_id, product_id, callback, context);
}

}  // extern "C"
