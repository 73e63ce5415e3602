#pragma once
// The tool's subcommands as one table: --help, the parser and the completion
// script are all built from it.

#include <span>

#include "command_options.h"

namespace CLI {
class App;
}

namespace qx::tool {

// What a subcommand's words after the options are, for completion.
enum class word_kind { none, parameter_names, assignments };

struct subcommand {
    const char* name;
    const char* help;
    word_kind words;
    void (*add_options)(CLI::App& command, command_options& options);
    int (*run)(const command_options& options);  // the exit code
};

std::span<const subcommand> subcommands();

// Builds the whole command line: every subcommand of the table with its
// options and the options every subcommand takes (--serial, --emulate,
// --json). The chosen subcommand's run function is left in `chosen`.
void build_command_line(CLI::App& app, command_options& options, const subcommand*& chosen);

}  // namespace qx::tool
