#pragma once
// qx-camera set: sets parameters by name and reports what the camera took.

#include "command_options.h"

namespace CLI {
class App;
}

namespace qx::tool {

void add_set_options(CLI::App& command, command_options& options);
int run_set(const command_options& options);

}  // namespace qx::tool
