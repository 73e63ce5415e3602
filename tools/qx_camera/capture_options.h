#pragma once
// The options snap and stream share: output file, settings applied first,
// pixel scaling, compression and time-out.

#include "command_options.h"
#include "image_writer.h"

namespace CLI {
class App;
}

namespace qx::tool {

void add_capture_options(CLI::App& command, command_options& options, bool output_required);
writer_settings writer_settings_of(const command_options& options);

}  // namespace qx::tool
