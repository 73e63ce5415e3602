#include "command_list.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "camera_session.h"

namespace qx::tool {

void add_list_options(CLI::App& /*command*/, command_options& /*options*/) {}

int run_list(const command_options& options) {
    sdk_session sdk;
    const auto serials = sdk.serial_numbers();
    if (options.json) {
        std::printf("%s\n", nlohmann::json(serials).dump().c_str());
        return 0;
    }
    if (serials.empty())
        std::printf("No camera found.\n");
    for (const auto& serial : serials) std::printf("%s\n", serial.c_str());
    return 0;
}

}  // namespace qx::tool
