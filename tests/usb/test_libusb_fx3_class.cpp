// The libusb transport through unmodified libusb, against a camera on a
// simulated USB bus (umockdev_fx3_camera_class): the transport contract,
// then what is libusb's own: enumeration, claiming the interface, the port
// speed and the ring of image transfers.

#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "base/status_codes.h"
#include "support/transport_contract_suite.h"
#include "usb/device_enumerator_class.h"
#include "usb/libusb_fx3_class.h"
#include "usb/umockdev_fx3_camera_class.h"

namespace qx::test {

// The simulated bus as a link of the transport contract.
struct umockdev_link {
    static constexpr int clears_per_recovery = 1;
    static constexpr bool holds_a_ring = true;
    static constexpr const char* lost_read_errors[] = {
        "libusb_fx3_class::read_image_data libusb_submit_transfer error: LIBUSB_ERROR_NO_DEVICE."};
    static constexpr const char* lost_write_error =
        "libusb_fx3_class::write libusb_submit_transfer error: LIBUSB_ERROR_NO_DEVICE.";

    static umockdev_fx3_camera_class::settings with_contract_camera(
        umockdev_fx3_camera_class::settings chosen) {
        chosen.camera_json = std::string("{") + contract_camera_keys + "}";
        return chosen;
    }
    explicit umockdev_link(const umockdev_fx3_camera_class::settings& chosen = {})
        : camera(with_contract_camera(chosen)) {}

    bool usable() const { return umockdev_fx3_camera_class::in_mock_environment(); }
    std::unique_ptr<qx::usb::usb_driver_base> open() {
        return qx::usb::open_usb_driver(umockdev_fx3_camera_class::usb_path);
    }
    const std::string& emulator_path() const { return camera.emulator_path(); }
    void pull() { camera.unplug(); }
    int pipe_clears() const { return camera.get_counts().clear_halts; }
    int port_resets() const { return camera.get_counts().resets; }

    umockdev_fx3_camera_class camera;
};

INSTANTIATE_TYPED_TEST_SUITE_P(libusb, transport_contract, testing::Types<umockdev_link>);

namespace {

class libusb_fx3_class_test : public transport_contract<umockdev_link> {
  protected:
    umockdev_fx3_camera_class& camera() { return link->camera; }
    // Replaces the simulated camera and opens it again.
    void plug(const umockdev_fx3_camera_class::settings& settings) {
        transport.reset();
        link.reset();
        link = std::make_unique<umockdev_link>(settings);
        transport = link->open();
    }
    bool ring_full() {
        return camera().wait_for_image_urbs_in_flight(qx::usb::image_transfers_in_flight, 5000);
    }
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
    EXPECT_EQ(std::string(path), camera().emulator_path());
}

TEST_F(libusb_fx3_class_test,
       opening_detaches_the_kernel_driver_claims_the_interface_and_closing_releases_it) {
    EXPECT_NE(dynamic_cast<qx::usb::libusb_fx3_class*>(transport.get()), nullptr);
    EXPECT_EQ(camera().get_counts().kernel_driver_detaches, 1);
    EXPECT_TRUE(camera().get_counts().interface_claimed);
    transport.reset();
    EXPECT_FALSE(camera().get_counts().interface_claimed);
    // The path is compared in upper case, as enumeration stores it.
    transport = std::make_unique<qx::usb::libusb_fx3_class>("usb:bus_003:port_1.4:vid_2a7c&pid_6101");
    EXPECT_EQ(exchange("sernum"), "LINK000123");
    transport.reset();
    const std::string absent = "USB:BUS_003:PORT_1.5:VID_2A7C&PID_6101";
    EXPECT_EQ(failure_of([&] { transport = qx::usb::open_usb_driver(absent); }),
              "libusb_fx3_class::libusb_fx3_class no USB device at " + absent + ".");
}

TEST_F(libusb_fx3_class_test, the_port_speed_text_follows_the_device_speed) {
    struct {
        const char* megabits;
        const char* text;
    } const rows[] = {{"1", "USB 1.0"},    {"12", "USB 1.0"},    {"480", "USB 2.0"},
                      {"5000", "USB 3.0"}, {"10000", "USB 3.0"}, {"2", "UNKNOWN"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.megabits);
        umockdev_fx3_camera_class::settings settings;
        settings.speed = row.megabits;
        plug(settings);
        EXPECT_EQ(transport->get_usb_port_speed(), row.text);
    }
}

TEST_F(libusb_fx3_class_test,
       the_image_ring_keeps_256_transfers_submitted_and_delivers_whole_frames_in_order) {
    transport->prime_image_channel();
    ASSERT_TRUE(ring_full());
    // Nothing is streamed yet: the wait times out and the transfer stays
    // submitted for the next call.
    const packet_read early = read_packet(50);
    EXPECT_TRUE(early.timed_out);
    EXPECT_FALSE(early.failed || early.stalled);
    EXPECT_EQ(camera().get_counts().image_urbs_in_flight, qx::usb::image_transfers_in_flight);

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
    EXPECT_TRUE(ring_full());
    EXPECT_EQ(camera().get_counts().most_image_urbs_in_flight, qx::usb::image_transfers_in_flight);
}

TEST_F(libusb_fx3_class_test, closing_or_a_port_reset_cancels_the_ring_and_reset_transfers_come_back_failed) {
    for (const bool closing : {true, false}) {
        SCOPED_TRACE(closing ? "closing" : "port reset");
        plug({});
        transport->prime_image_channel();
        ASSERT_TRUE(ring_full());
        if (closing)
            transport.reset();
        else
            transport->reset_parent_port();
        const auto counts = camera().get_counts();
        EXPECT_EQ(counts.resets, closing ? 0 : 1);
        EXPECT_EQ(counts.discarded_urbs, qx::usb::image_transfers_in_flight);
        EXPECT_EQ(counts.interface_claimed, !closing);
    }
    EXPECT_EQ(camera().get_counts().image_urbs_in_flight, 0);
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

TEST_F(libusb_fx3_class_test, usbfs_memory_exhaustion_is_reported_with_the_module_text) {
    umockdev_fx3_camera_class::settings settings;
    settings.image_urb_limit = 64;
    plug(settings);
    EXPECT_STREQ(failure_of([&] { transport->prime_image_channel(); }).c_str(), qx::api::status_text(17));
    EXPECT_EQ(camera().get_counts().image_urbs_in_flight, 64);
}

TEST_F(libusb_fx3_class_test, image_reads_that_cannot_be_served_are_refused_without_consuming_a_transfer) {
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
        packet_read read;
        read.timed_out = read.failed = read.stalled = true;
        EXPECT_EQ(failure_of([&] {
                      transport->read_image_data(row.destination, row.timeout_ms, read.timed_out, read.failed,
                                                 read.stalled);
                  }),
                  row.text);
        EXPECT_FALSE(read.timed_out || read.failed || read.stalled) << row.text;
    }
    // Still all submitted: the refused reads took none off the ring.
    EXPECT_TRUE(ring_full());
    EXPECT_EQ(camera().get_counts().submitted_image_urbs, qx::usb::image_transfers_in_flight);
}

}  // namespace
}  // namespace qx::test

int main(int argc, char** argv) {
    // Short timed waits (libusb's and the emulator's packet pacing) keep their length
    // instead of growing by the default 50 us of timer slack.
    prctl(PR_SET_TIMERSLACK, 1);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
