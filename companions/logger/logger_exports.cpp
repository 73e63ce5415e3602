// The logging library's C interface. No exception leaves it: a failure to
// log must never become a failure of the component that logs.

#include "log_registry_class.h"
#include "quendral_vko_logging.h"

namespace {
std::string text_or_empty(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}
}  // namespace

extern "C" {

QX_LOGGER_API void* vko_get_log(const char* module_name, const char* group_name,
                                const char* configuration_file_name) {
    try {
        const std::string file_name = configuration_file_name == nullptr || configuration_file_name[0] == '\0'
                                          ? std::string(QX_LOGGER_CONFIGURATION_FILE_NAME)
                                          : std::string(configuration_file_name);
        return qx::log_registry_class::instance().get_log(text_or_empty(module_name),
                                                          text_or_empty(group_name), file_name);
    } catch (...) {
        return nullptr;
    }
}

QX_LOGGER_API int vko_log(void* log, int level, const char* file, int line, const char* function,
                          const char* message) {
    if (log == nullptr)
        return 1;
    try {
        return static_cast<qx::log_object_class*>(log)->write_message(level, file, line, function, message);
    } catch (...) {
        return 2;
    }
}

QX_LOGGER_API int vko_free_log(const char* module_name, const char* group_name) {
    try {
        return qx::log_registry_class::instance().free_log(text_or_empty(module_name),
                                                           text_or_empty(group_name));
    } catch (...) {
        return 1;
    }
}

}  // extern "C"
