#pragma once
// qx-camera info: what a camera is: identity, sensor, link and main settings.

#include "command_options.h"

namespace CLI {
class App;
}

namespace qx::tool {

void add_info_options(CLI::App& command, command_options& options);
int run_info(const command_options& options);

}  // namespace qx::tool
