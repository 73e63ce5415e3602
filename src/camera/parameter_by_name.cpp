#include "camera/parameter_by_name.h"

#include <array>
#include <charconv>
#include <climits>
#include <cmath>
#include <stdexcept>
#include <vector>

#include "base/checks.h"
#include "camera/colour.h"
#include "camera/frame_rate_control.h"
#include "camera/gain_and_decibels.h"
#include "camera/nir_boost.h"
#include "camera/region_of_interest.h"
#include "camera/trigger_and_modes.h"
#include "camera/user_memory.h"

namespace qx::camera {

namespace {

using handle_class = camera_command_port;

// ---- Text to values and back ----------------------------------------------

[[noreturn]] void refuse_value(const named_parameter& parameter, std::string_view value,
                               std::string_view what) {
    throw std::invalid_argument("Value '" + std::string(value) + "' of " + parameter.name + " is " +
                                std::string(what) + ".");
}

std::string_view trimmed_view(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

long long parse_integer(const named_parameter& parameter, std::string_view value, long long smallest,
                        long long largest) {
    const std::string_view text = trimmed_view(value);
    long long number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error == std::errc::invalid_argument || end != text.data() + text.size())
        refuse_value(parameter, value, "not an integer");
    if (error == std::errc::result_out_of_range || number < smallest || number > largest)
        refuse_value(parameter, value, "out of range");
    return number;
}

double parse_real(const named_parameter& parameter, std::string_view value) {
    const std::string_view text = trimmed_view(value);
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || !std::isfinite(number))
        refuse_value(parameter, value, "not a finite number");
    return number;
}

constexpr std::string_view false_words[] = {"0", "off", "false", "no"};
constexpr std::string_view true_words[] = {"1", "on", "true", "yes"};

std::string joined(std::span<const std::string_view> words) {
    std::string text;
    for (const auto word : words) text += (text.empty() ? "" : ", ") + std::string(word);
    return text;
}

int position_of(std::span<const std::string_view> words, std::string_view word) {
    for (std::size_t index = 0; index < words.size(); ++index) {
        if (words[index] == word)
            return static_cast<int>(index);
    }
    return -1;
}

// A whole number, a boolean or an enumeration's word, as the row's kind says.
long long parse_scalar(const named_parameter& parameter, std::string_view value, long long smallest = INT_MIN,
                       long long largest = INT_MAX) {
    const std::string_view text = trimmed_view(value);
    if (!parameter.words.empty()) {
        const int position = position_of(parameter.words, text);
        if (position < 0)
            refuse_value(parameter, value, "not one of: " + joined(parameter.words));
        return position;
    }
    if (parameter.kind == value_kind::boolean) {
        if (position_of(false_words, text) >= 0)
            return 0;
        if (position_of(true_words, text) >= 0)
            return 1;
        refuse_value(parameter, value, "not a boolean (0, 1, on, off, true, false, yes, no)");
    }
    return parse_integer(parameter, value, smallest, largest);
}

std::vector<int> parse_integer_list(const named_parameter& parameter, std::string_view value,
                                    std::size_t count) {
    std::vector<int> numbers;
    std::string_view rest = value;
    while (numbers.size() <= count) {
        const auto comma = rest.find(',');
        const std::string_view item = rest.substr(0, comma);
        if (trimmed_view(item).empty())
            break;
        numbers.push_back(static_cast<int>(parse_integer(parameter, item, INT_MIN, INT_MAX)));
        if (comma == std::string_view::npos) {
            rest = {};
            break;
        }
        rest.remove_prefix(comma + 1);
    }
    if (numbers.size() != count || !rest.empty())
        refuse_value(parameter, value, "not " + std::to_string(count) + " integers separated by commas");
    return numbers;
}

template <class Real>
std::string format_real(Real value) {
    std::array<char, 32> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), value);
    return std::string(text.data(), result.ptr);
}

std::string format_scalar(const named_parameter& parameter, long long value) {
    if (parameter.words.empty())
        return std::to_string(value);
    if (value < 0 || static_cast<std::size_t>(value) >= parameter.words.size())
        throw std::runtime_error(std::string("Unexpected value ") + std::to_string(value) + " of " +
                                 parameter.name + ".");
    return std::string(parameter.words[static_cast<std::size_t>(value)]);
}

std::string format_list(std::initializer_list<int> values) {
    std::string text;
    for (const int value : values) text += (text.empty() ? "" : ",") + std::to_string(value);
    return text;
}

// ---- Rows of the scalar catalogue -----------------------------------------

std::string read_scalar(handle_class& handle, const named_parameter& parameter) {
    if (parameter.kind == value_kind::real) {
        double value = 0;
        get_scalar(handle, *parameter.row, &value);
        return format_real(value);
    }
    long long value = 0;
    get_scalar(handle, *parameter.row, &value);
    return format_scalar(parameter, value);
}

void write_scalar(handle_class& handle, const named_parameter& parameter, std::string_view value) {
    // Rows read as 64-bit numbers take 64-bit arguments; the others are int.
    const bool wide = scalar_row(*parameter.row).conversion == reply_conversion::signed_64;
    set_scalar(handle, *parameter.row,
               parse_scalar(parameter, value, wide ? LLONG_MIN : INT_MIN, wide ? LLONG_MAX : INT_MAX));
}

text_range read_scalar_range(handle_class& handle, const named_parameter& parameter) {
    long long minimum = 0;
    long long maximum = 0;
    get_scalar_range(handle, *parameter.row, &minimum, &maximum);
    return {format_scalar(parameter, minimum), format_scalar(parameter, maximum)};
}

// ---- Parameters with logic of their own -----------------------------------

template <void (*getter)(handle_class&, int*)>
std::string read_int(handle_class& handle, const named_parameter& parameter) {
    int value = 0;
    getter(handle, &value);
    return format_scalar(parameter, value);
}

template <void (*setter)(handle_class&, int)>
void write_int(handle_class& handle, const named_parameter& parameter, std::string_view value) {
    setter(handle, static_cast<int>(parse_scalar(parameter, value)));
}

template <void (*getter)(handle_class&, long long*)>
std::string read_long(handle_class& handle, const named_parameter& parameter) {
    long long value = 0;
    getter(handle, &value);
    return format_scalar(parameter, value);
}

template <feature_query query>
std::string read_feature(handle_class& handle, const named_parameter& parameter) {
    int value = 0;
    get_is_feature_supported(handle, query, &value);
    return format_scalar(parameter, value);
}

template <text_parameter which>
std::string read_text(handle_class& handle, const named_parameter& /*parameter*/) {
    std::array<char, 1024> text{};
    get_text(handle, which, text.data(), static_cast<int>(text.size()));
    return text.data();
}

template <text_parameter which>
text_range read_text_length_range(handle_class& handle, const named_parameter& /*parameter*/) {
    int minimum = 0;
    int maximum = 0;
    get_text_length_range(handle, which, &minimum, &maximum);
    return {std::to_string(minimum), std::to_string(maximum)};
}

void write_name(handle_class& handle, const named_parameter& /*parameter*/, std::string_view value) {
    set_name(handle, std::string(value).c_str());
}

std::string read_eep_enabled(handle_class& handle, const named_parameter& /*parameter*/) {
    int status = 0;
    get_scalar(handle, scalar::eep_status, &status);
    return status != 0 ? "1" : "0";
}

void write_eep_enabled(handle_class& handle, const named_parameter& parameter, std::string_view value) {
    set_scalar(handle, scalar::is_eep_enabled, parse_scalar(parameter, value));
}

std::string read_gain_db(handle_class& handle, const named_parameter& /*parameter*/) {
    int gain = 0;
    get_scalar(handle, scalar::gain, &gain);
    double decibels = 0;
    convert_gain_to_decibels(handle, gain, &decibels);
    return format_real(decibels);
}

void write_gain_db(handle_class& handle, const named_parameter& parameter, std::string_view value) {
    int gain = 0;
    convert_decibels_to_gain(handle, parse_real(parameter, value), &gain);
    set_scalar(handle, scalar::gain, gain);
}

text_range read_gain_db_range(handle_class& handle, const named_parameter& /*parameter*/) {
    int smallest = 0;
    int largest = 0;
    get_scalar_range(handle, scalar::gain, &smallest, &largest);
    double minimum = 0;
    double maximum = 0;
    convert_gain_to_decibels(handle, smallest, &minimum);
    convert_gain_to_decibels(handle, largest, &maximum);
    return {format_real(minimum), format_real(maximum)};
}

std::string read_frame_rate(handle_class& handle, const named_parameter& /*parameter*/) {
    double value = 0;
    get_frame_rate_control_value(handle, &value);
    return format_real(value);
}

void write_frame_rate(handle_class& handle, const named_parameter& parameter, std::string_view value) {
    set_frame_rate_control_value(handle, parse_real(parameter, value));
}

text_range read_frame_rate_range(handle_class& handle, const named_parameter& /*parameter*/) {
    double minimum = 0;
    double maximum = 0;
    get_frame_rate_control_value_range(handle, &minimum, &maximum);
    return {format_real(minimum), format_real(maximum)};
}

// The region travels as "x,y,width,height"; the camera keeps inclusive
// corners, so a width of w ends at x + w - 1.
std::string region_text(int upper_left_x, int upper_left_y, int lower_right_x, int lower_right_y) {
    return format_list(
        {upper_left_x, upper_left_y, lower_right_x - upper_left_x + 1, lower_right_y - upper_left_y + 1});
}

std::string read_roi(handle_class& handle, const named_parameter& /*parameter*/) {
    std::array<int, 4> corners{};
    get_roi(handle, &corners[0], &corners[1], &corners[2], &corners[3]);
    return region_text(corners[0], corners[1], corners[2], corners[3]);
}

void write_roi(handle_class& handle, const named_parameter& parameter, std::string_view value) {
    const std::vector<int> region = parse_integer_list(parameter, value, 4);
    if (region[2] < 1 || region[3] < 1)
        refuse_value(parameter, value, "not a region with a width and a height of 1 or more");
    const long long lower_right_x = static_cast<long long>(region[0]) + region[2] - 1;
    const long long lower_right_y = static_cast<long long>(region[1]) + region[3] - 1;
    if (lower_right_x > INT_MAX || lower_right_y > INT_MAX)
        refuse_value(parameter, value, "out of range");
    set_roi(handle, region[0], region[1], static_cast<int>(lower_right_x), static_cast<int>(lower_right_y));
}

text_range read_roi_range(handle_class& handle, const named_parameter& /*parameter*/) {
    std::array<int, 8> corners{};
    get_roi_range(handle, &corners[0], &corners[1], &corners[2], &corners[3], &corners[4], &corners[5],
                  &corners[6], &corners[7]);
    // Each field's own bounds: the largest region starts at the smallest corner.
    return {region_text(corners[0], corners[1], corners[2], corners[3]),
            format_list({corners[4], corners[5], corners[6] - corners[0] + 1, corners[7] - corners[1] + 1})};
}

std::string read_binning(handle_class& handle, const named_parameter& /*parameter*/) {
    int horizontal = 0;
    int vertical = 0;
    get_scalar(handle, scalar::binx, &horizontal);
    get_scalar(handle, scalar::biny, &vertical);
    return format_list({horizontal, vertical});
}

void write_binning(handle_class& handle, const named_parameter& parameter, std::string_view value) {
    const std::vector<int> factors = parse_integer_list(parameter, value, 2);
    set_scalar(handle, scalar::binx, factors[0]);
    set_scalar(handle, scalar::biny, factors[1]);
}

text_range read_binning_range(handle_class& handle, const named_parameter& /*parameter*/) {
    std::array<int, 4> limits{};
    get_scalar_range(handle, scalar::binx, &limits[0], &limits[1]);
    get_scalar_range(handle, scalar::biny, &limits[2], &limits[3]);
    return {format_list({limits[0], limits[2]}), format_list({limits[1], limits[3]})};
}

template <colour_matrix which>
std::string read_matrix(handle_class& handle, const named_parameter& /*parameter*/) {
    std::array<float, colour_matrix_entries> matrix{};
    get_colour_matrix(handle, which, matrix.data());
    std::string text;
    for (const float entry : matrix) text += (text.empty() ? "" : ",") + format_real(entry);
    return text;
}

std::string read_output_color_space(handle_class& handle, const named_parameter& /*parameter*/) {
    std::array<char, output_color_space_size> text{};
    get_output_color_space(handle, text.data());
    return text.data();
}

// ---- The table ------------------------------------------------------------

constexpr std::string_view usb_speed_words[] = {"usb1", "usb2", "usb3"};
constexpr std::string_view trigger_mode_words[] = {"software", "hardware", "bulb"};
constexpr std::string_view trigger_polarity_words[] = {"high", "low"};
constexpr std::string_view eep_status_words[] = {"off", "active", "inactive", "bulb"};
constexpr std::string_view data_rate_words[] = {"readout0", "readout1", "fps30", "fps50"};
constexpr std::string_view sensor_type_words[] = {"mono", "color", "polarized"};
constexpr std::string_view filter_phase_words[] = {"red", "blue", "green_left_of_red", "green_left_of_blue"};
constexpr std::string_view polar_phase_words[] = {"0", "45", "90", "135"};

using enum value_kind;

constexpr named_parameter table[] = {
    // Exposure, timing and gain
    {"exposure_us", "us", "exposure time", integer, read_scalar, write_scalar, read_scalar_range,
     scalar::exposure_time},
    {"frame_time_us", "us", "time from one frame to the next at the current settings", integer, read_scalar,
     nullptr, nullptr, scalar::frame_time},
    {"frame_rate_control", "", "1 when the camera paces frames at frame_rate_fps", boolean, read_scalar,
     write_scalar, nullptr, scalar::is_frame_rate_control_enabled},
    {"frame_rate_fps", "fps", "frame rate kept while frame_rate_control is on", real, read_frame_rate,
     write_frame_rate, read_frame_rate_range},
    {"gain", "", "gain as the camera's own index", integer, read_scalar, write_scalar, read_scalar_range,
     scalar::gain},
    {"gain_db", "dB", "gain in decibels, set to the nearest step the camera has", real, read_gain_db,
     write_gain_db, read_gain_db_range},
    {"black_level", "", "offset added to every pixel", integer, read_scalar, write_scalar, read_scalar_range,
     scalar::black_level},
    {"data_rate",
     "",
     "sensor data rate: readout0, readout1, fps30 or fps50",
     text,
     read_int<get_data_rate>,
     write_int<set_data_rate>,
     nullptr,
     {},
     data_rate_words},
    // Image geometry
    {"roi", "px", "region of interest as x,y,width,height", integer_list, read_roi, write_roi,
     read_roi_range},
    {"binning", "", "binning factors as x,y", integer_list, read_binning, write_binning, read_binning_range},
    {"image_width", "px", "width of the delivered image", integer, read_scalar, nullptr, read_scalar_range,
     scalar::image_width},
    {"image_height", "px", "height of the delivered image", integer, read_scalar, nullptr, read_scalar_range,
     scalar::image_height},
    {"sensor_width", "px", "width of the whole sensor", integer, read_int<get_sensor_width>},
    {"sensor_height", "px", "height of the whole sensor", integer, read_int<get_sensor_height>},
    {"pixel_width_um", "um", "width of one sensor pixel", real, read_scalar, nullptr, nullptr,
     scalar::sensor_pixel_width},
    {"pixel_height_um", "um", "height of one sensor pixel", real, read_scalar, nullptr, nullptr,
     scalar::sensor_pixel_height},
    {"pixel_size_bytes", "B", "bytes per pixel as the sensor delivers it", integer, read_scalar, nullptr,
     nullptr, scalar::sensor_pixel_size_bytes},
    {"bit_depth", "bit", "significant bits per pixel", integer, read_scalar, nullptr, nullptr,
     scalar::bit_depth},
    {"sensor_readout_time_ns", "ns", "time to read the sensor out once", integer, read_scalar, nullptr,
     nullptr, scalar::sensor_readout_time},
    // Triggering
    {"trigger_mode", "", "how exposures start: software, hardware or bulb", text, read_scalar,
     write_int<set_operation_mode>, nullptr, scalar::operation_mode, trigger_mode_words},
    {"trigger_polarity",
     "",
     "active edge of the hardware trigger: high or low",
     text,
     read_int<get_trigger_polarity>,
     write_int<set_trigger_polarity>,
     nullptr,
     {},
     trigger_polarity_words},
    {"frames_per_trigger", "", "frames per trigger, 0 for unlimited", integer, read_scalar, write_scalar,
     read_scalar_range, scalar::frames_per_trigger},
    {"eep_enabled", "", "1 when the exposure-enable pin mode is on", boolean, read_eep_enabled,
     write_eep_enabled},
    {"eep_status", "", "exposure-enable pin mode: off, active, inactive or bulb", text, read_scalar, nullptr,
     nullptr, scalar::eep_status, eep_status_words},
    // Corrections and sensor options
    {"hot_pixel_correction", "", "1 when hot pixels are corrected", boolean, read_scalar, write_scalar,
     nullptr, scalar::is_hot_pixel_correction_enabled},
    {"hot_pixel_correction_threshold", "", "level above which a pixel counts as hot", integer, read_scalar,
     write_scalar, read_scalar_range, scalar::hot_pixel_correction_threshold},
    {"taps", "", "sensor taps read out: 0, 1 or 2", integer, read_scalar, write_scalar, nullptr,
     scalar::taps},
    {"tap_balance", "", "1 when the taps are balanced", boolean, read_scalar, write_scalar, nullptr,
     scalar::tap_balance_enable},
    {"nir_boost", "", "1 when the near-infrared boost is on", boolean, read_int<get_nir_boost_enable>,
     write_int<set_nir_boost_enable>},
    {"led", "", "1 when the status light is on", boolean, read_scalar, write_scalar, nullptr,
     scalar::is_led_on},
    {"cooling", "", "1 when the sensor cooler runs", boolean, read_scalar, nullptr, nullptr,
     scalar::is_cooling_enabled},
    // Colour
    {"sensor_type",
     "",
     "mono, color or polarized",
     text,
     read_int<get_camera_sensor_type>,
     nullptr,
     nullptr,
     {},
     sensor_type_words},
    {"color_filter_array_phase", "", "colour of the first pixel of the filter array", text, read_scalar,
     nullptr, nullptr, scalar::color_filter_array_phase, filter_phase_words},
    {"polar_phase_deg", "deg", "polarizer angle of the first pixel", integer, read_scalar, nullptr, nullptr,
     scalar::polar_phase, polar_phase_words},
    {"color_correction_matrix", "", "3 x 3 colour correction matrix, row by row", text,
     read_matrix<colour_matrix::color_correction>},
    {"white_balance_matrix", "", "3 x 3 default white balance matrix, row by row", text,
     read_matrix<colour_matrix::default_white_balance>},
    {"output_color_space", "", "colour space the correction matrix produces", text, read_output_color_space},
    // Identity, link and abilities
    {"model", "", "camera model", text, read_text<text_parameter::model>, nullptr,
     read_text_length_range<text_parameter::model>},
    {"serial_number", "", "camera serial number", text, read_text<text_parameter::serial_number>, nullptr,
     read_text_length_range<text_parameter::serial_number>},
    {"name", "", "user-assigned camera name, kept in the camera", text, read_text<text_parameter::name>,
     write_name, read_text_length_range<text_parameter::name>},
    {"firmware_version", "", "camera firmware version", text, read_text<text_parameter::firmware_version>},
    {"usb_speed", "", "USB link speed: usb1, usb2 or usb3", text, read_scalar, nullptr, nullptr,
     scalar::usb_port_type, usb_speed_words},
    {"timestamp_clock_hz", "Hz", "frequency of the frame timestamp clock", integer, read_scalar, nullptr,
     nullptr, scalar::timestamp_clock_frequency},
    {"user_memory_size_bytes", "B", "size of the camera's user memory", integer,
     read_long<get_user_memory_maximum_size>},
    {"cooling_supported", "", "1 when the camera has a sensor cooler", boolean,
     read_feature<feature_query::cooling>},
    {"eep_supported", "", "1 when the camera has the exposure-enable pin mode", boolean,
     read_feature<feature_query::eep>},
    {"led_supported", "", "1 when the camera has a status light", boolean, read_feature<feature_query::led>},
    {"taps_supported", "", "1 when the sensor's taps can be chosen", boolean,
     read_feature<feature_query::taps>},
    {"nir_boost_supported", "", "1 when the camera has the near-infrared boost", boolean,
     read_int<get_is_nir_boost_supported>},
};

[[noreturn]] void refuse_parameter(const named_parameter& parameter, const char* what) {
    throw std::invalid_argument(std::string("Parameter '") + parameter.name + "' " + what + ".");
}

}  // namespace

std::span<const named_parameter> named_parameters() {
    return table;
}

int parameter_flags(const named_parameter& parameter) {
    return (parameter.read != nullptr ? parameter_readable : 0) |
           (parameter.write != nullptr ? parameter_writable : 0) |
           (parameter.range != nullptr ? parameter_has_range : 0);
}

const named_parameter& find_named_parameter(std::string_view name) {
    for (const named_parameter& parameter : table) {
        if (name == parameter.name)
            return parameter;
    }
    throw std::invalid_argument("Unknown parameter '" + std::string(name) + "'.");
}

std::string read_named_parameter(handle_class& handle, std::string_view name) {
    const named_parameter& parameter = find_named_parameter(name);
    if (parameter.read == nullptr)
        refuse_parameter(parameter, "cannot be read");
    return parameter.read(handle, parameter);
}

void write_named_parameter(handle_class& handle, std::string_view name, std::string_view value) {
    const named_parameter& parameter = find_named_parameter(name);
    if (parameter.write == nullptr)
        refuse_parameter(parameter, "is read-only");
    parameter.write(handle, parameter, value);
}

text_range read_named_parameter_range(handle_class& handle, std::string_view name) {
    const named_parameter& parameter = find_named_parameter(name);
    if (parameter.range == nullptr)
        refuse_parameter(parameter, "has no range");
    return parameter.range(handle, parameter);
}

}  // namespace qx::camera
