// The kit's measured frame rate against the rate at which frames reach the
// application: an emulated camera paced at 50 frames per second streams to
// a callback. Reports the kit's figure as a ratio to the rate the callback
// counts over the same frames, and as a ratio to the camera's configured
// rate.

#include <benchmark/benchmark.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "streaming_camera.h"

namespace {

constexpr double configured_frames_per_second = 50.0;

struct arrivals {
    std::mutex mutex;
    std::condition_variable arrived;
    long long frames = 0;  // guarded by mutex

    static void on_frame(void*, unsigned short*, int, unsigned char*, int, void* context) {
        auto* self = static_cast<arrivals*>(context);
        {
            std::lock_guard<std::mutex> guard(self->mutex);
            ++self->frames;
        }
        self->arrived.notify_one();
    }
    long long wait_beyond(long long seen) {
        std::unique_lock<std::mutex> guard(mutex);
        arrived.wait(guard, [&] { return frames > seen; });
        return frames;
    }
};

void measured_frame_rate(benchmark::State& state) {
    arrivals counter;
    std::string error;
    void* camera = qx::bench::start_streaming(
        R"({"cameras":[{"id":"RATE","serial":"SN-RATE","sensor_width":64,"sensor_height":8,)"
        R"("pacing":"frame_time","frame_time_us":20000}]})",
        "SN-RATE", 4, &arrivals::on_frame, &counter, error);
    if (camera == nullptr)
        return state.SkipWithError(error.c_str());

    long long seen = counter.wait_beyond(0);
    const auto start = std::chrono::steady_clock::now();
    const long long first = seen;
    for (auto _ : state) seen = counter.wait_beyond(seen);
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    double measured = 0;
    qx_camera_get_measured_frame_rate(camera, &measured);
    qx::bench::stop_streaming(camera);

    const double counted = static_cast<double>(seen - first) / wall;
    state.counters["measured_frames_per_second"] = measured;
    state.counters["ratio_to_counted_rate"] = measured / counted;
    state.counters["ratio_to_configured_rate"] = measured / configured_frames_per_second;
}
BENCHMARK(measured_frame_rate)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(100);

}  // namespace

BENCHMARK_MAIN();
