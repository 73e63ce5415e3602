#pragma once
// The kit's side of hot-plug events: the application's connect and
// disconnect callbacks and one listener per camera family. Arrivals record
// their serial numbers in the registry's discovery map, from which removals
// name the camera that left. Everything here is guarded by the registry
// mutex (the registry holds this object as one guarded member); the
// callbacks are called with no lock held, on the listener threads.

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "acquisition/hotplug_listener_class.h"
#include "acquisition/hotplug_registry_port.h"
#include "acquisition/module_data_port.h"
#include "quendral_vko_camera_sdk.h"

namespace qx::acquisition {

// A family whose cameras the listeners report, in starting order.
struct hotplug_family {
    const char* device_type;    // the module's name
    const char* listener_name;  // the listener thread's name
};

class hotplug_events_class {
  public:
    explicit hotplug_events_class(hotplug_registry_port& registry) : registry(registry) {}

    static const std::array<hotplug_family, 2>& families();

    // Listeners taken out of service, stopping: destroying them joins
    // their threads, which the owner does after releasing the registry
    // mutex, since a listener (or the application's callback on its thread)
    // may be waiting for that mutex.
    using retired_listeners = std::vector<std::unique_ptr<hotplug_listener_class>>;

    // The two setters store or clear a callback. The caller holds the
    // registry mutex. True when the listeners are to be revised: the caller
    // then retires them, joins them and starts them again.
    bool set_connect_callback(camera_connect_callback callback, void* context);
    bool set_disconnect_callback(camera_disconnect_callback callback, void* context);

    // Every opening of the kit lets each family's listener start once.
    void enable_listeners();

    // Takes out the listeners that start_listeners would replace, or all of
    // them when no callback is set. `modules` are the open kit's modules,
    // or null while the kit is closed.
    retired_listeners retire_listeners(const module_data_port* modules);
    // Takes out both listeners.
    retired_listeners retire_all_listeners();
    // Starts a listener for every family whose enable flag is set, when a
    // callback is set and the kit is open. The family's old listener must
    // have been retired and joined first: two threads waiting on one module
    // would take each other's events.
    void start_listeners(const module_data_port* modules);

    // Maps a connected camera's "usb_speed" text to the port type reported
    // to the application: 0 USB 1.0, 1 USB 2.0, 2 USB 3.0, 3 anything else.
    static int port_type_of(std::string_view usb_speed);

  private:
    bool has_callback() const { return connect_callback != nullptr || disconnect_callback != nullptr; }
    void handle_payload(const std::string& device_type, std::string_view payload);
    void report_connect(const std::string& device_type, const std::string& camera_id);
    void report_disconnect(const std::string& camera_id);

    hotplug_registry_port& registry;
    // Set by every opening of the kit; indexed like families().
    std::array<std::atomic<int>, 2> listener_enabled{};
    camera_connect_callback connect_callback = nullptr;
    void* connect_context = nullptr;
    camera_disconnect_callback disconnect_callback = nullptr;
    void* disconnect_context = nullptr;
    std::array<std::unique_ptr<hotplug_listener_class>, 2> listeners;
};

}  // namespace qx::acquisition
