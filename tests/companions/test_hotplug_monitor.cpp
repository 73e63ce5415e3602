// The hot-plug monitor library as the kit loads it: reference-counted
// opening, subscriptions, and the arrivals and departures it reports (here
// from the camera emulator's virtual cameras; real USB devices come through
// libusb the same way).

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "hotplug_test_support.h"
#if defined(QX_HAVE_EMULATOR)
#include "quendral_vko_camera_emulator.h"
#endif

namespace {

using qx::test::hotplug_recorder;

class hotplug_monitor_test : public testing::Test {
  protected:
    // Declared before the monitor so that they outlive its last close.
    hotplug_recorder subscriber;
    hotplug_recorder other_subscriber;
    hotplug_recorder other_ids;
    qx::test::hotplug_monitor_library monitor;
    qx_hotplug_open_t open_monitor = monitor.open_monitor;
    qx_hotplug_close_t close_monitor = monitor.close_monitor;
    qx_hotplug_event_subscribe_t subscribe = monitor.subscribe;
};

void ignore_event(int, const char*, void*) {}

TEST_F(hotplug_monitor_test,
       opening_is_counted_the_last_close_ends_it_and_unusable_subscriptions_are_refused) {
    EXPECT_NE(close_monitor(), 0) << "not open yet";
    ASSERT_EQ(open_monitor(), 0);
    ASSERT_EQ(open_monitor(), 0);
    EXPECT_EQ(close_monitor(), 0);
    EXPECT_EQ(subscribe(0x2A7C, 0x6101, ignore_event, nullptr), 0) << "still open once";
    EXPECT_EQ(close_monitor(), 0);
    EXPECT_NE(close_monitor(), 0);
    EXPECT_NE(subscribe(0x2A7C, 0x6101, ignore_event, nullptr), 0) << "closed";
    // Unusable subscriptions are refused.
    ASSERT_EQ(open_monitor(), 0);
    EXPECT_NE(subscribe(0x2A7C, 0x6101, nullptr, nullptr), 0);
    EXPECT_NE(subscribe(0x10000, 0x6101, ignore_event, nullptr), 0);
    EXPECT_NE(subscribe(0x2A7C, 0x10000, ignore_event, nullptr), 0);
    EXPECT_EQ(subscribe(0xFFFF, 0x0000, ignore_event, nullptr), 0);
}

// Threads opening, subscribing and closing at once leave the count
// balanced, and as many threads closing at once close exactly the opens.
TEST_F(hotplug_monitor_test, concurrent_opening_and_closing_stay_balanced) {
    constexpr int thread_count = 8;
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int thread_index = 0; thread_index < thread_count; ++thread_index) {
        threads.emplace_back([&] {
            for (int round = 0; round < 25; ++round) {
                if (open_monitor() != 0 || subscribe(0x2A7C, 0x6117, ignore_event, nullptr) != 0 ||
                    close_monitor() != 0)
                    ++failures;
            }
            if (open_monitor() != 0)
                ++failures;
        });
    }
    for (auto& thread : threads) thread.join();
    threads.clear();
    for (int thread_index = 0; thread_index < thread_count; ++thread_index) {
        threads.emplace_back([&] {
            if (close_monitor() != 0)
                ++failures;
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(failures, 0);
    EXPECT_NE(close_monitor(), 0);
}

#if defined(QX_HAVE_EMULATOR)

// The emulator's default camera.
constexpr unsigned int vendor_id = 0x2A7C;
constexpr unsigned int product_id = 0x6101;

class hotplug_monitor_emulator_test : public hotplug_monitor_test {
  protected:
    void SetUp() override { ASSERT_EQ(qx_emu_reset(""), 0) << qx_emu_get_last_error(); }
    void TearDown() override { qx_emu_reset(""); }
    static std::string plug_camera() {
        char path[256] = {};
        if (qx_emu_plug_camera(nullptr, path, sizeof path) != 0)
            return {};
        return path;
    }
};

// Each subscription of the camera's ids gets the arrival and the departure
// with the camera's path, once per distinct subscription and context; a
// subscription of other ids gets nothing.
TEST_F(hotplug_monitor_emulator_test, reports_arrival_and_departure_once_per_subscription) {
    ASSERT_EQ(open_monitor(), 0);
    ASSERT_EQ(subscribe(vendor_id, product_id ^ 0x1, hotplug_recorder::on_monitor_event, &other_ids), 0);
    ASSERT_EQ(subscribe(vendor_id, product_id, hotplug_recorder::on_monitor_event, &subscriber), 0);
    ASSERT_EQ(subscribe(vendor_id, product_id, hotplug_recorder::on_monitor_event, &subscriber), 0);
    ASSERT_EQ(subscribe(vendor_id, product_id, hotplug_recorder::on_monitor_event, &other_subscriber), 0);
    const std::string path = plug_camera();
    ASSERT_FALSE(path.empty()) << qx_emu_get_last_error();
    ASSERT_EQ(qx_emu_unplug_camera(path.c_str()), 0);
    // Subscribers are served in the order they subscribed, so once the
    // last one has both events, every copy for the earlier ones was sent.
    const std::vector<std::string> expected = {"arrival " + path, "departure " + path};
    ASSERT_TRUE(other_subscriber.wait_for(2));
    EXPECT_EQ(other_subscriber.take_events(), expected);
    EXPECT_EQ(subscriber.take_events(), expected) << "no event was delivered twice";
    EXPECT_TRUE(other_ids.take_events().empty());
}

TEST_F(hotplug_monitor_emulator_test, a_subscriber_cannot_close_the_monitor_from_its_callback) {
    struct closing_subscriber {
        explicit closing_subscriber(qx_hotplug_close_t close) : close_monitor(close) {}
        qx_hotplug_close_t close_monitor;
        std::atomic<int> close_result{0};
        hotplug_recorder recorder;
        static void on_event(int event_code, const char* device_path, void* self) {
            auto* subscriber = static_cast<closing_subscriber*>(self);
            subscriber->close_result = subscriber->close_monitor();
            hotplug_recorder::on_monitor_event(event_code, device_path, &subscriber->recorder);
        }
    } subscriber(close_monitor);
    ASSERT_EQ(open_monitor(), 0);
    ASSERT_EQ(subscribe(vendor_id, product_id, closing_subscriber::on_event, &subscriber), 0);
    const std::string path = plug_camera();
    ASSERT_TRUE(subscriber.recorder.wait_for(1));
    EXPECT_NE(subscriber.close_result, 0);
    ASSERT_EQ(qx_emu_unplug_camera(path.c_str()), 0);
    EXPECT_TRUE(subscriber.recorder.wait_for(2)) << "the monitor is still open";
    EXPECT_EQ(close_monitor(), 0);
    EXPECT_NE(close_monitor(), 0);
}

#endif

}  // namespace
