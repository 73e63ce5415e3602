#pragma once
// A named blocking queue of frame-slot addresses: "free" slots wait for the
// packet loop, "pending" slots for the kit.

#include <atomic>
#include <cstdint>
#include <deque>
#include <string>

#include "platform/condition_variable_class.h"

namespace qx::device_qv {

class frame_slot_queue_class {
  public:
    explicit frame_slot_queue_class(std::string queue_name) : name(std::move(queue_name)) {}

    // Appends a slot and wakes one waiter. Throws "Queue is marked complete,
    // so no additional items can be queued." once the queue is complete.
    void push(unsigned char* slot) QX_EXCLUDES(waiter_mutex, items_mutex);

    // The front slot, waiting up to `timeout_ms`; null with `timed_out` set
    // when none came. A complete queue answers null at once. A negative
    // time-out throws "Timeout must be 0 or more milliseconds.".
    unsigned char* pop(std::int64_t timeout_ms, bool& timed_out) QX_EXCLUDES(waiter_mutex, items_mutex);

    // Ends the queue: every waiter returns and later pops answer null.
    void mark_complete() QX_EXCLUDES(waiter_mutex);

    // Ends the pops waiting now, as time-outs, so that their callers look at
    // their stop flags at once; later pops wait as usual.
    void wake_waiters() QX_EXCLUDES(waiter_mutex);

    const std::string& queue_name() const { return name; }
    std::size_t size() QX_EXCLUDES(items_mutex);

  private:
    std::string name;
    platform::mutex_class waiter_mutex QX_ACQUIRED_BEFORE(items_mutex);
    platform::condition_variable_class item_arrived;
    std::uint64_t wake_generation QX_GUARDED_BY(waiter_mutex) = 0;
    platform::mutex_class items_mutex;
    std::deque<unsigned char*> items QX_GUARDED_BY(items_mutex);
    std::atomic<bool> complete{false};
};

}  // namespace qx::device_qv
