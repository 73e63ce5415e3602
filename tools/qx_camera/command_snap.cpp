#include "command_snap.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "camera_session.h"
#include "capture_options.h"
#include "exit_codes.h"
#include "frame_capture.h"
#include "frame_sink.h"
#include "parameter_access.h"

namespace qx::tool {

void add_snap_options(CLI::App& command, command_options& options) {
    add_capture_options(command, options, true);
}

int run_snap(const command_options& options) {
    frame_sink sink(options.output, writer_settings_of(options), 1);
    camera_session camera(options.serial);
    apply_assignments(camera.handle(), options.assignments);
    const capture_settings settings = read_capture_settings(camera.handle(), options.msb_align);
    install_interrupt_handler();
    frame_capture capture(camera.handle(), settings, options.buffers, 1);
    const auto frame =
        capture.next(std::chrono::milliseconds(static_cast<long long>(options.timeout_s * 1000)));
    capture.disarm();
    if (!frame) {
        if (stop_requested)
            return exit_interrupted;
        throw tool_failure(exit_timed_out, no_frame_text(options.timeout_s));
    }
    sink.add(*frame);
    sink.finish();
    if (options.json) {
        nlohmann::ordered_json record = {{"file", options.output}, {"metadata", frame_metadata(*frame)}};
        std::printf("%s\n", record.dump().c_str());
    } else {
        std::printf("Saved frame %lld (%d x %d, %d bits) from %s to %s\n", frame->frame_count, settings.width,
                    settings.height, settings.bit_depth, settings.serial_number.c_str(),
                    options.output.c_str());
    }
    return 0;
}

}  // namespace qx::tool
