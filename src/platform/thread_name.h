#pragma once
// Labels the calling thread for debuggers and system tools, so that the
// kit's workers ("ACQUISITION FRAME LOOP", "ACQUISITION PACKET LOOP", the
// hot-plug listeners) can be told apart in a debugger's thread list.

#include <cstddef>

namespace qx::platform {

// Linux keeps at most this many characters of a thread's name.
inline constexpr std::size_t posix_thread_name_length = 15;

// Names the calling thread. A longer name is cut to its first 15 characters
// on Linux; Windows keeps it whole. A null name is ignored. Never throws:
// naming is a debugging aid and never a reason to fail.
void name_current_thread(const char* name) noexcept;

}  // namespace qx::platform
