#include "frame_capture.h"

#include <algorithm>
#include <csignal>
#include <cstdio>

#include "exit_codes.h"

namespace qx::tool {

namespace {

// Frames waiting for the writer beyond this are dropped and counted, so a
// slow disk shows up as losses rather than as memory without bound.
constexpr std::size_t queue_limit = 256;

constexpr std::chrono::milliseconds signal_check_interval{100};

void on_interrupt(int) {
    stop_requested = true;
}

}  // namespace

std::atomic<bool> stop_requested{false};

void install_interrupt_handler() {
    struct sigaction action {};
    action.sa_handler = on_interrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

std::string no_frame_text(double timeout_s) {
    char text[64];
    std::snprintf(text, sizeof text, "no frame came within %g s", timeout_s);
    return text;
}

std::optional<qx_stream_statistics> stream_statistics(void* camera) {
    qx_stream_statistics statistics{};
    statistics.size = sizeof statistics;
    if (qx_camera_get_stream_statistics(camera, &statistics) != 0)
        return std::nullopt;
    return statistics;
}

frame_capture::frame_capture(void* camera, const capture_settings& settings, int buffers, long long wanted)
    : camera_(camera), settings_(settings), wanted_(wanted) {
    check_call("set frames_per_trigger", qx_camera_set_frames_per_trigger_zero_for_unlimited(camera_, 0));
    check_call("qx_camera_set_frame_available_callback",
               qx_camera_set_frame_available_callback(camera_, &frame_capture::on_frame, this));
    check_call("qx_camera_arm", qx_camera_arm(camera_, buffers));
    armed_ = true;
    check_call("qx_camera_issue_software_trigger", qx_camera_issue_software_trigger(camera_));
}

frame_capture::~frame_capture() {
    if (armed_)
        qx_camera_disarm(camera_);
    qx_camera_set_frame_available_callback(camera_, nullptr, nullptr);
}

void frame_capture::disarm() {
    if (!armed_)
        return;
    armed_ = false;
    check_call("qx_camera_disarm", qx_camera_disarm(camera_));
}

void frame_capture::on_frame(void* /*handle*/, unsigned short* image, int frame_count,
                             unsigned char* /*metadata*/, int /*metadata_size*/, void* context) {
    auto* capture = static_cast<frame_capture*>(context);
    if (image == nullptr)
        return;
    // The camera's counter is an unsigned 32-bit number carried in an int.
    frame_image frame{&capture->settings_, frame_pixels(capture->settings_, image),
                      static_cast<std::uint32_t>(frame_count), utc_now()};
    const auto arrival = std::chrono::steady_clock::now();
    {
        platform::scoped_lock_class guard(capture->mutex_);
        counts& counts = capture->counts_;
        if (capture->wanted_ > 0 && counts.frames >= capture->wanted_)
            return;
        ++counts.frames;
        counts.last_arrival = arrival;
        if (!counts.first_arrival)
            counts.first_arrival = arrival;
        counts.bytes += frame.pixels.size() * sizeof(std::uint16_t);
        const auto count = static_cast<unsigned int>(frame_count);
        if (capture->previous_count_)
            counts.counter_gaps +=
                static_cast<unsigned int>(count - static_cast<unsigned int>(*capture->previous_count_) - 1u);
        capture->previous_count_ = count;
        if (capture->queue_.size() >= queue_limit) {
            ++counts.queue_overflows;
            return;
        }
        capture->queue_.push_back(std::move(frame));
    }
    capture->arrived_.notify_one();
}

std::optional<frame_image> frame_capture::next(std::chrono::milliseconds wait) {
    const auto deadline = std::chrono::steady_clock::now() + wait;
    platform::scoped_lock_class guard(mutex_);
    while (queue_.empty()) {
        const auto now = std::chrono::steady_clock::now();
        if (stop_requested || now >= deadline)
            return std::nullopt;
        // Short slices: a signal handler cannot notify, so Ctrl-C is noticed at the next slice.
        arrived_.wait_for(guard, std::min<std::chrono::steady_clock::duration>(deadline - now, signal_check_interval),
                          [&]() QX_REQUIRES(mutex_) { return !queue_.empty(); });
    }
    frame_image frame = std::move(queue_.front());
    queue_.pop_front();
    return frame;
}

frame_capture::counts frame_capture::received() const {
    platform::scoped_lock_class guard(mutex_);
    return counts_;
}

}  // namespace qx::tool
