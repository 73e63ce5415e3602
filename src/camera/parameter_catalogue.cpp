#include "camera/parameter_catalogue.h"

#include <array>
#include <stdexcept>
#include <string>

#include "base/checks.h"
#include "base/number_conversion.h"
#include "camera/camera_command_port.h"
#include "camera/reply_words.h"

namespace qx::camera {

namespace {

constexpr std::string_view usb_speed_words[] = {"USB 1.0", "USB 2.0", "USB 3.0"};
constexpr std::string_view operation_mode_words[] = {"none", "std", "bulb"};
constexpr std::string_view eep_status_words[] = {"off", "on active", "on inactive", "on bulb"};
constexpr std::string_view taps_words[] = {"0", "1", "2"};
constexpr std::string_view off_on_words[] = {"off", "on"};
constexpr std::string_view color_filter_phase_words[] = {"red", "blue", "green_left_of_red",
                                                         "green_left_of_blue"};
constexpr std::string_view polar_phase_words[] = {"0", "45", "90", "135"};

constexpr feature_need black_level_need{feature::black_level, "Black level is not supported."};
constexpr feature_need taps_need{feature::taps, "Camera does not support taps."};

using enum reply_conversion;

constexpr std::array<scalar_parameter, static_cast<std::size_t>(scalar::count)> scalar_rows = {{
    {.id = scalar::exposure_time,
     .command = "exp",
     .conversion = signed_64,
     .output_name = "exposure",
     .smallest_argument = 0,
     .argument_name = "exposure",
     .range = {"exp", signed_64, "exposure_min_us", "exposure_max_us"}},
    {.id = scalar::frame_time, .command = "frametime", .output_name = "frame_time_us"},
    {.id = scalar::bit_depth, .command = "pixel_bit_depth", .output_name = "bit_depth"},
    {.id = scalar::black_level,
     .command = "blklvl",
     .output_name = "black_level",
     .need = black_level_need,
     .range = {"blklvl", signed_32, "black_level_min", "black_level_max"}},
    {.id = scalar::frames_per_trigger,
     .command = "nframes",
     .conversion = unsigned_32,
     .output_name = "number_of_frames",
     .form = argument_form::unsigned_decimal,
     .range = {"nframes", unsigned_32, "nframes_min", "nframes_max"}},
    // The threshold is read and written as two words, but its range is asked
    // of the single word.
    {.id = scalar::hot_pixel_correction_threshold,
     .command = "hot_pixel_correction threshold",
     .output_name = "hot_pixel_correction_threshold",
     .smallest_argument = 0,
     .argument_name = "hot_pixel_correction_threshold",
     .range = {"hot_pixel_correction", signed_32, "hot_pixel_correction_threshold_min",
               "hot_pixel_correction_threshold_max"}},
    {.id = scalar::is_hot_pixel_correction_enabled,
     .command = "hot_pixel_correction",
     .conversion = on_unless_off,
     .output_name = "is_hot_pixel_correction_enabled",
     .form = argument_form::on_off},
    {.id = scalar::image_width,
     .command = "image_width",
     .output_name = "width_pixels",
     .range = {"image_width", signed_32, "image_width_min", "image_width_max"}},
    {.id = scalar::image_height,
     .command = "image_height",
     .output_name = "height_pixels",
     .range = {"image_height", signed_32, "image_height_min", "image_height_max"}},
    {.id = scalar::sensor_pixel_width,
     .command = "pixel_width_nm",
     .conversion = nanometres_to_micrometres,
     .output_name = "pixel_width_um"},
    {.id = scalar::sensor_pixel_height,
     .command = "pixel_height_nm",
     .conversion = nanometres_to_micrometres,
     .output_name = "pixel_height_um"},
    {.id = scalar::sensor_pixel_size_bytes,
     .command = "pixel_size",
     .output_name = "sensor_pixel_size_bytes"},
    {.id = scalar::sensor_readout_time,
     .command = "sensor_readout_time",
     .output_name = "sensor_readout_time_ns"},
    {.id = scalar::timestamp_clock_frequency,
     .command = "pixel_clock_count_base",
     .output_name = "timestamp_clock_frequency"},
    {.id = scalar::is_frame_rate_control_enabled,
     .command = "sfr",
     .conversion = first_word_on,
     .output_name = "is_enabled",
     .form = argument_form::on_off,
     .need = frame_rate_control_need},
    {.id = scalar::is_cooling_enabled,
     .command = "statustec",
     .conversion = on_only_when_on,
     .output_name = "is_cooling_enabled",
     .need = {feature::powered_cooling, "Powered cooling is not supported."}},
    {.id = scalar::is_led_on,
     .command = "statusled",
     .conversion = on_unless_off,
     .output_name = "is_led_on",
     .form = argument_form::on_off},
    {.id = scalar::usb_port_type,
     .command = "usb_speed",
     .conversion = word_position,
     .output_name = "usb_port_type",
     .words = usb_speed_words,
     .unrecognised_text = "Unexpected USB speed."},
    {.id = scalar::gain,
     .command = "gain",
     .output_name = "gain",
     .smallest_argument = 0,
     .argument_name = "gain",
     .need = {feature::gain, "Gain is not supported."},
     .range = {"gain", signed_32, "gain_min", "gain_max"}},
    {.id = scalar::binx,
     .command = "hbin",
     .output_name = "binx",
     .smallest_argument = 1,
     .argument_name = "binx",
     .range = {"hbin", signed_32, "binx_min", "binx_max"}},
    {.id = scalar::biny,
     .command = "vbin",
     .output_name = "biny",
     .smallest_argument = 1,
     .argument_name = "biny",
     .range = {"vbin", signed_32, "biny_min", "biny_max"}},
    // The mode is the first word of "hwtrig"; setting it keeps the polarity
    // word, which trigger_and_modes handles.
    {.id = scalar::operation_mode,
     .command = "hwtrig",
     .conversion = first_word_position,
     .output_name = "operation_mode",
     .words = operation_mode_words,
     .unrecognised_text = "Operation mode not recognized."},
    {.id = scalar::eep_status,
     .command = "eep",
     .conversion = word_position,
     .output_name = "eep_status_enum",
     .words = eep_status_words,
     .unrecognised_text = "EEP status not recognized.",
     .need = {feature::eep, "EEP mode is not supported."}},
    // Worded without "is", unlike the status getter's text.
    {.id = scalar::is_eep_enabled,
     .command = "eep",
     .form = argument_form::on_off,
     .need = {feature::eep, "EEP mode not supported."}},
    {.id = scalar::taps,
     .command = "taps",
     .conversion = word_position,
     .output_name = "taps",
     .words = taps_words,
     .unrecognised_text = "Taps value not recognized.",
     .largest_argument = 2,
     .argument_name = "taps",
     .need = taps_need},
    {.id = scalar::tap_balance_enable,
     .command = "tap_balance_enable",
     .conversion = word_position,
     .output_name = "tap_balance_enable",
     .words = off_on_words,
     .unrecognised_text = "Tap balance value not recognized.",
     .form = argument_form::on_off,
     .need = taps_need},
    {.id = scalar::color_filter_array_phase,
     .command = "color_filter_phase",
     .conversion = word_position,
     .output_name = "color_filter_array_phase",
     .words = color_filter_phase_words,
     .unrecognised_text = "Unexpected color filter phase."},
    {.id = scalar::polar_phase,
     .command = "polar_phase",
     .conversion = word_position,
     .output_name = "polar_phase",
     .words = polar_phase_words,
     .unrecognised_text = "Polar phase not recognized.",
     .need = {feature::polar_phase, "Polar phase is not supported."}},
}};

constexpr bool rows_follow_their_ids() {
    for (std::size_t index = 0; index < scalar_rows.size(); ++index) {
        if (static_cast<std::size_t>(scalar_rows[index].id) != index)
            return false;
    }
    return true;
}
static_assert(rows_follow_their_ids(), "scalar_rows must be in the order of enum scalar");

const std::array<text_parameter_row, static_cast<std::size_t>(text_parameter::count)> text_rows = {{
    {"ver", "firmware_version", {}},
    {"model", "model", {"model", signed_32, "model_min", "model_max"}},
    {"sernum", "serial_number", {"sernum", signed_32, "serial_number_min", "serial_number_max"}},
    {"name", "name", {"name", signed_32, "name_min", "name_max"}},
}};

struct feature_query_row {
    feature flag;
    const char* output_name;
};

const std::array<feature_query_row, static_cast<std::size_t>(feature_query::count)> feature_query_rows = {{
    {feature::powered_cooling, "is_cooling_supported"},
    {feature::eep, "is_eep_supported"},
    {feature::status_led, "is_led_supported"},
    {feature::taps, "is_taps_supported"},
}};

std::string first_word(std::string_view reply) {
    const auto words = split_words(reply);
    return words.empty() ? std::string() : words.front();
}

int position_in_words(const scalar_parameter& row, std::string_view text) {
    const auto position = find_word(row.words, text);
    if (!position)
        throw std::runtime_error(row.unrecognised_text);
    return *position;
}

template <class Value>
Value converted(const scalar_parameter& row, std::string_view reply) {
    if (row.conversion == word_position)
        return static_cast<Value>(position_in_words(row, reply));
    if (row.conversion == first_word_position)
        return static_cast<Value>(position_in_words(row, first_word(reply)));
    return convert_reply<Value>(row.conversion, reply);
}

std::string argument_command(const scalar_parameter& row, long long value) {
    switch (row.form) {
        case argument_form::unsigned_decimal:
            return build_command(row.command, static_cast<long long>(static_cast<std::uint32_t>(value)));
        case argument_form::on_off:
            return build_command(row.command, value != 0 ? "on" : "off");
        case argument_form::decimal:
            break;
    }
    return build_command(row.command, value);
}

}  // namespace

void require_feature(const camera_command_port& handle, const feature_need& need) {
    if (need.flag && !handle.camera_properties().has(*need.flag))
        throw std::runtime_error(need.unsupported_text);
}

const scalar_parameter& scalar_row(scalar parameter) {
    return scalar_rows.at(static_cast<std::size_t>(parameter));
}

template <class Value>
Value convert_reply(reply_conversion conversion, std::string_view reply) {
    switch (conversion) {
        case signed_32:
            return static_cast<Value>(to_int(reply));
        case signed_64:
            return static_cast<Value>(to_long_long(reply));
        case unsigned_32:
            return static_cast<Value>(to_unsigned_long(reply));
        case nanometres_to_micrometres:
            return static_cast<Value>(to_double(reply) / 1000.0);
        case thousandths_to_units:
            return static_cast<Value>(to_int(reply) / 1000.0);
        case on_unless_off:
            return static_cast<Value>(reply != "off");
        case on_only_when_on:
            return static_cast<Value>(reply == "on");
        case first_word_on:
            return static_cast<Value>(first_word(reply) == "on");
        case word_position:
        case first_word_position:
            break;
    }
    throw std::logic_error("A word conversion needs its row's words.");
}

template <class Value>
void get_scalar(camera_command_port& handle, scalar parameter, Value* output) {
    const scalar_parameter& row = scalar_row(parameter);
    kit::check_argument(output, row.output_name);
    require_feature(handle, row.need);
    *output = converted<Value>(row, handle.channel().get(row.command));
}

void set_scalar(camera_command_port& handle, scalar parameter, long long value) {
    const scalar_parameter& row = scalar_row(parameter);
    if (value < row.smallest_argument || value > row.largest_argument)
        kit::fail_argument(row.argument_name);
    require_feature(handle, row.need);
    handle.channel().set(argument_command(row, value));
}

template <class Value>
void get_range(camera_command_port& handle, const range_query& query, Value* minimum, Value* maximum) {
    if (minimum == nullptr && maximum == nullptr) {
        throw std::invalid_argument("Pointer(s) for receiving the value(s) must be provided.");
    }
    kit::check_argument(minimum, query.minimum_name);
    kit::check_argument(maximum, query.maximum_name);
    require_feature(handle, query.need);
    const std::string command(query.command);
    const Value smallest = convert_reply<Value>(query.conversion, handle.channel().get(command + ".min"));
    const Value largest = convert_reply<Value>(query.conversion, handle.channel().get(command + ".max"));
    *minimum = smallest;
    *maximum = largest;
}

template <class Value>
void get_scalar_range(camera_command_port& handle, scalar parameter, Value* minimum, Value* maximum) {
    get_range(handle, scalar_row(parameter).range, minimum, maximum);
}

void get_text(camera_command_port& handle, text_parameter parameter, char* text, int text_size) {
    const text_parameter_row& row = text_rows.at(static_cast<std::size_t>(parameter));
    kit::check_argument(text, row.output_name);
    if (text_size <= 0)
        kit::fail_argument("str_length");
    const std::string command(row.command);
    handle.channel().read_string(command.c_str(), command.size() + 1, true, text, text_size);
}

void get_text_length_range(camera_command_port& handle, text_parameter parameter, int* minimum,
                           int* maximum) {
    get_range(handle, text_rows.at(static_cast<std::size_t>(parameter)).length_range, minimum, maximum);
}

void get_is_feature_supported(camera_command_port& handle, feature_query query, int* is_supported) {
    const feature_query_row& row = feature_query_rows.at(static_cast<std::size_t>(query));
    kit::check_argument(is_supported, row.output_name);
    *is_supported = handle.camera_properties().has(row.flag) ? 1 : 0;
}

void get_communication_interface(camera_command_port& /*handle*/, int* communication_interface) {
    kit::check_argument(communication_interface, "communication_interface");
    constexpr int usb_interface = 2;
    *communication_interface = usb_interface;
}

template int convert_reply<int>(reply_conversion, std::string_view);
template long long convert_reply<long long>(reply_conversion, std::string_view);
template double convert_reply<double>(reply_conversion, std::string_view);
template void get_scalar<int>(camera_command_port&, scalar, int*);
template void get_scalar<long long>(camera_command_port&, scalar, long long*);
template void get_scalar<double>(camera_command_port&, scalar, double*);
template void get_range<int>(camera_command_port&, const range_query&, int*, int*);
template void get_range<long long>(camera_command_port&, const range_query&, long long*, long long*);
template void get_range<double>(camera_command_port&, const range_query&, double*, double*);
template void get_scalar_range<int>(camera_command_port&, scalar, int*, int*);
template void get_scalar_range<long long>(camera_command_port&, scalar, long long*, long long*);

}  // namespace qx::camera
