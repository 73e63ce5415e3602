#pragma once
// The family modules' data calls that the hot-plug listeners block in and
// wake. The kit's module manager implements it.

#include <cstdint>
#include <string>

namespace qx::acquisition {

class module_data_port {
  public:
    // The named module's qx_get_module_data and qx_set_module_data; 6 and 7
    // when the module or its entry point is missing.
    virtual int get_module_data(const std::string& module_name, const char* key, void* value,
                                std::int32_t reserved) const = 0;
    virtual int set_module_data(const std::string& module_name, const char* key, void* value,
                                std::int32_t reserved) const = 0;

  protected:
    module_data_port() = default;
    ~module_data_port() = default;
    module_data_port(const module_data_port&) = default;
    module_data_port& operator=(const module_data_port&) = default;
};

}  // namespace qx::acquisition
