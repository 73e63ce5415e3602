// Calls that a careless or hostile application makes: closing, disarming or
// arming a camera from inside its own frame callback, or arming it from
// another thread while that callback still runs. None may crash or hang.

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <future>
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

// The first frame's callback disarms, then goes on reading the camera while
// another thread arms it again. The arm must wait for the callback without
// holding the camera, or each would wait for the other for ever.
struct disarm_then_read {
    std::mutex mutex;
    std::condition_variable changed;
    int frames = 0;           // guarded by mutex
    bool disarmed = false;    // guarded by mutex
    bool arm_called = false;  // guarded by mutex
    int failed_reads = 0;     // guarded by mutex
    std::string error;        // guarded by mutex

    static void on_frame(void* handle, unsigned short*, int, unsigned char*, int, void* context) {
        auto* log = static_cast<disarm_then_read*>(context);
        std::unique_lock<std::mutex> lock(log->mutex);
        if (log->frames++ > 0)
            return;
        lock.unlock();
        const int status = qx_camera_disarm(handle);
        lock.lock();
        log->error = status == 0 ? "" : qx_camera_get_last_error();
        log->disarmed = true;
        log->changed.notify_all();
        log->changed.wait(lock, [&] { return log->arm_called; });
        lock.unlock();
        // Camera round trips, so that the arm gets its turn while they go on.
        int failed = 0;
        for (int read = 0; read < 100; ++read) {
            long long exposure = 0;
            failed += qx_camera_get_exposure_time(handle, &exposure) != 0;
        }
        lock.lock();
        log->failed_reads = failed;
    }
};

using callback_after_disarm = qx::test::sdk_camera_fixture;

TEST_F(callback_after_disarm, a_callback_that_disarmed_may_read_the_camera_while_another_thread_arms_it) {
    open_camera_with(
        R"({"id":"RE-2","serial":"SN-RE2","sensor_width":64,"sensor_height":8,"pacing":"fast"})");
    disarm_then_read log;
    ASSERT_EQ(qx_camera_set_frame_available_callback(camera, &disarm_then_read::on_frame, &log), 0);
    command("nframes 0");
    ASSERT_EQ(qx_camera_arm(camera, 4), 0) << qx_camera_get_last_error();
    ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0);
    {
        std::unique_lock<std::mutex> waiting(log.mutex);
        ASSERT_TRUE(log.changed.wait_for(waiting, 20s, [&] { return log.disarmed; })) << "no frame arrived";
        EXPECT_EQ(log.error, "");
    }
    auto arming = std::async(std::launch::async, [&] {
        {
            std::lock_guard<std::mutex> guard(log.mutex);
            log.arm_called = true;
        }
        log.changed.notify_all();
        return qx_camera_arm(camera, 4) == 0 ? std::string() : qx_camera_get_last_error();
    });
    // A hang here fails the test by its time-out.
    EXPECT_EQ(arming.get(), "");
    int armed = 0;
    ASSERT_EQ(qx_camera_get_is_armed(camera, &armed), 0);
    EXPECT_EQ(armed, 1);
    ASSERT_EQ(qx_camera_disarm(camera), 0) << qx_camera_get_last_error();
    std::lock_guard<std::mutex> guard(log.mutex);
    EXPECT_EQ(log.failed_reads, 0);
}

}  // namespace
