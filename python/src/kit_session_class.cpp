#include "kit_session_class.h"

#include <chrono>
#include <sstream>

#include "platform/scoped_lock_class.h"
#include "quendral_vko_camera_sdk.h"
#include "status_error.h"

namespace qx::python {

namespace {
// The longest serial list discovery is asked for: 64 cameras with room to spare.
constexpr int serial_list_size = 8192;
// Events nobody takes are dropped beyond this, oldest first.
constexpr std::size_t event_queue_limit = 1024;
}  // namespace

kit_session_class::kit_session_class() {
    check_sdk(qx_camera_open_sdk());
    open_ = true;
}

kit_session_class::~kit_session_class() {
    try {
        close();
    } catch (const status_error&) {
        // The kit refuses to close while a camera is open; the process keeps it.
    }
}

void kit_session_class::close() {
    {
        platform::scoped_lock_class lock(mutex_);
        if (!open_) return;
    }
    if (listening_) {
        // Cleared before the kit goes, so no listener calls into this object
        // once it is gone.
        check_sdk(qx_camera_set_camera_connect_callback(nullptr, nullptr));
        check_sdk(qx_camera_set_camera_disconnect_callback(nullptr, nullptr));
    }
    check_sdk(qx_camera_close_sdk());
    platform::scoped_lock_class lock(mutex_);
    open_ = false;
    listening_ = false;
    event_ready_.notify_all();
}

std::vector<std::string> kit_session_class::cameras() {
    std::vector<char> text(serial_list_size + 1, '\0');
    check_sdk(qx_camera_discover_available_cameras(text.data(), serial_list_size));
    std::istringstream words(text.data());
    std::vector<std::string> serial_numbers;
    for (std::string serial; words >> serial;) serial_numbers.push_back(serial);
    return serial_numbers;
}

void kit_session_class::listen_for_hotplug() {
    if (listening_) return;
    check_sdk(qx_camera_set_camera_connect_callback(&kit_session_class::on_connect, this));
    check_sdk(qx_camera_set_camera_disconnect_callback(&kit_session_class::on_disconnect, this));
    listening_ = true;
}

void kit_session_class::on_connect(const char* serial_number, int usb_port_type, void* context) {
    static_cast<kit_session_class*>(context)->push({true, serial_number ? serial_number : "", usb_port_type});
}

void kit_session_class::on_disconnect(const char* serial_number, void* context) {
    static_cast<kit_session_class*>(context)->push({false, serial_number ? serial_number : "", -1});
}

void kit_session_class::push(hotplug_event event) {
    platform::scoped_lock_class lock(mutex_);
    if (events_.size() == event_queue_limit) events_.pop_front();
    events_.push_back(std::move(event));
    event_ready_.notify_one();
}

std::optional<hotplug_event> kit_session_class::next_event(int timeout_ms) {
    platform::scoped_lock_class lock(mutex_);
    event_ready_.wait_for(lock, std::chrono::milliseconds(timeout_ms),
                          [&]() QX_REQUIRES(mutex_) { return !events_.empty() || !open_; });
    if (events_.empty()) return std::nullopt;
    hotplug_event event = std::move(events_.front());
    events_.pop_front();
    return event;
}

}  // namespace qx::python
