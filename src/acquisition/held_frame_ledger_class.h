#pragma once
// Which frames of one camera the application holds. A held frame keeps the
// frame buffer it lives in alive through a shared owner, so its memory stays
// valid after disarm, re-arm or close; its slot goes back to the camera on
// release only while the camera is open and the frame belongs to the
// current arm.
//
// Lock order: the ledger mutex, then the device's own locks (a release
// reaches the device). The handle mutex is never taken under the ledger mutex.

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/scoped_lock_class.h"

namespace qx::acquisition {

// A device module's setter for one camera (0 for success); it keeps the
// module loaded for as long as it is kept.
using device_setter =
    std::function<int(const char* command, std::uint64_t command_size, const void* data,
                      std::uint64_t data_size, char* response, std::uint64_t response_size)>;

class held_frame_ledger_class : public std::enable_shared_from_this<held_frame_ledger_class> {
  public:
    explicit held_frame_ledger_class(device_setter device) : device_link(std::move(device)) {}

    // A token for a slot just taken from the device, which the application
    // gives back through release(). The token is the caller's until then.
    void* hold(std::shared_ptr<unsigned char[]> buffer, unsigned char* slot) QX_EXCLUDES(mutex);

    // Gives a held frame back. Throws "Frame is not held." for anything
    // that is not a live token. Safe after the camera was closed.
    static void release(void* token);

    // An arm begins: frames held from now on belong to it; earlier ones are
    // only freed when released.
    void begin_arm() QX_EXCLUDES(mutex);
    bool has_held_frames() QX_EXCLUDES(mutex);

    // The camera is closing: later releases never reach its device.
    void forget_device() QX_EXCLUDES(mutex);

  private:
    struct token;

    platform::mutex_class mutex;
    device_setter device_link QX_GUARDED_BY(mutex);
    bool device_present QX_GUARDED_BY(mutex) = true;
    std::uint64_t arm_generation QX_GUARDED_BY(mutex) = 0;
    std::uint64_t held QX_GUARDED_BY(mutex) = 0;
};

}  // namespace qx::acquisition
