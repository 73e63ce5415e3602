// The image stream: packet layout, sequence numbers, metadata, time stamps,
// and how "start", "nframes", "stop" and the hardware trigger produce frames.

#include "emulator/emulator_test_support.h"

namespace qx::emulator::testing {
namespace {

// 256 x 64 unpacked pixels and 56 bytes of metadata need three packets.
const std::string three_packet_camera =
    R"({"sensor_width":256,"sensor_height":64,"pacing":"fast","frame_time_us":1000})";

std::uint64_t timestamp_of(const decoded_frame& frame) {
    return static_cast<std::uint64_t>(frame.value_of(tag("TSHI"))) << 32 | frame.value_of(tag("TSLO"));
}

TEST(packet_stream_class, frame_layout_metadata_padding_and_time_stamps) {
    const emulated_camera camera(three_packet_camera);
    ASSERT_EQ(camera.command("start"), "Success");
    const auto frame = read_frame(camera.device, 256, 64);
    const std::vector<std::uint32_t> tags = {tag("VKO\0"), tag("FCNT"), tag("IOFF"), tag("IFMT"),
                                             tag("TSLO"),  tag("TSHI"), tag("ENDT")};
    ASSERT_EQ(frame.metadata.size(), tags.size());
    for (std::size_t i = 0; i < tags.size(); ++i) {
        EXPECT_EQ(frame.metadata[i].first, tags[i]) << "pair " << i;
    }
    EXPECT_EQ(frame.value_of(tag("FCNT")), 0xFFFFFFF0u);
    EXPECT_EQ(frame.value_of(tag("IOFF")), 7u);
    EXPECT_EQ(frame.value_of(tag("IFMT")), 12u << 8);
    EXPECT_EQ(frame.value_of(tag("ENDT")), 0u);
    // Everything after the pixels in the last packet is zero.
    const std::size_t used = 56 + 256 * 64 * 2;
    for (std::size_t i = used; i < frame.payload.size(); ++i) {
        ASSERT_EQ(frame.payload[i], 0) << "padding byte " << i;
    }
    // The next frame starts with a first packet again and numbers from 1; its
    // time stamp is 1000 microseconds later at the 100 MHz time-stamp clock.
    const auto next = read_frame(camera.device, 256, 64);
    EXPECT_EQ(next.value_of(tag("FCNT")), 0xFFFFFFF1u);
    EXPECT_EQ(timestamp_of(next) - timestamp_of(frame), 100000u);
    const auto counters = camera.counters();
    EXPECT_EQ(counters.frames_started, 2u);
    EXPECT_EQ(counters.frames_completed, 2u);
    EXPECT_EQ(counters.packets_sent, 6u);
}

// That an armed camera sends nothing before a trigger, and each start exactly
// its "nframes" frames, is checked end to end by the acquisition tests.
TEST(packet_stream_class, a_stop_mid_frame_abandons_it_and_the_next_start_begins_a_new_frame) {
    const emulated_camera camera(three_packet_camera);
    ASSERT_EQ(camera.command("start"), "Success");
    EXPECT_EQ(read_packet(camera.device).header(), 0x9090u);
    ASSERT_EQ(camera.command("stop"), "Success");
    EXPECT_EQ(read_packet(camera.device, 10).status, QX_EMU_TIMEOUT);
    ASSERT_EQ(camera.command("start"), "Success");
    const auto frame = read_frame(camera.device, 256, 64);
    EXPECT_EQ(frame.value_of(tag("FCNT")), 0xFFFFFFF1u) << "the abandoned frame took 0xFFFFFFF0";
    const auto counters = camera.counters();
    EXPECT_EQ(counters.frames_started, 2u);
    EXPECT_EQ(counters.frames_completed, 1u);
}

TEST(packet_stream_class, hardware_trigger_pulses_produce_nframes_each) {
    const emulated_camera camera(small_camera_json());
    EXPECT_EQ(camera.command("nframes 2"), "Success");
    EXPECT_EQ(camera.command("arm"), "Success");
    EXPECT_EQ(qx_emu_pulse_hardware_trigger(camera.path.c_str()), QX_EMU_INVALID)
        << "mode none takes no pulse";
    EXPECT_NE(std::string(qx_emu_get_last_error()).find("trigger mode"), std::string::npos);
    for (const std::string mode : {"hwtrig std hi", "hwtrig bulb lo"}) {
        EXPECT_EQ(camera.command(mode), "Success");
        EXPECT_EQ(read_packet(camera.device, 10).status, QX_EMU_TIMEOUT) << mode;
        ASSERT_EQ(qx_emu_pulse_hardware_trigger(camera.path.c_str()), QX_EMU_OK) << qx_emu_get_last_error();
        read_frame(camera.device, 64, 8);
        read_frame(camera.device, 64, 8);
        EXPECT_EQ(read_packet(camera.device, 10).status, QX_EMU_TIMEOUT) << mode;
    }
    EXPECT_EQ(camera.counters().frames_completed, 4u);
    EXPECT_EQ(camera.command("stop"), "Success");
    EXPECT_EQ(qx_emu_pulse_hardware_trigger(camera.path.c_str()), QX_EMU_INVALID) << "not armed";
}

TEST(packet_stream_class, default_camera_streams_full_frames) {
    const emulated_camera camera(R"({"pacing":"fast"})");
    ASSERT_EQ(camera.command("start"), "Success");
    const auto frame = read_frame(camera.device, 2448, 2048);
    EXPECT_EQ(frame.pixels[2448 * 2047 + 2447], (2447 + 3 * 2047 + 7 * 0xFFFFFFF0u) % 4096);
}

}  // namespace
}  // namespace qx::emulator::testing
