// The kit's hot-plug listeners and callbacks, driven through a scripted
// module of the second family that hands out payloads on demand.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/hotplug_recorder.h"
#include "support/kit_fixture.h"

namespace {

using qx::test::hotplug_recorder;
using qx::test::last_error;
using qx::test::scripted_module;

class hotplug_listeners : public qx::test::kit_fixture {
  protected:
    void SetUp() override {
        kit_fixture::SetUp();
        scripted_module().set_reply("sernum", "SN1");
        scripted_module().set_reply("usb_speed", "USB 3.0");
        open_sdk_with_cameras({{"id-1", "SN1"}});
    }
    void TearDown() override {
        kit_fixture::TearDown();
        qx_camera_set_camera_connect_callback(nullptr, nullptr);
        qx_camera_set_camera_disconnect_callback(nullptr, nullptr);
    }

    static void hand_out(const std::string& payload) {
        {
            std::lock_guard<std::mutex> guard(scripted_module().mutex);
            scripted_module().hotplug_payloads.push_back(payload);
        }
        scripted_module().hotplug_ready.notify_all();
    }

    // Members, so that they outlive the listeners, which TearDown stops.
    hotplug_recorder recorder;
    hotplug_recorder other;
};

TEST_F(hotplug_listeners, arrivals_report_serial_and_port_type_and_removals_name_the_camera) {
    struct row {
        const char* usb_speed;
        const char* expected;
    };
    const row rows[] = {{"USB 1.0", "connect SN1 0"},
                        {"USB 2.0", "connect SN1 1"},
                        {"USB 3.0", "connect SN1 2"},
                        {"USB 3.1", "connect SN1 3"}};
    ASSERT_EQ(recorder.register_callbacks(), 0) << last_error();
    for (const auto& entry : rows) {
        scripted_module().set_reply("usb_speed", entry.usb_speed);
        hand_out("1,id-1");
        hand_out("0,id-1");
        ASSERT_TRUE(recorder.wait_for(2)) << entry.usb_speed;
        EXPECT_EQ(recorder.take_events(), (std::vector<std::string>{entry.expected, "disconnect SN1"}))
            << entry.usb_speed;
    }
}

TEST_F(hotplug_listeners, events_the_kit_cannot_resolve_are_refused_and_the_listener_goes_on) {
    void* camera = open_camera("SN1");
    ASSERT_NE(camera, nullptr);
    ASSERT_EQ(recorder.register_callbacks(), 0) << last_error();
    // Removal of a camera never discovered (empty id, unknown id), arrival
    // of a camera the module cannot create, arrival of a camera already open.
    for (const char* refused : {"0,", "0,ghost", "1,ghost", "1,id-1"}) hand_out(refused);
    hand_out("0,id-1");
    ASSERT_TRUE(recorder.wait_for(1));
    EXPECT_EQ(recorder.take_events(), std::vector<std::string>{"disconnect SN1"});
}

TEST_F(hotplug_listeners, a_null_disconnect_callback_hands_its_context_to_the_connect_callback) {
    ASSERT_EQ(recorder.register_callbacks(), 0) << last_error();
    ASSERT_EQ(qx_camera_set_camera_disconnect_callback(nullptr, &other), 0) << last_error();
    hand_out("0,id-1");  // no disconnect callback any more: unheard
    hand_out("1,id-1");
    ASSERT_TRUE(other.wait_for(1));
    EXPECT_EQ(other.take_events(), std::vector<std::string>{"connect SN1 2"});
    EXPECT_TRUE(recorder.take_events().empty());
}

}  // namespace
