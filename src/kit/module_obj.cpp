#include "kit/module_obj.h"

#include "base/checks.h"
#include "kit/kit_class.h"

namespace qx::kit {

namespace {
template <class Function>
Function lookup(platform::library_handle library, const char* name) {
    return reinterpret_cast<Function>(platform::find_symbol(library, name));
}
}  // namespace

module_obj::module_obj(kit_class* owner_kit, std::string library_file_name, platform::library_handle handle)
    : owner(owner_kit), file_name(std::move(library_file_name)), library(handle) {
    qx_module_initialize = lookup<qx_module_initialize_t>(library, "qx_module_initialize");
    qx_module_uninitialize = lookup<qx_module_uninitialize_t>(library, "qx_module_uninitialize");
    qx_get_function = lookup<qx_get_function_t>(library, "qx_get_function");
    qx_module_get_name = lookup<qx_module_get_name_t>(library, "qx_module_get_name");

    check_pointer_set(library, "module_obj::module_obj error: Module handle is nullptr.");
    check_pointer_set(reinterpret_cast<void*>(qx_module_initialize),
                      "module_obj::module_obj qx_module_initialize not found.");
    check_pointer_set(reinterpret_cast<void*>(qx_module_get_name),
                      "module_obj::module_obj qx_module_get_name not found.");
    check_pointer_set(reinterpret_cast<void*>(qx_get_function),
                      "module_obj::module_obj qx_get_function not found.");
    check_pointer_set(reinterpret_cast<void*>(qx_module_uninitialize),
                      "module_obj::module_obj qx_module_uninitialize not found.");
    check_pointer_set(library, "module_obj::module_obj module handle unexpectedly null.");
    std::string name_copy = file_name;
    check_trimmed_not_empty(name_copy, "module_obj::module_obj file name required.");
    check_true(qx_module_initialize(owner != nullptr ? &owner->hotplug : nullptr) == 0,
               "module_obj::module_obj call to qx_module_initialize returned an error code.");
}

module_obj::~module_obj() {
    platform::release_found_library(library);
}

void module_obj::bind_optional_entry_points() {
    get_device_ids = lookup<qx_get_device_ids_t>(library, "get_device_ids");
    create = lookup<qx_create_t>(library, "create");
    destroy = lookup<qx_destroy_t>(library, "destroy");
    get_data__returns_zero_for_success =
        lookup<qx_device_data_t>(library, "get_data__returns_zero_for_success");
    set_data__returns_zero_for_success =
        lookup<qx_device_data_t>(library, "set_data__returns_zero_for_success");
    qx_get_module_data = lookup<qx_get_module_data_t>(library, "qx_get_module_data");
    qx_set_module_data = lookup<qx_set_module_data_t>(library, "qx_set_module_data");
}

void module_obj::shut_down() {
    if (shut_down_done)
        return;
    shut_down_done = true;
    // The device entry points stay: a camera opened under this kit and
    // still open after the kit was reopened must still be able to stop,
    // unblock and destroy its device (and with it the device's threads).
    get_device_ids = nullptr;
    create = nullptr;
    qx_get_module_data = nullptr;
    qx_set_module_data = nullptr;
    module_name.clear();
    if (qx_module_uninitialize != nullptr)
        qx_module_uninitialize();
}

}  // namespace qx::kit
