#pragma once
// qx-camera params: every parameter with its value, range, unit and access.

#include "command_options.h"

namespace CLI {
class App;
}

namespace qx::tool {

void add_params_options(CLI::App& command, command_options& options);
int run_params(const command_options& options);

}  // namespace qx::tool
