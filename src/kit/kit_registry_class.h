#pragma once
// Process-wide state of the kit: the kit object, the open camera handles and
// the discovery map, all guarded by the one registry mutex.
//
// Lock order, everywhere: a handle mutex, then the registry mutex, then the
// mutexes of acquisition. No path waits for a handle mutex while holding the
// registry mutex: opening a camera initialises it after releasing the
// registry, and closing marks the handle as closing under the registry and
// destroys it outside.

#include <array>
#include <atomic>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "acquisition/hotplug_events_class.h"
#include "kit/kit_class.h"

namespace qx::kit {

class qx_camera_handle_class;

class kit_registry_class final : public acquisition::hotplug_registry_port {
  public:
    static kit_registry_class& instance();

    void open_sdk();
    void close_sdk();
    void discover_cameras(char* serial_numbers, int size);
    void* open_camera(const char* serial_number);
    void close_camera(void* handle);

    // Throws "Camera handle is invalid." unless the pointer is an open handle.
    void validate_handle(const void* handle);
    // Takes a handle out of the open-handle list (its destruction does this).
    void remove_handle(const qx_camera_handle_class* handle);

    // The hot-plug setters: store the callback and start or stop the
    // listeners.
    void set_connect_callback(camera_connect_callback callback, void* context);
    void set_disconnect_callback(camera_disconnect_callback callback, void* context);

    // Takes the registry mutex. On a hot-plug listener's thread (a callback
    // calling into the kit) it gives way when that listener is being
    // stopped, since the thread stopping it may hold the mutex while it
    // waits for the listener to end.
    std::unique_lock<std::recursive_mutex> lock_registry() override;

    // Hot-plug bookkeeping; the caller holds the registry mutex.
    bool is_device_id_open(const std::string& device_id) const;
    // The serial number that discovery or an arrival recorded for a device
    // id; empty when none did.
    std::string serial_number_of(const std::string& device_id) const override;
    void remember_serial_number(const std::string& device_id, const std::string& serial_number) override;
    acquisition::arriving_camera read_arriving_camera(const std::string& device_type,
                                                      const std::string& device_id) override;

    std::recursive_mutex& mutex() { return registry_mutex; }
    // The kit object; null while the kit is closed. Caller holds mutex().
    kit_class* kit() { return kit_object.get(); }

  private:
    kit_registry_class() = default;
    kit_class& require_kit();

    std::recursive_mutex registry_mutex;
    std::unique_ptr<kit_class> kit_object;                    // guarded by registry_mutex
    std::list<qx_camera_handle_class*> open_handles;          // guarded by registry_mutex
    std::set<const qx_camera_handle_class*> closing_handles;  // guarded by registry_mutex
    std::map<std::string, std::string> discovered_serials;  // device id -> serial; guarded by registry_mutex
    acquisition::hotplug_events_class hotplug_events{*this};  // guarded by registry_mutex
};

}  // namespace qx::kit
