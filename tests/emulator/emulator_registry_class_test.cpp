// The set of cameras: configuration by number, families, paths and ports,
// plugging, unplugging and moving, and the hot-plug listeners.

#include <mutex>

#include "emulator/emulator_test_support.h"

namespace qx::emulator::testing {
namespace {

using qx::test::emulated_path;

struct recorded_event {
    int code;
    std::string path;
    unsigned int vendor_id;
    unsigned int product_id;
    bool operator==(const recorded_event&) const = default;
};

std::mutex events_lock;
std::vector<recorded_event> events;

void record_event(int code, const char* path, unsigned int vendor_id, unsigned int product_id, void*) {
    std::lock_guard guard(events_lock);
    events.push_back({code, path, vendor_id, product_id});
}

std::vector<recorded_event> take_events() {
    std::lock_guard guard(events_lock);
    return std::exchange(events, {});
}

// One command on a fresh connection to the camera at `path`.
std::string ask(const std::string& path, const std::string& text) {
    qx_emu_device* device = qx_emu_device_open(path.c_str());
    if (device == nullptr)
        return "<closed>";
    const std::string reply = qx::test::command_exchange(device, text + '\0');
    qx_emu_device_close(device);
    return reply.substr(0, reply.find('\0'));
}

class emulator_registry_class_test : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(qx_emu_reset(nullptr), QX_EMU_OK);
        listener_ = qx_emu_add_hotplug_listener(record_event, nullptr);
        ASSERT_GT(listener_, 0);
        take_events();
    }
    void TearDown() override { EXPECT_EQ(qx_emu_remove_hotplug_listener(listener_), QX_EMU_OK); }

    int listener_ = 0;
};

TEST_F(emulator_registry_class_test, a_number_gives_default_cameras_on_ports_in_plug_order) {
    ASSERT_EQ(qx_emu_reset("3"), QX_EMU_OK);
    EXPECT_EQ(qx_emu_get_camera_count(nullptr), 3);
    EXPECT_EQ(qx_emu_get_camera_count("qv"), 3);
    EXPECT_EQ(qx_emu_get_camera_count("ralto"), 0);
    for (int i = 0; i < 3; ++i) {
        const auto path = emulated_path(i, "qv");
        EXPECT_EQ(path, "EMU:BUS_000:PORT_" + std::to_string(i + 1) + ":VID_2A7C&PID_6101");
        EXPECT_EQ(ask(path, "sernum"), "QV1000000" + std::to_string(i + 1));
    }
    const auto events = take_events();
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(events[0], (recorded_event{1, "EMU:BUS_000:PORT_1:VID_2A7C&PID_6101", 0x2A7C, 0x6101}));
    // Ids are 16 upper-case hexadecimal digits, stable for a serial number and distinct.
    const auto first_id = ask(emulated_path(0, nullptr), "id");
    EXPECT_EQ(first_id.size(), 16u);
    EXPECT_EQ(first_id.find_first_not_of("0123456789ABCDEF"), std::string::npos);
    EXPECT_NE(first_id, ask(emulated_path(1, nullptr), "id"));
    ASSERT_EQ(qx_emu_reset("1"), QX_EMU_OK);
    EXPECT_EQ(ask(emulated_path(0, nullptr), "id"), first_id);
    const auto replaced = take_events();
    EXPECT_EQ(replaced.size(), 4u) << "three departures and one arrival";
    EXPECT_EQ(replaced[0].code, 2);
    EXPECT_EQ(replaced[3].code, 1);
}

TEST_F(emulator_registry_class_test, families_ports_and_product_ids) {
    ASSERT_EQ(qx_emu_reset(R"([{"family":"ralto"},{"port":1},{"product_id":24856}])"), QX_EMU_OK)
        << qx_emu_get_last_error();
    EXPECT_EQ(qx_emu_get_camera_count("qv"), 2);
    EXPECT_EQ(qx_emu_get_camera_count("ralto"), 1);
    EXPECT_EQ(emulated_path(0, "ralto"), "EMU:BUS_000:PORT_2:VID_2A7C&PID_7101");
    EXPECT_EQ(emulated_path(1, nullptr), "EMU:BUS_000:PORT_1:VID_2A7C&PID_6101");
    EXPECT_EQ(emulated_path(1, "qv"), "EMU:BUS_000:PORT_3:VID_2A7C&PID_6118")
        << "a product outside the family's table";
    EXPECT_EQ(ask(emulated_path(0, "ralto"), "sernum"), "RT10000001");

    char path[64];
    EXPECT_EQ(qx_emu_get_camera_path("qv", 2, path, sizeof path), QX_EMU_INVALID);
    EXPECT_EQ(qx_emu_get_camera_path("qv", 0, path, 10), QX_EMU_INVALID);
    EXPECT_EQ(qx_emu_get_camera_count("other"), QX_EMU_INVALID);
    EXPECT_EQ(std::string(qx_emu_get_last_error()), "unknown family 'other' (expected \"qv\" or \"ralto\")");
    EXPECT_EQ(qx_emu_reset(R"([{"port":4},{"port":4}])"), QX_EMU_INVALID);
    EXPECT_EQ(std::string(qx_emu_get_last_error()), "camera 2: key 'port': port 4 is already taken");
    EXPECT_EQ(qx_emu_reset(R"([{"id":"A"},{"id":"A"}])"), QX_EMU_INVALID);
    EXPECT_EQ(qx_emu_get_camera_count(nullptr), 3) << "a refused configuration changes nothing";
}

TEST_F(emulator_registry_class_test, plug_and_unplug_notify_listeners_and_close_devices) {
    char path[64];
    ASSERT_EQ(qx_emu_plug_camera(nullptr, path, sizeof path), QX_EMU_OK) << qx_emu_get_last_error();
    EXPECT_EQ(std::string(path), "EMU:BUS_000:PORT_1:VID_2A7C&PID_6101");
    char second[64];
    ASSERT_EQ(qx_emu_plug_camera(R"({"family":"ralto","serial":"R-7"})", second, sizeof second), QX_EMU_OK);
    EXPECT_EQ(std::string(second), "EMU:BUS_000:PORT_2:VID_2A7C&PID_7101");
    qx_emu_device* device = qx_emu_device_open(path);
    ASSERT_NE(device, nullptr);
    ASSERT_EQ(qx_emu_unplug_camera(path), QX_EMU_OK);
    EXPECT_EQ(qx_emu_device_get_speed(device), QX_EMU_NO_DEVICE);
    unsigned int vendor = 0;
    unsigned int product = 0;
    EXPECT_EQ(qx_emu_device_get_ids(device, &vendor, &product), QX_EMU_NO_DEVICE);
    EXPECT_EQ(qx_emu_device_reset_port(device), QX_EMU_NO_DEVICE);
    qx_emu_device_close(device);
    EXPECT_EQ(qx_emu_device_open(path), nullptr);
    EXPECT_NE(std::string(qx_emu_get_last_error()).find("no camera is plugged in"), std::string::npos);
    EXPECT_EQ(qx_emu_unplug_camera(path), QX_EMU_NO_DEVICE);
    EXPECT_EQ(take_events(),
              (std::vector<recorded_event>{
                  {1, path, 0x2A7C, 0x6101}, {1, second, 0x2A7C, 0x7101}, {2, path, 0x2A7C, 0x6101}}));
    EXPECT_EQ(qx_emu_plug_camera(R"({"serial":"R-7","family":"ralto"})", path, sizeof path), QX_EMU_INVALID)
        << "the same id twice";
    EXPECT_EQ(qx_emu_plug_camera(R"({"bit_depth":40})", path, sizeof path), QX_EMU_INVALID);
    EXPECT_EQ(std::string(qx_emu_get_last_error()),
              "camera: key 'bit_depth': expected an integer 8..16, got a number 40");
}

TEST_F(emulator_registry_class_test, a_moved_camera_keeps_identity_name_and_memory) {
    char path[64];
    ASSERT_EQ(qx_emu_plug_camera(R"({"user_memory_size":64})", path, sizeof path), QX_EMU_OK);
    char other[64];
    ASSERT_EQ(qx_emu_plug_camera(nullptr, other, sizeof other), QX_EMU_OK);
    const auto id = ask(path, "id");
    for (const std::string command :
         {"unlock dl", "name moved one", "nvstor erase 0 8", "nvstor wb 0 2:hi", "exp 77"})
        EXPECT_EQ(ask(path, command), "Success") << command;
    take_events();
    char moved[64];
    EXPECT_EQ(qx_emu_move_camera(path, 2, moved, sizeof moved), QX_EMU_INVALID) << "port 2 is taken";
    ASSERT_EQ(qx_emu_move_camera(path, 7, moved, sizeof moved), QX_EMU_OK) << qx_emu_get_last_error();
    EXPECT_EQ(std::string(moved), "EMU:BUS_000:PORT_7:VID_2A7C&PID_6101");
    EXPECT_EQ(take_events(),
              (std::vector<recorded_event>{{2, path, 0x2A7C, 0x6101}, {1, moved, 0x2A7C, 0x6101}}));
    EXPECT_EQ(ask(path, "id"), "<closed>");
    EXPECT_EQ(ask(moved, "id"), id);
    EXPECT_EQ(ask(moved, "name"), "moved one");
    EXPECT_EQ(ask(moved, "nvstor rb 0 3"), "nvstor rb 0 3:hi\xFF");
    EXPECT_EQ(ask(moved, "exp"), "10000") << "settings start afresh after the replug";
    EXPECT_EQ(emulated_path(1, nullptr), std::string(moved)) << "a moved camera is plugged in last";
    ASSERT_EQ(qx_emu_move_camera(moved, 0, moved, sizeof moved), QX_EMU_OK);
    EXPECT_EQ(std::string(moved), "EMU:BUS_000:PORT_3:VID_2A7C&PID_6101");
}

TEST_F(emulator_registry_class_test, an_unplug_fault_mid_frame_departs_and_keeps_the_counters) {
    const emulated_camera camera(
        R"({"sensor_width":256,"sensor_height":64,"pacing":"fast","faults":{"unplug":{"frames":[1],"packet":1}}})");
    take_events();
    ASSERT_EQ(camera.command("start"), "Success");
    for (int packet = 0; packet < 4; ++packet) {
        EXPECT_EQ(read_packet(camera.device).status, QX_EMU_OK) << packet;
    }
    EXPECT_EQ(read_packet(camera.device).status, QX_EMU_NO_DEVICE);
    EXPECT_EQ(take_events(), (std::vector<recorded_event>{{2, camera.path, 0x2A7C, 0x6101}}));
    EXPECT_EQ(qx_emu_get_camera_count(nullptr), 0);
    EXPECT_EQ(camera.command("exp"), "<status -3>");
    // The counters of an unplugged camera stay readable under its last path.
    const auto counters = camera.counters();
    EXPECT_EQ(counters.faults_by_kind[QX_EMU_FAULT_UNPLUG], 1u);
    EXPECT_EQ(counters.frames_completed, 1u);
}

int self_removing_calls = 0;
int self_removing_id = 0;

void remove_myself(int, const char*, unsigned int, unsigned int, void*) {
    ++self_removing_calls;
    EXPECT_EQ(qx_emu_remove_hotplug_listener(self_removing_id), QX_EMU_OK);
}

TEST_F(emulator_registry_class_test, removed_listeners_are_not_called) {
    self_removing_calls = 0;
    self_removing_id = qx_emu_add_hotplug_listener(remove_myself, nullptr);
    ASSERT_GT(self_removing_id, 0);
    ASSERT_EQ(qx_emu_reset("2"), QX_EMU_OK);
    EXPECT_EQ(self_removing_calls, 1);
    EXPECT_EQ(take_events().size(), 2u);
    EXPECT_EQ(qx_emu_remove_hotplug_listener(self_removing_id), QX_EMU_INVALID);
    EXPECT_EQ(qx_emu_add_hotplug_listener(nullptr, nullptr), QX_EMU_INVALID);
}

}  // namespace
}  // namespace qx::emulator::testing
