// The built-in module's side of hot-plug events: what each notice logs, the
// payload the kit's listener then reads, and the event's life with the
// module's initialisations.

#include <gtest/gtest.h>

#include <future>
#include <mutex>
#include <string>
#include <vector>

#include "device_qv/module_state_class.h"
#include "support/emulated_camera_fixture.h"

namespace {

using qx::device_qv::module_state_class;

std::mutex log_mutex;
std::vector<std::string> log_lines;  // guarded by log_mutex

void record_line(const char* line) {
    std::lock_guard<std::mutex> guard(log_mutex);
    log_lines.emplace_back(line);
}

std::vector<std::string> take_lines() {
    std::lock_guard<std::mutex> guard(log_mutex);
    return std::exchange(log_lines, {});
}

class module_hotplug : public ::testing::Test {
  protected:
    void SetUp() override {
        qx::test::configure_emulator(R"({"cameras":[)" + qx::test::small_camera_json("HP-ID", "HP-SN") +
                                     "]}");
        camera_path = qx::test::emulated_path();
        state.set_log_sink(&record_line);
        ASSERT_EQ(state.initialize(nullptr), 0);
        take_lines();
    }
    void TearDown() override {
        state.uninitialize();
        state.set_log_sink(nullptr);
        qx_emu_reset("0");
    }

    // The payload of the signalled event, as the kit's listener reads it.
    std::string payload() {
        char text[1024] = {};
        EXPECT_EQ(state.wait_for_hotplug_payload(text), 0);
        return text;
    }

    module_state_class& state = module_state_class::instance();
    std::string camera_path;
};

TEST_F(module_hotplug, each_notice_logs_its_line_hands_over_its_payload_and_maps_the_id) {
    struct row {
        int event_code;
        bool camera_path;  // else a path nothing was listed at
        std::string log_line;
        std::string payload;
    };
    const std::string p = qx::test::emulated_path();
    const row rows[] = {
        {1, true, "usb_hotplug_callback() - HOTPLUG_CONNECT path:" + p + " \n", "1,HP-ID"},
        {2, true, "usb_hotplug_callback() - HOTPLUG_DISCONNECT path:" + p + "\n", "0,HP-ID"},
        {2, false, "usb_hotplug_callback() - HOTPLUG_DISCONNECT path:EMU:NOWHERE\n", "0,"},
    };
    for (const auto& entry : rows) {
        state.on_hotplug_event(entry.event_code, entry.camera_path ? p.c_str() : "EMU:NOWHERE");
        EXPECT_EQ(payload(), entry.payload) << entry.log_line;
        // An arrival can be created until it departs.
        if (entry.camera_path) {
            EXPECT_EQ(state.device_path_of("HP-ID"), entry.event_code == 1 ? camera_path : "");
        }
        EXPECT_EQ(take_lines(),
                  (std::vector<std::string>{
                      entry.log_line, "qx_get_module_data(connect_disconnect) - " + entry.payload + "\n"}));
    }
}

TEST_F(module_hotplug, a_release_repeats_the_last_payload_and_an_unknown_notice_clears_it) {
    state.on_hotplug_event(1, camera_path.c_str());
    EXPECT_EQ(payload(), "1,HP-ID");
    state.release_hotplug_waiter();
    EXPECT_EQ(payload(), "1,HP-ID");
    take_lines();

    state.on_hotplug_event(7, camera_path.c_str());
    state.release_hotplug_waiter();  // the unknown notice signalled nothing
    EXPECT_EQ(payload(), "");
    EXPECT_EQ(take_lines().front(), "usb_hotplug_callback() - UNKNOWN EVENT (0x00000007)\n");
}

TEST_F(module_hotplug, the_event_lasts_until_the_last_uninitialisation_which_ends_a_wait) {
    ASSERT_EQ(state.initialize(nullptr), 0);  // a reopened kit, before the old one lets go
    state.uninitialize();
    state.on_hotplug_event(1, camera_path.c_str());
    EXPECT_EQ(payload(), "1,HP-ID");

    auto blocked = std::async(std::launch::async, [&] {
        char text[1024] = {};
        return state.wait_for_hotplug_payload(text);
    });
    state.uninitialize();
    EXPECT_EQ(blocked.get(), 1);
    ASSERT_EQ(state.initialize(nullptr), 0);  // for TearDown
}

}  // namespace
