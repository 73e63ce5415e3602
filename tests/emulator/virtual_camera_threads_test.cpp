// A reader thread, a command thread and a hot-plug thread on the emulator at
// once. Meant to run under ThreadSanitizer as well.

#include <atomic>
#include <thread>

#include "emulator/emulator_test_support.h"

namespace qx::emulator::testing {
namespace {

std::atomic<int> hotplug_events{0};

void count_event(int, const char*, unsigned int, unsigned int, void*) {
    ++hotplug_events;
    hotplug_events.notify_all();
}

// Wakes the test's wait for a counter when a thread ends without having
// counted anything (a failed assertion), so that the wait never hangs.
struct wake_on_exit {
    std::atomic<int>& counter;
    ~wake_on_exit() {
        int none = 0;
        counter.compare_exchange_strong(none, -1);
        counter.notify_all();
    }
};

TEST(virtual_camera_threads, streaming_commands_and_hot_plug_at_once) {
    const emulated_camera camera(R"({"sensor_width":256,"sensor_height":64,"pacing":"fast"})");
    ASSERT_EQ(camera.command("start"), "Success");
    std::atomic<bool> commands_done{false};
    std::atomic<int> frames_checked{0};

    std::thread reader([&] {
        const wake_on_exit wake{frames_checked};
        std::uint32_t previous_header = 0;
        bool in_frame = false;
        while (!commands_done.load()) {
            const auto next = read_packet(camera.device, 50);
            if (next.status == QX_EMU_TIMEOUT) {
                in_frame = false;  // stopped; the next packet starts a frame
                continue;
            }
            ASSERT_EQ(next.status, QX_EMU_OK);
            if (next.header() == 0x9090u) {
                in_frame = true;
                ++frames_checked;
                frames_checked.notify_all();
            } else if (in_frame) {
                // Within a frame the numbers count up from 1.
                ASSERT_EQ(next.header(), (previous_header == 0x9090u ? 1u : (previous_header >> 16) + 1)
                                             << 16);
            }
            previous_header = next.header();
        }
    });

    std::thread hot_plug([&] {
        const wake_on_exit wake{hotplug_events};
        const int listener = qx_emu_add_hotplug_listener(count_event, nullptr);
        for (int i = 0; i < 50 && !commands_done.load(); ++i) {
            char path[64];
            ASSERT_EQ(qx_emu_plug_camera(R"({"family":"ralto"})", path, sizeof path), QX_EMU_OK);
            qx_emu_counters counters{};
            EXPECT_EQ(qx_emu_get_counters(camera.path.c_str(), &counters), QX_EMU_OK);
            ASSERT_EQ(qx_emu_unplug_camera(path), QX_EMU_OK);
        }
        EXPECT_EQ(qx_emu_remove_hotplug_listener(listener), QX_EMU_OK);
    });

    for (int i = 0; i < 300; ++i) {
        const auto exposure = std::to_string(100 + i);
        EXPECT_EQ(camera.command("exp " + exposure), "Success");
        EXPECT_EQ(camera.command("exp"), exposure);
        EXPECT_EQ(camera.command("roi"), "0 0 255 63");
        if (i % 50 == 49) {
            EXPECT_EQ(camera.command("stop"), "Success");
            EXPECT_EQ(camera.command("start"), "Success");
        }
    }
    // On a loaded machine the other threads may not have run yet: each must
    // have done some work before they are stopped.
    frames_checked.wait(0);
    hotplug_events.wait(0);
    commands_done = true;
    reader.join();
    hot_plug.join();
    EXPECT_GT(frames_checked.load(), 0);
    EXPECT_GT(hotplug_events.load(), 0);
    EXPECT_EQ(camera.command("stop"), "Success");
}

}  // namespace
}  // namespace qx::emulator::testing
