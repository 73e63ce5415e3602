#include "command_stream.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "camera_session.h"
#include "capture_options.h"
#include "exit_codes.h"
#include "frame_capture.h"
#include "frame_sink.h"
#include "parameter_access.h"
#include "stream_report.h"

namespace qx::tool {

namespace {

constexpr auto status_interval = std::chrono::milliseconds(250);
constexpr auto json_interval = std::chrono::seconds(1);

// The live line: rewritten in place on a terminal, absent on a pipe.
class status_line {
  public:
    explicit status_line(bool wanted) : shown_(wanted && isatty(STDOUT_FILENO) == 1) {}
    void show(const std::string& text) {
        if (!shown_)
            return;
        std::printf("\r%s\x1b[K", text.c_str());
        std::fflush(stdout);
        dirty_ = true;
    }
    void end() {
        if (dirty_)
            std::printf("\n");
        dirty_ = false;
    }

  private:
    bool shown_;
    bool dirty_ = false;
};

}  // namespace

void add_stream_options(CLI::App& command, command_options& options) {
    auto* frames =
        command.add_option("--frames", options.frames, "Stop after N frames")->check(CLI::PositiveNumber);
    command.add_option("--duration", options.duration_s, "Stop after S seconds")
        ->check(CLI::PositiveNumber)
        ->excludes(frames);
    add_capture_options(command, options, false);
    command
        .add_option("--max-lost", options.max_lost, "Exit with code 6 when more frames than this are lost")
        ->check(CLI::NonNegativeNumber);
    command.add_flag("!--no-status", options.status_line, "No live status line, even on a terminal");
}

int run_stream(const command_options& options) {
    std::unique_ptr<frame_sink> sink;
    if (!options.output.empty())
        sink = std::make_unique<frame_sink>(options.output, writer_settings_of(options), options.frames);
    camera_session camera(options.serial);
    apply_assignments(camera.handle(), options.assignments);
    const capture_settings settings = read_capture_settings(camera.handle(), options.msb_align);
    install_interrupt_handler();
    status_line status(options.status_line && !options.json);
    if (!options.json) {
        std::printf("Streaming %d x %d pixels (%d bits) from %s; Ctrl-C stops.\n", settings.width,
                    settings.height, settings.bit_depth, settings.serial_number.c_str());
        std::fflush(stdout);
    }

    frame_capture capture(camera.handle(), settings, options.buffers, options.frames);
    stream_tracker tracker(camera.handle(), capture);
    const auto started = std::chrono::steady_clock::now();
    const auto timeout = std::chrono::milliseconds(static_cast<long long>(options.timeout_s * 1000));
    auto next_status = started;
    auto next_record = started + json_interval;
    auto last_frame = started;
    long long taken = 0;
    int exit_code = exit_success;
    std::string failure;
    while (true) {
        const auto now = std::chrono::steady_clock::now();
        if (options.frames > 0 && taken >= options.frames)
            break;
        if (options.duration_s > 0 && now - started >= std::chrono::duration<double>(options.duration_s))
            break;
        const auto frame = capture.next(std::min<std::chrono::milliseconds>(timeout, status_interval));
        if (stop_requested) {
            exit_code = exit_interrupted;
            break;
        }
        if (frame) {
            ++taken;
            if (sink)
                sink->add(*frame);
            last_frame = std::chrono::steady_clock::now();
        } else if (std::chrono::steady_clock::now() - last_frame >= timeout) {
            exit_code = exit_timed_out;
            failure = no_frame_text(options.timeout_s);
            break;
        }
        const auto after = std::chrono::steady_clock::now();
        if (after >= next_status) {
            status.show(live_line(tracker.totals()));
            next_status = after + status_interval;
        }
        if (options.json && after >= next_record) {
            std::printf("%s\n", totals_json(tracker.totals(), "progress").dump().c_str());
            std::fflush(stdout);
            next_record = after + json_interval;
        }
    }
    stream_totals totals = tracker.totals();
    capture.disarm();
    if (sink) {
        sink->finish();
        totals.files = sink->files();
    }
    status.show(live_line(totals));
    status.end();
    if (options.json) {
        std::printf("%s\n", totals_json(totals, "summary").dump().c_str());
    } else {
        std::printf("%s", summary_text(totals).c_str());
        if (sink && totals.files > 0)
            std::printf("Saved %lld frames to %s\n", taken, options.output.c_str());
    }
    std::fflush(stdout);
    if (!failure.empty())
        std::fprintf(stderr, "qx-camera: %s\n", failure.c_str());
    if (exit_code == exit_success && options.max_lost >= 0 && totals.lost > options.max_lost) {
        std::fprintf(stderr, "qx-camera: %lld frames lost, more than --max-lost %lld\n", totals.lost,
                     options.max_lost);
        exit_code = exit_frames_lost;
    }
    return exit_code;
}

}  // namespace qx::tool
