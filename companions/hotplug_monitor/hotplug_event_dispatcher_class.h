#pragma once
// Delivers hot-plug events to subscribers on one thread of the monitor's own.
// Event sources (libusb, the camera emulator) only post; subscribers are
// called with no lock held, so a subscriber may take its own locks or call
// back into other libraries freely.

#include <deque>
#include <string>
#include <thread>
#include <vector>

#include "platform/condition_variable_class.h"
#include "quendral_vko_device_module.h"

namespace qx {

struct hotplug_subscriber {
    unsigned int vendor_id;
    unsigned int product_id;
    qx_hotplug_callback_t callback;
    void* context;
};

struct hotplug_event {
    int event_code;
    std::string device_path;
    unsigned int vendor_id;
    unsigned int product_id;
};

class hotplug_event_dispatcher_class {
  public:
    // Starts the dispatch thread; throws std::system_error if it cannot.
    hotplug_event_dispatcher_class();
    // Drops events not yet delivered and joins the thread: once it returns,
    // no subscriber is running or will be called.
    ~hotplug_event_dispatcher_class();

    hotplug_event_dispatcher_class(const hotplug_event_dispatcher_class&) = delete;
    hotplug_event_dispatcher_class& operator=(const hotplug_event_dispatcher_class&) = delete;

    // Adds a subscriber unless the same callback and context already watch
    // the same ids: a module that subscribes again (the kit reopens before it
    // closes the old instance) must not receive every event twice.
    void add_subscriber(const hotplug_subscriber& subscriber) QX_EXCLUDES(dispatch_mutex_);

    // Queues an event for every subscriber whose ids match; never blocks on
    // a subscriber.
    void post_event(hotplug_event event) QX_EXCLUDES(dispatch_mutex_);

    // Whether the calling thread is a dispatch thread, i.e. the caller is
    // inside a subscriber's callback.
    static bool is_dispatch_thread();

  private:
    void run_dispatch_loop() QX_EXCLUDES(dispatch_mutex_);
    std::vector<hotplug_subscriber> copy_subscribers_matching(const hotplug_event& event)
        QX_REQUIRES(dispatch_mutex_);

    // Lock order: taken after the monitor's lifecycle mutex; never held while
    // a subscriber runs.
    platform::mutex_class dispatch_mutex_;
    platform::condition_variable_class event_posted_;
    std::deque<hotplug_event> pending_events_ QX_GUARDED_BY(dispatch_mutex_);
    std::vector<hotplug_subscriber> subscribers_ QX_GUARDED_BY(dispatch_mutex_);
    bool stopping_ QX_GUARDED_BY(dispatch_mutex_) = false;
    std::thread dispatch_thread_;
};

}  // namespace qx
