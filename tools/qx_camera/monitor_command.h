#pragma once
// qx-camera monitor: prints every camera arrival and removal as it happens,
// until Ctrl-C (or a given number of events).

#include <string>

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

// Registers the "monitor" subcommand; its result goes to `exit_code`.
void add_monitor_command(CLI::App& app, int& exit_code);

}  // namespace qx::tool
