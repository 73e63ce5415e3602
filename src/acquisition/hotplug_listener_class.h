#pragma once
// One camera family's hot-plug listener: a thread that blocks on the
// family's module for the next arrival or removal and hands each payload on.
// Stopping it sets its stop flag and wakes the module's wait through the
// release function, so the thread ends without waiting for another event.

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "platform/scoped_lock_class.h"

namespace qx::acquisition {

// Room for one payload, as the module writes it.
inline constexpr std::size_t hotplug_payload_size = 1024;

class hotplug_listener_class {
  public:
    // Blocks until the module has an event and writes its payload; non-zero
    // when the module refuses, which ends the listener.
    using fetch_function = std::function<int(char* payload)>;
    // Handles one payload on the listener's thread. A failure ends only that
    // pass.
    using event_function = std::function<void(std::string_view payload)>;
    // Wakes a blocked fetch.
    using release_function = std::function<void()>;

    // Starts the thread, which names itself `name`.
    hotplug_listener_class(std::string name, fetch_function fetch, event_function on_event,
                           release_function release);
    // Stops the listener: sets the stop flag, releases the module's wait
    // when the thread is blocked in it, and joins the thread (from the thread itself it lets the thread end
    // on its own).
    ~hotplug_listener_class();

    // Sets the stop flag and releases the module's wait when the thread is
    // blocked in it; the thread then ends on its own. Never throws.
    void request_stop() QX_EXCLUDES(state->fetch_mutex);

    hotplug_listener_class(const hotplug_listener_class&) = delete;
    hotplug_listener_class& operator=(const hotplug_listener_class&) = delete;

  private:
    // Shared with the thread, so that a listener destroyed from its own
    // callback leaves the thread nothing freed to touch.
    struct shared_state {
        std::atomic<bool> stop{false};
        // A release is sent only to a fetch that is blocked: one sent at any
        // other moment would stay in the module's event and hand a stale
        // payload to the family's next listener.
        platform::mutex_class fetch_mutex;
        bool in_fetch QX_GUARDED_BY(fetch_mutex) = false;
    };
    static void run_loop(std::shared_ptr<shared_state> state, std::string name, fetch_function fetch,
                         event_function on_event);

    std::shared_ptr<shared_state> state;
    release_function release;  // none: the fetch is never blocked for long
    std::thread thread;
};

}  // namespace qx::acquisition
