#pragma once
// Every option of every subcommand, filled by CLI11 and read by the
// subcommand that runs.

#include <string>
#include <vector>

namespace qx::tool {

struct command_options {
    // Accepted by every subcommand.
    std::string serial;   // empty: the first camera found
    std::string emulate;  // --emulate N|FILE
    bool json = false;
    // get, set, params, snap and stream.
    std::vector<std::string> words;        // get: names; set: NAME=VALUE assignments
    std::vector<std::string> assignments;  // --set NAME=VALUE applied before capturing
    // snap and stream.
    std::string output;  // file or pattern; the extension chooses the format
    bool msb_align = false;
    std::string compression = "none";
    bool fits_cube = false;
    double timeout_s = 10;
    // stream.
    long long frames = 0;
    double duration_s = 0;
    int buffers = 8;
    long long max_lost = -1;  // -1: any number
    bool status_line = true;  // --no-status turns the live line off on a terminal
    // doctor: the system to check, "" for this one.
    std::string system_root;
    // monitor.
    std::string emulator_commands;
    int event_limit = 0;
    // completion.
    std::string shell = "bash";
};

}  // namespace qx::tool
