#pragma once
// qx-camera list: the serial numbers of every reachable camera.

#include "command_options.h"

namespace CLI {
class App;
}

namespace qx::tool {

void add_list_options(CLI::App& command, command_options& options);
int run_list(const command_options& options);

}  // namespace qx::tool
