// Injected faults: schedules, rates reproducible from the seed, and counters.

#include "emulator/emulator_test_support.h"

namespace qx::emulator::testing {
namespace {

// 256 x 64 unpacked pixels: three packets per frame.
std::string camera_with_faults(const std::string& faults, const std::string& extra = "") {
    return R"({"sensor_width":256,"sensor_height":64,"pacing":"fast","faults":)" + faults + extra + "}";
}

std::vector<std::uint32_t> headers_of(const emulated_camera& camera, int count) {
    std::vector<std::uint32_t> headers;
    for (int i = 0; i < count; ++i) {
        const auto next = read_packet(camera.device);
        EXPECT_EQ(next.status, QX_EMU_OK) << qx_emu_get_last_error();
        headers.push_back(next.header());
    }
    return headers;
}

constexpr std::uint32_t first = 0x9090;
constexpr std::uint32_t one = 1u << 16;
constexpr std::uint32_t two = 2u << 16;
constexpr std::uint32_t flipped = 0x80000001u;  // the bits a corrupted header has flipped

TEST(fault_schedule_class, header_faults_change_the_scheduled_packets_only) {
    const struct {
        std::string faults;
        std::vector<std::uint32_t> headers;  // of the first 7 packets
        qx_emu_fault_kind kind;
        std::uint64_t count;
    } rows[] = {
        {R"({"drop_packet":{"frames":[1],"packet":2}})",
         {first, one, two, first, one, first, one},
         QX_EMU_FAULT_DROP_PACKET,
         1},
        {R"({"drop_packet":{"frames":[0]}})",
         {first, one, two, first, one, two, first},
         QX_EMU_FAULT_DROP_PACKET,
         3},
        {R"({"sequence_gap":{"frames":[0,2],"packet":1}})",
         {first, two, two, first, one, two, first},
         QX_EMU_FAULT_SEQUENCE_GAP,
         1},
        // A repeat is possible from packet 3 on; packets 1 and 2 of a three-packet frame are not eligible.
        {R"({"sequence_gap":{"packets":[1,2],"mode":"repeat"}})",
         {first, one, two, first, one, two, first},
         QX_EMU_FAULT_SEQUENCE_GAP,
         0},
        {R"({"corrupt_header":{"frames":[0],"packets":[0,2]}})",
         {first ^ flipped, one, two ^ flipped, first, one, two, first},
         QX_EMU_FAULT_CORRUPT_HEADER,
         2},
        {R"({"corrupt_header":{"packet":1}})",
         {first, one ^ flipped, two, first, one ^ flipped, two, first},
         QX_EMU_FAULT_CORRUPT_HEADER,
         2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.faults);
        const emulated_camera camera(camera_with_faults(row.faults));
        ASSERT_EQ(camera.command("start"), "Success");
        EXPECT_EQ(headers_of(camera, 7), row.headers);
        EXPECT_EQ(camera.counters().faults_by_kind[row.kind], row.count);
        EXPECT_EQ(camera.counters().faults_injected, row.count);
    }
    // 512 x 64 unpacked pixels: five packets per frame, so packet 3 can repeat.
    const emulated_camera camera(
        R"({"sensor_width":512,"sensor_height":64,"pacing":"fast","faults":{"sequence_gap":{"packet":3,"mode":"repeat"}}})");
    ASSERT_EQ(camera.command("start"), "Success");
    EXPECT_EQ(headers_of(camera, 5), (std::vector<std::uint32_t>{first, one, two, two, 4u << 16}));
    EXPECT_EQ(camera.counters().faults_by_kind[QX_EMU_FAULT_SEQUENCE_GAP], 1u);
}

TEST(fault_schedule_class, dropped_packets_are_counted_against_frames) {
    // Two faults on frame 1, one of them on its first packet, and one on frame 2.
    const emulated_camera camera(camera_with_faults(
        R"({"drop_packet":{"frames":[1],"packet":2},"corrupt_header":{"frames":[1,2],"packets":[0]}})"));
    ASSERT_EQ(camera.command("nframes 3"), "Success");
    ASSERT_EQ(camera.command("start"), "Success");
    headers_of(camera, 8);
    EXPECT_EQ(read_packet(camera.device, 10).status, QX_EMU_TIMEOUT);
    const auto counters = camera.counters();
    EXPECT_EQ(counters.frames_started, 3u);
    EXPECT_EQ(counters.frames_completed, 2u);
    EXPECT_EQ(counters.packets_sent, 8u);
    EXPECT_EQ(counters.faults_injected, 3u);
    EXPECT_EQ(counters.frames_faulted, 2u);
}

TEST(fault_schedule_class, image_stall_holds_the_packet_until_cleared) {
    const emulated_camera camera(camera_with_faults(R"({"stall_image":{"frames":[0],"packet":1}})"));
    ASSERT_EQ(camera.command("start"), "Success");
    EXPECT_EQ(read_packet(camera.device).header(), first);
    EXPECT_EQ(read_packet(camera.device).status, QX_EMU_STALL);
    EXPECT_EQ(read_packet(camera.device).status, QX_EMU_STALL);
    // The stalled packet is held, not lost.
    ASSERT_EQ(qx_emu_device_clear_stall(camera.device, QX_EMU_ENDPOINT_IMAGE_IN), QX_EMU_OK);
    EXPECT_EQ(read_packet(camera.device).header(), one);
    EXPECT_EQ(camera.counters().faults_by_kind[QX_EMU_FAULT_STALL_IMAGE], 1u);
}

TEST(fault_schedule_class, command_faults) {
    const emulated_camera camera(camera_with_faults(
        R"({"stall_command":{"commands":[1]},"reply_timeout":{"commands":[2]},"firmware_error":{"words":["roi"]}})"));
    EXPECT_EQ(camera.command("exp 500"), "Success");
    // The second write stalls the OUT endpoint: the command never arrives.
    EXPECT_EQ(camera.command("exp 600"), "<status -2>");
    EXPECT_EQ(camera.command("exp"), "<status -2>");
    ASSERT_EQ(qx_emu_device_clear_stall(camera.device, QX_EMU_ENDPOINT_COMMAND_OUT), QX_EMU_OK);
    EXPECT_EQ(camera.command("exp"), "<status -1>") << "the third write that arrived loses its reply";
    EXPECT_EQ(camera.command("exp"), "500");
    EXPECT_EQ(camera.command("roi 0 0 31 7"), "Image data sync failure");
    EXPECT_EQ(camera.command("roi"), "Image data sync failure");
    EXPECT_EQ(camera.command("image_width"), "256") << "the refused roi was not applied";
    const auto counters = camera.counters();
    EXPECT_EQ(counters.commands_received, 6u);
    EXPECT_EQ(counters.faults_by_kind[QX_EMU_FAULT_STALL_COMMAND], 1u);
    EXPECT_EQ(counters.faults_by_kind[QX_EMU_FAULT_REPLY_TIMEOUT], 1u);
    EXPECT_EQ(counters.faults_by_kind[QX_EMU_FAULT_FIRMWARE_ERROR], 2u);
    EXPECT_EQ(counters.faults_injected, 4u);
}

TEST(fault_schedule_class, stalled_in_endpoint_loses_the_reply) {
    const emulated_camera camera(camera_with_faults(
        R"({"stall_command":{"commands":[0,1],"endpoint":"in"},"firmware_error":{"commands":[2],"phrase":"Camera Running"}})"));
    EXPECT_EQ(camera.command("exp 700"), "<status -2>");
    ASSERT_EQ(qx_emu_device_clear_stall(camera.device, QX_EMU_ENDPOINT_COMMAND_IN), QX_EMU_OK);
    EXPECT_EQ(camera.command("exp"), "<status -2>");
    ASSERT_EQ(qx_emu_device_reset_port(camera.device), QX_EMU_OK);
    EXPECT_EQ(camera.command("exp"), "Camera Running");
    EXPECT_EQ(camera.command("exp"), "700") << "a command behind a stalled IN endpoint still ran";
}

std::vector<std::uint32_t> headers_with_rates(std::uint64_t seed) {
    const emulated_camera camera(
        camera_with_faults(R"({"drop_packet":{"rate":0.2},"corrupt_header":{"rate":0.2}})",
                           R"(,"seed":)" + std::to_string(seed)));
    EXPECT_EQ(camera.command("start"), "Success");
    auto headers = headers_of(camera, 60);
    const auto counters = camera.counters();
    const auto corrupted =
        std::count_if(headers.begin(), headers.end(), [](std::uint32_t h) { return (h & 1) != 0; });
    EXPECT_EQ(counters.faults_by_kind[QX_EMU_FAULT_CORRUPT_HEADER], static_cast<std::uint64_t>(corrupted));
    EXPECT_GT(counters.faults_by_kind[QX_EMU_FAULT_DROP_PACKET], 0u);
    EXPECT_EQ(counters.packets_sent, 60u);
    return headers;
}

TEST(fault_schedule_class, rates_repeat_with_the_same_seed) {
    const auto first_run = headers_with_rates(7);
    EXPECT_EQ(headers_with_rates(7), first_run);
    EXPECT_NE(headers_with_rates(8), first_run);
}

TEST(fault_schedule_class, set_faults_replaces_and_clears_the_schedule) {
    const emulated_camera camera(small_camera_json());
    ASSERT_EQ(qx_emu_set_faults(camera.path.c_str(), R"({"reply_timeout":{"commands":[1]}})"), QX_EMU_OK)
        << qx_emu_get_last_error();
    EXPECT_EQ(camera.command("exp"), "10000");
    EXPECT_EQ(camera.command("exp"), "<status -1>");
    ASSERT_EQ(qx_emu_set_faults(camera.path.c_str(), R"({"reply_timeout":{"commands":[0]}})"), QX_EMU_OK);
    EXPECT_EQ(camera.command("exp"), "<status -1>") << "indices count from the new schedule";
    ASSERT_EQ(qx_emu_set_faults(camera.path.c_str(), "{}"), QX_EMU_OK);
    EXPECT_EQ(camera.command("exp"), "10000");
    EXPECT_EQ(camera.counters().faults_by_kind[QX_EMU_FAULT_REPLY_TIMEOUT], 2u);

    EXPECT_EQ(qx_emu_set_faults(camera.path.c_str(), R"({"drop_packet":{"rate":1.5}})"), QX_EMU_INVALID);
    EXPECT_EQ(std::string(qx_emu_get_last_error()),
              "faults: key 'drop_packet.rate': expected a number 0..1, got a number 1.5");
    EXPECT_EQ(qx_emu_set_faults(camera.path.c_str(), "{"), QX_EMU_INVALID);
    EXPECT_EQ(qx_emu_set_faults("EMU:BUS_000:PORT_9:VID_2A7C&PID_6101", "{}"), QX_EMU_NO_DEVICE);
}

// What a frame's first packet says of its record: the magic, the tag of the
// fifth pair, the image offset and the end tag, as words.
struct record_words {
    std::uint32_t magic, fifth_tag, image_offset, end_tag;
    bool operator==(const record_words&) const = default;
};

record_words record_of(const packet& first) {
    const auto pair_word = [&](int pair, int half) {
        return word_at(first.bytes.data(), 4 + pair * 8 + half * 4);
    };
    return {pair_word(0, 0), pair_word(4, 0), pair_word(2, 1), pair_word(6, 0)};
}

TEST(fault_schedule_class, corrupt_metadata_damages_only_the_records_it_is_told_to) {
    const record_words intact{tag("VKO\0"), tag("TSLO"), 7, tag("ENDT")};
    const struct {
        const char* mode;
        record_words damaged;
    } cases[] = {
        {"bad_magic", {tag("VKX\0"), tag("TSLO"), 7, tag("ENDT")}},
        {"unknown_tag", {tag("VKO\0"), tag("QZZZ"), 7, tag("ENDT")}},
        {"offset_beyond_slot", {tag("VKO\0"), tag("TSLO"), 0x40000000u, tag("ENDT")}},
        {"truncated", {tag("VKO\0"), 0, 0, 0}},
    };
    for (const auto& entry : cases) {
        // Frame 1 is scheduled on every packet; only its first one carries the record.
        const emulated_camera camera(camera_with_faults(
            std::string(R"({"corrupt_metadata":{"frames":[1],"mode":")") + entry.mode + R"("}})"));
        ASSERT_EQ(camera.command("start"), "Success");
        for (int frame = 0; frame < 3; ++frame) {
            EXPECT_EQ(record_of(read_packet(camera.device)), frame == 1 ? entry.damaged : intact)
                << entry.mode << " frame " << frame;
            headers_of(camera, 2);
        }
        EXPECT_EQ(camera.counters().faults_by_kind[QX_EMU_FAULT_CORRUPT_METADATA], 1u) << entry.mode;
        EXPECT_EQ(camera.counters().faults_injected, 1u) << entry.mode;
        EXPECT_EQ(camera.counters().frames_faulted, 1u) << entry.mode;
    }
    // Mixed, the default, takes the four kinds of damage in turn.
    const emulated_camera camera(camera_with_faults(R"({"corrupt_metadata":{"frames":[0,1,2,3]}})"));
    ASSERT_EQ(camera.command("start"), "Success");
    for (const auto& entry : cases) {
        EXPECT_EQ(record_of(read_packet(camera.device)), entry.damaged) << "mixed, " << entry.mode;
        headers_of(camera, 2);
    }
    EXPECT_EQ(camera.counters().faults_by_kind[QX_EMU_FAULT_CORRUPT_METADATA], 4u);
    EXPECT_EQ(qx_emu_set_faults(camera.path.c_str(), R"({"corrupt_metadata":{"mode":"scrambled"}})"),
              QX_EMU_INVALID);
}

}  // namespace
}  // namespace qx::emulator::testing
