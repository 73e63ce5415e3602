#pragma once
// The camera's scalar parameters as data: one row per parameter, naming the
// command word, how a reply becomes a value, what a setter sends, the names
// reported for missing outputs and refused arguments, and the feature the
// camera must have listed in its "discover" reply. A few generic routines
// walk the rows; parameters with logic of their own live beside this file.
//
// Every routine here runs inside the parameter-method frame: the caller
// holds the handle mutex and has validated the handle. Outputs are written
// only when the whole call succeeds. A reply the catalogue does not
// recognise fails with a message naming what was expected; no output is
// left unwritten without a failure.

#include <climits>
#include <optional>
#include <span>
#include <string_view>

#include "camera/camera_properties_class.h"

namespace qx::camera {

class camera_command_port;

// A feature the camera must have listed in its "discover" reply, and the
// failure when it did not. No flag: nothing is required.
struct feature_need {
    std::optional<feature> flag;
    const char* unsupported_text = "";
};

inline constexpr feature_need frame_rate_control_need{feature::frame_rate_control,
                                                      "Camera does not support frame-rate control."};

// Fails with the need's text when the camera lacks the feature.
void require_feature(const camera_command_port& handle, const feature_need& need);

// How a reply becomes a value.
enum class reply_conversion {
    signed_32,                  // stoi
    signed_64,                  // stoll
    unsigned_32,                // stoul
    nanometres_to_micrometres,  // stod, divided by 1000
    thousandths_to_units,       // stoi, divided by 1000
    on_unless_off,              // 1 unless the reply is exactly "off"
    on_only_when_on,            // 1 only when the reply is exactly "on"
    first_word_on,              // 1 when the first word is exactly "on"
    word_position,              // position of the whole reply in the row's words
    first_word_position,        // position of the reply's first word in the row's words
};

// What a setter appends to its command word.
enum class argument_form {
    decimal,           // the value in decimal
    unsigned_decimal,  // the value as an unsigned 32-bit number in decimal
    on_off,            // "on" for non-zero, "off" for zero
};

// The ".min" and ".max" queries of a parameter.
struct range_query {
    std::string_view command;
    reply_conversion conversion = reply_conversion::signed_32;
    const char* minimum_name = "";
    const char* maximum_name = "";
    feature_need need = {};  // checked after the outputs, before anything is sent
};

enum class scalar;

struct scalar_parameter {
    scalar id;                 // named after the API functions, without qx_camera_get_/set_
    std::string_view command;  // sent by the getter, and with the argument by the setter
    reply_conversion conversion = reply_conversion::signed_32;
    const char* output_name = "";
    std::span<const std::string_view> words = {};  // for the word_position conversions
    const char* unrecognised_text = "";            // a reply that is none of the words
    argument_form form = argument_form::decimal;
    long long smallest_argument = LLONG_MIN;  // setters refuse arguments outside these
    long long largest_argument = LLONG_MAX;   // bounds with argument_name
    const char* argument_name = "";
    feature_need need = {};  // checked by getter and setter
    range_query range = {};  // its own need, if any
};

enum class scalar {
    exposure_time,
    frame_time,
    bit_depth,
    black_level,
    frames_per_trigger,
    hot_pixel_correction_threshold,
    is_hot_pixel_correction_enabled,
    image_width,
    image_height,
    sensor_pixel_width,
    sensor_pixel_height,
    sensor_pixel_size_bytes,
    sensor_readout_time,
    timestamp_clock_frequency,
    is_frame_rate_control_enabled,
    is_cooling_enabled,
    is_led_on,
    usb_port_type,
    gain,
    binx,
    biny,
    operation_mode,
    eep_status,
    is_eep_enabled,
    taps,
    tap_balance_enable,
    color_filter_array_phase,
    polar_phase,
    count
};

const scalar_parameter& scalar_row(scalar parameter);

// Getter: checks the output, the feature, sends the command and converts.
template <class Value>
void get_scalar(camera_command_port& handle, scalar parameter, Value* output);
// Setter: checks the argument's bounds, then the feature, then sends.
void set_scalar(camera_command_port& handle, scalar parameter, long long value);
// The parameter's ".min"/".max" pair.
template <class Value>
void get_scalar_range(camera_command_port& handle, scalar parameter, Value* minimum, Value* maximum);

// The shared ".min"/".max" routine: both outputs missing fail with one text,
// one missing fails with its name; then both queries are sent.
template <class Value>
void get_range(camera_command_port& handle, const range_query& query, Value* minimum, Value* maximum);

// Converts a reply as the conversion says (not the word_position ones).
template <class Value>
Value convert_reply(reply_conversion conversion, std::string_view reply);

// The camera's text parameters, read with the command channel's string read.
struct text_parameter_row {
    std::string_view command;
    const char* output_name;
    range_query length_range;  // empty command: the text has no length range
};

enum class text_parameter { firmware_version, model, serial_number, name, count };

void get_text(camera_command_port& handle, text_parameter parameter, char* text, int text_size);
void get_text_length_range(camera_command_port& handle, text_parameter parameter, int* minimum, int* maximum);

// Queries answered from the feature flags alone, without an exchange.
enum class feature_query { cooling, eep, led, taps, count };

void get_is_feature_supported(camera_command_port& handle, feature_query query, int* is_supported);

// The camera's communication interface: always 2 (USB), without an exchange.
void get_communication_interface(camera_command_port& handle, int* communication_interface);

}  // namespace qx::camera
