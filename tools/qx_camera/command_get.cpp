#include "command_get.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "camera_session.h"
#include "parameter_access.h"

namespace qx::tool {

void add_get_options(CLI::App& command, command_options& options) {
    command.add_option("NAME", options.words, "Parameter names (qx-camera params lists them, with units)")
        ->required();
}

int run_get(const command_options& options) {
    for (const auto& name : options.words) parameter_row(name);  // every name known before the camera opens
    camera_session camera(options.serial);
    nlohmann::ordered_json values = nlohmann::ordered_json::object();
    for (const auto& name : options.words) {
        const std::string value = read_parameter(camera.handle(), name);
        if (options.json)
            values[name] = typed_value(parameter_row(name), value);
        else
            std::printf("%s=%s\n", name.c_str(), value.c_str());
    }
    if (options.json)
        std::printf("%s\n", values.dump().c_str());
    return 0;
}

}  // namespace qx::tool
