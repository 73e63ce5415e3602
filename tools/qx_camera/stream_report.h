#pragma once
// What a stream has done so far, and its three renderings: the live status
// line, the closing summary and the JSON Lines records.

#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "frame_capture.h"

namespace qx::tool {

struct stream_totals {
    long long frames = 0;
    double seconds = 0;          // since the trigger
    double first_to_last_s = 0;  // from the first frame's arrival to the last one's
    std::uint64_t bytes = 0;
    long long lost = 0;  // the SDK's losses or counter gaps, and frames the writer fell behind on
    std::optional<long long> incomplete;  // only the SDK's counters know
    long long counter_gaps = 0;
    long long stalls_recovered = 0;  // image-channel stalls the SDK cleared
    long long resets = 0;            // link resets the SDK issued
    long long not_saved = 0;
    double sdk_rate = 0;  // the SDK's one-second measure, 0 until it has one
    long long files = 0;

    // The SDK's measure when it has one, else one taken over the whole stream.
    double frames_per_second() const;
    bool rate_from_sdk() const { return sdk_rate > 0; }
    double mebibytes_per_second() const;
};

// Follows a running stream from the SDK's counters at its start.
class stream_tracker {
  public:
    stream_tracker(void* camera, const frame_capture& capture);
    stream_totals totals() const;

  private:
    void* camera_;
    const frame_capture& capture_;
    std::optional<qx_stream_statistics> at_start_;
    std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
};

// "frames 120 | 49.9 frames/s | 95.4 MiB/s | lost 0 | incomplete 0"
std::string live_line(const stream_totals& totals);
std::string summary_text(const stream_totals& totals);
nlohmann::ordered_json totals_json(const stream_totals& totals, const char* event);

}  // namespace qx::tool
