#include "kit/device_handle_class.h"

#include "base/checks.h"
#include "base/status_codes.h"
#include "kit/module_obj.h"

namespace qx::kit {

device_handle_class::device_handle_class(void* device, std::shared_ptr<module_obj> module)
    : device_pointer(device), owner_module(std::move(module)) {
    check_pointer_set(device_pointer, "Device handle cannot be null.");
}

int device_handle_class::get_data(const char* command, std::uint64_t command_size, const void* data,
                                  std::uint64_t data_size, char* response,
                                  std::uint64_t response_size) const {
    const auto getter = owner_module ? owner_module->get_data__returns_zero_for_success : nullptr;
    if (device_pointer == nullptr || getter == nullptr)
        return api::module_status_get_data_failed;
    return getter(device_pointer, command, command_size, data, data_size, response, response_size) == 0
               ? api::status_success
               : api::module_status_get_data_failed;
}

int device_handle_class::set_data(const char* command, std::uint64_t command_size, const void* data,
                                  std::uint64_t data_size, char* response,
                                  std::uint64_t response_size) const {
    const auto setter = owner_module ? owner_module->set_data__returns_zero_for_success : nullptr;
    if (device_pointer == nullptr || setter == nullptr)
        return api::module_status_set_data_failed;
    return setter(device_pointer, command, command_size, data, data_size, response, response_size) == 0
               ? api::status_success
               : api::module_status_get_data_failed;
}

int device_handle_class::destroy_device() const {
    const auto destroy = owner_module ? owner_module->destroy : nullptr;
    if (device_pointer == nullptr || destroy == nullptr)
        return api::status_success;
    return destroy(device_pointer);
}

}  // namespace qx::kit
