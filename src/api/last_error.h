#pragma once
// The per-thread last-error text behind qx_camera_get_last_error.

#include <cstddef>

namespace qx::api {

inline constexpr std::size_t last_error_capacity = 256;

// The calling thread's buffer: zero-filled on first use, NUL-terminated,
// valid for the thread's life.
const char* last_error_text();

// Composes "<message> <text of code>", stores it (cut to 255 characters) as
// the calling thread's last error and returns the code. A null message is
// taken as empty.
int set_last_error(int code, const char* message);

// Stores a message as it stands, with no code text appended (cut to 255
// characters). Discovery reports its failures this way.
void set_last_error_text(const char* message);

}  // namespace qx::api
