#include "command_info.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "camera_session.h"
#include "exit_codes.h"
#include "parameter_access.h"

namespace qx::tool {

namespace {

// What info shows, in order; a parameter the camera lacks is left out.
constexpr const char* shown[] = {"model",           "serial_number", "name",          "firmware_version",
                                 "sensor_type",     "sensor_width",  "sensor_height", "pixel_width_um",
                                 "pixel_height_um", "bit_depth",     "usb_speed",     "exposure_us",
                                 "gain_db",         "roi",           "binning",       "trigger_mode"};

}  // namespace

void add_info_options(CLI::App& /*command*/, command_options& /*options*/) {}

int run_info(const command_options& options) {
    camera_session camera(options.serial);
    nlohmann::ordered_json values = nlohmann::ordered_json::object();
    for (const char* name : shown) {
        const auto row = parameter_row(name);
        try {
            const std::string value = read_parameter(camera.handle(), name);
            if (options.json) {
                values[name] = typed_value(row, value);
            } else {
                std::printf("%-18s %s%s%s\n", name, value.c_str(), *row.unit != '\0' ? " " : "", row.unit);
            }
        } catch (const tool_failure&) {
            // Not every camera has every feature.
        }
    }
    if (options.json)
        std::printf("%s\n", values.dump().c_str());
    return 0;
}

}  // namespace qx::tool
