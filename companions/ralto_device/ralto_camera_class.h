#pragma once
// A camera of the ralto family as the module serves it: the device that
// `create` hands to the kit. Concrete cameras come from a camera listing
// source (camera_listing_source_class).

#include <cstdint>

namespace qx {

class ralto_camera_class {
  public:
    virtual ~ralto_camera_class() = default;

    // One command of the kit's get/set exchange; the arguments are those of
    // get_data__returns_zero_for_success. Returns 0 on success.
    virtual int get_data(const char* command, std::uint64_t command_size, const void* data,
                         std::uint64_t data_size, char* response, std::uint64_t response_size) = 0;
    virtual int set_data(const char* command, std::uint64_t command_size, const void* data,
                         std::uint64_t data_size, char* response, std::uint64_t response_size) = 0;
};

}  // namespace qx
