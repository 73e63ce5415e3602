#pragma once
// Device side of image acquisition for one camera: the frame buffer the kit
// hands over at arm time is cut into slots; the packet loop thread reads the
// image channel, assembles packets into frames and moves full slots from the
// "free" queue to the "pending" queue; waits and polls hand them to the kit.

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

#include "device_qv/frame_slot_queue_class.h"

namespace qx::device_qv {

class qv_camera_class;

inline constexpr std::uint32_t image_packet_size = 16384;
inline constexpr std::uint32_t image_payload_size = 16380;
inline constexpr std::uint32_t first_packet_header = 0x00009090;
inline constexpr std::uint32_t packet_timeout_ms = 2000;
inline constexpr std::size_t staging_buffer_size = 196'608'000;
inline constexpr std::uint32_t staging_word_limit = 49'152'000;
inline constexpr std::uint32_t metadata_slot_reserve = 16384;

class device_acquisition_class {
  public:
    explicit device_acquisition_class(qv_camera_class& owner) : camera(owner) {}
    // Stops and joins the packet loop. Never throws.
    ~device_acquisition_class();

    device_acquisition_class(const device_acquisition_class&) = delete;
    device_acquisition_class& operator=(const device_acquisition_class&) = delete;

    // Cuts the kit's buffer into slots, replaces both queues, starts the
    // packet loop once, and sends "arm" to the camera. Holds the command lock.
    void arm(unsigned char* buffer, std::int64_t size);

    // Sends "stop" to the camera and marks acquisition stopped.
    void stop();

    // Releases a waiting frame read for good (until the next arm).
    void unblock() { abort_requested.exchange(true); }

    // The next frame slot, or null when aborted, stopped or unarmed. Holds
    // the acquisition lock.
    unsigned char* wait_for_frame();

    // The next frame slot within the poll time-out, or null.
    unsigned char* poll_frame();

    // Stops the packet loop and drops both queues (camera destruction).
    void shut_down() noexcept;

    // Geometry read at the last arm.
    int image_width() const { return width; }
    int image_height() const { return height; }
    int pixel_bit_depth() const { return bit_depth; }

  private:
    // The packet loop thread's body.
    void run_packet_loop();
    // Hands the held slot back to "free" and holds `slot` instead; applies
    // column correction to it. Holds the command lock.
    unsigned char* hand_over(unsigned char* slot);
    std::shared_ptr<frame_slot_queue_class> free_queue();
    std::shared_ptr<frame_slot_queue_class> pending_queue();

    qv_camera_class& camera;

    // Geometry and buffer, written by arm under the command lock and the
    // packet loop lock.
    int bit_depth = 0;
    int width = 0;
    int height = 0;
    std::int64_t pixel_bytes = 0;
    unsigned char* buffer_start = nullptr;
    unsigned char* buffer_last = nullptr;
    std::int64_t slot_size = 0;

    std::atomic<bool> abort_requested{false};
    std::atomic<bool> stopped{false};
    std::atomic<bool> loop_stop_requested{false};
    std::atomic<bool> loop_running{false};
    std::thread packet_loop;  // started by the first arm, joined at shut-down

    std::mutex queues_mutex;                                // a leaf lock: nothing is taken while it is held
    std::shared_ptr<frame_slot_queue_class> free_slots;     // guarded by queues_mutex
    std::shared_ptr<frame_slot_queue_class> pending_slots;  // guarded by queues_mutex

    unsigned char* held_slot = nullptr;  // guarded by the camera's command lock
};

}  // namespace qx::device_qv
