// The kit's worker threads carry their names where a debugger or `top -H`
// looks for them, read from the running threads themselves.

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

#include "support/sdk_camera_fixture.h"
#include "support/thread_names.h"

namespace {

struct frame_thread_probe {
    std::mutex mutex;
    std::condition_variable arrived;
    std::string name;
};

void record_thread_name(void*, unsigned short*, int, unsigned char*, int, void* context) {
    auto& probe = *static_cast<frame_thread_probe*>(context);
    const std::string name = qx::test::name_of_this_thread();
    const std::lock_guard<std::mutex> guard(probe.mutex);
    probe.name = name;
    probe.arrived.notify_all();
}

using worker_thread_names = qx::test::sdk_camera_fixture;

TEST_F(worker_thread_names, frame_loop_and_packet_loop_are_named_as_the_system_keeps_them) {
    open_camera_with(R"({"sensor_width":64,"sensor_height":8,"frame_time_us":1000})");
    frame_thread_probe probe;
    ASSERT_EQ(qx_camera_set_frame_available_callback(camera, record_thread_name, &probe), 0);
    ASSERT_EQ(qx_camera_arm(camera, 4), 0) << qx_camera_get_last_error();
    ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0) << qx_camera_get_last_error();
    {
        std::unique_lock<std::mutex> lock(probe.mutex);
        ASSERT_TRUE(probe.arrived.wait_for(lock, std::chrono::seconds(30), [&] { return !probe.name.empty(); }))
            << "no frame reached the callback";
        EXPECT_EQ(probe.name, qx::test::name_as_the_system_keeps_it("ACQUISITION FRAME LOOP"));
    }
    EXPECT_EQ(qx::test::names_of_threads_in_this_process().count(
                  qx::test::name_as_the_system_keeps_it("ACQUISITION PACKET LOOP")), 1u);
    EXPECT_EQ(qx_camera_disarm(camera), 0) << qx_camera_get_last_error();
}

}  // namespace
