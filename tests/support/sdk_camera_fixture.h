#pragma once
// Fixture for tests that run the whole SDK, through its exported functions,
// on emulated cameras of the built-in family.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "quendral_vko_camera_sdk.h"
#include "support/emulated_camera_fixture.h"

namespace qx::test {

class sdk_camera_fixture : public ::testing::Test {
  protected:
    // Configures the emulator with one camera (a JSON object), opens the kit
    // and the camera.
    void open_camera_with(const std::string& camera_json) {
        configure_emulator(R"({"cameras":[)" + camera_json + "]}");
        device_path = emulated_path();
        ASSERT_EQ(qx_camera_open_sdk(), 0) << qx_camera_get_last_error();
        sdk_open = true;
        char serials[1024] = {};
        ASSERT_EQ(qx_camera_discover_available_cameras(serials, sizeof serials - 1), 0)
            << qx_camera_get_last_error();
        std::string serial = serials;
        serial = serial.substr(0, serial.find(' '));
        ASSERT_FALSE(serial.empty()) << "no camera discovered";
        ASSERT_EQ(qx_camera_open_camera(serial.data(), &camera), 0) << qx_camera_get_last_error();
    }

    void TearDown() override {
        if (camera != nullptr) {
            EXPECT_EQ(qx_camera_close_camera(camera), 0) << qx_camera_get_last_error();
        }
        if (sdk_open) {
            EXPECT_EQ(qx_camera_close_sdk(), 0) << qx_camera_get_last_error();
        }
        qx_emu_reset("0");
    }

    // Sends a camera command and expects it to succeed.
    void command(const std::string& text) {
        char reply[1024] = {};
        std::string copy = text;
        ASSERT_EQ(
            _internal_command(camera, copy.data(), static_cast<int>(copy.size() + 1), reply, sizeof reply), 0)
            << text << ": " << qx_camera_get_last_error();
    }

    qx_emu_counters counters() { return emulator_counters(device_path); }

    std::string device_path;
    void* camera = nullptr;
    bool sdk_open = false;
};

// Where a frame lies on the sensor, and its binning and bit depth.
struct frame_geometry {
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;
    int hbin = 1;
    int vbin = 1;
    int bits = 12;
};

// Counts the pixels of a frame that differ from the emulator's gradient
// pattern: (x + 3y + 7f) mod 2^bits, with x and y in sensor coordinates.
inline int gradient_mismatches(const unsigned short* pixels, std::uint32_t frame_count,
                               const frame_geometry& g) {
    int mismatches = 0;
    for (int row = 0; row < g.height; ++row) {
        for (int column = 0; column < g.width; ++column) {
            const std::uint64_t x = g.left + column * g.hbin;
            const std::uint64_t y = g.top + row * g.vbin;
            const auto expected =
                static_cast<std::uint16_t>((x + 3 * y + 7ull * frame_count) & ((1u << g.bits) - 1));
            if (pixels[row * g.width + column] != expected)
                ++mismatches;
        }
    }
    return mismatches;
}

}  // namespace qx::test
