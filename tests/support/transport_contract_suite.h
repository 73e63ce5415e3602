#pragma once
// The transport contract, run the same way against every back end (libusb on
// a simulated bus, the Cypress driver simulated, the emulator's own link):
// command replies, a lost reply and stalled endpoints with their recovery,
// the image stream across a stall and a wake, and losing the camera. Each
// back end's test instantiates the suite with a link type that provides:
//   link()                  plugs a camera of `contract_camera_keys` into the
//                           emulator behind its link; bool usable()
//   std::unique_ptr<usb::usb_driver_base> open()
//   const std::string& emulator_path()
//   void pull()             loses the camera while the transport is open
//   int pipe_clears(), int port_resets()   the recoveries the link saw
// and how the back ends legitimately differ:
//   clears_per_recovery     pipe clears one recovery sends
//   holds_a_ring            image transfers wait submitted and come back
//                           failed on a recovery
//   lost_read_errors[], lost_write_error   the failures once the camera is gone

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "quendral_vko_camera_emulator.h"
#include "usb/usb_driver_base.h"

namespace qx::test {

// 512 x 256 pixels of 16 bits and 56 bytes of metadata: 17 packets a frame.
inline constexpr const char* contract_camera_keys =
    R"("id":"QV-LINK-1","serial":"LINK000123","sensor_width":512,"sensor_height":256,"pacing":"fast")";
inline constexpr int packets_per_frame = 17;
inline constexpr std::uint32_t command_timeout_ms = 5000;

// What the losing-the-camera case records for a read that fails without
// throwing; a link may list it among its lost_read_errors.
inline constexpr const char* failed_read_without_an_error = "a failed read without an error";

// The text of the std::runtime_error `call` throws ("<none>" when it throws none).
template <class call_type>
std::string failure_of(call_type&& call) {
    try {
        call();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "<none>";
}

struct packet_read {
    bool timed_out = false;
    bool failed = false;
    bool stalled = false;
    std::vector<unsigned char> bytes = std::vector<unsigned char>(usb::image_transfer_size);
    std::uint32_t word(std::size_t offset) const {
        std::uint32_t value = 0;
        std::memcpy(&value, bytes.data() + offset, sizeof value);
        return value;
    }
};

struct frame_read {
    bool complete = false;
    std::uint32_t frame_count = 0;  // the "FCNT" value of its metadata
    int failed_reads = 0;           // reads that failed or timed out
};

// A transport opened on a back end's link, with the exchanges the tests use.
template <class link_type>
class transport_contract : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(qx_emu_reset(""), QX_EMU_OK) << qx_emu_get_last_error();
        link = std::make_unique<link_type>();
        if (!link->usable())
            GTEST_SKIP() << "the simulated link is not available in this program";
        transport = link->open();
    }
    void TearDown() override {
        transport.reset();
        link.reset();
    }

    void set_faults(const std::string& faults) {
        ASSERT_EQ(qx_emu_set_faults(link->emulator_path().c_str(), faults.c_str()), QX_EMU_OK)
            << qx_emu_get_last_error();
    }

    // One command and its reply, as the text channel exchanges them.
    std::string exchange(const std::string& command) {
        bool timed_out = true, failed = true, stalled = true;
        transport->write(static_cast<std::uint32_t>(command.size() + 1), command.c_str(), command_timeout_ms,
                         timed_out, stalled);
        EXPECT_FALSE(timed_out || stalled) << command;
        char reply[usb::command_transfer_size] = {};
        transport->read__blocking(sizeof reply, reply, command_timeout_ms, timed_out, failed, stalled);
        EXPECT_FALSE(timed_out || failed || stalled) << command;
        return std::string(reply, strnlen(reply, sizeof reply));
    }

    void start_streaming() {
        ASSERT_EQ(exchange("arm"), "Success");
        ASSERT_EQ(exchange("start"), "Success");
    }

    packet_read read_packet(std::uint32_t timeout_ms = 2000) {
        packet_read read;
        transport->read_image_data(read.bytes.data(), timeout_ms, read.timed_out, read.failed, read.stalled);
        return read;
    }

    // Reads packets until a first packet is followed by the rest of its
    // frame, sequence numbers counting up from 1 (a broken frame is dropped,
    // as the packet loop drops it). Gives up after `read_limit` reads.
    frame_read read_whole_frame(int read_limit) {
        frame_read frame;
        std::uint32_t next_sequence = 0;  // 0: waiting for a first packet
        for (int reads = 0; reads < read_limit && next_sequence != packets_per_frame; ++reads) {
            const packet_read read = read_packet();
            const std::uint32_t header = read.word(0);
            if (read.timed_out || read.failed) {
                ++frame.failed_reads;
                next_sequence = 0;
            } else if (header == 0x9090) {
                EXPECT_EQ(std::memcmp(read.bytes.data() + 4, "VKO", 4), 0);
                EXPECT_EQ(std::memcmp(read.bytes.data() + 12, "FCNT", 4), 0);
                frame.frame_count = read.word(16);
                next_sequence = 1;
            } else {
                next_sequence = next_sequence != 0 && header >> 16 == next_sequence ? next_sequence + 1 : 0;
            }
        }
        frame.complete = next_sequence == packets_per_frame;
        return frame;
    }

    std::unique_ptr<link_type> link;
    std::unique_ptr<usb::usb_driver_base> transport;
};

TYPED_TEST_SUITE_P(transport_contract);

TYPED_TEST_P(transport_contract, a_command_is_answered_with_a_whole_transfer_of_reply) {
    // A read asked for 4 bytes still fills the whole command transfer.
    for (const auto& [command, reply] : {std::pair{"id", "QV-LINK-1"}, std::pair{"sernum", "LINK000123"}}) {
        bool timed_out = true, failed = true, stalled = true;
        this->transport->write(static_cast<std::uint32_t>(std::strlen(command) + 1), command,
                               command_timeout_ms, timed_out, stalled);
        ASSERT_FALSE(timed_out || stalled) << command;
        std::vector<unsigned char> bytes(usb::command_transfer_size, 0xAA);
        this->transport->read__blocking(4, bytes.data(), command_timeout_ms, timed_out, failed, stalled);
        ASSERT_FALSE(timed_out || failed || stalled) << command;
        EXPECT_STREQ(reinterpret_cast<const char*>(bytes.data()), reply);
        EXPECT_EQ(std::count(bytes.begin(), bytes.end(), 0xAA), 0) << command;
    }
}

TYPED_TEST_P(transport_contract, a_reply_that_never_comes_times_out_and_a_forced_recovery_resets_the_port) {
    this->set_faults(R"({"reply_timeout":{"commands":[0]}})");
    bool timed_out = true, failed = true, stalled = true;
    this->transport->write(3, "id", command_timeout_ms, timed_out, stalled);
    ASSERT_FALSE(timed_out || stalled);
    char reply[usb::command_transfer_size] = {};
    this->transport->read__blocking(sizeof reply, reply, 200, timed_out, failed, stalled);
    EXPECT_TRUE(timed_out);
    EXPECT_FALSE(failed || stalled);
    EXPECT_EQ(reply[0], '\0');
    this->transport->parent_reset(true);
    EXPECT_EQ(this->link->port_resets(), 1);
    EXPECT_EQ(this->link->pipe_clears(), 0);
    EXPECT_EQ(this->exchange("id"), "QV-LINK-1");
}

TYPED_TEST_P(transport_contract, a_stalled_command_endpoint_is_reported_and_cleared_without_a_port_reset) {
    for (const bool is_in : {false, true}) {
        SCOPED_TRACE(is_in ? "in" : "out");
        const int clears_before = this->link->pipe_clears();
        this->set_faults(std::string(R"({"stall_command":{"commands":[0],"endpoint":")") +
                         (is_in ? "in" : "out") + "\"}}");
        bool timed_out = true, failed = false, stalled = false;
        this->transport->write(3, "id", command_timeout_ms, timed_out, stalled);
        EXPECT_FALSE(timed_out);
        if (!is_in) {
            EXPECT_TRUE(stalled);
        } else {
            EXPECT_FALSE(stalled);
            char reply[usb::command_transfer_size];
            this->transport->read__blocking(sizeof reply, reply, command_timeout_ms, timed_out, failed,
                                            stalled);
            EXPECT_TRUE(failed);
            EXPECT_TRUE(stalled);
        }
        EXPECT_TRUE(this->transport->get_is_endpoint_stalled(usb::command_channel, is_in));
        this->transport->parent_reset(true);
        EXPECT_EQ(this->link->pipe_clears() - clears_before, TypeParam::clears_per_recovery);
        EXPECT_EQ(this->link->port_resets(), 0);
        EXPECT_FALSE(this->transport->get_is_endpoint_stalled(usb::command_channel, is_in));
        this->set_faults("{}");
        EXPECT_EQ(this->exchange("id"), "QV-LINK-1");
    }
}

TYPED_TEST_P(transport_contract, an_image_stall_is_reported_cleared_by_recovery_and_the_stream_resumes) {
    this->set_faults(R"({"stall_image":{"frames":[1],"packet":3}})");
    this->transport->prime_image_channel();
    this->start_streaming();
    bool stall_seen = false;
    for (int reads = 0; reads < 4 * packets_per_frame && !stall_seen; ++reads) {
        const packet_read read = this->read_packet();
        stall_seen = read.stalled;
        EXPECT_TRUE(read.failed || !read.stalled) << "a stalled read must not deliver data";
    }
    ASSERT_TRUE(stall_seen);
    EXPECT_TRUE(this->transport->get_is_endpoint_stalled(usb::image_channel, true));
    this->transport->parent_reset(true);
    EXPECT_EQ(this->link->pipe_clears(), TypeParam::clears_per_recovery);
    EXPECT_EQ(this->link->port_resets(), 0);
    EXPECT_FALSE(this->transport->get_is_endpoint_stalled(usb::image_channel, true));
    // The cancelled transfers come back as failed reads, at most once each,
    // then whole frames follow again.
    const frame_read after = this->read_whole_frame(usb::image_transfers_in_flight + 3 * packets_per_frame);
    EXPECT_TRUE(after.complete);
    EXPECT_GE(after.failed_reads, TypeParam::holds_a_ring ? 1 : 0);
    EXPECT_LE(after.failed_reads, usb::image_transfers_in_flight);
}

TYPED_TEST_P(transport_contract, a_woken_image_reader_returns_at_once_as_a_time_out_and_keeps_its_transfers) {
    this->transport->prime_image_channel();
    // A wake before a read ends it, and so does one during it from another
    // thread: as a time-out, long before the read's own.
    const auto read_woken = [&] {
        const packet_read read = this->read_packet(600000);
        return read.timed_out && !read.failed && !read.stalled;
    };
    this->transport->wake_image_reader();
    EXPECT_TRUE(read_woken()) << "woken before the read";
    bool woken_while_waiting = false;
    std::thread reader([&] { woken_while_waiting = read_woken(); });
    this->transport->wake_image_reader();
    reader.join();
    EXPECT_TRUE(woken_while_waiting);
    // Nothing was consumed: the stream still yields whole frames in order.
    this->start_streaming();
    const frame_read first = this->read_whole_frame(3 * packets_per_frame);
    const frame_read second = this->read_whole_frame(packets_per_frame);
    EXPECT_TRUE(first.complete && second.complete);
    EXPECT_EQ(second.frame_count, first.frame_count + 1);
    EXPECT_EQ(first.failed_reads + second.failed_reads, 0);
}

TYPED_TEST_P(transport_contract, losing_the_camera_fails_the_waiting_read_and_later_writes_and_never_hangs) {
    const struct {
        const char* name;
        const char* faults;  // null: the test pulls the camera while a read waits
    } rows[] =
        // Frame 20 lies beyond the 256 transfers the ring holds, so the
        // camera is lost only while the reader below consumes packets.
        {{"pulled while a read waits", nullptr},
         {"lost by the camera mid-frame", R"({"unplug": {"frames": [20], "packet": 5}})"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        this->transport.reset();
        this->link.reset();
        this->link = std::make_unique<TypeParam>();
        this->transport = this->link->open();
        this->transport->prime_image_channel();
        if (row.faults != nullptr) {
            this->set_faults(row.faults);
            this->start_streaming();
        }
        // Reads in another thread, each with a long time-out, until one
        // fails; losing the camera must end the wait long before that.
        auto reader = std::async(std::launch::async, [this] {
            for (int reads = 0; reads < 64 * packets_per_frame; ++reads) {
                packet_read read;
                const std::string failure = failure_of([&] {
                    this->transport->read_image_data(read.bytes.data(), 20000, read.timed_out, read.failed,
                                                     read.stalled);
                });
                if (failure != "<none>")
                    return failure;
                if (read.failed || read.timed_out)
                    return std::string(failed_read_without_an_error);
            }
            return std::string("no read failed");
        });
        if (row.faults == nullptr)
            this->link->pull();
        ASSERT_EQ(reader.wait_for(std::chrono::seconds(10)), std::future_status::ready);
        const std::string failure = reader.get();
        EXPECT_TRUE(std::find(std::begin(TypeParam::lost_read_errors), std::end(TypeParam::lost_read_errors),
                              failure) != std::end(TypeParam::lost_read_errors))
            << failure;
        bool timed_out = false, stalled = false;
        EXPECT_EQ(
            failure_of([&] { this->transport->write(3, "id", command_timeout_ms, timed_out, stalled); }),
            TypeParam::lost_write_error);
        EXPECT_THROW(this->transport->get_is_endpoint_stalled(usb::image_channel, true), std::runtime_error);
    }
}

REGISTER_TYPED_TEST_SUITE_P(transport_contract, a_command_is_answered_with_a_whole_transfer_of_reply,
                            a_reply_that_never_comes_times_out_and_a_forced_recovery_resets_the_port,
                            a_stalled_command_endpoint_is_reported_and_cleared_without_a_port_reset,
                            an_image_stall_is_reported_cleared_by_recovery_and_the_stream_resumes,
                            a_woken_image_reader_returns_at_once_as_a_time_out_and_keeps_its_transfers,
                            losing_the_camera_fails_the_waiting_read_and_later_writes_and_never_hangs);

}  // namespace qx::test
