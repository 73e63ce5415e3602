#pragma once
// The hand-over of hot-plug events to the kit's listener, which blocks on
// the module data key "connect_disconnect": an auto-reset signal plus the
// last event's code and camera id. Events that arrive while nobody waits are
// not queued: the signal remembers one, the id only the last. While a listener
// is fetching, a new event first lets it fetch the last one.

#include <optional>
#include <string>

#include "platform/condition_variable_class.h"

namespace qx {

class connect_disconnect_event_class {
  public:
    // Longest camera id kept (the rest is cut), so a payload always fits the
    // kit's reply buffer.
    static constexpr std::size_t camera_id_capacity = 255;

    // Records an arrival (1) or departure (2) and signals it. Any other code
    // clears the pending event without signalling.
    void report_event(int event_code, const std::string& camera_id) QX_EXCLUDES(event_mutex_);
    // Signals without changing the pending event, so that a blocked wait
    // returns (and repeats the last payload).
    void release_waiter() QX_EXCLUDES(event_mutex_);
    // Wakes the waits blocked now, with nothing to write, and remembers
    // nothing: a module being let go must not hand a stale signal to the
    // listener of the next kit.
    void wake_waiters() QX_EXCLUDES(event_mutex_);
    // Blocks until signalled, consumes the signal, and returns "1,<id>" for a
    // pending arrival, "0,<id>" for a departure, nothing otherwise (or when
    // only woken).
    std::optional<std::string> wait_for_payload() QX_EXCLUDES(event_mutex_);

  private:
    platform::mutex_class event_mutex_;  // a leaf lock: nothing else is taken while it is held
    platform::condition_variable_class signal_changed_;
    bool signalled_ QX_GUARDED_BY(event_mutex_) = false;
    unsigned long wake_generation_ QX_GUARDED_BY(event_mutex_) = 0;
    // While a listener fetches events, a new event waits (boundedly) until
    // the last one has been fetched instead of overwriting it.
    bool listener_attached_ QX_GUARDED_BY(event_mutex_) = false;  // set by a wait, cleared by a release
    bool payload_unread_ QX_GUARDED_BY(event_mutex_) = false;
    platform::condition_variable_class payload_fetched_;
    int pending_code_ QX_GUARDED_BY(event_mutex_) = 0;
    std::string camera_id_ QX_GUARDED_BY(event_mutex_);
};

}  // namespace qx
