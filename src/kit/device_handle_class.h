#pragma once
// A device made by a module's create, together with the module it belongs to.

#include <cstdint>
#include <memory>

namespace qx::kit {

class module_obj;

class device_handle_class {
  public:
    // Fails with "Device handle cannot be null." for a null device.
    device_handle_class(void* device, std::shared_ptr<module_obj> module);

    void* device() const { return device_pointer; }
    const std::shared_ptr<module_obj>& module() const { return owner_module; }

    // The module's getter: 6 when there is no device or the module has no
    // getter any more; any non-zero answer of the module becomes 6.
    int get_data(const char* command, std::uint64_t command_size, const void* data, std::uint64_t data_size,
                 char* response, std::uint64_t response_size) const;
    // The module's setter: 7 when there is no device or no setter; any
    // non-zero answer of the module becomes 6, not 7 (callers test for zero).
    int set_data(const char* command, std::uint64_t command_size, const void* data, std::uint64_t data_size,
                 char* response, std::uint64_t response_size) const;
    // The module's destroy; 0 when the module has none any more.
    int destroy_device() const;

  private:
    void* device_pointer;
    std::shared_ptr<module_obj> owner_module;
};

}  // namespace qx::kit
