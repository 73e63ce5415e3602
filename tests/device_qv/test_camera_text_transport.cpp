// The camera's text channel: two attempts with link recovery, the reply copy
// and the column-balancing gain update.

#include <gtest/gtest.h>

#include <vector>

#include "device_qv/qv_camera_class.h"
#include "support/emulated_camera_fixture.h"
#include "support/recording_transport.h"
#include "support/transport_contract_suite.h"
#include "usb/emulated_fx3_class.h"

namespace qx::test {

// The emulator's own link as a link of the transport contract; its
// recoveries are counted by a recording transport around it.
struct emulated_link {
    static constexpr int clears_per_recovery = 1;
    static constexpr bool holds_a_ring = false;
    // A read reports the lost camera as failed; the stall query that
    // follows throws.
    static constexpr const char* lost_read_errors[] = {failed_read_without_an_error};
    static constexpr const char* lost_write_error = "emulated_fx3_class::write device disconnected.";

    emulated_link() {
        char path[256] = {};
        const std::string json = std::string("{") + contract_camera_keys + "}";
        EXPECT_EQ(qx_emu_plug_camera(json.c_str(), path, sizeof path), QX_EMU_OK) << qx_emu_get_last_error();
        camera_path = path;
    }
    ~emulated_link() { qx_emu_unplug_camera(camera_path.c_str()); }

    bool usable() const { return true; }
    std::unique_ptr<usb::usb_driver_base> open() {
        auto opened =
            std::make_unique<recording_transport>(std::make_unique<usb::emulated_fx3_class>(camera_path));
        recorder = opened.get();
        return opened;
    }
    const std::string& emulator_path() const { return camera_path; }
    void pull() { qx_emu_unplug_camera(camera_path.c_str()); }
    int pipe_clears() { return tally().first; }
    int port_resets() { return tally().second; }

    std::pair<int, int> tally() {
        for (const std::string& operation : recorder->take_operations()) {
            recoveries.first += operation.starts_with("unstall") ? 1 : 0;
            recoveries.second += operation == "reset port" ? 1 : 0;
        }
        return recoveries;
    }

    std::string camera_path;
    recording_transport* recorder = nullptr;
    std::pair<int, int> recoveries;  // pipe clears, port resets
};

INSTANTIATE_TYPED_TEST_SUITE_P(emulated, transport_contract, testing::Types<emulated_link>);

}  // namespace qx::test

namespace {

using qx::device_qv::qv_camera_class;
using qx::test::recording_transport;

constexpr std::uint32_t short_timeout_ms = 50;
// Column-balancing tables for gains 0..4; "gain 2" gets a reply without a number.
constexpr const char* camera_with_tables =
    R"("gain_min":0,"gain_max":4,"column_gains":[{"constant":1.0},{"constant":1.0},{"constant":1.0},)"
    R"({"constant":1.0},{"constant":1.0}],"replies":{"gain 3":"3 dB","gain 2":"Success"})";

class camera_text_transport : public ::testing::Test {
  protected:
    void open(const std::string& camera_json) {
        qx::test::configure_emulator(R"({"cameras":[)" + camera_json + "]}");
        path = qx::test::emulated_path();
        transport =
            std::make_unique<recording_transport>(std::make_unique<qx::usb::emulated_fx3_class>(path));
        camera = std::make_unique<qv_camera_class>(transport.get());
        transport->take_operations();
    }
    void set_faults(const std::string& faults) {
        ASSERT_EQ(qx_emu_set_faults(path.c_str(), faults.c_str()), QX_EMU_OK) << qx_emu_get_last_error();
    }
    std::string send(const std::string& command, std::uint32_t timeout_ms = short_timeout_ms) {
        char reply[1024] = {};
        camera->send_command(command.c_str(), static_cast<std::uint32_t>(command.size() + 1), reply,
                             sizeof reply, timeout_ms);
        return reply;
    }
    std::string failure_of(const std::string& command) {
        try {
            send(command);
        } catch (const std::exception& failure) {
            return failure.what();
        }
        return "";
    }

    std::string path;
    std::unique_ptr<recording_transport> transport;
    std::unique_ptr<qv_camera_class> camera;
};

TEST_F(camera_text_transport, construction_reads_the_trimmed_id_and_the_serial_and_refuses_a_blank_id) {
    open(qx::test::small_camera_json("CAM-1", "SER-1", R"("replies":{"id":"  CAM-1 \t"})"));
    EXPECT_EQ(camera->id(), "CAM-1");
    EXPECT_EQ(camera->serial_number(), "SER-1");
    EXPECT_EQ(qx::test::failure_of(
                  [&] { open(qx::test::small_camera_json("CAM-2", "SER-2", R"("replies":{"id":"   "})")); }),
              "Trimmed string is empty: Error reading camera unique id.");
}

TEST_F(camera_text_transport, a_camera_that_never_answers_fails_after_two_attempts_with_recovery) {
    open(qx::test::small_camera_json("CAM-1", "SER-1"));
    const auto before = qx::test::emulator_counters(path);
    set_faults(R"({"reply_timeout":{"rate":1.0}})");
    EXPECT_EQ(failure_of("exp"), "After 2 attempts, failed to do a Cypress FX3 write + readback.");
    const std::vector<std::string> expected = {"write exp", "read timed-out", "reset port",
                                               "write exp", "read timed-out", "reset port"};
    EXPECT_EQ(transport->take_operations(), expected);
    EXPECT_EQ(qx::test::emulator_counters(path).commands_received - before.commands_received, 2u);
}

TEST_F(camera_text_transport, a_lost_first_attempt_is_recovered_and_the_second_reply_returned) {
    const struct {
        const char* faults;
        std::vector<std::string> operations;
    } rows[] = {
        {R"({"reply_timeout":{"commands":[0]}})",
         {"write sernum", "read timed-out", "reset port", "write sernum", "read"}},
        // A stalled endpoint is unstalled instead of resetting the port.
        {R"({"stall_command":{"commands":[0],"endpoint":"out"}})",
         {"write sernum stalled", "stalled 0x02", "unstall 0x02", "write sernum", "read"}},
    };
    open(qx::test::small_camera_json("CAM-1", "SER-1"));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.faults);
        set_faults(row.faults);
        EXPECT_EQ(send("sernum"), "SER-1");
        EXPECT_EQ(transport->take_operations(), row.operations);
    }
}

TEST_F(camera_text_transport, gain_commands_update_the_active_column_gain_set_only_with_correction_on) {
    open(qx::test::small_camera_json("CAM-1", "SER-1", camera_with_tables));
    ASSERT_TRUE(camera->column_balancing.enabled);

    // The gain is read only from the bytes copied into the caller's buffer:
    // here exactly one byte on the heap, "3".
    std::vector<char> reply(1);
    camera->send_command("gain 3", 7, reply.data(), 1, short_timeout_ms);
    EXPECT_EQ(camera->cached_gain, 3);

    // A reply that does not begin with a number is retried, then refused, and
    // correction is switched off.
    transport->take_operations();
    EXPECT_EQ(failure_of("gain 2"), "After 2 attempts, failed to do a Cypress FX3 write + readback.");
    const std::vector<std::string> expected = {"write gain 2", "read", "write gain 2", "read"};
    EXPECT_EQ(transport->take_operations(), expected);
    EXPECT_FALSE(camera->column_balancing.enabled);
    EXPECT_EQ(camera->cached_gain, 3);

    // With correction off the reply is not read.
    EXPECT_EQ(send("gain 2"), "Success");
}

}  // namespace
