#pragma once
// One virtual camera: its settings and text protocol, its image stream, its
// endpoints with their stalls, and the faults it injects. Every method is
// thread-safe; one lock guards the whole camera, and waits release it.

#include <array>
#include <condition_variable>
#include <cstdint>
#include <fstream>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "camera_config_class.h"
#include "camera_state_class.h"
#include "fault_schedule_class.h"
#include "packet_stream_class.h"
#include "quendral_vko_camera_emulator.h"

namespace qx::emulator {

class virtual_camera_class {
  public:
    using clock = packet_stream_class::clock;

    /** Makes a camera; fails (emulator_error_class) when its command log cannot be opened. */
    explicit virtual_camera_class(camera_config_class config);

    virtual_camera_class(const virtual_camera_class&) = delete;
    virtual_camera_class& operator=(const virtual_camera_class&) = delete;

    /** The configuration the camera was made from (fixed for its life). */
    const camera_config_class& config() const { return config_; }

    /** Takes the name and user memory of @p other (a camera moved to another port). */
    void adopt_persistent_state(virtual_camera_class& other);

    /** Called, without the camera's lock, when a fault unplugs the camera. */
    void set_unplug_handler(std::function<void()> handler);
    /** From now on every device call answers QX_EMU_NO_DEVICE. */
    void mark_unplugged();
    bool is_plugged() const;

    // Device I/O; failures other than time-outs and stalls raise emulator_error_class.
    qx_emu_status write_command(const void* data, std::size_t size, unsigned int timeout_ms);
    qx_emu_status read_reply(void* buffer, std::size_t capacity, std::size_t* transferred,
                             unsigned int timeout_ms);
    qx_emu_status read_packet(void* packet, unsigned int timeout_ms);
    /** Ends a read_packet in progress, or the next one, at once with QX_EMU_TIMEOUT. */
    void cancel_packet_read();
    bool is_endpoint_stalled(unsigned char endpoint) const;
    void clear_stall(unsigned char endpoint);
    void reset_port();
    /** USB speed code (QX_EMU_SPEED_...). */
    int speed_code() const;

    // Control.
    void pulse_hardware_trigger();
    void set_faults(fault_plan_class plan);
    qx_emu_counters counters() const;

  private:
    void require_plugged() const;  // caller holds lock_
    enum endpoint_slot : std::size_t { command_out_slot, command_in_slot, image_in_slot };
    static std::size_t endpoint_index(unsigned char endpoint);
    std::string answer(std::string_view command);  // caller holds lock_
    void count_fault(qx_emu_fault_kind kind);      // caller holds lock_
    void log_command(std::string_view command);    // caller holds lock_
    void apply_header_faults(unsigned faults, std::uint32_t packet_index,
                             std::uint8_t* packet);  // caller holds lock_

    const camera_config_class config_;
    mutable std::mutex lock_;             // the camera's one lock; taken after the registry's
    std::condition_variable changed_;     // signalled on every change a waiting read may care about
    bool plugged_ = true;                 // guarded by lock_
    camera_state_class state_;            // guarded by lock_
    packet_stream_class stream_;          // guarded by lock_
    fault_schedule_class faults_;         // guarded by lock_
    std::uint64_t frames_at_faults_ = 0;  // guarded by lock_: frames started when the faults were set
    std::uint64_t command_writes_ = 0;    // guarded by lock_: writes since the faults were set
    unsigned pending_packet_faults_ = 0;  // guarded by lock_: faults decided for the due packet
    bool packet_faults_decided_ = false;  // guarded by lock_
    bool packet_read_cancelled_ = false;  // guarded by lock_: kept until a read consumes it
    std::optional<std::chrono::steady_clock::time_point>
        packet_held_until_;                 // guarded by lock_: a delayed packet
    std::optional<std::string> reply_;      // guarded by lock_: the reply waiting to be read
    std::array<bool, 3> stalled_{};         // guarded by lock_: command OUT, command IN, image IN
    qx_emu_counters counters_{};            // guarded by lock_ (frame counts come from stream_)
    std::ofstream command_log_;             // guarded by lock_
    std::function<void()> unplug_handler_;  // guarded by lock_
};

}  // namespace qx::emulator
