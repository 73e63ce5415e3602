#pragma once
// The kit's side of hot-plug events: the application's connect and
// disconnect callbacks and one listener per camera family. Arrivals record
// their serial numbers in the registry's discovery map, from which removals
// name the camera that left. Everything here is guarded by the registry
// mutex; the callbacks are called with no lock held, on the listener threads.

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <string_view>

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

    // The two setters. The caller holds the registry mutex; `modules` are
    // the open kit's modules, or null while the kit is closed.
    void set_connect_callback(camera_connect_callback callback, void* context,
                              const module_data_port* modules);
    void set_disconnect_callback(camera_disconnect_callback callback, void* context,
                                 const module_data_port* modules);

    // Every opening of the kit lets each family's listener start once.
    void enable_listeners();

    // Destroys both listeners (stop, release, join). The caller holds the
    // registry mutex; kit calls that a callback makes meanwhile give way.
    void stop_listeners();

    // Maps a connected camera's "usb_speed" text to the port type reported
    // to the application: 0 USB 1.0, 1 USB 2.0, 2 USB 3.0, 3 anything else.
    static int port_type_of(std::string_view usb_speed);

  private:
    void start_or_stop_listeners(const module_data_port* modules);
    void start_listeners(const module_data_port& modules);
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
