#pragma once
// qx-camera doctor: checks what stands between this computer and its cameras, and says what to do.

#include "command_options.h"

namespace CLI {
class App;
}

namespace qx::tool {

void add_doctor_options(CLI::App& command, command_options& options);
int run_doctor(const command_options& options);

}  // namespace qx::tool
