// A hot-plug monitor for kit tests: no USB, no thread. Its open answers the
// status in QX_TEST_MONITOR_OPEN_STATUS (default 0) and it remembers the
// subscriptions it was given.

#include <cstdlib>
#include <mutex>
#include <vector>

#include "quendral_vko_device_module.h"

#define QX_SCRIPTED_EXPORT extern "C" __attribute__((visibility("default")))

namespace {
struct subscription {
    unsigned int vendor_id;
    unsigned int product_id;
    qx_hotplug_callback_t callback;
    void* context;
};
std::mutex monitor_mutex;
std::vector<subscription> subscriptions;  // guarded by monitor_mutex
int open_count = 0;                       // guarded by monitor_mutex
}  // namespace

QX_SCRIPTED_EXPORT int open(void) {
    const char* status = std::getenv("QX_TEST_MONITOR_OPEN_STATUS");
    const int answer = status == nullptr ? 0 : std::atoi(status);
    if (answer == 0) {
        std::lock_guard<std::mutex> guard(monitor_mutex);
        ++open_count;
    }
    return answer;
}

QX_SCRIPTED_EXPORT int close(void) {
    std::lock_guard<std::mutex> guard(monitor_mutex);
    if (open_count > 0 && --open_count == 0)
        subscriptions.clear();
    return 0;
}

QX_SCRIPTED_EXPORT int hotplug_event_subscribe(unsigned int vendor_id, unsigned int product_id,
                                               qx_hotplug_callback_t callback, void* context) {
    std::lock_guard<std::mutex> guard(monitor_mutex);
    subscriptions.push_back({vendor_id, product_id, callback, context});
    return 0;
}

QX_SCRIPTED_EXPORT int qx_scripted_monitor_open_count(void) {
    std::lock_guard<std::mutex> guard(monitor_mutex);
    return open_count;
}
