// The ralto module with a camera source plugged in: what the kit sees of the
// cameras a source lists, how commands reach them, and how hot-plug events
// are handed to the kit's listener.

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "connect_disconnect_waiter.h"
#include "ralto_module_class.h"

namespace {

// A camera that answers every get with "<command> reply" and every set with
// the status it was given, and remembers what it received.
class recording_camera : public qx::ralto_camera_class {
  public:
    explicit recording_camera(int set_status) : set_status_(set_status) {}
    int get_data(const char* command, std::uint64_t command_size, const void*, std::uint64_t data_size,
                 char* response, std::uint64_t response_size) override {
        if (std::string(command) == "throw")
            throw std::runtime_error("camera failure");
        received.push_back(std::string(command) + "/" + std::to_string(command_size) + "/" +
                           std::to_string(data_size));
        std::snprintf(response, response_size, "%s reply", command);
        return 0;
    }
    int set_data(const char* command, std::uint64_t command_size, const void*, std::uint64_t data_size, char*,
                 std::uint64_t) override {
        received.push_back(std::string(command) + "/" + std::to_string(command_size) + "/" +
                           std::to_string(data_size));
        return set_status_;
    }
    std::vector<std::string> received;

  private:
    int set_status_;
};

class scripted_source : public qx::camera_listing_source_class {
  public:
    std::vector<qx::listed_camera> list_cameras() override {
        if (listing_fails)
            throw std::runtime_error("listing failure");
        return cameras;
    }
    std::unique_ptr<qx::ralto_camera_class> open_camera(const std::string& device_id) override {
        if (refused_ids.count(device_id) != 0)
            return nullptr;
        auto camera = std::make_unique<recording_camera>(set_status);
        last_opened = camera.get();
        return camera;
    }
    std::vector<qx::listed_camera> cameras{{"RALTO-A", "S-0001"}, {"RALTO-B", "S-0002"}};
    std::set<std::string> refused_ids;
    bool listing_fails = false;
    int set_status = 0;
    recording_camera* last_opened = nullptr;
};

class ralto_module_class_test : public testing::Test {
  protected:
    void SetUp() override { module.set_camera_listing_source(source); }
    int list() { return module.list_device_ids(ids.data(), 2048, serials.data(), 2048); }

    std::shared_ptr<scripted_source> source = std::make_shared<scripted_source>();
    qx::ralto_module_class module;
    std::array<char, 2048> ids{};
    std::array<char, 2048> serials{};
};

TEST_F(ralto_module_class_test, lists_the_sources_cameras_in_buffers_that_hold_text_and_terminator) {
    ASSERT_EQ(list(), 0);
    EXPECT_STREQ(ids.data(), "RALTO-A,RALTO-B,.");
    EXPECT_STREQ(serials.data(), "S-0001,S-0002,");
    const int exact = static_cast<int>(std::strlen("RALTO-A,RALTO-B,.")) + 1;
    EXPECT_EQ(module.list_device_ids(ids.data(), exact, serials.data(), 2048), 0);
    EXPECT_EQ(module.list_device_ids(ids.data(), exact - 1, serials.data(), 2048), 1);
    EXPECT_EQ(module.list_device_ids(ids.data(), 2048, serials.data(), 14), 1);  // "S-0001,S-0002," is 14
    source->listing_fails = true;
    EXPECT_EQ(list(), 1);
}

TEST_F(ralto_module_class_test,
       only_listed_cameras_the_source_opens_are_created_and_get_commands_until_destroyed) {
    void* device = nullptr;
    EXPECT_EQ(module.create_device("RALTO-A", &device), 1) << "nothing listed yet";
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(module.create_device("RALTO-C", &device), 1);
    source->refused_ids.insert("RALTO-B");
    int stale = 0;
    device = &stale;  // a refused creation must clear what the caller passed in
    EXPECT_EQ(module.create_device("RALTO-B", &device), 1);
    EXPECT_EQ(device, nullptr);
    source->set_status = 5;
    ASSERT_EQ(module.create_device("RALTO-A", &device), 0);
    auto* camera = source->last_opened;
    EXPECT_EQ(device, static_cast<void*>(camera));

    // Commands reach the created camera until it is destroyed.
    std::array<char, 1024> response{};
    ASSERT_EQ(module.send_get_command(device, "exp", 4, nullptr, 0, response.data(), response.size()), 0);
    EXPECT_STREQ(response.data(), "exp reply");
    EXPECT_EQ(module.send_set_command(device, "hbin", 5, nullptr, 2, response.data(), response.size()), 5);
    EXPECT_EQ(module.send_get_command(device, "throw", 6, nullptr, 0, response.data(), response.size()), 1);
    EXPECT_EQ(camera->received, (std::vector<std::string>{"exp/4/0", "hbin/5/2"}));

    ASSERT_EQ(module.destroy_device(device), 0);
    EXPECT_EQ(module.send_get_command(device, "exp", 4, nullptr, 0, response.data(), response.size()), 1);
    EXPECT_EQ(module.send_set_command(device, "exp", 4, nullptr, 0, response.data(), response.size()), 1);
    EXPECT_EQ(module.destroy_device(device), 1);
}

int subscribe_nothing(unsigned int, unsigned int, qx_hotplug_callback_t, void*) {
    return 0;
}

TEST_F(ralto_module_class_test, sources_find_the_kits_hotplug_record_between_initialize_and_uninitialize) {
    int monitor_library = 0;
    qx_hotplug_record host{&monitor_library, nullptr, nullptr, subscribe_nothing};
    ASSERT_EQ(module.initialize(&host), 0);
    host.monitor_library = nullptr;  // the module keeps its own copy
    EXPECT_EQ(module.get_hotplug_record().monitor_library, &monitor_library);
    EXPECT_EQ(module.get_hotplug_record().hotplug_event_subscribe, subscribe_nothing);
    ASSERT_EQ(module.uninitialize(), 0);
    EXPECT_EQ(module.get_hotplug_record().hotplug_event_subscribe, nullptr);
}

qx::test::connect_disconnect_waiter start_wait(qx::ralto_module_class& module) {
    return {[&module](char* payload) { return module.get_module_data("connect_disconnect", payload); },
            [&module] { module.set_module_data("connect_disconnect_release", nullptr); }};
}

TEST_F(ralto_module_class_test, a_reported_event_wakes_the_listener_with_its_payload) {
    const struct {
        int event_code;
        std::string camera_id;
        std::string payload;
    } events[] = {
        {1, "RALTO-A", "1,RALTO-A"},
        {2, "RALTO-A", "0,RALTO-A"},
        {2, "", "0,"},  // a departure of a camera never listed carries an empty id
        {1, std::string(300, 'I'), "1," + std::string(255, 'I')},  // a long id is cut to 255 characters
    };
    for (const auto& event : events) {
        SCOPED_TRACE(event.payload);
        auto waiter = start_wait(module);
        module.report_hotplug_event(event.event_code, event.camera_id);
        EXPECT_EQ(waiter.get_payload(), event.payload);
    }
}

TEST_F(ralto_module_class_test, an_unknown_event_code_clears_the_pending_event_without_waking) {
    module.report_hotplug_event(1, "RALTO-A");
    module.report_hotplug_event(9, "RALTO-B");
    EXPECT_EQ(start_wait(module).get_payload(), "") << "the arrival's signal remains, its event is gone";
    auto next = start_wait(module);
    module.report_hotplug_event(9, "RALTO-C");
    EXPECT_FALSE(next.has_returned());
    // The next real event is the one the still blocked listener gets.
    module.report_hotplug_event(1, "RALTO-D");
    EXPECT_EQ(next.get_payload(), "1,RALTO-D");
}

TEST_F(ralto_module_class_test,
       a_release_without_an_event_ends_one_wait_with_nothing_written_and_is_kept_once) {
    auto waiter = start_wait(module);
    EXPECT_FALSE(waiter.has_returned());
    ASSERT_EQ(module.set_module_data("connect_disconnect_release", nullptr), 0);
    EXPECT_EQ(waiter.get_payload(), "");
    // Two releases without a listener wake only the next wait.
    module.set_module_data("connect_disconnect_release", nullptr);
    module.set_module_data("connect_disconnect_release", nullptr);
    EXPECT_EQ(start_wait(module).get_payload(), "");
    EXPECT_FALSE(start_wait(module).has_returned());
}

TEST_F(ralto_module_class_test, uninitialize_wakes_a_blocked_listener) {
    qx_hotplug_record host{};
    ASSERT_EQ(module.initialize(&host), 0);
    auto waiter = start_wait(module);
    EXPECT_FALSE(waiter.has_returned());
    EXPECT_EQ(waiter.get_payload([this] { module.uninitialize(); }), "");
}

TEST_F(ralto_module_class_test, events_are_not_queued_and_a_release_repeats_the_last_payload) {
    module.report_hotplug_event(1, "RALTO-A");
    module.report_hotplug_event(2, "RALTO-B");
    EXPECT_EQ(start_wait(module).get_payload(), "0,RALTO-B");
    auto next = start_wait(module);
    EXPECT_FALSE(next.has_returned());
    module.set_module_data("connect_disconnect_release", nullptr);
    EXPECT_EQ(next.get_payload(), "0,RALTO-B");
}

}  // namespace
