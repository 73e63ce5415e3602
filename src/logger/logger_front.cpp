// The kit's logger front: loggers by pair of name pointers, and the three
// write functions.

#include <cstdarg>
#include <cstdint>
#include <map>
#include <memory>
#include <new>
#include <utility>

#include "logger/logger_class.h"
#include "platform/scoped_lock_class.h"
#include "quendral_vko_logging.h"

namespace {

// Keys are the callers' pointer values, not their texts: callers pass the
// same constant strings each time, and two buffers with equal texts are two
// different loggers on purpose.
using logger_key = std::pair<std::uintptr_t, std::uintptr_t>;

struct logger_registry {
    // Start-up and shut-down code is expected to call t_get_logger and
    // t_free_logger from one thread at a time; the mutex only keeps the map
    // intact when that is not so. Loggers are built and destroyed outside it
    // (they load and unload a library).
    qx::platform::mutex_class registry_mutex;
    std::map<logger_key, std::unique_ptr<qx::logger_class>> loggers QX_GUARDED_BY(registry_mutex);
};

// Static storage that is never destroyed: at process exit the logging
// library may already have been finalised, so loggers still registered then
// must not call into it. With no logger registered it holds no heap memory,
// so unloading the kit leaves nothing behind.
logger_registry& get_registry() {
    alignas(logger_registry) static unsigned char storage[sizeof(logger_registry)];
    static logger_registry* const registry = new (storage) logger_registry();
    return *registry;
}

logger_key make_key(const char* module_name, const char* group_name) {
    return {reinterpret_cast<std::uintptr_t>(module_name), reinterpret_cast<std::uintptr_t>(group_name)};
}

void forward_message(void* logger, int level, const char* file, int line, const char* function,
                     const char* format, va_list arguments) {
    if (logger == nullptr)
        return;
    static_cast<qx::logger_class*>(logger)->write_message(level, file, line, function, format, arguments);
}

}  // namespace

extern "C" {

QX_CAMERA_API void* t_get_logger(const char* module_name, const char* group_name) {
    try {
        auto built = std::make_unique<qx::logger_class>(module_name, group_name);
        auto& registry = get_registry();
        qx::platform::scoped_lock_class lock(registry.registry_mutex);
        auto [position, inserted] = registry.loggers.try_emplace(make_key(module_name, group_name), nullptr);
        if (inserted)
            position->second = std::move(built);
        // A logger already stored under the key wins; the new one is
        // discarded when `built` goes out of scope.
        return position->second.get();
    } catch (...) {
        // Only memory exhaustion gets here; there is no logger to give.
        return nullptr;
    }
}

QX_CAMERA_API int t_free_logger(const char* module_name, const char* group_name) {
    std::unique_ptr<qx::logger_class> removed;
    {
        auto& registry = get_registry();
        qx::platform::scoped_lock_class lock(registry.registry_mutex);
        const auto found = registry.loggers.find(make_key(module_name, group_name));
        if (found == registry.loggers.end())
            return 0;
        removed = std::move(found->second);
        registry.loggers.erase(found);
    }
    return 1;
}

QX_CAMERA_API void t_log_error(void* logger, const char* file, int line, const char* function,
                               const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    forward_message(logger, QX_LOG_LEVEL_ERROR, file, line, function, format, arguments);
    va_end(arguments);
}

QX_CAMERA_API void t_log_information(void* logger, const char* file, int line, const char* function,
                                     const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    forward_message(logger, QX_LOG_LEVEL_INFORMATION, file, line, function, format, arguments);
    va_end(arguments);
}

QX_CAMERA_API void t_log_trace(void* logger, const char* file, int line, const char* function,
                               const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    forward_message(logger, QX_LOG_LEVEL_TRACE, file, line, function, format, arguments);
    va_end(arguments);
}

}  // extern "C"
