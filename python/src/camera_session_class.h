#pragma once
// One open camera as the Python package drives it. Every method runs without
// the interpreter lock (the module releases it), so a wait for a frame never
// blocks other Python threads. Close may come from any thread while another
// one waits for a frame: waits take the session's lock shared and last one
// short wait at most, close takes it exclusively.

#include <array>
#include <memory>
#include <string>
#include <utility>

#include "held_frame_class.h"
#include "platform/annotated_shared_mutex_class.h"

namespace qx::python {

class camera_session_class {
  public:
    explicit camera_session_class(const std::string& serial_number);
    ~camera_session_class();
    camera_session_class(const camera_session_class&) = delete;
    camera_session_class& operator=(const camera_session_class&) = delete;

    void close() QX_EXCLUDES(lifetime_mutex_);
    bool is_open() const QX_EXCLUDES(lifetime_mutex_);

    void arm(int buffers) QX_EXCLUDES(lifetime_mutex_);
    void disarm() QX_EXCLUDES(lifetime_mutex_);
    void trigger() QX_EXCLUDES(lifetime_mutex_);
    bool is_armed() QX_EXCLUDES(lifetime_mutex_);

    // The next frame within timeout_ms, held in its slot, or null when none came.
    std::shared_ptr<held_frame_class> acquire(int timeout_ms) QX_EXCLUDES(lifetime_mutex_);

    std::string get_parameter(const std::string& name) QX_EXCLUDES(lifetime_mutex_);
    void set_parameter(const std::string& name, const std::string& value) QX_EXCLUDES(lifetime_mutex_);
    std::pair<std::string, std::string> parameter_range(const std::string& name) QX_EXCLUDES(lifetime_mutex_);

    // The stream counters, in the order of qx_stream_statistics.
    std::array<unsigned long long, 7> statistics() QX_EXCLUDES(lifetime_mutex_);
    // Sends a camera command as it stands and returns the reply.
    std::string command(const std::string& text) QX_EXCLUDES(lifetime_mutex_);

  private:
    // The open handle, or a failure naming the closed camera.
    void* handle_or_throw() const QX_REQUIRES_SHARED(lifetime_mutex_);

    mutable platform::shared_mutex_class lifetime_mutex_;
    void* handle_ QX_GUARDED_BY(lifetime_mutex_) = nullptr;
    const std::string serial_number_;
};

}  // namespace qx::python
