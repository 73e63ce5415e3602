#pragma once
// What vko_get_log hands out: one module and group, the level up to which
// their messages are written, and where to.

#include <memory>
#include <string>

#include "log_output_class.h"

namespace qx {

class log_object_class {
  public:
    log_object_class(std::string module_name, std::string group_name, int level,
                     std::shared_ptr<log_output_class> output);

    // Writes the message when @p level is at or below the configured level;
    // returns vko_log's result code.
    int write_message(int level, const char* file, int line, const char* function, const char* message);

  private:
    const std::string module_name_;
    const std::string group_name_;
    const int level_;
    const std::shared_ptr<log_output_class> output_;
};

}  // namespace qx
