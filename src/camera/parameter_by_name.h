#pragma once
// Every camera parameter by name, as text, for tools and language bindings.
// One table names each parameter, its unit, its kind and the routines that
// read, write and bound it; rows of the scalar catalogue are read through
// the catalogue's own generic routines, parameters with logic of their own
// bind to that logic. A parameter's flags follow from the routines its row
// has, so the description can never promise what the row cannot do.
//
// Values travel as text in the parameter's unit: integers and reals in
// decimal, booleans as 0 or 1 (on/off, true/false and yes/no are accepted),
// enumerations as their words, integer lists separated by commas.
// The caller holds the handle mutex and has validated the handle.

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "camera/parameter_catalogue.h"

namespace qx::camera {

class camera_command_port;

// The kinds of values, numbered as the public interface numbers them.
enum class value_kind { integer = 0, real = 1, boolean = 2, text = 3, integer_list = 4 };

// The description flags, numbered as the public interface numbers them.
inline constexpr int parameter_readable = 1;
inline constexpr int parameter_writable = 2;
inline constexpr int parameter_has_range = 4;

struct named_parameter;

struct text_range {
    std::string minimum;
    std::string maximum;
};

using text_reader = std::string (*)(camera_command_port&, const named_parameter&);
using text_writer = void (*)(camera_command_port&, const named_parameter&, std::string_view);
using range_reader = text_range (*)(camera_command_port&, const named_parameter&);

struct named_parameter {
    const char* name;         // lower case, with its unit where it has one: "exposure_us"
    const char* unit;         // "us", "dB", or "" when it has none
    const char* description;  // one line of help
    value_kind kind;
    text_reader read = nullptr;                    // absent: write-only (none is)
    text_writer write = nullptr;                   // absent: read-only
    range_reader range = nullptr;                  // absent: no range to ask the camera for
    std::optional<scalar> row = {};                // the scalar catalogue row the generic routines use
    std::span<const std::string_view> words = {};  // an enumeration's words, by the API's value
};

// The whole table, in the order tools list it.
std::span<const named_parameter> named_parameters();

// The row's description flags.
int parameter_flags(const named_parameter& parameter);

// The row of that name; an unknown name fails with a text naming it.
const named_parameter& find_named_parameter(std::string_view name);

std::string read_named_parameter(camera_command_port& handle, std::string_view name);
void write_named_parameter(camera_command_port& handle, std::string_view name, std::string_view value);
text_range read_named_parameter_range(camera_command_port& handle, std::string_view name);

}  // namespace qx::camera
