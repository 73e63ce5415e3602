#include "command_set.h"

#include <CLI/CLI.hpp>

#include "camera_session.h"
#include "parameter_access.h"

namespace qx::tool {

void add_set_options(CLI::App& command, command_options& options) {
    command.add_option("NAME=VALUE", options.words, "Assignments, applied in order")->required();
    command.footer(parameter_help(true) +
                   "Values: integers and reals in the unit shown; booleans 0/1, on/off, true/false, yes/no;\n"
                   "lists separated by commas (roi=x,y,width,height, binning=x,y); choices as words.\n");
}

int run_set(const command_options& options) {
    for (const auto& assignment : options.words) parameter_row(split_assignment(assignment).first);
    camera_session camera(options.serial);
    apply_assignments(camera.handle(), options.words);
    // What the camera took, which may be the nearest step it has.
    std::vector<std::string> names;
    for (const auto& assignment : options.words) names.push_back(split_assignment(assignment).first);
    print_parameters(camera.handle(), names, options.json);
    return 0;
}

}  // namespace qx::tool
