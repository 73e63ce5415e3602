// Opening and closing the kit, discovery, and opening and closing cameras.

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "support/kit_fixture.h"

namespace {

using qx::test::kit_fixture;
using qx::test::last_error;
using qx::test::scripted_module;

using kit_lifecycle = kit_fixture;

TEST_F(kit_lifecycle, open_and_close_a_thousand_times) {
    for (int round = 0; round < 1000; ++round) {
        ASSERT_EQ(qx_camera_open_sdk(), 0) << last_error();
        ASSERT_EQ(qx_camera_close_sdk(), 0) << last_error();
    }
    std::lock_guard<std::mutex> guard(scripted_module().mutex);
    EXPECT_EQ(scripted_module().initialize_calls, 1000);
    EXPECT_EQ(scripted_module().uninitialize_calls, 1000);
}

TEST_F(kit_lifecycle, second_open_rebuilds_the_kit_and_shuts_the_old_one_down) {
    open_sdk();
    open_sdk();
    {
        std::lock_guard<std::mutex> guard(scripted_module().mutex);
        EXPECT_EQ(scripted_module().initialize_calls, 2);
        EXPECT_EQ(scripted_module().uninitialize_calls, 1);
        // The module was handed the new kit's hot-plug record.
        ASSERT_NE(scripted_module().host, nullptr);
        EXPECT_NE(scripted_module().host->hotplug_event_subscribe, nullptr);
    }
    EXPECT_EQ(qx_camera_close_sdk(), 0);
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
    bool created_with_id = false;
    for (const auto& call : scripted_module().take_calls()) {
        if (call.function == "create" && call.command == "id-2")
            created_with_id = true;
    }
    EXPECT_TRUE(created_with_id);
}

TEST_F(kit_lifecycle, discovery_without_cameras_gives_the_empty_text) {
    open_sdk();
    char buffer[8];
    std::memset(buffer, 'x', sizeof buffer);
    ASSERT_EQ(qx_camera_discover_available_cameras(buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "");
}

TEST_F(kit_lifecycle, discovery_buffer_boundary) {
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
}

TEST_F(kit_lifecycle, opening_requires_discovery_in_this_process) {
    scripted_module().add_camera("id-1", "SN-NEVER-SEEN");
    open_sdk();
    void* handle = nullptr;
    char serial[] = "SN-NEVER-SEEN";
    EXPECT_EQ(qx_camera_open_camera(serial, &handle), 1004);
    EXPECT_EQ(last_error(),
              "Condition is unexpectedly true: Serial number not found Error: Invalid operation.");
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(qx_camera_open_camera(nullptr, &handle), 1004);
    EXPECT_EQ(last_error(), "camera_serial_number Error: Invalid operation.");
}

TEST_F(kit_lifecycle, a_camera_opens_only_once) {
    open_sdk_with_cameras({{"id-1", "SN1"}});
    ASSERT_NE(open_camera("SN1"), nullptr);
    void* second = nullptr;
    char serial[] = "SN1";
    EXPECT_EQ(qx_camera_open_camera(serial, &second), 1004);
    EXPECT_EQ(last_error(),
              "Condition is unexpectedly true: Camera is already open. Error: Invalid operation.");
    EXPECT_EQ(second, nullptr);
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

TEST_F(kit_lifecycle, closing_the_sdk_requires_every_camera_closed) {
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
}

TEST_F(kit_lifecycle, closing_a_camera_stops_it_unblocks_waits_and_destroys_the_device) {
    open_sdk_with_cameras({{"id-1", "SN1"}});
    void* camera = open_camera("SN1");
    ASSERT_NE(camera, nullptr);
    scripted_module().take_calls();
    close_camera(camera);
    const auto calls = scripted_module().take_calls();
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].function, "set_data");
    EXPECT_EQ(calls[0].command, "stop");
    EXPECT_EQ(calls[0].command_size, 5u);
    EXPECT_EQ(calls[1].function, "set_data");
    EXPECT_EQ(calls[1].command, "unblock_image_wait_for_frame");
    EXPECT_EQ(calls[1].command_size, 29u);
    EXPECT_EQ(calls[2].function, "destroy");
    std::lock_guard<std::mutex> guard(scripted_module().mutex);
    EXPECT_EQ(scripted_module().live_devices, 0);
}

TEST_F(kit_lifecycle, closing_an_unknown_or_null_handle_reports_an_invalid_handle) {
    open_sdk();
    EXPECT_EQ(qx_camera_close_camera(nullptr), 1004);
    EXPECT_EQ(last_error(),
              "Trimmed string is not empty: Camera handle is invalid. Error: Invalid operation.");
    alignas(64) static unsigned char impostor[4096] = {};
    EXPECT_EQ(qx_camera_close_camera(impostor), 1004);
    EXPECT_EQ(last_error(),
              "Trimmed string is not empty: Camera handle is invalid. Error: Invalid operation.");
}

TEST_F(kit_lifecycle, a_failed_stop_on_close_still_closes) {
    open_sdk_with_cameras({{"id-1", "SN1"}});
    void* camera = open_camera("SN1");
    ASSERT_NE(camera, nullptr);
    scripted_module().set_reply("stop", "Camera Running");
    close_camera(camera);
    std::lock_guard<std::mutex> guard(scripted_module().mutex);
    EXPECT_EQ(scripted_module().live_devices, 0);
}

TEST_F(kit_lifecycle, reopened_kit_refinds_cameras_and_serials_survive_in_the_map) {
    open_sdk_with_cameras({{"id-1", "SN1"}});
    ASSERT_EQ(qx_camera_close_sdk(), 0);
    open_sdk();
    // The discovery map belongs to the process, not to the kit object.
    void* camera = open_camera("SN1");
    EXPECT_NE(camera, nullptr);
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
