#pragma once
// One open camera as the Python package drives it. Every method runs without
// the interpreter lock (the module releases it), so a wait for a frame never
// blocks other Python threads. Close may come from any thread while another
// one waits for a frame: waits take the session's lock shared and last one
// short wait at most, close takes it exclusively.

#include <array>
#include <memory>
#include <shared_mutex>
#include <string>
#include <utility>

#include "held_frame_class.h"

namespace qx::python {

class camera_session_class {
  public:
    explicit camera_session_class(const std::string& serial_number);
    ~camera_session_class();
    camera_session_class(const camera_session_class&) = delete;
    camera_session_class& operator=(const camera_session_class&) = delete;

    void close();
    bool is_open() const;

    void arm(int buffers);
    void disarm();
    void trigger();
    bool is_armed();

    // The next frame within timeout_ms, held in its slot, or null when none came.
    std::shared_ptr<held_frame_class> acquire(int timeout_ms);

    std::string get_parameter(const std::string& name);
    void set_parameter(const std::string& name, const std::string& value);
    std::pair<std::string, std::string> parameter_range(const std::string& name);

    // The stream counters, in the order of qx_stream_statistics.
    std::array<unsigned long long, 7> statistics();
    // Sends a camera command as it stands and returns the reply.
    std::string command(const std::string& text);

  private:
    // The open handle, or a failure naming the closed camera.
    void* handle_or_throw() const;

    mutable std::shared_mutex lifetime_mutex_;
    void* handle_ = nullptr;
    std::string serial_number_;
};

}  // namespace qx::python
