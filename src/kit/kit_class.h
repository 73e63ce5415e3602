#pragma once
// The kit object: the hot-plug monitor and the admitted device modules.

#include "kit/device_module_manager.h"
#include "platform/shared_library.h"
#include "quendral_vko_device_module.h"

namespace qx::kit {

class kit_class {
  public:
    // Loads and opens the hot-plug monitor, then admits the kit's own
    // library and the second family's module. Throws on any failure, leaving
    // nothing loaded or open.
    kit_class();
    // Shuts every module down, then closes and unloads the monitor.
    ~kit_class();

    kit_class(const kit_class&) = delete;
    kit_class& operator=(const kit_class&) = delete;

    // Modules receive the address of this record in qx_module_initialize.
    qx_hotplug_record hotplug{};
    Device_module_manager manager;

  private:
    void release_everything() noexcept;

    platform::library_handle second_family_library = nullptr;
};

}  // namespace qx::kit
