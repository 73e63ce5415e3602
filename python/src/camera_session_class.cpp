#include "camera_session_class.h"

#include <vector>

#include "platform/scoped_lock_class.h"
#include "platform/scoped_shared_lock_class.h"
#include "quendral_vko_camera_sdk.h"
#include "status_error.h"

namespace qx::python {

namespace {
// Values of the catalogue travel as text; region lists are the longest.
constexpr int parameter_text_size = 1024;

}  // namespace

camera_session_class::camera_session_class(const std::string& serial_number) : serial_number_(serial_number) {
    std::string serial = serial_number;
    check_sdk(qx_camera_open_camera(serial.data(), &handle_));
}

camera_session_class::~camera_session_class() {
    try {
        close();
    } catch (const status_error&) {
        // A camera that fails to close has nothing left to give back.
    }
}

void camera_session_class::close() {
    platform::scoped_lock_class lock(lifetime_mutex_);
    if (handle_ == nullptr) return;
    void* handle = std::exchange(handle_, nullptr);
    check_sdk(qx_camera_close_camera(handle));
}

bool camera_session_class::is_open() const {
    platform::scoped_shared_lock_class lock(lifetime_mutex_);
    return handle_ != nullptr;
}

void* camera_session_class::handle_or_throw() const {
    if (handle_ == nullptr)
        throw status_error(QX_STATUS_INVALID_OPERATION, "Camera " + serial_number_ + " is closed.");
    return handle_;
}

void camera_session_class::arm(int buffers) {
    platform::scoped_shared_lock_class lock(lifetime_mutex_);
    check_sdk(qx_camera_arm(handle_or_throw(), buffers));
}

void camera_session_class::disarm() {
    platform::scoped_shared_lock_class lock(lifetime_mutex_);
    check_sdk(qx_camera_disarm(handle_or_throw()));
}

void camera_session_class::trigger() {
    platform::scoped_shared_lock_class lock(lifetime_mutex_);
    check_sdk(qx_camera_issue_software_trigger(handle_or_throw()));
}

bool camera_session_class::is_armed() {
    platform::scoped_shared_lock_class lock(lifetime_mutex_);
    int armed = 0;
    check_sdk(qx_camera_get_is_armed(handle_or_throw(), &armed));
    return armed != 0;
}

std::shared_ptr<held_frame_class> camera_session_class::acquire(int timeout_ms) {
    platform::scoped_shared_lock_class lock(lifetime_mutex_);
    qx_frame frame{};
    frame.size = sizeof frame;
    check_sdk(qx_camera_acquire_frame(handle_or_throw(), timeout_ms, &frame));
    if (frame.image_data == nullptr) return nullptr;
    return std::make_shared<held_frame_class>(frame);
}

std::string camera_session_class::get_parameter(const std::string& name) {
    platform::scoped_shared_lock_class lock(lifetime_mutex_);
    std::vector<char> value(parameter_text_size, '\0');
    check_sdk(qx_camera_get_parameter(handle_or_throw(), name.c_str(), value.data(), parameter_text_size));
    return std::string(value.data());
}

void camera_session_class::set_parameter(const std::string& name, const std::string& value) {
    platform::scoped_shared_lock_class lock(lifetime_mutex_);
    check_sdk(qx_camera_set_parameter(handle_or_throw(), name.c_str(), value.c_str()));
}

std::pair<std::string, std::string> camera_session_class::parameter_range(const std::string& name) {
    platform::scoped_shared_lock_class lock(lifetime_mutex_);
    std::vector<char> minimum(parameter_text_size, '\0');
    std::vector<char> maximum(parameter_text_size, '\0');
    check_sdk(qx_camera_get_parameter_range(handle_or_throw(), name.c_str(), minimum.data(), maximum.data(),
                                            parameter_text_size));
    return {std::string(minimum.data()), std::string(maximum.data())};
}

std::array<unsigned long long, 7> camera_session_class::statistics() {
    platform::scoped_shared_lock_class lock(lifetime_mutex_);
    qx_stream_statistics values{};
    values.size = sizeof values;
    check_sdk(qx_camera_get_stream_statistics(handle_or_throw(), &values));
    return {values.frames_delivered, values.frames_lost_incomplete, values.frames_lost_no_free_slot,
            values.stalls_recovered,  values.resets,                values.bytes_received,
            values.packets_received};
}

std::string camera_session_class::command(const std::string& text) {
    platform::scoped_shared_lock_class lock(lifetime_mutex_);
    std::string command_text = text;
    char reply[1025] = {};
    check_sdk(_internal_command(handle_or_throw(), command_text.data(), static_cast<int>(command_text.size() + 1),
                                reply, sizeof reply - 1));
    return std::string(reply);
}

}  // namespace qx::python
