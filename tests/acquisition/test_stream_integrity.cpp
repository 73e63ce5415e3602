// Frames under faults, end to end on an emulated camera: every delivered
// frame is whole, and every frame the camera started is either delivered or
// counted lost, in step with the emulator's own counters. Held frames are
// read in place and never overwritten while held.

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "support/sdk_camera_fixture.h"

namespace {

using qx::test::frame_geometry;
using qx::test::gradient_mismatches;

constexpr int width = 640;
constexpr int height = 480;
const frame_geometry geometry{0, 0, width, height, 1, 1, 12};

std::string camera_json() {
    return R"({"id":"INT-1","serial":"SN-INT","sensor_width":640,"sensor_height":480,"pacing":"fast",)"
           R"("pattern":"gradient","bit_depth":12,"packing":"12","frame_count_start":0})";
}

class stream_integrity : public qx::test::sdk_camera_fixture {
  protected:
    qx_stream_statistics statistics() {
        qx_stream_statistics values{};
        values.size = sizeof values;
        EXPECT_EQ(qx_camera_get_stream_statistics(camera, &values), 0) << qx_camera_get_last_error();
        return values;
    }

    // Waits until each of `frames` frames is delivered or counted lost. The
    // deadline only guards against a hang.
    void wait_for_stream_end(std::uint64_t frames) {
        const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (std::chrono::steady_clock::now() < give_up) {
            const auto stream = statistics();
            if (stream.frames_delivered + stream.frames_lost_incomplete + stream.frames_lost_no_free_slot >=
                frames)
                return;
            std::this_thread::yield();
        }
        ADD_FAILURE() << "frames neither delivered nor counted lost";
    }

    qx_frame acquire(int timeout_ms = 2000) {
        qx_frame frame{};
        frame.size = sizeof frame;
        EXPECT_EQ(qx_camera_acquire_frame(camera, timeout_ms, &frame), 0) << qx_camera_get_last_error();
        return frame;
    }
};

TEST_F(stream_integrity, under_mixed_packet_faults_frames_are_whole_or_counted) {
    constexpr int frames = 400;
    open_camera_with(camera_json());
    command("nframes " + std::to_string(frames));
    ASSERT_EQ(qx_camera_set_image_poll_timeout(camera, 200), 0);
    ASSERT_EQ(qx_camera_arm(camera, 8), 0) << qx_camera_get_last_error();
    ASSERT_EQ(qx_emu_set_faults(device_path.c_str(),
                                R"({"seed":7,"drop_packet":{"rate":0.004},"sequence_gap":{"rate":0.002},)"
                                R"("corrupt_header":{"rate":0.002},"stall_image":{"rate":0.002}})"),
              QX_EMU_OK);
    ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0) << qx_camera_get_last_error();

    std::uint64_t polled = 0;
    std::uint32_t previous_count = 0;
    // Polls until every frame is accounted for and every delivered one read;
    // the empty-poll bound only guards against a hang.
    for (int empty_polls = 0; empty_polls < 100;) {
        unsigned short* image = nullptr;
        int count = 0;
        unsigned char* metadata = nullptr;
        int metadata_size = 0;
        ASSERT_EQ(qx_camera_get_pending_frame_or_null(camera, &image, &count, &metadata, &metadata_size), 0)
            << qx_camera_get_last_error();
        if (image == nullptr) {
            const auto stream = statistics();
            if (stream.frames_delivered == polled &&
                stream.frames_delivered + stream.frames_lost_incomplete + stream.frames_lost_no_free_slot >=
                    frames)
                break;
            ++empty_polls;
            continue;
        }
        empty_polls = 0;
        ASSERT_EQ(gradient_mismatches(image, static_cast<std::uint32_t>(count), geometry), 0)
            << "frame " << count;
        if (polled > 0) {
            EXPECT_GT(static_cast<std::uint32_t>(count), previous_count);
        }
        previous_count = static_cast<std::uint32_t>(count);
        ++polled;
    }
    const auto emulator = counters();
    const auto stream = statistics();
    EXPECT_EQ(stream.size, sizeof stream);
    EXPECT_EQ(stream.frames_delivered, polled);
    EXPECT_EQ(stream.frames_delivered + stream.frames_lost_incomplete + stream.frames_lost_no_free_slot,
              emulator.frames_started);
    EXPECT_GT(stream.frames_lost_incomplete, 0u);
    EXPECT_EQ(stream.packets_received, emulator.packets_sent);
    EXPECT_EQ(stream.bytes_received, emulator.packets_sent * 16384);
    EXPECT_EQ(stream.stalls_recovered, emulator.faults_by_kind[QX_EMU_FAULT_STALL_IMAGE]);
    EXPECT_EQ(stream.resets, stream.stalls_recovered);
    ASSERT_EQ(qx_camera_disarm(camera), 0);
}

TEST_F(stream_integrity, held_frames_stay_intact_and_frames_without_a_free_slot_are_counted) {
    open_camera_with(camera_json());
    command("nframes 5");
    ASSERT_EQ(qx_camera_arm(camera, 3), 0) << qx_camera_get_last_error();
    ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0);
    std::vector<qx_frame> held;
    for (int frame = 0; frame < 3; ++frame) held.push_back(acquire());
    // Every slot is held: the last two frames are dropped whole and counted.
    wait_for_stream_end(5);
    EXPECT_EQ(statistics().frames_lost_no_free_slot, 2u);
    for (const auto& frame : held) {
        ASSERT_NE(frame.image_data, nullptr);
        EXPECT_EQ(frame.width, width);
        EXPECT_EQ(frame.height, height);
        EXPECT_EQ(frame.bit_depth, 12);
        EXPECT_EQ(
            gradient_mismatches(frame.image_data, static_cast<std::uint32_t>(frame.frame_count), geometry),
            0);
    }
    EXPECT_EQ(held[1].frame_count, held[0].frame_count + 1);

    // A released slot takes the next frame.
    ASSERT_EQ(qx_camera_release_frame(&held[0]), 0) << qx_camera_get_last_error();
    EXPECT_EQ(held[0].image_data, nullptr);
    command("nframes 1");
    ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0);
    held[0] = acquire();
    ASSERT_NE(held[0].image_data, nullptr);
    EXPECT_EQ(
        gradient_mismatches(held[0].image_data, static_cast<std::uint32_t>(held[0].frame_count), geometry),
        0);

    // A re-arm with frames held leaves them untouched while new ones stream.
    ASSERT_EQ(qx_camera_disarm(camera), 0);
    command("nframes 3");
    ASSERT_EQ(qx_camera_arm(camera, 3), 0) << qx_camera_get_last_error();
    ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0);
    qx_frame fresh = acquire();
    ASSERT_NE(fresh.image_data, nullptr);
    for (const auto& frame : held)
        EXPECT_EQ(
            gradient_mismatches(frame.image_data, static_cast<std::uint32_t>(frame.frame_count), geometry),
            0);

    // Held frames outlive the camera; releasing them afterwards is safe.
    ASSERT_EQ(qx_camera_close_camera(camera), 0) << qx_camera_get_last_error();
    camera = nullptr;
    held.push_back(fresh);
    for (auto& frame : held) {
        EXPECT_EQ(
            gradient_mismatches(frame.image_data, static_cast<std::uint32_t>(frame.frame_count), geometry),
            0);
        qx_frame copy = frame;
        EXPECT_EQ(qx_camera_release_frame(&frame), 0) << qx_camera_get_last_error();
        EXPECT_EQ(qx_camera_release_frame(&copy), 1004);
        EXPECT_STREQ(qx_camera_get_last_error(), "Frame is not held. Error: Invalid operation.");
    }
}

TEST_F(stream_integrity, polled_frames_beyond_the_slots_are_lost_until_the_kit_polls) {
    open_camera_with(camera_json());
    command("nframes 10");
    ASSERT_EQ(qx_camera_set_image_poll_timeout(camera, 200), 0);
    ASSERT_EQ(qx_camera_arm(camera, 3), 0) << qx_camera_get_last_error();
    ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0);
    // The kit has placed or dropped all ten frames before it is asked for any.
    wait_for_stream_end(10);
    EXPECT_EQ(statistics().frames_lost_no_free_slot, 7u);
    std::vector<std::uint32_t> counts;
    for (unsigned short* image = nullptr;;) {
        int count = 0;
        unsigned char* metadata = nullptr;
        int metadata_size = 0;
        ASSERT_EQ(qx_camera_get_pending_frame_or_null(camera, &image, &count, &metadata, &metadata_size), 0);
        if (image == nullptr)
            break;
        counts.push_back(static_cast<std::uint32_t>(count));
    }
    EXPECT_EQ(counts, (std::vector<std::uint32_t>{0, 1, 2}));
}

TEST_F(stream_integrity, holding_frames_is_refused_where_it_cannot_work) {
    open_camera_with(camera_json());
    qx_frame frame{};
    frame.size = sizeof frame;
    EXPECT_EQ(qx_camera_acquire_frame(camera, 0, &frame), 1004);  // not armed
    EXPECT_EQ(qx_camera_acquire_frame(camera, 0, nullptr), 1004);
    ASSERT_EQ(qx_camera_set_frame_available_callback(
                  camera, [](void*, unsigned short*, int, unsigned char*, int, void*) {}, nullptr),
              0);
    ASSERT_EQ(qx_camera_arm(camera, 2), 0);
    EXPECT_EQ(qx_camera_acquire_frame(camera, 0, &frame), 1004);
    EXPECT_STREQ(qx_camera_get_last_error(),
                 "Expected pointer to be nullptr: Frames can only be held when no callback is registered. "
                 "Error: Invalid operation.");
    ASSERT_EQ(qx_camera_disarm(camera), 0);
}

}  // namespace
