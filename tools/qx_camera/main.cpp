// qx-camera: the SDK's command-line tool. Lists cameras, shows what a camera
// is, and streams frames from it, saving one as an image.

#include <CLI/CLI.hpp>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

#include "quendral_vko_camera_sdk.h"

namespace {

// Prints the SDK's explanation of a failed call and turns it into an exit code.
int report_failure(const char* call, int status) {
    std::fprintf(stderr, "qx-camera: %s failed (%d): %s\n", call, status, qx_camera_get_last_error());
    return 1;
}

// Opens the kit for the lifetime of one command.
class sdk_session {
  public:
    sdk_session() : status(qx_camera_open_sdk()) {}
    ~sdk_session() {
        if (status == 0)
            qx_camera_close_sdk();
    }
    sdk_session(const sdk_session&) = delete;
    sdk_session& operator=(const sdk_session&) = delete;
    int open_status() const { return status; }

  private:
    int status;
};

// An open camera, closed when it goes out of scope.
class open_camera {
  public:
    open_camera(const std::string& serial) : serial_number(serial) {
        status = qx_camera_open_camera(serial_number.data(), &handle);
    }
    ~open_camera() {
        if (status == 0)
            qx_camera_close_camera(handle);
    }
    open_camera(const open_camera&) = delete;
    open_camera& operator=(const open_camera&) = delete;

    std::string serial_number;
    void* handle = nullptr;
    int status = 0;
};

std::vector<std::string> discover(int& status) {
    std::vector<char> text(4096, '\0');
    status = qx_camera_discover_available_cameras(text.data(), static_cast<int>(text.size() - 1));
    std::vector<std::string> serials;
    if (status != 0)
        return serials;
    const std::string all = text.data();
    std::size_t start = 0;
    while (start < all.size()) {
        std::size_t end = all.find(' ', start);
        if (end == std::string::npos)
            end = all.size();
        if (end > start)
            serials.push_back(all.substr(start, end - start));
        start = end + 1;
    }
    return serials;
}

// Discovers cameras and picks the requested one (or the first).
int choose_camera(std::string& serial) {
    int status = 0;
    const auto serials = discover(status);
    if (status != 0)
        return report_failure("qx_camera_discover_available_cameras", status);
    if (serials.empty()) {
        std::fprintf(stderr, "qx-camera: no camera found\n");
        return 1;
    }
    if (serial.empty())
        serial = serials.front();
    return 0;
}

int list_cameras() {
    sdk_session session;
    if (session.open_status() != 0)
        return report_failure("qx_camera_open_sdk", session.open_status());
    int status = 0;
    const auto serials = discover(status);
    if (status != 0)
        return report_failure("qx_camera_discover_available_cameras", status);
    if (serials.empty())
        std::printf("No camera found.\n");
    for (const auto& serial : serials) std::printf("%s\n", serial.c_str());
    return 0;
}

// Opens the kit and the requested camera (or the first one found), runs the
// command on it and closes both; the exit code of the command.
template <class Command>
int with_camera(std::string serial, Command&& command) {
    sdk_session session;
    if (session.open_status() != 0)
        return report_failure("qx_camera_open_sdk", session.open_status());
    if (const int failure = choose_camera(serial))
        return failure;
    open_camera camera(serial);
    if (camera.status != 0)
        return report_failure("qx_camera_open_camera", camera.status);
    return command(camera);
}

int show_camera(open_camera& camera) {
    const std::string& serial = camera.serial_number;

    char model[64] = {};
    char firmware[64] = {};
    int width = 0, height = 0, bits = 0, port = 0, gain_min = 0, gain_max = 0;
    long long exposure = 0;
    double pixel_width = 0;
    const struct {
        const char* call;
        int status;
    } reads[] = {
        {"qx_camera_get_model", qx_camera_get_model(camera.handle, model, sizeof model)},
        {"qx_camera_get_firmware_version",
         qx_camera_get_firmware_version(camera.handle, firmware, sizeof firmware)},
        {"qx_camera_get_sensor_width", qx_camera_get_sensor_width(camera.handle, &width)},
        {"qx_camera_get_sensor_height", qx_camera_get_sensor_height(camera.handle, &height)},
        {"qx_camera_get_bit_depth", qx_camera_get_bit_depth(camera.handle, &bits)},
        {"qx_camera_get_sensor_pixel_width", qx_camera_get_sensor_pixel_width(camera.handle, &pixel_width)},
        {"qx_camera_get_exposure_time", qx_camera_get_exposure_time(camera.handle, &exposure)},
        {"qx_camera_get_gain_range", qx_camera_get_gain_range(camera.handle, &gain_min, &gain_max)},
        {"qx_camera_get_usb_port_type", qx_camera_get_usb_port_type(camera.handle, &port)},
    };
    for (const auto& read : reads) {
        if (read.status != 0)
            return report_failure(read.call, read.status);
    }
    static const char* const port_names[] = {"USB 1.0", "USB 2.0", "USB 3.0"};
    std::printf("serial number  %s\nmodel          %s\nfirmware       %s\n", serial.c_str(), model, firmware);
    std::printf("sensor         %d x %d pixels of %.2f um, %d bits\n", width, height, pixel_width, bits);
    std::printf("exposure       %lld us\ngain index     %d .. %d\nconnection     %s\n", exposure, gain_min,
                gain_max, port >= 0 && port <= 2 ? port_names[port] : "unknown");
    return 0;
}

// What the frame callback collects while streaming.
struct stream_statistics {
    std::mutex mutex;
    std::condition_variable progressed;
    int frames = 0;                          // guarded by mutex
    int missing = 0;                         // guarded by mutex: gaps in the camera's frame counter
    bool have_previous = false;              // guarded by mutex
    unsigned int previous_count = 0;         // guarded by mutex
    std::vector<unsigned short> last_frame;  // guarded by mutex
    std::size_t pixels_per_frame = 0;

    static void on_frame(void*, unsigned short* image, int frame_count, unsigned char*, int, void* context) {
        auto* statistics = static_cast<stream_statistics*>(context);
        {
            std::lock_guard<std::mutex> guard(statistics->mutex);
            const auto count = static_cast<unsigned int>(frame_count);
            if (statistics->have_previous)
                statistics->missing += static_cast<int>(count - statistics->previous_count - 1);
            statistics->previous_count = count;
            statistics->have_previous = true;
            ++statistics->frames;
            if (image != nullptr)
                statistics->last_frame.assign(image, image + statistics->pixels_per_frame);
        }
        statistics->progressed.notify_all();
    }
};

// A 16-bit binary portable graymap, readable by most image viewers.
bool save_portable_graymap(const std::string& path, const std::vector<unsigned short>& pixels, int width,
                           int height, int bits) {
    std::ofstream file(path, std::ios::binary);
    file << "P5\n" << width << " " << height << "\n" << ((1 << bits) - 1) << "\n";
    for (const unsigned short pixel : pixels) {
        const char big_endian[2] = {static_cast<char>(pixel >> 8), static_cast<char>(pixel & 0xFF)};
        file.write(big_endian, 2);
    }
    return static_cast<bool>(file);
}

// The SDK's own stream counters: what reached the application and what was
// lost on the way, and why.
void print_stream_counters(void* handle) {
    qx_stream_statistics counters{};
    counters.size = sizeof counters;
    if (qx_camera_get_stream_statistics(handle, &counters) != 0) {
        std::printf("Stream statistics: not available (%s)\n", qx_camera_get_last_error());
        return;
    }
    std::printf("Stream statistics: %llu frames delivered, %llu lost incomplete, %llu lost for want of a free "
                "slot; %llu stalls recovered, %llu resets; %llu packets, %llu bytes received\n",
                counters.frames_delivered, counters.frames_lost_incomplete, counters.frames_lost_no_free_slot,
                counters.stalls_recovered, counters.resets, counters.packets_received, counters.bytes_received);
}

int stream_frames(open_camera& camera, int frame_target, int buffers, const std::string& image_path) {
    const std::string& serial = camera.serial_number;

    int width = 0, height = 0, bits = 0;
    if (const int status = qx_camera_get_image_width(camera.handle, &width))
        return report_failure("qx_camera_get_image_width", status);
    if (const int status = qx_camera_get_image_height(camera.handle, &height))
        return report_failure("qx_camera_get_image_height", status);
    if (const int status = qx_camera_get_bit_depth(camera.handle, &bits))
        return report_failure("qx_camera_get_bit_depth", status);

    stream_statistics statistics;
    statistics.pixels_per_frame = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    if (const int status = qx_camera_set_frames_per_trigger_zero_for_unlimited(camera.handle, 0)) {
        return report_failure("qx_camera_set_frames_per_trigger_zero_for_unlimited", status);
    }
    if (const int status = qx_camera_set_frame_available_callback(camera.handle, &stream_statistics::on_frame,
                                                                  &statistics)) {
        return report_failure("qx_camera_set_frame_available_callback", status);
    }
    if (const int status = qx_camera_arm(camera.handle, buffers))
        return report_failure("qx_camera_arm", status);
    const auto start = std::chrono::steady_clock::now();
    if (const int status = qx_camera_issue_software_trigger(camera.handle)) {
        qx_camera_disarm(camera.handle);
        return report_failure("qx_camera_issue_software_trigger", status);
    }
    std::printf("Streaming %d frames of %d x %d pixels (%d bits) from %s ...\n", frame_target, width, height,
                bits, serial.c_str());
    bool complete = false;
    {
        std::unique_lock<std::mutex> guard(statistics.mutex);
        complete = statistics.progressed.wait_for(guard, std::chrono::seconds(60),
                                                  [&] { return statistics.frames >= frame_target; });
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    double measured = 0;
    qx_camera_get_measured_frame_rate(camera.handle, &measured);
    if (const int status = qx_camera_disarm(camera.handle))
        return report_failure("qx_camera_disarm", status);

    std::lock_guard<std::mutex> guard(statistics.mutex);
    std::printf("Received %d frames in %.2f s (%.1f frames/s; the SDK measured %.1f frames/s).\n",
                statistics.frames, seconds, statistics.frames / seconds, measured);
    std::printf("Frames missing from the camera's count: %d\n", statistics.missing);
    print_stream_counters(camera.handle);
    if (!image_path.empty() && !statistics.last_frame.empty()) {
        if (!save_portable_graymap(image_path, statistics.last_frame, width, height, bits)) {
            std::fprintf(stderr, "qx-camera: cannot write %s\n", image_path.c_str());
            return 1;
        }
        std::printf("Saved the last frame to %s\n", image_path.c_str());
    }
    if (!complete) {
        std::fprintf(stderr, "qx-camera: the stream stopped before %d frames arrived\n", frame_target);
        return 1;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"qx-camera: find, configure and stream Quendral VKO cameras"};
    app.require_subcommand(1);
    int exit_code = 0;

    auto* list = app.add_subcommand("list", "List the serial numbers of all reachable cameras");
    list->callback([&] { exit_code = list_cameras(); });

    std::string info_serial;
    auto* info = app.add_subcommand("info", "Show a camera's model, sensor and settings");
    info->add_option("--serial", info_serial, "Serial number (default: the first camera found)");
    info->callback([&] { exit_code = with_camera(info_serial, show_camera); });

    std::string stream_serial;
    std::string image_path;
    int frames = 100;
    int buffers = 8;
    auto* stream = app.add_subcommand("stream", "Stream frames and report the rate and any lost frame");
    stream->add_option("--serial", stream_serial, "Serial number (default: the first camera found)");
    stream->add_option("--frames", frames, "How many frames to receive")->check(CLI::Range(1, 1000000));
    stream->add_option("--buffers", buffers, "Frames buffered by the SDK")->check(CLI::Range(2, 1024));
    stream->add_option("--save", image_path, "Save the last frame as a 16-bit PGM image");
    stream->callback([&] {
        exit_code = with_camera(stream_serial, [&](open_camera& camera) {
            return stream_frames(camera, frames, buffers, image_path);
        });
    });

    CLI11_PARSE(app, argc, argv);
    return exit_code;
}
