#pragma once
// One virtual camera: its settings and text protocol, its image stream, its
// endpoints with their stalls, and the faults it injects. Every method is
// thread-safe; one lock guards the whole camera, and waits release it.

#include <array>
#include <cstdint>
#include <fstream>
#include <functional>
#include <optional>
#include <string>

#include "camera_config_class.h"
#include "camera_state_class.h"
#include "fault_schedule_class.h"
#include "packet_stream_class.h"
#include "platform/condition_variable_class.h"
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
    void adopt_persistent_state(virtual_camera_class& other) QX_EXCLUDES(lock_);

    /** Called, without the camera's lock, when a fault unplugs the camera. */
    void set_unplug_handler(std::function<void()> handler) QX_EXCLUDES(lock_);
    /** From now on every device call answers QX_EMU_NO_DEVICE. */
    void mark_unplugged() QX_EXCLUDES(lock_);
    bool is_plugged() const QX_EXCLUDES(lock_);

    // Device I/O; failures other than time-outs and stalls raise emulator_error_class.
    qx_emu_status write_command(const void* data, std::size_t size, unsigned int timeout_ms) QX_EXCLUDES(lock_);
    qx_emu_status read_reply(void* buffer, std::size_t capacity, std::size_t* transferred,
                             unsigned int timeout_ms) QX_EXCLUDES(lock_);
    qx_emu_status read_packet(void* packet, unsigned int timeout_ms) QX_EXCLUDES(lock_);
    /** Ends a read_packet in progress, or the next one, at once with QX_EMU_TIMEOUT. */
    void cancel_packet_read() QX_EXCLUDES(lock_);
    bool is_endpoint_stalled(unsigned char endpoint) const QX_EXCLUDES(lock_);
    void clear_stall(unsigned char endpoint) QX_EXCLUDES(lock_);
    void reset_port() QX_EXCLUDES(lock_);
    /** USB speed code (QX_EMU_SPEED_...). */
    int speed_code() const QX_EXCLUDES(lock_);

    // Control.
    void pulse_hardware_trigger() QX_EXCLUDES(lock_);
    void set_faults(fault_plan_class plan) QX_EXCLUDES(lock_);
    qx_emu_counters counters() const QX_EXCLUDES(lock_);

  private:
    void require_plugged() const QX_REQUIRES(lock_);
    enum endpoint_slot : std::size_t { command_out_slot, command_in_slot, image_in_slot };
    static std::size_t endpoint_index(unsigned char endpoint);
    std::string answer(std::string_view command) QX_REQUIRES(lock_);
    void count_fault(qx_emu_fault_kind kind) QX_REQUIRES(lock_);
    void log_command(std::string_view command) QX_REQUIRES(lock_);
    void apply_header_faults(unsigned faults, std::uint32_t packet_index, std::uint8_t* packet)
        QX_REQUIRES(lock_);
    void apply_metadata_fault(unsigned faults, std::uint32_t packet_index, std::uint8_t* packet)
        QX_REQUIRES(lock_);
    // Records a change a waiting read may care about; the caller wakes the
    // readers once it has let go of the lock.
    void note_change() QX_REQUIRES(lock_) { ++changes_; }

    const camera_config_class config_;
    mutable platform::mutex_class lock_;  // the camera's one lock; taken after the registry's
    platform::condition_variable_class changed_;  // signalled on every note_change()
    std::uint64_t changes_ QX_GUARDED_BY(lock_) = 0;
    bool plugged_ QX_GUARDED_BY(lock_) = true;
    camera_state_class state_ QX_GUARDED_BY(lock_);
    packet_stream_class stream_ QX_GUARDED_BY(lock_);
    fault_schedule_class faults_ QX_GUARDED_BY(lock_);
    std::uint64_t frames_at_faults_ QX_GUARDED_BY(lock_) = 0;  // frames started when the faults were set
    std::uint64_t command_writes_ QX_GUARDED_BY(lock_) = 0;    // writes since the faults were set
    unsigned pending_packet_faults_ QX_GUARDED_BY(lock_) = 0;  // faults decided for the due packet
    bool packet_faults_decided_ QX_GUARDED_BY(lock_) = false;
    bool packet_read_cancelled_ QX_GUARDED_BY(lock_) = false;  // kept until a read consumes it
    std::optional<std::chrono::steady_clock::time_point> packet_held_until_
        QX_GUARDED_BY(lock_);                                 // a delayed packet
    std::optional<std::string> reply_ QX_GUARDED_BY(lock_);  // the reply waiting to be read
    std::array<bool, 3> stalled_ QX_GUARDED_BY(lock_){};     // command OUT, command IN, image IN
    qx_emu_counters counters_ QX_GUARDED_BY(lock_){};        // frame counts come from stream_
    std::uint64_t fault_frame_ QX_GUARDED_BY(lock_) = 0;     // the frame of the due packet, since plugging in
    std::uint64_t last_faulted_frame_ QX_GUARDED_BY(lock_) = UINT64_MAX;
    std::ofstream command_log_ QX_GUARDED_BY(lock_);
    std::function<void()> unplug_handler_ QX_GUARDED_BY(lock_);
};

}  // namespace qx::emulator
