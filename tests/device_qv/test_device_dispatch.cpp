// The module's answers to the kit's get and set commands.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "device_qv/entry_points/module_entry_points.h"
#include "device_qv/qv_camera_class.h"
#include "support/emulated_camera_fixture.h"

namespace {

class device_dispatch : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(qx_module_initialize(nullptr), 0);
        qx::test::configure_emulator(
            R"({"cameras":[)" +
            qx::test::small_camera_json(
                "ID-D", "SER-D",
                R"json("replies":{"stop":"Camera running (parameter cannot be set while in this mode)"})json") +
            "]}");
        path = qx::test::emulated_path();
        create_device("ID-D");
    }
    // Lists the cameras, as the kit does first, and opens one.
    void create_device(const char* id) {
        std::vector<char> ids(2048, '\0');
        std::vector<char> serials(2048, '\0');
        ASSERT_EQ(get_device_ids(ids.data(), 2048, serials.data(), 2048), 0);
        ASSERT_EQ(create(id, &device), 0);
    }
    void TearDown() override {
        if (device != nullptr)
            destroy(device);
        qx_module_uninitialize();
    }

    int get(const std::string& command, std::string& reply, const void* data = nullptr,
            std::uint64_t data_size = 0) {
        char buffer[1024];
        std::memset(buffer, '#', sizeof buffer);
        buffer[sizeof buffer - 1] = '\0';
        const int status = get_data__returns_zero_for_success(device, command.c_str(), command.size() + 1,
                                                              data, data_size, buffer, sizeof buffer);
        reply = buffer;
        return status;
    }
    // The reply to a get that must succeed.
    std::string reply_to(const std::string& command) {
        std::string reply;
        EXPECT_EQ(get(command, reply), 0) << command;
        return reply;
    }
    // A set, with @p value and its NUL as the data when there is one.
    int set(const std::string& command, const char* value = nullptr) {
        char buffer[1024] = {};
        return set_data__returns_zero_for_success(device, command.c_str(), command.size() + 1, value,
                                                  value != nullptr ? std::strlen(value) + 1 : 0, buffer,
                                                  sizeof buffer);
    }
    std::uint64_t commands_received() { return qx::test::emulator_counters(path).commands_received; }

    std::string path;
    void* device = nullptr;
};

TEST_F(device_dispatch, local_words_are_recognised_after_trimming_and_only_whole) {
    EXPECT_EQ(reply_to("  image_metadata \t"), "off");
    // One more character and it is the camera's business.
    EXPECT_EQ(reply_to("image_metadatax"), "Invalid command");
    EXPECT_EQ(reply_to("usb_speed"), "USB 3.0");
    EXPECT_EQ(reply_to("usb_speed and more"), "USB 3.0");
}

// The flag is on only for exactly "on", read within the data size the host
// gives; each value goes in a heap buffer of exactly that size, so a read
// past it is caught.
TEST_F(device_dispatch, metadata_flag_is_on_only_for_exactly_on_within_the_data_size) {
    const struct {
        const char* bytes;
        std::uint64_t data_size;
        const char* expected;
    } cases[] = {{"on", 2, "on"}, {"on", 3, "on"},   {"onx", 2, "on"}, {"On", 2, "off"}, {"ON", 2, "off"},
                 {"1", 1, "off"}, {"on ", 3, "off"}, {"on", 1, "off"}, {"on", 0, "off"}};
    for (const auto& entry : cases) {
        SCOPED_TRACE(std::string("'") + entry.bytes + "' in " + std::to_string(entry.data_size) + " bytes");
        // From the opposite state, so that the value shows.
        ASSERT_EQ(set("image_metadata", std::strcmp(entry.expected, "on") == 0 ? "off" : "on"), 0);
        std::vector<char> value(entry.bytes, entry.bytes + entry.data_size);
        const char* data = entry.data_size > 0 ? value.data() : entry.bytes;
        char reply[64] = {};
        EXPECT_EQ(set_data__returns_zero_for_success(device, "image_metadata", 15, data, entry.data_size,
                                                     reply, sizeof reply),
                  0);
        EXPECT_EQ(reply_to("image_metadata"), entry.expected);
    }
}

TEST_F(device_dispatch, frame_size_counts_two_bytes_per_pixel_plus_the_metadata_block) {
    EXPECT_EQ(reply_to("acquisition_bytes_per_frame"), std::to_string(64 * 8 * 2));
    EXPECT_EQ(set("image_metadata", "on"), 0);
    EXPECT_EQ(reply_to("acquisition_bytes_per_frame"), std::to_string(64 * 8 * 2 + 16384));
}

TEST_F(device_dispatch, column_correction_switches_and_unimplemented_words_fail) {
    auto& camera = *static_cast<qx::device_qv::qv_camera_class*>(device);
    const auto correcting = [&camera] {
        qx::platform::scoped_lock_class guard(camera.command_mutex());
        return camera.column_balancing.enabled;
    };
    EXPECT_EQ(reply_to("ccon"), "on");
    EXPECT_TRUE(correcting());
    EXPECT_EQ(reply_to("ccoff"), "off");
    EXPECT_FALSE(correcting());
    std::string reply;
    for (const char* word : {"ccload", "ccdump"}) {
        EXPECT_EQ(get(word, reply), 1);
        EXPECT_EQ(reply, "error not supported");
    }
}

TEST_F(device_dispatch, gain_is_read_and_written_through_the_module) {
    EXPECT_EQ(set("gain 0012"), 0);
    EXPECT_EQ(reply_to("gain"), "12");
    const auto before = commands_received();
    EXPECT_EQ(set("gain abc"), 1);
    EXPECT_EQ(set("gain 12345678901"), 1);
    EXPECT_EQ(commands_received(), before);
}

TEST_F(device_dispatch, frame_requests_need_their_data_and_write_only_within_it) {
    std::string reply;
    for (const char* word : {"image_poll", "image_wait_per_frame", "image_acquire 0"})
        EXPECT_EQ(get(word, reply), 1) << word;
    EXPECT_EQ(set("image_release"), 1);
    EXPECT_EQ(set("image_poll_timeout_ms", "5"), 0);
    EXPECT_EQ(reply_to("image_poll_timeout_ms"), "5");
    // Not armed: no frame (after the poll time-out), none held.
    for (const char* word : {"image_poll", "image_acquire 0"}) {
        std::uint64_t frame = 12345;
        EXPECT_EQ(get(word, reply, &frame, sizeof frame), 0) << word;
        EXPECT_EQ(frame, 0u) << word;
    }
    // The counters are cut to the size given; nothing beyond it is written.
    std::uint64_t counters[3];
    std::memset(counters, 0xAB, sizeof counters);
    EXPECT_EQ(get("stream_statistics", reply, counters, 2 * sizeof counters[0]), 0);
    EXPECT_EQ(std::vector<std::uint64_t>(counters, counters + 3),
              (std::vector<std::uint64_t>{0, 0, 0xABABABABABABABABu}));
}

TEST_F(device_dispatch, arming_refuses_a_frame_too_large_to_assemble_whole) {
    struct size_case {
        int side;
        int status;
    };
    for (const auto& row : {size_case{4096, 0}, size_case{8192, 1}}) {
        SCOPED_TRACE(row.side);
        destroy(device);
        device = nullptr;
        const std::string side = std::to_string(row.side);
        qx::test::configure_emulator(R"({"cameras":[{"id":"ID-L","serial":"SER-L","sensor_width":)" + side +
                                     R"(,"sensor_height":)" + side + "}]}");
        create_device("ID-L");
        unsigned char buffer[64] = {};
        char response[1024] = {};
        EXPECT_EQ(set_data__returns_zero_for_success(device, "arm", 4, buffer, sizeof buffer, response,
                                                     sizeof response),
                  row.status);
    }
}

TEST_F(device_dispatch, stop_and_disarm_succeed_whatever_the_camera_replies) {
    const auto before = commands_received();
    EXPECT_EQ(set("disarm"), 0);
    EXPECT_EQ(set("stop"), 0);
    EXPECT_EQ(commands_received() - before, 2u);
    EXPECT_EQ(set("unblock_image_wait_for_frame"), 0);
}

// Only the size asked for is copied, without a terminator.
TEST_F(device_dispatch, other_commands_pass_through_with_the_callers_size) {
    EXPECT_EQ(reply_to("sernum"), "SER-D");
    char small[6];
    std::memset(small, '#', sizeof small);
    EXPECT_EQ(get_data__returns_zero_for_success(device, "sernum", 7, nullptr, 0, small, 4), 0);
    EXPECT_EQ(std::string(small, sizeof small), "SER-##");
    EXPECT_EQ(get_data__returns_zero_for_success(nullptr, "sernum", 7, nullptr, 0, small, sizeof small), 1);
}

// A command whose size holds no NUL is read within its size: recognised
// words still match, others reach the camera with exactly their bytes.
TEST_F(device_dispatch, commands_without_a_nul_are_read_only_within_their_size) {
    const struct {
        const char* bytes;
        bool is_set;
        const char* expected_reply;  // null: not looked at
    } cases[] = {{"stop", true, nullptr},
                 {"image_metadata", false, "off"},
                 {"id", false, "ID-D"},
                 {"g", true, nullptr},
                 {"gain 1", true, nullptr}};
    for (const auto& entry : cases) {
        const std::size_t size = std::strlen(entry.bytes);
        // Exactly the command's bytes on the heap, so a read past them is caught.
        std::vector<char> command(entry.bytes, entry.bytes + size);
        char reply[1024] = {};
        const auto call =
            entry.is_set ? &set_data__returns_zero_for_success : &get_data__returns_zero_for_success;
        EXPECT_EQ(call(device, command.data(), size, nullptr, 0, reply, sizeof reply), 0) << entry.bytes;
        if (entry.expected_reply != nullptr) {
            EXPECT_STREQ(reply, entry.expected_reply) << entry.bytes;
        }
    }
}

}  // namespace
