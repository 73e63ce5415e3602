#pragma once
// What the parameter routines and the command channel need of a camera
// handle: its lock and validation, the text exchange with its device, its
// reply buffer, its properties and its identity. The kit's handle class
// implements it; nothing here knows the kit.

#include <cstddef>
#include <cstdint>
#include "camera/camera_properties_class.h"
#include "camera/command_channel_class.h"
#include "platform/scoped_lock_class.h"

namespace qx::camera {

// The size of a handle's reply buffer.
inline constexpr std::size_t handle_response_size = 1024;

class camera_command_port {
  public:
    // The frame of every handle method: take the handle mutex, validate the
    // handle against the open-handle list, run the work, release on every
    // way out. The mutex is taken before validation on purpose: a closed
    // handle is freed memory, and callers must not use it. Work that reads
    // what the handle mutex guards says so with QX_REQUIRES; the analysis
    // cannot tie the work's captured names to this object, so the call
    // inside is the one place where it takes that on trust.
    template <class Work>
    decltype(auto) run_locked(Work&& work) QX_NO_THREAD_SAFETY_ANALYSIS {
        platform::scoped_lock_class guard(handle_lock());
        validate();
        return work();
    }

    // The handle mutex (recursive): the first lock of every camera method.
    virtual platform::recursive_mutex_class& handle_lock() = 0;
    // Throws "Camera handle is invalid." unless this handle is open.
    virtual void validate() const = 0;

    // The device module's getter and setter for this camera, with the
    // device handle's status rules (0 for success).
    virtual int get_data(const char* command, std::uint64_t command_size, const void* data,
                         std::uint64_t data_size, char* response, std::uint64_t response_size) = 0;
    virtual int set_data(const char* command, std::uint64_t command_size, const void* data,
                         std::uint64_t data_size, char* response, std::uint64_t response_size) = 0;

    // The handle's reply buffer of handle_response_size bytes; guarded by
    // the handle mutex.
    virtual char* reply_buffer() = 0;
    // The camera's feature flags and static properties; guarded by the
    // handle mutex.
    virtual camera_properties_class& camera_properties() = 0;
    virtual const camera_properties_class& camera_properties() const = 0;
    virtual command_channel_class& channel() = 0;

    // The handle as the application holds it: what failure texts name and
    // what frame callbacks receive.
    virtual void* identity() = 0;

  protected:
    camera_command_port() = default;
    ~camera_command_port() = default;
    camera_command_port(const camera_command_port&) = delete;
    camera_command_port& operator=(const camera_command_port&) = delete;
};

}  // namespace qx::camera
