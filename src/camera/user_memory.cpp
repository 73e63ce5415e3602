#include "camera/user_memory.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <stdexcept>
#include <string>

#include "base/checks.h"
#include "base/number_conversion.h"
#include "camera/camera_command_port.h"
#include "camera/command_channel_class.h"

namespace qx::camera {

namespace {

constexpr long long chunk_bytes = 256;

long long next_chunk(long long size, long long done) {
    return std::min(size - done, chunk_bytes);
}

// Addresses past the largest offset cannot be named in a command.
void check_range_addressable(long long size, long long offset) {
    if (size > LLONG_MAX - offset)
        throw std::out_of_range("User-memory range is too large.");
}

}  // namespace

void get_user_memory_maximum_size(camera_command_port& handle, long long* maximum_size_bytes) {
    kit::check_argument(maximum_size_bytes, "maximum_size_bytes");
    *maximum_size_bytes = to_long_long(handle.channel().get("nvstor size"));
}

void get_user_memory(camera_command_port& handle, unsigned char* destination_data_buffer, long long size,
                     long long offset) {
    kit::check_argument(destination_data_buffer, "destination_data_buffer");
    if (size < 0)
        throw std::invalid_argument("Number of bytes to read cannot be negative.");
    if (offset < 0)
        throw std::invalid_argument("User-memory offset cannot be negative.");
    check_range_addressable(size, offset);
    for (long long done = 0; done < size;) {
        const long long chunk = next_chunk(size, done);
        const long long arguments[] = {offset + done, chunk};
        const std::string command = build_command("nvstor rb", arguments, 2);
        // The bytes may hold zeros: the echo and the colon are checked in the
        // raw reply buffer, and the bytes copied from it.
        const std::string reply = handle.channel().get(command);
        if (reply.compare(0, command.size(), command) != 0)
            throw std::runtime_error(reply);
        if (handle.reply_buffer()[command.size()] != ':') {
            throw std::runtime_error("Did not find a colon in the nvstor response string.");
        }
        std::memcpy(destination_data_buffer + done, handle.reply_buffer() + command.size() + 1,
                    static_cast<std::size_t>(chunk));
        done += chunk;
    }
}

void set_user_memory(camera_command_port& handle, const unsigned char* source_data_buffer, long long size,
                     long long offset) {
    kit::check_argument(source_data_buffer, "source_data_buffer");
    kit::check_true(size >= 0 && offset >= 0, "Parameters cannot be negative.");
    check_range_addressable(size, offset);
    const long long erase_arguments[] = {offset, size};
    handle.channel().set(build_command("nvstor erase", erase_arguments, 2), true);
    const std::string erase_reply(handle.reply_buffer(),
                                  strnlen(handle.reply_buffer(), handle_response_size));
    if (erase_reply.compare(0, 7, "Success") != 0)
        throw std::runtime_error(erase_reply);

    for (long long done = 0; done < size;) {
        const unsigned char* chunk_start = source_data_buffer + done;
        long long chunk = next_chunk(size, done);
        const auto* zero =
            static_cast<const unsigned char*>(std::memchr(chunk_start, 0, static_cast<std::size_t>(chunk)));
        // The zero byte ends the chunk and is sent as the command's terminator.
        const long long text_bytes = zero != nullptr ? zero - chunk_start : chunk;
        if (zero != nullptr)
            chunk = text_bytes + 1;
        const long long arguments[] = {offset + done, chunk};
        std::string command = build_command("nvstor wb", arguments, 2) + ":";
        command.append(reinterpret_cast<const char*>(chunk_start), static_cast<std::size_t>(text_bytes));
        handle.channel().set(command);
        done += chunk;
    }
}

void set_name(camera_command_port& handle, const char* name) {
    kit::check_argument(name, "name");
    handle.channel().set("unlock dl");
    handle.channel().set(build_command("name", name));
}

}  // namespace qx::camera
