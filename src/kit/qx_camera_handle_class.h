#pragma once
// The camera handle that callers hold as an opaque void*.

#include <string>

#include "acquisition/acquisition_handle_port.h"
#include "acquisition/frame_acquisition_class.h"
#include "camera/camera_properties_class.h"
#include "camera/command_channel_class.h"
#include "kit/device_handle_class.h"

namespace qx::kit {

using camera::handle_response_size;

// Seen through its ports, the handle is what the camera routines and
// acquisition work on without knowing the kit.
class qx_camera_handle_class final : public acquisition::acquisition_handle_port {
  public:
    qx_camera_handle_class(device_handle_class device, std::string device_id);
    // Disarms, unblocks a waiting frame read, destroys the device and leaves
    // the open-handle list. Never throws: failures are collected and printed.
    ~qx_camera_handle_class();

    qx_camera_handle_class(const qx_camera_handle_class&) = delete;
    qx_camera_handle_class& operator=(const qx_camera_handle_class&) = delete;

    // Throws "Camera handle is invalid." unless this handle is open.
    void validate() const override;

    // Brings a freshly opened camera to its initial state: disarmed, feature
    // flags and static properties read, gain table loaded when needed.
    void initialise_after_open();

    void disarm();

    // Marks a handle whose opening failed: its destruction only destroys the
    // device and leaves the list, sending nothing to the camera.
    void abandon() { abandoned = true; }

    const std::string& device_id() const { return id; }
    const device_handle_class& device() const { return device_link; }
    camera::command_channel_class& channel() override { return command_channel; }

    platform::recursive_mutex_class& handle_lock() override QX_RETURN_CAPABILITY(handle_mutex) {
        return handle_mutex;
    }
    int get_data(const char* command, std::uint64_t command_size, const void* data, std::uint64_t data_size,
                 char* response, std::uint64_t response_size) override;
    int set_data(const char* command, std::uint64_t command_size, const void* data, std::uint64_t data_size,
                 char* response, std::uint64_t response_size) override;
    char* reply_buffer() override QX_REQUIRES(handle_mutex) { return response; }
    camera::camera_properties_class& camera_properties() override QX_REQUIRES(handle_mutex) { return properties; }
    const camera::camera_properties_class& camera_properties() const override QX_REQUIRES(handle_mutex) {
        return properties;
    }
    void* identity() override { return this; }
    platform::recursive_mutex_class& registry_lock() override;
    acquisition::device_setter held_frame_device() override;

  private:
    // Lock order: handle_mutex, then the registry mutex, then any mutex of
    // acquisition. The handle mutex is the first member on purpose.
    platform::recursive_mutex_class handle_mutex;

  public:
    char response[handle_response_size] QX_GUARDED_BY(handle_mutex) = {};
    camera::camera_properties_class properties QX_GUARDED_BY(handle_mutex);
    acquisition::frame_acquisition_class acquisition{handle_mutex};

  private:
    bool abandoned = false;
    std::string id;
    device_handle_class device_link;
    camera::command_channel_class command_channel;
};

}  // namespace qx::kit
