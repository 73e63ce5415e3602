#include "device_qv/packet_assembler_class.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "base/frame_record_format.h"
#include "device_qv/pixel_unpacking.h"

namespace qx::device_qv {

namespace {

constexpr std::size_t metadata_scan_words = 4095;
constexpr std::size_t packed_source_offset = 56;
constexpr std::int64_t payload_words = image_payload_size / 2;
// No frame that fits below the staging bound has more packets than this, so
// a larger sequence number can only be a damaged header.
constexpr std::uint32_t largest_sequence = staging_word_limit / payload_words + 1;

std::int64_t stream_bytes(const assembly_geometry& geometry, bool packed) {
    const std::int64_t pixels = static_cast<std::int64_t>(geometry.width) * geometry.height;
    if (packed && geometry.bit_depth == 12)
        return (pixels * 3 / 4) * 2;
    if (packed && geometry.bit_depth == 10)
        return pixels * 10 / 8;
    return pixels * 2;
}

}  // namespace

packet_assembler_class::packet_assembler_class()
    : staging(static_cast<unsigned char*>(std::calloc(staging_buffer_size, 1))) {
    if (!staging)
        throw std::runtime_error("Cannot allocate the packet staging buffer.");
}

void packet_assembler_class::set_geometry(const assembly_geometry& new_geometry) {
    geometry = new_geometry;
    state = phase::idle;
    packets = 0;
    last_orphan_sequence = 0;
}

packet_assembler_class::outcome packet_assembler_class::add_packet(const unsigned char* packet) {
    const std::uint32_t header = read_word(packet);
    const unsigned char* payload = packet + 4;
    if (header == first_packet_header)
        return start_frame(payload);
    return continue_frame(header >> 16, payload);
}

void packet_assembler_class::abandon_frame() {
    if (state == phase::assembling)
        lose_frame();
}

packet_assembler_class::outcome packet_assembler_class::lose_frame() {
    ++lost_incomplete;
    state = phase::discarding;
    last_orphan_sequence = static_cast<std::uint32_t>(packets > 0 ? packets - 1 : 0);
    return outcome::frame_lost;
}

packet_assembler_class::outcome packet_assembler_class::start_frame(const unsigned char* payload) {
    if (state == phase::assembling)
        ++lost_incomplete;  // cut short by the next frame
    state = phase::idle;

    std::int64_t metadata_start = -1;
    std::int64_t record_offset = -1;
    bool end_seen = false;
    packed = false;
    for (std::size_t word = 0; word + 1 < metadata_scan_words; word += 2) {
        const std::uint32_t key = read_word(payload + word * 4);
        const std::uint32_t value = read_word(payload + word * 4 + 4);
        if (key == magic_tag)
            metadata_start = static_cast<std::int64_t>(word * 4);
        if (key == format_tag && (value & 1) != 0)
            packed = true;
        if (key == pixel_offset_tag)
            record_offset = static_cast<std::int64_t>(value) * 8;
        if (key == end_tag) {
            pixel_start = static_cast<std::int64_t>(word * 4 + 8);
            metadata_length = pixel_start - std::max<std::int64_t>(metadata_start, 0);
            end_seen = true;
            break;
        }
    }
    packets = 1;
    // With metadata on the kit reads the record from the slot: it must start
    // with the magic, end with its end tag, and put the pixels where they are.
    if (geometry.metadata_enabled &&
        (metadata_start != 0 || !end_seen || record_offset != pixel_start))
        return lose_frame();

    const std::int64_t total = metadata_length + stream_bytes(geometry, packed);
    expected_packets = std::max<std::int64_t>(1, (total + image_payload_size - 1) / image_payload_size);

    if (geometry.metadata_enabled) {
        std::memcpy(staging.get(), payload, image_payload_size);
        write_position_words = payload_words;
    } else {
        // The kept byte count is taken as a count of 16-bit words, so the
        // next packet lands at twice that byte offset. The gap between is
        // zeroed: no byte of an earlier frame shows through it.
        // A magic after the payload start makes the metadata shorter than
        // the pixel start: only the bytes the payload holds are copied.
        const std::int64_t kept = image_payload_size - metadata_length;
        const std::int64_t present = std::min(kept, image_payload_size - pixel_start);
        std::memcpy(staging.get(), payload + pixel_start, static_cast<std::size_t>(present));
        std::memset(staging.get() + present, 0, static_cast<std::size_t>(2 * kept - present));
        write_position_words = kept;
    }
    // Every later packet must land below the staging bound, or the frame can
    // never be whole.
    if (write_position_words + (expected_packets - 1) * payload_words > staging_word_limit)
        return lose_frame();

    if (expected_packets == 1)
        return outcome::frame_complete;
    state = phase::assembling;
    return outcome::in_progress;
}

packet_assembler_class::outcome packet_assembler_class::continue_frame(std::uint32_t sequence,
                                                                       const unsigned char* payload) {
    if (state == phase::assembling) {
        if (sequence == static_cast<std::uint64_t>(packets)) {
            std::memcpy(staging.get() + write_position_words * 2, payload, image_payload_size);
            write_position_words += payload_words;
            if (++packets < expected_packets)
                return outcome::in_progress;
            state = phase::idle;
            return outcome::frame_complete;
        }
        lose_frame();
    }
    // A packet outside any frame. A sequence no frame can reach is a damaged
    // header (most likely a first packet's): it begins a lost frame when none
    // is being discarded. A sequence 1 after packets beyond the second
    // begins another lost frame whose first packet was missed.
    const bool damaged = sequence > largest_sequence;
    bool new_frame = false;
    if (state == phase::idle) {
        new_frame = true;
    } else if (!damaged) {
        new_frame = sequence == 1 && last_orphan_sequence > 1;
    }
    if (!damaged)
        last_orphan_sequence = sequence;
    else if (new_frame)
        last_orphan_sequence = 0;
    state = phase::discarding;
    if (!new_frame)
        return outcome::ignored;
    ++lost_incomplete;
    return outcome::frame_lost;
}

bool packet_assembler_class::fill_slot(unsigned char* slot, std::int64_t slot_size) {
    const std::int64_t pixels = static_cast<std::int64_t>(geometry.width) * geometry.height;
    const std::int64_t staged_bytes = write_position_words * 2;
    if (packed12() || packed10()) {
        const std::int64_t destination_offset = metadata_length & ~std::int64_t{1};
        const std::int64_t groups =
            packed12() ? ((pixels * 3 / 4) + 2) / 3 : (pixels * 10 / 8 + 4) / 5;
        const std::int64_t source_end =
            static_cast<std::int64_t>(packed_source_offset) + groups * (packed12() ? 6 : 5);
        if (metadata_length > slot_size || destination_offset + groups * 8 > slot_size ||
            source_end > staged_bytes) {
            ++lost_incomplete;
            return false;
        }
        std::memcpy(slot, staging.get(), static_cast<std::size_t>(metadata_length));
        auto* destination = reinterpret_cast<std::uint16_t*>(slot + destination_offset);
        if (packed12()) {
            unpack_12bit(staging.get() + packed_source_offset, destination, static_cast<std::size_t>(groups));
        } else {
            unpack_10bit(staging.get() + packed_source_offset, destination, static_cast<std::size_t>(groups));
        }
        return true;
    }
    // Without metadata the slot holds the pixel bytes alone, and the copy
    // (pixels and metadata length) is cut to it.
    const std::int64_t bytes = std::min(pixels * 2 + metadata_length, slot_size);
    if (bytes > staged_bytes || (geometry.metadata_enabled && bytes < pixels * 2 + metadata_length)) {
        ++lost_incomplete;
        return false;
    }
    std::memcpy(slot, staging.get(), static_cast<std::size_t>(bytes));
    return true;
}

}  // namespace qx::device_qv
