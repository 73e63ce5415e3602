#pragma once
// The image channel of a virtual camera. Frames are produced lazily, on the
// reader's thread: each read asks which packet is due. When a frame starts,
// its metadata is written and its rows are planned as pointers to encoded
// rows; a packet is then a header write and one copy of its payload bytes
// from those pieces (metadata, rows, zero padding).

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "fault_plan_class.h"
#include "frame_format_class.h"
#include "pattern_generator_class.h"

namespace qx::emulator {

class packet_stream_class {
  public:
    using clock = std::chrono::steady_clock;

    /** How frames are timed, set when the camera is made. */
    struct timing {
        pacing_mode pacing = pacing_mode::frame_time;
        int max_lag_frames = 2;                  // frames the host may fall behind before frames are skipped
        std::uint32_t frame_count_start = 0;     // first frame count
        std::uint32_t timestamp_hz = 100000000;  // time-stamp ticks per second
        clock::time_point epoch{};               // time stamp zero
    };

    explicit packet_stream_class(const timing& timing);

    /** Prepares for frames of @p format; any frame in progress is abandoned. */
    void arm(const frame_format_class& format);
    /** Ends the stream: the frame in progress is abandoned and owed frames are forgotten. */
    void stop();
    bool is_armed() const { return armed_; }

    /** Owes @p frames more frames (0: until stopped), the first due at @p now if none is owed yet. */
    void trigger(std::uint32_t frames, clock::time_point now);
    /** Changes the frame period; frames already due keep their time. */
    void set_frame_period(std::chrono::microseconds period);

    /**
     * When the next packet is due, or nothing when no frame is owed. Skips
     * whole frames when the host has fallen too far behind.
     */
    std::optional<clock::time_point> next_due(clock::time_point now);

    /** Index of the next packet within its frame (0: a frame starts). */
    std::uint32_t next_packet_index() const { return in_frame_ ? packet_index_ : 0; }
    /** Frames whose first packet was produced. */
    std::uint64_t frames_started() const { return frames_started_; }
    std::uint64_t frames_completed() const { return frames_completed_; }
    std::uint64_t frames_dropped() const { return frames_dropped_; }

    /** Writes the due packet (QX_EMU_PACKET_SIZE bytes) into @p packet and moves on. */
    void emit(std::uint8_t* packet);
    /** Moves past the due packet without delivering it. */
    void discard();

    /**
     * Damages the metadata record at the start of a frame's first payload
     * (@p how is not mixed): the magic, the tag of a pair no host knows, an
     * image offset far beyond any slot, or a record cut after its frame count.
     */
    static void damage_metadata(std::uint8_t* payload, metadata_damage how);

  private:
    void start_frame();
    void copy_payload(std::uint8_t* out);  // null: skip the payload
    void finish_packet(bool delivered);
    clock::time_point frame_due(std::uint64_t index) const {
        return burst_start_ + period_ * static_cast<std::int64_t>(index);
    }
    bool frames_owed() const { return unlimited_ || frames_owed_ > 0; }

    timing timing_;
    frame_format_class format_{};
    pattern_generator_class patterns_;
    std::array<std::uint8_t, metadata_size> metadata_{};  // of the frame in progress
    std::vector<const std::uint8_t*> rows_;               // encoded rows of the frame in progress
    std::vector<std::uint8_t> padding_;                   // zeros after the last row
    // The frame's bytes as pieces (metadata, rows, padding), and the read position in them.
    std::vector<std::pair<const std::uint8_t*, std::size_t>> pieces_;
    std::size_t piece_ = 0;
    std::size_t piece_offset_ = 0;

    bool armed_ = false;
    bool unlimited_ = false;
    std::uint64_t frames_owed_ = 0;
    clock::time_point burst_start_{};
    std::uint64_t burst_frame_ = 0;  // index within the burst of the next frame to start
    std::chrono::microseconds period_{28000};

    bool in_frame_ = false;
    std::uint32_t packet_index_ = 0;
    std::uint32_t packet_count_ = 0;
    std::uint32_t next_frame_count_;

    std::uint64_t frames_started_ = 0;
    std::uint64_t frames_completed_ = 0;
    std::uint64_t frames_dropped_ = 0;
};

}  // namespace qx::emulator
