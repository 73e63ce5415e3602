#include "acquisition/hotplug_listener_class.h"

#include <array>
#include <cstring>
#include <utility>

#include "platform/thread_name.h"

namespace qx::acquisition {

hotplug_listener_class::hotplug_listener_class(std::string name, fetch_function fetch,
                                               event_function on_event, release_function release_waiter)
    : state(std::make_shared<shared_state>()), release(std::move(release_waiter)) {
    thread = std::thread(&hotplug_listener_class::run_loop, state, std::move(name), std::move(fetch),
                         std::move(on_event));
}

void hotplug_listener_class::request_stop() {
    bool blocked = false;
    {
        platform::scoped_lock_class guard(state->fetch_mutex);
        // Once only: a second release would stay in the module's event.
        if (state->stop.exchange(true))
            return;
        blocked = state->in_fetch;
    }
    if (blocked && release) {
        try {
            release();
        } catch (...) {
        }
    }
}

hotplug_listener_class::~hotplug_listener_class() {
    request_stop();
    if (!thread.joinable())
        return;
    if (thread.get_id() == std::this_thread::get_id()) {
        thread.detach();
    } else {
        thread.join();
    }
}

void hotplug_listener_class::run_loop(std::shared_ptr<shared_state> state, std::string name,
                                      fetch_function fetch, event_function on_event) {
    platform::name_current_thread(name.c_str());
    std::array<char, hotplug_payload_size> payload{};
    for (;;) {
        {
            platform::scoped_lock_class guard(state->fetch_mutex);
            if (state->stop.load())
                break;
            state->in_fetch = true;
        }
        payload.fill('\0');
        int status = 1;
        try {
            status = fetch(payload.data());
        } catch (...) {
        }
        {
            platform::scoped_lock_class guard(state->fetch_mutex);
            state->in_fetch = false;
        }
        if (status != 0) {
            state->stop.store(true);
            break;
        }
        // A release wakes the fetch with the last payload again.
        if (state->stop.load())
            break;
        try {
            on_event(std::string_view(payload.data(), strnlen(payload.data(), payload.size())));
        } catch (...) {
            // The camera of this event could not be handled; the next event
            // is still heard.
        }
    }
}

}  // namespace qx::acquisition
