#pragma once
// qx-camera snap: one frame into a TIFF, FITS or PNG file.

#include "command_options.h"

namespace CLI {
class App;
}

namespace qx::tool {

void add_snap_options(CLI::App& command, command_options& options);
int run_snap(const command_options& options);

}  // namespace qx::tool
