#pragma once
// The camera handle that callers hold as an opaque void*.

#include <string>

#include "acquisition/frame_acquisition_class.h"
#include "camera/camera_properties_class.h"
#include "camera/command_channel_class.h"
#include "kit/device_handle_class.h"
#include "platform/scoped_lock_class.h"

namespace qx::kit {

inline constexpr std::size_t handle_response_size = 1024;

class qx_camera_handle_class {
  public:
    qx_camera_handle_class(device_handle_class device, std::string device_id);
    // Disarms, unblocks a waiting frame read, destroys the device and leaves
    // the open-handle list. Never throws: failures are collected and printed.
    ~qx_camera_handle_class();

    qx_camera_handle_class(const qx_camera_handle_class&) = delete;
    qx_camera_handle_class& operator=(const qx_camera_handle_class&) = delete;

    // The frame of every handle method: take the handle mutex, validate the
    // handle against the open-handle list, run the work, release on every
    // way out. The mutex is taken before validation on purpose: a closed
    // handle is freed memory, and callers must not use it. Work that reads
    // guarded members says so with QX_REQUIRES(<handle>.mutex()); the
    // analysis cannot tie the work's captured handle to this object, so the
    // call inside is the one place where it takes that on trust.
    template <class Work>
    decltype(auto) run_locked(Work&& work) QX_NO_THREAD_SAFETY_ANALYSIS {
        platform::scoped_lock_class guard(handle_mutex);
        validate();
        return work();
    }

    // The handle mutex, for scoped_lock_class and annotations.
    platform::recursive_mutex_class& mutex() QX_RETURN_CAPABILITY(handle_mutex) { return handle_mutex; }

    // Throws "Camera handle is invalid." unless this handle is open.
    void validate() const;

    // Brings a freshly opened camera to its initial state: disarmed, feature
    // flags and static properties read, gain table loaded when needed.
    void initialise_after_open();

    void disarm();

    // Marks a handle whose opening failed: its destruction only destroys the
    // device and leaves the list, sending nothing to the camera.
    void abandon() { abandoned = true; }

    const std::string& device_id() const { return id; }
    const device_handle_class& device() const { return device_link; }
    camera::command_channel_class& channel() { return command_channel; }

  private:
    // Lock order: handle_mutex, then the registry mutex, then any mutex of
    // acquisition. The handle mutex comes first in the object on purpose.
    platform::recursive_mutex_class handle_mutex;

  public:
    char response[handle_response_size] = {};    // guarded by handle_mutex
    camera::camera_properties_class properties;  // guarded by handle_mutex
    acquisition::frame_acquisition_class acquisition{handle_mutex};

  private:
    bool abandoned = false;
    std::string id;
    device_handle_class device_link;
    camera::command_channel_class command_channel;
};

}  // namespace qx::kit
