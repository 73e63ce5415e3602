#pragma once
// qx-camera completion: prints a shell completion script built from the subcommand table and the catalogue.

#include "command_options.h"

namespace CLI {
class App;
}

namespace qx::tool {

void add_completion_options(CLI::App& command, command_options& options);
int run_completion(const command_options& options);

}  // namespace qx::tool
