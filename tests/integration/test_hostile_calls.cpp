// Calls that a careless or hostile application makes: closing, disarming or
// arming a camera from inside its own frame callback. None may crash or hang.

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

#include "support/sdk_camera_fixture.h"

namespace {

using namespace std::chrono_literals;

// What the callback did on the first frame, and how many frames it saw.
struct reentry_log {
    explicit reentry_log(int (*chosen)(void*)) : action(chosen) {}
    int (*action)(void* handle);
    std::mutex mutex;
    std::condition_variable acted;
    int frames = 0;     // guarded by mutex
    bool done = false;  // guarded by mutex
    int status = -1;    // guarded by mutex
    std::string error;  // guarded by mutex

    static void on_frame(void* handle, unsigned short*, int, unsigned char*, int, void* context) {
        auto* log = static_cast<reentry_log*>(context);
        {
            std::lock_guard<std::mutex> guard(log->mutex);
            if (log->frames++ > 0)
                return;
        }
        const int status = log->action(handle);
        std::lock_guard<std::mutex> guard(log->mutex);
        log->status = status;
        log->error = status == 0 ? "" : qx_camera_get_last_error();
        log->done = true;
        log->acted.notify_all();
    }
};

struct reentry_case {
    const char* name;
    int (*action)(void* handle);
    int status;
    const char* error_part;  // a part of the last error; empty for success
    int armed_after;         // the camera's armed flag once the callback acted
};

class callback_reentry : public qx::test::sdk_camera_fixture,
                         public ::testing::WithParamInterface<reentry_case> {};

TEST_P(callback_reentry, is_refused_or_deferred_and_the_camera_stays_usable) {
    open_camera_with(R"({"id":"RE-1","serial":"SN-RE","sensor_width":64,"sensor_height":8,"pacing":"fast"})");
    reentry_log log(GetParam().action);
    ASSERT_EQ(qx_camera_set_frame_available_callback(camera, &reentry_log::on_frame, &log), 0);
    command("nframes 0");
    ASSERT_EQ(qx_camera_arm(camera, 4), 0) << qx_camera_get_last_error();
    ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0);
    {
        std::unique_lock<std::mutex> waiting(log.mutex);
        ASSERT_TRUE(log.acted.wait_for(waiting, 20s, [&] { return log.done; })) << "no frame arrived";
        EXPECT_EQ(log.status, GetParam().status);
        EXPECT_NE(log.error.find(GetParam().error_part), std::string::npos) << log.error;
    }
    // The handle is still open, whatever the callback did.
    int armed = -1;
    ASSERT_EQ(qx_camera_get_is_armed(camera, &armed), 0) << qx_camera_get_last_error();
    EXPECT_EQ(armed, GetParam().armed_after);
    ASSERT_EQ(qx_camera_disarm(camera), 0) << qx_camera_get_last_error();
    if (GetParam().armed_after == 0) {
        std::lock_guard<std::mutex> guard(log.mutex);
        EXPECT_EQ(log.frames, 1) << "a frame was delivered after the callback disarmed";
    }
    // The camera arms and streams again.
    ASSERT_EQ(qx_camera_arm(camera, 4), 0) << qx_camera_get_last_error();
    ASSERT_EQ(qx_camera_disarm(camera), 0) << qx_camera_get_last_error();
}

INSTANTIATE_TEST_SUITE_P(
    from_the_frame_callback, callback_reentry,
    ::testing::Values(reentry_case{"close", qx_camera_close_camera, 1004,
                                   "A camera cannot be closed from its own frame callback", 1},
                      reentry_case{"disarm", qx_camera_disarm, 0, "", 0},
                      reentry_case{"arm", [](void* handle) { return qx_camera_arm(handle, 4); }, 1004,
                                   "A camera cannot be armed from its own frame callback.", 1}),
    [](const ::testing::TestParamInfo<reentry_case>& info) { return std::string(info.param.name); });

}  // namespace
