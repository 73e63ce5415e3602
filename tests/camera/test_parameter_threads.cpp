// Parameter calls from several threads: two threads hammer one camera while
// a third opens and closes another. Every reply must reach the call that
// asked for it, and every failure text the thread that failed. A deadlock
// ends in the test run's time limit.

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/kit_fixture.h"

namespace {

using namespace qx::test;

using parameter_threads = kit_fixture;

// The scripted device answers from the command and the device it reached,
// so that a reply delivered to the wrong call or camera shows.
bool answer_from_command(const scripted_call& call, char* response, std::uint64_t size, int& status) {
    const std::string& device_id = *static_cast<const std::string*>(call.device);
    const std::string device_number = device_id.substr(device_id.find('-') + 1);
    std::string reply;
    if (call.command == "discover") {
        reply = "exp";
    } else if (call.command == "exp") {
        reply = "100" + device_number;
    } else if (call.command == "frametime") {
        reply = "200" + device_number;
    } else if (call.command == "model") {
        reply = "model of " + device_id;
    } else if (call.command.rfind("echo ", 0) == 0) {
        reply = "answer to " + call.command + " on " + device_id;
    } else if (call.function == "get_data") {
        return false;
    }
    status = 0;
    std::strncpy(response, reply.c_str(), static_cast<std::size_t>(size));
    // Giving up the processor between writing the reply and its reading by
    // the caller widens the window in which calls sharing the reply buffer
    // without the handle's lock would overwrite each other's replies.
    std::this_thread::yield();
    return true;
}

TEST_F(parameter_threads, replies_reach_their_callers_while_another_camera_opens_and_closes) {
    open_sdk_with_cameras({{"id-1", "SN1"}, {"id-2", "SN2"}});
    {
        std::lock_guard<std::mutex> guard(scripted_module().mutex);
        scripted_module().handler = answer_from_command;
    }
    void* shared_camera = open_camera("SN1");
    ASSERT_NE(shared_camera, nullptr);

    constexpr int rounds = 400;
    std::atomic<int> mismatches{0};
    const auto expect = [&](bool condition) {
        if (!condition)
            ++mismatches;
    };
    // A raw command on the shared camera, whose reply must name it.
    const auto echoes = [&](std::string command) {
        char response[128] = {};
        return _internal_command(shared_camera, command.data(), static_cast<int>(command.size() + 1),
                                 response, sizeof response) == 0 &&
               response == "answer to " + command + " on id-1";
    };

    std::thread exposure_reader([&] {
        for (int round = 0; round < rounds; ++round) {
            long long exposure = 0;
            expect(qx_camera_get_exposure_time(shared_camera, &exposure) == 0 && exposure == 1001);
            expect(echoes("echo first " + std::to_string(round)));
            expect(qx_camera_get_exposure_time(shared_camera, nullptr) == 1004 &&
                   last_error() == "exposure Error: Invalid operation.");
        }
    });
    std::thread mixed_caller([&] {
        for (int round = 0; round < rounds; ++round) {
            int frame_time = 0;
            expect(qx_camera_get_frame_time(shared_camera, &frame_time) == 0 && frame_time == 2001);
            char model[64] = {};
            expect(qx_camera_get_model(shared_camera, model, sizeof model) == 0 &&
                   std::string(model) == "model of id-1");
            expect(qx_camera_set_exposure_time(shared_camera, round) == 0);
            expect(echoes("echo second " + std::to_string(round)));
            expect(qx_camera_get_frame_time(shared_camera, nullptr) == 1004 &&
                   last_error() == "frame_time_us Error: Invalid operation.");
        }
    });
    std::thread opener([&] {
        for (int round = 0; round < rounds / 4; ++round) {
            void* other = nullptr;
            char serial[] = "SN2";
            if (qx_camera_open_camera(serial, &other) != 0) {
                ++mismatches;
                continue;
            }
            long long exposure = 0;
            expect(qx_camera_get_exposure_time(other, &exposure) == 0 && exposure == 1002);
            expect(qx_camera_close_camera(other) == 0);
        }
    });
    exposure_reader.join();
    mixed_caller.join();
    opener.join();
    EXPECT_EQ(mismatches.load(), 0);

    std::lock_guard<std::mutex> guard(scripted_module().mutex);
    scripted_module().handler = nullptr;
}

}  // namespace
