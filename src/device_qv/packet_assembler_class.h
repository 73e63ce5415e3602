#pragma once
// Turns the image channel's 16,384-byte packets into whole frames. It owns the
// staging buffer and nothing else: no thread, no I/O, no lock, so the packet
// loop, tests and fuzzers drive it alike. One caller at a time.
//
// A frame is delivered only when every one of its packets arrived, in order,
// each at its own place: a continuation packet must carry the sequence number
// of its position in the frame (1 for the packet after the first). Anything
// else abandons the frame, counts it lost, and assembly resumes at the next
// first packet.

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace qx::device_qv {

inline constexpr std::uint32_t image_packet_size = 16384;
inline constexpr std::uint32_t image_payload_size = 16380;
inline constexpr std::uint32_t first_packet_header = 0x00009090;
inline constexpr std::size_t staging_buffer_size = 196'608'000;
inline constexpr std::uint32_t staging_word_limit = 49'152'000;
inline constexpr std::uint32_t metadata_slot_reserve = 16384;

// The largest frame, metadata included, whose stream fits below the staging
// bound: every packet lands below word staging_word_limit.
inline constexpr std::int64_t largest_assembled_frame_bytes = std::int64_t{staging_word_limit} * 2;

// What arm read from the camera; fixed until the next arm.
struct assembly_geometry {
    int width = 0;
    int height = 0;
    int bit_depth = 0;
    bool metadata_enabled = false;
};

class packet_assembler_class {
  public:
    enum class outcome {
        in_progress,     // the packet was taken into the frame in progress
        frame_complete,  // the frame is whole: fill a slot or discard it
        ignored,         // no frame in progress took the packet
        frame_lost,      // the frame in progress (or one whose start was missed) was dropped
    };

    // Throws "Cannot allocate the packet staging buffer." when memory is short.
    packet_assembler_class();

    // Starts over with a new geometry; a frame in progress is forgotten, not counted.
    void set_geometry(const assembly_geometry& geometry);

    // Takes one packet of image_packet_size bytes.
    outcome add_packet(const unsigned char* packet);

    // A read failed, timed out or stalled: the frame in progress is lost.
    void abandon_frame();

    // After frame_complete: writes the frame into a slot of `slot_size`
    // bytes, never past it and never from staging bytes this frame did not
    // write. Answers false, and counts the frame lost, when it cannot.
    bool fill_slot(unsigned char* slot, std::int64_t slot_size);

    // Frames started (or seen in part) and dropped for a missing, misplaced,
    // damaged or oversized packet sequence.
    std::uint64_t frames_lost_incomplete() const { return lost_incomplete; }

  private:
    enum class phase { idle, assembling, discarding };

    outcome start_frame(const unsigned char* payload);
    outcome continue_frame(std::uint32_t sequence, const unsigned char* payload);
    outcome lose_frame();
    bool packed12() const { return packed && geometry.bit_depth == 12; }
    bool packed10() const { return packed && geometry.bit_depth == 10; }

    struct free_deleter {
        void operator()(unsigned char* block) const { std::free(block); }
    };
    // calloc'ed: the block is large, and its untouched pages stay unmapped.
    std::unique_ptr<unsigned char, free_deleter> staging;

    assembly_geometry geometry;
    phase state = phase::idle;
    std::int64_t packets = 0;           // packets of the frame in progress, the first included
    std::int64_t expected_packets = 0;
    std::int64_t write_position_words = 0;
    std::int64_t metadata_length = 0;   // kept from frame to frame when a record has no end tag
    std::int64_t pixel_start = 0;       // likewise
    bool packed = false;
    std::uint32_t last_orphan_sequence = 0;  // the last sequence seen outside a frame
    std::uint64_t lost_incomplete = 0;
};

}  // namespace qx::device_qv
