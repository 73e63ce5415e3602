#pragma once
// The admitted device modules of one kit object, in admission order, and the
// routing of discovery, creation and module data through them.

#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "acquisition/module_data_port.h"
#include "kit/device_handle_class.h"
#include "kit/module_obj.h"

namespace qx::kit {

class kit_class;

class Device_module_manager final : public acquisition::module_data_port {
  public:
    // Admits one library that is already loaded in the process, by its
    // (Windows) file name. Throws on every refusal; nothing is appended then.
    void Process_device_module(kit_class* owner, const std::string& file_name);

    // First module of that exact name, in admission order; null when none.
    std::shared_ptr<module_obj> find_module(const std::string& module_name) const;

    int get_module_data(const std::string& module_name, const char* key, void* value,
                        std::int32_t reserved) const override;
    int set_module_data(const std::string& module_name, const char* key, void* value,
                        std::int32_t reserved) const override;

    // Gathers "<name>:<ids>." per module into the two caller buffers.
    // 0, or module code 8 when a module fails or a buffer is too small.
    int get_device_ids(char* device_ids, int device_ids_size, char* serial_numbers,
                       int serial_numbers_size) const;

    // Has the named module create the device for an id, under the
    // process-wide creation mutex. Empty when the module is unknown, has no
    // create or refuses.
    std::optional<device_handle_class> create_device(const std::string& module_name,
                                                     const std::string& device_id) const;

    // Every admitted module in order; the kit shuts them down when it goes.
    const std::list<std::shared_ptr<module_obj>>& modules() const { return module_list; }

    // "A,B," while admitting; finish_admission drops the final comma.
    const std::string& module_names() const { return names; }
    void finish_admission();

  private:
    std::list<std::shared_ptr<module_obj>> module_list;
    std::string names;
};

}  // namespace qx::kit
