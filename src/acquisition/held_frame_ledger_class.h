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
#include <mutex>

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
    void* hold(std::shared_ptr<unsigned char[]> buffer, unsigned char* slot);

    // Gives a held frame back. Throws "Frame is not held." for anything
    // that is not a live token. Safe after the camera was closed.
    static void release(void* token);

    // An arm begins: frames held from now on belong to it; earlier ones are
    // only freed when released.
    void begin_arm();
    bool has_held_frames();

    // The camera is closing: later releases never reach its device.
    void forget_device();

  private:
    struct token;

    std::mutex mutex;
    device_setter device_link;             // guarded by mutex
    bool device_present = true;            // guarded by mutex
    std::uint64_t arm_generation = 0;      // guarded by mutex
    std::uint64_t held = 0;                // guarded by mutex
};

}  // namespace qx::acquisition
