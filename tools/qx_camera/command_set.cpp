#include "command_set.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "camera_session.h"
#include "parameter_access.h"

namespace qx::tool {

void add_set_options(CLI::App& command, command_options& options) {
    command.add_option("NAME=VALUE", options.words, "Assignments, applied in order")->required();
}

int run_set(const command_options& options) {
    for (const auto& assignment : options.words) parameter_row(split_assignment(assignment).first);
    camera_session camera(options.serial);
    apply_assignments(camera.handle(), options.words);
    // What the camera took, which may be the nearest step it has.
    nlohmann::ordered_json values = nlohmann::ordered_json::object();
    for (const auto& assignment : options.words) {
        const std::string name = split_assignment(assignment).first;
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
