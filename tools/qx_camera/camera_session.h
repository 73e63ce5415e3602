#pragma once
// The kit and one camera, opened for the lifetime of a command and closed on
// every way out.

#include <string>
#include <vector>

namespace qx::tool {

// Applies --emulate: the same as QX_EMULATED_CAMERAS, set before the kit is
// opened. Empty leaves the environment as it is.
void use_emulated_cameras(const std::string& count_or_file);

class sdk_session {
  public:
    sdk_session();
    ~sdk_session();
    sdk_session(const sdk_session&) = delete;
    sdk_session& operator=(const sdk_session&) = delete;

    // The serial numbers of every reachable camera.
    std::vector<std::string> serial_numbers() const;
};

class camera_session {
  public:
    // Opens the camera with this serial number, or the first one found.
    explicit camera_session(const std::string& serial_number);
    ~camera_session();
    camera_session(const camera_session&) = delete;
    camera_session& operator=(const camera_session&) = delete;

    void* handle() const { return handle_; }
    const std::string& serial_number() const { return serial_number_; }

  private:
    sdk_session sdk_;
    std::string serial_number_;
    void* handle_ = nullptr;
};

}  // namespace qx::tool
