#include "kit/device_module_manager.h"

#include <cstring>
#include <utility>
#include <vector>

#include "base/checks.h"
#include "base/status_codes.h"
#include "platform/scoped_lock_class.h"
#include "platform/shared_library.h"

namespace qx::kit {

namespace {

constexpr std::size_t device_id_buffer_size = 2048;

// Device creation is serialised process-wide: modules may assume one create
// at a time.
platform::mutex_class& creation_mutex() {
    static platform::mutex_class mutex;
    return mutex;
}

// Holds the reference that finding a loaded library takes until a module
// record owns it.
class found_library_reference {
  public:
    explicit found_library_reference(platform::library_handle handle) : library(handle) {}
    ~found_library_reference() { platform::release_found_library(library); }
    found_library_reference(const found_library_reference&) = delete;
    found_library_reference& operator=(const found_library_reference&) = delete;
    platform::library_handle get() const { return library; }
    platform::library_handle release() { return std::exchange(library, nullptr); }

  private:
    platform::library_handle library;
};

}  // namespace

void Device_module_manager::Process_device_module(kit_class* owner, const std::string& file_name) {
    std::string name_copy = file_name;
    check_trimmed_not_empty(
        name_copy, "Device_module_manager::Process_device_module expected a shared-library file name.");

    found_library_reference library(platform::find_loaded_library(file_name));
    check_pointer_set(
        library.get(),
        "Device_module_manager::Process_device_module expected shared library to be already loaded.");

    const auto get_type =
        reinterpret_cast<qx_module_get_type_t>(platform::find_symbol(library.get(), "qx_module_get_type"));
    check_pointer_set(reinterpret_cast<void*>(get_type), "qx_module_get_type not found in shared library.");
    const char* type = get_type();
    check_true(type != nullptr && std::strcmp(type, QX_DEVICE_MODULE_TYPE) == 0,
               "Device_module_manager::Process_device_module get_module_type did not return 'DEVICE' and is "
               "therefore not considered to be a device module.");

    const auto get_name =
        reinterpret_cast<qx_module_get_name_t>(platform::find_symbol(library.get(), "qx_module_get_name"));
    check_pointer_set(
        reinterpret_cast<void*>(get_name),
        "Device_module_manager::Process_device_module qx_module_get_name not found in shared library.");
    const char* reported_name = get_name();
    std::string module_name = reported_name == nullptr ? std::string() : std::string(reported_name);
    std::string trimmed_name = module_name;
    check_trimmed_not_empty(
        trimmed_name, "Device_module_manager::Process_device_module get_module_name did not return a name.");

    auto module = std::make_shared<module_obj>(owner, file_name, library.get());
    library.release();
    module->module_name = module_name;
    module->bind_optional_entry_points();
    module_list.push_back(std::move(module));
    names += module_name;
    names += ',';
}

std::shared_ptr<module_obj> Device_module_manager::find_module(const std::string& module_name) const {
    for (const auto& module : module_list) {
        if (module->module_name == module_name)
            return module;
    }
    return nullptr;
}

int Device_module_manager::get_module_data(const std::string& module_name, const char* key, void* value,
                                           std::int32_t reserved) const {
    const auto module = find_module(module_name);
    if (!module || module->qx_get_module_data == nullptr)
        return api::module_status_get_data_failed;
    return module->qx_get_module_data(key, value, reserved);
}

int Device_module_manager::set_module_data(const std::string& module_name, const char* key, void* value,
                                           std::int32_t reserved) const {
    const auto module = find_module(module_name);
    if (!module || module->qx_set_module_data == nullptr)
        return api::module_status_set_data_failed;
    return module->qx_set_module_data(key, value, reserved);
}

int Device_module_manager::get_device_ids(char* device_ids, int device_ids_size, char* serial_numbers,
                                          int serial_numbers_size) const {
    std::string all_ids;
    std::string all_serials;
    for (const auto& module : module_list) {
        if (module->get_device_ids == nullptr)
            return api::module_status_initialization_failure;
        // One extra byte keeps a module that fills its buffer to the brim
        // from leaving our copy unterminated.
        std::vector<char> ids(device_id_buffer_size + 1, '\0');
        std::vector<char> serials(device_id_buffer_size + 1, '\0');
        if (module->get_device_ids(ids.data(), static_cast<int>(device_id_buffer_size), serials.data(),
                                   static_cast<int>(device_id_buffer_size)) != 0) {
            return api::module_status_initialization_failure;
        }
        all_ids += module->module_name + ":" + ids.data() + ".";
        all_serials += module->module_name + ":" + serials.data() + ".";
    }
    if (device_ids == nullptr || serial_numbers == nullptr ||
        device_ids_size < static_cast<int>(all_ids.size()) + 1 ||
        serial_numbers_size < static_cast<int>(all_serials.size()) + 1) {
        return api::module_status_initialization_failure;
    }
    std::strncpy(device_ids, all_ids.c_str(), static_cast<std::size_t>(device_ids_size));
    std::strncpy(serial_numbers, all_serials.c_str(), static_cast<std::size_t>(serial_numbers_size));
    return api::status_success;
}

std::optional<device_handle_class> Device_module_manager::create_device(const std::string& module_name,
                                                                        const std::string& device_id) const {
    platform::scoped_lock_class creating(creation_mutex());
    const auto module = find_module(module_name);
    if (!module || module->create == nullptr)
        return std::nullopt;
    void* device = nullptr;
    if (module->create(device_id.c_str(), &device) != 0 || device == nullptr)
        return std::nullopt;
    return device_handle_class(device, module);
}

void Device_module_manager::finish_admission() {
    if (!names.empty() && names.back() == ',')
        names.pop_back();
}

}  // namespace qx::kit
