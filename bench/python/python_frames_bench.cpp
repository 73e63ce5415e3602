// Frames per second of the Python package's `cam.frames()` as a ratio to a C
// program taking the same frames through the C interface, on one emulated
// camera streaming as fast as it is read. Both loops take each frame without
// copying its pixels (held in its slot, then released) and touch one pixel
// of it; they alternate within one benchmark run.

#include <benchmark/benchmark.h>
#include <pybind11/embed.h>

#include <chrono>
#include <string>

#include "quendral_vko_camera_emulator.h"
#include "quendral_vko_camera_sdk.h"

namespace py = pybind11;

namespace {

constexpr int rounds = 5;
constexpr int wait_ms = 1000;

using seconds = std::chrono::duration<double>;

std::string camera_config(int width, int height) {
    return R"({"cameras":[{"serial":"PY-BENCH","sensor_width":)" + std::to_string(width) +
           R"(,"sensor_height":)" + std::to_string(height) + R"(,"pacing":"fast"}]})";
}

// One frame through the C interface; false when none came.
bool take_frame_in_c(void* camera, unsigned long long& checksum) {
    qx_frame frame{};
    frame.size = sizeof frame;
    if (qx_camera_acquire_frame(camera, wait_ms, &frame) != 0 || frame.image_data == nullptr) return false;
    checksum += frame.image_data[0];
    return qx_camera_release_frame(&frame) == 0;
}

// Seconds for one round of frames through the C interface, or a negative value on failure.
double c_round(int frames_per_round) {
    void* camera = nullptr;
    char serials[256] = {};
    char serial[] = "PY-BENCH";
    char reply[64];
    char unlimited[] = "nframes 0";
    if (qx_camera_open_sdk() != 0) return -1;
    double elapsed = -1;
    if (qx_camera_discover_available_cameras(serials, sizeof serials - 1) == 0 &&
        qx_camera_open_camera(serial, &camera) == 0) {
        _internal_command(camera, unlimited, sizeof unlimited, reply, sizeof reply);
        unsigned long long checksum = 0;
        if (qx_camera_arm(camera, 16) == 0 && qx_camera_issue_software_trigger(camera) == 0 &&
            take_frame_in_c(camera, checksum)) {
            const auto start = std::chrono::steady_clock::now();
            int taken = 0;
            while (taken < frames_per_round && take_frame_in_c(camera, checksum)) ++taken;
            if (taken == frames_per_round) elapsed = seconds(std::chrono::steady_clock::now() - start).count();
        }
        benchmark::DoNotOptimize(checksum);
        qx_camera_close_camera(camera);
    }
    qx_camera_close_sdk();
    return elapsed;
}

const char* const python_round_source = R"(
import time, quendral_vko
def python_round(count):
    with quendral_vko.Kit() as kit, kit.open("PY-BENCH") as cam:
        cam.command("nframes 0")
        cam.arm(buffers=16)
        cam.trigger()
        cam.grab().close()
        checksum = 0
        start = time.perf_counter()
        for frame in cam.frames(count):
            checksum += int(frame.array[0, 0])
        return time.perf_counter() - start
)";

void python_frames_against_c_api(benchmark::State& state) {
    const int width = static_cast<int>(state.range(0));
    const int height = static_cast<int>(state.range(1));
    const int frames_per_round = static_cast<int>(state.range(2));
    if (qx_emu_reset(camera_config(width, height).c_str()) != QX_EMU_OK)
        return state.SkipWithError(qx_emu_get_last_error());
    py::dict scope;
    try {
        py::exec(python_round_source, scope);
    } catch (const py::error_already_set& failure) {
        return state.SkipWithError(failure.what());
    }
    double c_seconds = 0;
    double python_seconds = 0;
    for (auto _ : state) {
        for (int round = 0; round < rounds; ++round) {
            const double c_elapsed = c_round(frames_per_round);
            if (c_elapsed < 0) return state.SkipWithError(qx_camera_get_last_error());
            c_seconds += c_elapsed;
            try {
                python_seconds += scope["python_round"](frames_per_round).cast<double>();
            } catch (const py::error_already_set& failure) {
                return state.SkipWithError(failure.what());
            }
        }
    }
    const double frames = static_cast<double>(state.iterations()) * rounds * frames_per_round;
    state.counters["c_api_frames_per_second"] = frames / c_seconds;
    state.counters["python_frames_per_second"] = frames / python_seconds;
    state.counters["python_to_c_api_ratio"] = c_seconds / python_seconds;
    qx_emu_reset("0");
}

BENCHMARK(python_frames_against_c_api)
    // width, height, frames per round: rounds long enough to outlast scheduling noise
    ->Args({64, 8, 20000})
    ->Args({640, 480, 3000})
    ->Args({2448, 2048, 300})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

// One interpreter for the whole run: numpy cannot be loaded into a second one.
int main(int argc, char** argv) {
    py::scoped_interpreter interpreter;
    py::module_::import("sys").attr("path").attr("insert")(0, QX_PYTHON_PACKAGE_PARENT);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
