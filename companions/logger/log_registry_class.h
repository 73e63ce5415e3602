#pragma once
// The logging library's process-wide state: one log object per module and
// group name (by text), reference counted across vko_get_log and
// vko_free_log, and the outputs they share.

#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "log_configuration_class.h"
#include "log_object_class.h"
#include "log_output_class.h"
#include "platform/annotated_mutex_class.h"

namespace qx {

class log_registry_class {
  public:
    // Built in static storage and never destroyed: components may free
    // their logs from their own static destructors, after this library's
    // would have run. It holds no heap memory while no log is in use.
    static log_registry_class& instance();

    // The log object for the pair, created from the configuration on first
    // use; null without a usable configuration. Takes one reference.
    log_object_class* get_log(const std::string& module_name, const std::string& group_name,
                              const std::string& configuration_file_name) QX_EXCLUDES(registry_mutex_);
    // Releases one reference; 0 when one was released, 1 when there was none.
    int free_log(const std::string& module_name, const std::string& group_name) QX_EXCLUDES(registry_mutex_);

  private:
    struct registered_log {
        std::unique_ptr<log_object_class> log;
        int references;
    };

    log_registry_class() = default;
    std::shared_ptr<log_output_class> share_output(const log_configuration_class& configuration)
        QX_REQUIRES(registry_mutex_);
    void report_warnings(const log_configuration_class& configuration, log_output_class& output)
        QX_REQUIRES(registry_mutex_);

    // Lock order: registry_mutex_ first, then an output's write mutex.
    platform::mutex_class registry_mutex_;
    std::map<std::pair<std::string, std::string>, registered_log> logs_ QX_GUARDED_BY(registry_mutex_);
    std::map<std::string, std::weak_ptr<log_output_class>> outputs_ QX_GUARDED_BY(registry_mutex_);
    // Configuration problems already written, so each is reported once.
    std::set<std::string> reported_warnings_ QX_GUARDED_BY(registry_mutex_);
};

}  // namespace qx
