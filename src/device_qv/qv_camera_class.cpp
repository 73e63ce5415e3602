#include "device_qv/qv_camera_class.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "base/checks.h"
#include "device_qv/module_state_class.h"
#include "device_qv/reply_lexer.h"

namespace qx::device_qv {

namespace {

constexpr int attempt_limit = 2;
constexpr std::uint32_t construction_copy_length = 100;
constexpr char gain_prefix[] = "gain ";
constexpr std::size_t gain_prefix_length = sizeof gain_prefix - 1;
constexpr std::size_t gain_reply_text_length = 256;

// The reply text in a buffer of `size` bytes, never past its end.
std::string text_in(const char* buffer, std::size_t size) {
    return std::string(buffer, strnlen(buffer, size));
}

}  // namespace

qv_camera_class::qv_camera_class(usb::usb_driver_base* transport) : usb_transport(transport) {
    kit::check_pointer_set(usb_transport, "qv_camera_class requires a transport.");
    char reply[reply_area_size] = {};
    send_command("id", 3, reply, construction_copy_length);
    std::string id_text = text_in(reply, construction_copy_length);
    kit::check_trimmed_not_empty(id_text, "Error reading camera unique id.");
    camera_id = id_text;

    std::memset(reply, 0, sizeof reply);
    send_command("sernum", 7, reply, construction_copy_length);
    camera_serial = text_in(reply, construction_copy_length);

    column_balancing.load_tables(*this);
    module_state_class::instance().add_open_camera(this);
}

qv_camera_class::~qv_camera_class() {
    acquisition.shut_down();
    try {
        platform::scoped_lock_class packet_loop_guard(packet_loop_lock);
        platform::scoped_lock_class acquisition_guard(acquisition_lock);
        module_state_class::instance().remove_open_camera(this);
    } catch (...) {
        // Destruction never fails.
    }
}

void qv_camera_class::send_command(const char* command, std::uint32_t length, char* caller_buffer,
                                   std::uint32_t copy_length, std::uint32_t timeout_ms) {
    platform::scoped_lock_class guard(command_lock);
    bool gain_update_failed = false;
    for (int attempt = 1; attempt <= attempt_limit; ++attempt) {
        gain_update_failed = false;
        try {
            bool timed_out = false;
            bool stalled = false;
            usb_transport->write(length, command, timeout_ms, timed_out, stalled);
            if (timed_out || stalled) {
                usb_transport->parent_reset(true);
                continue;
            }
            char reply[reply_area_size] = {};
            bool failed = false;
            usb_transport->read__blocking(reply_area_size, reply, timeout_ms, timed_out, failed, stalled);
            if (timed_out || stalled) {
                usb_transport->parent_reset(true);
                continue;
            }
            // A read that failed without a time-out or a stall is not
            // retried: the reply area is used as it stands.
            if (caller_buffer != nullptr) {
                std::memcpy(caller_buffer, reply,
                            copy_length < reply_area_size ? copy_length : reply_area_size);
            }
            const bool is_gain_command =
                length >= gain_prefix_length && std::memcmp(command, gain_prefix, gain_prefix_length) == 0;
            if (!is_gain_command || !column_balancing.enabled)
                return;

            // The caller's buffer holds only the bytes copied into it.
            const char* gain_text = caller_buffer != nullptr ? caller_buffer : reply;
            const std::size_t gain_text_room =
                std::min<std::size_t>(gain_reply_text_length, caller_buffer != nullptr ? copy_length : reply_area_size);
            lex_token token = make_lex_token(gain_text, strnlen(gain_text, gain_text_room));
            if (next_token(&token) != LEX_INT) {
                gain_update_failed = true;
                throw std::runtime_error("Error updating column-balancing gain via a text command.");
            }
            cached_gain = static_cast<std::int32_t>(token.value);
            return;
        } catch (const std::exception&) {
            // Swallowed: the next attempt starts afresh.
        }
    }
    // Correction stays on while the gain command is retried; once the call
    // fails for good on its reply, correction is switched off.
    if (gain_update_failed)
        column_balancing.enabled = false;
    throw std::runtime_error("After " + std::to_string(attempt_limit) +
                             " attempts, failed to do a Cypress FX3 write + readback.");
}

void qv_camera_class::adapt_column_correction() {
    platform::scoped_lock_class guard(command_lock);
    if (column_balancing.enabled)
        column_balancing.adapt_tables(*this, cached_gain);
}

void qv_camera_class::correct_columns(unsigned char* slot, int width, int height) {
    platform::scoped_lock_class guard(command_lock);
    if (column_balancing.enabled)
        column_balancing.correct_frame(slot, width, height, cached_gain);
}

std::string qv_camera_class::query(const std::string& command, std::uint32_t copy_length) {
    std::vector<char> reply(reply_area_size + 1, '\0');
    send_command(command.c_str(), static_cast<std::uint32_t>(command.size() + 1), reply.data(),
                 copy_length < reply_area_size ? copy_length : reply_area_size);
    return text_in(reply.data(), reply_area_size);
}

}  // namespace qx::device_qv
