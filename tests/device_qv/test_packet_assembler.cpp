// The packet assembler alone: packet sequences in, whole frames (or counted
// losses) out. Every pixel of a frame carries its frame's number, so a frame
// holding bytes of another frame, or of none, shows.

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "base/frame_record_format.h"
#include "device_qv/packet_assembler_class.h"

namespace {

using qx::device_qv::assembly_geometry;
using qx::device_qv::image_packet_size;
using qx::device_qv::image_payload_size;
using qx::device_qv::packet_assembler_class;
using outcome = packet_assembler_class::outcome;

constexpr int width = 256;
constexpr int height = 100;  // 51,200 pixel bytes: 4 packets with the metadata
constexpr std::uint32_t metadata_bytes = 56;

void put(std::vector<unsigned char>& bytes, std::size_t at, std::uint32_t word) {
    std::memcpy(bytes.data() + at, &word, 4);
}

// The packets of one unpacked 16-bit frame whose pixels all equal `frame`.
std::vector<std::vector<unsigned char>> frame_packets(std::uint16_t frame,
                                                      std::uint32_t offset_tag_value = 7) {
    std::vector<unsigned char> stream(metadata_bytes + width * height * 2);
    const std::pair<const char*, std::uint32_t> pairs[] = {
        {"VKO\0", 1}, {"FCNT", frame}, {"IOFF", offset_tag_value}, {"IFMT", 12u << 8}, {"TSLO", 0},
        {"TSHI", 0},  {"ENDT", 0}};
    std::size_t at = 0;
    for (const auto& [tag, value] : pairs) {
        std::memcpy(stream.data() + at, tag, 4);
        put(stream, at + 4, value);
        at += 8;
    }
    for (std::size_t pixel = metadata_bytes; pixel < stream.size(); pixel += 2)
        std::memcpy(stream.data() + pixel, &frame, 2);
    std::vector<std::vector<unsigned char>> packets;
    for (std::size_t start = 0; start < stream.size(); start += image_payload_size) {
        std::vector<unsigned char> packet(image_packet_size, 0);
        const auto index = static_cast<std::uint32_t>(packets.size());
        put(packet, 0, index == 0 ? qx::device_qv::first_packet_header : index << 16);
        std::memcpy(packet.data() + 4, stream.data() + start,
                    std::min<std::size_t>(image_payload_size, stream.size() - start));
        packets.push_back(std::move(packet));
    }
    return packets;
}

struct assembler_run {
    std::vector<std::uint16_t> delivered;  // the frame number of each frame delivered
    int damaged = 0;                       // delivered frames with a pixel of another frame
    std::uint64_t lost = 0;
};

// Feeds packets; each completed frame is filled into a slot of @p slot_size
// bytes (allocated at exactly that size) and checked.
assembler_run feed(packet_assembler_class& assembler, const std::vector<std::vector<unsigned char>>& packets,
                   std::size_t slot_size = width * height * 2 + qx::device_qv::metadata_slot_reserve) {
    assembler_run run;
    std::vector<unsigned char> slot(slot_size);
    for (const auto& packet : packets) {
        if (assembler.add_packet(packet.data()) != outcome::frame_complete)
            continue;
        if (!assembler.fill_slot(slot.data(), static_cast<std::int64_t>(slot.size())))
            continue;
        std::uint16_t frame = 0;
        std::memcpy(&frame, slot.data() + 12, 2);  // the FCNT value
        run.delivered.push_back(frame);
        for (std::size_t pixel = metadata_bytes; pixel < metadata_bytes + width * height * 2; pixel += 2) {
            std::uint16_t value = 0;
            std::memcpy(&value, slot.data() + pixel, 2);
            if (value != frame) {
                ++run.damaged;
                break;
            }
        }
    }
    run.lost = assembler.frames_lost_incomplete();
    return run;
}

// A packet sequence written as blank-separated frame:packet steps, "2:0"
// the first packet of frame 2; "2:1=1" the second packet of frame 2 with
// sequence number 1; "2:0=5" the first packet of frame 2 with its header
// damaged into a continuation header of sequence 5.
std::vector<std::vector<unsigned char>> sequence_of(const std::string& steps) {
    std::vector<std::vector<unsigned char>> packets;
    std::istringstream words(steps);
    for (std::string step; words >> step;) {
        const auto colon = step.find(':');
        const auto equals = step.find('=');
        const auto frame = static_cast<std::uint16_t>(std::stoi(step.substr(0, colon)));
        const auto index = static_cast<std::size_t>(std::stoi(step.substr(colon + 1)));
        auto packet = frame_packets(frame)[index];
        if (equals != std::string::npos)
            put(packet, 0, static_cast<std::uint32_t>(std::stoi(step.substr(equals + 1))) << 16);
        packets.push_back(std::move(packet));
    }
    return packets;
}

struct sequence_case {
    const char* name;
    const char* steps;
    std::vector<std::uint16_t> delivered;
    std::uint64_t lost;
};

TEST(packet_assembler, delivers_only_whole_frames_with_every_packet_at_its_place) {
    const sequence_case cases[] = {
        {"clean frames", "1:0 1:1 1:2 1:3 2:0 2:1 2:2 2:3", {1, 2}, 0},
        // The old rules took frame 1's packets 2 and 3 one place early, then
        // frame 2's packet 1 as frame 1's last: a frame holding pixels of
        // its successor and shifted by one packet was delivered.
        {"a lost packet and a lost first packet", "1:0 1:2 1:3 2:1 2:2 2:3 3:0 3:1 3:2 3:3", {3}, 2},
        {"a sequence gap", "1:0 1:1 1:3 2:0 2:1 2:2 2:3", {2}, 1},
        {"a repeated sequence", "1:0 1:1 1:1 1:2 1:3", {}, 1},
        {"a restarted counter inside a frame", "1:0 1:1 1:2 2:1 2:2 2:3", {}, 2},
        {"a frame cut short by the next", "1:0 1:1 2:0 2:1 2:2 2:3", {2}, 1},
        {"a damaged first packet", "1:0=32769 1:1 1:2 1:3 2:0 2:1 2:2 2:3", {2}, 1},
        {"a damaged continuation header", "1:0 1:1=32769 1:2 1:3 2:0 2:1 2:2 2:3", {2}, 1},
        {"packets after a whole frame", "1:0 1:1 1:2 1:3 1:3 2:0 2:1 2:2 2:3", {1, 2}, 1},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        packet_assembler_class assembler;
        assembler.set_geometry(assembly_geometry{width, height, 16, true});
        const auto run = feed(assembler, sequence_of(row.steps));
        EXPECT_EQ(run.delivered, row.delivered);
        EXPECT_EQ(run.damaged, 0);
        EXPECT_EQ(run.lost, row.lost);
    }
}

TEST(packet_assembler, frames_it_cannot_hand_over_whole_are_lost_and_counted) {
    struct damage_case {
        const char* name;
        assembly_geometry geometry;
        std::uint32_t offset_tag_value;
        std::size_t slot_shortfall;
    };
    const damage_case cases[] = {
        // 8192 x 8192 pixels need more staging than the bound allows.
        {"a frame beyond the staging bound", {8192, 8192, 16, true}, 7, 0},
        {"a pixel offset that contradicts the record", {width, height, 16, true}, 0x40000000, 0},
        {"a slot too small for the frame", {width, height, 16, true}, 7, 2},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        packet_assembler_class assembler;
        assembler.set_geometry(row.geometry);
        const auto run = feed(assembler, frame_packets(1, row.offset_tag_value),
                              width * height * 2 + metadata_bytes - row.slot_shortfall);
        EXPECT_TRUE(run.delivered.empty());
        EXPECT_EQ(run.lost, 1u);
    }
}

TEST(packet_assembler, an_abandoned_read_loses_the_frame_in_progress_only) {
    packet_assembler_class assembler;
    assembler.set_geometry(assembly_geometry{width, height, 16, true});
    const auto first = frame_packets(1);
    assembler.abandon_frame();  // between frames: nothing is lost
    assembler.add_packet(first[0].data());
    assembler.add_packet(first[1].data());
    assembler.abandon_frame();  // a stall mid-frame
    const auto run = feed(assembler, sequence_of("1:2 1:3 2:0 2:1 2:2 2:3"));
    EXPECT_EQ(run.delivered, std::vector<std::uint16_t>{2});
    EXPECT_EQ(run.lost, 1u);
}

TEST(packet_assembler, without_metadata_the_second_packet_lands_at_twice_the_kept_bytes) {
    packet_assembler_class assembler;
    assembler.set_geometry(assembly_geometry{width, height, 16, false});
    const auto packets = frame_packets(9);
    outcome last = outcome::ignored;
    for (const auto& packet : packets) last = assembler.add_packet(packet.data());
    ASSERT_EQ(last, outcome::frame_complete);
    std::vector<unsigned char> slot(width * height * 2, 0xEE);
    ASSERT_TRUE(assembler.fill_slot(slot.data(), static_cast<std::int64_t>(slot.size())));
    const std::size_t kept = image_payload_size - metadata_bytes;
    std::uint16_t pixel = 0;
    std::memcpy(&pixel, slot.data() + kept - 2, 2);
    EXPECT_EQ(pixel, 9);
    // The gap between the kept bytes and the second packet is zero, never
    // bytes of an earlier frame.
    for (std::size_t at = kept; at < 2 * kept; ++at) ASSERT_EQ(slot[at], 0) << at;
    std::memcpy(&pixel, slot.data() + 2 * kept, 2);
    EXPECT_EQ(pixel, 9);
}

}  // namespace
