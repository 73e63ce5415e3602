#pragma once
// What kit-side acquisition needs of a camera handle beyond its command
// port: the registry mutex that starting a frame loop takes after the handle
// mutex, and a way to the device that held frames keep after the handle is
// gone. The kit's handle class implements it.

#include "acquisition/held_frame_ledger_class.h"
#include "camera/camera_command_port.h"
#include "platform/scoped_lock_class.h"

namespace qx::acquisition {

class acquisition_handle_port : public camera::camera_command_port {
  public:
    // The registry mutex (recursive): taken after the handle mutex, before
    // any mutex of acquisition.
    virtual platform::recursive_mutex_class& registry_lock() = 0;
    // The device module's setter for this camera, usable after the handle
    // is closed: held frames go back to the device through it.
    virtual device_setter held_frame_device() = 0;

  protected:
    acquisition_handle_port() = default;
    ~acquisition_handle_port() = default;
};

}  // namespace qx::acquisition
