// The stream soak: long runs of emulated cameras through the whole kit.
//
//   stream_soak frames [N]   N frames (default 100,000) with about 1% of
//                            packets faulted and corrupt metadata: every
//                            delivered frame checked pixel by pixel, frame
//                            counts only rising, every frame accounted for.
//   stream_soak plug [N]     plug, stream and unplug a camera N times
//                            (default 1,000): threads and descriptors back
//                            to their baseline, no hang.
//   stream_soak close [N]    close and disarm after streaming, N runs
//                            (default 100): median and maximum, as ratios
//                            to the same calls on a camera that never streamed.
//
// Exit status 0 when every check held, 1 otherwise, 2 on a hang.

#include <dirent.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "quendral_vko_camera_emulator.h"
#include "quendral_vko_camera_sdk.h"

namespace {

using clock_type = std::chrono::steady_clock;

int failures = 0;

void check(bool condition, const std::string& what) {
    if (!condition) {
        ++failures;
        std::printf("FAILED: %s\n", what.c_str());
    }
}

void require(int status, const char* call) {
    if (status != 0) {
        std::printf("FAILED: %s: %d %s\n", call, status, qx_camera_get_last_error());
        std::exit(1);
    }
}

// Ends the process when a phase outlives its deadline: a hang is a finding.
class watchdog {
  public:
    watchdog() : thread_([this] { watch(); }) {}
    ~watchdog() {
        {
            std::lock_guard<std::mutex> guard(mutex_);
            finished_ = true;
        }
        changed_.notify_all();
        thread_.join();
    }
    void arm(const std::string& phase, std::chrono::seconds limit) {
        std::lock_guard<std::mutex> guard(mutex_);
        phase_ = phase;
        deadline_ = clock_type::now() + limit;
        changed_.notify_all();
    }

  private:
    void watch() {
        std::unique_lock<std::mutex> guard(mutex_);
        while (!finished_) {
            if (changed_.wait_until(guard, deadline_) == std::cv_status::timeout && !finished_ &&
                clock_type::now() >= deadline_) {
                std::printf("FAILED: hang in %s\n", phase_.c_str());
                std::fflush(stdout);
                std::_Exit(2);
            }
        }
    }
    std::mutex mutex_;
    std::condition_variable changed_;
    bool finished_ = false;
    std::string phase_ = "start-up";
    clock_type::time_point deadline_ = clock_type::now() + std::chrono::hours(1);
    std::thread thread_;
};

// Entries of a /proc/self directory: the process's threads or descriptors.
int count_entries(const char* directory) {
    int count = 0;
    if (DIR* listing = opendir(directory)) {
        while (const dirent* entry = readdir(listing)) count += entry->d_name[0] != '.' ? 1 : 0;
        closedir(listing);
    }
    return count - (std::strcmp(directory, "/proc/self/fd") == 0 ? 1 : 0);  // the listing's own
}

void command(void* camera, const std::string& text) {
    std::string copy = text;
    char reply[256] = {};
    require(_internal_command(camera, copy.data(), static_cast<int>(copy.size() + 1), reply, sizeof reply),
            text.c_str());
}

// Opens the first camera that discovery lists.
void* open_first_camera() {
    char serials[1024] = {};
    require(qx_camera_discover_available_cameras(serials, sizeof serials - 1), "discover");
    std::string serial = serials;
    serial = serial.substr(0, serial.find(' '));
    void* camera = nullptr;
    require(qx_camera_open_camera(serial.data(), &camera), "open camera");
    return camera;
}

// Counts frames handed to a callback and wakes whoever waits for them.
struct frame_counter {
    std::mutex mutex;
    std::condition_variable arrived;
    std::uint64_t frames = 0;

    static void on_frame(void*, unsigned short*, int, unsigned char*, int, void* context) {
        auto* counter = static_cast<frame_counter*>(context);
        {
            std::lock_guard<std::mutex> guard(counter->mutex);
            ++counter->frames;
        }
        counter->arrived.notify_all();
    }
    std::uint64_t seen() {
        std::lock_guard<std::mutex> guard(mutex);
        return frames;
    }
    bool wait_for(std::uint64_t count, std::chrono::seconds limit) {
        std::unique_lock<std::mutex> guard(mutex);
        return arrived.wait_for(guard, limit, [&] { return frames >= count; });
    }
};

// ---- frames ---------------------------------------------------------------

constexpr int soak_width = 640;
constexpr int soak_height = 480;
constexpr int soak_bits = 12;

struct frame_checker {
    std::mutex mutex;
    std::condition_variable arrived;
    std::uint64_t delivered = 0;       // guarded by mutex
    std::uint64_t wrong_frames = 0;    // guarded by mutex
    std::uint64_t wrong_pixels = 0;    // guarded by mutex
    std::uint64_t falling_counts = 0;  // guarded by mutex
    std::int64_t last_count = -1;      // guarded by mutex
    std::string first_wrong;           // guarded by mutex
    std::string first_falling;         // guarded by mutex

    // The emulator's gradient: (x + 3y + 7f) mod 2^bits.
    static std::uint64_t mismatches(const unsigned short* pixels, std::uint32_t frame_count) {
        std::uint64_t wrong = 0;
        constexpr std::uint32_t mask = (1u << soak_bits) - 1;
        for (int y = 0; y < soak_height; ++y) {
            const std::uint32_t base = 3u * static_cast<std::uint32_t>(y) + 7u * frame_count;
            const unsigned short* row = pixels + static_cast<std::size_t>(y) * soak_width;
            for (int x = 0; x < soak_width; ++x)
                wrong += row[x] != ((static_cast<std::uint32_t>(x) + base) & mask) ? 1 : 0;
        }
        return wrong;
    }

    // The pixels follow the record inside the slot's record reserve; a frame
    // that says otherwise is damaged, and its pixels are not touched.
    static bool record_is_whole(const unsigned short* image, const unsigned char* metadata, int metadata_size) {
        constexpr int record_reserve = 16384;
        return image != nullptr && metadata != nullptr && metadata_size > 0 && metadata_size <= record_reserve &&
               reinterpret_cast<const unsigned char*>(image) == metadata + metadata_size;
    }

    static void on_frame(void*, unsigned short* image, int count, unsigned char* metadata, int metadata_size,
                         void* context) {
        auto* checker = static_cast<frame_checker*>(context);
        const auto frame_count = static_cast<std::uint32_t>(count);
        const std::uint64_t wrong = record_is_whole(image, metadata, metadata_size)
                                        ? mismatches(image, frame_count)
                                        : std::uint64_t{soak_width} * soak_height;
        {
            std::lock_guard<std::mutex> guard(checker->mutex);
            ++checker->delivered;
            if (wrong != 0) {
                ++checker->wrong_frames;
                checker->wrong_pixels += wrong;
                if (checker->first_wrong.empty())
                    checker->first_wrong = "frame " + std::to_string(frame_count) + ": " + std::to_string(wrong) +
                                           " wrong pixels";
            }
            // Counts wrap at 2^32 (the camera starts just below): rising means
            // a positive difference modulo 2^32.
            const bool rising = checker->last_count < 0 ||
                                static_cast<std::int32_t>(frame_count - static_cast<std::uint32_t>(checker->last_count)) > 0;
            if (!rising) {
                if (checker->falling_counts++ == 0)
                    checker->first_falling = "frame " + std::to_string(frame_count) + " after frame " +
                                             std::to_string(checker->last_count);
            }
            checker->last_count = frame_count;
        }
        checker->arrived.notify_all();
    }
};

qx_emu_counters emulator_counters(const std::string& path) {
    qx_emu_counters counters{};
    qx_emu_get_counters(path.c_str(), &counters);
    return counters;
}

int run_frames(std::uint64_t frames, watchdog& dog) {
    // About 1% of packets faulted, the four packet kinds alike, and the
    // metadata of about 1% of frames damaged in its four ways in turn.
    const std::string camera_json =
        R"([{"id":"SOAK-1","serial":"SN-SOAK","sensor_width":)" + std::to_string(soak_width) +
        R"(,"sensor_height":)" + std::to_string(soak_height) +
        R"(,"pattern":"gradient","bit_depth":12,"packing":"12","pacing":"frame_time","frame_time_us":1000,)"
        R"("seed":7,"faults":{"drop_packet":{"rate":0.0025},"sequence_gap":{"rate":0.0025},)"
        R"("corrupt_header":{"rate":0.0025},"stall_image":{"rate":0.0025},"corrupt_metadata":{"rate":0.01}}}])";
    if (qx_emu_reset(camera_json.c_str()) != QX_EMU_OK) {
        std::printf("FAILED: emulator: %s\n", qx_emu_get_last_error());
        return 1;
    }
    char path_text[256] = {};
    qx_emu_get_camera_path("qv", 0, path_text, sizeof path_text);
    const std::string path = path_text;

    require(qx_camera_open_sdk(), "open sdk");
    void* camera = open_first_camera();
    frame_checker checker;
    require(qx_camera_set_frame_available_callback(camera, &frame_checker::on_frame, &checker), "set callback");
    require(qx_camera_arm(camera, 8), "arm");
    const auto started = clock_type::now();
    // A trigger asks for at most 65,535 frames; the camera owes the sum of
    // the triggers it has taken.
    constexpr std::uint64_t most_per_trigger = 65535;
    for (std::uint64_t owed = 0; owed < frames;) {
        const std::uint64_t burst = std::min(frames - owed, most_per_trigger);
        command(camera, "nframes " + std::to_string(burst));
        require(qx_camera_issue_software_trigger(camera), "trigger");
        owed += burst;
    }

    const auto statistics = [&] {
        qx_stream_statistics values{};
        values.size = sizeof values;
        require(qx_camera_get_stream_statistics(camera, &values), "stream statistics");
        return values;
    };
    // Done when the camera has produced every frame and the kit has
    // accounted for each one it started; progress keeps the watchdog quiet.
    std::uint64_t last_progress = ~0ull;
    for (;;) {
        const auto sent = emulator_counters(path);
        const auto counted = statistics();
        const std::uint64_t accounted =
            counted.frames_delivered + counted.frames_lost_incomplete + counted.frames_lost_no_free_slot;
        const bool camera_done = sent.frames_started + sent.frames_dropped >= frames;
        std::unique_lock<std::mutex> guard(checker.mutex);
        const bool kit_done = accounted >= sent.frames_started && checker.delivered == counted.frames_delivered;
        if (camera_done && kit_done)
            break;
        const std::uint64_t progress = checker.delivered + accounted + sent.frames_started;
        if (progress != last_progress) {
            last_progress = progress;
            dog.arm("the frame soak (no progress)", std::chrono::seconds(30));
        }
        checker.arrived.wait_for(guard, std::chrono::milliseconds(200));
    }
    const double seconds = std::chrono::duration<double>(clock_type::now() - started).count();
    dog.arm("disarm and close after the frame soak", std::chrono::seconds(60));
    require(qx_camera_disarm(camera), "disarm");
    const auto counted = statistics();
    const auto sent = emulator_counters(path);
    require(qx_camera_close_camera(camera), "close camera");
    require(qx_camera_close_sdk(), "close sdk");

    std::lock_guard<std::mutex> guard(checker.mutex);
    std::printf("frames asked %llu, camera started %llu, camera skipped (host behind) %llu, %.1f s\n",
                static_cast<unsigned long long>(frames), static_cast<unsigned long long>(sent.frames_started),
                static_cast<unsigned long long>(sent.frames_dropped), seconds);
    std::printf("delivered %llu, wrong frames %llu (%llu pixels), falling frame counts %llu\n",
                static_cast<unsigned long long>(checker.delivered),
                static_cast<unsigned long long>(checker.wrong_frames),
                static_cast<unsigned long long>(checker.wrong_pixels),
                static_cast<unsigned long long>(checker.falling_counts));
    const std::uint64_t metadata_faults = sent.faults_by_kind[QX_EMU_FAULT_CORRUPT_METADATA];
    const std::uint64_t unknown_tag_faults = (metadata_faults + 2) / 4;  // the second of every four
    std::printf("emulator: faults %llu (drop %llu, gap %llu, header %llu, stall %llu, metadata %llu), "
                "frames faulted %llu\n",
                static_cast<unsigned long long>(sent.faults_injected),
                static_cast<unsigned long long>(sent.faults_by_kind[QX_EMU_FAULT_DROP_PACKET]),
                static_cast<unsigned long long>(sent.faults_by_kind[QX_EMU_FAULT_SEQUENCE_GAP]),
                static_cast<unsigned long long>(sent.faults_by_kind[QX_EMU_FAULT_CORRUPT_HEADER]),
                static_cast<unsigned long long>(sent.faults_by_kind[QX_EMU_FAULT_STALL_IMAGE]),
                static_cast<unsigned long long>(metadata_faults),
                static_cast<unsigned long long>(sent.frames_faulted));
    check(checker.wrong_frames == 0, "a delivered frame held wrong pixels: " + checker.first_wrong);
    check(checker.falling_counts == 0, "frame counts fell: " + checker.first_falling);
    check(sent.frames_started + sent.frames_dropped == frames, "the camera did not produce every frame");
    std::printf("kit: delivered %llu, lost incomplete %llu, lost for want of a slot %llu, stalls %llu, "
                "resets %llu, packets %llu\n",
                static_cast<unsigned long long>(counted.frames_delivered),
                static_cast<unsigned long long>(counted.frames_lost_incomplete),
                static_cast<unsigned long long>(counted.frames_lost_no_free_slot),
                static_cast<unsigned long long>(counted.stalls_recovered),
                static_cast<unsigned long long>(counted.resets),
                static_cast<unsigned long long>(counted.packets_received));
    check(counted.frames_delivered == checker.delivered, "delivered frames differ from the statistics");
    check(counted.frames_delivered + counted.frames_lost_incomplete + counted.frames_lost_no_free_slot ==
              sent.frames_started,
          "delivered and lost frames do not add up to the frames the camera started");
    // A frame is lost as incomplete only when the camera faulted it; an
    // unknown tag or a stall before a frame's data can leave it whole.
    const std::uint64_t may_survive = unknown_tag_faults + sent.faults_by_kind[QX_EMU_FAULT_STALL_IMAGE];
    check(counted.frames_lost_incomplete <= sent.frames_faulted,
          "more frames lost as incomplete than the camera faulted");
    check(counted.frames_lost_incomplete + may_survive >= sent.frames_faulted,
          "faulted frames neither lost nor explained");
    check(counted.packets_received == sent.packets_sent, "packets received differ from packets sent");
    return failures == 0 ? 0 : 1;
}

// ---- plug -----------------------------------------------------------------

int run_plug(std::uint64_t rounds, watchdog& dog) {
    if (qx_emu_reset("0") != QX_EMU_OK)
        return 1;
    require(qx_camera_open_sdk(), "open sdk");
    const char* camera_json =
        R"({"id":"PLUG-1","serial":"SN-PLUG","sensor_width":64,"sensor_height":8,"pacing":"frame_time",)"
        R"("frame_time_us":2000})";
    int baseline_threads = 0;
    int baseline_descriptors = 0;
    int most_threads = 0;
    int most_descriptors = 0;
    std::vector<double> close_ms;
    for (std::uint64_t round = 0; round < rounds; ++round) {
        dog.arm("plug round " + std::to_string(round), std::chrono::seconds(30));
        char path[256] = {};
        if (qx_emu_plug_camera(camera_json, path, sizeof path) != QX_EMU_OK) {
            std::printf("FAILED: plug: %s\n", qx_emu_get_last_error());
            return 1;
        }
        void* camera = open_first_camera();
        frame_counter counter;
        require(qx_camera_set_frame_available_callback(camera, &frame_counter::on_frame, &counter), "callback");
        command(camera, "nframes 0");
        require(qx_camera_arm(camera, 4), "arm");
        require(qx_camera_issue_software_trigger(camera), "trigger");
        check(counter.wait_for(3, std::chrono::seconds(10)), "no frames in round " + std::to_string(round));
        qx_emu_unplug_camera(path);
        const auto before = clock_type::now();
        qx_camera_close_camera(camera);  // the camera is gone: what the close reports is not judged here
        close_ms.push_back(std::chrono::duration<double, std::milli>(clock_type::now() - before).count());
        const int threads = count_entries("/proc/self/task");
        const int descriptors = count_entries("/proc/self/fd");
        if (round == 0) {
            baseline_threads = threads;
            baseline_descriptors = descriptors;
        }
        most_threads = std::max(most_threads, threads);
        most_descriptors = std::max(most_descriptors, descriptors);
    }
    const int threads = count_entries("/proc/self/task");
    const int descriptors = count_entries("/proc/self/fd");
    require(qx_camera_close_sdk(), "close sdk");
    std::sort(close_ms.begin(), close_ms.end());
    std::printf("rounds %llu: threads %d at the end, %d after the first round, at most %d; descriptors %d, %d, "
                "at most %d; close after unplug median %.1f ms, max %.1f ms\n",
                static_cast<unsigned long long>(rounds), threads, baseline_threads, most_threads, descriptors,
                baseline_descriptors, most_descriptors, close_ms[close_ms.size() / 2], close_ms.back());
    check(threads == baseline_threads, "threads did not return to their baseline");
    check(descriptors == baseline_descriptors, "descriptors did not return to their baseline");
    return failures == 0 ? 0 : 1;
}

// ---- close ----------------------------------------------------------------

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Times one call in milliseconds.
double timed(const std::function<void()>& call) {
    const auto before = clock_type::now();
    call();
    return std::chrono::duration<double, std::milli>(clock_type::now() - before).count();
}

int run_close(std::uint64_t runs, watchdog& dog) {
    const char* camera_json =
        R"([{"id":"CLOSE-1","serial":"SN-CLOSE","sensor_width":640,"sensor_height":480,"pacing":"frame_time",)"
        R"("frame_time_us":1000}])";
    if (qx_emu_reset(camera_json) != QX_EMU_OK)
        return 1;
    require(qx_camera_open_sdk(), "open sdk");
    std::vector<double> disarm_streamed, close_streamed, disarm_idle, close_idle;
    for (std::uint64_t run = 0; run < runs; ++run) {
        dog.arm("close run " + std::to_string(run), std::chrono::seconds(60));
        // The baseline: the same calls on a camera that armed but never streamed.
        void* camera = open_first_camera();
        require(qx_camera_arm(camera, 4), "arm");
        disarm_idle.push_back(timed([&] { require(qx_camera_disarm(camera), "disarm"); }));
        close_idle.push_back(timed([&] { require(qx_camera_close_camera(camera), "close"); }));

        camera = open_first_camera();
        frame_counter counter;
        require(qx_camera_set_frame_available_callback(camera, &frame_counter::on_frame, &counter), "callback");
        command(camera, "nframes 0");
        for (auto* times : {&disarm_streamed, &close_streamed}) {
            const std::uint64_t seen = counter.seen();
            require(qx_camera_arm(camera, 4), "arm");
            require(qx_camera_issue_software_trigger(camera), "trigger");
            check(counter.wait_for(seen + 5, std::chrono::seconds(10)), "no frames in run " + std::to_string(run));
            if (times == &disarm_streamed)
                times->push_back(timed([&] { require(qx_camera_disarm(camera), "disarm"); }));
            else
                times->push_back(timed([&] { require(qx_camera_close_camera(camera), "close"); }));
        }
    }
    require(qx_camera_close_sdk(), "close sdk");
    const auto report = [](const char* what, const std::vector<double>& streamed, const std::vector<double>& idle) {
        const double baseline = std::max(median(idle), 1e-3);
        std::printf("%s after streaming: median %.2f ms (%.1f x idle), max %.2f ms (%.1f x idle median)\n", what,
                    median(streamed), median(streamed) / baseline, *std::max_element(streamed.begin(), streamed.end()),
                    *std::max_element(streamed.begin(), streamed.end()) / baseline);
    };
    report("disarm", disarm_streamed, disarm_idle);
    report("close", close_streamed, close_idle);
    check(median(close_streamed) <= 50.0, "median close after streaming above 50 ms");
    check(median(disarm_streamed) <= 50.0, "median disarm after streaming above 50 ms");
    return failures == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    const auto count = [&](std::uint64_t fallback) {
        return argc > 2 ? std::strtoull(argv[2], nullptr, 10) : fallback;
    };
    watchdog dog;
    if (mode == "frames")
        return run_frames(count(100000), dog);
    if (mode == "plug")
        return run_plug(count(1000), dog);
    if (mode == "close")
        return run_close(count(100), dog);
    std::fprintf(stderr, "usage: %s frames|plug|close [count]\n", argv[0]);
    return 1;
}
