#pragma once
// One place lines are written to: a file, or the process's standard error or
// output. Log objects configured with the same output share one instance, so
// their lines never interleave within a line.

#include <cstdio>
#include <memory>
#include <string>

#include "platform/annotated_mutex_class.h"

namespace qx {

class log_output_class {
  public:
    // Opens "stderr", "stdout" or a file (appended to, or emptied when
    // @p append is false); null when the file cannot be opened.
    static std::unique_ptr<log_output_class> open_target(const std::string& target, bool append);
    ~log_output_class();

    log_output_class(const log_output_class&) = delete;
    log_output_class& operator=(const log_output_class&) = delete;

    // Writes one whole line and flushes it, so that a crash loses nothing
    // already logged. False when the write failed.
    bool write_line(const std::string& line) QX_EXCLUDES(write_mutex_);

  private:
    log_output_class(std::FILE* stream, bool owns_stream) : stream_(stream), owns_stream_(owns_stream) {}

    // Lock order: taken after the log registry's mutex, never before it.
    platform::mutex_class write_mutex_;
    std::FILE* stream_ QX_GUARDED_BY(write_mutex_);
    const bool owns_stream_;
};

}  // namespace qx
