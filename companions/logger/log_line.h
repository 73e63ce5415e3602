#pragma once
// The one layout of a written log line (docs/logging.md).

#include <chrono>
#include <string>

namespace qx {

// "ERROR", "WARNING", "INFO", "TRACE" for the levels the kit and the library
// use; "LEVEL<n>" for any other number.
std::string level_name(int level);

// "<time> <LEVEL> <module>/<group> <file>:<line> <function>: <message>\n",
// the time in UTC as 2025-01-31T09:15:02.347Z. Null texts become "-"; line
// breaks inside the message are written as "\n" so that every message stays
// on one line, and line breaks at its end are dropped.
std::string format_log_line(std::chrono::system_clock::time_point time, int level, const char* module_name,
                            const char* group_name, const char* file, int line, const char* function,
                            const char* message);

}  // namespace qx
