#pragma once
// Fixture for tests that drive the kit through its exported functions while
// a scripted device module stands in for the second camera family.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "quendral_vko_camera_sdk.h"
#include "support/loaded_library.h"
#include "support/scripted_module_state.h"
#include "support/test_platform.h"

namespace qx::test {

// The scripted module's state. The library is loaded from the same file the
// kit loads, so both see one instance; it stays loaded for the whole process.
inline scripted_module_state& scripted_module() {
    static loaded_library library{library_path(QX_TEST_MODULE_DIR, "quendral_vko_ralto_camera_device")};
    static scripted_module_state* state =
        library.find_function<scripted_module_state* (*)()>("qx_scripted_module_state")();
    return *state;
}

// The last error of the calling thread as a std::string.
inline std::string last_error() {
    return qx_camera_get_last_error();
}

class kit_fixture : public ::testing::Test {
  protected:
    void SetUp() override {
        scripted_module().reset();
        // Cameras answer the opening sequence unless a test scripts otherwise.
        scripted_module().set_reply("discover", "exp gain");
        scripted_module().set_reply("gain.disc", "linear");
    }

    void TearDown() override {
        for (void* handle : opened) qx_camera_close_camera(handle);
        qx_camera_close_sdk();
    }

    void open_sdk() { ASSERT_EQ(qx_camera_open_sdk(), 0) << last_error(); }

    std::string discover(int size = 1024) {
        std::vector<char> text(static_cast<std::size_t>(size) + 1, '\0');
        EXPECT_EQ(qx_camera_discover_available_cameras(text.data(), size), 0) << last_error();
        return text.data();
    }

    // Adds cameras, opens the kit and discovers them.
    void open_sdk_with_cameras(const std::vector<scripted_camera>& cameras) {
        for (const auto& camera : cameras) scripted_module().add_camera(camera.id, camera.serial);
        open_sdk();
        discover();
    }

    void* open_camera(const std::string& serial) {
        void* handle = nullptr;
        std::string text = serial;
        EXPECT_EQ(qx_camera_open_camera(text.data(), &handle), 0) << last_error();
        if (handle != nullptr)
            opened.push_back(handle);
        return handle;
    }

    void close_camera(void* handle) {
        EXPECT_EQ(qx_camera_close_camera(handle), 0) << last_error();
        std::erase(opened, handle);
    }

    std::vector<void*> opened;
};

}  // namespace qx::test
