#include "api/last_error.h"

#include <cstring>
#include <string>

#include "base/status_codes.h"

namespace qx::api {

namespace {
thread_local char thread_last_error[last_error_capacity] = {};
}

const char* last_error_text() {
    return thread_last_error;
}

void set_last_error_text(const char* message) {
    const std::size_t length = message == nullptr ? 0 : std::strlen(message);
    const std::size_t kept = length < last_error_capacity - 1 ? length : last_error_capacity - 1;
    if (kept > 0)
        std::memcpy(thread_last_error, message, kept);
    thread_last_error[kept] = '\0';
}

int set_last_error(int code, const char* message) {
    std::string text = message == nullptr ? std::string() : std::string(message);
    text += ' ';
    text += status_text(code);
    set_last_error_text(text.c_str());
    return code;
}

}  // namespace qx::api
