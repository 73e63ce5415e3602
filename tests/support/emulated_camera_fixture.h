#pragma once
// Helpers for tests of the built-in family against the camera emulator.

#include <gtest/gtest.h>

#include <string>

#include "quendral_vko_camera_emulator.h"

namespace qx::test {

// Replaces the emulator's cameras; fails the test on a bad configuration.
inline void configure_emulator(const std::string& config) {
    ASSERT_EQ(qx_emu_reset(config.c_str()), QX_EMU_OK) << qx_emu_get_last_error();
}

// The path of the index-th emulated camera of the built-in family.
inline std::string emulated_path(int index = 0) {
    char path[256] = {};
    EXPECT_EQ(qx_emu_get_camera_path("qv", index, path, sizeof path), QX_EMU_OK) << qx_emu_get_last_error();
    return path;
}

inline qx_emu_counters emulator_counters(const std::string& path) {
    qx_emu_counters counters{};
    EXPECT_EQ(qx_emu_get_counters(path.c_str(), &counters), QX_EMU_OK) << qx_emu_get_last_error();
    return counters;
}

// A small monochrome camera that streams as fast as it is read.
inline std::string small_camera_json(const std::string& id, const std::string& serial,
                                     const std::string& extra = "") {
    return R"({"id":")" + id + R"(","serial":")" + serial +
           R"(","sensor_width":64,"sensor_height":8,"pacing":"fast")" + (extra.empty() ? "" : "," + extra) +
           "}";
}

}  // namespace qx::test
