#pragma once
// Where a command's frames go: one file holding them all, or one file per
// frame when the name holds "{n}" (replaced by the frame's number in the
// stream, from 000000).

#include <memory>
#include <string>

#include "image_writer.h"

namespace qx::tool {

class frame_sink {
  public:
    // `frames` is how many will come (0: unknown); a single file of a
    // one-frame format refuses more than one up front.
    frame_sink(const std::string& pattern, const writer_settings& settings, long long frames);

    void add(const frame_image& frame);
    void finish();

    long long files() const { return files_; }
    const std::string& pattern() const { return pattern_; }

  private:
    std::string path_for(long long index) const;

    std::string pattern_;
    writer_settings settings_;
    bool file_per_frame_;
    std::unique_ptr<image_writer> writer_;
    long long frames_ = 0;
    long long files_ = 0;
};

}  // namespace qx::tool
