#pragma once
// Process-wide state of the kit: the kit object, the open camera handles and
// the discovery map, all guarded by the one registry mutex.
//
// Lock order, everywhere: a handle mutex, then the registry mutex, then the
// mutexes of acquisition. No path waits for a handle mutex while holding the
// registry mutex: opening a camera initialises it after releasing the
// registry, and closing marks the handle as closing under the registry and
// destroys it outside. Nor does any path wait for a hot-plug listener while
// holding it: listeners are stopped under the registry mutex and joined
// after it is released.

#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "acquisition/hotplug_events_class.h"
#include "kit/kit_class.h"

namespace qx::kit {

class qx_camera_handle_class;

class kit_registry_class final : public acquisition::hotplug_registry_port {
  public:
    static kit_registry_class& instance();

    // The three that stop hot-plug listeners release the registry mutex
    // while they join them, so the caller must not hold it.
    void open_sdk() QX_EXCLUDES(registry_mutex);
    void close_sdk() QX_EXCLUDES(registry_mutex);
    void discover_cameras(char* serial_numbers, int size);
    void* open_camera(const char* serial_number);
    void close_camera(void* handle);

    // Throws "Camera handle is invalid." unless the pointer is an open handle.
    void validate_handle(const void* handle);
    // Takes a handle out of the open-handle list (its destruction does this).
    void remove_handle(const qx_camera_handle_class* handle);

    // The hot-plug setters: store the callback and start or stop the
    // listeners.
    void set_connect_callback(camera_connect_callback callback, void* context) QX_EXCLUDES(registry_mutex);
    void set_disconnect_callback(camera_disconnect_callback callback, void* context) QX_EXCLUDES(registry_mutex);

    // The registry mutex, for scoped_lock_class.
    platform::recursive_mutex_class& registry_lock() override QX_RETURN_CAPABILITY(registry_mutex) {
        return registry_mutex;
    }

    // Hot-plug bookkeeping; the caller holds the registry mutex.
    bool is_device_id_open(const std::string& device_id) const QX_REQUIRES(registry_mutex);
    // The serial number that discovery or an arrival recorded for a device
    // id; empty when none did.
    std::string serial_number_of(const std::string& device_id) override QX_REQUIRES(registry_mutex);
    void remember_serial_number(const std::string& device_id, const std::string& serial_number) override
        QX_REQUIRES(registry_mutex);
    acquisition::arriving_camera read_arriving_camera(const std::string& device_type,
                                                      const std::string& device_id) override
        QX_REQUIRES(registry_mutex);

    // The kit object; null while the kit is closed.
    kit_class* kit() QX_REQUIRES(registry_mutex) { return kit_object.get(); }

  private:
    kit_registry_class() = default;
    kit_class& require_kit() QX_REQUIRES(registry_mutex);
    // The open kit's modules, or null while the kit is closed.
    const acquisition::module_data_port* open_modules() QX_REQUIRES(registry_mutex);
    // Stores a callback through `store` and, when it asks for it, stops the
    // listeners that are to be replaced, joins them without the registry
    // mutex and starts the new ones.
    template <typename Store>
    void revise_listeners(Store store) QX_EXCLUDES(registry_mutex);

    platform::recursive_mutex_class registry_mutex;
    std::unique_ptr<kit_class> kit_object QX_GUARDED_BY(registry_mutex);
    std::list<qx_camera_handle_class*> open_handles QX_GUARDED_BY(registry_mutex);
    std::set<const qx_camera_handle_class*> closing_handles QX_GUARDED_BY(registry_mutex);
    std::map<std::string, std::string> discovered_serials QX_GUARDED_BY(registry_mutex);  // device id -> serial
    acquisition::hotplug_events_class hotplug_events QX_GUARDED_BY(registry_mutex){*this};
};

}  // namespace qx::kit
