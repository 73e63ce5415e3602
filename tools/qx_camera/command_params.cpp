#include "command_params.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "camera_session.h"
#include "exit_codes.h"
#include "parameter_access.h"

namespace qx::tool {

void add_params_options(CLI::App& /*command*/, command_options& /*options*/) {}

int run_params(const command_options& options) {
    camera_session camera(options.serial);
    auto listing = nlohmann::ordered_json::array();
    if (!options.json)
        std::printf("%-32s %-3s %-22s %-5s %-28s %s\n", "NAME", "RW", "VALUE", "UNIT", "RANGE",
                    "DESCRIPTION");
    for (const auto& row : parameter_rows()) {
        nlohmann::ordered_json entry = {{"name", row.name}, {"unit", row.unit}, {"access", access_word(row)}};
        std::string value = "-";
        std::string range;
        try {
            value = read_parameter(camera.handle(), row.name);
            entry["value"] = typed_value(row, value);
            if ((row.flags & QX_PARAMETER_HAS_RANGE) != 0) {
                const auto [minimum, maximum] = read_parameter_range(camera.handle(), row.name);
                entry["minimum"] = typed_value(row, minimum);
                entry["maximum"] = typed_value(row, maximum);
                range = minimum + " .. " + maximum;
            }
        } catch (const tool_failure& failure) {
            // The camera lacks the feature: say so in place of the value.
            entry["unavailable"] = failure.what();
        }
        entry["description"] = row.description;
        if (options.json)
            listing.push_back(entry);
        else
            std::printf("%-32s %-3s %-22s %-5s %-28s %s\n", row.name, access_word(row), value.c_str(),
                        row.unit, range.c_str(), row.description);
    }
    if (options.json)
        std::printf("%s\n", listing.dump().c_str());
    return 0;
}

}  // namespace qx::tool
