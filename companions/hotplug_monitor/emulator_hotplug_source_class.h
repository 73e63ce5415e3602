#pragma once
// Arrivals and departures of the camera emulator's virtual cameras, so that
// the kit hears about them exactly as about real ones.

#include "hotplug_event_dispatcher_class.h"

namespace qx {

class emulator_hotplug_source_class {
  public:
    // Registers with the emulator; without it the source stays idle.
    explicit emulator_hotplug_source_class(hotplug_event_dispatcher_class& dispatcher);
    // Unregisters; the emulator calls no more after this returns.
    ~emulator_hotplug_source_class();

    emulator_hotplug_source_class(const emulator_hotplug_source_class&) = delete;
    emulator_hotplug_source_class& operator=(const emulator_hotplug_source_class&) = delete;

    bool is_listening() const { return listener_id_ > 0; }

  private:
    static void report_camera_change(int event_code, const char* device_path, unsigned int vendor_id,
                                     unsigned int product_id, void* source);

    hotplug_event_dispatcher_class& dispatcher_;
    int listener_id_ = 0;
};

}  // namespace qx
