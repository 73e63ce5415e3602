#pragma once
// Arrivals and departures of real cameras on Windows: the configuration
// manager's notices about the device interfaces of the Cypress USB driver,
// whose paths are the ones enumeration lists (upper-cased).

#include "hotplug_event_dispatcher_class.h"

namespace qx {

class windows_hotplug_source_class {
  public:
    // Registers for the driver's interface notices. Where the system has no
    // such notices (before Windows 8) the source stays idle and reports
    // nothing; is_watching() tells which.
    explicit windows_hotplug_source_class(hotplug_event_dispatcher_class& dispatcher);
    // Unregisters; the system has finished every notice call when it returns.
    ~windows_hotplug_source_class();

    windows_hotplug_source_class(const windows_hotplug_source_class&) = delete;
    windows_hotplug_source_class& operator=(const windows_hotplug_source_class&) = delete;

    bool is_watching() const { return registration_ != nullptr; }

    // Every interface of the driver's class is watched from the start; the
    // dispatcher hands each event only to the subscribers of its ids.
    void watch_device_ids(unsigned int, unsigned int) {}

    // Called on the system's notice thread with an interface's path.
    void report_interface_change(bool arrived, const wchar_t* symbolic_link);

  private:
    hotplug_event_dispatcher_class& dispatcher_;
    void* registration_ = nullptr;  // the notice registration (an HCMNOTIFICATION)
};

}  // namespace qx
