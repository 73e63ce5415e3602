#pragma once
// The one path from a camera handle to its device module: every parameter
// read or write is a text command and a text reply through here.

#include <cstdint>
#include <string>
#include <string_view>

namespace qx::camera {

class camera_command_port;

class command_channel_class {
  public:
    explicit command_channel_class(camera_command_port& owner) : handle(owner) {}

    // Sends a get command. Firmware phrases in the reply raise, except
    // "Invalid command", which only clears `supported`. The caller holds the
    // handle mutex.
    void get_exchange(const char* command, std::uint64_t command_size, const void* data,
                      std::uint64_t data_size, char* response, std::uint64_t response_size,
                      bool response_required, bool& supported);

    // Sends a set command; any firmware phrase in a reply raises. Takes the
    // handle mutex itself (re-entrantly) and validates the handle again.
    void set_exchange(const char* command, std::uint64_t command_size, const void* data,
                      std::uint64_t data_size, char* response, std::int32_t response_size,
                      bool response_required);

    // Reads a text reply into the caller's buffer. A reply exactly as long as
    // the buffer fills it without a terminator; a longer one raises.
    void read_string(const char* command, std::uint64_t command_size, bool response_required,
                     char* destination, int destination_size);

    // Conveniences for parameter methods, which hold the handle mutex:
    // a get with response required into the handle's reply buffer, raising
    // "Command is not supported." for an unknown command; the reply text.
    std::string get(std::string_view command);
    // The same, but reporting an unknown command through `supported`.
    std::string get(std::string_view command, bool& supported);
    // A set, the reply into the handle's buffer. The command may hold zero
    // bytes; it is passed with one NUL appended and counted.
    void set(std::string_view command, bool response_required = false);

    // "Error: qx_camera_handle=<address>, command='<command>', ..." put in
    // front of every failure of an exchange.
    std::string context_text(const char* command, std::uint64_t command_size, std::uint64_t data_size,
                             std::int64_t response_size) const;

  private:
    camera_command_port& handle;
};

// Command texts as setters build them: the word, then each argument after
// one blank.
std::string build_command(std::string_view word, long long value);
std::string build_command(std::string_view word, const long long* values, int count);
std::string build_command(std::string_view word, std::string_view argument);

}  // namespace qx::camera
