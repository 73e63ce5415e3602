#include "command_get.h"

#include <CLI/CLI.hpp>

#include "camera_session.h"
#include "parameter_access.h"

namespace qx::tool {

void add_get_options(CLI::App& command, command_options& options) {
    command.add_option("NAME", options.words, "Parameter names (qx-camera params lists them, with units)")
        ->required();
    command.footer(parameter_help(false));
}

int run_get(const command_options& options) {
    for (const auto& name : options.words) parameter_row(name);  // every name known before the camera opens
    camera_session camera(options.serial);
    print_parameters(camera.handle(), options.words, options.json);
    return 0;
}

}  // namespace qx::tool
