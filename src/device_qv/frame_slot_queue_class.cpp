#include "device_qv/frame_slot_queue_class.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace qx::device_qv {

void frame_slot_queue_class::push(unsigned char* slot) {
    if (complete.load())
        throw std::runtime_error("Queue is marked complete, so no additional items can be queued.");
    {
        platform::scoped_lock_class waiters(waiter_mutex);
        platform::scoped_lock_class guard(items_mutex);
        items.push_back(slot);
    }
    item_arrived.notify_one();
}

unsigned char* frame_slot_queue_class::pop(std::int64_t timeout_ms, bool& timed_out) {
    timed_out = false;
    if (timeout_ms < 0)
        throw std::runtime_error("Timeout must be 0 or more milliseconds.");
    if (complete.load())
        return nullptr;

    using clock = std::chrono::steady_clock;
    // The deadline saturates instead of overflowing: a century is forever.
    constexpr std::int64_t longest_wait_ms = 100LL * 365 * 24 * 3600 * 1000;
    const auto deadline = clock::now() + std::chrono::milliseconds(std::min(timeout_ms, longest_wait_ms));

    platform::scoped_lock_class waiters(waiter_mutex);
    const std::uint64_t generation = wake_generation;
    const bool arrived = item_arrived.wait_until(waiters, deadline, [&]() QX_REQUIRES(waiter_mutex) {
        if (complete.load() || wake_generation != generation)
            return true;
        platform::scoped_lock_class guard(items_mutex);
        return !items.empty();
    });
    if (complete.load())
        return nullptr;
    platform::scoped_lock_class guard(items_mutex);
    if (!arrived || items.empty()) {
        timed_out = true;
        return nullptr;
    }
    unsigned char* slot = items.front();
    items.pop_front();
    return slot;
}

void frame_slot_queue_class::mark_complete() {
    {
        platform::scoped_lock_class waiters(waiter_mutex);
        complete.store(true);
    }
    item_arrived.notify_all();
}

void frame_slot_queue_class::wake_waiters() {
    {
        platform::scoped_lock_class waiters(waiter_mutex);
        ++wake_generation;
    }
    item_arrived.notify_all();
}

std::size_t frame_slot_queue_class::size() {
    platform::scoped_lock_class guard(items_mutex);
    return items.size();
}

}  // namespace qx::device_qv
