#pragma once
// The built-in module's command dispatch: a few words are answered by the
// module itself, every other command goes to the camera unchanged.

#include <cstdint>

namespace qx::device_qv {

class qv_camera_class;

// What one get or set call carries.
struct dispatch_call {
    qv_camera_class& camera;
    const char* command;
    std::uint64_t command_size;
    const void* data;
    std::uint64_t data_size;
    char* reply;
    std::uint64_t reply_size;
};

// 0 on success, 1 on any failure; nothing is thrown.
int dispatch_get(const dispatch_call& call);
int dispatch_set(const dispatch_call& call);

}  // namespace qx::device_qv
