#pragma once
// Device side of image acquisition for one camera: the frame buffer the kit
// hands over at arm time is cut into slots; the packet loop thread reads the
// image channel, assembles packets into frames and moves full slots from the
// "free" queue to the "pending" queue; waits and polls hand them to the kit.

#include <atomic>
#include <cstdint>
#include <memory>
#include <set>
#include <thread>

#include "base/stream_statistics_record.h"
#include "device_qv/frame_slot_queue_class.h"
#include "device_qv/packet_assembler_class.h"
#include "platform/scoped_lock_class.h"

namespace qx::device_qv {

class qv_camera_class;

inline constexpr std::uint32_t packet_timeout_ms = 2000;


class device_acquisition_class {
  public:
    explicit device_acquisition_class(qv_camera_class& owner);
    // Stops and joins the packet loop. Never throws.
    ~device_acquisition_class();

    device_acquisition_class(const device_acquisition_class&) = delete;
    device_acquisition_class& operator=(const device_acquisition_class&) = delete;

    // Cuts the kit's buffer into slots, replaces both queues, starts the
    // packet loop once, and sends "arm" to the camera. Holds the command lock.
    void arm(unsigned char* buffer, std::int64_t size) QX_EXCLUDES(queues_mutex);

    // Sends "stop" to the camera and marks acquisition stopped.
    void stop();

    // Releases a waiting frame read for good (until the next arm).
    void unblock();

    // The next frame slot, or null when aborted, stopped, unarmed or armed
    // anew meanwhile. Holds the acquisition lock while it waits, and hands
    // the slot over under the command lock after releasing it.
    unsigned char* wait_for_frame();

    // The next frame slot within the poll time-out, or null.
    unsigned char* poll_frame();

    // The next frame slot within `timeout_ms`, held until release_frame; a
    // held slot is never written. Null when none came.
    unsigned char* acquire_frame(std::int64_t timeout_ms);
    // Gives a held slot back to "free". A slot that is not held (one of an
    // earlier arm) is ignored.
    void release_frame(unsigned char* slot);

    // A snapshot of the counters since the camera was opened.
    stream_statistics_record statistics() const;

    // Stops the packet loop and drops both queues (camera destruction).
    void shut_down() noexcept;

    // Geometry read at the last arm.
    int image_width() const { return width; }
    int image_height() const { return height; }
    int pixel_bit_depth() const { return bit_depth; }

  private:
    // The packet loop thread's body: the reader. Reads packets, recovers
    // stalls, feeds the assembler and hands whole frames over.
    void run_packet_loop();
    // Moves the assembler's whole frame into a free slot and onto "pending",
    // or counts it lost for want of a slot.
    void hand_off_frame(packet_assembler_class& assembler);
    // Hands the held slot back to "free" and holds `slot` instead; applies
    // column correction to it. Holds the command lock.
    unsigned char* hand_over(unsigned char* slot) QX_REQUIRES(command_lock);
    // Applies column correction to a slot about to reach the kit. Holds the
    // command lock.
    void correct(unsigned char* slot) QX_REQUIRES(command_lock);
    std::shared_ptr<frame_slot_queue_class> free_queue() QX_EXCLUDES(queues_mutex);
    std::shared_ptr<frame_slot_queue_class> pending_queue() QX_EXCLUDES(queues_mutex);
    void wake_frame_waiters();

    qv_camera_class& camera;
    // The camera's own locks (their order is declared there): the command
    // lock, the packet loop lock, the acquisition lock.
    platform::recursive_mutex_class& command_lock;
    platform::recursive_mutex_class& packet_loop_lock;
    platform::recursive_mutex_class& acquisition_lock;

    // Geometry and buffer, written by arm under the command lock and the
    // packet loop lock.
    int bit_depth = 0;
    int width = 0;
    int height = 0;
    unsigned char* buffer_start = nullptr;
    unsigned char* buffer_last = nullptr;
    std::int64_t slot_size = 0;

    std::atomic<bool> abort_requested{false};
    std::atomic<bool> stopped{false};
    std::atomic<bool> loop_stop_requested{false};
    std::atomic<bool> loop_running{false};
    std::thread packet_loop;  // started by the first arm, joined at shut-down
    assembly_geometry geometry QX_GUARDED_BY(packet_loop_lock);
    std::atomic<bool> geometry_changed{false};  // the packet loop takes `geometry` anew

    struct counters {
        std::atomic<std::uint64_t> frames_delivered{0};
        std::atomic<std::uint64_t> frames_lost_incomplete{0};
        std::atomic<std::uint64_t> frames_lost_no_free_slot{0};
        std::atomic<std::uint64_t> stalls_recovered{0};
        std::atomic<std::uint64_t> resets{0};
        std::atomic<std::uint64_t> bytes_received{0};
        std::atomic<std::uint64_t> packets_received{0};
    } counted;

    // A leaf lock: nothing is taken while it is held.
    platform::mutex_class queues_mutex QX_ACQUIRED_AFTER(acquisition_lock);
    std::shared_ptr<frame_slot_queue_class> free_slots QX_GUARDED_BY(queues_mutex);
    std::shared_ptr<frame_slot_queue_class> pending_slots QX_GUARDED_BY(queues_mutex);
    // Counts arms; a wait hands over a slot only from the arm it popped it in.
    std::atomic<std::uint64_t> arm_generation{0};

    unsigned char* held_slot QX_GUARDED_BY(command_lock) = nullptr;
    // Held by acquire_frame.
    std::set<unsigned char*> acquired_slots QX_GUARDED_BY(command_lock);
};

}  // namespace qx::device_qv
