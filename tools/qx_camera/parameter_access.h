#pragma once
// The SDK's by-name parameter catalogue as the tool uses it: its rows, reads
// and writes as text, and values typed for JSON output.

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "quendral_vko_camera_sdk.h"

namespace qx::tool {

std::vector<qx_parameter_description> parameter_rows();

// The row of that name; an unknown name is a usage failure listing the way
// to see every name.
qx_parameter_description parameter_row(const std::string& name);

std::string read_parameter(void* camera, const std::string& name);
void write_parameter(void* camera, const std::string& name, const std::string& value);
std::pair<std::string, std::string> read_parameter_range(void* camera, const std::string& name);

// Applies "NAME=VALUE" assignments in order.
void apply_assignments(void* camera, const std::vector<std::string>& assignments);
std::pair<std::string, std::string> split_assignment(const std::string& assignment);

// The value as JSON of its kind: numbers, true/false, arrays of integers, text.
nlohmann::ordered_json typed_value(const qx_parameter_description& row, const std::string& text);

// Reads the parameters and prints them as NAME=VALUE lines, or as one JSON
// object of typed values.
void print_parameters(void* camera, const std::vector<std::string>& names, bool json);

// The help's list of parameters: name, unit, access and description, of
// every parameter or only the writable ones.
std::string parameter_help(bool writable_only);

// "rw" or "ro".
const char* access_word(const qx_parameter_description& row);

}  // namespace qx::tool
