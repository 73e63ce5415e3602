#include "kit/qx_camera_handle_class.h"

#include <cstdio>
#include <exception>

#include "camera/gain_table_loader.h"
#include "kit/kit_registry_class.h"

namespace qx::kit {

namespace {
constexpr char unblock_command[] = "unblock_image_wait_for_frame";
}

qx_camera_handle_class::qx_camera_handle_class(device_handle_class device, std::string device_id)
    : id(std::move(device_id)), device_link(std::move(device)), command_channel(*this) {}

qx_camera_handle_class::~qx_camera_handle_class() {
    std::string failures;
    const auto collect = [&](auto&& step) {
        try {
            step();
        } catch (const std::exception& failure) {
            failures += failure.what();
            failures += ' ';
        }
    };
    if (!abandoned) {
        collect([&] { disarm(); });
        collect([&] {
            if (device_link.set_data(unblock_command, sizeof unblock_command, nullptr, 0, response,
                                     handle_response_size) != 0) {
                throw std::runtime_error(std::string("Error setting sending ") + unblock_command + ".");
            }
        });
        acquisition.stop_remaining_frame_loop();
    }
    // Held frames outlive the camera; their release must not reach a
    // destroyed device.
    acquisition.forget_device();
    collect([&] { device_link.destroy_device(); });
    kit_registry_class::instance().remove_handle(this);
    if (!failures.empty())
        std::printf("~qx_camera_handle_class error: %s\n", failures.c_str());
}

void qx_camera_handle_class::validate() const {
    kit_registry_class::instance().validate_handle(this);
}

int qx_camera_handle_class::get_data(const char* command, std::uint64_t command_size, const void* data,
                                     std::uint64_t data_size, char* response, std::uint64_t response_size) {
    return device_link.get_data(command, command_size, data, data_size, response, response_size);
}

int qx_camera_handle_class::set_data(const char* command, std::uint64_t command_size, const void* data,
                                     std::uint64_t data_size, char* response, std::uint64_t response_size) {
    return device_link.set_data(command, command_size, data, data_size, response, response_size);
}

platform::recursive_mutex_class& qx_camera_handle_class::registry_lock() {
    return kit_registry_class::instance().registry_lock();
}

acquisition::device_setter qx_camera_handle_class::held_frame_device() {
    // A copy of the device handle: it keeps the module loaded while frames
    // are held after the camera closed.
    return [device = device_link](const char* command, std::uint64_t command_size, const void* data,
                                  std::uint64_t data_size, char* response, std::uint64_t response_size) {
        return device.set_data(command, command_size, data, data_size, response, response_size);
    };
}

void qx_camera_handle_class::disarm() {
    acquisition.disarm(*this);
}

void qx_camera_handle_class::initialise_after_open() {
    run_locked([&]() QX_REQUIRES(handle_mutex) {
        disarm();
        properties.set_features_from_discover_reply(command_channel.get("discover"));
        // Cameras with a gain control may map gain indexes through a table.
        if (properties.has(camera::feature::gain))
            camera::load_gain_table(*this);
    });
}

}  // namespace qx::kit
