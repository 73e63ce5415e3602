// Exported functions that reach a camera's device module with raw commands.

#include <cstring>
#include <stdexcept>

#include "api/call_frame.h"
#include "kit/qx_camera_handle_class.h"
#include "quendral_vko_camera_sdk.h"

using qx::kit::qx_camera_handle_class;

extern "C" {

QX_CAMERA_API int _internal_command(void* handle, char* command, int command_size, char* response,
                                    int response_size) {
    return qx::api::run_camera_call(handle, [&](qx_camera_handle_class& camera) {
        camera.run_locked([&] {
            if (command == nullptr)
                throw std::invalid_argument("command");
            if (response == nullptr)
                throw std::invalid_argument("response");
            // A negative size would reach the module as a huge one.
            if (response_size <= 0)
                throw std::out_of_range("Response size is too small.");
            if (command_size < 0)
                throw std::out_of_range("command_size_bytes_including_any_null_terminator");
            // Modules read the command as text up to its NUL: one without a
            // NUL inside the size would be read past its end.
            const bool terminated =
                command_size == 0 || std::memchr(command, '\0', static_cast<std::size_t>(command_size)) != nullptr;
            qx::kit::check_true(terminated, "The command must end with a NUL within its size.");
            bool supported = true;
            camera.channel().get_exchange(command, static_cast<std::uint64_t>(command_size), nullptr, 0,
                                          response, static_cast<std::uint64_t>(response_size), false,
                                          supported);
            qx::kit::check_true(supported, "Command is not supported.");
        });
    });
}

QX_CAMERA_API int _set_image_size_overrides(void* handle, int width, int height) {
    return qx::api::run_camera_call(handle, [&](qx_camera_handle_class& camera) {
        camera.run_locked([&]() QX_REQUIRES(camera.handle_lock()) {
            if (width < 1)
                throw std::invalid_argument("width");
            if (height < 1)
                throw std::invalid_argument("height");
            camera.properties.image_width_override = width;
            camera.properties.image_height_override = height;
        });
    });
}

}  // extern "C"
