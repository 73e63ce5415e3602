#include "camera/command_channel_class.h"

#include <cstring>
#include <sstream>
#include <stdexcept>

#include "base/checks.h"
#include "camera/camera_command_port.h"
#include "camera/firmware_phrases.h"

namespace qx::camera {

namespace {

constexpr const char* error_getting_data = "Error getting data.";
constexpr const char* error_setting_data = "Error setting data.";
constexpr const char* response_required_text =
    "Response required, but not received, possibly due to USB stall. Please try again.";
constexpr const char* not_supported_text = "Command is not supported.";
constexpr const char* response_too_small_text = "Command response size is too small.";

// The reply as the module left it, never reading past the buffer even when
// a module forgot the terminator.
std::string_view reply_text(const char* response, std::uint64_t response_size) {
    return {response, strnlen(response, static_cast<std::size_t>(response_size))};
}

}  // namespace

std::string command_channel_class::context_text(const char* command, std::uint64_t command_size,
                                                std::uint64_t data_size, std::int64_t response_size) const {
    // The apostrophe before "response_size_bytes_up_to_1024" closes no quote;
    // callers match this text as it stands.
    std::ostringstream text;
    text << "Error: qx_camera_handle=" << reinterpret_cast<std::uintptr_t>(handle.identity()) << ", command='"
         << (command == nullptr
                 ? std::string_view()
                 : std::string_view(command, strnlen(command, static_cast<std::size_t>(command_size))))
         << "', command_size_bytes_including_any_null_terminator = " << command_size
         << ", data_size_bytes = " << data_size << "', response_size_bytes_up_to_1024 = " << response_size
         << ": ";
    return text.str();
}

void command_channel_class::get_exchange(const char* command, std::uint64_t command_size, const void* data,
                                         std::uint64_t data_size, char* response, std::uint64_t response_size,
                                         bool response_required, bool& supported) {
    supported = true;
    handle.reply_buffer()[0] = ' ';
    handle.reply_buffer()[1] = '\0';
    if (command == nullptr)
        throw std::invalid_argument("command");
    if (response == nullptr)
        throw std::invalid_argument("response");
    if (command_size == 0)
        throw std::out_of_range("command_size_bytes_including_any_null_terminator");
    if (response_size == 0)
        throw std::out_of_range("response_size_bytes_up_to_1024");

    response[0] = '\0';
    const auto context = [&] {
        return context_text(command, command_size, data_size, static_cast<std::int64_t>(response_size));
    };
    if (handle.get_data(command, command_size, data, data_size, response, response_size) != 0) {
        throw std::runtime_error(context() + error_getting_data);
    }
    if (response_required && response[0] == '\0')
        throw std::runtime_error(context() + response_required_text);

    const std::string_view reply = reply_text(response, response_size);
    const auto phrase = find_firmware_phrase(reply);
    if (!phrase)
        return;
    if (reply.find(invalid_command_phrase) != std::string_view::npos) {
        supported = false;
        return;
    }
    throw std::runtime_error(context() + std::string(reply.substr(*phrase)) + "'");
}

void command_channel_class::set_exchange(const char* command, std::uint64_t command_size, const void* data,
                                         std::uint64_t data_size, char* response, std::int32_t response_size,
                                         bool response_required) {
    handle.run_locked([&] {
        if (command == nullptr)
            throw std::invalid_argument("command");
        if (response == nullptr)
            throw std::invalid_argument("response");
        // An invalid argument here where the get exchange raises a range
        // failure for the same fault: callers tell the two apart.
        if (command_size == 0)
            throw std::invalid_argument("command_size_bytes_including_any_null_terminator");
        if (response_size < 1)
            throw std::invalid_argument("response_size");

        response[0] = '\0';
        const auto context = [&] { return context_text(command, command_size, data_size, response_size); };
        if (handle.set_data(command, command_size, data, data_size, response,
                            static_cast<std::uint64_t>(response_size)) != 0) {
            throw std::runtime_error(context() + error_setting_data);
        }
        const std::string_view reply = reply_text(response, static_cast<std::uint64_t>(response_size));
        if (!response_required || !reply.empty()) {
            if (const auto phrase = find_firmware_phrase(reply)) {
                throw std::runtime_error(context() + std::string(reply.substr(*phrase)));
            }
            return;
        }
        throw std::runtime_error(context() + response_required_text);
    });
}

void command_channel_class::read_string(const char* command, std::uint64_t command_size,
                                        bool response_required, char* destination, int destination_size) {
    bool supported = true;
    get_exchange(command, command_size, nullptr, 0, handle.reply_buffer(), handle_response_size,
                 response_required, supported);
    const std::size_t size = static_cast<std::size_t>(destination_size);
    std::strncpy(destination, handle.reply_buffer(), size);
    if (strnlen(handle.reply_buffer(), handle_response_size) > size) {
        destination[size - 1] = '\0';
        throw std::runtime_error(context_text(command, command_size, 0, destination_size) +
                                 response_too_small_text);
    }
}

std::string command_channel_class::get(std::string_view command, bool& supported) {
    const std::string text(command);
    get_exchange(text.c_str(), text.size() + 1, nullptr, 0, handle.reply_buffer(), handle_response_size, true,
                 supported);
    return std::string(reply_text(handle.reply_buffer(), handle_response_size));
}

std::string command_channel_class::get(std::string_view command) {
    bool supported = true;
    std::string reply = get(command, supported);
    kit::check_true(supported, not_supported_text);
    return reply;
}

void command_channel_class::set(std::string_view command, bool response_required) {
    const std::string text(command);
    set_exchange(text.c_str(), text.size() + 1, nullptr, 0, handle.reply_buffer(),
                 static_cast<std::int32_t>(handle_response_size), response_required);
}

std::string build_command(std::string_view word, long long value) {
    return build_command(word, &value, 1);
}

std::string build_command(std::string_view word, const long long* values, int count) {
    std::ostringstream text;
    text << word;
    for (int index = 0; index < count; ++index) text << ' ' << values[index];
    return text.str();
}

std::string build_command(std::string_view word, std::string_view argument) {
    std::string text(word);
    text += ' ';
    text += argument;
    return text;
}

}  // namespace qx::camera
