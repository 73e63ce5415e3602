#include "log_output_class.h"

#include "platform/scoped_lock_class.h"

namespace qx {

std::unique_ptr<log_output_class> log_output_class::open_target(const std::string& target, bool append) {
    if (target == "stderr")
        return std::unique_ptr<log_output_class>(new log_output_class(stderr, false));
    if (target == "stdout")
        return std::unique_ptr<log_output_class>(new log_output_class(stdout, false));
    std::FILE* file = std::fopen(target.c_str(), append ? "ab" : "wb");
    if (file == nullptr)
        return nullptr;
    return std::unique_ptr<log_output_class>(new log_output_class(file, true));
}

log_output_class::~log_output_class() {
    if (owns_stream_)
        std::fclose(stream_);
}

bool log_output_class::write_line(const std::string& line) {
    platform::scoped_lock_class lock(write_mutex_);
    const bool written = std::fwrite(line.data(), 1, line.size(), stream_) == line.size();
    return std::fflush(stream_) == 0 && written;
}

}  // namespace qx
