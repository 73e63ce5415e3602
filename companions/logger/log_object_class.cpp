#include "log_object_class.h"

#include <chrono>
#include <utility>

#include "log_line.h"

namespace qx {

log_object_class::log_object_class(std::string module_name, std::string group_name, int level,
                                   std::shared_ptr<log_output_class> output)
    : module_name_(std::move(module_name)),
      group_name_(std::move(group_name)),
      level_(level),
      output_(std::move(output)) {}

int log_object_class::write_message(int level, const char* file, int line, const char* function,
                                    const char* message) {
    if (message == nullptr)
        return 1;
    if (level > level_)
        return 0;
    const std::string text = format_log_line(std::chrono::system_clock::now(), level, module_name_.c_str(),
                                             group_name_.c_str(), file, line, function, message);
    return output_->write_line(text) ? 0 : 2;
}

}  // namespace qx
