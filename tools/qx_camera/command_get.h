#pragma once
// qx-camera get: reads parameters by name.

#include "command_options.h"

namespace CLI {
class App;
}

namespace qx::tool {

void add_get_options(CLI::App& command, command_options& options);
int run_get(const command_options& options);

}  // namespace qx::tool
