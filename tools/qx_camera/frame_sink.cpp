#include "frame_sink.h"

#include <cstdio>

#include "exit_codes.h"

namespace qx::tool {

namespace {

constexpr std::string_view number_marker = "{n}";

}  // namespace

frame_sink::frame_sink(const std::string& pattern, const writer_settings& settings, long long frames)
    : pattern_(pattern),
      settings_(settings),
      file_per_frame_(pattern.find(number_marker) != std::string::npos) {
    const bool several = holds_several_frames(pattern);  // also refuses an unknown extension
    if (!file_per_frame_ && !several && frames != 1) {
        throw tool_failure(exit_usage, "'" + pattern +
                                           "' holds one frame; put {n} in the name for one file per " +
                                           "frame, or use .tif or .fits for one file");
    }
}

std::string frame_sink::path_for(long long index) const {
    std::string path = pattern_;
    char number[24];
    std::snprintf(number, sizeof number, "%06lld", index);
    for (auto at = path.find(number_marker); at != std::string::npos; at = path.find(number_marker))
        path.replace(at, number_marker.size(), number);
    return path;
}

void frame_sink::add(const frame_image& frame) {
    if (!writer_) {
        writer_ = make_image_writer(path_for(frames_), settings_);
        ++files_;
    }
    writer_->add_frame(frame);
    ++frames_;
    if (file_per_frame_)
        finish();
}

void frame_sink::finish() {
    if (!writer_)
        return;
    auto writer = std::move(writer_);
    writer->finish();
}

}  // namespace qx::tool
