// The Windows transport and enumeration end to end against a simulated
// Cypress driver with emulated cameras behind it: the transport contract,
// then discovery through the setup interfaces, pixel-exact frames through
// the camera class and unplugging. The driver checks every request it is
// handed and reports any it would refuse.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "acquisition/frame_acquisition_class.h"
#include "device_qv/device_dispatch.h"
#include "device_qv/qv_camera_class.h"
#include "support/emulated_camera_fixture.h"
#include "support/sdk_camera_fixture.h"
#include "support/transport_contract_suite.h"
#include "usb/cypress_fx3_class.h"
#include "usb/device_enumerator_class.h"
#include "usb/simulated_cypress_driver_class.h"

namespace qx::test {

// The simulated driver as a link of the transport contract.
struct cypress_link {
    // Clearing a pipe aborts it, then sends its reset twice.
    static constexpr int clears_per_recovery = 3;
    // The read that finds the camera gone: submitting a packet, or asking
    // the image endpoint after a failed one.
    static constexpr const char* lost_read_errors[] = {
        "cypress_fx3_class::queue_packet DeviceIoControl error.",
        "cypress_fx3_class::get_is_endpoint_stalled DeviceIoControl error."};
    static constexpr const char* lost_write_error =
        "cypress_fx3_class::write DeviceIoControl status was zero and GetLastError was not ERROR_IO_PENDING.";
    static constexpr bool holds_a_ring = true;

    cypress_link() {
        char path[256] = {};
        const std::string json = std::string(R"({"product_id":24856,)") + contract_camera_keys + "}";
        EXPECT_EQ(qx_emu_plug_camera(json.c_str(), path, sizeof path), QX_EMU_OK) << qx_emu_get_last_error();
        camera_path = path;
        driver.add_interface(interface_path, camera_path);
    }
    ~cypress_link() {
        EXPECT_EQ(driver.violations(), std::vector<std::string>{});
        qx_emu_unplug_camera(camera_path.c_str());
    }

    bool usable() const { return true; }
    std::unique_ptr<qx::usb::usb_driver_base> open() {
        return std::make_unique<qx::usb::cypress_fx3_class>(interface_path);
    }
    const std::string& emulator_path() const { return camera_path; }
    void pull() { qx_emu_unplug_camera(camera_path.c_str()); }
    int pipe_clears() const {
        return driver.requests_with(usb::cypress::reset_pipe_code) +
               driver.requests_with(usb::cypress::abort_pipe_code);
    }
    int port_resets() const { return driver.requests_with(usb::cypress::reset_parent_port_code); }

    const std::string interface_path =
        simulated_cypress_driver_class::interface_path_for(0x2A7C, 0x6101, "link");
    std::string camera_path;
    simulated_cypress_driver_class driver;
};

INSTANTIATE_TYPED_TEST_SUITE_P(cypress, transport_contract, testing::Types<cypress_link>);

}  // namespace qx::test

namespace {

using qx::test::simulated_cypress_driver_class;
namespace cypress = qx::usb::cypress;

// Emulated cameras carry a product id outside the family's table, so that
// only the simulated driver, which lists them under 0x6101, finds them.
std::string camera_json(const std::string& serial, const std::string& extra = "") {
    return R"({"serial":")" + serial +
           R"(","product_id":24856,"sensor_width":64,"sensor_height":8,"pacing":"fast","pattern":"gradient")" +
           (extra.empty() ? "" : "," + extra) + "}";
}

qx::usb::usb_identity_filter family_filter() {
    qx::usb::usb_identity_filter filter;
    filter.vendor_id = 0x2A7C;
    const std::uint32_t products[] = {0x6101, 0x6117, 0x6210, 0x611E};
    std::copy(std::begin(products), std::end(products), filter.product_ids.begin());
    return filter;
}

class cypress_fx3_class_test : public testing::Test {
  protected:
    // Plugs in emulated cameras and lists each under the driver's path.
    void plug(const std::vector<std::string>& cameras) {
        std::string list;
        for (const auto& camera : cameras) list += (list.empty() ? "" : ",") + camera;
        qx::test::configure_emulator(R"({"cameras":[)" + list + "]}");
        for (std::size_t index = 0; index < cameras.size(); ++index) {
            driver_paths.push_back(simulated_cypress_driver_class::interface_path_for(
                0x2A7C, 0x6101, "qvsim" + std::to_string(index)));
            driver.add_interface(driver_paths.back(), qx::test::emulated_path(static_cast<int>(index)));
        }
    }

    void TearDown() override {
        camera.reset();
        transport.reset();
        EXPECT_EQ(driver.violations(), std::vector<std::string>{});
        EXPECT_EQ(driver.open_interface_sets(), 0);
        qx_emu_reset("0");
    }

    simulated_cypress_driver_class driver;
    std::vector<std::string> driver_paths;
    std::unique_ptr<qx::usb::cypress_fx3_class> transport;
    std::unique_ptr<qx::device_qv::qv_camera_class> camera;
};

// The driver's interfaces come out whole and in its order, whatever their
// ids: which of them enumeration keeps, and how it stores them, is the same
// filtering on every platform.
TEST_F(cypress_fx3_class_test, the_platform_list_holds_every_driver_interface_in_the_drivers_order) {
    plug({camera_json("QVSIM0")});
    std::vector<std::string> listed = driver_paths;
    for (const std::string& other :
         {simulated_cypress_driver_class::interface_path_for(0x2A7D, 0x6101, "other_vendor"),
          std::string("\\\\?\\usb#no_ids#{ae18aa60-7f6a-11d4-97dd-00010229b959}"),
          simulated_cypress_driver_class::interface_path_for(0x2A7C, 0x611E, "c")}) {
        driver.add_interface(other);
        listed.push_back(other);
    }
    EXPECT_EQ(qx::usb::list_platform_device_paths(), listed);
}

TEST_F(cypress_fx3_class_test, enumeration_failures_of_the_setup_interfaces) {
    plug({camera_json("QVSIM0"), camera_json("QVSIM1")});
    const struct {
        const char* name;
        bool refuse_class_list;
        int fail_selection_at;
        bool fail_detail;
        int expected_count;
    } cases[] = {
        {"a class list that cannot be had lists nothing", true, -1, false, 0},
        {"a failed detail query lists nothing at all", false, -1, true, 0},
        {"a failed selection lists the previous interface again", false, 1, false, 3},
        {"all well", false, -1, false, 2},
    };
    for (const auto& c : cases) {
        driver.refuse_class_list = c.refuse_class_list;
        driver.fail_selection_once_at = c.fail_selection_at;
        driver.fail_detail = c.fail_detail;
        qx::usb::device_enumerator_class enumerator;
        EXPECT_EQ(enumerator.enumerate(family_filter()), c.expected_count) << c.name;
        EXPECT_EQ(driver.open_interface_sets(), 0) << c.name;
    }
}

TEST_F(cypress_fx3_class_test, the_speed_request_reports_the_camera_speed_and_fails_once_the_camera_is_gone) {
    plug({camera_json("QVSIM0", R"("usb_speed":"USB 2.0")")});
    transport = std::make_unique<qx::usb::cypress_fx3_class>(driver_paths[0]);
    EXPECT_EQ(transport->get_usb_port_speed(), "USB 2.0");
    ASSERT_EQ(qx_emu_unplug_camera(qx::test::emulated_path(0).c_str()), QX_EMU_OK);
    EXPECT_THROW(transport->get_usb_port_speed(), std::runtime_error);
}

TEST_F(cypress_fx3_class_test, opening_an_absent_or_unnamed_device_fails_with_its_text) {
    const struct {
        std::string path;
        const char* text;
    } rows[] = {
        {"\\\\?\\usb#vid_2a7c&pid_6101#absent#{x}", "cypress_fx3_class::cypress_fx3_class CreateFile error."},
        {"", "Trimmed string is empty: Device path must be provided."}};
    for (const auto& row : rows) {
        EXPECT_EQ(qx::test::failure_of([&] { qx::usb::cypress_fx3_class absent(row.path); }), row.text)
            << row.path;
    }
}

// The transport carries bytes whatever their encoding (the acquisition
// tests run every encoding); 12-bit packing is the one with split pixels.
TEST_F(cypress_fx3_class_test, every_pixel_of_every_frame_is_exact_and_the_ring_stays_full) {
    plug({camera_json("QVSIM0", R"("bit_depth":12,"packing":"12")")});
    transport = std::make_unique<qx::usb::cypress_fx3_class>(driver_paths[0]);
    camera = std::make_unique<qx::device_qv::qv_camera_class>(transport.get());
    camera->metadata_enabled = true;
    char reply[64] = {};
    ASSERT_EQ(
        qx::device_qv::dispatch_get({*camera, "acquisition_bytes_per_frame",
                                     sizeof "acquisition_bytes_per_frame", nullptr, 0, reply, sizeof reply}),
        0);
    std::vector<unsigned char> buffer(std::stoul(reply) * 4);
    camera->query("nframes 6");
    camera->acquisition.arm(buffer.data(), static_cast<std::int64_t>(buffer.size()));
    camera->query("start");
    // Each frame's pixel mismatches against the gradient, in order of
    // arrival. A frame that never comes ends the wait after 300 empty polls
    // of the poll time-out each.
    std::vector<int> mismatches;
    std::vector<std::uint32_t> frame_counts;
    for (int polls = 0; mismatches.size() < 6 && polls < 300; ++polls) {
        unsigned char* slot = camera->acquisition.poll_frame();
        if (slot == nullptr)
            continue;
        const auto record = qx::acquisition::scan_frame_record(slot);
        frame_counts.push_back(static_cast<std::uint32_t>(record.frame_count));
        mismatches.push_back(
            qx::test::gradient_mismatches(record.image_data, frame_counts.back(), {0, 0, 64, 8, 1, 1, 12}));
    }
    camera->acquisition.stop();
    EXPECT_EQ(mismatches, std::vector<int>(6, 0));
    for (std::size_t index = 1; index < frame_counts.size(); ++index)
        EXPECT_EQ(frame_counts[index], frame_counts[index - 1] + 1);
    EXPECT_EQ(driver.image_reads_held(), qx::usb::image_transfers_in_flight);
}

}  // namespace
