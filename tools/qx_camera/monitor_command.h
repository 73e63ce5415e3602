#pragma once
// qx-camera monitor: prints every camera arrival and removal as it happens,
// until Ctrl-C (or a given number of events).

#include <string>

#include "command_options.h"

namespace CLI {
class App;
}

namespace qx::tool {

struct monitor_options {
    // One JSON object per line instead of text.
    bool json = false;
    // A file or FIFO of emulator commands ("plug <camera JSON>",
    // "unplug <path>", "move <path> <port>", "wait <events printed>"), run
    // while monitoring.
    std::string emulator_commands;
    // End after this many arrivals and removals; 0 runs until interrupted.
    int event_limit = 0;
};

// Opens the kit, prints the cameras present, then each arrival and removal;
// returns the exit code.
int run_monitor(const monitor_options& options);

// The subcommand table's entry points: monitor's own options, and a run
// that takes --json from the options every subcommand shares.
void add_monitor_options(CLI::App& command, command_options& options);
int run_monitor_command(const command_options& options);

}  // namespace qx::tool
