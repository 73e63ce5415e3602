#include "parameter_access.h"

#include <cstdio>
#include <sstream>

#include "exit_codes.h"

namespace qx::tool {

std::vector<qx_parameter_description> parameter_rows() {
    int count = 0;
    check_call("qx_camera_get_parameter_count", qx_camera_get_parameter_count(&count));
    std::vector<qx_parameter_description> rows(static_cast<std::size_t>(count));
    for (int index = 0; index < count; ++index) {
        check_call("qx_camera_get_parameter_description",
                   qx_camera_get_parameter_description(index, &rows[static_cast<std::size_t>(index)]));
    }
    return rows;
}

qx_parameter_description parameter_row(const std::string& name) {
    for (const auto& row : parameter_rows()) {
        if (name == row.name)
            return row;
    }
    throw tool_failure(exit_usage, "unknown parameter '" + name + "' (qx-camera params lists them all)");
}

std::string read_parameter(void* camera, const std::string& name) {
    char value[1024] = {};
    check_call(("get " + name).c_str(), qx_camera_get_parameter(camera, name.c_str(), value, sizeof value));
    return value;
}

void write_parameter(void* camera, const std::string& name, const std::string& value) {
    check_call(("set " + name).c_str(), qx_camera_set_parameter(camera, name.c_str(), value.c_str()));
}

std::pair<std::string, std::string> read_parameter_range(void* camera, const std::string& name) {
    char minimum[1024] = {};
    char maximum[1024] = {};
    check_call(("range of " + name).c_str(),
               qx_camera_get_parameter_range(camera, name.c_str(), minimum, maximum, sizeof minimum));
    return {minimum, maximum};
}

std::pair<std::string, std::string> split_assignment(const std::string& assignment) {
    const auto equals = assignment.find('=');
    if (equals == std::string::npos || equals == 0)
        throw tool_failure(exit_usage, "expected NAME=VALUE, got '" + assignment + "'");
    return {assignment.substr(0, equals), assignment.substr(equals + 1)};
}

void apply_assignments(void* camera, const std::vector<std::string>& assignments) {
    for (const auto& assignment : assignments) {
        const auto [name, value] = split_assignment(assignment);
        write_parameter(camera, name, value);
    }
}

nlohmann::ordered_json typed_value(const qx_parameter_description& row, const std::string& text) {
    try {
        switch (row.value_type) {
            case QX_PARAMETER_INTEGER:
                return std::stoll(text);
            case QX_PARAMETER_REAL:
                return std::stod(text);
            case QX_PARAMETER_BOOLEAN:
                return text == "1";
            case QX_PARAMETER_INTEGER_LIST: {
                auto list = nlohmann::ordered_json::array();
                std::istringstream items(text);
                for (std::string item; std::getline(items, item, ',');) list.push_back(std::stoll(item));
                return list;
            }
            default:
                break;
        }
    } catch (const std::exception&) {
        // An enumeration's word in a numeric row (such as the polarizer angle) stays text.
    }
    return text;
}

void print_parameters(void* camera, const std::vector<std::string>& names, bool json) {
    nlohmann::ordered_json values = nlohmann::ordered_json::object();
    for (const auto& name : names) {
        const std::string value = read_parameter(camera, name);
        if (json)
            values[name] = typed_value(parameter_row(name), value);
        else
            std::printf("%s=%s\n", name.c_str(), value.c_str());
    }
    if (json)
        std::printf("%s\n", values.dump().c_str());
}

std::string parameter_help(bool writable_only) {
    std::string text = writable_only ? "Parameters that can be set (unit, description):\n"
                                     : "Parameters (unit, rw = can be set, ro = read-only, description):\n";
    for (const auto& row : parameter_rows()) {
        if (writable_only && (row.flags & QX_PARAMETER_WRITABLE) == 0)
            continue;
        char line[256];
        if (writable_only)
            std::snprintf(line, sizeof line, "  %-32s %-4s %s\n", row.name, row.unit, row.description);
        else
            std::snprintf(line, sizeof line, "  %-32s %-4s %s  %s\n", row.name, row.unit, access_word(row),
                          row.description);
        text += line;
    }
    return text;
}

const char* access_word(const qx_parameter_description& row) {
    return (row.flags & QX_PARAMETER_WRITABLE) != 0 ? "rw" : "ro";
}

}  // namespace qx::tool
