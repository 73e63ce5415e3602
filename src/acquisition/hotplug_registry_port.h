#pragma once
// What the hot-plug events need of the kit: the registry mutex, the serial
// numbers the registry keeps, and a look at an arriving camera. The kit's
// registry implements it.

#include <string>

#include "platform/scoped_lock_class.h"

namespace qx::acquisition {

// What an arriving camera says of itself.
struct arriving_camera {
    std::string serial_number;
    std::string usb_speed;  // the "usb_speed" reply
};

class hotplug_registry_port {
  public:
    // The registry mutex (recursive), for scoped_lock_class. No thread
    // holds it while it waits for a listener to end.
    virtual platform::recursive_mutex_class& registry_lock() = 0;

    // Reads the serial number and USB speed of an arriving camera through a
    // device made for this alone and destroyed again. The caller holds the
    // registry mutex. Throws "The SDK is not open.", "Camera is already
    // open." or "Error opening camera.".
    virtual arriving_camera read_arriving_camera(const std::string& device_type, const std::string& device_id)
        QX_REQUIRES(registry_lock()) = 0;

    // The serial number that discovery or an arrival recorded for a device
    // id; empty when none did. The caller holds the registry mutex.
    virtual std::string serial_number_of(const std::string& device_id) QX_REQUIRES(registry_lock()) = 0;
    virtual void remember_serial_number(const std::string& device_id, const std::string& serial_number)
        QX_REQUIRES(registry_lock()) = 0;

  protected:
    hotplug_registry_port() = default;
    ~hotplug_registry_port() = default;
    hotplug_registry_port(const hotplug_registry_port&) = delete;
    hotplug_registry_port& operator=(const hotplug_registry_port&) = delete;
};

}  // namespace qx::acquisition
