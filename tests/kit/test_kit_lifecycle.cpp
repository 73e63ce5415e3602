// Opening and closing the kit, discovery, and opening and closing cameras.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "support/kit_fixture.h"

namespace {

using qx::test::kit_fixture;
using qx::test::last_error;
using qx::test::scripted_module;

using kit_lifecycle = kit_fixture;

// Every open initialises the module once and every close, or the next
// open's rebuild, shuts it down once.
TEST_F(kit_lifecycle, open_and_close_a_thousand_times_and_a_second_open_rebuilds_the_kit) {
    for (int round = 0; round < 1000; ++round) {
        ASSERT_EQ(qx_camera_open_sdk(), 0) << last_error();
        ASSERT_EQ(qx_camera_close_sdk(), 0) << last_error();
    }
    open_sdk();
    open_sdk();
    std::lock_guard<std::mutex> guard(scripted_module().mutex);
    EXPECT_EQ(scripted_module().initialize_calls, 1002);
    EXPECT_EQ(scripted_module().uninitialize_calls, 1001);
    // The module was handed the new kit's hot-plug record.
    ASSERT_NE(scripted_module().host, nullptr);
    EXPECT_NE(scripted_module().host->hotplug_event_subscribe, nullptr);
}

TEST_F(kit_lifecycle, a_refused_module_fails_the_open_and_keeps_the_old_kit) {
    scripted_module().add_camera("id-1", "SN1");
    open_sdk();
    scripted_module().module_type = "DEVICES";
    EXPECT_EQ(qx_camera_open_sdk(), 1004);
    EXPECT_EQ(
        last_error(),
        "Condition is unexpectedly false: Device_module_manager::Process_device_module get_module_type did "
        "not return 'DEVICE' and is therefore not considered to be a device module. Error: Invalid "
        "operation.");
    // The earlier kit still serves discovery.
    EXPECT_EQ(discover(), "SN1");
}

TEST_F(kit_lifecycle, discovery_lists_serials_separated_by_single_blanks_and_fills_the_map) {
    open_sdk_with_cameras({{"id-1", "SN1"}, {"id-2", "SN22"}, {"id-3", "SN333"}});
    EXPECT_EQ(discover(), "SN1 SN22 SN333");
    // Every discovered serial can be opened; its device id reaches create.
    void* camera = open_camera("SN22");
    ASSERT_NE(camera, nullptr);
    const auto calls = scripted_module().take_calls();
    EXPECT_TRUE(std::any_of(calls.begin(), calls.end(), [](const auto& call) {
        return call.function == "create" && call.command == "id-2";
    }));
}

TEST_F(kit_lifecycle, discovery_buffer_boundary_and_the_empty_text) {
    open_sdk_with_cameras({{"id-1", "SN1"}, {"id-2", "SN2"}});
    const std::string expected = "SN1 SN2";
    const int length = static_cast<int>(expected.size());

    // Exactly the text's length: accepted, and no terminator is written.
    std::vector<char> exact(expected.size() + 1, '#');
    ASSERT_EQ(qx_camera_discover_available_cameras(exact.data(), length), 0) << last_error();
    EXPECT_EQ(std::string(exact.data(), expected.size()), expected);
    EXPECT_EQ(exact[expected.size()], '#');

    // One shorter: refused with code 8 and the bare text, a cut copy in place.
    std::vector<char> short_buffer(expected.size(), '#');
    EXPECT_EQ(qx_camera_discover_available_cameras(short_buffer.data(), length - 1), 8);
    EXPECT_EQ(last_error(), "Insufficient string size.");
    EXPECT_EQ(std::string(short_buffer.data(), expected.size() - 1), expected.substr(0, expected.size() - 1));

    // Without cameras: the empty text.
    scripted_module().reset();
    open_sdk();
    ASSERT_EQ(qx_camera_discover_available_cameras(exact.data(), length), 0);
    EXPECT_STREQ(exact.data(), "");
}

TEST_F(kit_lifecycle, opening_refuses_undiscovered_missing_and_already_open_serials) {
    open_sdk_with_cameras({{"id-1", "SN1"}});
    scripted_module().add_camera("id-2", "SN-NEVER-SEEN");
    ASSERT_NE(open_camera("SN1"), nullptr);
    const struct {
        const char* serial;
        std::string message;
    } refusals[] = {
        {"SN-NEVER-SEEN", "Condition is unexpectedly true: Serial number not found"},
        {nullptr, "camera_serial_number"},
        {"SN1", "Condition is unexpectedly true: Camera is already open."},
    };
    for (const auto& refusal : refusals) {
        std::string serial = refusal.serial != nullptr ? refusal.serial : "";
        void* handle = nullptr;
        EXPECT_EQ(qx_camera_open_camera(refusal.serial != nullptr ? serial.data() : nullptr, &handle), 1004);
        EXPECT_EQ(last_error(), refusal.message + " Error: Invalid operation.");
        EXPECT_EQ(handle, nullptr);
    }
}

TEST_F(kit_lifecycle, a_failed_opening_step_leaves_no_handle_and_no_device) {
    open_sdk_with_cameras({{"id-1", "SN1"}});
    scripted_module().set_reply("discover", "", 1);
    void* handle = nullptr;
    char serial[] = "SN1";
    EXPECT_EQ(qx_camera_open_camera(serial, &handle), 1004);
    EXPECT_NE(last_error().find("command='discover'"), std::string::npos) << last_error();
    EXPECT_NE(last_error().find("Error getting data."), std::string::npos);
    EXPECT_EQ(handle, nullptr);
    {
        std::lock_guard<std::mutex> guard(scripted_module().mutex);
        EXPECT_EQ(scripted_module().live_devices, 0);
    }
    // Nothing is left open: the kit closes, and the camera opens again.
    scripted_module().set_reply("discover", "exp");
    EXPECT_NE(open_camera("SN1"), nullptr);
}

TEST_F(kit_lifecycle, closing_the_sdk_requires_every_camera_closed_and_a_reopened_kit_keeps_the_serials) {
    open_sdk_with_cameras({{"id-1", "SN1"}});
    void* camera = open_camera("SN1");
    ASSERT_NE(camera, nullptr);
    EXPECT_EQ(qx_camera_close_sdk(), 1004);
    EXPECT_EQ(
        last_error(),
        "Condition is unexpectedly false: Cameras must be closed before closing the SDK. Error: Invalid "
        "operation.");
    // The kit is still open and serving.
    EXPECT_EQ(discover(), "SN1");
    close_camera(camera);
    EXPECT_EQ(qx_camera_close_sdk(), 0) << last_error();
    // The discovery map belongs to the process, not to the kit object: a
    // reopened kit opens the camera without a new discovery.
    open_sdk();
    EXPECT_NE(open_camera("SN1"), nullptr);
}

// Closing stops the camera, unblocks frame waits and destroys the device,
// also when the stop fails (reported on the console) or the kit was
// reopened meanwhile (its modules shut down; nothing to report).
TEST_F(kit_lifecycle, closing_a_camera_stops_it_unblocks_waits_and_destroys_the_device) {
    for (const char* situation : {"plain", "failed stop", "reopened kit"}) {
        SCOPED_TRACE(situation);
        kit_fixture::SetUp();
        open_sdk_with_cameras({{"id-1", "SN1"}});
        void* camera = open_camera("SN1");
        ASSERT_NE(camera, nullptr);
        if (std::string(situation) == "failed stop")
            scripted_module().set_reply("stop", "Camera Running");
        if (std::string(situation) == "reopened kit")
            open_sdk();
        scripted_module().take_calls();
        testing::internal::CaptureStdout();
        close_camera(camera);
        const std::string printed = testing::internal::GetCapturedStdout();
        EXPECT_EQ(printed.find("Camera Running") != std::string::npos,
                  std::string(situation) == "failed stop")
            << printed;
        std::vector<std::string> sent;
        for (const auto& call : scripted_module().take_calls())
            sent.push_back(call.function + " " + call.command + "/" + std::to_string(call.command_size));
        EXPECT_EQ(sent, (std::vector<std::string>{"set_data stop/5",
                                                  "set_data unblock_image_wait_for_frame/29", "destroy /0"}));
        std::lock_guard<std::mutex> guard(scripted_module().mutex);
        EXPECT_EQ(scripted_module().live_devices, 0);
    }
}

TEST_F(kit_lifecycle, closing_an_unknown_or_null_handle_reports_an_invalid_handle) {
    open_sdk();
    alignas(64) static unsigned char impostor[4096] = {};
    for (void* handle : {static_cast<void*>(nullptr), static_cast<void*>(impostor)}) {
        EXPECT_EQ(qx_camera_close_camera(handle), 1004);
        EXPECT_EQ(last_error(),
                  "Trimmed string is not empty: Camera handle is invalid. Error: Invalid operation.");
    }
}

TEST_F(kit_lifecycle, concurrent_discovery_and_opening_from_many_threads) {
    open_sdk_with_cameras({{"id-1", "SN1"}, {"id-2", "SN2"}, {"id-3", "SN3"}, {"id-4", "SN4"}});
    std::atomic<int> failures{0};
    std::vector<std::thread> workers;
    for (int worker = 0; worker < 4; ++worker) {
        workers.emplace_back([&, worker] {
            std::string serial = "SN" + std::to_string(worker + 1);
            for (int round = 0; round < 50; ++round) {
                char text[256];
                if (qx_camera_discover_available_cameras(text, sizeof text) != 0)
                    ++failures;
                void* handle = nullptr;
                if (qx_camera_open_camera(serial.data(), &handle) != 0)
                    ++failures;
                if (qx_camera_close_camera(handle) != 0)
                    ++failures;
            }
        });
    }
    for (auto& worker : workers) worker.join();
    EXPECT_EQ(failures.load(), 0);
    std::lock_guard<std::mutex> guard(scripted_module().mutex);
    EXPECT_EQ(scripted_module().live_devices, 0);
}

}  // namespace
