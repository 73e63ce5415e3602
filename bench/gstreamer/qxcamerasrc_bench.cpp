// Frames per second from an emulated 1024 x 1024 camera that sends as fast as
// it is read: the kit's held frames read directly (the baseline), then the
// same frames through qxcamerasrc into an appsink, 16-bit without a copy and
// 8-bit with one. Each element figure is also given as a ratio to the
// baseline of the same run.

#include <benchmark/benchmark.h>
#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <chrono>
#include <string>

#include "quendral_vko_camera_emulator.h"
#include "quendral_vko_camera_sdk.h"

namespace {

double baseline_frames_per_second = 0;

using clock_type = std::chrono::steady_clock;

double seconds_since(clock_type::time_point start) {
    return std::chrono::duration<double>(clock_type::now() - start).count();
}

bool emulate(int bits) {
    const std::string config = R"({"cameras":[{"serial":"SN-BENCH","sensor_width":1024,"sensor_height":1024,)"
                               R"("pacing":"fast","bit_depth":)" +
                               std::to_string(bits) + (bits == 8 ? R"(,"flat_value":100)" : "") + "}]}";
    return qx_emu_reset(config.c_str()) == QX_EMU_OK;
}

void kit_held_frames(benchmark::State& state) {
    char serial[] = "SN-BENCH";
    char serials[256] = {};
    void* camera = nullptr;
    if (!emulate(12) || qx_camera_open_sdk() != 0)
        return state.SkipWithError("no kit");
    if (qx_camera_discover_available_cameras(serials, sizeof serials - 1) != 0 ||
        qx_camera_open_camera(serial, &camera) != 0 || qx_camera_set_frames_per_trigger_zero_for_unlimited(camera, 0) ||
        qx_camera_arm(camera, 4) != 0 || qx_camera_issue_software_trigger(camera) != 0)
        return state.SkipWithError(qx_camera_get_last_error());
    long long frames = 0;
    const auto start = clock_type::now();
    for (auto _ : state) {
        qx_frame frame{};
        frame.size = sizeof frame;
        do {
            qx_camera_acquire_frame(camera, 1000, &frame);
        } while (frame.image_data == nullptr);
        benchmark::DoNotOptimize(frame.image_data[0]);
        qx_camera_release_frame(&frame);
        ++frames;
    }
    const double elapsed = seconds_since(start);
    qx_camera_disarm(camera);
    qx_camera_close_camera(camera);
    qx_camera_close_sdk();
    baseline_frames_per_second = static_cast<double>(frames) / elapsed;
    state.counters["frames_per_second"] = baseline_frames_per_second;
}

void element(benchmark::State& state, int bits, const char* format) {
    if (!emulate(bits))
        return state.SkipWithError("no emulator");
    const std::string description =
        std::string("qxcamerasrc ! video/x-raw,format=") + format + " ! appsink name=sink sync=false";
    GstElement* pipeline = gst_parse_launch(description.c_str(), nullptr);
    GstElement* sink = gst_bin_get_by_name(GST_BIN(pipeline), "sink");
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    long long frames = 0;
    const auto start = clock_type::now();
    for (auto _ : state) {
        GstSample* sample = gst_app_sink_try_pull_sample(GST_APP_SINK(sink), 10 * GST_SECOND);
        if (sample == nullptr) {
            state.SkipWithError("no frame");
            break;
        }
        gst_sample_unref(sample);
        ++frames;
    }
    const double frames_per_second = static_cast<double>(frames) / seconds_since(start);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(sink);
    gst_object_unref(pipeline);
    state.counters["frames_per_second"] = frames_per_second;
    if (baseline_frames_per_second > 0)
        state.counters["ratio_to_kit"] = frames_per_second / baseline_frames_per_second;
}

void element_gray16_held(benchmark::State& state) { element(state, 12, "GRAY16_LE"); }
void element_gray8_copied(benchmark::State& state) { element(state, 8, "GRAY8"); }

}  // namespace

BENCHMARK(kit_held_frames)->UseRealTime()->MinTime(2.0);
BENCHMARK(element_gray16_held)->UseRealTime()->MinTime(2.0);
BENCHMARK(element_gray8_copied)->UseRealTime()->MinTime(2.0);

int main(int argc, char** argv) {
    g_setenv("GST_PLUGIN_PATH", QX_GST_PLUGIN_DIR, TRUE);
    g_setenv("GST_REGISTRY", QX_GST_REGISTRY, TRUE);
    gst_init(&argc, &argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
