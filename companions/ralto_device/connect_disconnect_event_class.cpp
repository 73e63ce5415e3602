#include "connect_disconnect_event_class.h"

#include <chrono>

#include "platform/scoped_lock_class.h"
#include "quendral_vko_device_module.h"

namespace qx {

namespace {
// Longest wait of a new event for the listener to fetch the last one.
constexpr std::chrono::seconds handover_wait{5};
}  // namespace

void connect_disconnect_event_class::report_event(int event_code, const std::string& camera_id) {
    {
        platform::scoped_lock_class lock(event_mutex_);
        // Bounded: a listener held up in the application's callback for
        // longer loses the older event rather than stalling the monitor.
        payload_fetched_.wait_for(lock, handover_wait, [this]() QX_REQUIRES(event_mutex_) {
            return !payload_unread_ || !listener_attached_;
        });
        if (event_code != QX_HOTPLUG_EVENT_ARRIVAL && event_code != QX_HOTPLUG_EVENT_DEPARTURE) {
            pending_code_ = 0;
            camera_id_.clear();
            return;
        }
        pending_code_ = event_code;
        camera_id_ = camera_id.substr(0, camera_id_capacity);
        signalled_ = true;
        payload_unread_ = true;
    }
    signal_changed_.notify_one();
}

void connect_disconnect_event_class::release_waiter() {
    {
        platform::scoped_lock_class lock(event_mutex_);
        signalled_ = true;
        listener_attached_ = false;
    }
    signal_changed_.notify_one();
    payload_fetched_.notify_all();
}

void connect_disconnect_event_class::wake_waiters() {
    {
        platform::scoped_lock_class lock(event_mutex_);
        ++wake_generation_;
        listener_attached_ = false;
    }
    signal_changed_.notify_all();
    payload_fetched_.notify_all();
}

std::optional<std::string> connect_disconnect_event_class::wait_for_payload() {
    platform::scoped_lock_class lock(event_mutex_);
    listener_attached_ = true;
    const unsigned long generation = wake_generation_;
    signal_changed_.wait(lock, [&]() QX_REQUIRES(event_mutex_) {
        return signalled_ || wake_generation_ != generation;
    });
    if (!signalled_)
        return std::nullopt;
    signalled_ = false;
    payload_unread_ = false;
    std::optional<std::string> payload;
    if (pending_code_ == QX_HOTPLUG_EVENT_ARRIVAL)
        payload = "1," + camera_id_;
    if (pending_code_ == QX_HOTPLUG_EVENT_DEPARTURE)
        payload = "0," + camera_id_;
    lock.unlock();
    payload_fetched_.notify_all();
    return payload;
}

}  // namespace qx
