// Hot-plug events end to end on the emulator: virtual cameras of both
// families are plugged and unplugged, the monitor hears it, each family's
// module hands the event over and the kit's listener calls the application.

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "support/hotplug_recorder.h"
#include "support/sdk_camera_fixture.h"

namespace {

using qx::test::count_threads_named;
using qx::test::hotplug_recorder;

class hotplug_events : public qx::test::sdk_camera_fixture {
  protected:
    void SetUp() override {
        qx::test::configure_emulator("0");
        ASSERT_EQ(qx_camera_open_sdk(), 0) << qx_camera_get_last_error();
        sdk_open = true;
    }
    void TearDown() override {
        sdk_camera_fixture::TearDown();
        qx_camera_set_camera_connect_callback(nullptr, nullptr);
        qx_camera_set_camera_disconnect_callback(nullptr, nullptr);
    }

    std::string plug(const std::string& family, const std::string& serial) {
        char path[256] = {};
        const std::string json =
            qx::test::small_camera_json("ID-" + serial, serial, R"("family":")" + family + '"');
        EXPECT_EQ(qx_emu_plug_camera(json.c_str(), path, sizeof path), QX_EMU_OK) << qx_emu_get_last_error();
        return path;
    }

    int open_camera(std::string serial) { return qx_camera_open_camera(serial.data(), &camera); }

    hotplug_recorder recorder;
};

TEST_F(hotplug_events, each_family_reports_arrival_removal_and_a_port_move_on_its_own_listener) {
    const struct {
        const char* family;
        const char* serial;
        const char* listener;
    } rows[] = {{"qv", "QV-7", "QV_CONNECT_DISCONNECT"}, {"ralto", "RT-7", "RALTO_CONNECT_DISCONNECT"}};
    ASSERT_EQ(recorder.register_callbacks(), 0) << qx_camera_get_last_error();
    std::size_t seen = 0;
    for (const auto& entry : rows) {
        const std::string path = plug(entry.family, entry.serial);
        ASSERT_TRUE(recorder.wait_for(seen + 1)) << entry.family;
        ASSERT_EQ(qx_emu_unplug_camera(path.c_str()), QX_EMU_OK);
        ASSERT_TRUE(recorder.wait_for(seen + 2)) << entry.family;
        seen += 2;
        const auto threads = recorder.thread_names();
        EXPECT_EQ(threads.back(), qx::test::name_as_the_system_keeps_it(entry.listener));
        EXPECT_EQ(threads[threads.size() - 2], qx::test::name_as_the_system_keeps_it(entry.listener));
    }
    EXPECT_EQ(recorder.take_events(), (std::vector<std::string>{"connect QV-7 2", "disconnect QV-7",
                                                                "connect RT-7 2", "disconnect RT-7"}));

    // A camera moved to another port gives both events, in order.
    std::string current = plug("qv", "QV-M");
    ASSERT_TRUE(recorder.wait_for(1));
    std::vector<std::string> expected = {"connect QV-M 2"};
    for (int port = 5; port < 8; ++port) {
        char moved[256] = {};
        ASSERT_EQ(qx_emu_move_camera(current.c_str(), port, moved, sizeof moved), QX_EMU_OK);
        current = moved;
        expected.push_back("disconnect QV-M");
        expected.push_back("connect QV-M 2");
        ASSERT_TRUE(recorder.wait_for(expected.size())) << "move to port " << port;
    }
    EXPECT_EQ(recorder.take_events(), expected);
}

// Counts the frames delivered, and names the thread that delivered them.
struct frame_counter {
    std::mutex mutex;
    std::condition_variable arrived;
    int frames = 0;      // guarded by mutex
    std::string thread;  // guarded by mutex

    static void on_frame(void*, unsigned short*, int, unsigned char*, int, void* context) {
        auto* self = static_cast<frame_counter*>(context);
        const std::string name = qx::test::name_of_this_thread();
        std::lock_guard<std::mutex> lock(self->mutex);
        ++self->frames;
        self->thread = name;
        self->arrived.notify_all();
    }
};

// The worker threads carry their names where a debugger or `top -H` looks
// for them.
TEST_F(hotplug_events, a_camera_unplugged_while_its_named_frame_loop_runs_closes_without_a_hang) {
    ASSERT_EQ(recorder.register_callbacks(), 0);
    const std::string path = plug("qv", "QV-L");
    ASSERT_TRUE(recorder.wait_for(1));
    ASSERT_EQ(open_camera("QV-L"), 0) << qx_camera_get_last_error();
    frame_counter counter;
    ASSERT_EQ(qx_camera_set_frame_available_callback(camera, &frame_counter::on_frame, &counter), 0)
        << qx_camera_get_last_error();
    ASSERT_EQ(qx_camera_set_frames_per_trigger_zero_for_unlimited(camera, 0), 0);
    ASSERT_EQ(qx_camera_arm(camera, 4), 0) << qx_camera_get_last_error();
    ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0) << qx_camera_get_last_error();
    {
        std::unique_lock<std::mutex> lock(counter.mutex);
        ASSERT_TRUE(
            counter.arrived.wait_for(lock, std::chrono::seconds(20), [&] { return counter.frames > 0; }));
        EXPECT_EQ(counter.thread, qx::test::name_as_the_system_keeps_it("ACQUISITION FRAME LOOP"));
    }
    EXPECT_EQ(count_threads_named("ACQUISITION PACKET LOOP"), 1u);
    ASSERT_EQ(qx_emu_unplug_camera(path.c_str()), QX_EMU_OK);
    ASSERT_TRUE(recorder.wait_for(2));
    EXPECT_EQ(recorder.take_events().back(), "disconnect QV-L");
    EXPECT_EQ(qx_camera_close_camera(camera), 0) << qx_camera_get_last_error();
    camera = nullptr;
}

TEST_F(hotplug_events, a_reopened_kit_runs_one_listener_per_family_and_closing_ends_them) {
    ASSERT_EQ(qx_camera_open_sdk(), 0) << qx_camera_get_last_error();
    ASSERT_EQ(recorder.register_callbacks(), 0);
    ASSERT_EQ(recorder.register_callbacks(), 0);
    plug("qv", "QV-T");
    plug("ralto", "RT-T");
    ASSERT_TRUE(recorder.wait_for(2));
    EXPECT_EQ(count_threads_named("QV_CONNECT_DISCONNECT"), 1u);
    EXPECT_EQ(count_threads_named("RALTO_CONNECT_DISCONNECT"), 1u);

    ASSERT_EQ(qx_camera_close_sdk(), 0) << qx_camera_get_last_error();
    EXPECT_EQ(count_threads_named("QV_CONNECT_DISCONNECT"), 0u);
    EXPECT_EQ(count_threads_named("RALTO_CONNECT_DISCONNECT"), 0u);
    // Registering while the kit is closed starts nothing.
    ASSERT_EQ(recorder.register_callbacks(), 0);
    EXPECT_EQ(count_threads_named("QV_CONNECT_DISCONNECT") + count_threads_named("RALTO_CONNECT_DISCONNECT"),
              0u);
    ASSERT_EQ(qx_camera_open_sdk(), 0) << qx_camera_get_last_error();
}

// An arriving camera can be discovered and opened from inside its arrival
// callback; once unplugged it cannot be opened until it is plugged in again.
TEST_F(hotplug_events, an_arriving_camera_opens_from_its_callback_and_again_after_a_replug) {
    std::string discovered;
    std::vector<int> statuses;
    recorder.on_connect_action = [&](const char* serial_number) {
        char serials[256] = {};
        statuses.push_back(qx_camera_discover_available_cameras(serials, sizeof serials - 1));
        discovered = serials;
        void* arrived = nullptr;
        std::string serial = serial_number;
        statuses.push_back(qx_camera_open_camera(serial.data(), &arrived));
        statuses.push_back(qx_camera_close_camera(arrived));
    };
    ASSERT_EQ(recorder.register_callbacks(), 0);
    const std::string path = plug("qv", "QV-C");
    ASSERT_TRUE(recorder.wait_for(1));
    EXPECT_EQ(discovered, "QV-C");
    EXPECT_EQ(statuses, (std::vector<int>{0, 0, 0}));

    ASSERT_EQ(qx_emu_unplug_camera(path.c_str()), QX_EMU_OK);
    ASSERT_TRUE(recorder.wait_for(2));
    EXPECT_EQ(open_camera("QV-C"), 1004);
    plug("qv", "QV-C");
    ASSERT_TRUE(recorder.wait_for(3));
    ASSERT_EQ(open_camera("QV-C"), 0) << qx_camera_get_last_error();
    char serial[64] = {};
    ASSERT_EQ(qx_camera_get_serial_number(camera, serial, sizeof serial), 0) << qx_camera_get_last_error();
    EXPECT_STREQ(serial, "QV-C");
    EXPECT_EQ(statuses, (std::vector<int>{0, 0, 0, 0, 0, 0}));
}

}  // namespace
