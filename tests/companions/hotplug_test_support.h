#pragma once
// The hot-plug monitor library loaded as the kit loads it, and a subscriber
// that records what it is told.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "support/loaded_library.h"
#include "support/test_platform.h"
#include "quendral_vko_device_module.h"

namespace qx::test {

struct hotplug_monitor_library {
    loaded_library library{library_path(QX_TEST_LIB_DIR, "quendral_vko_usb_hotplug_monitor")};
    qx_hotplug_open_t open_monitor = library.find_function<qx_hotplug_open_t>("open");
    qx_hotplug_close_t close_monitor = library.find_function<qx_hotplug_close_t>("close");
    qx_hotplug_event_subscribe_t subscribe =
        library.find_function<qx_hotplug_event_subscribe_t>("hotplug_event_subscribe");

    // Leaves the process-wide monitor closed for the next test.
    ~hotplug_monitor_library() {
        while (close_monitor() == 0) {
        }
    }
};

using hotplug_event_record = std::pair<int, std::string>;

// A subscriber: pass event_recorder::record as the callback and the
// recorder as the context.
class event_recorder {
  public:
    static void record(int event_code, const char* device_path, void* recorder) {
        auto* self = static_cast<event_recorder*>(recorder);
        {
            std::lock_guard<std::mutex> lock(self->mutex_);
            self->events_.emplace_back(event_code, device_path);
        }
        self->changed_.notify_all();
    }
    // The events so far, once there are at least @p count or after a few
    // seconds.
    std::vector<hotplug_event_record> wait_for(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(5), [&] { return events_.size() >= count; });
        return events_;
    }
    std::vector<hotplug_event_record> get_events() {
        std::lock_guard<std::mutex> lock(mutex_);
        return events_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<hotplug_event_record> events_;  // guarded by mutex_
};

}  // namespace qx::test
