#include "connect_disconnect_event_class.h"

#include "quendral_vko_device_module.h"

namespace qx {

void connect_disconnect_event_class::report_event(int event_code, const std::string& camera_id) {
    {
        std::lock_guard<std::mutex> lock(event_mutex_);
        if (event_code != QX_HOTPLUG_EVENT_ARRIVAL && event_code != QX_HOTPLUG_EVENT_DEPARTURE) {
            pending_code_ = 0;
            camera_id_.clear();
            return;
        }
        pending_code_ = event_code;
        camera_id_ = camera_id.substr(0, camera_id_capacity);
        signalled_ = true;
    }
    signal_changed_.notify_one();
}

void connect_disconnect_event_class::release_waiter() {
    {
        std::lock_guard<std::mutex> lock(event_mutex_);
        signalled_ = true;
    }
    signal_changed_.notify_one();
}

void connect_disconnect_event_class::wake_waiters() {
    {
        std::lock_guard<std::mutex> lock(event_mutex_);
        ++wake_generation_;
    }
    signal_changed_.notify_all();
}

std::optional<std::string> connect_disconnect_event_class::wait_for_payload() {
    std::unique_lock<std::mutex> lock(event_mutex_);
    const unsigned long generation = wake_generation_;
    signal_changed_.wait(lock, [&] { return signalled_ || wake_generation_ != generation; });
    if (!signalled_)
        return std::nullopt;
    signalled_ = false;
    if (pending_code_ == QX_HOTPLUG_EVENT_ARRIVAL)
        return "1," + camera_id_;
    if (pending_code_ == QX_HOTPLUG_EVENT_DEPARTURE)
        return "0," + camera_id_;
    return std::nullopt;
}

}  // namespace qx
