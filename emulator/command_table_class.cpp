#include "command_table_class.h"

#include <charconv>
#include <cstdio>
#include <cstring>

namespace qx::emulator {

namespace {

using state_type = camera_state_class;
using setting = camera_state_class::integer_setting;
using context = command_table_class::context;
using call = command_table_class::call;

using get_handler = std::string (*)(const context&);
using set_handler = std::string (*)(context&, const call&);
using range_handler = std::string (*)(const state_type&, bool maximum);

enum row_flag : unsigned {
    read_only = 1,      // the word takes no argument
    idle_only = 2,      // refused while the camera is armed
    echo_value = 4,     // a set answers the new value instead of "Success"
    action = 8,         // no read: the set handler runs with or without arguments
    length_range = 16,  // ".min"/".max" give the length limits of the text
    bare = 32           // an action that takes no argument
};

// One command word. Generic rows name a setting (integer, or text with the
// words a set accepts); handlers replace the generic behaviour where a word
// needs more.
struct command_row {
    std::string_view words;
    std::string_view feature = {};  // the "discover" word without which the command is unknown
    unsigned flags = 0;
    setting state_type::*integer = nullptr;
    std::string state_type::*text = nullptr;
    std::string_view choices = {};  // blank-separated words a set of `text` accepts
    get_handler get = nullptr;
    set_handler set = nullptr;
    range_handler range = nullptr;
    setting state_type::*range_of = nullptr;  // the setting whose range ".min"/".max" report
};

std::string phrase(firmware_phrase which) {
    return std::string(text_of(which));
}

std::string success() {
    return phrase(firmware_phrase::success);
}

bool parse_integer(std::string_view text, std::int64_t& value, int base = 10) {
    if (base == 16 && text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        text.remove_prefix(2);
    }
    const auto* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value, base);
    return !text.empty() && result.ec == std::errc() && result.ptr == end;
}

std::vector<std::string_view> split_words(std::string_view text) {
    std::vector<std::string_view> words;
    std::size_t at = 0;
    while ((at = text.find_first_not_of(' ', at)) != std::string_view::npos) {
        const auto end = std::min(text.find(' ', at), text.size());
        words.push_back(text.substr(at, end - at));
        at = end;
    }
    return words;
}

bool is_choice(std::string_view choices, std::string_view word) {
    for (const auto choice : split_words(choices)) {
        if (choice == word) {
            return true;
        }
    }
    return false;
}

// Reads the arguments of a set into integers, refusing a wrong count, text
// that is no number, and values outside [min, max].
firmware_phrase read_integers(const call& c, std::size_t count, std::int64_t* values, std::int64_t min,
                              std::int64_t max, int base = 10) {
    if (c.arguments.size() < count) {
        return firmware_phrase::not_enough_arguments;
    }
    if (c.arguments.size() > count) {
        return firmware_phrase::too_many_arguments;
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (!parse_integer(c.arguments[i], values[i], base)) {
            return firmware_phrase::option_not_supported;
        }
        if (values[i] < min || values[i] > max) {
            return firmware_phrase::parameter_out_of_range;
        }
    }
    return firmware_phrase::success;
}

// ---- generic rows ----

std::string set_integer(const command_row& row, context& ctx, const call& c) {
    auto& target = ctx.state.*row.integer;
    std::int64_t value = 0;
    const auto refusal = read_integers(c, 1, &value, target.min, target.max);
    if (refusal != firmware_phrase::success) {
        return phrase(refusal);
    }
    target.value = value;
    return (row.flags & echo_value) != 0 ? std::to_string(value) : success();
}

std::string set_choice(const command_row& row, context& ctx, const call& c) {
    if (c.arguments.size() > 1) {
        return phrase(firmware_phrase::too_many_arguments);
    }
    if (!is_choice(row.choices, c.arguments[0])) {
        // Numeric choices ("30 50") are values out of range; words are unsupported options.
        const bool numeric = row.choices[0] >= '0' && row.choices[0] <= '9';
        return phrase(numeric ? firmware_phrase::parameter_out_of_range
                              : firmware_phrase::option_not_supported);
    }
    ctx.state.*row.text = std::string(c.arguments[0]);
    return success();
}

// ---- words with handlers ----

std::string roi_text(const std::array<std::int64_t, 4>& corners) {
    return std::to_string(corners[0]) + " " + std::to_string(corners[1]) + " " + std::to_string(corners[2]) +
           " " + std::to_string(corners[3]);
}

std::string get_roi(const context& ctx) {
    return roi_text(ctx.state.roi);
}

std::string range_roi(const state_type& s, bool maximum) {
    const std::int64_t width = s.config.sensor_width;
    const std::int64_t height = s.config.sensor_height;
    if (maximum) {
        return roi_text(
            {width - state_type::min_roi_width, height - state_type::min_roi_height, width - 1, height - 1});
    }
    return roi_text({0, 0, state_type::min_roi_width - 1, state_type::min_roi_height - 1});
}

std::string set_roi(context& ctx, const call& c) {
    std::array<std::int64_t, 4> corners{};
    auto refusal = read_integers(c, 4, corners.data(), INT32_MIN, INT32_MAX);
    if (refusal == firmware_phrase::parameter_out_of_range) {
        refusal = firmware_phrase::size_out_of_range;
    }
    if (refusal == firmware_phrase::success) {
        refusal = ctx.state.check_geometry(corners, ctx.state.hbin.value, ctx.state.vbin.value);
    }
    if (refusal != firmware_phrase::success) {
        return phrase(refusal);
    }
    ctx.state.roi = corners;
    return success();
}

std::string set_binning(context& ctx, const call& c, setting state_type::*factor) {
    auto& target = ctx.state.*factor;
    std::int64_t value = 0;
    auto refusal = read_integers(c, 1, &value, target.min, target.max);
    if (refusal == firmware_phrase::success) {
        const bool horizontal = factor == &state_type::hbin;
        refusal = ctx.state.check_geometry(ctx.state.roi, horizontal ? value : ctx.state.hbin.value,
                                           horizontal ? ctx.state.vbin.value : value);
    }
    if (refusal != firmware_phrase::success) {
        return phrase(refusal);
    }
    target.value = value;
    return success();
}

std::string set_hbin(context& ctx, const call& c) {
    return set_binning(ctx, c, &state_type::hbin);
}
std::string set_vbin(context& ctx, const call& c) {
    return set_binning(ctx, c, &state_type::vbin);
}

std::string get_frametime(const context& ctx) {
    return std::to_string(ctx.state.frame_period().count());
}

std::string get_sfr(const context& ctx) {
    return ctx.state.sfr_enabled + " " + std::to_string(ctx.state.sfr_millifps.value);
}

std::string set_sfr(context& ctx, const call& c) {
    if (c.arguments.size() == 1 && is_choice("on off", c.arguments[0])) {
        ctx.state.sfr_enabled = std::string(c.arguments[0]);
        return success();
    }
    std::int64_t value = 0;
    const auto refusal = read_integers(c, 1, &value, ctx.state.sfr_millifps.min, ctx.state.sfr_millifps.max);
    if (refusal != firmware_phrase::success) {
        return phrase(refusal);
    }
    ctx.state.sfr_millifps.value = value;
    return success();
}

std::string get_eep(const context& ctx) {
    if (ctx.state.eep != "on") {
        return "off";
    }
    if (ctx.state.trigger_mode == "bulb") {
        return "on bulb";
    }
    return ctx.stream.is_armed() ? "on active" : "on inactive";
}

std::string get_hwtrig(const context& ctx) {
    return ctx.state.trigger_mode + " " + ctx.state.trigger_polarity;
}

std::string set_hwtrig(context& ctx, const call& c) {
    if (c.arguments.size() > 2) {
        return phrase(firmware_phrase::too_many_arguments);
    }
    if (!is_choice("none std bulb", c.arguments[0]) ||
        (c.arguments.size() == 2 && !is_choice("hi lo", c.arguments[1]))) {
        return phrase(firmware_phrase::option_not_supported);
    }
    ctx.state.trigger_mode = std::string(c.arguments[0]);
    if (c.arguments.size() == 2) {
        ctx.state.trigger_polarity = std::string(c.arguments[1]);
    }
    return success();
}

std::string set_name(context& ctx, const call& c) {
    if (!c.unlocked) {
        return phrase(firmware_phrase::command_locked);
    }
    if (c.rest.size() > static_cast<std::size_t>(state_type::longest_text)) {
        return phrase(firmware_phrase::parameter_out_of_range);
    }
    ctx.state.name = std::string(c.rest);
    return success();
}

std::string set_unlock(context& ctx, const call&) {
    ctx.state.name_unlocked = true;
    return success();
}

// User memory: "nvstor rb <offset> <length>", "nvstor wb <offset> <length>:<bytes>",
// "nvstor erase <offset> <count>".
constexpr std::int64_t largest_memory_chunk = 256;

bool memory_range_fits(const state_type& s, std::int64_t offset, std::int64_t count) {
    return offset + count <= static_cast<std::int64_t>(s.user_memory.size());
}

std::string read_memory(context& ctx, const call& c) {
    std::int64_t values[2] = {};
    auto refusal = read_integers(c, 2, values, 0, INT32_MAX);
    if (refusal == firmware_phrase::success &&
        (values[1] > largest_memory_chunk || !memory_range_fits(ctx.state, values[0], values[1]))) {
        refusal = firmware_phrase::parameter_out_of_range;
    }
    if (refusal != firmware_phrase::success) {
        return phrase(refusal);
    }
    std::string reply(c.text);
    reply += ':';
    const auto* bytes = ctx.state.user_memory.data() + values[0];
    reply.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(values[1]));
    return reply;
}

std::string write_memory(context& ctx, const call& c) {
    // The bytes follow the colon raw and may hold a NUL, so they are taken
    // from everything the host wrote, not from the text.
    const auto colon = c.raw.find(':');
    const auto words_end = static_cast<std::size_t>(c.rest.data() - c.raw.data());
    if (colon == std::string_view::npos || colon < words_end) {
        return phrase(firmware_phrase::not_enough_arguments);
    }
    call numbers = c;
    numbers.arguments = split_words(c.raw.substr(words_end, colon - words_end));
    std::int64_t values[2] = {};
    auto refusal = read_integers(numbers, 2, values, 0, INT32_MAX);
    if (refusal == firmware_phrase::success &&
        (values[1] > largest_memory_chunk || !memory_range_fits(ctx.state, values[0], values[1]))) {
        refusal = firmware_phrase::parameter_out_of_range;
    }
    if (refusal == firmware_phrase::success &&
        c.raw.size() - colon - 1 < static_cast<std::size_t>(values[1])) {
        refusal = firmware_phrase::not_enough_arguments;
    }
    if (refusal != firmware_phrase::success) {
        return phrase(refusal);
    }
    std::memcpy(ctx.state.user_memory.data() + values[0], c.raw.data() + colon + 1,
                static_cast<std::size_t>(values[1]));
    return success();
}

std::string erase_memory(context& ctx, const call& c) {
    std::int64_t values[2] = {};
    auto refusal = read_integers(c, 2, values, 0, INT32_MAX);
    if (refusal == firmware_phrase::success && !memory_range_fits(ctx.state, values[0], values[1])) {
        refusal = firmware_phrase::parameter_out_of_range;
    }
    if (refusal != firmware_phrase::success) {
        return phrase(refusal);
    }
    std::memset(ctx.state.user_memory.data() + values[0], 0xFF, static_cast<std::size_t>(values[1]));
    return success();
}

// Column gains: "prnu crc <set>" answers a CRC-32 of a set's factors (or
// "none" without tables); "prnu r <set> <column> <bytes>" (hexadecimal)
// answers each factor's bit pattern as 8 hex digits, least significant byte first.
constexpr std::string_view no_column_gains = "none";

std::uint32_t crc32_of(const std::vector<float>& factors) {
    std::uint32_t crc = 0xFFFFFFFFu;
    for (const float factor : factors) {
        std::uint32_t bits = 0;
        std::memcpy(&bits, &factor, sizeof bits);
        for (int byte = 0; byte < 4; ++byte) {
            crc ^= (bits >> (8 * byte)) & 0xFFu;
            for (int bit = 0; bit < 8; ++bit) {
                crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
            }
        }
    }
    return ~crc;
}

std::string column_gain_crc(context& ctx, const call& c) {
    const auto& tables = ctx.state.config.column_gains;
    if (tables.empty()) {
        return c.arguments.size() > 1 ? phrase(firmware_phrase::too_many_arguments)
                                      : std::string(no_column_gains);
    }
    std::int64_t set = 0;
    const auto refusal = read_integers(c, 1, &set, 0, static_cast<std::int64_t>(tables.size()) - 1);
    if (refusal != firmware_phrase::success) {
        return phrase(refusal);
    }
    return std::to_string(crc32_of(tables[static_cast<std::size_t>(set)]));
}

std::string column_gain_read(context& ctx, const call& c) {
    const auto& tables = ctx.state.config.column_gains;
    if (tables.empty()) {
        return phrase(firmware_phrase::option_not_supported);
    }
    std::int64_t values[3] = {};  // set, first column, byte count
    auto refusal = read_integers(c, 3, values, 0, INT32_MAX, 16);
    const std::int64_t columns = values[2] / 4;
    if (refusal == firmware_phrase::success &&
        (values[0] >= static_cast<std::int64_t>(tables.size()) || values[2] % 4 != 0 || columns == 0 ||
         values[1] + columns > ctx.state.config.sensor_width || columns * 8 >= QX_EMU_REPLY_SIZE)) {
        refusal = firmware_phrase::parameter_out_of_range;
    }
    if (refusal != firmware_phrase::success) {
        return phrase(refusal);
    }
    const auto& table = tables[static_cast<std::size_t>(values[0])];
    std::string reply;
    for (std::int64_t column = values[1]; column < values[1] + columns; ++column) {
        std::uint32_t bits = 0;
        std::memcpy(&bits, &table[static_cast<std::size_t>(column)], sizeof bits);
        char digits[9];
        std::snprintf(digits, sizeof digits, "%02x%02x%02x%02x", bits & 0xFFu, (bits >> 8) & 0xFFu,
                      (bits >> 16) & 0xFFu, bits >> 24);
        reply += digits;
    }
    return reply;
}

// Acquisition: "arm" prepares frames of the current format, "start" (the
// software trigger) owes "nframes" frames (0: until "stop") and arms first
// when needed, "stop" ends the stream.
void arm_stream(context& ctx) {
    ctx.stream.set_frame_period(ctx.state.frame_period());
    ctx.stream.arm(ctx.state.frame_format());
}

std::string run_arm(context& ctx, const call&) {
    arm_stream(ctx);
    return success();
}

std::string run_start(context& ctx, const call&) {
    if (!ctx.stream.is_armed()) {
        arm_stream(ctx);
    }
    ctx.stream.trigger(static_cast<std::uint32_t>(ctx.state.frames_per_trigger.value), ctx.now);
    return success();
}

std::string run_stop(context& ctx, const call&) {
    ctx.stream.stop();
    return success();
}

using S = state_type;

// The command words. Longer words ("hot_pixel_correction threshold") win over
// their first word. Rows without a feature answer on every camera.
const command_row command_rows[] = {
    // Identity and features.
    {.words = "id", .flags = read_only, .text = &S::id},
    {.words = "sernum", .flags = read_only | length_range, .text = &S::serial},
    {.words = "model", .flags = read_only | length_range, .text = &S::model},
    {.words = "name", .flags = length_range, .text = &S::name, .set = set_name},
    {.words = "unlock dl", .flags = action | bare, .set = set_unlock},
    {.words = "ver", .flags = read_only, .text = &S::firmware},
    {.words = "discover", .flags = read_only, .text = &S::discover},
    {.words = "usb_speed", .flags = read_only, .text = &S::usb_speed},
    // Exposure, timing and pixel format.
    {.words = "exp", .integer = &S::exposure_us},
    {.words = "frametime", .integer = &S::frame_time_us, .get = get_frametime},
    {.words = "pixel_bit_depth", .flags = idle_only, .integer = &S::bit_depth},
    {.words = "blklvl", .feature = "blklvl", .integer = &S::black_level},
    {.words = "nframes", .integer = &S::frames_per_trigger},
    {.words = "hot_pixel_correction",
     .feature = "hot_pixel_correction",
     .text = &S::hot_pixel_correction,
     .choices = "on off",
     .range_of = &S::hot_pixel_threshold},
    {.words = "hot_pixel_correction threshold",
     .feature = "hot_pixel_correction",
     .integer = &S::hot_pixel_threshold},
    {.words = "sfr", .feature = "sfr", .get = get_sfr, .set = set_sfr, .range_of = &S::sfr_millifps},
    {.words = "fps", .feature = "fps", .text = &S::fps, .choices = "30 50"},
    {.words = "readout_frequency", .feature = "readout_frequency", .integer = &S::readout_frequency},
    // Sensor geometry.
    {.words = "image_width", .flags = read_only, .integer = &S::image_width},
    {.words = "image_height", .flags = read_only, .integer = &S::image_height},
    {.words = "pixel_width_nm", .flags = read_only, .integer = &S::pixel_width_nm},
    {.words = "pixel_height_nm", .flags = read_only, .integer = &S::pixel_height_nm},
    {.words = "pixel_size", .flags = read_only, .integer = &S::pixel_size},
    {.words = "sensor_readout_time", .flags = read_only, .integer = &S::readout_time_ns},
    {.words = "pixel_clock_count_base", .flags = read_only, .integer = &S::pixel_clock_hz},
    {.words = "roi", .flags = idle_only, .get = get_roi, .set = set_roi, .range = range_roi},
    {.words = "hbin", .flags = idle_only, .integer = &S::hbin, .set = set_hbin},
    {.words = "vbin", .flags = idle_only, .integer = &S::vbin, .set = set_vbin},
    // Status and switches.
    {.words = "statusled", .feature = "statusled", .text = &S::statusled, .choices = "on off"},
    {.words = "statustec", .feature = "statustec", .text = &S::statustec, .choices = "on off"},
    {.words = "NIR_boost", .integer = &S::nir_boost},
    // Gain.
    {.words = "gain", .feature = "gain", .flags = echo_value, .integer = &S::gain},
    {.words = "gain.disc", .flags = read_only, .text = &S::gain_discipline},
    {.words = "gain.table", .flags = read_only, .text = &S::gain_table},
    // Trigger, EEP, taps.
    {.words = "hwtrig", .get = get_hwtrig, .set = set_hwtrig},
    {.words = "iosetup", .flags = read_only, .text = &S::iosetup},
    {.words = "eep", .feature = "eep", .text = &S::eep, .choices = "on off", .get = get_eep},
    {.words = "taps", .feature = "taps", .integer = &S::taps},
    {.words = "tap_balance_enable", .feature = "taps", .text = &S::tap_balance, .choices = "on off"},
    // Colour.
    {.words = "color", .feature = "color", .flags = read_only, .text = &S::color},
    {.words = "color_filter_phase", .feature = "color", .flags = read_only, .text = &S::color_filter_phase},
    {.words = "color_correction_matrix",
     .feature = "color",
     .flags = read_only,
     .text = &S::color_correction_matrix},
    {.words = "default_white_balance_matrix",
     .feature = "color",
     .flags = read_only,
     .text = &S::white_balance_matrix},
    {.words = "output_color_space", .feature = "color", .flags = read_only, .text = &S::output_color_space},
    {.words = "polar_phase", .feature = "polar_phase", .flags = read_only, .text = &S::polar_phase},
    // User memory and column gains.
    {.words = "nvstor size", .flags = read_only, .integer = &S::user_memory_size},
    {.words = "nvstor rb", .flags = action, .set = read_memory},
    {.words = "nvstor wb", .flags = action, .set = write_memory},
    {.words = "nvstor erase", .flags = action, .set = erase_memory},
    {.words = "prnu crc", .flags = action, .set = column_gain_crc},
    {.words = "prnu r", .flags = action, .set = column_gain_read},
    // Acquisition.
    {.words = "arm", .flags = action | bare, .set = run_arm},
    {.words = "start", .flags = action | bare, .set = run_start},
    {.words = "stop", .flags = action | bare, .set = run_stop},
};

// The row whose words begin the command, the longest if several do.
const command_row* find_row(const std::vector<std::string_view>& tokens, std::string_view first,
                            std::size_t& word_count) {
    const command_row* found = nullptr;
    for (const auto& row : command_rows) {
        const auto words = split_words(row.words);
        if (words.size() > tokens.size() || words[0] != first || words.size() <= word_count) {
            continue;
        }
        bool all = true;
        for (std::size_t i = 1; i < words.size(); ++i) {
            all = all && words[i] == tokens[i];
        }
        if (all) {
            found = &row;
            word_count = words.size();
        }
    }
    return found;
}

// A first word that only begins longer command words ("nvstor", "prnu").
std::string refuse_incomplete(const std::vector<std::string_view>& tokens) {
    for (const auto& row : command_rows) {
        const auto words = split_words(row.words);
        if (words.size() > 1 && words[0] == tokens[0]) {
            return phrase(tokens.size() == 1 ? firmware_phrase::not_enough_arguments
                                             : firmware_phrase::option_not_supported);
        }
    }
    return phrase(firmware_phrase::invalid_command);
}

std::string read_value(const command_row& row, const context& ctx) {
    if (row.get != nullptr) {
        return row.get(ctx);
    }
    if (row.integer != nullptr) {
        return std::to_string((ctx.state.*row.integer).value);
    }
    return ctx.state.*row.text;
}

std::string read_range(const command_row& row, const state_type& s, bool maximum) {
    if (row.range != nullptr) {
        return row.range(s, maximum);
    }
    if (const auto source = row.range_of != nullptr ? row.range_of : row.integer; source != nullptr) {
        return std::to_string(maximum ? (s.*source).max : (s.*source).min);
    }
    if (!row.choices.empty()) {
        const auto words = split_words(row.choices);
        return std::string(maximum ? words.back() : words.front());
    }
    if ((row.flags & length_range) != 0) {
        return std::to_string(maximum ? state_type::longest_text : 1);
    }
    return phrase(firmware_phrase::invalid_command);
}

std::string change_value(const command_row& row, context& ctx, const call& c) {
    if ((row.flags & read_only) != 0 || ((row.flags & bare) != 0 && !c.arguments.empty())) {
        return phrase(firmware_phrase::too_many_arguments);
    }
    if ((row.flags & idle_only) != 0 && ctx.stream.is_armed()) {
        return phrase(firmware_phrase::camera_running_refusal);
    }
    if (row.set != nullptr) {
        return row.set(ctx, c);
    }
    if (row.integer != nullptr) {
        return set_integer(row, ctx, c);
    }
    return set_choice(row, ctx, c);
}

}  // namespace

std::string_view command_table_class::first_word(std::string_view command) {
    const auto text = command.substr(0, command.find('\0'));
    const auto words = split_words(text);
    if (words.empty()) {
        return {};
    }
    auto word = words[0];
    if (word.ends_with(".min") || word.ends_with(".max")) {
        word.remove_suffix(4);
    }
    return word;
}

std::string command_table_class::execute(context& ctx, std::string_view command) {
    call c;
    c.raw = command;
    c.text = command.substr(0, command.find('\0'));
    // "unlock dl" opens the lock of "name" for the next command only.
    c.unlocked = ctx.state.name_unlocked;
    ctx.state.name_unlocked = false;

    const auto tokens = split_words(c.text);
    if (tokens.empty()) {
        return phrase(firmware_phrase::invalid_command);
    }
    std::size_t word_count = 0;
    const command_row* row = find_row(tokens, tokens[0], word_count);
    bool range = false;
    bool maximum = false;
    if (row == nullptr && (tokens[0].ends_with(".min") || tokens[0].ends_with(".max"))) {
        maximum = tokens[0].ends_with(".max");
        row = find_row(tokens, tokens[0].substr(0, tokens[0].size() - 4), word_count);
        range = row != nullptr;
    }
    if (row == nullptr) {
        return refuse_incomplete(tokens);
    }
    if (!row->feature.empty() && !ctx.state.has_feature(row->feature)) {
        return phrase(firmware_phrase::invalid_command);
    }
    c.arguments.assign(tokens.begin() + static_cast<std::ptrdiff_t>(word_count), tokens.end());
    const auto words_end = static_cast<std::size_t>(tokens[word_count - 1].data() +
                                                    tokens[word_count - 1].size() - c.text.data());
    c.rest = c.text.substr(std::min(words_end + 1, c.text.size()));

    if (range) {
        return c.arguments.empty() ? read_range(*row, ctx.state, maximum)
                                   : phrase(firmware_phrase::too_many_arguments);
    }
    if ((row->flags & action) == 0 && c.arguments.empty()) {
        return read_value(*row, ctx);
    }
    auto reply = change_value(*row, ctx, c);
    ctx.state.update_derived();
    ctx.stream.set_frame_period(ctx.state.frame_period());
    return reply;
}

}  // namespace qx::emulator
