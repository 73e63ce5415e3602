#include "hotplug_event_dispatcher_class.h"

#include <utility>

#include "platform/scoped_lock_class.h"

namespace qx {

namespace {
thread_local bool current_thread_dispatches = false;
}  // namespace

hotplug_event_dispatcher_class::hotplug_event_dispatcher_class()
    : dispatch_thread_([this] { run_dispatch_loop(); }) {}

hotplug_event_dispatcher_class::~hotplug_event_dispatcher_class() {
    {
        platform::scoped_lock_class lock(dispatch_mutex_);
        stopping_ = true;
        pending_events_.clear();
    }
    event_posted_.notify_all();
    dispatch_thread_.join();
}

void hotplug_event_dispatcher_class::add_subscriber(const hotplug_subscriber& subscriber) {
    platform::scoped_lock_class lock(dispatch_mutex_);
    for (const auto& existing : subscribers_) {
        if (existing.vendor_id == subscriber.vendor_id && existing.product_id == subscriber.product_id &&
            existing.callback == subscriber.callback && existing.context == subscriber.context) {
            return;
        }
    }
    subscribers_.push_back(subscriber);
}

void hotplug_event_dispatcher_class::post_event(hotplug_event event) {
    {
        platform::scoped_lock_class lock(dispatch_mutex_);
        if (stopping_)
            return;
        pending_events_.push_back(std::move(event));
    }
    event_posted_.notify_one();
}

bool hotplug_event_dispatcher_class::is_dispatch_thread() {
    return current_thread_dispatches;
}

std::vector<hotplug_subscriber> hotplug_event_dispatcher_class::copy_subscribers_matching(
    const hotplug_event& event) {
    std::vector<hotplug_subscriber> matching;
    for (const auto& subscriber : subscribers_) {
        if (subscriber.vendor_id == event.vendor_id && subscriber.product_id == event.product_id) {
            matching.push_back(subscriber);
        }
    }
    return matching;
}

void hotplug_event_dispatcher_class::run_dispatch_loop() {
    current_thread_dispatches = true;
    for (;;) {
        hotplug_event event;
        std::vector<hotplug_subscriber> receivers;
        {
            platform::scoped_lock_class lock(dispatch_mutex_);
            event_posted_.wait(lock, [this]() QX_REQUIRES(dispatch_mutex_) { return stopping_ || !pending_events_.empty(); });
            if (stopping_)
                return;
            event = std::move(pending_events_.front());
            pending_events_.pop_front();
            receivers = copy_subscribers_matching(event);
        }
        for (const auto& receiver : receivers) {
            // A subscriber's failure must not end delivery to the others.
            try {
                receiver.callback(event.event_code, event.device_path.c_str(), receiver.context);
            } catch (...) {
            }
        }
    }
}

}  // namespace qx
