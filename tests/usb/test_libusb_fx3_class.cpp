// The libusb transport through unmodified libusb, against a camera on a
// simulated USB bus (umockdev_fx3_camera_class): enumeration, the command
// channel, stalls, time-outs and resets, the image ring, and unplugging.

#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "base/status_codes.h"
#include "usb/device_enumerator_class.h"
#include "usb/libusb_fx3_class.h"
#include "usb/umockdev_fx3_camera_class.h"
#include "usb/usb_driver_base.h"

namespace {

using qx::test::umockdev_fx3_camera_class;
using qx::usb::usb_driver_base;

constexpr std::uint32_t command_timeout_ms = 5000;
constexpr std::uint32_t packet_timeout_ms = 2000;
constexpr std::uint32_t first_packet_header = 0x00009090;
// 512 x 256 pixels of 16 bits and 56 bytes of metadata: 17 packets a frame.
constexpr const char* camera_json =
    R"({"id": "QV-LIBUSB-1", "serial": "UMD000123", "sensor_width": 512, "sensor_height": 256, "pacing": "fast"})";
constexpr int packets_per_frame = 17;

std::uint32_t word_at(const std::vector<unsigned char>& packet, std::size_t offset) {
    std::uint32_t word = 0;
    std::memcpy(&word, packet.data() + offset, sizeof word);
    return word;
}

class libusb_fx3_class_test : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(qx_emu_reset(""), QX_EMU_OK) << qx_emu_get_last_error();
        plug({});
        if (!umockdev_fx3_camera_class::in_mock_environment()) {
            GTEST_SKIP() << "umockdev's preload library is not active in this program";
        }
    }

    void TearDown() override {
        transport.reset();
        camera.reset();
    }

    // Replaces the simulated camera (the transport must be closed first).
    void plug(umockdev_fx3_camera_class::settings settings) {
        camera.reset();
        settings.camera_json = camera_json;
        camera = std::make_unique<umockdev_fx3_camera_class>(settings);
    }

    void open() { transport = qx::usb::open_usb_driver(umockdev_fx3_camera_class::usb_path); }

    // One command and its reply, as the text channel exchanges them.
    std::string exchange(const std::string& command) {
        bool timed_out = true;
        bool stalled = true;
        transport->write(static_cast<std::uint32_t>(command.size() + 1), command.c_str(), command_timeout_ms,
                         timed_out, stalled);
        EXPECT_FALSE(timed_out || stalled) << command;
        char reply[qx::usb::command_transfer_size] = {};
        bool failed = true;
        transport->read__blocking(sizeof reply, reply, command_timeout_ms, timed_out, failed, stalled);
        EXPECT_FALSE(timed_out || failed || stalled) << command;
        return std::string(reply, strnlen(reply, sizeof reply));
    }

    void start_streaming() {
        ASSERT_EQ(exchange("arm"), "Success");
        ASSERT_EQ(exchange("start"), "Success");
    }

    struct packet_read {
        bool timed_out = false;
        bool failed = false;
        bool stalled = false;
        std::vector<unsigned char> bytes = std::vector<unsigned char>(qx::usb::image_transfer_size);
    };

    packet_read read_packet(std::uint32_t timeout_ms = packet_timeout_ms) {
        packet_read read;
        transport->read_image_data(read.bytes.data(), timeout_ms, read.timed_out, read.failed, read.stalled);
        return read;
    }

    struct frame_read {
        bool complete = false;
        std::uint32_t frame_count = 0;  // the "FCNT" value of its metadata
        int reads = 0;                  // packets read, the frame's own included
        int failed_reads = 0;           // reads that failed or timed out
    };

    // Reads packets until a first packet is followed by the rest of its
    // frame, sequence numbers counting up from 1 (a broken frame is dropped,
    // as the packet loop drops it). Gives up after `read_limit` reads.
    frame_read read_whole_frame(int read_limit) {
        frame_read frame;
        std::uint32_t next_sequence = 0;  // 0: waiting for a first packet
        while (frame.reads < read_limit) {
            const packet_read read = read_packet();
            ++frame.reads;
            const std::uint32_t header = word_at(read.bytes, 0);
            if (read.timed_out || read.failed) {
                ++frame.failed_reads;
                next_sequence = 0;
            } else if (header == first_packet_header) {
                EXPECT_EQ(std::memcmp(read.bytes.data() + 4, "VKO", 4), 0);
                EXPECT_EQ(std::memcmp(read.bytes.data() + 12, "FCNT", 4), 0);
                frame.frame_count = word_at(read.bytes, 16);
                next_sequence = 1;
            } else if (next_sequence != 0 && header >> 16 == next_sequence) {
                ++next_sequence;
            } else {
                next_sequence = 0;
            }
            if (next_sequence == packets_per_frame) {
                frame.complete = true;
                return frame;
            }
        }
        return frame;
    }

    std::unique_ptr<umockdev_fx3_camera_class> camera;
    std::unique_ptr<usb_driver_base> transport;
};

TEST_F(libusb_fx3_class_test, enumeration_lists_the_camera_by_bus_port_chain_and_ids_before_emulated_ones) {
    const auto paths = qx::usb::list_platform_device_paths();
    ASSERT_TRUE(paths.has_value());
    const std::vector<std::string> expected = {"USB:BUS_003:PORT_0:VID_1D6B&PID_0003",
                                               "USB:BUS_003:PORT_1:VID_05E3&PID_0626",
                                               umockdev_fx3_camera_class::usb_path};
    for (const auto& path : expected) {
        EXPECT_NE(std::find(paths->begin(), paths->end(), path), paths->end()) << path;
    }

    qx::usb::usb_identity_filter filter;
    filter.vendor_id = 0x2A7C;
    filter.product_ids[0] = 0x6101;
    qx::usb::device_enumerator_class enumerator;
    ASSERT_EQ(enumerator.enumerate(filter), 2);
    char path[qx::usb::device_path_capacity] = {};
    ASSERT_EQ(enumerator.get_device_path(0, path, sizeof path), 1);
    EXPECT_STREQ(path, umockdev_fx3_camera_class::usb_path);
    ASSERT_EQ(enumerator.get_device_path(1, path, sizeof path), 1);
    EXPECT_EQ(std::string(path), camera->emulator_path());
}

TEST_F(libusb_fx3_class_test,
       opening_detaches_the_kernel_driver_claims_the_interface_and_closing_releases_it) {
    open();
    EXPECT_NE(dynamic_cast<qx::usb::libusb_fx3_class*>(transport.get()), nullptr);
    auto counts = camera->get_counts();
    EXPECT_EQ(counts.kernel_driver_detaches, 1);
    EXPECT_TRUE(counts.interface_claimed);
    transport.reset();
    EXPECT_FALSE(camera->get_counts().interface_claimed);

    // The path is compared in upper case, as enumeration stores it.
    transport = std::make_unique<qx::usb::libusb_fx3_class>("usb:bus_003:port_1.4:vid_2a7c&pid_6101");
    EXPECT_EQ(exchange("sernum"), "UMD000123");
}

TEST_F(libusb_fx3_class_test, opening_a_path_without_a_device_fails_with_the_path) {
    const std::string path = "USB:BUS_003:PORT_1.5:VID_2A7C&PID_6101";
    try {
        transport = qx::usb::open_usb_driver(path);
        FAIL() << "opened " << path;
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()),
                  "libusb_fx3_class::libusb_fx3_class no USB device at " + path + ".");
    }
}

TEST_F(libusb_fx3_class_test, a_command_is_answered_with_a_whole_transfer_of_reply) {
    open();
    struct {
        const char* command;
        const char* reply;
    } const rows[] = {{"id", "QV-LIBUSB-1"}, {"sernum", "UMD000123"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.command);
        bool timed_out = true;
        bool failed = true;
        bool stalled = true;
        transport->write(static_cast<std::uint32_t>(std::strlen(row.command) + 1), row.command,
                         command_timeout_ms, timed_out, stalled);
        ASSERT_FALSE(timed_out || stalled);
        // Asked for 8 bytes, the read still fills all 1,024.
        std::vector<unsigned char> reply(qx::usb::command_transfer_size, 0xAA);
        transport->read__blocking(8, reply.data(), command_timeout_ms, timed_out, failed, stalled);
        ASSERT_FALSE(timed_out || failed || stalled);
        EXPECT_STREQ(reinterpret_cast<const char*>(reply.data()), row.reply);
        EXPECT_EQ(std::count(reply.begin(), reply.end(), 0xAA), 0);
    }
}

TEST_F(libusb_fx3_class_test, the_port_speed_text_follows_the_device_speed) {
    struct {
        const char* megabits;
        const char* text;
    } const rows[] = {{"1", "USB 1.0"},    {"12", "USB 1.0"},    {"480", "USB 2.0"},
                      {"5000", "USB 3.0"}, {"10000", "USB 3.0"}, {"2", "UNKNOWN"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.megabits);
        transport.reset();
        umockdev_fx3_camera_class::settings settings;
        settings.speed = row.megabits;
        plug(settings);
        open();
        EXPECT_EQ(transport->get_usb_port_speed(), row.text);
    }
}

TEST_F(libusb_fx3_class_test, a_reply_that_never_comes_times_out_and_a_forced_recovery_resets_the_port) {
    open();
    ASSERT_EQ(qx_emu_set_faults(camera->emulator_path().c_str(), R"({"reply_timeout": {"commands": [0]}})"),
              QX_EMU_OK);
    bool timed_out = true;
    bool failed = true;
    bool stalled = true;
    transport->write(3, "id", command_timeout_ms, timed_out, stalled);
    ASSERT_FALSE(timed_out || stalled);
    char reply[qx::usb::command_transfer_size];
    transport->read__blocking(sizeof reply, reply, 200, timed_out, failed, stalled);
    EXPECT_TRUE(timed_out);
    EXPECT_FALSE(failed || stalled);
    EXPECT_EQ(reply[0], '\0');

    transport->parent_reset(true);
    const auto counts = camera->get_counts();
    EXPECT_EQ(counts.resets, 1);
    EXPECT_EQ(counts.clear_halts, 0);
    EXPECT_TRUE(counts.interface_claimed);
    EXPECT_EQ(exchange("id"), "QV-LIBUSB-1");
}

TEST_F(libusb_fx3_class_test, a_stalled_command_endpoint_is_reported_and_cleared_without_a_port_reset) {
    struct {
        const char* endpoint;
        bool is_in;
    } const rows[] = {{"out", false}, {"in", true}};
    open();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.endpoint);
        const auto before = camera->get_counts();
        const std::string faults =
            std::string(R"({"stall_command": {"commands": [0], "endpoint": ")") + row.endpoint + "\"}}";
        ASSERT_EQ(qx_emu_set_faults(camera->emulator_path().c_str(), faults.c_str()), QX_EMU_OK);
        bool timed_out = true;
        bool failed = false;
        bool stalled = false;
        transport->write(3, "id", command_timeout_ms, timed_out, stalled);
        EXPECT_FALSE(timed_out);
        if (row.is_in) {
            EXPECT_FALSE(stalled);
            char reply[qx::usb::command_transfer_size];
            transport->read__blocking(sizeof reply, reply, command_timeout_ms, timed_out, failed, stalled);
            EXPECT_TRUE(failed);
        }
        EXPECT_TRUE(stalled);
        EXPECT_TRUE(transport->get_is_endpoint_stalled(qx::usb::command_channel, row.is_in));

        transport->parent_reset(true);
        const auto after = camera->get_counts();
        EXPECT_EQ(after.clear_halts, before.clear_halts + 1);
        EXPECT_EQ(after.resets, before.resets);
        EXPECT_FALSE(transport->get_is_endpoint_stalled(qx::usb::command_channel, row.is_in));
        ASSERT_EQ(qx_emu_set_faults(camera->emulator_path().c_str(), "{}"), QX_EMU_OK);
        EXPECT_EQ(exchange("id"), "QV-LIBUSB-1");
    }
}

TEST_F(libusb_fx3_class_test,
       the_image_ring_keeps_256_transfers_submitted_and_delivers_whole_frames_in_order) {
    open();
    transport->prime_image_channel();
    ASSERT_TRUE(camera->wait_for_image_urbs_in_flight(qx::usb::image_transfers_in_flight, 5000));
    // Nothing is streamed yet: the wait times out and the transfer stays
    // submitted for the next call.
    const packet_read early = read_packet(50);
    EXPECT_TRUE(early.timed_out);
    EXPECT_FALSE(early.failed || early.stalled);
    EXPECT_EQ(camera->get_counts().image_urbs_in_flight, qx::usb::image_transfers_in_flight);

    start_streaming();
    // Enough frames for every transfer of the ring to be used twice; none is
    // lost or out of order.
    const int frames = 2 * qx::usb::image_transfers_in_flight / packets_per_frame + 1;
    std::uint32_t previous_count = 0;
    for (int frame = 0; frame < frames; ++frame) {
        const frame_read read = read_whole_frame(packets_per_frame);
        ASSERT_TRUE(read.complete) << "frame " << frame;
        EXPECT_EQ(read.failed_reads, 0);
        if (frame > 0) {
            EXPECT_EQ(read.frame_count, previous_count + 1);
        }
        previous_count = read.frame_count;
    }
    ASSERT_EQ(exchange("stop"), "Success");
    // Once the packets that arrived before the stop are consumed, every
    // transfer is back with libusb.
    for (int reads = 0; reads <= qx::usb::image_transfers_in_flight && !read_packet(50).timed_out; ++reads) {
    }
    EXPECT_TRUE(camera->wait_for_image_urbs_in_flight(qx::usb::image_transfers_in_flight, 5000));
    EXPECT_EQ(camera->get_counts().most_image_urbs_in_flight, qx::usb::image_transfers_in_flight);
}

TEST_F(libusb_fx3_class_test, an_image_stall_is_reported_cleared_by_recovery_and_the_stream_resumes) {
    open();
    ASSERT_EQ(qx_emu_set_faults(camera->emulator_path().c_str(),
                                R"({"stall_image": {"frames": [1], "packet": 3}})"),
              QX_EMU_OK);
    transport->prime_image_channel();
    start_streaming();
    bool stall_seen = false;
    for (int reads = 0; reads < 4 * packets_per_frame && !stall_seen; ++reads) {
        const packet_read read = read_packet();
        stall_seen = read.stalled;
        EXPECT_TRUE(read.failed || !read.stalled);
    }
    ASSERT_TRUE(stall_seen);
    EXPECT_TRUE(transport->get_is_endpoint_stalled(qx::usb::image_channel, true));

    transport->parent_reset(true);
    const auto counts = camera->get_counts();
    EXPECT_EQ(counts.clear_halts, 1);
    EXPECT_EQ(counts.resets, 0);
    EXPECT_FALSE(transport->get_is_endpoint_stalled(qx::usb::image_channel, true));
    // The cancelled transfers come back once each as failed reads, then
    // whole frames follow again.
    const frame_read after = read_whole_frame(qx::usb::image_transfers_in_flight + 3 * packets_per_frame);
    EXPECT_TRUE(after.complete);
    EXPECT_GE(after.failed_reads, 1);
    EXPECT_LE(after.failed_reads, qx::usb::image_transfers_in_flight);
}

TEST_F(libusb_fx3_class_test, a_port_reset_cancels_the_ring_whose_transfers_come_back_failed_once_each) {
    open();
    transport->prime_image_channel();
    ASSERT_TRUE(camera->wait_for_image_urbs_in_flight(qx::usb::image_transfers_in_flight, 5000));
    transport->reset_parent_port();
    const auto counts = camera->get_counts();
    EXPECT_EQ(counts.resets, 1);
    EXPECT_EQ(counts.discarded_urbs, qx::usb::image_transfers_in_flight);
    EXPECT_TRUE(counts.interface_claimed);

    start_streaming();
    int failed_reads = 0;
    for (int reads = 0; reads < qx::usb::image_transfers_in_flight; ++reads) {
        const packet_read read = read_packet();
        EXPECT_FALSE(read.timed_out || read.stalled);
        failed_reads += read.failed ? 1 : 0;
    }
    EXPECT_EQ(failed_reads, qx::usb::image_transfers_in_flight);
    const frame_read after = read_whole_frame(2 * packets_per_frame);
    EXPECT_TRUE(after.complete);
    EXPECT_EQ(after.failed_reads, 0);
}

TEST_F(libusb_fx3_class_test, a_woken_image_reader_returns_at_once_as_a_time_out_and_keeps_its_transfers) {
    open();
    transport->prime_image_channel();
    // A wake before the read ends the read; one during it, from another
    // thread, ends it too. Neither waits for the (very long) time-out.
    transport->wake_image_reader();
    const packet_read early = read_packet(600000);
    EXPECT_TRUE(early.timed_out);
    EXPECT_FALSE(early.failed);
    packet_read waiting;
    std::thread reader([&] { waiting = read_packet(600000); });
    transport->wake_image_reader();
    reader.join();
    EXPECT_TRUE(waiting.timed_out);
    // Nothing was consumed: the stream still yields whole frames.
    start_streaming();
    EXPECT_TRUE(read_whole_frame(3 * packets_per_frame).complete);
}

TEST_F(libusb_fx3_class_test, usbfs_memory_exhaustion_is_reported_with_the_module_text) {
    umockdev_fx3_camera_class::settings settings;
    settings.image_urb_limit = 64;
    plug(settings);
    open();
    try {
        transport->prime_image_channel();
        FAIL() << "all transfers were submitted";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), qx::api::status_text(17));
    }
    EXPECT_EQ(camera->get_counts().image_urbs_in_flight, 64);
}

TEST_F(libusb_fx3_class_test, closing_cancels_every_transfer_in_flight) {
    open();
    transport->prime_image_channel();
    ASSERT_TRUE(camera->wait_for_image_urbs_in_flight(qx::usb::image_transfers_in_flight, 5000));
    transport.reset();
    const auto counts = camera->get_counts();
    EXPECT_EQ(counts.discarded_urbs, qx::usb::image_transfers_in_flight);
    EXPECT_EQ(counts.image_urbs_in_flight, 0);
    EXPECT_FALSE(counts.interface_claimed);
}

TEST_F(libusb_fx3_class_test, image_reads_that_cannot_be_served_are_refused_without_consuming_a_transfer) {
    open();
    transport->prime_image_channel();
    std::vector<unsigned char> packet(qx::usb::image_transfer_size);
    struct {
        void* destination;
        std::uint32_t timeout_ms;
        const char* text;
    } const rows[] = {
        {packet.data(), 0xFFFFFFFF, "Finite timeout required."},
        {nullptr, 50, "Pointer is unexpectedly nullptr: libusb_fx3_class::read_image_data: destination"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        bool timed_out = true;
        bool failed = true;
        bool stalled = true;
        try {
            transport->read_image_data(row.destination, row.timeout_ms, timed_out, failed, stalled);
            ADD_FAILURE() << "the read was served";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), row.text);
        }
        EXPECT_FALSE(timed_out || failed || stalled);
    }
    // Still all submitted: the refused reads took none off the ring.
    EXPECT_TRUE(camera->wait_for_image_urbs_in_flight(qx::usb::image_transfers_in_flight, 5000));
    EXPECT_EQ(camera->get_counts().submitted_image_urbs, qx::usb::image_transfers_in_flight);
}

TEST_F(libusb_fx3_class_test, an_unplug_with_transfers_in_flight_fails_the_reads_and_never_hangs) {
    struct {
        const char* name;
        const char* faults;  // null: the test pulls the camera while a read waits
    } const rows[] =
        // Frame 20 lies beyond the 256 transfers the ring holds, so the
        // camera is lost only while the reader below consumes packets.
        {{"pulled while a read waits", nullptr},
         {"lost by the camera mid-frame", R"({"unplug": {"frames": [20], "packet": 5}})"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        transport.reset();
        plug({});
        open();
        transport->prime_image_channel();
        ASSERT_TRUE(camera->wait_for_image_urbs_in_flight(qx::usb::image_transfers_in_flight, 5000));
        if (row.faults != nullptr) {
            ASSERT_EQ(qx_emu_set_faults(camera->emulator_path().c_str(), row.faults), QX_EMU_OK);
            start_streaming();
        }
        // Reads in another thread, each with a long time-out, until one
        // fails; the unplug must end the wait long before that time-out.
        auto reader = std::async(std::launch::async, [this] {
            for (int reads = 0; reads < 64 * packets_per_frame; ++reads) {
                packet_read read;
                try {
                    transport->read_image_data(read.bytes.data(), 20000, read.timed_out, read.failed,
                                               read.stalled);
                } catch (const std::runtime_error& error) {
                    return std::string(error.what());
                }
                if (read.failed || read.timed_out)
                    return std::string("failed without an error");
            }
            return std::string("no read failed");
        });
        if (row.faults == nullptr)
            camera->unplug();
        ASSERT_EQ(reader.wait_for(std::chrono::seconds(10)), std::future_status::ready);
        EXPECT_EQ(reader.get(),
                  "libusb_fx3_class::read_image_data libusb_submit_transfer error: LIBUSB_ERROR_NO_DEVICE.");

        bool timed_out = false;
        bool stalled = false;
        try {
            transport->write(3, "id", command_timeout_ms, timed_out, stalled);
            ADD_FAILURE() << "a write to an unplugged camera succeeded";
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(std::string(error.what()),
                      "libusb_fx3_class::write libusb_submit_transfer error: LIBUSB_ERROR_NO_DEVICE.");
        }
        EXPECT_THROW(transport->get_is_endpoint_stalled(qx::usb::image_channel, true), std::runtime_error);
        transport.reset();
    }
}

}  // namespace

int main(int argc, char** argv) {
    // Short sleeps (libusb's and the simulated device's) keep their length
    // instead of growing by the default 50 us of timer slack.
    prctl(PR_SET_TIMERSLACK, 1);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
