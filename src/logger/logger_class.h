#pragma once
// One logger of the kit's logger front: a module name and a group name bound
// to a log object of the optional logging library. Without the library, or
// without its configuration, the logger is disabled and silent.

#include <cstdarg>
#include <string>

#include "platform/shared_library.h"
#include "quendral_vko_logging.h"

namespace qx {

class logger_class {
  public:
    // Never fails: every missing piece leaves the logger disabled.
    logger_class(const char* module_name, const char* group_name);
    // Frees the log object and unloads the library; never throws.
    ~logger_class();

    logger_class(const logger_class&) = delete;
    logger_class& operator=(const logger_class&) = delete;

    bool is_enabled() const { return enabled_; }

    // Formats the message and hands it to the logging library; does nothing
    // when disabled or when the format is unusable. Never throws.
    void write_message(int level, const char* file, int line, const char* function, const char* format,
                       va_list arguments) noexcept;

  private:
    platform::library_handle logging_library_ = nullptr;
    void* log_object_ = nullptr;
    vko_log_t log_function_ = nullptr;
    bool enabled_ = false;
    std::string module_name_;
    std::string group_name_;
    std::string configuration_file_name_;
};

}  // namespace qx
