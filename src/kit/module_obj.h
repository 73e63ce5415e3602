#pragma once
// One admitted device module: its library and entry points.

#include <cstdint>
#include <string>

#include "platform/shared_library.h"
#include "quendral_vko_device_module.h"

namespace qx::kit {

class kit_class;

class module_obj {
  public:
    // Looks up the four required entry points, checks them and calls
    // qx_module_initialize with the owner's hot-plug record.
    module_obj(kit_class* owner, std::string file_name, platform::library_handle library);
    // Drops the reference to the library taken when it was found; the
    // library itself stays loaded while any module record refers to it.
    ~module_obj();

    module_obj(const module_obj&) = delete;
    module_obj& operator=(const module_obj&) = delete;

    // Looks up the further, optional entry points.
    void bind_optional_entry_points();
    // Clears the module-wide entry points (listing, creation, module data)
    // and calls qx_module_uninitialize; run once when the kit that admitted
    // the module is destroyed. Handles still holding this record keep their
    // device calls and destroy, so closing them later releases the device.
    void shut_down();

    kit_class* owner;
    std::string file_name;
    std::uint64_t reserved_counter = 0;
    platform::library_handle library;

    qx_module_initialize_t qx_module_initialize = nullptr;
    qx_module_uninitialize_t qx_module_uninitialize = nullptr;
    qx_get_function_t qx_get_function = nullptr;
    qx_module_get_name_t qx_module_get_name = nullptr;

    qx_get_device_ids_t get_device_ids = nullptr;
    qx_create_t create = nullptr;
    qx_destroy_t destroy = nullptr;
    qx_device_data_t get_data__returns_zero_for_success = nullptr;
    qx_device_data_t set_data__returns_zero_for_success = nullptr;
    qx_get_module_data_t qx_get_module_data = nullptr;
    qx_set_module_data_t qx_set_module_data = nullptr;

    std::string module_name;

  private:
    bool shut_down_done = false;
};

}  // namespace qx::kit
