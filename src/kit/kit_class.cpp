#include "kit/kit_class.h"

#include <stdexcept>

#include "kit/library_names.h"

namespace qx::kit {

kit_class::kit_class() {
    hotplug.monitor_library = platform::load_library(hotplug_monitor_library_name);
    if (hotplug.monitor_library == nullptr)
        throw std::runtime_error("Hotplug monitor dll not found.");
    hotplug.open =
        reinterpret_cast<qx_hotplug_open_t>(platform::find_symbol(hotplug.monitor_library, "open"));
    hotplug.close =
        reinterpret_cast<qx_hotplug_close_t>(platform::find_symbol(hotplug.monitor_library, "close"));
    hotplug.hotplug_event_subscribe = reinterpret_cast<qx_hotplug_event_subscribe_t>(
        platform::find_symbol(hotplug.monitor_library, "hotplug_event_subscribe"));
    if (hotplug.open == nullptr || hotplug.open() != 0) {
        platform::unload_library(hotplug.monitor_library);
        hotplug = {};
        throw std::runtime_error("Cannot open hot plug.");
    }

    try {
        // Without its own file name the kit runs with no device modules.
        if (platform::own_library_path().empty())
            return;
        manager.Process_device_module(this, kit_library_name);
        second_family_library = platform::load_library(second_family_library_name);
        manager.Process_device_module(this, second_family_library_name);
        manager.finish_admission();
    } catch (...) {
        release_everything();
        throw;
    }
}

kit_class::~kit_class() {
    release_everything();
}

void kit_class::release_everything() noexcept {
    for (const auto& module : manager.modules()) module->shut_down();
    if (hotplug.close != nullptr)
        hotplug.close();
    platform::unload_library(hotplug.monitor_library);
    hotplug = {};
    platform::unload_library(second_family_library);
    second_family_library = nullptr;
}

}  // namespace qx::kit
