#pragma once
// qx-camera stream: frames with a live status line, files, and a summary.

#include "command_options.h"

namespace CLI {
class App;
}

namespace qx::tool {

void add_stream_options(CLI::App& command, command_options& options);
int run_stream(const command_options& options);

}  // namespace qx::tool
