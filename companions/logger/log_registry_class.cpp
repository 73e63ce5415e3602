#include "log_registry_class.h"

#include <chrono>
#include <new>

#include "log_line.h"
#include "platform/scoped_lock_class.h"

namespace qx {

namespace {
constexpr int warning_level = 4;
}  // namespace

log_registry_class& log_registry_class::instance() {
    alignas(log_registry_class) static unsigned char storage[sizeof(log_registry_class)];
    static log_registry_class* const registry = new (storage) log_registry_class();
    return *registry;
}

log_object_class* log_registry_class::get_log(const std::string& module_name, const std::string& group_name,
                                              const std::string& configuration_file_name) {
    platform::scoped_lock_class lock(registry_mutex_);
    const auto key = std::make_pair(module_name, group_name);
    if (auto found = logs_.find(key); found != logs_.end()) {
        ++found->second.references;
        return found->second.log.get();
    }
    const auto configuration = log_configuration_class::read_first_found(configuration_file_name);
    if (!configuration)
        return nullptr;
    auto output = share_output(*configuration);
    if (!output)
        return nullptr;
    report_warnings(*configuration, *output);
    auto log = std::make_unique<log_object_class>(module_name, group_name, configuration->get_level(),
                                                  std::move(output));
    log_object_class* const handed_out = log.get();
    logs_.emplace(key, registered_log{std::move(log), 1});
    return handed_out;
}

int log_registry_class::free_log(const std::string& module_name, const std::string& group_name) {
    std::unique_ptr<log_object_class> ending;
    {
        platform::scoped_lock_class lock(registry_mutex_);
        const auto found = logs_.find(std::make_pair(module_name, group_name));
        if (found == logs_.end())
            return 1;
        if (--found->second.references > 0)
            return 0;
        ending = std::move(found->second.log);
        logs_.erase(found);
        if (logs_.empty()) {
            // Nothing in use: hold no memory, so that unloading the library
            // leaves nothing behind. Configuration problems are reported
            // again by the next use.
            outputs_.clear();
            reported_warnings_.clear();
        }
    }
    // The output closes with its last log object.
    return 0;
}

std::shared_ptr<log_output_class> log_registry_class::share_output(
    const log_configuration_class& configuration) {
    const std::string target = configuration.get_output_target();
    if (const auto found = outputs_.find(target); found != outputs_.end()) {
        if (auto existing = found->second.lock())
            return existing;
        outputs_.erase(found);
    }
    std::shared_ptr<log_output_class> opened =
        log_output_class::open_target(target, configuration.get_append());
    if (opened)
        outputs_.emplace(target, opened);
    return opened;
}

void log_registry_class::report_warnings(const log_configuration_class& configuration,
                                         log_output_class& output) {
    for (const auto& warning : configuration.get_warnings()) {
        const std::string where = configuration.get_file_path() + ":" + std::to_string(warning.line_number);
        if (!reported_warnings_.insert(where + " " + warning.text).second)
            continue;
        output.write_line(format_log_line(
            std::chrono::system_clock::now(), warning_level, "quendral_vko_logger", "configuration",
            configuration.get_file_path().c_str(), warning.line_number, "-", warning.text.c_str()));
    }
}

}  // namespace qx
