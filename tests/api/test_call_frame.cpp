// The exported call frame: what every camera function reports for bad
// handles and arguments, and discovery's frame of its own.

#include <gtest/gtest.h>

#include <string>

#include "support/kit_fixture.h"

extern "C" int c_api_null_handle_status(char* text, int text_size);
extern "C" const char* c_api_firmware_phrase(int index);

namespace {

using qx::test::kit_fixture;
using qx::test::last_error;
using qx::test::scripted_module;

using call_frame = kit_fixture;

TEST_F(call_frame, a_null_or_unknown_handle_fails_before_any_other_argument) {
    const std::string null_handle =
        "Pointer is unexpectedly nullptr: Camera handle is null. Error: Invalid operation.";
    EXPECT_EQ(_internal_command(nullptr, nullptr, 0, nullptr, 0), 1004);
    EXPECT_EQ(last_error(), null_handle);
    EXPECT_EQ(_set_image_size_overrides(nullptr, 0, 0), 1004);
    EXPECT_EQ(last_error(), null_handle);
    open_sdk();
    // Zero-filled storage is a valid, unlocked mutex at its start, like a
    // real handle; the registry still refuses it.
    alignas(64) static unsigned char impostor[4096] = {};
    EXPECT_EQ(_set_image_size_overrides(impostor, 0, 0), 1004);
    EXPECT_EQ(last_error(), "Camera handle is invalid. Error: Invalid operation.");
}

TEST_F(call_frame, a_success_keeps_the_previous_failure_text) {
    open_sdk_with_cameras({{"id-1", "SN1"}});
    void* camera = open_camera("SN1");
    EXPECT_EQ(_set_image_size_overrides(nullptr, 1, 1), 1004);
    const std::string failure = last_error();
    EXPECT_EQ(_set_image_size_overrides(camera, 10, 20), 0);
    EXPECT_EQ(last_error(), failure);
}

TEST_F(call_frame, discovery_reports_its_own_argument_and_module_failure_codes) {
    open_sdk();
    char buffer[4];
    EXPECT_EQ(qx_camera_discover_available_cameras(nullptr, 10), 1003);
    EXPECT_EQ(
        last_error(),
        "Serial numbers string must not be null. Error: Invalid parameter. Check documentation for detailed "
        "parameter information.");
    EXPECT_EQ(qx_camera_discover_available_cameras(buffer, 0), 1001);
    EXPECT_EQ(last_error(), "Serial numbers string is too short. Error: Insufficient buffer size.");
    EXPECT_EQ(qx_camera_discover_available_cameras(buffer, -5), 1001);
    // A module that cannot list its cameras: code 8 and the bare text.
    scripted_module().get_device_ids_status = 3;
    EXPECT_EQ(qx_camera_discover_available_cameras(buffer, sizeof buffer), 8);
    EXPECT_EQ(last_error(), "Error getting camera unique IDs.");
}

}  // namespace

namespace {

TEST(c_interface, a_c_caller_gets_the_same_status_and_text) {
    char text[256];
    EXPECT_EQ(c_api_null_handle_status(text, sizeof text), 1004);
    EXPECT_STREQ(text, "Pointer is unexpectedly nullptr: Camera handle is null. Error: Invalid operation.");
    EXPECT_STREQ(c_api_firmware_phrase(0), "Success");
    EXPECT_STREQ(c_api_firmware_phrase(17), "Camera Running");
    EXPECT_EQ(c_api_firmware_phrase(18), nullptr);
}

}  // namespace
