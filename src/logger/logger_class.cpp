#include "logger/logger_class.h"

#include <cstdio>

namespace qx {

namespace {
constexpr const char* logging_library_file_name = "quendral_vko_logger.dll";

std::string text_or_empty(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}
}  // namespace

logger_class::logger_class(const char* module_name, const char* group_name) {
    try {
        module_name_ = text_or_empty(module_name);
        group_name_ = text_or_empty(group_name);
        configuration_file_name_ = QX_LOGGER_CONFIGURATION_FILE_NAME;
        logging_library_ = platform::load_library(logging_library_file_name);
        if (logging_library_ == nullptr)
            return;
        const auto get_log =
            reinterpret_cast<vko_get_log_t>(platform::find_symbol(logging_library_, "vko_get_log"));
        if (get_log == nullptr)
            return;
        log_object_ = get_log(module_name_.c_str(), group_name_.c_str(), configuration_file_name_.c_str());
        if (log_object_ == nullptr)
            return;
        log_function_ = reinterpret_cast<vko_log_t>(platform::find_symbol(logging_library_, "vko_log"));
        enabled_ = log_function_ != nullptr;
    } catch (...) {
        // Logging is never a reason to fail; a logger that could not be set
        // up stays silent.
        enabled_ = false;
    }
}

logger_class::~logger_class() {
    if (logging_library_ == nullptr)
        return;
    try {
        const auto free_log =
            reinterpret_cast<vko_free_log_t>(platform::find_symbol(logging_library_, "vko_free_log"));
        if (free_log != nullptr)
            free_log(module_name_.c_str(), group_name_.c_str());
    } catch (...) {
    }
    try {
        platform::unload_library(logging_library_);
    } catch (...) {
    }
}

void logger_class::write_message(int level, const char* file, int line, const char* function,
                                 const char* format, va_list arguments) noexcept {
    if (!enabled_ || format == nullptr)
        return;
    try {
        // The first pass only measures, so a message of any length is sent
        // whole; it consumes its own copy of the arguments.
        va_list measuring_arguments;
        va_copy(measuring_arguments, arguments);
        const int length = std::vsnprintf(nullptr, 0, format, measuring_arguments);
        va_end(measuring_arguments);
        if (length < 0)
            return;
        std::string message(static_cast<std::size_t>(length), '\0');
        std::vsnprintf(message.data(), message.size() + 1, format, arguments);
        log_function_(log_object_, level, file, line, function, message.c_str());
    } catch (...) {
    }
}

}  // namespace qx
