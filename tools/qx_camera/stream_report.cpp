#include "stream_report.h"

#include <algorithm>
#include <cstdio>

namespace qx::tool {

double stream_totals::frames_per_second() const {
    if (rate_from_sdk())
        return sdk_rate;
    // Intervals between frames, so the wait for the first one does not count.
    if (frames >= 2 && first_to_last_s > 0)
        return static_cast<double>(frames - 1) / first_to_last_s;
    return seconds > 0 ? static_cast<double>(frames) / seconds : 0;
}

double stream_totals::mebibytes_per_second() const {
    return seconds > 0 ? static_cast<double>(bytes) / (1024.0 * 1024.0) / seconds : 0;
}

stream_tracker::stream_tracker(void* camera, const frame_capture& capture)
    : camera_(camera), capture_(capture), at_start_(stream_statistics(camera)) {}

stream_totals stream_tracker::totals() const {
    const auto received = capture_.received();
    stream_totals totals;
    totals.frames = received.frames;
    totals.bytes = received.bytes;
    totals.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started_).count();
    if (received.first_arrival)
        totals.first_to_last_s =
            std::chrono::duration<double>(received.last_arrival - *received.first_arrival).count();
    totals.counter_gaps = received.counter_gaps;
    totals.not_saved = received.queue_overflows;
    qx_camera_get_measured_frame_rate(camera_, &totals.sdk_rate);
    const auto now = stream_statistics(camera_);
    if (now && at_start_) {
        const long long incomplete =
            static_cast<long long>(now->frames_lost_incomplete - at_start_->frames_lost_incomplete);
        totals.incomplete = incomplete;
        totals.stalls_recovered = static_cast<long long>(now->stalls_recovered - at_start_->stalls_recovered);
        totals.resets = static_cast<long long>(now->resets - at_start_->resets);
        // A frame the camera never sent whole leaves only a gap in its counter;
        // the SDK's losses leave gaps too, so the larger count misses neither.
        totals.lost = std::max(received.counter_gaps,
                               incomplete + static_cast<long long>(now->frames_lost_no_free_slot -
                                                                   at_start_->frames_lost_no_free_slot));
    } else {
        totals.lost = received.counter_gaps;
    }
    totals.lost += received.queue_overflows;
    return totals;
}

std::string live_line(const stream_totals& totals) {
    char line[200];
    std::snprintf(line, sizeof line, "frames %lld | %.1f frames/s | %.1f MiB/s | lost %lld | incomplete %s",
                  totals.frames, totals.frames_per_second(), totals.mebibytes_per_second(), totals.lost,
                  totals.incomplete ? std::to_string(*totals.incomplete).c_str() : "-");
    return line;
}

std::string summary_text(const stream_totals& totals) {
    char text[800];
    const char* rate_source =
        totals.rate_from_sdk() ? "measured by the SDK over the last second"
                               : "measured by qx-camera over the whole stream; the SDK's one-second measure "
                                 "was not yet available";
    std::snprintf(text, sizeof text,
                  "Received %lld frames in %.2f s: %.1f frames/s (%s), %.1f MiB/s.\n"
                  "Lost %lld frames (incomplete %s, not saved because writing fell behind %lld); "
                  "missing from the camera's count: %lld; stalls recovered %lld, resets %lld.\n",
                  totals.frames, totals.seconds, totals.frames_per_second(), rate_source,
                  totals.mebibytes_per_second(), totals.lost,
                  totals.incomplete ? std::to_string(*totals.incomplete).c_str() : "unknown",
                  totals.not_saved, totals.counter_gaps, totals.stalls_recovered, totals.resets);
    return text;
}

nlohmann::ordered_json totals_json(const stream_totals& totals, const char* event) {
    nlohmann::ordered_json record = {
        {"event", event},
        {"frames", totals.frames},
        {"seconds", totals.seconds},
        {"frames_per_second", totals.frames_per_second()},
        {"rate_source", totals.rate_from_sdk() ? "sdk" : "qx-camera"},
        {"mib_per_second", totals.mebibytes_per_second()},
        {"lost", totals.lost},
        {"incomplete",
         totals.incomplete ? nlohmann::ordered_json(*totals.incomplete) : nlohmann::ordered_json()},
        {"counter_gaps", totals.counter_gaps},
        {"not_saved", totals.not_saved},
        {"stalls_recovered", totals.stalls_recovered},
        {"resets", totals.resets},
        {"files", totals.files},
    };
    return record;
}

}  // namespace qx::tool
