#include "camera/trigger_and_modes.h"

#include <array>
#include <optional>
#include <stdexcept>
#include <string>

#include "base/checks.h"
#include "base/number_conversion.h"
#include "camera/camera_command_port.h"
#include "camera/command_channel_class.h"
#include "camera/parameter_catalogue.h"
#include "camera/reply_words.h"

namespace qx::camera {

namespace {

constexpr std::string_view trigger_command = "hwtrig";
constexpr std::string_view polarity_words[] = {"hi", "lo"};

struct trigger_state {
    std::string mode_word;
    int polarity;
};

trigger_state read_trigger_state(camera_command_port& handle) {
    const auto words = split_words(handle.channel().get(trigger_command));
    if (words.size() != 2)
        throw std::runtime_error("hwtrig");
    return {words[0], words[1] == "lo" ? 1 : 0};
}

std::optional<std::string_view> polarity_word(int polarity) {
    if (polarity < 0 || polarity >= static_cast<int>(std::size(polarity_words)))
        return std::nullopt;
    return polarity_words[polarity];
}

void send_trigger(camera_command_port& handle, std::string_view mode_word, std::string_view polarity) {
    handle.channel().set(build_command(build_command(trigger_command, mode_word), polarity));
}

// One row per data rate, in the order of its value.
struct data_rate_row {
    feature_need need;
    std::string_view command;
    int camera_value;
};

const std::array<data_rate_row, 4> data_rate_rows = {{
    {{feature::readout_frequency, "Readout frequency is not supported."}, "readout_frequency", 0},
    {{feature::readout_frequency, "Readout frequency is not supported."}, "readout_frequency", 1},
    {{feature::fps, "FPS is not supported."}, "fps", 30},
    {{feature::fps, "FPS is not supported."}, "fps", 50},
}};

const data_rate_row* data_rate_row_or_null(int data_rate) {
    if (data_rate < 0 || data_rate >= static_cast<int>(data_rate_rows.size()))
        return nullptr;
    return &data_rate_rows[static_cast<std::size_t>(data_rate)];
}

// Reads the command and finds the data rate whose camera value it answers.
int read_data_rate(camera_command_port& handle, std::string_view command, const char* unexpected_text) {
    const int camera_value = to_int(handle.channel().get(command));
    for (std::size_t index = 0; index < data_rate_rows.size(); ++index) {
        const data_rate_row& row = data_rate_rows[index];
        if (row.command == command && row.camera_value == camera_value)
            return static_cast<int>(index);
    }
    throw std::runtime_error(unexpected_text);
}

}  // namespace

void get_trigger_polarity(camera_command_port& handle, int* trigger_polarity_enum) {
    kit::check_argument(trigger_polarity_enum, "trigger_polarity_enum");
    *trigger_polarity_enum = read_trigger_state(handle).polarity;
}

void set_trigger_polarity(camera_command_port& handle, int trigger_polarity) {
    const auto polarity = polarity_word(trigger_polarity);
    if (!polarity)
        kit::fail_argument("trigger_polarity");
    send_trigger(handle, read_trigger_state(handle).mode_word, *polarity);
}

void set_operation_mode(camera_command_port& handle, int operation_mode) {
    const auto mode_words = scalar_row(scalar::operation_mode).words;
    if (operation_mode < 0 || operation_mode >= static_cast<int>(mode_words.size())) {
        throw std::invalid_argument("Unknown operation mode.");
    }
    const std::string_view mode_word = mode_words[static_cast<std::size_t>(operation_mode)];
    if (operation_mode == 0) {
        handle.channel().set(build_command(trigger_command, mode_word));
        return;
    }
    const auto polarity = polarity_word(read_trigger_state(handle).polarity);
    if (!polarity)
        throw std::runtime_error("Unknown trigger polarity value.");
    send_trigger(handle, mode_word, *polarity);
}

void get_is_operation_mode_supported(camera_command_port& handle, int operation_mode,
                                     int* is_operation_mode_supported) {
    kit::check_argument(is_operation_mode_supported, "is_operation_mode_supported");
    if (operation_mode == 0) {
        *is_operation_mode_supported = 1;
        return;
    }
    if (operation_mode != 1 && operation_mode != 2) {
        *is_operation_mode_supported = 0;
        return;
    }
    bool known = true;
    const std::string reply = handle.channel().get("iosetup", known);
    // A camera that does not know the command has no restriction to report.
    if (!known || reply == "ts") {
        *is_operation_mode_supported = 1;
    } else if (reply == "!t!s") {
        *is_operation_mode_supported = 0;
    } else {
        throw std::runtime_error("I/O setup reply not recognized.");
    }
}

void get_data_rate(camera_command_port& handle, int* data_rate) {
    kit::check_argument(data_rate, "data_rate");
    if (handle.camera_properties().has(feature::fps)) {
        *data_rate = read_data_rate(handle, "fps", "Unexpected data rate.");
        return;
    }
    if (!handle.camera_properties().has(feature::readout_frequency)) {
        throw std::runtime_error("Neither fps nor readout frequency is supported.");
    }
    *data_rate = read_data_rate(handle, "readout_frequency", "Unexpected readout frequency.");
}

void set_data_rate(camera_command_port& handle, int data_rate) {
    const data_rate_row* row = data_rate_row_or_null(data_rate);
    if (row == nullptr)
        throw std::invalid_argument("Unexpected data rate.");
    require_feature(handle, row->need);
    handle.channel().set(build_command(row->command, row->camera_value));
}

void get_is_data_rate_supported(camera_command_port& handle, int data_rate, int* is_supported) {
    kit::check_argument(is_supported, "is_supported");
    const data_rate_row* row = data_rate_row_or_null(data_rate);
    *is_supported = row != nullptr && handle.camera_properties().has(*row->need.flag) ? 1 : 0;
}

}  // namespace qx::camera
