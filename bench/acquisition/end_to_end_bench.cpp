// The whole SDK at full speed: an emulated 2448 x 2048 12-bit camera that
// sends packets as fast as they are read, from the software trigger to the
// application's frame callback. Reports frames per second, CPU time per
// frame, and the data rate as a ratio to a USB 3 line rate of 400 MB/s.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>

#include "streaming_camera.h"

namespace {

constexpr double usb3_line_rate_bytes_per_second = 400e6;
constexpr int frame_width = 2448;
constexpr int frame_height = 2048;

struct frame_counter {
    std::mutex mutex;
    std::condition_variable arrived;
    long long frames = 0;  // guarded by mutex

    static void on_frame(void*, unsigned short* image, int, unsigned char*, int, void* context) {
        benchmark::DoNotOptimize(image);
        auto* counter = static_cast<frame_counter*>(context);
        {
            std::lock_guard<std::mutex> guard(counter->mutex);
            ++counter->frames;
        }
        counter->arrived.notify_one();
    }
};

double process_cpu_seconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

void stream_to_callback(benchmark::State& state, const char* packing, double stream_bytes_per_pixel) {
    const std::string config =
        std::string(R"({"cameras":[{"id":"BENCH","serial":"SN-BENCH","sensor_width":)") +
        std::to_string(frame_width) + R"(,"sensor_height":)" + std::to_string(frame_height) +
        R"(,"bit_depth":12,"packing":")" + packing + R"(","pacing":"fast"}]})";
    frame_counter counter;
    std::string error;
    void* camera =
        qx::bench::start_streaming(config, "SN-BENCH", 8, &frame_counter::on_frame, &counter, error);
    if (camera == nullptr)
        return state.SkipWithError(error.c_str());

    // The first frame warms the pipeline up and is not counted.
    long long seen = 0;
    {
        std::unique_lock<std::mutex> guard(counter.mutex);
        counter.arrived.wait(guard, [&] { return counter.frames > 0; });
        seen = counter.frames;
    }
    const double cpu_start = process_cpu_seconds();
    const auto wall_start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        std::unique_lock<std::mutex> guard(counter.mutex);
        counter.arrived.wait(guard, [&] { return counter.frames > seen; });
        seen = counter.frames;
    }
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - wall_start).count();
    const double cpu = process_cpu_seconds() - cpu_start;
    qx::bench::stop_streaming(camera);

    const double frames = static_cast<double>(state.iterations());
    const double frames_per_second = frames / wall;
    const double stream_bytes = frame_width * frame_height * stream_bytes_per_pixel;
    state.counters["frames_per_second"] = frames_per_second;
    state.counters["cpu_ms_per_frame"] = cpu / frames * 1e3;
    state.counters["ratio_to_usb3_line_rate"] =
        frames_per_second * stream_bytes / usb3_line_rate_bytes_per_second;
}

void stream_packed_12bit(benchmark::State& state) {
    stream_to_callback(state, "12", 1.5);
}
void stream_unpacked_16bit(benchmark::State& state) {
    stream_to_callback(state, "none", 2.0);
}
BENCHMARK(stream_packed_12bit)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3.0);
BENCHMARK(stream_unpacked_16bit)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3.0);

}  // namespace

BENCHMARK_MAIN();
