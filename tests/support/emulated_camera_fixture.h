#pragma once
// Emulated cameras for the tests: the emulator's set, its paths and
// counters, and one camera opened on its device interface.

#include <gtest/gtest.h>

#include <string>

#include "quendral_vko_camera_emulator.h"

namespace qx::test {

// Replaces the emulator's cameras; fails the test on a bad configuration.
inline void configure_emulator(const std::string& config) {
    ASSERT_EQ(qx_emu_reset(config.c_str()), QX_EMU_OK) << qx_emu_get_last_error();
}

// The path of the index-th emulated camera of a family (null: of any family).
inline std::string emulated_path(int index = 0, const char* family = "qv") {
    char path[256] = {};
    EXPECT_EQ(qx_emu_get_camera_path(family, index, path, sizeof path), QX_EMU_OK) << qx_emu_get_last_error();
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

// Writes `bytes` on the command endpoint and answers the whole reply, NUL
// included ("<status N>" when either transfer fails).
inline std::string command_exchange(qx_emu_device* device, const std::string& bytes) {
    int status = qx_emu_device_write(device, bytes.data(), bytes.size(), 100);
    char reply[QX_EMU_REPLY_SIZE];
    std::size_t transferred = 0;
    if (status == QX_EMU_OK)
        status = qx_emu_device_read(device, reply, sizeof reply, &transferred, 100);
    return status == QX_EMU_OK ? std::string(reply, transferred) : "<status " + std::to_string(status) + ">";
}

// Replaces the emulator's set by one camera (a JSON object) and opens it.
class emulated_camera {
  public:
    explicit emulated_camera(const std::string& camera_json)
        : path((configure_emulator("[" + camera_json + "]"), emulated_path(0, nullptr))),
          device(qx_emu_device_open(path.c_str())) {
        EXPECT_NE(device, nullptr) << qx_emu_get_last_error();
    }
    ~emulated_camera() { qx_emu_device_close(device); }
    emulated_camera(const emulated_camera&) = delete;
    emulated_camera& operator=(const emulated_camera&) = delete;

    // Sends `text` with its NUL and answers the reply up to its NUL.
    std::string command(const std::string& text) const { return exchange(text + '\0'); }
    std::string exchange_raw(const std::string& bytes) const { return command_exchange(device, bytes); }
    std::string exchange(const std::string& bytes) const {
        const auto reply = exchange_raw(bytes);
        return reply.substr(0, reply.find('\0'));
    }
    qx_emu_counters counters() const { return emulator_counters(path); }

    const std::string path;
    qx_emu_device* const device;
};

}  // namespace qx::test
