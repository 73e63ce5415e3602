#pragma once
// The kit side of image acquisition for one camera handle: arming, the frame
// loop thread that hands every frame to the application's callback, polling,
// and the measured frame rate.
//
// Locks, in the order they nest: the handle mutex, then the registry mutex
// (starting the frame loop), then handshake_mutex. The frame loop takes
// none of them for a frame: what it reads is handed to it when it starts.

#include <atomic>
#include <climits>
#include <cstdint>
#include <memory>
#include <thread>

#include "acquisition/held_frame_ledger_class.h"
#include "platform/condition_variable_class.h"
#include "quendral_vko_camera_sdk.h"

namespace qx::acquisition {

class acquisition_handle_port;

// What the frame record at a slot says about its frame.
struct frame_record {
    unsigned short* image_data = nullptr;
    int frame_count = 0;
    unsigned char* metadata = nullptr;
    int metadata_size = 0;
};

// Reads a frame slot: a "VKO\0" record gives the metadata, the frame count
// and where the pixels start; anything else is taken as pixels alone. With a
// `slot_size`, a pixel offset that leaves no pixel inside the slot counts as
// no offset at all: no image data, metadata size 0.
frame_record scan_frame_record(unsigned char* slot, std::int64_t slot_size = INT64_MAX);

class frame_acquisition_class {
  public:
    // `handle_mutex` is the owning handle's mutex, which guards this state.
    explicit frame_acquisition_class(platform::recursive_mutex_class& handle_mutex)
        : handle_mutex(handle_mutex) {}
    // Frees the frame buffer; the frame loop must already be stopped.
    ~frame_acquisition_class();

    frame_acquisition_class(const frame_acquisition_class&) = delete;
    frame_acquisition_class& operator=(const frame_acquisition_class&) = delete;

    // Each of these takes the handle mutex and validates the handle.
    void arm(acquisition_handle_port& handle, int number_of_frames_to_buffer);
    // Clears the armed flag, sends "stop", then joins the frame loop outside
    // the handle mutex. From the frame callback the join is left to the
    // next arm or the close: the loop ends once the callback returns.
    void disarm(acquisition_handle_port& handle);
    void issue_software_trigger(acquisition_handle_port& handle);
    void set_frame_available_callback(acquisition_handle_port& handle, frame_available_callback callback,
                                      void* context);
    void get_frame_available_callback(acquisition_handle_port& handle, frame_available_callback* callback);
    void get_pending_frame(acquisition_handle_port& handle, unsigned short** image_data, int* frame_count,
                           unsigned char** metadata, int* metadata_size);
    void set_image_poll_timeout(acquisition_handle_port& handle, int milliseconds);
    void get_image_poll_timeout(acquisition_handle_port& handle, int* milliseconds);
    void get_is_armed(acquisition_handle_port& handle, int* is_armed);
    void get_measured_frame_rate(acquisition_handle_port& handle, double* frames_per_second);
    void get_stream_statistics(acquisition_handle_port& handle, qx_stream_statistics* statistics);
    // Waits up to `timeout_ms` for a frame and holds it (cameras without a
    // callback only); the frame keeps its buffer alive until released.
    void acquire_frame(acquisition_handle_port& handle, int timeout_ms, qx_frame* frame);
    // Gives a held frame back; needs no camera handle and works after close.
    static void release_frame(qx_frame* frame);

    // The camera is closing: held frames stay valid, but their release no
    // longer reaches the device. Never throws.
    void forget_device() noexcept QX_EXCLUDES(handle_mutex);

    // Stops a frame loop that is still running (closing a handle). Never throws.
    void stop_remaining_frame_loop() noexcept QX_EXCLUDES(handle_mutex);

    bool is_armed() const QX_REQUIRES(handle_mutex) { return armed; }

    // True on this camera's own frame-loop thread, that is inside its frame
    // callback: the one thread that can neither join the loop nor free it.
    bool called_from_frame_loop() const;

  private:
    // What the frame loop reads for every frame, handed to it at its start:
    // the callback cannot change while the camera is armed, and every arm
    // starts a new loop.
    struct frame_loop_settings {
        frame_available_callback callback;
        void* callback_context;
        std::int64_t slot_size;
    };

    void start_frame_loop(acquisition_handle_port& handle) QX_REQUIRES(handle_mutex)
        QX_EXCLUDES(handshake_mutex);
    // Arms the camera, or, while a stopped loop has not ended yet, hands
    // that loop out in `stopping` for the caller to join and arms nothing.
    void arm_or_take_stopping_loop(acquisition_handle_port& handle, int number_of_frames_to_buffer,
                                   std::unique_ptr<std::thread>& stopping) QX_REQUIRES(handle_mutex);
    void run_frame_loop(acquisition_handle_port& handle, frame_loop_settings settings);

    platform::recursive_mutex_class& handle_mutex;
    bool armed QX_GUARDED_BY(handle_mutex) = false;
    // Shared with held frames, which keep it alive past a re-arm or close.
    std::shared_ptr<unsigned char[]> frame_buffer QX_GUARDED_BY(handle_mutex);
    std::int32_t frame_buffer_size QX_GUARDED_BY(handle_mutex) = 0;
    std::int64_t slot_size QX_GUARDED_BY(handle_mutex) = INT64_MAX;  // bytes per frame at arm
    std::shared_ptr<held_frame_ledger_class> held_frames QX_GUARDED_BY(handle_mutex);  // made on first use
    frame_available_callback callback QX_GUARDED_BY(handle_mutex) = nullptr;
    void* callback_context QX_GUARDED_BY(handle_mutex) = nullptr;

    std::unique_ptr<std::thread> frame_loop QX_GUARDED_BY(handle_mutex);
    std::atomic<bool> stop_requested{false};
    platform::mutex_class handshake_mutex;
    platform::condition_variable_class handshake;
    bool loop_started QX_GUARDED_BY(handshake_mutex) = false;
    std::atomic<double> measured_frame_rate{0.0};
};

}  // namespace qx::acquisition
