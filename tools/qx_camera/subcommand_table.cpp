#include "subcommand_table.h"

#include <CLI/CLI.hpp>

#include "command_completion.h"
#include "command_doctor.h"
#include "command_get.h"
#include "command_info.h"
#include "command_list.h"
#include "command_params.h"
#include "command_set.h"
#include "command_snap.h"
#include "command_stream.h"
#include "monitor_command.h"

namespace qx::tool {

namespace {

using enum word_kind;

constexpr subcommand table[] = {
    {"list", "List the serial numbers of all reachable cameras", none, add_list_options, run_list},
    {"info", "Show a camera's identity, sensor, link and main settings", none, add_info_options, run_info},
    {"params", "List every parameter with its value, range, unit and whether it can be set", none,
     add_params_options, run_params},
    {"get", "Read parameters by name: get exposure_us gain_db", parameter_names, add_get_options, run_get},
    {"set", "Set parameters by name: set exposure_us=20000 roi=0,0,1024,768", assignments, add_set_options,
     run_set},
    {"snap", "Save one frame: snap -o frame.tif (or .fits, .png)", none, add_snap_options, run_snap},
    {"stream", "Stream frames with a live status line and a summary, optionally saving them", none,
     add_stream_options, run_stream},
    {"monitor", "Print every camera arrival and removal until Ctrl-C (JSON Lines with --json)", none,
     add_monitor_options, run_monitor_command},
    {"doctor", "Check USB memory, the udev rule, device permissions and link speeds, and say what to do",
     none, add_doctor_options, run_doctor},
    {"completion", "Print a shell completion script: source <(qx-camera completion bash)", none,
     add_completion_options, run_completion},
};

void add_common_options(CLI::App& command, command_options& options) {
    command.add_option("--serial", options.serial, "Camera serial number (default: the first camera found)");
    command.add_option("--emulate", options.emulate,
                       "Use N emulated cameras, or those a JSON file describes (as QX_EMULATED_CAMERAS)");
    command.add_flag("--json", options.json, "Machine-readable output: JSON, or JSON Lines for stream");
}

}  // namespace

std::span<const subcommand> subcommands() {
    return table;
}

void build_command_line(CLI::App& app, command_options& options, const subcommand*& chosen) {
    app.require_subcommand(1);
    for (const subcommand& entry : table) {
        CLI::App* command = app.add_subcommand(entry.name, entry.help);
        add_common_options(*command, options);
        entry.add_options(*command, options);
        command->callback([&chosen, &entry] { chosen = &entry; });
    }
}

}  // namespace qx::tool
