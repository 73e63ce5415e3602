// Frame timing of the image stream against a clock the test sets, so that
// "the host fell behind" is a fact of the test, not of the machine's load.

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <vector>

#include "packet_stream_class.h"

namespace qx::emulator {
namespace {

using namespace std::chrono_literals;

TEST(packet_stream_timing, a_host_that_falls_behind_loses_whole_frames) {
    packet_stream_class::timing timing;
    timing.max_lag_frames = 2;
    timing.frame_count_start = 0xFFFFFFF0u;
    packet_stream_class stream(timing);
    stream.set_frame_period(1000us);
    frame_format_class format;
    format.width = 64;  // one packet per frame
    format.height = 8;
    stream.arm(format);
    const auto start = packet_stream_class::clock::time_point{} + 1h;
    stream.trigger(40, start);

    // Sixty frame times later all 40 frames were taken; the camera keeps the
    // newest one and the two before it. Skipped frames take no frame count.
    const auto late = start + 60ms;
    std::vector<std::uint32_t> frame_counts;
    std::array<std::uint8_t, 16384> packet{};
    for (auto due = stream.next_due(late); due && *due <= late; due = stream.next_due(late)) {
        stream.emit(packet.data());
        std::uint32_t header = 0;
        std::uint32_t frame_count = 0;
        std::memcpy(&header, packet.data(), sizeof header);
        std::memcpy(&frame_count, packet.data() + 4 + 12, sizeof frame_count);
        EXPECT_EQ(header, first_packet_header);
        frame_counts.push_back(frame_count);
    }
    EXPECT_EQ(frame_counts, (std::vector<std::uint32_t>{0xFFFFFFF0u, 0xFFFFFFF1u, 0xFFFFFFF2u}));
    EXPECT_EQ(stream.frames_dropped(), 37u);
    EXPECT_EQ(stream.frames_completed(), 3u);
    EXPECT_EQ(stream.frames_started(), 3u);
}

TEST(packet_stream_timing, frames_wait_for_their_frame_time) {
    packet_stream_class stream(packet_stream_class::timing{});
    stream.set_frame_period(10s);
    frame_format_class format;
    format.width = 64;
    format.height = 8;
    stream.arm(format);
    const auto start = packet_stream_class::clock::time_point{} + 1h;
    stream.trigger(0, start);
    ASSERT_EQ(stream.next_due(start), start);
    std::array<std::uint8_t, 16384> packet{};
    stream.emit(packet.data());
    EXPECT_EQ(stream.next_due(start + 1s), start + 10s) << "the second frame is due ten seconds later";
}

}  // namespace
}  // namespace qx::emulator
