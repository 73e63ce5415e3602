#pragma once
// Frames from an armed camera: the SDK's frame callback copies each frame
// into a queue that the command takes them from on its own thread, so
// writing files never holds up the camera.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>

#include "frame_image.h"
#include "platform/condition_variable_class.h"
#include "quendral_vko_camera_sdk.h"

namespace qx::tool {

// Set by Ctrl-C once the handler is installed; commands stop cleanly on it.
extern std::atomic<bool> stop_requested;
void install_interrupt_handler();

// "no frame came within 0.5 s"
std::string no_frame_text(double timeout_s);

// The SDK's stream counters, or nothing when it cannot give them.
std::optional<qx_stream_statistics> stream_statistics(void* camera);

class frame_capture {
  public:
    // Arms the camera to stream until stopped, with `buffers` frame buffers,
    // and triggers it. The command stops after the frames it wants: a
    // camera asked for exactly N frames would leave the command waiting for
    // ever once one of them is lost. Frames past `wanted` (0: no limit),
    // which arrive before the disarm takes effect, are neither queued nor
    // counted, so the totals describe exactly the frames the command took.
    frame_capture(void* camera, const capture_settings& settings, int buffers, long long wanted = 0);
    // Disarms the camera if it still is armed.
    ~frame_capture();
    frame_capture(const frame_capture&) = delete;
    frame_capture& operator=(const frame_capture&) = delete;

    // The next frame, waiting at most `wait`; nothing when none came in time
    // or a stop was requested.
    std::optional<frame_image> next(std::chrono::milliseconds wait) QX_EXCLUDES(mutex_);

    void disarm();

    struct counts {
        long long frames = 0;           // received by the callback
        long long counter_gaps = 0;     // frames missing from the camera's counter
        long long queue_overflows = 0;  // dropped here because the writer fell behind
        std::uint64_t bytes = 0;        // pixel bytes received
        // When the first and the latest frame reached the callback.
        std::optional<std::chrono::steady_clock::time_point> first_arrival;
        std::chrono::steady_clock::time_point last_arrival;
    };
    counts received() const QX_EXCLUDES(mutex_);

  private:
    static void on_frame(void* handle, unsigned short* image, int frame_count, unsigned char* metadata,
                         int metadata_size, void* context);

    void* camera_;
    const capture_settings& settings_;
    const long long wanted_;
    bool armed_ = false;
    mutable platform::mutex_class mutex_;
    platform::condition_variable_class arrived_;
    std::deque<frame_image> queue_ QX_GUARDED_BY(mutex_);
    counts counts_ QX_GUARDED_BY(mutex_);
    std::optional<long long> previous_count_ QX_GUARDED_BY(mutex_);
};

}  // namespace qx::tool
