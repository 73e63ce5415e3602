#pragma once
// Records what the kit's hot-plug callbacks, or a hot-plug monitor's
// subscriber, receive, and on which thread, so that tests can wait for a
// number of events instead of for a time.

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "quendral_vko_camera_sdk.h"
#include "quendral_vko_device_module.h"
#include "support/thread_names.h"

namespace qx::test {

class hotplug_recorder {
  public:
    // Registers both callbacks with this recorder as their context.
    int register_callbacks() {
        const int connect = qx_camera_set_camera_connect_callback(&on_connect, this);
        const int disconnect = qx_camera_set_camera_disconnect_callback(&on_disconnect, this);
        return connect != 0 ? connect : disconnect;
    }

    // Waits until `count` events have arrived; false if they never do (the
    // bound only keeps a broken build from hanging the suite).
    bool wait_for(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(20), [&] { return events.size() >= count; });
    }

    std::vector<std::string> take_events() {
        std::lock_guard<std::mutex> lock(mutex);
        auto taken = std::move(events);
        events.clear();
        return taken;
    }

    std::vector<std::string> thread_names() {
        std::lock_guard<std::mutex> lock(mutex);
        return threads;
    }

    // Runs on the listener thread, inside the connect callback, before the
    // event is recorded.
    std::function<void(const char* serial_number)> on_connect_action;

    static void on_connect(const char* serial_number, int usb_port_type, void* context) {
        auto* self = static_cast<hotplug_recorder*>(context);
        if (self->on_connect_action)
            self->on_connect_action(serial_number);
        self->add("connect " + std::string(serial_number) + " " + std::to_string(usb_port_type));
    }
    static void on_disconnect(const char* serial_number, void* context) {
        static_cast<hotplug_recorder*>(context)->add("disconnect " + std::string(serial_number));
    }

    // A hot-plug monitor's subscriber, with the recorder as its context:
    // records "arrival <path>" or "departure <path>".
    static void on_monitor_event(int event_code, const char* device_path, void* context) {
        const std::string kind = event_code == QX_HOTPLUG_EVENT_ARRIVAL ? "arrival "
                                 : event_code == QX_HOTPLUG_EVENT_DEPARTURE
                                     ? "departure "
                                     : std::to_string(event_code) + " ";
        static_cast<hotplug_recorder*>(context)->add(kind + device_path);
    }

  private:
    void add(std::string event) {
        const std::string name = name_of_this_thread();
        std::lock_guard<std::mutex> lock(mutex);
        events.push_back(std::move(event));
        threads.push_back(name);
        changed.notify_all();
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> events;   // guarded by mutex
    std::vector<std::string> threads;  // guarded by mutex
};

// How many threads of this process carry the name, as the system keeps it.
inline std::size_t count_threads_named(const std::string& name) {
    return names_of_threads_in_this_process().count(name_as_the_system_keeps_it(name));
}

}  // namespace qx::test
