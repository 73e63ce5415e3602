#pragma once
// The exit codes a script can rely on, as one table that --help, the README
// and the failure classification all read.

#include <span>
#include <stdexcept>
#include <string>

namespace qx::tool {

enum exit_code : int {
    exit_success = 0,
    exit_failure = 1,
    exit_usage = 2,
    exit_camera_not_found = 3,
    exit_permission_denied = 4,
    exit_timed_out = 5,
    exit_frames_lost = 6,
    exit_interrupted = 130,
};

struct exit_code_row {
    int code;
    const char* meaning;
};

std::span<const exit_code_row> exit_code_rows();

// The "Exit codes:" block of the help text.
std::string exit_code_help();

// A failure the tool reports on standard error before it exits with its code.
class tool_failure : public std::runtime_error {
  public:
    tool_failure(int code, const std::string& message) : std::runtime_error(message), code_(code) {}
    int code() const { return code_; }

  private:
    int code_;
};

// Fails with the SDK's explanation of a failed call, classified by its text
// (a missing camera, a refused device, a time-out, or any other failure).
[[noreturn]] void fail_call(const char* call, int status);

// Fails as fail_call does unless the status is 0.
inline void check_call(const char* call, int status) {
    if (status != 0)
        fail_call(call, status);
}

}  // namespace qx::tool
