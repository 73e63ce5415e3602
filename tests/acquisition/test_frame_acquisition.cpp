// Image acquisition end to end: the kit's arm, trigger, frame loop, polling
// and held frames over the built-in module, its packet assembly and the
// emulated USB transport, checked pixel by pixel against the emulator's
// pattern. Under faults every delivered frame is whole, and every frame the
// camera started is either delivered or counted lost.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "support/sdk_camera_fixture.h"

namespace {

using qx::test::frame_geometry;
using qx::test::gradient_mismatches;

constexpr std::uint32_t near_wrap = 0xFFFFFFFEu;

std::string camera_json(const std::string& packing, int bits, const std::string& extra = "", int width = 64,
                        int height = 8) {
    return R"({"id":"ACQ-1","serial":"SN-ACQ","sensor_width":)" + std::to_string(width) +
           R"(,"sensor_height":)" + std::to_string(height) +
           R"(,"pacing":"fast",)"
           R"("pattern":"gradient","bit_depth":)" +
           std::to_string(bits) + R"(,"packing":")" + packing + R"(","frame_count_start":)" +
           std::to_string(near_wrap) + (extra.empty() ? "" : "," + extra) + "}";
}

// One polled frame, copied out of the kit's buffer.
struct polled_frame {
    std::uint32_t frame_count = 0;
    int metadata_size = 0;
    std::vector<unsigned short> pixels;
    const unsigned short* image = nullptr;  // where the kit's buffer held them
};

// The frames a stream has delivered or counted lost.
std::uint64_t accounted(const qx_stream_statistics& stream) {
    return stream.frames_delivered + stream.frames_lost_incomplete + stream.frames_lost_no_free_slot;
}

class frame_acquisition : public qx::test::sdk_camera_fixture {
  protected:
    // Polls until a frame arrives or `attempts` polls found nothing.
    bool poll(polled_frame& frame, std::size_t pixel_count, int attempts) {
        for (int attempt = 0; attempt < attempts; ++attempt) {
            unsigned short* image = nullptr;
            int count = 0;
            unsigned char* metadata = nullptr;
            int metadata_size = 0;
            EXPECT_EQ(qx_camera_get_pending_frame_or_null(camera, &image, &count, &metadata, &metadata_size),
                      0)
                << qx_camera_get_last_error();
            if (image == nullptr)
                continue;
            frame.frame_count = static_cast<std::uint32_t>(count);
            frame.metadata_size = metadata_size;
            frame.pixels.assign(image, image + pixel_count);
            frame.image = image;
            EXPECT_EQ(reinterpret_cast<unsigned char*>(image), metadata + metadata_size);
            return true;
        }
        return false;
    }

    // Arms, triggers `frames` frames and polls every one of them.
    std::vector<polled_frame> capture(int frames, std::size_t pixel_count) {
        command("nframes " + std::to_string(frames));
        EXPECT_EQ(qx_camera_set_image_poll_timeout(camera, 200), 0) << qx_camera_get_last_error();
        EXPECT_EQ(qx_camera_arm(camera, 4), 0) << qx_camera_get_last_error();
        EXPECT_EQ(qx_camera_issue_software_trigger(camera), 0) << qx_camera_get_last_error();
        std::vector<polled_frame> captured;
        polled_frame frame;
        while (static_cast<int>(captured.size()) < frames && poll(frame, pixel_count, 10))
            captured.push_back(frame);
        EXPECT_EQ(qx_camera_disarm(camera), 0) << qx_camera_get_last_error();
        return captured;
    }

    // Polls until each of `frames` frames is delivered or counted lost and
    // every delivered one is read, checks every frame against the gradient
    // and answers their counts. The bound on empty polls only guards
    // against a hang.
    std::vector<std::uint32_t> drain(const frame_geometry& geometry, std::uint64_t frames) {
        std::vector<std::uint32_t> counts;
        polled_frame frame;
        for (int empty_polls = 0; empty_polls < 100;) {
            if (poll(frame, static_cast<std::size_t>(geometry.width * geometry.height), 1)) {
                empty_polls = 0;
                counts.push_back(frame.frame_count);
                EXPECT_EQ(gradient_mismatches(frame.pixels.data(), frame.frame_count, geometry), 0)
                    << "frame " << frame.frame_count;
                continue;
            }
            const auto stream = statistics();
            if (stream.frames_delivered == counts.size() && accounted(stream) >= frames)
                break;
            ++empty_polls;
        }
        return counts;
    }

    qx_stream_statistics statistics() {
        qx_stream_statistics values{};
        values.size = sizeof values;
        EXPECT_EQ(qx_camera_get_stream_statistics(camera, &values), 0) << qx_camera_get_last_error();
        return values;
    }

    // Waits until each of `frames` frames is delivered or counted lost. The
    // deadline only guards against a hang.
    void wait_for_stream_end(std::uint64_t frames) {
        const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (std::chrono::steady_clock::now() < give_up) {
            if (accounted(statistics()) >= frames)
                return;
            std::this_thread::yield();
        }
        ADD_FAILURE() << "frames neither delivered nor counted lost";
    }
};

struct encoding {
    const char* name;
    const char* packing;
    frame_geometry geometry;         // its bits are the camera's bit depth
    std::vector<std::string> shape;  // commands that set the region and binning
};

class frame_encodings : public frame_acquisition, public ::testing::WithParamInterface<encoding> {};

TEST_P(frame_encodings, every_pixel_of_every_frame_is_exact) {
    const frame_geometry& geometry = GetParam().geometry;
    open_camera_with(camera_json(GetParam().packing, geometry.bits));
    for (const auto& text : GetParam().shape) command(text);
    const auto frames = capture(5, static_cast<std::size_t>(geometry.width * geometry.height));
    ASSERT_EQ(frames.size(), 5u);
    EXPECT_EQ(counters().frames_completed, 5u) << "a software trigger gives exactly nframes frames";
    for (std::size_t index = 0; index < frames.size(); ++index) {
        // The counter starts near wrap-around and wraps within the run.
        EXPECT_EQ(frames[index].frame_count, static_cast<std::uint32_t>(near_wrap + index));
        EXPECT_EQ(frames[index].metadata_size, 56);
        EXPECT_EQ(gradient_mismatches(frames[index].pixels.data(), frames[index].frame_count, geometry), 0);
    }
}

INSTANTIATE_TEST_SUITE_P(
    stream, frame_encodings,
    ::testing::Values(encoding{"packing_none_12_bits", "none", {0, 0, 64, 8, 1, 1, 12}, {}},
                      encoding{"packing_none_16_bits", "none", {0, 0, 64, 8, 1, 1, 16}, {}},
                      encoding{"packing_12_12_bits", "12", {0, 0, 64, 8, 1, 1, 12}, {}},
                      encoding{"packing_10_10_bits", "10", {0, 0, 64, 8, 1, 1, 10}, {}},
                      // 32 columns binned by two; the pixels show the region and the binning.
                      encoding{
                          "region_and_binning", "12", {8, 2, 16, 4, 2, 1, 12}, {"roi 8 2 39 5", "hbin 2"}}),
    [](const ::testing::TestParamInfo<encoding>& info) { return std::string(info.param.name); });

TEST_F(frame_acquisition, arming_rules_their_texts_and_a_poll_that_finds_no_frame) {
    open_camera_with(camera_json("none", 12));
    double rate = -1;
    ASSERT_EQ(qx_camera_get_measured_frame_rate(camera, &rate), 0);
    EXPECT_EQ(rate, 0.0) << "nothing measured before a stream";
    qx_frame frame{};
    frame.size = sizeof frame;
    EXPECT_EQ(qx_camera_acquire_frame(camera, 0, &frame), 1004) << "not armed";
    EXPECT_EQ(qx_camera_acquire_frame(camera, 0, nullptr), 1004);
    EXPECT_EQ(qx_camera_arm(camera, 1), 1004);
    EXPECT_STREQ(qx_camera_get_last_error(), "number_of_frames_to_buffer Error: Invalid operation.");
    EXPECT_EQ(qx_camera_arm(camera, -3), 1004);
    ASSERT_EQ(qx_camera_set_image_poll_timeout(camera, 20), 0);
    int timeout = 0;
    ASSERT_EQ(qx_camera_get_image_poll_timeout(camera, &timeout), 0) << qx_camera_get_last_error();
    EXPECT_EQ(timeout, 20);
    ASSERT_EQ(qx_camera_arm(camera, 2), 0);

    // Armed but never triggered: a poll finds nothing after its time-out.
    unsigned short* image = reinterpret_cast<unsigned short*>(1);
    int count = -1;
    unsigned char* metadata = reinterpret_cast<unsigned char*>(1);
    int size = -1;
    ASSERT_EQ(qx_camera_get_pending_frame_or_null(camera, &image, &count, &metadata, &size), 0);
    EXPECT_EQ(image, nullptr);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(metadata, nullptr);
    EXPECT_EQ(size, 0);

    EXPECT_EQ(qx_camera_arm(camera, 2), 1004);
    EXPECT_STREQ(qx_camera_get_last_error(),
                 "Condition is unexpectedly true: Camera is already armed. Error: Invalid operation.");
    int armed = 0;
    ASSERT_EQ(qx_camera_get_is_armed(camera, &armed), 0);
    EXPECT_EQ(armed, 1);
    auto callback = [](void*, unsigned short*, int, unsigned char*, int, void*) {};
    EXPECT_EQ(qx_camera_set_frame_available_callback(camera, callback, nullptr), 1004);
    EXPECT_STREQ(
        qx_camera_get_last_error(),
        "Condition is unexpectedly true: Callback cannot be set while the camera is armed. Error: Invalid "
        "operation.");
    ASSERT_EQ(qx_camera_disarm(camera), 0);
    ASSERT_EQ(qx_camera_get_is_armed(camera, &armed), 0);
    EXPECT_EQ(armed, 0);
    // A disarm of a disarmed camera still sends "stop" and succeeds.
    EXPECT_EQ(qx_camera_disarm(camera), 0);

    ASSERT_EQ(qx_camera_set_frame_available_callback(camera, callback, nullptr), 0);
    EXPECT_EQ(qx_camera_get_pending_frame_or_null(camera, &image, &count, &metadata, &size), 1004);
    EXPECT_STREQ(qx_camera_get_last_error(),
                 "Expected pointer to be nullptr: This polling function can only be used when no callback is "
                 "registered. Error: Invalid operation.");
    EXPECT_EQ(qx_camera_get_pending_frame_or_null(camera, nullptr, &count, &metadata, &size), 1004);
    EXPECT_STREQ(qx_camera_get_last_error(), "image_buffer_param Error: Invalid operation.");
    EXPECT_EQ(qx_camera_get_is_armed(camera, nullptr), 1004);
    EXPECT_STREQ(qx_camera_get_last_error(), "is_armed__param Error: Invalid operation.");
    EXPECT_EQ(qx_camera_get_measured_frame_rate(camera, nullptr), 1004);
    EXPECT_STREQ(qx_camera_get_last_error(), "measured_frames_per_second_param Error: Invalid operation.");
    EXPECT_EQ(qx_camera_get_frame_available_callback(camera, nullptr), 1004);
    EXPECT_STREQ(qx_camera_get_last_error(),
                 "pointer_to_pointer_to_frame_available_callback Error: Invalid operation.");
    frame_available_callback stored = nullptr;
    ASSERT_EQ(qx_camera_get_frame_available_callback(camera, &stored), 0);
    EXPECT_EQ(stored, +callback);

    // Frames can be held only by an armed camera without a callback.
    ASSERT_EQ(qx_camera_arm(camera, 2), 0);
    EXPECT_EQ(qx_camera_acquire_frame(camera, 0, &frame), 1004);
    EXPECT_STREQ(qx_camera_get_last_error(),
                 "Expected pointer to be nullptr: Frames can only be held when no callback is registered. "
                 "Error: Invalid operation.");
}

// Collects what the frame callback sees.
struct callback_log {
    std::mutex mutex;
    std::condition_variable arrived;
    std::vector<std::uint32_t> counts;  // guarded by mutex
    int mismatched_frames = 0;          // guarded by mutex
    int handle_calls_failed = 0;        // guarded by mutex
    frame_geometry geometry{0, 0, 64, 8, 1, 1, 12};
    bool call_back_into_handle = false;

    static void on_frame(void* handle, unsigned short* image, int count, unsigned char*, int, void* context) {
        auto* log = static_cast<callback_log*>(context);
        const int mismatches = gradient_mismatches(image, static_cast<std::uint32_t>(count), log->geometry);
        int failed = 0;
        if (log->call_back_into_handle) {
            int armed = 0;
            double rate = 0;
            if (qx_camera_get_is_armed(handle, &armed) != 0 || armed != 1)
                ++failed;
            if (qx_camera_get_measured_frame_rate(handle, &rate) != 0)
                ++failed;
        }
        std::lock_guard<std::mutex> guard(log->mutex);
        log->counts.push_back(static_cast<std::uint32_t>(count));
        if (mismatches != 0)
            ++log->mismatched_frames;
        log->handle_calls_failed += failed;
        log->arrived.notify_all();
    }
    // The frames received once there are at least @p count; the time limit
    // only guards against a hang.
    std::size_t wait_for(std::size_t count) {
        std::unique_lock<std::mutex> guard(mutex);
        arrived.wait_for(guard, std::chrono::seconds(60), [&] { return counts.size() >= count; });
        return counts.size();
    }
};

// A machine too busy to run the callback in time loses frames for want of a
// free slot, counted; it never delivers one out of order or damaged.
TEST_F(frame_acquisition, ten_thousand_streamed_frames_arrive_in_order_and_intact) {
    constexpr std::uint64_t frames = 10000;
    open_camera_with(camera_json("12", 12));
    callback_log log;
    log.call_back_into_handle = true;
    ASSERT_EQ(qx_camera_set_frame_available_callback(camera, &callback_log::on_frame, &log), 0);
    command("nframes " + std::to_string(frames));
    ASSERT_EQ(qx_camera_arm(camera, 8), 0) << qx_camera_get_last_error();
    ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0);
    wait_for_stream_end(frames);
    // Every frame the kit delivered reaches the callback before the disarm.
    log.wait_for(statistics().frames_delivered);
    ASSERT_EQ(qx_camera_disarm(camera), 0) << qx_camera_get_last_error();
    const auto stream = statistics();

    std::lock_guard<std::mutex> guard(log.mutex);
    EXPECT_EQ(stream.frames_lost_incomplete, 0u);
    ASSERT_EQ(log.counts.size() + stream.frames_lost_no_free_slot, frames);
    ASSERT_FALSE(log.counts.empty());
    EXPECT_EQ(log.counts.front(), near_wrap);
    for (std::size_t index = 1; index < log.counts.size(); ++index) {
        const std::uint32_t step = log.counts[index] - log.counts[index - 1];
        ASSERT_TRUE(step >= 1 && step <= 1 + stream.frames_lost_no_free_slot) << "frame " << index;
    }
    EXPECT_EQ(log.mismatched_frames, 0);
    EXPECT_EQ(log.handle_calls_failed, 0);
}

TEST_F(frame_acquisition, arm_and_disarm_a_thousand_times_reusing_the_buffer_then_close_while_streaming) {
    open_camera_with(camera_json("none", 12));
    ASSERT_EQ(qx_camera_set_image_poll_timeout(camera, 200), 0);
    command("nframes 1");
    const unsigned short* first_image = nullptr;
    for (int round = 0; round < 1000; ++round) {
        ASSERT_EQ(qx_camera_arm(camera, 2), 0) << "round " << round << ": " << qx_camera_get_last_error();
        if (round % 100 == 0) {
            ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0);
            polled_frame frame;
            ASSERT_TRUE(poll(frame, 64 * 8, 10)) << "round " << round;
            // The same buffer serves every arm of the same size: the first
            // slot's pixels are always at the same address.
            if (first_image == nullptr)
                first_image = frame.image;
            EXPECT_EQ(frame.image, first_image) << "round " << round;
        }
        ASSERT_EQ(qx_camera_disarm(camera), 0) << "round " << round << ": " << qx_camera_get_last_error();
    }

    // Closing a camera that streams without end does not hang.
    callback_log log;
    ASSERT_EQ(qx_camera_set_frame_available_callback(camera, &callback_log::on_frame, &log), 0);
    command("nframes 0");
    ASSERT_EQ(qx_camera_arm(camera, 4), 0);
    ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0);
    EXPECT_GE(log.wait_for(20), 20u);
    ASSERT_EQ(qx_camera_close_camera(camera), 0) << qx_camera_get_last_error();
    camera = nullptr;
}

// A fault on one frame of a run: exactly that frame is missing, every other
// frame arrives pixel-exact, and the stream recovers at the next frame. One
// case per kind of fault; where in a frame it strikes is varied by the
// packet assembler's own tests.
struct fault_case {
    const char* name;
    const char* faults;
    qx_emu_fault_kind kind;
};

class frame_faults : public frame_acquisition, public ::testing::WithParamInterface<fault_case> {};

// 512 x 64 packed 12-bit pixels and the metadata make four packets a frame.
constexpr int fault_width = 512;
constexpr int fault_height = 64;
const frame_geometry fault_geometry{0, 0, fault_width, fault_height, 1, 1, 12};

TEST_P(frame_faults, exactly_the_damaged_frame_is_missing) {
    open_camera_with(camera_json("12", 12, "", fault_width, fault_height));
    constexpr int run_length = 8;
    constexpr int damaged_index = 3;
    command("nframes " + std::to_string(run_length));
    ASSERT_EQ(qx_camera_set_image_poll_timeout(camera, 300), 0);
    ASSERT_EQ(qx_camera_arm(camera, run_length + 2), 0) << qx_camera_get_last_error();
    ASSERT_EQ(qx_emu_set_faults(device_path.c_str(), GetParam().faults), QX_EMU_OK)
        << qx_emu_get_last_error();
    ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0);

    const auto counts = drain(fault_geometry, run_length);
    std::vector<std::uint32_t> expected;
    for (int index = 0; index < run_length; ++index) {
        if (index != damaged_index)
            expected.push_back(near_wrap + static_cast<std::uint32_t>(index));
    }
    EXPECT_EQ(counts, expected);
    const auto sent = counters();
    EXPECT_EQ(sent.faults_by_kind[GetParam().kind], 1u);
    EXPECT_EQ(sent.frames_started, static_cast<std::uint64_t>(run_length));
    EXPECT_EQ(counts.size(), sent.frames_started - sent.faults_injected);
}

INSTANTIATE_TEST_SUITE_P(
    injected, frame_faults,
    ::testing::Values(
        fault_case{"dropped_packet", R"({"drop_packet":{"frames":[3],"packet":2}})",
                   QX_EMU_FAULT_DROP_PACKET},
        fault_case{"skipped_sequence", R"({"sequence_gap":{"frames":[3],"packet":1,"mode":"skip"}})",
                   QX_EMU_FAULT_SEQUENCE_GAP},
        fault_case{"repeated_sequence", R"({"sequence_gap":{"frames":[3],"packet":3,"mode":"repeat"}})",
                   QX_EMU_FAULT_SEQUENCE_GAP},
        fault_case{"corrupted_header", R"({"corrupt_header":{"frames":[3],"packet":1}})",
                   QX_EMU_FAULT_CORRUPT_HEADER},
        fault_case{"stall_mid_frame", R"({"stall_image":{"frames":[3],"packet":1}})",
                   QX_EMU_FAULT_STALL_IMAGE},
        // Held back past the host's 2 s wait for a packet: a time-out mid-frame.
        fault_case{"time_out_mid_frame", R"({"delay_packet":{"frames":[3],"packet":2,"ms":2500}})",
                   QX_EMU_FAULT_DELAY_PACKET}),
    [](const ::testing::TestParamInfo<fault_case>& info) { return std::string(info.param.name); });

TEST_F(frame_acquisition, an_unplug_mid_frame_ends_the_stream_without_a_hang) {
    open_camera_with(camera_json("12", 12, "", fault_width, fault_height));
    command("nframes 8");
    // Triggered by a pulse, not by a command: the unplug may then come at
    // any moment without a command reply in flight to lose.
    command("hwtrig std");
    ASSERT_EQ(qx_camera_set_image_poll_timeout(camera, 300), 0);
    ASSERT_EQ(qx_camera_arm(camera, 10), 0);
    ASSERT_EQ(qx_emu_set_faults(device_path.c_str(), R"({"unplug":{"frames":[3],"packet":1}})"), QX_EMU_OK);
    ASSERT_EQ(qx_emu_pulse_hardware_trigger(device_path.c_str()), QX_EMU_OK);
    const std::vector<std::uint32_t> expected = {near_wrap, near_wrap + 1, near_wrap + 2};
    EXPECT_EQ(drain(fault_geometry, 3), expected);
    // The camera is gone: commands fail, and closing still works.
    char reply[64];
    char query[] = "sernum";
    EXPECT_EQ(_internal_command(camera, query, sizeof query, reply, sizeof reply), 1004);
    EXPECT_EQ(qx_camera_close_camera(camera), 0) << qx_camera_get_last_error();
    camera = nullptr;
}

// Column balancing end to end: a flat frame multiplied by the camera's
// column gains of the active gain setting, cut to the region.
TEST_F(frame_acquisition, frames_arrive_column_balanced_pixel_by_pixel) {
    open_camera_with(
        R"({"id":"CB-1","serial":"SN-CB","sensor_width":64,"sensor_height":8,"pacing":"fast","pattern":"flat",)"
        R"("flat_value":900,"gain_min":0,"gain_max":4,"column_gains":[{"ramp":[0.5,1.5]},{"constant":2.0},)"
        R"({"constant":0.25},{"ramp":[1.0,-1.0]},{"constant":1.0}]})");
    command("roi 8 0 39 7");
    for (const int gain : {0, 2, 3}) {
        SCOPED_TRACE("gain " + std::to_string(gain));
        command("gain " + std::to_string(gain));
        const auto frames = capture(2, 32 * 8);
        ASSERT_EQ(frames.size(), 2u);
        for (const auto& frame : frames) {
            int mismatches = 0;
            for (int row = 0; row < 8; ++row) {
                for (int column = 0; column < 32; ++column) {
                    const int x = 8 + column;
                    const double factor = gain == 0   ? static_cast<float>(0.5 + 1.0 * x / 63)
                                          : gain == 2 ? 0.25
                                                      : static_cast<float>(1.0 - 2.0 * x / 63);
                    const double product = 900.0 * static_cast<float>(factor);
                    const double truncated = std::trunc(static_cast<float>(product));
                    const int expected =
                        truncated < 0 || truncated > 1023 ? 1023 : static_cast<int>(truncated);
                    if (frame.pixels[static_cast<std::size_t>(row * 32 + column)] != expected)
                        ++mismatches;
                }
            }
            EXPECT_EQ(mismatches, 0);
        }
    }
}

constexpr int large_width = 640;
constexpr int large_height = 480;
const frame_geometry large_geometry{0, 0, large_width, large_height, 1, 1, 12};

// The pixels of a held frame that differ from the gradient; -1 for none.
int held_mismatches(const qx_frame& frame) {
    if (frame.image_data == nullptr)
        return -1;
    return gradient_mismatches(frame.image_data, static_cast<std::uint32_t>(frame.frame_count),
                               large_geometry);
}

TEST_F(frame_acquisition, under_mixed_packet_faults_frames_are_whole_or_counted) {
    constexpr int frames = 400;
    open_camera_with(camera_json("12", 12, "", large_width, large_height));
    command("nframes " + std::to_string(frames));
    ASSERT_EQ(qx_camera_set_image_poll_timeout(camera, 200), 0);
    ASSERT_EQ(qx_camera_arm(camera, 8), 0) << qx_camera_get_last_error();
    ASSERT_EQ(qx_emu_set_faults(device_path.c_str(),
                                R"({"seed":7,"drop_packet":{"rate":0.004},"sequence_gap":{"rate":0.002},)"
                                R"("corrupt_header":{"rate":0.002},"stall_image":{"rate":0.002}})"),
              QX_EMU_OK);
    ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0) << qx_camera_get_last_error();

    const auto counts = drain(large_geometry, frames);
    // In order across the counter's wrap-around: each step forward, by at
    // most the run's length.
    for (std::size_t index = 1; index < counts.size(); ++index) {
        const std::uint32_t step = counts[index] - counts[index - 1];
        EXPECT_TRUE(step >= 1 && step <= frames) << "frame " << counts[index];
    }
    const auto emulator = counters();
    const auto stream = statistics();
    EXPECT_EQ(stream.size, sizeof stream);
    EXPECT_EQ(stream.frames_delivered, counts.size());
    EXPECT_EQ(accounted(stream), emulator.frames_started);
    EXPECT_GT(stream.frames_lost_incomplete, 0u);
    EXPECT_EQ(stream.packets_received, emulator.packets_sent);
    EXPECT_EQ(stream.bytes_received, emulator.packets_sent * 16384);
    EXPECT_EQ(stream.stalls_recovered, emulator.faults_by_kind[QX_EMU_FAULT_STALL_IMAGE]);
    EXPECT_EQ(stream.resets, stream.stalls_recovered);
    ASSERT_EQ(qx_camera_disarm(camera), 0);
}

// Frames without a free slot are dropped whole and counted, whether the
// slots wait to be polled or are held. Held frames are read in place and
// never overwritten while held.
TEST_F(frame_acquisition, frames_without_a_free_slot_are_counted_and_held_frames_stay_intact) {
    open_camera_with(camera_json("12", 12, "", large_width, large_height));
    command("nframes 10");
    ASSERT_EQ(qx_camera_set_image_poll_timeout(camera, 200), 0);
    ASSERT_EQ(qx_camera_arm(camera, 3), 0) << qx_camera_get_last_error();
    ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0);
    // The kit has placed or dropped all ten frames before it is asked for any.
    wait_for_stream_end(10);
    EXPECT_EQ(statistics().frames_lost_no_free_slot, 7u);
    EXPECT_EQ(drain(large_geometry, 10),
              (std::vector<std::uint32_t>{near_wrap, near_wrap + 1, near_wrap + 2}));
    ASSERT_EQ(qx_camera_disarm(camera), 0);

    command("nframes 5");
    ASSERT_EQ(qx_camera_arm(camera, 3), 0) << qx_camera_get_last_error();
    ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0);
    const auto acquire = [this] {
        qx_frame frame{};
        frame.size = sizeof frame;
        EXPECT_EQ(qx_camera_acquire_frame(camera, 2000, &frame), 0) << qx_camera_get_last_error();
        return frame;
    };
    std::vector<qx_frame> held;
    for (int frame = 0; frame < 3; ++frame) held.push_back(acquire());
    // Every slot is held: the last two frames are dropped whole and counted,
    // on top of the seven before, as a re-arm resets no counter.
    wait_for_stream_end(15);
    EXPECT_EQ(statistics().frames_lost_no_free_slot, 9u);
    for (const auto& frame : held) {
        EXPECT_EQ(frame.width, large_width);
        EXPECT_EQ(frame.height, large_height);
        EXPECT_EQ(frame.bit_depth, 12);
        EXPECT_EQ(held_mismatches(frame), 0);
    }
    EXPECT_EQ(held[1].frame_count, held[0].frame_count + 1);

    // A released slot takes the next frame.
    ASSERT_EQ(qx_camera_release_frame(&held[0]), 0) << qx_camera_get_last_error();
    EXPECT_EQ(held[0].image_data, nullptr);
    command("nframes 1");
    ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0);
    held[0] = acquire();
    EXPECT_EQ(held_mismatches(held[0]), 0);

    // A re-arm with frames held leaves them untouched while new ones stream.
    ASSERT_EQ(qx_camera_disarm(camera), 0);
    command("nframes 3");
    ASSERT_EQ(qx_camera_arm(camera, 3), 0) << qx_camera_get_last_error();
    ASSERT_EQ(qx_camera_issue_software_trigger(camera), 0);
    held.push_back(acquire());
    for (const auto& frame : held) EXPECT_EQ(held_mismatches(frame), 0);

    // Held frames outlive the camera; releasing them afterwards is safe.
    ASSERT_EQ(qx_camera_close_camera(camera), 0) << qx_camera_get_last_error();
    camera = nullptr;
    for (auto& frame : held) {
        EXPECT_EQ(held_mismatches(frame), 0);
        qx_frame copy = frame;
        EXPECT_EQ(qx_camera_release_frame(&frame), 0) << qx_camera_get_last_error();
        EXPECT_EQ(qx_camera_release_frame(&copy), 1004);
        EXPECT_STREQ(qx_camera_get_last_error(), "Frame is not held. Error: Invalid operation.");
    }
}

}  // namespace
