// A hot-plug monitor for kit tests: no USB, no thread, no events. Its open
// answers the status in QX_TEST_MONITOR_OPEN_STATUS (default 0); closing and
// subscribing always succeed.

#include <cstdlib>

#include "quendral_vko_device_module.h"

#define QX_SCRIPTED_EXPORT extern "C" __attribute__((visibility("default")))

QX_SCRIPTED_EXPORT int open(void) {
    const char* status = std::getenv("QX_TEST_MONITOR_OPEN_STATUS");
    return status == nullptr ? 0 : std::atoi(status);
}

QX_SCRIPTED_EXPORT int close(void) {
    return 0;
}

QX_SCRIPTED_EXPORT int hotplug_event_subscribe(unsigned int, unsigned int, qx_hotplug_callback_t, void*) {
    return 0;
}
