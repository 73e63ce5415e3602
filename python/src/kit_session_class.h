#pragma once
// The opened kit as the Python package drives it: discovery, and the
// hot-plug events that the kit's listener threads report. Those threads only
// queue an event here and return; the package's own thread takes events with
// next_event, so no Python code ever runs on a thread of the kit.

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "platform/condition_variable_class.h"

namespace qx::python {

struct hotplug_event {
    bool connected = false;  // false: disconnected
    std::string serial_number;
    int usb_port_type = -1;  // -1 for a disconnection
};

class kit_session_class {
  public:
    kit_session_class();
    ~kit_session_class();
    kit_session_class(const kit_session_class&) = delete;
    kit_session_class& operator=(const kit_session_class&) = delete;

    void close() QX_EXCLUDES(mutex_);
    std::vector<std::string> cameras();

    // Starts queueing connect and disconnect events.
    void listen_for_hotplug();
    // The next event within timeout_ms; none when the wait ran out or the
    // kit was closed.
    std::optional<hotplug_event> next_event(int timeout_ms) QX_EXCLUDES(mutex_);

  private:
    static void on_connect(const char* serial_number, int usb_port_type, void* context);
    static void on_disconnect(const char* serial_number, void* context);
    void push(hotplug_event event) QX_EXCLUDES(mutex_);

    platform::mutex_class mutex_;
    platform::condition_variable_class event_ready_;
    std::deque<hotplug_event> events_ QX_GUARDED_BY(mutex_);
    bool open_ QX_GUARDED_BY(mutex_) = false;
    // Changed only by the constructor, close and listen_for_hotplug, which
    // the module calls with the interpreter lock held.
    bool listening_ = false;
};

}  // namespace qx::python
